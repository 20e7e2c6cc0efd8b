// Timing files for replay: the text of `mode2` and `ir-ctl -r` read whole into samples, every
// line that cannot be read named in the log.
#ifndef VQX_MAPPER_REPLAY_H
#define VQX_MAPPER_REPLAY_H

#include <cstdint>
#include <string>
#include <vector>

#include "mapper/samples.h"

struct RPLfile {
    std::vector<SMPsample> samples; // in file order
    long badLines = 0; // lines that were not samples
};

// Reads the file (at most 256 MB); 0, or -1 with *why when it cannot be read at all. Bad lines are
// logged (the first ten with their numbers) and skipped.
int RPLload(const std::string &path, RPLfile *file, std::string *why);
// Parses replay text already in memory, as RPLload does.
void RPLparse(const char *text, size_t length, RPLfile *file, const std::string &name);
// How long a sample lasts on the stream's clock, in microseconds (0 for a carrier report).
int64_t RPLduration(const SMPsample &sample);

#endif
