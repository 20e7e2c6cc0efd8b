// The Mapper's one deciding thread: the event loop that owns the receiver, the replay, the timers,
// the watch on the preferences folder, the signals and the bus, and hands everything to the daemon.
#ifndef VQX_MAPPER_LOOP_H
#define VQX_MAPPER_LOOP_H

#include <cstdint>
#include <string>
#include <vector>

#include "mapper/frontsource.h"

struct LOOPoptions {
    std::string input; // --input: overrides the configuration's INT ("" = use INT)
    std::string replay; // --replay FILE
    bool replayFast = false; // --replay-fast: the file's own clock, exit at its end
    std::string output; // --output: auto (the default), uinput, xtest or record
    std::string record; // --record FILE: where the recording output writes
    std::vector<std::string> front; // --front NAME: the front application's name, fixed
    int64_t releaseAfterMs = 160; // --release-after
};

struct LOOPmapper; // the running Mapper, owned by LOOPrun

// Runs the Mapper until it is told to quit; the process's exit status.
int LOOPrun(const LOOPoptions &options);

// What the bus object asks of the running Mapper. Press/Release: 0, or -1 for an unknown button.
int LOOPpress(LOOPmapper *m, const std::string &button);
int LOOPrelease(LOOPmapper *m, const std::string &button);
void LOOPreload(LOOPmapper *m, const char *reason);
void LOOPquit(LOOPmapper *m, const char *reason);
void LOOPsetFront(LOOPmapper *m, const std::vector<std::string> &names);
// A report of the window in front from outside (SetFrontApplication): its names replace the
// current ones until the next change, wherever that comes from.
void LOOPreportFront(LOOPmapper *m, const FRTwindow &window);

struct LOOPstatus {
    std::string input, output, entry, mapping, remote;
    std::vector<std::string> front;
};
LOOPstatus LOOPgetStatus(LOOPmapper *m);

#endif
