// The infrared decoder against the three shipped remote descriptions: every button's frames with
// timing jitter, holds by repeated frames and by repeat bursts, noise, frames cut short, buttons
// one after another; frames that begin like another, releases, and the carrier hint.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <sstream>

#include "mapper/decode.h"
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
    for (std::string line, word, token; std::getline(in, line);) {
        std::istringstream words(line);
        words >> word;
        if (word == "FRQ" || word == "BIT")
            words >> (word == "FRQ" ? t.frequency : t.bitTime);
        else if (word == "CMD") {
            t.buttons.emplace_back();
            words >> t.buttons.back().name;
            while (words >> token)
                t.buttons.back().tokens.push_back((uint16_t)std::stoul(token, nullptr, 16));
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
    uint32_t seed = 0;
    std::vector<Sample> samples;

    uint32_t random(uint32_t low, uint32_t high) { return std::uniform_int_distribution<uint32_t>(low, high)(rng); }
    void add(bool pulse, uint32_t duration, int recognises = -1)
    {
        if (!pulse && !samples.empty() && !samples.back().pulse)
            samples.back().duration += duration; // a receiver reports one space, however made
        else
            samples.push_back(Sample { pulse, duration, recognises });
    }
    // The first `count` durations of d jittered, mark first; the mark at `last` recognises `button`.
    void addAll(std::vector<uint32_t> d, size_t count, size_t last = SIZE_MAX, int button = -1)
    {
        SYNjitter(&d, 0.2, ++seed);
        for (size_t i = 0; i < count; i++)
            add(i % 2 == 0, d[i], i == last ? button : -1);
    }
    // Steps for button b: F its frame, O the next button's frame, R a repeat burst, C the frame cut
    // short before its last mark, H its first mark and space alone (a frame follows), N pulses shorter
    // than any mark, S 300 ms and s 200 ms of silence.
    void play(int b, const char *steps)
    {
        for (; *steps; steps++) {
            char c = *steps;
            int button = c == 'O' ? (b + 1) % (int)table.buttons.size() : b;
            size_t n = SYNframe(table, button).size();
            if (c == 'F' || c == 'O')
                addAll(SYNframe(table, button), n, n - 2, button);
            else if (c == 'R')
                addAll(SYNrepeatBurst(table, b), 4);
            else if (c == 'C')
                addAll(SYNframe(table, b), random(1, (uint32_t)n - 3));
            else if (c == 'H')
                addAll(SYNframe(table, b), 2);
            for (uint32_t k = c == 'N' ? random(1, 3) : 0; k > 0; k--) {
                add(false, random(1000, 2000));
                add(true, random(30, 350));
            }
            add(false, c == 'S' ? 300000 : c == 's' ? 200000 : c == 'C' ? random(20000, 40000) : c == 'N' ? 1500 : 0);
        }
    }
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

// Feeds the stream as a receiver does (not the last space: it never ends). With `wakeAtDeadlines`
// the caller wakes at each deadline first, checking nothing happens a microsecond early; without,
// only DECfeed runs. Afterwards the deadlines are followed until none is left.
std::vector<DECevent> run(DECdecoder *d, const std::vector<Sample> &samples, int64_t start, bool wakeAtDeadlines)
{
    std::vector<DECevent> ev;
    int64_t now = start;
    size_t n = samples.size();
    if (n > 0 && !samples[n - 1].pulse)
        n--;
    auto wake = [&](int64_t until) {
        for (int guard = 0; guard < 5 && DECdeadline(d) <= until; guard++) {
            int64_t deadline = DECdeadline(d);
            size_t before = ev.size();
            DECexpire(d, deadline - 1, &ev);
            EXPECT_EQ(ev.size(), before) << "an event before its deadline " << deadline;
            DECexpire(d, deadline, &ev);
        }
        EXPECT_GT(DECdeadline(d), until);
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
        s << (e.kind == DECevent::PRESS ? "PRESS " : "RELEASE ") << e.button << " @" << e.time << "\n";
    return s.str() + t.remName;
}

int pressCount(const std::vector<DECevent> &ev)
{
    int n = 0;
    for (const DECevent &e : ev)
        n += e.kind == DECevent::PRESS;
    return n;
}

// Plays `steps` for every button of every shipped remote with several seeds, fed both ways.
void playEveryButton(const char *steps)
{
    for (const char *name : kRemotes) {
        MTABtable t = loadRemote(name);
        ASSERT_GT(t.buttons.size(), 10u) << name;
        for (uint32_t seed : kSeeds)
            for (int b = 0; b < (int)t.buttons.size(); b++)
                for (bool wake : { true, false }) {
                    Script s { t, std::mt19937(seed * 100u + (uint32_t)b) };
                    s.add(false, 50000);
                    s.play(b, steps);
                    DECdecoder d;
                    DECinit(&d, t);
                    EXPECT_EQ(describe(run(&d, s.samples, 0, wake), t), describe(expectedEvents(s.samples, 0), t))
                        << t.buttons[(size_t)b].name << " seed " << seed << (wake ? " waking at deadlines" : "");
                }
    }
}

// Feeds alternating durations, the first a pulse when `firstPulse`, from `start`; returns the end.
int64_t feed(DECdecoder *d, const std::vector<uint32_t> &durations, int64_t start, std::vector<DECevent> *ev,
    bool firstPulse = true)
{
    for (size_t i = 0; i < durations.size(); i++) {
        start += durations[i];
        DECfeed(d, (i % 2 == 0) == firstPulse, durations[i], start, ev);
    }
    return start;
}

using E = DECevent;
#define EXPECT_EVENTS(got, t, ...) EXPECT_EQ(describe(got, t), describe(std::vector<DECevent> __VA_ARGS__, t))

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
                int64_t now = 5000000;
                DECfeed(&d, false, 70000, now, &ev);
                for (size_t i = 0; i + 1 < frame.size(); i++) {
                    EXPECT_TRUE(ev.empty()) << name << " " << b << " early at " << i;
                    DECfeed(&d, i % 2 == 0, frame[i], now += frame[i], &ev);
                }
                EXPECT_EQ(DECheld(&d), b);
                EXPECT_EQ(DECdeadline(&d), now + kRelease);
                DECexpire(&d, now + kRelease - 1, &ev);
                EXPECT_EQ(ev.size(), 1u);
                DECexpire(&d, now + kRelease, &ev);
                EXPECT_EVENTS(ev, t, { { E::PRESS, b, now }, { E::RELEASE, b, now + kRelease } }) << seed;
                EXPECT_EQ(DECdeadline(&d), INT64_MAX);
            }
    }
}

TEST(DecodeTest, RepeatedFramesHoldTheButtonDownWithOnePress)
{
    playEveryButton("FFFFF");
}

TEST(DecodeTest, RepeatBurstsHoldTheButtonDownWithOnePress)
{
    playEveryButton("FRRRRRR");
    // Without the bursts being taken as a hold, the six bursts last far longer than the release time.
    for (const char *name : kRemotes) {
        MTABtable t = loadRemote(name);
        Script s { t, std::mt19937(9) };
        s.play(0, "FRRRRRR");
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
    playEveryButton("NFNFNSNNSHFNSNHF");
    // Noise alone, of every length a mark may have, gives nothing.
    for (const char *name : kRemotes) {
        MTABtable t = loadRemote(name);
        Script s { t, std::mt19937(5) };
        for (int i = 0; i < 20000; i++)
            s.add(i % 2 == 0, s.random(1, 12000));
        DECdecoder d;
        DECinit(&d, t);
        EXPECT_EQ(pressCount(run(&d, s.samples, 0, true)), 0) << name;
    }
}

TEST(DecodeTest, FrameCutShortGivesNothing)
{
    playEveryButton("CSCFCFSC");
    MTABtable t = loadRemote("OrvendaVQXM1A.REM");
    Script s { t, std::mt19937(4) };
    s.play(1, "CSC");
    DECdecoder d;
    DECinit(&d, t);
    EXPECT_TRUE(run(&d, s.samples, 0, true).empty());
}

TEST(DecodeTest, TwoButtonsInARowArePressedInTurn)
{
    playEveryButton("FOSOSFRsO"); // O right after F: F released at its press
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

TEST(DecodeTest, FrameThatBeginsALongerOneWaitsForTheNextEdge)
{
    for (bool shortFirst : { true, false }) {
        MTABtable t = prefixTable(shortFirst);
        int shortB = shortFirst ? 0 : 1, longB = 1 - shortB;
        // The next space is the longer frame's: it goes on, and only it is pressed.
        DECdecoder d;
        DECinit(&d, t);
        std::vector<DECevent> ev;
        int64_t end = feed(&d, { 2100, 950, 480, 530, 520 }, 0, &ev);
        EXPECT_TRUE(ev.empty());
        EXPECT_LT(DECdeadline(&d), INT64_MAX);
        end = feed(&d, { 1400, 510, 470, 560 }, end, &ev, false);
        EXPECT_EVENTS(ev, t, { { E::PRESS, longB, end } });

        // A gap longer than the longer frame's next space (1500 x 1.3 + 100 at most): the short one.
        DECinit(&d, t);
        ev.clear();
        end = feed(&d, { 2000, 1000, 500, 500, 500 }, 100000, &ev);
        int64_t deadline = DECdeadline(&d);
        EXPECT_GT(deadline, end + 1500 + 450);
        EXPECT_LE(deadline, end + 1500 * 13 / 10 + 100 + 1);
        DECexpire(&d, deadline - 1, &ev);
        EXPECT_TRUE(ev.empty());
        DECexpire(&d, deadline, &ev);
        EXPECT_EQ(DECdeadline(&d), end + kRelease); // released 160 ms after its last mark
        DECexpire(&d, end + kRelease, &ev);
        EXPECT_EVENTS(ev, t, { { E::PRESS, shortB, deadline }, { E::RELEASE, shortB, end + kRelease } });

        // Fed only, the long gap decides when it ends, at the deadline's time.
        DECinit(&d, t);
        ev.clear();
        end = feed(&d, { 2000, 1000, 500, 500, 500, 30000, 2000 }, 0, &ev);
        EXPECT_EVENTS(ev, t, { { E::PRESS, shortB, end - 32000 + 1951 } });

        // A next space that is not the longer frame's: the short one, when that space ends.
        DECinit(&d, t);
        ev.clear();
        end = feed(&d, { 2000, 1000, 500, 500, 500, 600 }, 0, &ev);
        EXPECT_EVENTS(ev, t, { { E::PRESS, shortB, end } });
    }
}

TEST(DecodeTest, IdenticalFramesGoToTheFirstButton)
{
    MTABtable t = prefixTable(true);
    t.buttons.push_back(MTABbutton { "Twin", t.buttons[1].tokens });
    t.buttons.insert(t.buttons.begin(), MTABbutton { "Other", { 0x0808, 0x0110 } });
    // Other, Short, Long, Twin: Twin's frame is Long's.
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    std::vector<uint32_t> f = SYNframe(t, 3);
    int64_t end = feed(&d, std::vector<uint32_t>(f.begin(), f.end() - 1), 0, &ev);
    DECexpire(&d, INT64_MAX - 1, &ev);
    EXPECT_EVENTS(ev, t, { { E::PRESS, 2, end }, { E::RELEASE, 2, end + kRelease } });
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
    int64_t p = feed(&d, { 500, 2000, 500 }, 0, &ev);
    // A mark while Dash is down begins Dot, Dash and a repeat burst; the hold ends during the next
    // space, which is Dash's.
    int64_t end = feed(&d, { 600, 500, 2000, 500 }, p, &ev, false);
    EXPECT_EVENTS(ev, t, { { E::PRESS, 1, p }, { E::RELEASE, 1, p + 1100 + 1500 }, { E::PRESS, 1, end } });
}

TEST(DecodeTest, SecondButtonReleasesTheFirst)
{
    MTABtable t = loadRemote("OrvendaVQXM1A.REM");
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    int64_t a = feed(&d, SYNframe(t, 4), 0, &ev);
    int64_t b = feed(&d, SYNframe(t, 9), a, &ev);
    a -= SYNframe(t, 4).back();
    b -= SYNframe(t, 9).back();
    EXPECT_EVENTS(ev, t, { { E::PRESS, 4, a }, { E::RELEASE, 4, b }, { E::PRESS, 9, b } });
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
    int64_t p = feed(&d, f, 0, &ev);
    // 155 ms of nothing, then the same frame: its header mark ends 164 ms after the last mark.
    f.insert(f.begin(), 155000);
    int64_t end = feed(&d, f, p, &ev, false);
    EXPECT_EQ(DECdeadline(&d), end + kRelease);
    DECexpire(&d, end + kRelease, &ev);
    EXPECT_EVENTS(ev, t, { { E::PRESS, 6, p }, { E::RELEASE, 6, end + kRelease } });
}

TEST(DecodeTest, ReleaseHeldReleasesAtOnceAndForgetsHalfAFrame)
{
    MTABtable t = loadRemote("OrvendaVQXM2A.REM");
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    std::vector<uint32_t> f = SYNframe(t, 2);
    int64_t p = feed(&d, std::vector<uint32_t>(f.begin(), f.end() - 1), 0, &ev);
    // The gap and half of the next frame, then the release.
    std::vector<uint32_t> half(f.begin(), f.begin() + 20);
    half.insert(half.begin(), 20000);
    int64_t end = feed(&d, half, p, &ev, false) + 10;
    DECreleaseHeld(&d, end, &ev);
    EXPECT_EQ(DECheld(&d), -1);
    EXPECT_EQ(DECdeadline(&d), INT64_MAX);
    // The rest of that frame gives nothing; nothing is released twice.
    feed(&d, std::vector<uint32_t>(f.begin() + 20, f.end() - 1), end, &ev);
    DECexpire(&d, end + 10000000, &ev);
    DECreleaseHeld(&d, end + 10000001, &ev);
    EXPECT_EVENTS(ev, t, { { E::PRESS, 2, p }, { E::RELEASE, 2, end } });
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
    EXPECT_EQ(DECcarrierHint(&d, 56000), 0);
    DECinit(&d, t);
    EXPECT_EQ(DECcarrierHint(&d, 34000), 1);
}

TEST(DecodeTest, KeyCodeRemoteDecodesNothing)
{
    MTABtable t; // FRQ 0, BIT 0: the tokens are key codes
    t.buttons = { MTABbutton { "Up", { 0x0067 } }, MTABbutton { "Odd", { 0x0101 } } };
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    int64_t now = 0;
    for (uint32_t i = 1; i < 3000; i++)
        DECfeed(&d, i % 2 == 1, i, now += i, &ev);
    DECexpire(&d, now + 10000000, &ev);
    EXPECT_TRUE(ev.empty());
    EXPECT_EQ(DECcarrierHint(&d, 38000), 0);
}

TEST(DecodeTest, ToleranceIsThirtyPercentOrAHundredMicroseconds)
{
    EXPECT_TRUE(DECmatches(1000, 1300) && DECmatches(1000, 700) && DECmatches(200, 300) && DECmatches(200, 100));
    EXPECT_FALSE(DECmatches(1000, 1301) || DECmatches(1000, 699) || DECmatches(200, 301) || DECmatches(200, 99));
    // In a frame: one duration 31% off and nothing is pressed.
    MTABtable t = loadRemote("OrvendaVQXM1A.REM");
    for (double off : { 0.29, 0.31, -0.29, -0.31 }) {
        std::vector<uint32_t> f = SYNframe(t, 5);
        f[7] = (uint32_t)(f[7] * (1.0 + off));
        DECdecoder d;
        DECinit(&d, t);
        std::vector<DECevent> ev;
        feed(&d, f, 0, &ev);
        EXPECT_EQ(pressCount(ev), off < 0.3 && off > -0.3 ? 1 : 0) << off;
    }
}

TEST(DecodeTest, ZeroLengthHalvesOfTokensJoinTheirNeighbours)
{
    MTABtable t;
    t.frequency = 38000;
    t.bitTime = 500;
    t.buttons.push_back(MTABbutton { "A", { 0x0004, 0x0402, 0x0002, 0x0101, 0x0200, 0x0110 } });
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    int64_t end = feed(&d, { 2000, 2000, 500, 500, 1500 }, 0, &ev);
    EXPECT_EVENTS(ev, t, { { E::PRESS, 0, end } });
}

TEST(DecodeTest, AbsurdDurationsAndTimesNeitherCrashNorPress)
{
    MTABtable t = loadRemote("DeckSet.REM");
    t.buttons.push_back(MTABbutton { "Empty", {} });
    t.buttons.push_back(MTABbutton { "Huge", { 0xFFFF, 0xFF01 } });
    DECdecoder d;
    DECinit(&d, t, 0);
    std::vector<DECevent> ev;
    int64_t now = INT64_MIN + 5;
    for (int round = 0; round < 3; round++)
        for (uint32_t v : { 0u, 1u, 0xFFFFFFFFu, 0xFFFFFFu, 0u, 889u, 0x80000000u }) {
            DECfeed(&d, (v & 1) != 0, v, now, &ev);
            DECfeed(&d, true, v, now = now < 0 ? 0 : INT64_MAX - 2, &ev);
        }
    DECexpire(&d, INT64_MAX, &ev);
    EXPECT_EQ(pressCount(ev), 0) << describe(ev, t);
}

} // namespace
