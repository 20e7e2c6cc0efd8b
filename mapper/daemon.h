// The Mapper's decisions, on one thread and an explicit clock: samples and bus presses become
// button presses, presses become actions for the application in front, repeats run until release,
// and reloads swap the mapping. No timers or descriptors here: the loop around it owns those.
#ifndef VQX_MAPPER_DAEMON_H
#define VQX_MAPPER_DAEMON_H

#include <cstdint>
#include <string>
#include <vector>

#include "mapper/decode.h"
#include "mapper/load.h"
#include "mapper/output.h"
#include "mapper/repeat.h"
#include "mapper/samples.h"
#include "mapper/table.h"

struct DMNdaemon {
    MTABtable table; // the mapping in force
    bool haveTable = false; // false until a mapping could be read
    LOADsignature signature; // the files the table was read from
    DECdecoder decoder; // infrared timings against the table's remote
    REPstate repeat; // the held button's action and its repeats
    OUTsink *sink = nullptr; // where steps go; not owned
    std::vector<std::string> front; // the front application's names, in order of precedence
    int held = -1; // index of the button held down, or -1
    int64_t releaseAfterUs = 160000;
    long presses = 0; // presses since start, for the log and the benchmarks
    bool carrierHinted = false;
};

// Ready with no mapping; steps go to `sink`.
void DMNinit(DMNdaemon *d, OUTsink *sink);
// Reads the files and puts the new mapping in force, releasing a held button first. A read that
// fails, or raises messages while a mapping is in force, keeps the old one. 0: new mapping in force.
int DMNload(DMNdaemon *d, int64_t now, const char *reason);
// True when the files on disk differ from those the mapping in force was read from.
bool DMNfilesChanged(const DMNdaemon *d);
// One timing sample from a receiver or a replay, ending at `now`.
void DMNsample(DMNdaemon *d, const SMPsample &sample, int64_t now);
// A press or release of a button by name (the bus's virtual remote); -1 for an unknown button.
int DMNpressName(DMNdaemon *d, const std::string &button, int64_t now);
int DMNreleaseName(DMNdaemon *d, const std::string &button, int64_t now);
// Button index pressed or released (from any source).
void DMNbuttonDown(DMNdaemon *d, int button, int64_t now);
void DMNbuttonUp(DMNdaemon *d, int button, int64_t now);
// The front application's names changed (only the next press is affected).
void DMNsetFront(DMNdaemon *d, const std::vector<std::string> &names);
// The entry the next press resolves to, for the bus and the log.
std::string DMNentryName(const DMNdaemon *d);
// The earliest time something is due (a release, a repeat), INT64_MAX when nothing is.
int64_t DMNdeadline(const DMNdaemon *d);
// Does everything due at or before `now`, in time order, each at its own time.
void DMNexpire(DMNdaemon *d, int64_t now);
// Lets go of everything: the held button goes up and the output releases what it holds.
void DMNreleaseAll(DMNdaemon *d, int64_t now);
// The monotonic clock in microseconds.
int64_t DMNclock(void);

#endif
