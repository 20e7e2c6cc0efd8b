// The repeat engine on a virtual clock: the steps a held button gives and when, compared with lists
// worked out by hand from the repeat rules (delay, rate1 for reps intervals, then rate2).
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <string>
#include <vector>

#include "mapper/repeat.h"

namespace {

const int64_t T0 = 7000000; // the press, microseconds of the virtual clock

int64_t ms(int64_t m)
{
    return T0 + m * 1000;
}

// Records every step as "<ms after T0> <what> r<repeat>"; answers busy() from a list.
class RecordingSink : public OUTsink {
public:
    std::vector<std::string> steps;
    std::vector<bool> busyAnswers; // busy() answers in order, false once used up
    size_t busyCalls = 0;
    int64_t last = INT64_MIN;

    const char *name() const override { return "record"; }

    void perform(const OUTstep &step, int64_t now) override
    {
        EXPECT_GE(now, last) << "steps out of time order";
        last = now;
        ASSERT_NE(step.action, nullptr);
        const MTABaction &a = *step.action;
        // Each kind of step, the action type it belongs to and what it shows of the action.
        static const char *const names[] = { "?", "TAP", "DOWN", "UP", "MOUSE", "TEXT", "VOLUME", "SCRIPT", "LAUNCH" };
        static const int types[] = { -1, 1, 1, 1, 8, 6, 5, 2, 3 };
        int k = step.kind >= OUT_KEY_TAP && step.kind <= OUT_LAUNCH ? (int)step.kind : 0;
        EXPECT_EQ(a.type, types[k]) << names[k];
        char what[300];
        if (k >= OUT_KEY_TAP && k <= OUT_KEY_UP)
            snprintf(what, sizeof what, "%s %x", names[k], (unsigned)a.message);
        else if (k == OUT_MOUSE)
            snprintf(what, sizeof what, "MOUSE %u %dpx", (unsigned)(a.message & 0xFF), (int)step.pixels);
        else if (k == OUT_VOLUME)
            snprintf(what, sizeof what, "VOLUME %d %d", (int)a.volSubtype, (int)a.volValue);
        else
            snprintf(what, sizeof what, "%s %s", names[k], k == OUT_TEXT ? a.text.c_str() : a.path.c_str());
        steps.push_back(stamp(now - T0, what, step.repeat));
    }

    bool busy(const MTABaction &) override
    {
        bool answer = busyCalls < busyAnswers.size() && busyAnswers[busyCalls];
        busyCalls++;
        return answer;
    }

    void releaseAll(int64_t) override { ADD_FAILURE() << "the repeat engine never releases everything"; }

    static std::string stamp(int64_t us, const std::string &what, int repeat)
    {
        char t[40];
        snprintf(t, sizeof t, "%lld.%03lld ", (long long)(us / 1000), (long long)(us % 1000));
        return t + what + " r" + std::to_string(repeat);
    }
};

std::string at(int64_t msAfterPress, const std::string &what, int repeat)
{
    return RecordingSink::stamp(msAfterPress * 1000, what, repeat);
}

// One step per time in the list, repeat numbers counting from 0.
std::vector<std::string> series(const std::vector<int64_t> &times, const std::string &what)
{
    std::vector<std::string> out;
    for (size_t i = 0; i < times.size(); i++)
        out.push_back(at(times[i], what, (int)i));
    return out;
}

// A run of evenly spaced steps: count of them from startMs, stepMs apart, repeats from firstRepeat.
struct Run {
    int64_t startMs, stepMs;
    int count;
    std::string what;
    int firstRepeat;
};

std::vector<std::string> runs(const std::vector<Run> &list)
{
    std::vector<std::string> out;
    for (const Run &r : list)
        for (int i = 0; i < r.count; i++)
            out.push_back(at(r.startMs + i * r.stepMs, r.what, r.firstRepeat + i));
    return out;
}

struct Repeat {
    int32_t delay, reps, rate1, rate2;
};

MTABaction action(int32_t type, uint32_t message, Repeat r)
{
    MTABaction a;
    a.type = type;
    a.message = message;
    a.delay = r.delay;
    a.reps = r.reps;
    a.rate1 = r.rate1;
    a.rate2 = r.rate2;
    return a;
}

MTABaction key(uint32_t message, Repeat r, uint16_t modifiers = 0)
{
    MTABaction a = action(1, message, r);
    a.modifiers = modifiers;
    return a;
}

MTABaction mouse(uint32_t kind, uint32_t mult1, uint32_t mult2, Repeat r)
{
    return action(8, kind | mult1 << 8 | mult2 << 12, r);
}

MTABaction script(const std::string &path, Repeat r, int32_t type = 2)
{
    MTABaction a = action(type, 0, r);
    a.path = path;
    return a;
}

MTABaction volume(int subtype, int value, Repeat r)
{
    MTABaction a = action(5, 0, r);
    a.volSubtype = subtype;
    a.volValue = value;
    return a;
}

// Runs the clock as the Mapper's loop does, waking at each deadline before `untilUs`.
void runUntil(REPstate *s, int64_t untilUs, OUTsink *out)
{
    for (int guard = 0; REPdeadline(s) < untilUs; guard++) {
        ASSERT_LT(guard, 1000000) << "the deadline does not move on";
        REPexpire(s, REPdeadline(s), out);
    }
}

// Presses at T0, holds for holdMs on the virtual clock, releases; the recorded steps.
std::vector<std::string> hold(const MTABaction &a, int64_t holdMs, RecordingSink *sink = nullptr)
{
    RecordingSink own;
    RecordingSink *out = sink ? sink : &own;
    REPstate s;
    REPpress(&s, a, T0, out);
    runUntil(&s, ms(holdMs), out);
    REPrelease(&s, ms(holdMs), out);
    EXPECT_EQ(REPdeadline(&s), INT64_MAX);
    // Nothing more once released, however long the clock runs.
    REPexpire(&s, ms(holdMs + 60000), out);
    return out->steps;
}

// The editor's preset rows.
const Repeat keySlow { 1000, 1, 500, 500 };
const Repeat keyAccelerate { 500, 10, 150, 75 };
const Repeat keyFast { 500, 1, 100, 100 };
const Repeat mouseSlow { 250, 1, 50, 50 }; // multipliers 5, 5
const Repeat mouseAccelerate { 250, 20, 50, 30 }; // multipliers 5, 7
const Repeat mouseFast { 250, 1, 30, 30 }; // multipliers 7, 7
const Repeat keyNoRepeat { -1, -1, -1, -1 }; // what the keystroke page stores for "No Repeat"
const Repeat systemOrNone { 0, 0, 0, 0 }; // "System repeat" (keys), "No Repeat" (others)

// Three seconds of the Accelerate key preset: the delay, ten intervals of 150, then 75.
const std::vector<int64_t> keyAccelerateTimes { 0, 500, 650, 800, 950, 1100, 1250, 1400, 1550, 1700, 1850, 2000, 2075,
    2150, 2225, 2300, 2375, 2450, 2525, 2600, 2675, 2750, 2825, 2900, 2975 };

} // namespace

TEST(RepeatTest, KeyPresetsTapAtPressThenOnTheirSchedulesForThreeSeconds)
{
    EXPECT_EQ(hold(key(0x2E6D, keySlow), 3000), series({ 0, 1000, 1500, 2000, 2500 }, "TAP 2e6d"));
    EXPECT_EQ(hold(key(0x2E6D, keyAccelerate), 3000), series(keyAccelerateTimes, "TAP 2e6d"));
    EXPECT_EQ(hold(key(0x2E6D, keyFast), 3000),
        series({ 0, 500, 600, 700, 800, 900, 1000, 1100, 1200, 1300, 1400, 1500, 1600, 1700, 1800, 1900, 2000, 2100,
                   2200, 2300, 2400, 2500, 2600, 2700, 2800, 2900 },
            "TAP 2e6d"));
}

TEST(RepeatTest, KeyNoRepeatTapsOnceHoweverLongHeld)
{
    EXPECT_EQ(hold(key(0x2E6D, keyNoRepeat), 3000), series({ 0 }, "TAP 2e6d"));
    // rate1 -1 alone decides, whatever the other values say.
    EXPECT_EQ(hold(key(0x2E6D, { 500, 10, -1, 75 }), 3000), series({ 0 }, "TAP 2e6d"));
    RecordingSink sink;
    REPstate s;
    REPpress(&s, key(0x2E6D, keyNoRepeat), T0, &sink);
    EXPECT_EQ(REPdeadline(&s), INT64_MAX);
}

TEST(RepeatTest, KeySystemRepeatHoldsTheKeyDownUntilRelease)
{
    std::vector<std::string> expected { at(0, "DOWN 2e6d", 0), at(3000, "UP 2e6d", 0) };
    EXPECT_EQ(hold(key(0x2E6D, systemOrNone), 3000), expected);
    // rate1 0 is "System repeat" even when the other values are set.
    EXPECT_EQ(hold(key(0x2E6D, { 500, 10, 0, 75 }), 3000), expected);

    RecordingSink sink;
    REPstate s;
    REPpress(&s, key(0x2E6D, systemOrNone), T0, &sink);
    EXPECT_EQ(REPdeadline(&s), INT64_MAX);
    REPexpire(&s, ms(2000), &sink);
    EXPECT_EQ(sink.steps.size(), 1u);
    EXPECT_TRUE(s.keyHeld);
}

TEST(RepeatTest, KeyWithoutKeyOrMediaKindDoesNothing)
{
    EXPECT_TRUE(hold(key(0, keyFast), 3000).empty());
    EXPECT_TRUE(hold(key(0, systemOrNone), 3000).empty());
    EXPECT_TRUE(hold(key(0, keyNoRepeat, 0x1200), 3000).empty()); // modifiers but no key
    // A media kind (volume up) with message 0 is a key.
    EXPECT_EQ(hold(key(0, keySlow, 0x0001), 1600), series({ 0, 1000, 1500 }, "TAP 0"));
}

TEST(RepeatTest, CustomScheduleUsesRate1ForRepsIntervalsThenRate2)
{
    EXPECT_EQ(hold(key(0x41, { 300, 3, 200, 400 }), 3000),
        series({ 0, 300, 500, 700, 900, 1300, 1700, 2100, 2500, 2900 }, "TAP 41"));
}

TEST(RepeatTest, Rate2OfZeroEndsTheRepeatsAfterTheRate1Ones)
{
    EXPECT_EQ(hold(key(0x41, { 400, 2, 100, 0 }), 3000), series({ 0, 400, 500, 600 }, "TAP 41"));
    EXPECT_EQ(hold(key(0x41, { 400, 2, 100, -1 }), 3000), series({ 0, 400, 500, 600 }, "TAP 41"));
    // No rate1 intervals: only the repeat after the delay.
    EXPECT_EQ(hold(key(0x41, { 400, 0, 100, 0 }), 3000), series({ 0, 400 }, "TAP 41"));
    // No rate1 intervals but a rate2: straight to rate2 after the delay.
    EXPECT_EQ(hold(key(0x41, { 400, 0, 100, 250 }), 1000), series({ 0, 400, 650, 900 }, "TAP 41"));

    RecordingSink sink;
    REPstate s;
    REPpress(&s, key(0x41, { 400, 2, 100, 0 }), T0, &sink);
    runUntil(&s, ms(3000), &sink);
    EXPECT_EQ(REPdeadline(&s), INT64_MAX) << "still held, but nothing more to do";
    EXPECT_TRUE(s.active);
}

TEST(RepeatTest, DelayZeroBringsTheFirstRepeatRate1AfterThePress)
{
    EXPECT_EQ(hold(key(0x41, { 0, 2, 300, 500 }), 2000), series({ 0, 300, 600, 900, 1400, 1900 }, "TAP 41"));
    EXPECT_EQ(hold(script("s.lua", { 0, 1, 700, 0 }), 3000), series({ 0, 700, 1400 }, "SCRIPT s.lua"));
}

TEST(RepeatTest, IntervalsBelowFiveMillisecondsAreRaisedToFive)
{
    EXPECT_EQ(hold(key(0x41, { 0, 3, 1, 2 }), 40), series({ 0, 5, 10, 15, 20, 25, 30, 35 }, "TAP 41"));
    EXPECT_EQ(hold(key(0x41, { 1, 2, 20, 4 }), 60), series({ 0, 5, 25, 45, 50, 55 }, "TAP 41"));
    EXPECT_EQ(hold(mouse(5, 1, 1, { 3, 1, 3, 3 }), 22), series({ 0, 5, 10, 15, 20 }, "MOUSE 5 0px"));
    // Five itself is kept.
    EXPECT_EQ(hold(key(0x41, { 5, 1, 5, 6 }), 25), series({ 0, 5, 10, 16, 22 }, "TAP 41"));
}

TEST(RepeatTest, MousePresetsMoveByTheirMultipliersForThreeSeconds)
{
    // Slow (multipliers 5, 5): 20 px at press, then 250, 300 ... 2950.
    EXPECT_EQ(hold(mouse(4, 5, 5, mouseSlow), 3000),
        runs({ { 0, 0, 1, "MOUSE 4 20px", 0 }, { 250, 50, 55, "MOUSE 4 20px", 1 } }));
    // Accelerate (5, 7): the press, the delay repeat and the 20 rate1 repeats (300 ... 1250) at 20 px,
    // the rate2 repeats (1280 ... 2990) at 28 px.
    EXPECT_EQ(hold(mouse(1, 5, 7, mouseAccelerate), 3000),
        runs({ { 0, 250, 2, "MOUSE 1 20px", 0 }, { 300, 50, 20, "MOUSE 1 20px", 2 },
            { 1280, 30, 58, "MOUSE 1 28px", 22 } }));
    // Fast (7, 7): 28 px at press, then 250, 280 ... 2980.
    EXPECT_EQ(hold(mouse(2, 7, 7, mouseFast), 3000),
        runs({ { 0, 0, 1, "MOUSE 2 28px", 0 }, { 250, 30, 92, "MOUSE 2 28px", 1 } }));
}

TEST(RepeatTest, MouseWithoutRepeatMovesOnceByFourPixels)
{
    EXPECT_EQ(hold(mouse(3, 1, 1, systemOrNone), 3000), series({ 0 }, "MOUSE 3 4px"));
    // The multipliers count only for repeating moves; negative values mean no repeat too.
    EXPECT_EQ(hold(mouse(3, 7, 9, { 250, 1, 0, 30 }), 3000), series({ 0 }, "MOUSE 3 4px"));
    EXPECT_EQ(hold(mouse(4, 5, 5, keyNoRepeat), 3000), series({ 0 }, "MOUSE 4 4px"));
}

TEST(RepeatTest, MouseMultipliersApplyPerStepAndZeroCountsAsOne)
{
    // Multiplier 3 for rate1 steps, 0 (so 1) for rate2 steps.
    std::vector<std::string> expected = runs({
        { 0, 0, 1, "MOUSE 3 12px", 0 },
        { 100, 20, 3, "MOUSE 3 12px", 1 }, // delay repeat and two rate1 repeats: 100, 120, 140
        { 190, 50, 3, "MOUSE 3 4px", 4 }, // 190, 240, 290
    });
    EXPECT_EQ(hold(mouse(3, 3, 0, { 100, 2, 20, 50 }), 300), expected);
    // Multiplier 0 for rate1 steps, 15 for rate2 steps.
    expected
        = runs({ { 0, 0, 1, "MOUSE 2 4px", 0 }, { 100, 0, 1, "MOUSE 2 4px", 1 }, { 150, 50, 2, "MOUSE 2 60px", 2 } });
    EXPECT_EQ(hold(mouse(2, 0, 15, { 100, 0, 20, 50 }), 220), expected);
}

TEST(RepeatTest, MouseClicksOnceAStepSingleOrDouble)
{
    for (uint32_t kind = 5; kind <= 8; kind++) {
        std::string what = "MOUSE " + std::to_string(kind) + " 0px";
        SCOPED_TRACE(what);
        // Multipliers do not turn clicks into moves.
        EXPECT_EQ(hold(mouse(kind, 7, 7, mouseFast), 400), series({ 0, 250, 280, 310, 340, 370 }, what));
        EXPECT_EQ(hold(mouse(kind, 1, 1, systemOrNone), 3000), series({ 0 }, what));
    }
}

TEST(RepeatTest, MouseKindOutsideOneToEightDoesNothing)
{
    EXPECT_TRUE(hold(mouse(0, 5, 5, mouseSlow), 3000).empty());
    EXPECT_TRUE(hold(mouse(9, 5, 5, mouseSlow), 3000).empty());
    EXPECT_TRUE(hold(mouse(0xFF, 1, 1, systemOrNone), 3000).empty());
}

TEST(RepeatTest, ScriptRepeatsAreSkippedWhileTheScriptStillRuns)
{
    RecordingSink sink;
    sink.busyAnswers = { false, true, true, false, true };
    hold(script("s.lua", { 100, 100, 100, 100 }), 1000, &sink);
    const char *w = "SCRIPT s.lua";
    std::vector<std::string> expected = runs({ { 0, 100, 2, w, 0 }, { 400, 0, 1, w, 4 }, { 600, 100, 4, w, 6 } });
    EXPECT_EQ(sink.steps, expected);
    EXPECT_EQ(sink.busyCalls, 9u) << "asked once before each repeat, not at the press";
}

TEST(RepeatTest, OnlyScriptsAreSkippedWhenTheOutputIsBusy)
{
    RecordingSink sink;
    sink.busyAnswers = std::vector<bool>(100, true);
    hold(volume(2, 16, keySlow), 3000, &sink);
    EXPECT_EQ(sink.steps, series({ 0, 1000, 1500, 2000, 2500 }, "VOLUME 2 16"));
}

TEST(RepeatTest, VolumeChangeRepeatsOnItsSchedule)
{
    EXPECT_EQ(hold(volume(2, 16, keySlow), 3000), series({ 0, 1000, 1500, 2000, 2500 }, "VOLUME 2 16"));
    EXPECT_EQ(hold(volume(2, -16, { 0, 2, 400, 0 }), 3000), series({ 0, 400, 800, 1200 }, "VOLUME 2 -16"));
    EXPECT_EQ(hold(volume(2, 16, systemOrNone), 3000), series({ 0 }, "VOLUME 2 16"));
}

TEST(RepeatTest, OneShotActionsHappenOncePerPress)
{
    EXPECT_EQ(hold(script("s.lua", systemOrNone), 3000), series({ 0 }, "SCRIPT s.lua"));
    EXPECT_EQ(hold(script("s.lua", keyNoRepeat), 3000), series({ 0 }, "SCRIPT s.lua"));
    EXPECT_EQ(hold(volume(1, 128, keyFast), 3000), series({ 0 }, "VOLUME 1 128"));
    EXPECT_EQ(hold(volume(3, 2, keyFast), 3000), series({ 0 }, "VOLUME 3 2"));
    EXPECT_EQ(hold(volume(4, 5, keyFast), 3000), series({ 0 }, "VOLUME 4 5"));
    EXPECT_TRUE(hold(volume(0, 5, keyFast), 3000).empty()) << "an unknown volume kind does nothing";
    EXPECT_EQ(hold(script("/usr/bin/true", keyFast, 3), 3000), series({ 0 }, "LAUNCH /usr/bin/true"));
    MTABaction text = action(6, 0, keyFast);
    text.text = "hello";
    EXPECT_EQ(hold(text, 3000), series({ 0 }, "TEXT hello"));
}

TEST(RepeatTest, NoActionMissingRecordAndDisabledActionsDoNothing)
{
    EXPECT_TRUE(hold(action(7, 0x41, keyFast), 3000).empty()); // NO_ACTION
    EXPECT_TRUE(hold(action(0, 0x41, keyFast), 3000).empty()); // no record
    EXPECT_TRUE(hold(action(4, 0x41, keyFast), 3000).empty()); // MAP
    for (MTABaction a : { key(0x41, keyFast), key(0x41, systemOrNone), mouse(4, 5, 5, mouseSlow) }) {
        a.disabled = true;
        EXPECT_TRUE(hold(a, 3000).empty()) << a.type << " " << a.rate1;
    }
}

TEST(RepeatTest, ReleaseInTheMiddleStopsTheRepeats)
{
    EXPECT_EQ(hold(key(0x41, keyFast), 1234), series({ 0, 500, 600, 700, 800, 900, 1000, 1100, 1200 }, "TAP 41"));
    EXPECT_EQ(hold(mouse(4, 5, 7, mouseAccelerate), 420), series({ 0, 250, 300, 350, 400 }, "MOUSE 4 20px"));
    // A repeat due at the very instant of the release does not happen.
    EXPECT_EQ(hold(key(0x41, keyFast), 1200), series({ 0, 500, 600, 700, 800, 900, 1000, 1100 }, "TAP 41"));
    // Released before the delay: the tap at press only.
    EXPECT_EQ(hold(key(0x41, keySlow), 999), series({ 0 }, "TAP 41"));
}

TEST(RepeatTest, LateClockPerformsEachStepAtItsOwnDueTime)
{
    std::vector<std::string> expected = series(keyAccelerateTimes, "TAP 41");

    // One late wake-up for the whole hold.
    RecordingSink once;
    REPstate s;
    REPpress(&s, key(0x41, keyAccelerate), T0, &once);
    REPexpire(&s, ms(3000) - 1, &once);
    EXPECT_EQ(REPdeadline(&s), ms(3050));
    REPrelease(&s, ms(3000), &once);
    EXPECT_EQ(once.steps, expected);

    // Wake-ups every 7 ms whatever the deadline; a wake-up before the deadline does nothing.
    RecordingSink ticks;
    REPstate t;
    REPpress(&t, key(0x41, keyAccelerate), T0, &ticks);
    for (int64_t now = T0; now < ms(3000); now += 7000)
        REPexpire(&t, now, &ticks);
    REPrelease(&t, ms(3000), &ticks);
    EXPECT_EQ(ticks.steps, expected);

    // No wake-up at all: the release catches up the repeats due before it.
    RecordingSink none;
    REPstate u;
    REPpress(&u, key(0x41, keyAccelerate), T0, &none);
    REPrelease(&u, ms(3000), &none);
    EXPECT_EQ(none.steps, expected);
}

TEST(RepeatTest, DeadlineIsTheNextRepeatOrNone)
{
    RecordingSink sink;
    REPstate s;
    EXPECT_EQ(REPdeadline(&s), INT64_MAX);
    REPexpire(&s, ms(10000), &sink);
    REPrelease(&s, ms(10000), &sink);
    EXPECT_TRUE(sink.steps.empty());

    REPpress(&s, key(0x41, keyFast), T0, &sink);
    EXPECT_EQ(REPdeadline(&s), ms(500));
    REPexpire(&s, ms(499), &sink);
    EXPECT_EQ(sink.steps.size(), 1u);
    REPexpire(&s, ms(500), &sink);
    EXPECT_EQ(sink.steps.size(), 2u);
    EXPECT_EQ(REPdeadline(&s), ms(600));
    REPrelease(&s, ms(550), &sink);
    EXPECT_EQ(REPdeadline(&s), INT64_MAX);
    EXPECT_FALSE(s.active);
}

TEST(RepeatTest, PressKeepsItsOwnCopyOfTheAction)
{
    RecordingSink sink;
    REPstate s;
    {
        MTABaction a = key(0x41, keySlow);
        REPpress(&s, a, T0, &sink);
        a.message = 0x42;
        a.rate1 = 5;
    }
    runUntil(&s, ms(1600), &sink);
    REPrelease(&s, ms(1600), &sink);
    EXPECT_EQ(sink.steps, series({ 0, 1000, 1500 }, "TAP 41"));
}

TEST(RepeatTest, SecondPressReleasesTheHeldKeyFirst)
{
    RecordingSink sink;
    REPstate s;
    REPpress(&s, key(0x41, systemOrNone), T0, &sink);
    runUntil(&s, ms(1000), &sink);
    REPpress(&s, key(0x42, keyFast), ms(1000), &sink);
    runUntil(&s, ms(1750), &sink);
    REPrelease(&s, ms(1750), &sink);
    std::vector<std::string> expected { at(0, "DOWN 41", 0), at(1000, "UP 41", 0), at(1000, "TAP 42", 0),
        at(1500, "TAP 42", 1), at(1600, "TAP 42", 2), at(1700, "TAP 42", 3) };
    EXPECT_EQ(sink.steps, expected);
}

TEST(RepeatTest, SecondPressStopsTheFirstActionsRepeats)
{
    RecordingSink sink;
    REPstate s;
    REPpress(&s, key(0x41, keyFast), T0, &sink);
    runUntil(&s, ms(750), &sink);
    REPpress(&s, mouse(6, 1, 1, mouseSlow), ms(750), &sink);
    runUntil(&s, ms(1100), &sink);
    REPrelease(&s, ms(1100), &sink);
    std::vector<std::string> expected { at(0, "TAP 41", 0), at(500, "TAP 41", 1), at(600, "TAP 41", 2),
        at(700, "TAP 41", 3), at(750, "MOUSE 6 0px", 0), at(1000, "MOUSE 6 0px", 1), at(1050, "MOUSE 6 0px", 2) };
    EXPECT_EQ(sink.steps, expected);

    // A second press without any wake-up in between: the first press's due repeats come first.
    RecordingSink late;
    REPstate t;
    REPpress(&t, key(0x41, keyFast), T0, &late);
    REPpress(&t, key(0x42, keyNoRepeat), ms(650), &late);
    REPrelease(&t, ms(3000), &late);
    expected = { at(0, "TAP 41", 0), at(500, "TAP 41", 1), at(600, "TAP 41", 2), at(650, "TAP 42", 0) };
    EXPECT_EQ(late.steps, expected);
}
