// The names of the application in front, in their order of precedence: desktop entry id,
// executable, window class, window instance.
#ifndef VQX_MAPPER_FRONT_H
#define VQX_MAPPER_FRONT_H

#include <cstdint>
#include <string>
#include <vector>

// The names for an application reported as (desktop entry id or app id, window class, process
// id): empty names and repeats left out, ".desktop" taken off the id, the executable's base name
// found from the process (its /proc exe link, else its command name).
std::vector<std::string> FRTnames(const std::string &appId, const std::string &windowClass, uint32_t pid);
// The base name of process pid's executable ("" when it cannot be told).
std::string FRTexecutableName(uint32_t pid);

#endif
