// The repeat engine: turns the action of a pressed button into timed output steps (the step at
// press, the repeats while the button is held, a held key's release) on a clock the caller passes in.
#ifndef VQX_MAPPER_REPEAT_H
#define VQX_MAPPER_REPEAT_H

#include <cstdint>

#include "mapper/output.h"
#include "mapper/table.h"

// Shortest time between two steps of one press, milliseconds: shorter repeat values are raised to
// it so that a mapping cannot flood the desktop.
enum { REP_MIN_INTERVAL_MS = 5 };

// One button's press: plain data, owned by the caller. Times are microseconds of the caller's clock.
struct REPstate {
    bool active = false; // a button is down (from REPpress until REPrelease)
    MTABaction action; // a copy of the pressed action (steps point into it while performed)
    int64_t pressTime = 0; // when the button went down
    int64_t nextDue = INT64_MAX; // when the next repeat is due; INT64_MAX: none
    int64_t repeat = 0; // repeats due so far (performed or skipped); 0 right after the press
    bool keyHeld = false; // a "System repeat" key is down and goes up at release
};

// Button down at `now`: releases a press still active, performs the step at press and schedules
// the repeats.
void REPpress(REPstate *s, const MTABaction &action, int64_t now, OUTsink *out);
// Button up at `now`: performs the repeats still due before `now`, then stops repeating; a held key
// goes up. Nothing when no press is active.
void REPrelease(REPstate *s, int64_t now, OUTsink *out);
// Time of the next due step, INT64_MAX when none is scheduled.
int64_t REPdeadline(const REPstate *s);
// Performs every step due at or before `now`, each with its own due time.
void REPexpire(REPstate *s, int64_t now, OUTsink *out);

#endif
