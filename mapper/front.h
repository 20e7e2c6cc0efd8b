// The names of the application in front, in their order of precedence: desktop entry id,
// executable, window class, window instance.
#ifndef VQX_MAPPER_FRONT_H
#define VQX_MAPPER_FRONT_H

#include <cstdint>
#include <string>
#include <vector>

#include "mapper/frontsource.h"

struct DSEindex;

// The names for window w, empty names and repeats left out: the desktop entry id (w.appId with
// ".desktop" taken off when the window reports one, else the entry that `entries` gives for its
// class and instance; entries may be null), the base name of its process's executable, its window
// class, its window instance. A window that is `none` has no names.
std::vector<std::string> FRTnames(const FRTwindow &w, const DSEindex *entries);
// The base name of process pid's executable ("" when it cannot be told): from its /proc exe
// link, else from its command name (see FRTnameFromComm).
std::string FRTexecutableName(uint32_t pid);
// The executable's name when only the process's command name (comm, which the kernel cuts at 15
// characters) and its first argument can be read: the first argument's base name when it starts
// with a cut command name, else the command name.
std::string FRTnameFromComm(const std::string &comm, const std::string &argv0);
// WM_CLASS as the X server holds it ("instance\0class\0") split into its two parts.
void FRTsplitClass(const std::string &property, std::string *instance, std::string *windowClass);

#endif
