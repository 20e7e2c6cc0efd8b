// The infrared decoder against the three shipped remote descriptions: every button's frames with
// timing jitter, holds by repeated frames and by repeat bursts, noise, frames cut short, buttons
// one after another; frames that begin like another, releases, and the carrier hint.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <sstream>

#include "mapper/decode.h"
#include "mapper/samples.h"
#include "mapper/synth.h"
#include "support/test_support.h"

namespace {

const int64_t kRelease = 160000;

// The FRQ, BIT and CMD lines of a shipped remote description, read here without the editor's
// reader so that the decoder is checked against the file itself.
MTABtable loadRemote(const std::string &name)
{
    MTABtable t;
    t.remName = name;
    std::istringstream in(readFile(appDir() + "/" + name));
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (word == "FRQ")
            words >> t.frequency;
        else if (word == "BIT")
            words >> t.bitTime;
        else if (word == "CMD") {
            MTABbutton b;
            words >> b.name;
            std::string token;
            while (words >> token)
                b.tokens.push_back((uint16_t)std::stoul(token, nullptr, 16));
            t.buttons.push_back(b);
        }
    }
    return t;
}

const char *const kRemotes[] = { "OrvendaVQXM1A.REM", "OrvendaVQXM2A.REM", "DeckSet.REM" };
const uint32_t kSeeds[] = { 1, 77, 4242 };

// One duration of a made-up stream; `recognises` is the button whose frame ends with this mark.
struct Sample {
    bool pulse;
    uint32_t duration;
    int recognises;
};

// Builds a stream from frames, bursts, noise and silences, knowing where each frame ends.
struct Script {
    const MTABtable &table;
    std::mt19937 rng;
    uint32_t seed;
    std::vector<Sample> samples;

    Script(const MTABtable &t, uint32_t s)
        : table(t)
        , rng(s)
        , seed(s * 1000u)
    {
    }

    uint32_t random(uint32_t low, uint32_t high) { return std::uniform_int_distribution<uint32_t>(low, high)(rng); }

    void add(bool pulse, uint32_t duration, int recognises = -1)
    {
        if (!pulse && !samples.empty() && !samples.back().pulse)
            samples.back().duration += duration; // a receiver reports one space, however made
        else
            samples.push_back(Sample { pulse, duration, recognises });
    }
    std::vector<uint32_t> jittered(std::vector<uint32_t> d)
    {
        SYNjitter(&d, 0.2, ++seed);
        return d;
    }
    // The whole frame with its gap; its last mark recognises the button.
    void frame(int button)
    {
        std::vector<uint32_t> d = jittered(SYNframe(table, button));
        size_t last = d.size() % 2 == 0 ? d.size() - 2 : d.size() - 1;
        for (size_t i = 0; i < d.size(); i++)
            add(i % 2 == 0, d[i], i == last ? button : -1);
    }
    void burst(int button)
    {
        std::vector<uint32_t> d = jittered(SYNrepeatBurst(table, button));
        for (size_t i = 0; i < d.size(); i++)
            add(i % 2 == 0, d[i]);
    }
    // The frame broken off before its last mark, then a pause.
    void cut(int button)
    {
        std::vector<uint32_t> d = jittered(SYNframe(table, button));
        size_t keep = random(1, (uint32_t)d.size() - 3);
        for (size_t i = 0; i < keep; i++)
            add(i % 2 == 0, d[i]);
        add(false, random(20000, 40000));
    }
    // Short pulses, shorter than any mark of the remotes, each between two spaces.
    void noise()
    {
        for (uint32_t n = random(1, 3); n > 0; n--) {
            add(false, random(1000, 2000));
            add(true, random(30, 350));
        }
        add(false, random(1000, 2000));
    }
    void silence(uint32_t us) { add(false, us); }
};

// What the stream must give: a press at the end of each frame's last mark unless that button is
// already down (another button down is released first), a release 160 ms after the last edge
// when a space lasts that long or the stream ends.
std::vector<DECevent> expectedEvents(const std::vector<Sample> &samples, int64_t start)
{
    std::vector<DECevent> ev;
    int held = -1;
    int64_t now = start;
    size_t n = samples.size();
    if (n > 0 && !samples[n - 1].pulse)
        n--;
    for (size_t i = 0; i < n; i++) {
        const Sample &s = samples[i];
        if (!s.pulse && held >= 0 && s.duration >= kRelease) {
            ev.push_back(DECevent { DECevent::RELEASE, held, now + kRelease });
            held = -1;
        }
        now += s.duration;
        if (s.recognises >= 0 && s.recognises != held) {
            if (held >= 0)
                ev.push_back(DECevent { DECevent::RELEASE, held, now });
            ev.push_back(DECevent { DECevent::PRESS, s.recognises, now });
            held = s.recognises;
        }
    }
    if (held >= 0)
        ev.push_back(DECevent { DECevent::RELEASE, held, now + kRelease });
    return ev;
}

// Feeds the stream as a receiver delivers it (the last space never ends, so it is not
// delivered). With `wakeAtDeadlines` the caller wakes at every deadline first, as the Mapper's
// loop does, checking that nothing happens a microsecond early; without, only DECfeed runs until
// the stream ends. Afterwards the deadlines are followed until none is left.
std::vector<DECevent> run(DECdecoder *d, const std::vector<Sample> &samples, int64_t start, bool wakeAtDeadlines)
{
    std::vector<DECevent> ev;
    int64_t now = start;
    size_t n = samples.size();
    if (n > 0 && !samples[n - 1].pulse)
        n--;
    auto wake = [&](int64_t until) {
        for (int guard = 0; DECdeadline(d) <= until; guard++) {
            int64_t deadline = DECdeadline(d);
            size_t before = ev.size();
            DECexpire(d, deadline - 1, &ev);
            EXPECT_EQ(ev.size(), before) << "an event before its deadline " << deadline;
            DECexpire(d, deadline, &ev);
            EXPECT_GT(DECdeadline(d), deadline);
            if (guard > 4) {
                ADD_FAILURE() << "the deadline does not move on";
                return;
            }
        }
    };
    for (size_t i = 0; i < n; i++) {
        now += samples[i].duration;
        if (wakeAtDeadlines)
            wake(now);
        DECfeed(d, samples[i].pulse, samples[i].duration, now, &ev);
    }
    wake(INT64_MAX - 1);
    EXPECT_EQ(DECdeadline(d), INT64_MAX);
    EXPECT_EQ(DECheld(d), -1);
    return ev;
}

std::string describe(const std::vector<DECevent> &ev, const MTABtable &t)
{
    std::ostringstream s;
    for (const DECevent &e : ev)
        s << (e.kind == DECevent::PRESS ? "PRESS " : "RELEASE ")
          << (e.button >= 0 && (size_t)e.button < t.buttons.size() ? t.buttons[(size_t)e.button].name : "?") << " @"
          << e.time << "\n";
    return s.str();
}

// Runs the stream both ways against the expectation.
void checkScript(const MTABtable &t, const Script &script, const std::string &what)
{
    const int64_t start = 1000000;
    std::vector<DECevent> want = expectedEvents(script.samples, start);
    for (bool wake : { true, false }) {
        DECdecoder d;
        DECinit(&d, t);
        std::vector<DECevent> got = run(&d, script.samples, start, wake);
        EXPECT_EQ(describe(got, t), describe(want, t))
            << t.remName << ": " << what << (wake ? " (waking at deadlines)" : " (fed only)");
    }
}

int pressCount(const std::vector<DECevent> &ev)
{
    int n = 0;
    for (const DECevent &e : ev)
        n += e.kind == DECevent::PRESS;
    return n;
}

// Runs `make` for every button of every shipped remote with several seeds.
template <typename Make> void forEveryButton(Make make)
{
    for (const char *name : kRemotes) {
        MTABtable t = loadRemote(name);
        ASSERT_GT(t.buttons.size(), 10u) << name;
        for (uint32_t seed : kSeeds)
            for (int b = 0; b < (int)t.buttons.size(); b++) {
                Script script(t, seed * 100u + (uint32_t)b);
                script.silence(50000);
                make(script, b);
                checkScript(t, script, t.buttons[(size_t)b].name + " seed " + std::to_string(seed));
            }
    }
}

TEST(DecodeTest, ShippedRemotesHaveNoFrameThatBeginsAnother)
{
    // The streams below rely on every frame being recognised at its last mark.
    for (const char *name : kRemotes) {
        MTABtable t = loadRemote(name);
        for (size_t a = 0; a < t.buttons.size(); a++)
            for (size_t b = 0; b < t.buttons.size(); b++) {
                if (a == b)
                    continue;
                std::vector<uint32_t> fa = SYNframe(t, (int)a), fb = SYNframe(t, (int)b);
                ASSERT_GE(fa.size(), 3u);
                fa.pop_back();
                bool prefix = fa.size() <= fb.size() && std::equal(fa.begin(), fa.end(), fb.begin());
                EXPECT_FALSE(prefix) << name << " " << t.buttons[a].name << " " << t.buttons[b].name;
            }
    }
}

TEST(DecodeTest, SinglePressOfEveryButtonIsRecognisedAtItsLastMarkAndReleased160msLater)
{
    for (const char *name : kRemotes) {
        MTABtable t = loadRemote(name);
        for (uint32_t seed : kSeeds)
            for (int b = 0; b < (int)t.buttons.size(); b++) {
                std::vector<uint32_t> frame = SYNframe(t, b);
                SYNjitter(&frame, 0.2, seed + (uint32_t)b);
                DECdecoder d;
                DECinit(&d, t);
                std::vector<DECevent> ev;
                int64_t now = 5000000, lastMarkEnd = 0;
                DECfeed(&d, false, 70000, now, &ev);
                for (size_t i = 0; i + 1 < frame.size(); i++) {
                    now += frame[i];
                    DECfeed(&d, i % 2 == 0, frame[i], now, &ev);
                    if (i + 2 < frame.size()) {
                        EXPECT_TRUE(ev.empty()) << name << " " << t.buttons[(size_t)b].name << " early at " << i;
                    }
                }
                lastMarkEnd = now;
                ASSERT_EQ(ev.size(), 1u) << name << " " << t.buttons[(size_t)b].name << " seed " << seed;
                EXPECT_EQ(ev[0].kind, DECevent::PRESS);
                EXPECT_EQ(ev[0].button, b) << name << " " << t.buttons[(size_t)b].name;
                EXPECT_EQ(ev[0].time, lastMarkEnd);
                EXPECT_EQ(DECheld(&d), b);
                EXPECT_EQ(DECdeadline(&d), lastMarkEnd + 160000);
                DECexpire(&d, lastMarkEnd + 159999, &ev);
                EXPECT_EQ(ev.size(), 1u);
                DECexpire(&d, lastMarkEnd + 160000, &ev);
                ASSERT_EQ(ev.size(), 2u);
                EXPECT_EQ(ev[1].kind, DECevent::RELEASE);
                EXPECT_EQ(ev[1].button, b);
                EXPECT_EQ(ev[1].time, lastMarkEnd + 160000);
                EXPECT_EQ(DECheld(&d), -1);
                EXPECT_EQ(DECdeadline(&d), INT64_MAX);
            }
    }
}

TEST(DecodeTest, SinglePressesWithJitterGiveOnePressAndOneRelease)
{
    forEveryButton([](Script &s, int b) {
        s.frame(b);
        s.silence(300000);
        s.frame(b);
    });
}

TEST(DecodeTest, RepeatedFramesHoldTheButtonDownWithOnePress)
{
    forEveryButton([](Script &s, int b) {
        for (int i = 0; i < 5; i++)
            s.frame(b);
    });
    // The expectation itself: five frames, one press, one release.
    MTABtable t = loadRemote("DeckSet.REM");
    Script s(t, 3);
    for (int i = 0; i < 5; i++)
        s.frame(2);
    std::vector<DECevent> want = expectedEvents(s.samples, 0);
    ASSERT_EQ(want.size(), 2u);
    EXPECT_EQ(pressCount(want), 1);
}

TEST(DecodeTest, RepeatBurstsHoldTheButtonDownWithOnePress)
{
    forEveryButton([](Script &s, int b) {
        s.frame(b);
        for (int i = 0; i < 6; i++)
            s.burst(b);
    });
    // Without the bursts being taken as a hold, the six bursts last far longer than the release time.
    for (const char *name : kRemotes) {
        MTABtable t = loadRemote(name);
        Script s(t, 9);
        s.frame(0);
        for (int i = 0; i < 6; i++)
            s.burst(0);
        DECdecoder d;
        DECinit(&d, t);
        std::vector<DECevent> ev = run(&d, s.samples, 0, true);
        ASSERT_EQ(ev.size(), 2u) << name;
        EXPECT_GT(ev[1].time - ev[0].time, 6 * 20000) << name;
        EXPECT_EQ(d.repeats, 6u) << name;
    }
}

TEST(DecodeTest, NoisePulsesBetweenFramesGiveNoPress)
{
    forEveryButton([](Script &s, int b) {
        s.noise();
        s.frame(b);
        s.noise();
        s.frame(b);
        s.noise();
        s.silence(300000);
        s.noise();
        s.noise();
        s.silence(300000);
        s.frame(b);
        s.noise();
    });
    // Noise alone, of every length a mark may have, gives nothing.
    for (const char *name : kRemotes) {
        MTABtable t = loadRemote(name);
        std::mt19937 rng(5);
        DECdecoder d;
        DECinit(&d, t);
        std::vector<DECevent> ev;
        int64_t now = 0;
        for (int i = 0; i < 20000; i++) {
            uint32_t dur = std::uniform_int_distribution<uint32_t>(1, 12000)(rng);
            now += dur;
            DECfeed(&d, i % 2 == 0, dur, now, &ev);
        }
        EXPECT_EQ(pressCount(ev), 0) << name;
    }
}

TEST(DecodeTest, FrameCutShortGivesNothing)
{
    forEveryButton([](Script &s, int b) {
        s.cut(b);
        s.silence(300000);
        s.cut(b);
        s.frame(b);
        s.cut(b);
        s.frame(b);
        s.silence(300000);
        s.cut(b);
    });
    // The expectation itself: only the two whole frames press.
    MTABtable t = loadRemote("OrvendaVQXM1A.REM");
    Script s(t, 4);
    s.cut(1);
    s.silence(300000);
    s.cut(1);
    EXPECT_TRUE(expectedEvents(s.samples, 0).empty());
    DECdecoder d;
    DECinit(&d, t);
    EXPECT_TRUE(run(&d, s.samples, 0, true).empty());
}

TEST(DecodeTest, TwoButtonsInARowArePressedInTurn)
{
    forEveryButton([](Script &s, int b) {
        int other = (b + 1) % (int)s.table.buttons.size();
        s.frame(b);
        s.frame(other); // within the release time: the first is released at the second's press
        s.silence(300000);
        s.frame(b);
        s.burst(b);
        s.silence(200000);
        s.frame(other);
    });
}

TEST(DecodeTest, ReplayTextOfSynthesisedFramesDecodes)
{
    MTABtable t = loadRemote("OrvendaVQXM2A.REM");
    std::vector<uint32_t> all;
    for (int b : { 3, 7, 3 }) {
        std::vector<uint32_t> f = SYNframe(t, b);
        SYNjitter(&f, 0.15, (uint32_t)b);
        f.back() += 200000; // a pause long enough to release
        all.insert(all.end(), f.begin(), f.end());
    }
    std::string text = SYNtext(all);
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    int64_t now = 0;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        SMPsample s;
        std::string error;
        ASSERT_EQ(SMPparseLine(line.data(), line.size(), &s, &error), 1) << line << ": " << error;
        now += s.value;
        DECfeed(&d, s.kind == SMP_PULSE, s.value, now, &ev);
    }
    DECexpire(&d, now + 1000000, &ev);
    ASSERT_EQ(ev.size(), 6u) << describe(ev, t);
    EXPECT_EQ(ev[0].button, 3);
    EXPECT_EQ(ev[2].button, 7);
    EXPECT_EQ(ev[4].button, 3);
}

// Two hand-made buttons: "Short" is m4 s2 m1 s1 m1, "Long" continues it with s3 m1 s1 m1.
MTABtable prefixTable(bool shortFirst)
{
    MTABtable t;
    t.frequency = 38000;
    t.bitTime = 500;
    MTABbutton shortB { "Short", { 0x0402, 0x0101, 0x0110 } };
    MTABbutton longB { "Long", { 0x0402, 0x0101, 0x0103, 0x0101, 0x0120 } };
    t.buttons = shortFirst ? std::vector<MTABbutton> { shortB, longB } : std::vector<MTABbutton> { longB, shortB };
    return t;
}

// Feeds alternating durations, the first a pulse when `firstPulse`, from time `start`; returns
// the end of the last one.
int64_t feed(
    DECdecoder *d, const std::vector<uint32_t> &durations, int64_t start, bool firstPulse, std::vector<DECevent> *ev)
{
    int64_t now = start;
    for (size_t i = 0; i < durations.size(); i++) {
        now += durations[i];
        DECfeed(d, (i % 2 == 0) == firstPulse, durations[i], now, ev);
    }
    return now;
}

int64_t feedAll(DECdecoder *d, const std::vector<uint32_t> &durations, int64_t start, std::vector<DECevent> *ev)
{
    return feed(d, durations, start, true, ev);
}

TEST(DecodeTest, FrameThatBeginsALongerOneWaitsForTheNextEdge)
{
    for (bool shortFirst : { true, false }) {
        MTABtable t = prefixTable(shortFirst);
        int shortB = shortFirst ? 0 : 1, longB = 1 - shortB;
        // The longer frame continues: only it is pressed, at its own last mark.
        DECdecoder d;
        DECinit(&d, t);
        std::vector<DECevent> ev;
        int64_t end = feedAll(&d, { 2100, 950, 480, 530, 520 }, 0, &ev);
        EXPECT_TRUE(ev.empty());
        EXPECT_LT(DECdeadline(&d), INT64_MAX); // the short frame waits for the next edge
        end = feed(&d, { 1400, 510, 470, 560 }, end, false, &ev);
        ASSERT_EQ(ev.size(), 1u) << describe(ev, t);
        EXPECT_EQ(ev[0].kind, DECevent::PRESS);
        EXPECT_EQ(ev[0].button, longB);
        EXPECT_EQ(ev[0].time, end);
        EXPECT_NE(DECheld(&d), shortB);
    }
}

TEST(DecodeTest, FrameThatBeginsALongerOneIsPressedWhenTheGapOutlastsTheLongerOnesSpace)
{
    for (bool shortFirst : { true, false }) {
        MTABtable t = prefixTable(shortFirst);
        int shortB = shortFirst ? 0 : 1;
        DECdecoder d;
        DECinit(&d, t);
        std::vector<DECevent> ev;
        int64_t end = feedAll(&d, { 2000, 1000, 500, 500, 500 }, 100000, &ev);
        EXPECT_TRUE(ev.empty());
        // The longer frame's next space is 1500 µs: once 1500 x 1.3 + 100 µs have passed, it cannot come.
        int64_t deadline = DECdeadline(&d);
        EXPECT_GT(deadline, end + 1500 + 450);
        EXPECT_LE(deadline, end + 1500 * 13 / 10 + 100 + 1);
        DECexpire(&d, deadline - 1, &ev);
        EXPECT_TRUE(ev.empty());
        DECexpire(&d, deadline, &ev);
        ASSERT_EQ(ev.size(), 1u);
        EXPECT_EQ(ev[0].kind, DECevent::PRESS);
        EXPECT_EQ(ev[0].button, shortB);
        EXPECT_EQ(ev[0].time, deadline);
        // Released 160 ms after its last mark, the last edge.
        EXPECT_EQ(DECdeadline(&d), end + 160000);
        DECexpire(&d, end + 160000, &ev);
        ASSERT_EQ(ev.size(), 2u);
        EXPECT_EQ(ev[1].kind, DECevent::RELEASE);
        EXPECT_EQ(ev[1].time, end + 160000);

        // Fed only: the long gap itself, when it ends, decides at the deadline's time.
        DECdecoder fed;
        DECinit(&fed, t);
        std::vector<DECevent> ev2;
        end = feedAll(&fed, { 2000, 1000, 500, 500, 500, 30000, 2000 }, 0, &ev2);
        ASSERT_GE(ev2.size(), 1u);
        EXPECT_EQ(ev2[0].kind, DECevent::PRESS);
        EXPECT_EQ(ev2[0].button, shortB);
        EXPECT_EQ(ev2[0].time, end - 2000 - 30000 + 1500 + 450 + 1);
    }
}

TEST(DecodeTest, FrameThatBeginsALongerOneIsPressedWhenTheNextSpaceIsNotTheLongerOnes)
{
    for (bool shortFirst : { true, false }) {
        MTABtable t = prefixTable(shortFirst);
        int shortB = shortFirst ? 0 : 1;
        DECdecoder d;
        DECinit(&d, t);
        std::vector<DECevent> ev;
        int64_t end = feedAll(&d, { 2000, 1000, 500, 500, 500, 600 }, 0, &ev);
        ASSERT_EQ(ev.size(), 1u);
        EXPECT_EQ(ev[0].button, shortB);
        EXPECT_EQ(ev[0].time, end); // at the end of the space that did not match
        EXPECT_EQ(DECheld(&d), shortB);
    }
}

TEST(DecodeTest, IdenticalFramesGoToTheFirstButton)
{
    MTABtable t = prefixTable(true);
    t.buttons.push_back(MTABbutton { "Twin", t.buttons[1].tokens });
    t.buttons.insert(t.buttons.begin(), MTABbutton { "Other", { 0x0808, 0x0110 } });
    // Order now: Other, Short, Long, Twin (Twin equals Long).
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    feedAll(&d, SYNframe(t, 3), 0, &ev);
    DECexpire(&d, INT64_MAX - 1, &ev);
    ASSERT_EQ(ev.size(), 2u) << describe(ev, t);
    EXPECT_EQ(ev[0].button, 2);
}

TEST(DecodeTest, ReleaseWhileAFrameWaitsForTheNextEdgeForgetsTheRepeatBurst)
{
    // "Dot" (m500) begins "Dash" (m500 s2000 m500), whose repeat burst is m500 s1000 m500.
    MTABtable t;
    t.frequency = 38000;
    t.bitTime = 500;
    t.buttons.push_back(MTABbutton { "Dot", { 0x0128 } });
    t.buttons.push_back(MTABbutton { "Dash", { 0x0104, 0x0110 } });
    DECdecoder d;
    DECinit(&d, t, 1500);
    std::vector<DECevent> ev;
    int64_t p = feedAll(&d, { 500, 2000, 500 }, 0, &ev);
    ASSERT_EQ(ev.size(), 1u);
    EXPECT_EQ(ev[0].button, 1);
    // A mark while Dash is down: Dot, Dash and a repeat burst all begin with it; the hold ends
    // during the next space, which is Dash's.
    int64_t end = feed(&d, { 600, 500, 2000, 500 }, p, false, &ev);
    ASSERT_EQ(ev.size(), 3u) << describe(ev, t);
    EXPECT_EQ(ev[1].kind, DECevent::RELEASE);
    EXPECT_EQ(ev[1].time, p + 1100 + 1500);
    EXPECT_EQ(ev[2].kind, DECevent::PRESS);
    EXPECT_EQ(ev[2].button, 1);
    EXPECT_EQ(ev[2].time, end);
}

TEST(DecodeTest, SecondButtonReleasesTheFirst)
{
    MTABtable t = loadRemote("OrvendaVQXM1A.REM");
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    int64_t a = feedAll(&d, SYNframe(t, 4), 0, &ev);
    std::vector<uint32_t> fa = SYNframe(t, 4);
    int64_t pressA = a - fa.back();
    int64_t end = feedAll(&d, SYNframe(t, 9), a, &ev);
    int64_t pressB = end - SYNframe(t, 9).back();
    ASSERT_EQ(ev.size(), 3u) << describe(ev, t);
    EXPECT_EQ(ev[0].kind, DECevent::PRESS);
    EXPECT_EQ(ev[0].button, 4);
    EXPECT_EQ(ev[0].time, pressA);
    EXPECT_EQ(ev[1].kind, DECevent::RELEASE);
    EXPECT_EQ(ev[1].button, 4);
    EXPECT_EQ(ev[1].time, pressB);
    EXPECT_EQ(ev[2].kind, DECevent::PRESS);
    EXPECT_EQ(ev[2].button, 9);
    EXPECT_EQ(ev[2].time, pressB);
    EXPECT_EQ(DECheld(&d), 9);
}

TEST(DecodeTest, EndOfALongSpaceIsAnEdgeThatKeepsTheButtonDown)
{
    MTABtable t = loadRemote("OrvendaVQXM1A.REM");
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    std::vector<uint32_t> f = SYNframe(t, 6);
    f.pop_back();
    int64_t end = feedAll(&d, f, 0, &ev);
    ASSERT_EQ(ev.size(), 1u);
    // 155 ms of nothing, then the same frame: its header mark ends 164 ms after the last mark.
    std::vector<uint32_t> again = f;
    again.insert(again.begin(), 155000);
    end = feed(&d, again, end, false, &ev);
    EXPECT_EQ(ev.size(), 1u) << describe(ev, t);
    EXPECT_EQ(DECdeadline(&d), end + 160000);
    DECexpire(&d, end + 160000, &ev);
    ASSERT_EQ(ev.size(), 2u);
    EXPECT_EQ(ev[1].kind, DECevent::RELEASE);
    EXPECT_EQ(ev[1].time, end + 160000);
}

TEST(DecodeTest, ReleaseHeldReleasesAtOnceAndForgetsHalfAFrame)
{
    MTABtable t = loadRemote("OrvendaVQXM2A.REM");
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    std::vector<uint32_t> f = SYNframe(t, 2);
    f.pop_back();
    int64_t end = feedAll(&d, f, 0, &ev);
    ASSERT_EQ(ev.size(), 1u);
    ASSERT_EQ(DECheld(&d), 2);
    // Half of the next frame, then the release.
    std::vector<uint32_t> frame = SYNframe(t, 2);
    std::vector<uint32_t> half(frame.begin(), frame.begin() + 20);
    half.insert(half.begin(), 20000); // the gap
    end = feed(&d, half, end, false, &ev) + 10;
    DECreleaseHeld(&d, end, &ev);
    ASSERT_EQ(ev.size(), 2u);
    EXPECT_EQ(ev[1].kind, DECevent::RELEASE);
    EXPECT_EQ(ev[1].button, 2);
    EXPECT_EQ(ev[1].time, end);
    EXPECT_EQ(DECheld(&d), -1);
    EXPECT_EQ(DECdeadline(&d), INT64_MAX);
    // The rest of the interrupted frame gives nothing; nothing is released twice.
    std::vector<uint32_t> rest(frame.begin() + 20, frame.end() - 1);
    ASSERT_EQ(frame[20], frame[0] / 16); // a mark
    feed(&d, rest, end, true, &ev);
    DECexpire(&d, end + 10000000, &ev);
    DECreleaseHeld(&d, end + 10000001, &ev);
    EXPECT_EQ(ev.size(), 2u) << describe(ev, t);
}

TEST(DecodeTest, CarrierHintIsGivenOnceForAMismatchOverTenPercent)
{
    MTABtable t = loadRemote("OrvendaVQXM1A.REM");
    ASSERT_EQ(t.frequency, 38000);
    DECdecoder d;
    DECinit(&d, t);
    EXPECT_EQ(DECcarrierHint(&d, 38000), 0);
    EXPECT_EQ(DECcarrierHint(&d, 41500), 0); // 9.2%
    EXPECT_EQ(DECcarrierHint(&d, 34500), 0);
    EXPECT_EQ(DECcarrierHint(&d, 0), 0); // nothing measured
    EXPECT_EQ(DECcarrierHint(&d, 42000), 1); // 10.5%
    EXPECT_EQ(DECcarrierHint(&d, 42000), 0);
    EXPECT_EQ(DECcarrierHint(&d, 56000), 0);
    DECdecoder low;
    DECinit(&low, t);
    EXPECT_EQ(DECcarrierHint(&low, 34000), 1);
}

TEST(DecodeTest, KeyCodeRemoteDecodesNothing)
{
    MTABtable t;
    t.buttons.push_back(MTABbutton { "Up", { 0x0067 } });
    t.buttons.push_back(MTABbutton { "Enter", { 0x001C } });
    t.buttons.push_back(MTABbutton { "Odd", { 0x0101 } });
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    int64_t now = 0;
    for (uint32_t i = 1; i < 5000; i++) {
        now += i;
        DECfeed(&d, i % 2 == 1, i, now, &ev);
    }
    DECexpire(&d, now + 10000000, &ev);
    EXPECT_TRUE(ev.empty());
    EXPECT_EQ(DECcarrierHint(&d, 38000), 0);
    EXPECT_TRUE(SYNframe(t, 0).empty());
}

TEST(DecodeTest, ToleranceIsThirtyPercentOrAHundredMicroseconds)
{
    EXPECT_TRUE(DECmatches(1000, 1300));
    EXPECT_TRUE(DECmatches(1000, 700));
    EXPECT_FALSE(DECmatches(1000, 1301));
    EXPECT_FALSE(DECmatches(1000, 699));
    EXPECT_TRUE(DECmatches(200, 300));
    EXPECT_TRUE(DECmatches(200, 100));
    EXPECT_FALSE(DECmatches(200, 301));
    EXPECT_FALSE(DECmatches(200, 99));
    // Against the decoder: a frame with one duration 31% off is not recognised.
    MTABtable t = loadRemote("OrvendaVQXM1A.REM");
    for (double off : { 0.29, 0.31, -0.29, -0.31 }) {
        std::vector<uint32_t> f = SYNframe(t, 5);
        f[7] = (uint32_t)(f[7] * (1.0 + off));
        DECdecoder d;
        DECinit(&d, t);
        std::vector<DECevent> ev;
        feedAll(&d, f, 0, &ev);
        EXPECT_EQ(pressCount(ev), off < 0.3 && off > -0.3 ? 1 : 0) << off;
    }
}

TEST(DecodeTest, ZeroLengthHalvesOfTokensJoinTheirNeighbours)
{
    MTABtable t;
    t.frequency = 38000;
    t.bitTime = 500;
    t.buttons.push_back(MTABbutton { "A", { 0x0004, 0x0402, 0x0002, 0x0101, 0x0200, 0x0110 } });
    std::vector<uint32_t> want = { 2000, 2000, 500, 500, 1500, 8000 };
    EXPECT_EQ(SYNframe(t, 0), want);
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    feedAll(&d, want, 0, &ev);
    ASSERT_EQ(ev.size(), 1u);
    EXPECT_EQ(ev[0].button, 0);
}

TEST(DecodeTest, AbsurdDurationsAndTimesNeitherCrashNorPress)
{
    MTABtable t = loadRemote("DeckSet.REM");
    t.buttons.push_back(MTABbutton { "Empty", {} });
    t.buttons.push_back(MTABbutton { "Huge", { 0xFFFF, 0xFF01 } });
    DECdecoder d;
    DECinit(&d, t, 0);
    std::vector<DECevent> ev;
    const uint32_t odd[] = { 0, 1, 0xFFFFFFFFu, 0xFFFFFF, 0, 0, 889, 0x80000000u };
    int64_t now = INT64_MIN + 5;
    for (int round = 0; round < 3; round++)
        for (uint32_t v : odd) {
            DECfeed(&d, (v & 1) != 0, v, now, &ev);
            DECfeed(&d, true, v, now, &ev);
            now = now < 0 ? 0 : INT64_MAX - 2;
        }
    DECexpire(&d, INT64_MAX, &ev);
    DECexpire(&d, INT64_MIN, &ev);
    (void)DECdeadline(&d);
    EXPECT_EQ(pressCount(ev), 0) << describe(ev, t);
}

TEST(DecodeTest, SynthesisedFramesFollowTheTokens)
{
    MTABtable t = loadRemote("OrvendaVQXM1A.REM");
    std::vector<uint32_t> f = SYNframe(t, 0); // Power: 1008 0103 0103 ... 0128
    ASSERT_EQ(f.size(), 2 * t.buttons[0].tokens.size());
    EXPECT_EQ(f[0], 16u * 562);
    EXPECT_EQ(f[1], 8u * 562);
    EXPECT_EQ(f[2], 562u);
    EXPECT_EQ(f[3], 3u * 562);
    EXPECT_EQ(f.back(), 40u * 562);
    std::vector<uint32_t> burst = SYNrepeatBurst(t, 0);
    ASSERT_EQ(burst.size(), 4u);
    EXPECT_EQ(burst[0], 16u * 562);
    EXPECT_EQ(burst[1], 4u * 562);
    EXPECT_EQ(burst[2], 562u);
    uint32_t total = 0;
    for (uint32_t v : f)
        total += v;
    EXPECT_EQ(burst[0] + burst[1] + burst[2] + burst[3], total);

    std::vector<uint32_t> a = f, b = f, c = f;
    SYNjitter(&a, 0.2, 7);
    SYNjitter(&b, 0.2, 7);
    SYNjitter(&c, 0.2, 8);
    EXPECT_EQ(a, b);
    EXPECT_NE(a, c);
    bool moved = false;
    for (size_t i = 0; i < f.size(); i++) {
        EXPECT_GE(a[i], f[i] * 0.8 - 1);
        EXPECT_LE(a[i], f[i] * 1.2 + 1);
        moved = moved || a[i] != f[i];
    }
    EXPECT_TRUE(moved);
    EXPECT_EQ(SYNtext({ 9000, 4500, 560 }), "pulse 9000\nspace 4500\npulse 560\n");
}

} // namespace
