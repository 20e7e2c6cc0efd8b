// What the Mapper hands to the desktop: one step of an action at a time, through an output that
// performs it (uinput, XTest, the sound server ...) or, in tests and demos, records it.
#ifndef VQX_MAPPER_OUTPUT_H
#define VQX_MAPPER_OUTPUT_H

#include <cstdint>
#include <string>

#include "mapper/table.h"

enum OUTkind {
    OUT_KEY_TAP = 1, // a key (with its modifiers) pressed and released
    OUT_KEY_DOWN, // a key pressed and held ("System repeat")
    OUT_KEY_UP, // the held key released
    OUT_MOUSE, // one mouse step: a move by `pixels`, or a click kind
    OUT_TEXT, // the action's converted text typed
    OUT_VOLUME, // one volume step (SET, CHG, MUTE or FADE)
    OUT_SCRIPT, // the script run
    OUT_LAUNCH // the path opened
};

struct OUTstep {
    OUTkind kind = OUT_KEY_TAP;
    const MTABaction *action = nullptr; // the action this step belongs to (valid during perform)
    int32_t pixels = 0; // OUT_MOUSE moves: pixels to move (4 x multiplier)
    int32_t repeat = 0; // 0 for the step at press, 1 for the first repeat, ...
};

class OUTsink {
public:
    virtual ~OUTsink();
    // "uinput", "xtest", "record" ...
    virtual const char *name() const = 0;
    // Performs one step at time `now` (microseconds of the Mapper's clock).
    virtual void perform(const OUTstep &step, int64_t now) = 0;
    // True while an earlier step of this action is still running (a script): its repeat is skipped.
    virtual bool busy(const MTABaction &action)
    {
        (void)action;
        return false;
    }
    // Releases every key and button this output holds down.
    virtual void releaseAll(int64_t now) = 0;
};

// One line describing a step ("KEY_TAP 0x00007a10 0x0000", "MOUSE 1 +20" ...), for logs and the
// recording output.
std::string OUTdescribe(const OUTstep &step);

#endif
