// LIRC_MODE2 words and replay text: every word type both ways, every form of line `mode2` and
// `ir-ctl -r` write, every kind of bad line (bytes that are not text too), and made-up frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include <sstream>

#include "mapper/decode.h"
#include "mapper/samples.h"
#include "mapper/synth.h"

namespace {

struct Parsed {
    int result;
    SMPsample sample;
    std::string error;
};

Parsed parse(const std::string &line)
{
    Parsed p { 0, SMPsample { SMP_UNKNOWN, 12345 }, "" };
    p.result = SMPparseLine(line.data(), line.size(), &p.sample, &p.error);
    return p;
}

TEST(SamplesTest, WordsGiveTheirTypeAndTwentyFourBitValue)
{
    EXPECT_EQ(SMPfromWord(0x00001234).kind, SMP_SPACE);
    EXPECT_EQ(SMPfromWord(0x00001234).value, 0x1234u);
    EXPECT_EQ(SMPfromWord(0x01000235).kind, SMP_PULSE);
    EXPECT_EQ(SMPfromWord(0x01000235).value, 0x235u);
    EXPECT_EQ(SMPfromWord(0x02009470).kind, SMP_FREQUENCY);
    EXPECT_EQ(SMPfromWord(0x02009470).value, 38000u);
    EXPECT_EQ(SMPfromWord(0x0301E848).kind, SMP_TIMEOUT);
    EXPECT_EQ(SMPfromWord(0x0301E848).value, 125000u);
    EXPECT_EQ(SMPfromWord(0x04000000).kind, SMP_OVERFLOW);
    EXPECT_EQ(SMPfromWord(0x05000001).kind, SMP_UNKNOWN);
    EXPECT_EQ(SMPfromWord(0xFFFFFFFF).kind, SMP_UNKNOWN);
    EXPECT_EQ(SMPfromWord(0xFFFFFFFF).value, 0xFFFFFFu);
    EXPECT_EQ(SMPfromWord(0x01FFFFFF).value, 16777215u);
}

TEST(SamplesTest, WordsRoundTrip)
{
    const SMPkind kinds[] = { SMP_SPACE, SMP_PULSE, SMP_FREQUENCY, SMP_TIMEOUT, SMP_OVERFLOW };
    const uint32_t types[] = { 0x00, 0x01, 0x02, 0x03, 0x04 };
    std::mt19937 rng(11);
    for (int k = 0; k < 5; k++) {
        for (uint32_t value : { 0u, 1u, 562u, 0xFFFFFFu, (uint32_t)(rng() & 0xFFFFFF) }) {
            uint32_t word = (types[k] << 24) | value;
            SMPsample s = SMPfromWord(word);
            EXPECT_EQ(s.kind, kinds[k]);
            EXPECT_EQ(s.value, value);
            EXPECT_EQ(SMPtoWord(s), word);
            EXPECT_EQ(SMPtoWord(SMPsample { kinds[k], value }), word);
        }
    }
    // Values over 24 bits are clamped rather than spilling into the type.
    EXPECT_EQ(SMPtoWord(SMPsample { SMP_SPACE, 0x1000000 }), 0x00FFFFFFu);
    EXPECT_EQ(SMPtoWord(SMPsample { SMP_PULSE, 0xFFFFFFFF }), 0x01FFFFFFu);
    EXPECT_EQ(SMPtoWord(SMPsample { SMP_UNKNOWN, 7 }) >> 24, 0xFFu);
}

TEST(SamplesTest, EveryLineFormGivesItsSample)
{
    struct Case {
        const char *line;
        SMPkind kind;
        uint32_t value;
    };
    const Case cases[] = {
        { "pulse 9000", SMP_PULSE, 9000 },
        { "space 4500\n", SMP_SPACE, 4500 },
        { "timeout 125000\r\n", SMP_TIMEOUT, 125000 },
        { "carrier 38000", SMP_FREQUENCY, 38000 },
        { "frequency 36000", SMP_FREQUENCY, 36000 },
        { "+560", SMP_PULSE, 560 },
        { "-1690", SMP_SPACE, 1690 },
        { "  \tpulse\t  1  ", SMP_PULSE, 1 },
        { "space 16777215", SMP_SPACE, 16777215 },
        { "pulse 000562", SMP_PULSE, 562 },
        { "PULSE 562", SMP_PULSE, 562 },
        { "pulse 562 # the first bit", SMP_PULSE, 562 },
        { "+560 # comment", SMP_PULSE, 560 },
    };
    for (const Case &c : cases) {
        Parsed p = parse(c.line);
        EXPECT_EQ(p.result, 1) << c.line << ": " << p.error;
        EXPECT_EQ(p.sample.kind, c.kind) << c.line;
        EXPECT_EQ(p.sample.value, c.value) << c.line;
        EXPECT_EQ(p.error, "") << c.line;
    }
}

TEST(SamplesTest, BlankLinesAndCommentsGiveNothing)
{
    for (const char *line : { "", "\n", "   \t \r\n", "# recorded with mode2", "   # indented comment", "#" }) {
        Parsed p = parse(line);
        EXPECT_EQ(p.result, 0) << line;
        EXPECT_EQ(p.sample.value, 12345u) << line; // untouched
        EXPECT_EQ(p.error, "") << line;
    }
    EXPECT_EQ(SMPparseLine(nullptr, 0, nullptr, nullptr), 0);
}

TEST(SamplesTest, EveryKindOfBadLineIsRefusedWithItsReason)
{
    struct Case {
        std::string line;
        const char *reason; // a part of the error text
    };
    const Case cases[] = {
        { "pulsar 100", "unknown word" },
        { "Using driver default on device /dev/lirc0", "unknown word" },
        { "9000", "unknown word" },
        { "pulse9000", "unknown word" },
        { "pulse", "missing number" },
        { "space   ", "missing number" },
        { "space # nothing", "missing number" },
        { "+", "missing number" },
        { "-", "missing number" },
        { "pulse abc", "not a number" },
        { "pulse 12x", "not a number" },
        { "pulse 1.5", "not a number" },
        { "pulse 0x100", "not a number" },
        { "+12a", "not a number" },
        { "+-5", "not a number" },
        { "--5", "not a number" },
        { "pulse 0", "out of range" },
        { "+0", "out of range" },
        { "space 16777216", "out of range" },
        { "timeout 99999999999999999999999999999999999999", "out of range" },
        { "pulse -5", "negative" },
        { "space -1", "negative" },
        { "pulse 100 200", "unknown word" },
        { "pulse 100 space 200", "several samples" },
        { "+9000 -4500 +560", "several samples" },
        { std::string("pulse 5\0 00", 11), "not a number" },
        { std::string("pulse\0 500", 10), "unknown word" },
        { "\x01\x02\xff\xfe", "unknown word" },
    };
    for (const Case &c : cases) {
        Parsed p = parse(c.line);
        EXPECT_EQ(p.result, -1) << c.line;
        EXPECT_NE(p.error.find(c.reason), std::string::npos) << c.line << " gave: " << p.error;
        EXPECT_EQ(p.sample.value, 12345u) << c.line; // untouched
        for (char ch : p.error)
            EXPECT_TRUE(ch >= 0x20 && ch < 0x7F) << c.line << " gave an unprintable error";
        EXPECT_LT(p.error.size(), 60u) << c.line;
    }
}

TEST(SamplesTest, IrCtlLinesWithSeveralSamplesParseInOrder)
{
    std::string line = "+9000 -4500 +560 -560 pulse 560 space 1690 # timeout follows";
    std::vector<SMPsample> out { SMPsample { SMP_TIMEOUT, 1 } };
    std::string error;
    ASSERT_EQ(SMPparseSamples(line.data(), line.size(), &out, &error), 6) << error;
    ASSERT_EQ(out.size(), 7u);
    const SMPkind kinds[] = { SMP_TIMEOUT, SMP_PULSE, SMP_SPACE, SMP_PULSE, SMP_SPACE, SMP_PULSE, SMP_SPACE };
    const uint32_t values[] = { 1, 9000, 4500, 560, 560, 560, 1690 };
    for (size_t i = 0; i < out.size(); i++) {
        EXPECT_EQ(out[i].kind, kinds[i]) << i;
        EXPECT_EQ(out[i].value, values[i]) << i;
    }
    // A bad token anywhere refuses the whole line and appends nothing.
    line = "+9000 -4500 +x";
    EXPECT_EQ(SMPparseSamples(line.data(), line.size(), &out, &error), -1);
    EXPECT_EQ(out.size(), 7u);
    EXPECT_EQ(SMPparseSamples("", 0, &out, &error), 0);
}

TEST(SamplesTest, RandomBytesNeverGiveAnOutOfRangeSample)
{
    std::mt19937 rng(3);
    const char alphabet[] = "pulsespacetimeoutcarrierfrequency+-#0123456789 \t\r\n\0\xff";
    for (int i = 0; i < 20000; i++) {
        std::string line;
        size_t n = rng() % 40;
        for (size_t j = 0; j < n; j++)
            line += (i % 2) ? (char)(rng() & 0xFF) : alphabet[rng() % (sizeof alphabet - 1)];
        std::vector<SMPsample> out;
        std::string error;
        int r = SMPparseSamples(line.data(), line.size(), &out, &error);
        ASSERT_GE(r, -1);
        ASSERT_EQ(r < 0 ? 0u : (size_t)r, out.size());
        EXPECT_EQ(r < 0, !error.empty() && out.empty());
        for (const SMPsample &s : out) {
            EXPECT_GE(s.value, 1u);
            EXPECT_LE(s.value, 16777215u);
        }
        error.clear();
    }
}

// An NEC-style remote of two buttons, BIT 562.
MTABtable necRemote()
{
    MTABtable t;
    t.frequency = 38000;
    t.bitTime = 562;
    t.buttons.push_back(MTABbutton { "Power", { 0x1008, 0x0103, 0x0101, 0x0103, 0x0128 } });
    t.buttons.push_back(MTABbutton { "Mute", { 0x1008, 0x0101, 0x0103, 0x0103, 0x0128 } });
    return t;
}

TEST(SamplesTest, SynthesisedFramesAndBurstsFollowTheTokens)
{
    MTABtable t = necRemote();
    const std::vector<uint32_t> power = { 8992, 4496, 562, 1686, 562, 562, 562, 1686, 562, 22480 };
    EXPECT_EQ(SYNframe(t, 0), power);
    EXPECT_EQ(SYNframe(t, 1)[3], 562u);
    EXPECT_TRUE(SYNframe(t, 2).empty());
    EXPECT_TRUE(SYNframe(t, -1).empty());
    // The first mark, half the first space, the shortest mark, and a gap to the frame's length.
    uint32_t total = 8992 + 4496 + 5 * 562 + 2 * 1686 + 22480; // 4 marks, 1 space of 562
    EXPECT_EQ(SYNrepeatBurst(t, 0), (std::vector<uint32_t> { 8992, 2248, 562, total - 8992 - 2248 - 562 }));
    // A zero-length half joins its neighbours; leading spaces go.
    t.bitTime = 500;
    t.buttons[0].tokens = { 0x0004, 0x0402, 0x0002, 0x0101, 0x0200, 0x0110 };
    EXPECT_EQ(SYNframe(t, 0), (std::vector<uint32_t> { 2000, 2000, 500, 500, 1500, 8000 }));
    t.bitTime = 0;
    EXPECT_TRUE(SYNframe(t, 0).empty());
}

TEST(SamplesTest, JitterStaysWithinItsFractionAndFollowsTheSeed)
{
    std::vector<uint32_t> f = SYNframe(necRemote(), 0);
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
    std::vector<uint32_t> tiny = { 1, 1, 1 };
    SYNjitter(&tiny, 0.9, 1);
    EXPECT_GE(*std::min_element(tiny.begin(), tiny.end()), 1u);
}

TEST(SamplesTest, ReplayTextOfSynthesisedFramesDecodes)
{
    MTABtable t = necRemote();
    std::vector<uint32_t> all;
    for (int b : { 1, 0, 1 }) {
        std::vector<uint32_t> f = SYNframe(t, b);
        SYNjitter(&f, 0.15, (uint32_t)b);
        f.back() += 200000; // a pause long enough to release
        all.insert(all.end(), f.begin(), f.end());
    }
    std::string text = SYNtext(all);
    EXPECT_EQ(SYNtext({ 9000, 4500, 560 }), "pulse 9000\nspace 4500\npulse 560\n");
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> ev;
    int64_t now = 0;
    std::istringstream in(text);
    int lines = 0;
    for (std::string line; std::getline(in, line); lines++) {
        SMPsample s;
        std::string error;
        ASSERT_EQ(SMPparseLine(line.data(), line.size(), &s, &error), 1) << line << ": " << error;
        ASSERT_EQ(s.kind, lines % 2 == 0 ? SMP_PULSE : SMP_SPACE);
        ASSERT_EQ(s.value, all[(size_t)lines]);
        DECfeed(&d, s.kind == SMP_PULSE, s.value, now += s.value, &ev);
    }
    EXPECT_EQ(lines, (int)all.size());
    DECexpire(&d, now + 1000000, &ev);
    ASSERT_EQ(ev.size(), 6u);
    const int buttons[] = { 1, 1, 0, 0, 1, 1 };
    for (size_t i = 0; i < 6; i++) {
        EXPECT_EQ(ev[i].kind, i % 2 == 0 ? DECevent::PRESS : DECevent::RELEASE);
        EXPECT_EQ(ev[i].button, buttons[i]);
    }
}

} // namespace
