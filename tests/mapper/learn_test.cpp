// Learning a remote: the unit and carrier written, presses cut out of a stream with repeats left
// out, pairs that agree or not, names refused, and a whole session whose file the editor's reader
// takes without a message and whose frames decode to the buttons named.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>

#include "mapper/decode.h"
#include "mapper/learn.h"
#include "mapper/load.h"
#include "mapper/synth.h"
#include "support/test_support.h"

namespace {

// True when every duration is within 10% of a whole number (at least one) of `unit`, counted here
// without the code under test.
bool withinTenPercent(const std::vector<uint32_t> &durations, long unit)
{
    for (uint32_t d : durations) {
        long n = std::max(1L, (long)((d + unit / 2) / unit));
        if (std::labs(n * unit - (long)d) * 10 > (long)d)
            return false;
    }
    return true;
}

SMPsample pulse(uint32_t us)
{
    return SMPsample { SMP_PULSE, us };
}
SMPsample space(uint32_t us)
{
    return SMPsample { SMP_SPACE, us };
}

// A frame as samples: alternating pulse and space, then `gap` of silence.
void addFrame(std::vector<SMPsample> *out, const std::vector<uint32_t> &frame, uint32_t gap)
{
    for (size_t i = 0; i < frame.size(); i++)
        out->push_back(i % 2 == 0 ? pulse(frame[i]) : space(frame[i]));
    if (frame.size() % 2 == 1)
        out->push_back(space(gap));
    else
        out->back().value = gap;
}

const std::vector<uint32_t> kNec = { 9000, 4500, 562, 1686, 562, 562, 562, 1686, 562 };

LRNpress pressOf(const std::vector<uint32_t> &d)
{
    LRNpress p;
    p.durations = d;
    return p;
}

} // namespace

TEST(LearnUnitTest, NecTimingsGetTheLargestUnitThatKeepsTenPercent)
{
    int32_t unit = 0;
    EXPECT_TRUE(LRNchooseUnit(kNec, &unit));
    // 618 µs: the 562 µs mark is 1 unit and 1686 µs 3 units, both 9.96% off; 619 puts them over.
    EXPECT_EQ(unit, 618);
    EXPECT_TRUE(withinTenPercent(kNec, unit));
    for (long larger = unit + 1; larger <= 2 * 562; larger++)
        EXPECT_FALSE(withinTenPercent(kNec, larger)) << larger;
}

TEST(LearnUnitTest, UnitIsTheLargestFoundByTryingEveryUnit)
{
    std::mt19937 rng(12345);
    for (int round = 0; round < 300; round++) {
        std::vector<uint32_t> d;
        int n = 1 + (int)(rng() % 8);
        for (int i = 0; i < n; i++)
            d.push_back(30 + rng() % (round % 2 ? 3000 : 30000));
        long best = 1;
        uint32_t shortest = *std::min_element(d.begin(), d.end());
        for (long u = shortest * 11 / 10; u >= 1; u--)
            if (withinTenPercent(d, u)) {
                best = u;
                break;
            }
        int32_t unit = 0;
        LRNchooseUnit(d, &unit);
        ASSERT_EQ(unit, best) << "round " << round;
    }
}

TEST(LearnUnitTest, ShortDurationsNeedASmallUnit)
{
    int32_t unit = 0;
    EXPECT_TRUE(LRNchooseUnit({ 50, 75, 100 }, &unit));
    // 75 µs is 1.5 times 50: only around 25 µs (2, 3 and 4 units) do all three fit; 27 is the
    // largest whole unit that keeps each within 10%.
    EXPECT_EQ(unit, 27);
    std::vector<uint16_t> tokens = LRNtokens({ 50, 75, 100 }, unit);
    ASSERT_EQ(tokens.size(), 2u);
    EXPECT_EQ(tokens[0], 0x0203);
    EXPECT_EQ(tokens[1] >> 8, 4);
}

TEST(LearnUnitTest, CountsOverTwoHundredFiftyFiveGoOnInTheNextToken)
{
    // 300 and 600 µs allow at most 330 µs, where 90 ms is 273 units.
    std::vector<uint32_t> d = { 300, 600, 90000 };
    int32_t unit = 0;
    EXPECT_FALSE(LRNchooseUnit(d, &unit));
    EXPECT_EQ(unit, 330);
    std::vector<uint16_t> tokens = LRNtokens(d, unit);
    // 1 and 2 units, then 255 units of mark, a 0 space, the 18 units left and the gap (61 units).
    ASSERT_EQ(tokens.size(), 3u);
    EXPECT_EQ(tokens[0], 0x0102);
    EXPECT_EQ(tokens[1], 0xFF00);
    EXPECT_EQ(tokens[2], 0x123D);
    // The decoder joins the halves back into one long mark.
    MTABtable t;
    t.frequency = 38000;
    t.bitTime = unit;
    t.buttons.push_back(MTABbutton { "Long", tokens });
    DECdecoder dec;
    DECinit(&dec, t);
    ASSERT_EQ(dec.frames[0].durations.size(), 3u);
    EXPECT_EQ(dec.frames[0].durations[2], 273 * 330);
}

TEST(LearnUnitTest, LongLeadGetsAUnitThatKeepsItUnder256)
{
    // A 60 ms lead with 600 µs marks: the largest unit (660) makes it 91 units, well within 255.
    std::vector<uint32_t> d = { 60000, 1200, 600, 1200, 600 };
    int32_t unit = 0;
    EXPECT_TRUE(LRNchooseUnit(d, &unit));
    EXPECT_TRUE(withinTenPercent(d, unit));
    EXPECT_LE((60000 + unit / 2) / unit, 255);
    std::vector<uint16_t> tokens = LRNtokens(d, unit);
    ASSERT_EQ(tokens.size(), 3u);
    for (uint16_t t : tokens)
        EXPECT_NE(t >> 8, 0) << "every mark half is a real mark";
}

TEST(LearnSplitTest, PressesEndAtLongGapsAndRepeatsOfAHeldButtonAreLeftOut)
{
    LRNsplitter s;
    std::vector<LRNpress> presses;
    std::vector<SMPsample> in;
    addFrame(&in, kNec, 40000); // a press
    addFrame(&in, { 9000, 2250, 562 }, 96000); // a repeat burst, 40 ms after it
    addFrame(&in, kNec, 40000); // the frame again within the hold
    addFrame(&in, { 562, 562, 562 }, 300000); // still held: 40 ms after the frame
    addFrame(&in, { 2400, 600, 1200 }, 250000); // another press after 300 ms of silence
    for (const SMPsample &x : in)
        LRNfeed(&s, x, &presses);
    LRNflush(&s, &presses);
    ASSERT_EQ(presses.size(), 2u);
    EXPECT_EQ(presses[0].durations, kNec);
    EXPECT_EQ(presses[1].durations, (std::vector<uint32_t> { 2400, 600, 1200 }));
    EXPECT_EQ(LRNcarrier(&s), 0u);
}

TEST(LearnSplitTest, TimeoutsCarrierReportsOverflowsAndTheWallClockAreHandled)
{
    LRNsplitter s;
    std::vector<LRNpress> presses;
    // A receiver that reports a timeout after the frame, and the carrier.
    for (SMPsample x : { pulse(900), space(900), pulse(1800), SMPsample { SMP_TIMEOUT, 12000 },
             SMPsample { SMP_FREQUENCY, 36100 }, SMPsample { SMP_FREQUENCY, 35900 } })
        LRNfeed(&s, x, &presses);
    ASSERT_EQ(presses.size(), 1u);
    EXPECT_EQ(presses[0].durations, (std::vector<uint32_t> { 900, 900, 1800 }));
    EXPECT_EQ(LRNcarrier(&s), 36000u);
    // Two marks in a row are one; the gap is reported only with the next mark, so the wall clock
    // ends the burst.
    for (SMPsample x : { space(500000), pulse(300), pulse(300), space(600), pulse(600) })
        LRNfeed(&s, x, &presses);
    EXPECT_EQ(presses.size(), 1u);
    LRNsilence(&s, 20000, &presses);
    ASSERT_EQ(presses.size(), 2u);
    EXPECT_EQ(presses[1].durations, (std::vector<uint32_t> { 600, 600, 600 }));
    // Samples lost in the middle of a burst: the press is marked as damaged.
    for (SMPsample x :
        { space(500000), pulse(600), SMPsample { SMP_OVERFLOW, 1 }, space(600), pulse(600), space(100000) })
        LRNfeed(&s, x, &presses);
    ASSERT_EQ(presses.size(), 3u);
    EXPECT_TRUE(presses[2].damaged);
}

TEST(LearnPairTest, TwoAgreeingPressesRecordTheirAverage)
{
    LRNsession s;
    LRNbegin(&s, "Play");
    EXPECT_EQ(LRNprompt(s), "button 1: Play, press it (1/2)");
    std::string message;
    std::vector<uint32_t> a = kNec, b = kNec;
    a[0] = 8800;
    b[0] = 9200; // 2% either side of 9000
    a[3] = 1600;
    b[3] = 1800;
    EXPECT_EQ(LRNtake(&s, pressOf(a), &message), LRN_AGAIN);
    EXPECT_EQ(LRNprompt(s), "button 1: Play, press it again (2/2)");
    EXPECT_EQ(LRNtake(&s, pressOf(b), &message), LRN_RECORDED);
    ASSERT_EQ(s.buttons.size(), 1u);
    EXPECT_EQ(s.buttons[0].name, "Play");
    EXPECT_EQ(s.buttons[0].durations[0], 9000u);
    EXPECT_EQ(s.buttons[0].durations[3], 1700u);
    EXPECT_EQ(LRNprompt(s), "Name of button 2 (a blank line ends): ");
}

TEST(LearnPairTest, DisagreeingPressesAreAskedAgainAndAToggledBitPairsWithThePressBefore)
{
    LRNsession s;
    LRNbegin(&s, "Stop");
    std::string message;
    std::vector<uint32_t> other = kNec;
    other[3] = 562; // a one bit became a zero: far outside the tolerance
    EXPECT_EQ(LRNtake(&s, pressOf(kNec), &message), LRN_AGAIN);
    EXPECT_EQ(LRNtake(&s, pressOf(other), &message), LRN_DIFFERENT);
    EXPECT_NE(message.find("differs"), std::string::npos);
    EXPECT_EQ(LRNprompt(s), "button 1: Stop, press it again (2/2)");
    EXPECT_TRUE(s.buttons.empty());
    // A press of another length never agrees either.
    EXPECT_EQ(LRNtake(&s, pressOf({ 9000, 4500, 562 }), &message), LRN_DIFFERENT);
    // The third press is like the first: the pair is made of those two.
    EXPECT_EQ(LRNtake(&s, pressOf(kNec), &message), LRN_RECORDED);
    ASSERT_EQ(s.buttons.size(), 1u);
    EXPECT_EQ(s.buttons[0].durations, kNec);
}

TEST(LearnPairTest, ThirtyPercentOffIsTheEdgeOfAgreement)
{
    // The average of 1000 and 1500 is 1250; both are 250 µs (20%) away: they agree. 1000 and
    // 2000 average 1500, both 500 µs (33%) away: they do not.
    EXPECT_TRUE(LRNagree(pressOf({ 1000 }), pressOf({ 1500 })));
    EXPECT_FALSE(LRNagree(pressOf({ 1000 }), pressOf({ 2000 })));
    // Below 333 µs the 100 µs floor applies.
    EXPECT_TRUE(LRNagree(pressOf({ 100 }), pressOf({ 290 })));
    EXPECT_FALSE(LRNagree(pressOf({ 100 }), pressOf({ 320 })));
}

TEST(LearnPairTest, TheSignalOfAnotherButtonIsRefused)
{
    LRNsession s;
    std::string message;
    LRNbegin(&s, "Play");
    LRNtake(&s, pressOf(kNec), &message);
    ASSERT_EQ(LRNtake(&s, pressOf(kNec), &message), LRN_RECORDED);
    LRNbegin(&s, "Pause");
    LRNtake(&s, pressOf(kNec), &message);
    EXPECT_EQ(LRNtake(&s, pressOf(kNec), &message), LRN_REFUSED);
    EXPECT_NE(message.find("Play"), std::string::npos);
    EXPECT_EQ(s.buttons.size(), 1u);
    EXPECT_EQ(LRNprompt(s), "button 2: Pause, press it (1/2)");
}

TEST(LearnPairTest, DamagedEmptyAndOverlongPressesAreRefused)
{
    LRNsession s;
    std::string message;
    LRNbegin(&s, "Play");
    LRNpress damaged = pressOf(kNec);
    damaged.damaged = true;
    EXPECT_EQ(LRNtake(&s, damaged, &message), LRN_REFUSED);
    EXPECT_EQ(LRNtake(&s, LRNpress(), &message), LRN_REFUSED);
    EXPECT_EQ(LRNtake(&s, pressOf(std::vector<uint32_t>(LRN_MAX_DURATIONS + 2, 600)), &message), LRN_REFUSED);
    EXPECT_TRUE(s.takes.empty());
    EXPECT_EQ(LRNtake(&s, pressOf(std::vector<uint32_t>(LRN_MAX_DURATIONS, 600)), &message), LRN_AGAIN);
}

TEST(LearnNameTest, NamesAreCheckedAsTheReadersTakeThem)
{
    LRNsession s;
    EXPECT_EQ(LRNcheckName(s, "Vol+"), "");
    EXPECT_EQ(LRNcheckName(s, std::string(30, 'x')), "");
    EXPECT_NE(LRNcheckName(s, std::string(31, 'x')), "");
    EXPECT_NE(LRNcheckName(s, ""), "");
    EXPECT_NE(LRNcheckName(s, "Volume Up"), "");
    EXPECT_NE(LRNcheckName(s, "Vol\tUp"), "");
    EXPECT_NE(LRNcheckName(s, "Lautst\xc3\xa4rke"), "");
    s.buttons.push_back(LRNbutton { "Play", kNec, -1 });
    EXPECT_NE(LRNcheckName(s, "Play").find("button 1"), std::string::npos);
    EXPECT_EQ(LRNcheckName(s, "play"), "");
}

TEST(LearnWriteTest, CarrierAndKeyCodesAreWrittenAsTheReadersExpect)
{
    std::vector<LRNbutton> buttons = { LRNbutton { "A", kNec, -1 } };
    std::string why;
    std::string text = LRNdescribe(buttons, 36040, &why);
    EXPECT_EQ(text.compare(0, 20, "FRQ 36000\nBIT 618\n\nC"), 0) << text;
    EXPECT_EQ(LRNdescribe(buttons, 0, &why).compare(0, 10, "FRQ 38000\n"), 0);
    std::vector<LRNbutton> keys = { LRNbutton { "Play", {}, 207 }, LRNbutton { "Stop", {}, 128 } };
    EXPECT_EQ(LRNdescribe(keys, 0, &why), "FRQ 0\nBIT 0\n\nCMD Play 00CF\nCMD Stop 0080\n");
}

// A whole session: presses made from the shipped remote with jitter, names and answers as typed,
// the file read back by the editor's readers (as the Mapper reads its files) without a message, and
// the shipped frames decoded into the buttons of the new file.
TEST(LearnSessionTest, LearnedFileIsReadWithoutAMessageAndDecodesTheButtons)
{
    TempConfigHome home;
    home.install(true);
    LOADresult shipped = LOADread();
    ASSERT_EQ(shipped.status, 0);
    const char *names[] = { "Play", "Stop", "Menu", "Up" };
    std::vector<std::vector<uint32_t>> frames;
    std::vector<SMPsample> samples;
    uint32_t seed = 7;
    for (const char *name : names) {
        std::vector<uint32_t> frame = SYNframe(shipped.table, MTABbuttonIndex(shipped.table, name));
        ASSERT_FALSE(frame.empty()) << name;
        frames.push_back(frame);
        for (int take = 0; take < 2; take++) {
            std::vector<uint32_t> jittered = frame;
            SYNjitter(&jittered, 0.05, seed++);
            jittered.pop_back();
            addFrame(&samples, jittered, 250000);
            // A held button: repeat bursts after the frame, which learning leaves out.
            addFrame(&samples, SYNrepeatBurst(shipped.table, MTABbuttonIndex(shipped.table, name)), 250000);
            samples[samples.size() - 5].value = 40000;
        }
    }
    // Stop is pressed wrong once (Menu instead), and a name is given twice.
    std::vector<SMPsample> wrong;
    addFrame(&wrong, frames[2], 250000);
    size_t stopStart = 0;
    for (int k = 0, frameStarts = 0; k < (int)samples.size(); k++)
        if (samples[k].kind == SMP_PULSE && (k == 0 || samples[k - 1].value >= 250000) && ++frameStarts == 4)
            stopStart = (size_t)k;
    samples.insert(samples.begin() + (long)stopStart, wrong.begin(), wrong.end());

    const char answers[] = "Play\nStop\nPlay\nMenu\nUp\n\n";
    FILE *in = fmemopen((void *)answers, sizeof answers - 1, "r");
    char *transcript = nullptr;
    size_t transcriptSize = 0;
    FILE *out = open_memstream(&transcript, &transcriptSize);
    LRNoptions options;
    options.file = "Learned.REM";
    int status = LRNrunWith(options, LRNreplaySource("test", samples), in, out);
    fclose(in);
    fclose(out);
    std::string said(transcript, transcriptSize);
    free(transcript);
    EXPECT_EQ(status, 0) << said;
    EXPECT_NE(said.find("button 2: Stop, press it again (2/2)"), std::string::npos) << said;
    EXPECT_NE(said.find("differs"), std::string::npos) << said;
    EXPECT_NE(said.find("already called Play"), std::string::npos) << said;

    std::string path = home.prefsFolder() + "/Learned.REM";
    ASSERT_TRUE(fileExists(path)) << said;
    std::string cfg = readFile(home.prefsFolder() + "/OrvendaVQX.cfg");
    size_t rem = cfg.find("REM ");
    ASSERT_NE(rem, std::string::npos);
    cfg.replace(rem, cfg.find('\n', rem) - rem, "REM Learned.REM");
    writeFile(home.prefsFolder() + "/OrvendaVQX.cfg", cfg);

    LOADresult learned = LOADread();
    ASSERT_EQ(learned.status, 0) << learned.why;
    EXPECT_EQ(learned.alerts, 0) << learned.why;
    EXPECT_EQ(learned.table.remName, "Learned.REM");
    EXPECT_EQ(learned.table.frequency, 38000);
    ASSERT_EQ(learned.table.buttons.size(), 4u);
    DECdecoder dec;
    DECinit(&dec, learned.table);
    std::vector<DECevent> events;
    int64_t now = 0;
    for (size_t b = 0; b < 4; b++) {
        EXPECT_EQ(learned.table.buttons[b].name, names[b]);
        std::vector<uint32_t> frame = frames[b];
        SYNjitter(&frame, 0.1, 99 + (uint32_t)b);
        frame.back() = 300000;
        for (size_t i = 0; i < frame.size(); i++) {
            now += frame[i];
            DECfeed(&dec, i % 2 == 0, frame[i], now, &events);
        }
    }
    DECexpire(&dec, now + 1000000, &events);
    std::vector<int> pressed;
    for (const DECevent &e : events)
        if (e.kind == DECevent::PRESS)
            pressed.push_back(e.button);
    EXPECT_EQ(pressed, (std::vector<int> { 0, 1, 2, 3 }));

    // Again without --force: refused, the file as it was.
    std::string before = readFile(path);
    in = fmemopen((void *)answers, sizeof answers - 1, "r");
    FILE *sink = tmpfile();
    EXPECT_EQ(LRNrunWith(options, LRNreplaySource("test", samples), in, sink), 1);
    fclose(in);
    fclose(sink);
    EXPECT_EQ(readFile(path), before);
}

TEST(LearnSourceTest, ReceiverDescriptorGivesPressesWithoutItsRepeats)
{
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::vector<SMPsample> in;
    addFrame(&in, kNec, 40000);
    addFrame(&in, { 9000, 2250, 562 }, 300000);
    addFrame(&in, { 2400, 600, 1200, 600, 600 }, 300000);
    std::vector<uint32_t> words;
    for (const SMPsample &x : in)
        words.push_back(SMPtoWord(x));
    ASSERT_EQ(write(fds[1], words.data(), words.size() * 4), (ssize_t)(words.size() * 4));
    std::string why;
    LRNsource *source = LRNopenReceiver("fd:" + std::to_string(fds[0]), &why);
    ASSERT_NE(source, nullptr) << why;
    LRNpress p;
    ASSERT_EQ(source->next(&p, 2000, &why), 1);
    EXPECT_EQ(p.durations, kNec);
    ASSERT_EQ(source->next(&p, 2000, &why), 1);
    EXPECT_EQ(p.durations, (std::vector<uint32_t> { 2400, 600, 1200, 600, 600 }));
    EXPECT_EQ(source->next(&p, 50, &why), 0);
    close(fds[1]);
    EXPECT_EQ(source->next(&p, 2000, &why), -1);
    delete source;
    close(fds[0]);
    EXPECT_EQ(LRNopenReceiver("lircd", &why), nullptr);
    EXPECT_NE(why.find("--input"), std::string::npos);
}
