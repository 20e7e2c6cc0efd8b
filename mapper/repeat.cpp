// The repeat engine: what an action does at press and at each repeat, and when its repeats are due
// (the delay, then rate1 for the first reps intervals, then rate2), on the caller's clock.
#include "mapper/repeat.h"

#include "mapping/model.h"

static const int64_t usPerMs = 1000;

// What a press of an action does.
enum Plan {
    PLAN_NOTHING, // no step at all
    PLAN_ONCE, // one step at press
    PLAN_REPEAT, // a step at press, then repeats until release
    PLAN_HOLD // a key down at press, up at release ("System repeat")
};

static Plan planOf(const MTABaction &a)
{
    if (a.disabled)
        return PLAN_NOTHING;
    switch (a.type) {
    case kKeyEventType:
        // Message 0 with no media kind (modifier bits 0-3) names no key.
        if (a.message == 0 && (a.modifiers & 0xF) == 0)
            return PLAN_NOTHING;
        if (a.rate1 < 0) // -1 (0xFFFFFFFF): one tap
            return PLAN_ONCE;
        return a.rate1 == 0 ? PLAN_HOLD : PLAN_REPEAT;
    case kMouseEventType: {
        uint32_t kind = a.message & 0xFF;
        if (kind < 1 || kind > 8)
            return PLAN_NOTHING;
        return a.rate1 > 0 ? PLAN_REPEAT : PLAN_ONCE;
    }
    case kAppleEventType:
        return a.rate1 > 0 ? PLAN_REPEAT : PLAN_ONCE;
    case kSysVolumeEventType:
        if (a.volSubtype == kSysVolChg)
            return a.rate1 > 0 ? PLAN_REPEAT : PLAN_ONCE;
        if (a.volSubtype == kSysVolSet || a.volSubtype == kSysVolMute || a.volSubtype == kSysVolFade)
            return PLAN_ONCE;
        return PLAN_NOTHING;
    case kLaunchEventType:
    case kTextStringEventType:
        return PLAN_ONCE;
    default: // NO_ACTION, MAP, no record
        return PLAN_NOTHING;
    }
}

// A repeat value in milliseconds as microseconds, raised to the shortest interval allowed.
static int64_t intervalUs(int32_t ms)
{
    return (int64_t)(ms < REP_MIN_INTERVAL_MS ? REP_MIN_INTERVAL_MS : ms) * usPerMs;
}

// Due time of the first repeat after a press at `pressTime`: the delay, or rate1 when the delay is 0.
static int64_t firstRepeatDue(const MTABaction &a, int64_t pressTime)
{
    return pressTime + intervalUs(a.delay > 0 ? a.delay : a.rate1);
}

// Due time of the repeat after repeat n (due at `when`): rate1 for the first reps intervals, rate2
// after them; INT64_MAX when rate2 ends the repeats.
static int64_t repeatDueAfter(const MTABaction &a, int64_t n, int64_t when)
{
    int64_t interval;
    if (n <= (int64_t)a.reps)
        interval = intervalUs(a.rate1);
    else if (a.rate2 > 0)
        interval = intervalUs(a.rate2);
    else
        return INT64_MAX;
    return when > INT64_MAX - interval ? INT64_MAX : when + interval;
}

// Pixels of a mouse step: moves go 4 x the multiplier of the interval that brought the step (rate1's
// for the press, the delay repeat and the rate1 repeats, rate2's after), 4 without repeat; clicks 0.
static int32_t mousePixels(const MTABaction &a, int64_t n)
{
    uint32_t kind = a.message & 0xFF;
    if (kind < 1 || kind > 4)
        return 0;
    if (a.rate1 <= 0)
        return 4;
    bool rate1Step = n <= 1 || n - 1 <= (int64_t)a.reps;
    int32_t multiplier = (int32_t)((a.message >> (rate1Step ? 8 : 12)) & 0xF);
    return 4 * (multiplier == 0 ? 1 : multiplier);
}

// Performs step n (0 at press) of the state's action at time `when`.
static void performStep(REPstate *s, int64_t n, int64_t when, OUTsink *out)
{
    const MTABaction &a = s->action;
    OUTstep step;
    step.action = &s->action;
    step.repeat = n > INT32_MAX ? INT32_MAX : (int32_t)n;
    switch (a.type) {
    case kKeyEventType:
        step.kind = OUT_KEY_TAP;
        break;
    case kMouseEventType:
        step.kind = OUT_MOUSE;
        step.pixels = mousePixels(a, n);
        break;
    case kAppleEventType:
        step.kind = OUT_SCRIPT;
        break;
    case kLaunchEventType:
        step.kind = OUT_LAUNCH;
        break;
    case kSysVolumeEventType:
        step.kind = OUT_VOLUME;
        break;
    case kTextStringEventType:
        step.kind = OUT_TEXT;
        break;
    default:
        return;
    }
    out->perform(step, when);
}

void REPpress(REPstate *s, const MTABaction &action, int64_t now, OUTsink *out)
{
    REPrelease(s, now, out);
    s->active = true;
    s->action = action;
    s->pressTime = now;
    s->nextDue = INT64_MAX;
    s->repeat = 0;
    s->keyHeld = false;
    Plan plan = planOf(s->action);
    if (plan == PLAN_NOTHING)
        return;
    if (plan == PLAN_HOLD) {
        OUTstep step;
        step.kind = OUT_KEY_DOWN;
        step.action = &s->action;
        s->keyHeld = true;
        out->perform(step, now);
        return;
    }
    performStep(s, 0, now, out);
    if (plan == PLAN_REPEAT)
        s->nextDue = firstRepeatDue(s->action, now);
}

void REPrelease(REPstate *s, int64_t now, OUTsink *out)
{
    if (!s->active)
        return;
    // Repeats due before the button went up still happen, each at its time; one due at the very
    // instant of the release does not.
    if (now > INT64_MIN)
        REPexpire(s, now - 1, out);
    if (s->keyHeld) {
        OUTstep step;
        step.kind = OUT_KEY_UP;
        step.action = &s->action;
        s->keyHeld = false;
        out->perform(step, now);
    }
    s->active = false;
    s->nextDue = INT64_MAX;
}

int64_t REPdeadline(const REPstate *s)
{
    return s->active ? s->nextDue : INT64_MAX;
}

void REPexpire(REPstate *s, int64_t now, OUTsink *out)
{
    while (s->active && s->nextDue != INT64_MAX && s->nextDue <= now) {
        int64_t when = s->nextDue;
        int64_t n = ++s->repeat;
        s->nextDue = repeatDueAfter(s->action, n, when);
        // A script still running from an earlier step: this repeat is skipped, the schedule goes on.
        if (s->action.type == kAppleEventType && out->busy(s->action))
            continue;
        performStep(s, n, when, out);
    }
}
