// lircd.conf reading and conversion to remote descriptions: frames as lircd sends them (space
// encoding with pre_data, RC5, RC6 with its double-length trailer bit, raw codes), the bit time,
// what is left out and why, and every written file read back by the editor's reader without an
// alert, its frames decoding to the buttons they were made for.
#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "mapper/decode.h"
#include "mapper/import.h"
#include "mapper/lircdconf.h"
#include "mapper/synth.h"
#include "shell/files.h"
#include "support/test_support.h"
#include "tests/mapper/remread.h"

namespace {

const char *const kNec = R"(
# an NEC remote with pre_data
begin remote
  name  TestNEC
  bits           8
  flags SPACE_ENC|CONST_LENGTH
  eps            30
  aeps          100
  header       9000  4500
  one           560  1690
  zero          560   560
  ptrail        560
  repeat       9000  2250
  pre_data_bits   8
  pre_data       0xA5
  gap          108000
  frequency    38000
  begin codes
    Power   0x12   # the power key
    Play    0x0F
    Stop    0xF0
  end codes
end remote
)";

const char *const kRc5 = R"(
begin remote
  name  TestRC5
  bits           3
  flags RC5|CONST_LENGTH
  one           889  889
  zero          889  889
  plead         889
  pre_data_bits   2
  pre_data       0x3
  gap          113792
  frequency    36000
      begin codes
          Up     0x5
          Down   0x2
      end codes
end remote
)";

const char *const kRc6 = R"(
begin remote
  name  TestRC6
  bits            4
  flags RC6|CONST_LENGTH
  header       2666   889
  one           444   444
  zero          444   444
  pre_data_bits   5
  pre_data       0x1D
  gap          105000
  toggle_bit      5
      begin codes
          Ok      0x5
          Back    0xA
      end codes
end remote
)";

const char *const kRaw = R"(
begin remote
  name  TestRaw
  flags RAW_CODES
  gap   40000
  begin raw_codes
    name A
      3000 1500  500  500  500 1500
       500
    name B
      3000 1500  500 1500  500  500
       500  500  500
  end raw_codes
end remote
)";

// Durations without the trailing gap.
std::vector<uint32_t> body(std::vector<uint32_t> frame)
{
    if (!frame.empty())
        frame.pop_back();
    return frame;
}

// The NEC frame of pre_data 0xA5 and code `code`, written out from the protocol: header, 16 bits
// first bit highest, a one 560/1690, a zero 560/560, the trailing pulse.
std::vector<uint32_t> necFrame(unsigned code)
{
    std::vector<uint32_t> f = { 9000, 4500 };
    unsigned all = (0xA5u << 8) | code;
    for (int bit = 15; bit >= 0; bit--) {
        f.push_back(560);
        f.push_back((all >> bit) & 1 ? 1690 : 560);
    }
    f.push_back(560);
    return f;
}

// Writes the remote's text into the preferences folder and reads it with the editor's reader.
RemReadResult writeAndRead(const IMPremote &r)
{
    writeFile(std::string(getenv("XDG_CONFIG_HOME")) + "/" VQX_PREFS_FOLDER_NAME "/" + r.fileName, r.text);
    return remRead(r.fileName.c_str());
}

// The name of the button the decoder presses for `frame` (µs, pulse first, trailing gap last).
std::string decodeName(const MTABtable &t, const std::vector<uint32_t> &frame)
{
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> events;
    int64_t now = 1000000;
    for (size_t i = 0; i + 1 < frame.size(); i++) {
        now += frame[i];
        DECfeed(&d, i % 2 == 0, frame[i], now, &events);
    }
    DECexpire(&d, now + 100000, &events);
    for (const DECevent &e : events)
        if (e.kind == DECevent::PRESS)
            return t.buttons[(size_t)e.button].name;
    return "";
}

// Every button of every converted remote: read back without alert, each duration written within
// 10% and at most 255 units, and its frame decoding to the same button.
void checkConverted(const std::vector<IMPremote> &remotes)
{
    TempConfigHome home;
    home.install(false);
    for (const IMPremote &r : remotes) {
        if (!r.converted)
            continue;
        RemReadResult read = writeAndRead(r);
        ASSERT_EQ(read.status, 0) << r.fileName;
        EXPECT_EQ(read.alerts, 0) << r.fileName << ": " << read.first;
        ASSERT_EQ(read.table.buttons.size(), r.buttons.size()) << r.text;
        EXPECT_EQ(read.table.bitTime, r.bitTime);
        for (size_t b = 0; b < read.table.buttons.size(); b++) {
            EXPECT_EQ(read.table.buttons[b].name, r.buttons[b]);
            std::vector<uint32_t> frame = SYNframe(read.table, (int)b);
            EXPECT_EQ(decodeName(read.table, frame), r.buttons[b]) << r.fileName << " " << r.buttons[b];
        }
    }
}

TEST(LircdConfParse, ReadsSeveralRemotesWithTheirTimingsFlagsAndCodes)
{
    LCFfile f = LCFparse(std::string(kNec) + kRc5 + kRc6 + kRaw);
    EXPECT_TRUE(f.errors.empty());
    ASSERT_EQ(f.remotes.size(), 4u);
    const LCFremote &nec = f.remotes[0];
    EXPECT_EQ(nec.name, "TestNEC");
    EXPECT_EQ(nec.flags, (uint32_t)(LCF_SPACE_ENC | LCF_CONST_LENGTH));
    EXPECT_EQ(nec.bits, 8);
    EXPECT_EQ(nec.phead, 9000u);
    EXPECT_EQ(nec.shead, 4500u);
    EXPECT_EQ(nec.sone, 1690u);
    EXPECT_EQ(nec.prepeat, 9000u);
    EXPECT_EQ(nec.srepeat, 2250u);
    EXPECT_EQ(nec.preData, 0xA5u);
    EXPECT_EQ(nec.gap, 108000u);
    ASSERT_EQ(nec.codes.size(), 3u);
    EXPECT_EQ(nec.codes[0].name, "Power");
    EXPECT_EQ(nec.codes[0].codes, std::vector<uint64_t>({ 0x12 }));
    EXPECT_TRUE(nec.errors.empty());
    EXPECT_EQ(f.remotes[1].flags, (uint32_t)(LCF_RC5 | LCF_CONST_LENGTH));
    EXPECT_EQ(f.remotes[1].plead, 889u);
    EXPECT_EQ(f.remotes[2].toggleBit, 5);
    const LCFremote &raw = f.remotes[3];
    EXPECT_TRUE(raw.flags & LCF_RAW_CODES);
    ASSERT_EQ(raw.rawCodes.size(), 2u);
    EXPECT_EQ(raw.rawCodes[1].name, "B");
    EXPECT_EQ(raw.rawCodes[1].durations, std::vector<uint32_t>({ 3000, 1500, 500, 1500, 500, 500, 500, 500, 500 }));
}

TEST(LircdConfParse, ShiftEncIsRc5AndBadValuesAreErrorsOfTheirRemote)
{
    LCFfile f = LCFparse("begin remote\nname A\nflags SHIFT_ENC\nbits 4\none 1 1\nzero 1 1\nbegin codes\n"
                         "  #  0x3\n  end 0x4\n  # a comment\nend codes\nend remote\n"
                         "begin remote\nname B\nbits x12\nflags SPACE_ENC|BOGUS\nend remote\nstray line\n");
    ASSERT_EQ(f.remotes.size(), 2u);
    EXPECT_EQ(f.remotes[0].flags, (uint32_t)LCF_RC5);
    ASSERT_EQ(f.remotes[0].codes.size(), 2u);
    EXPECT_EQ(f.remotes[0].codes[0].name, "#"); // as lircd reads an indented '#' in a list of codes
    EXPECT_EQ(f.remotes[0].codes[1].name, "end");
    EXPECT_TRUE(f.remotes[0].errors.empty());
    ASSERT_EQ(f.remotes[1].errors.size(), 2u);
    EXPECT_NE(f.remotes[1].errors[0].find("x12"), std::string::npos);
    EXPECT_NE(f.remotes[1].errors[1].find("BOGUS"), std::string::npos);
    ASSERT_EQ(f.errors.size(), 1u);
    EXPECT_NE(f.errors[0].find("line 18"), std::string::npos);
}

TEST(LircdConfParse, AnUnfinishedBlockIsAnError)
{
    LCFfile f = LCFparse("begin remote\nname A\nbegin codes\nX 1\n");
    ASSERT_EQ(f.remotes.size(), 1u);
    EXPECT_FALSE(f.remotes[0].errors.empty());
}

TEST(LircdImport, SpaceEncodedFramesCarryHeaderPreDataDataAndTrail)
{
    LCFfile f = LCFparse(kNec);
    std::string why;
    std::vector<uint32_t> frame = IMPframe(f.remotes[0], 0, &why);
    ASSERT_FALSE(frame.empty()) << why;
    EXPECT_EQ(body(frame), necFrame(0x12));
    EXPECT_EQ(body(IMPframe(f.remotes[0], 2, &why)), necFrame(0xF0));
    uint32_t length = 0;
    for (uint32_t d : necFrame(0x12))
        length += d;
    EXPECT_EQ(frame.back(), 108000u - length); // CONST_LENGTH: the gap completes the frame's length
    EXPECT_EQ(IMPrepeatBurst(f.remotes[0]), std::vector<uint32_t>({ 9000, 2250, 560 }));
}

TEST(LircdImport, ReverseSendsTheLowestBitFirst)
{
    std::string text = kNec;
    text.replace(text.find("SPACE_ENC|"), 10, "SPACE_ENC|REVERSE|");
    LCFfile f = LCFparse(text);
    std::string why;
    std::vector<uint32_t> frame = body(IMPframe(f.remotes[0], 0, &why));
    ASSERT_EQ(frame.size(), 35u) << why;
    // pre_data 0xA5 is its own mirror image; code 0x12 goes out as 0x48.
    EXPECT_EQ(frame, necFrame(0x48));
}

TEST(LircdImport, Rc5BitsAreBiPhaseWithTheLeadPulse)
{
    LCFfile f = LCFparse(kRc5);
    std::string why;
    // plead, then 1 1 (pre_data) 1 0 1: a one is space-pulse, a zero pulse-space; alike halves join.
    EXPECT_EQ(body(IMPframe(f.remotes[0], 0, &why)),
        std::vector<uint32_t>({ 889, 889, 889, 889, 889, 889, 1778, 1778, 889 }));
    // plead, 1 1 0 1 0: the last space goes into the gap.
    EXPECT_EQ(body(IMPframe(f.remotes[0], 1, &why)), std::vector<uint32_t>({ 889, 889, 889, 889, 1778, 1778, 1778 }));
}

TEST(LircdImport, Rc5ToggleBitGoesOutAsZero)
{
    std::string text = kRc5;
    text.replace(text.find("  gap"), 0, "  toggle_bit 2\n");
    LCFfile f = LCFparse(text);
    std::string why;
    // The second bit (pre_data's 1) is the toggle bit, sent as 0: plead, 1, 0, 1 0 1.
    EXPECT_EQ(body(IMPframe(f.remotes[0], 0, &why)), std::vector<uint32_t>({ 889, 889, 1778, 1778, 1778, 1778, 889 }));
}

TEST(LircdImport, Rc6TrailerBitIsTwiceAsLong)
{
    LCFfile f = LCFparse(kRc6);
    std::string why;
    // Header, then 1 1 1 0 and the trailer (the toggle bit, sent as 0) at double length, then
    // the code 0101; RC6's one is space-pulse in lircd's terms.
    EXPECT_EQ(body(IMPframe(f.remotes[0], 0, &why)),
        std::vector<uint32_t>({ 2666, 1333, 444, 444, 444, 444, 888, 444, 888, 888, 444, 888, 888, 888, 444 }));
}

TEST(LircdImport, RawCodesAreSentAsWritten)
{
    LCFfile f = LCFparse(kRaw);
    std::string why;
    std::vector<uint32_t> frame = IMPframe(f.remotes[0], 1, &why);
    EXPECT_EQ(frame, std::vector<uint32_t>({ 3000, 1500, 500, 1500, 500, 500, 500, 500, 500, 40000 }));
}

TEST(LircdImport, EveryEncodingReadsBackWithoutAlertAndDecodesToItsButton)
{
    std::vector<IMPremote> remotes = IMPconvert(LCFparse(std::string(kNec) + kRc5 + kRc6 + kRaw));
    ASSERT_EQ(remotes.size(), 4u);
    const char *const encodings[] = { "space", "RC5", "RC6", "raw" };
    for (size_t i = 0; i < remotes.size(); i++) {
        EXPECT_TRUE(remotes[i].converted) << remotes[i].why;
        EXPECT_EQ(remotes[i].encoding, encodings[i]);
        EXPECT_TRUE(remotes[i].skipped.empty());
    }
    EXPECT_EQ(remotes[0].fileName, "TestNEC.REM");
    EXPECT_EQ(remotes[0].frequency, 38000);
    EXPECT_EQ(remotes[1].frequency, 36000);
    EXPECT_EQ(remotes[2].frequency, 38000); // none given
    EXPECT_EQ(remotes[0].buttons, std::vector<std::string>({ "Power", "Play", "Stop" }));
    EXPECT_EQ(remotes[0].text.substr(0, 10), "FRQ 38000\n");
    // NEC's repeat burst is the one the Mapper follows.
    ASSERT_EQ(remotes[0].notes.size(), 1u);
    EXPECT_NE(remotes[0].notes[0].find("keeps a held button down"), std::string::npos);
    checkConverted(remotes);
}

TEST(LircdImport, EveryDurationIsWrittenWithinTenPercentAndTheGapClamped)
{
    std::vector<IMPremote> remotes = IMPconvert(LCFparse(std::string(kNec) + kRc6));
    TempConfigHome home;
    home.install(false);
    LCFfile f = LCFparse(std::string(kNec) + kRc6);
    for (size_t r = 0; r < remotes.size(); r++) {
        RemReadResult read = writeAndRead(remotes[r]);
        ASSERT_EQ(read.alerts, 0) << read.first;
        for (size_t b = 0; b < read.table.buttons.size(); b++) {
            std::string why;
            std::vector<uint32_t> original = IMPframe(f.remotes[r], b, &why);
            std::vector<uint32_t> written = SYNframe(read.table, (int)b);
            ASSERT_EQ(written.size(), original.size());
            for (size_t i = 0; i + 1 < original.size(); i++)
                EXPECT_LE(std::fabs((double)written[i] - original[i]), 0.1 * original[i]) << i;
            EXPECT_LE(written.back(), 255u * (uint32_t)read.table.bitTime);
            for (uint16_t token : read.table.buttons[b].tokens)
                EXPECT_GT(token >> 8, 0) << "a mark of 0 units";
        }
    }
}

TEST(LircdImport, TooLongMarksLeaveOutTheirButtonOrTheRemote)
{
    const char *const text = R"(
begin remote
  name  Mixed
  flags RAW_CODES
  gap   50000
  begin raw_codes
    name Fine
      300 300 300 600 300
    name Long
      200000 300 300
  end raw_codes
end remote
begin remote
  name  AllLong
  flags RAW_CODES
  begin raw_codes
    name X
      200000 300 300
  end raw_codes
end remote
)";
    std::vector<IMPremote> remotes = IMPconvert(LCFparse(text));
    ASSERT_EQ(remotes.size(), 2u);
    EXPECT_TRUE(remotes[0].converted);
    EXPECT_EQ(remotes[0].buttons, std::vector<std::string>({ "Fine" }));
    ASSERT_EQ(remotes[0].skipped.size(), 1u);
    EXPECT_EQ(remotes[0].skipped[0].rfind("Long: a duration too long for a mark", 0), 0u) << remotes[0].skipped[0];
    EXPECT_FALSE(remotes[1].converted);
    EXPECT_NE(remotes[1].why.find("too long for a mark"), std::string::npos) << remotes[1].why;
    EXPECT_TRUE(remotes[1].text.empty());
    checkConverted(remotes);
}

TEST(LircdImport, UnsupportedRemotesAndButtonsAreListedWithTheirReason)
{
    std::string many = "begin remote\nname Big\nbits 8\nheader 9000 4500\none 560 1690\nzero 560 560\n"
                       "ptrail 560\nbegin codes\n";
    for (int i = 0; i < 52; i++)
        many += "K" + std::to_string(i) + " " + std::to_string(i) + "\n";
    many += "ThisNameIsLongerThanThirtyChars 60\nSeq 61 62\nK1 61\nK2 2\nend codes\nend remote\n";
    many += "begin remote\nname Usb\nbits 16\none 0 0\nzero 0 0\nbegin codes\nA 1\nend codes\nend remote\n";
    many += "begin remote\nname Xmp\nflags XMP\nbits 16\none 210 760\nzero 210 760\nbegin codes\nA 1\nend codes\n"
            "end remote\n";
    many += "begin remote\nname Empty\nbits 8\none 1 1\nzero 1 1\nend remote\n";
    std::vector<IMPremote> remotes = IMPconvert(LCFparse(many));
    ASSERT_EQ(remotes.size(), 4u);
    const IMPremote &big = remotes[0];
    ASSERT_TRUE(big.converted);
    EXPECT_EQ(big.buttons.size(), 50u);
    std::set<std::string> reasons;
    for (const std::string &s : big.skipped)
        reasons.insert(s);
    EXPECT_TRUE(reasons.count("K50: the editor lists at most 50 commands"));
    EXPECT_TRUE(reasons.count("ThisNameIsLongerThanThirtyChars: a name longer than 30 characters"));
    EXPECT_TRUE(reasons.count("Seq: a sequence of 2 codes per press not supported"));
    EXPECT_TRUE(reasons.count("K2: the same frame as an earlier code of this name"));
    // K1 with a second, different code: kept as one more CMD line of that name (past the 50th here).
    EXPECT_TRUE(reasons.count("K1: the editor lists at most 50 commands"));
    EXPECT_NE(remotes[1].why.find("no timings for the bits"), std::string::npos);
    EXPECT_EQ(remotes[2].why, "XMP encoding not supported");
    EXPECT_EQ(remotes[3].why, "no codes");
    checkConverted(remotes);
}

TEST(LircdImport, FileNamesAreMadeSafeAndUnique)
{
    EXPECT_EQ(IMPfileName("MOTOROLA_START/STOP"), "MOTOROLA_START_STOP.REM");
    EXPECT_EQ(IMPfileName(".hidden remote"), "_hidden_remote.REM");
    EXPECT_EQ(IMPfileName("caf\xc3\xa9"), "caf__.REM");
    EXPECT_EQ(IMPfileName(""), "remote.REM");
    EXPECT_EQ(IMPfileName(std::string(40, 'a')), std::string(28, 'a') + ".REM");
    std::vector<IMPremote> remotes = IMPconvert(LCFparse(std::string(kRaw) + kRaw + kRaw));
    ASSERT_EQ(remotes.size(), 3u);
    EXPECT_EQ(remotes[0].fileName, "TestRaw.REM");
    EXPECT_EQ(remotes[1].fileName, "TestRaw_2.REM");
    EXPECT_EQ(remotes[2].fileName, "TestRaw_3.REM");
}

TEST(LircdImport, BitTimeKeepsEveryDurationWithinTenPercentAnd255Units)
{
    double error = 1;
    EXPECT_EQ(IMPchooseBit({ 889, 1778 }, &error), 889);
    EXPECT_EQ(error, 0);
    int32_t bit = IMPchooseBit({ 9000, 4500, 560, 1690 }, &error);
    ASSERT_GT(bit, 0);
    for (uint32_t d : { 9000u, 4500u, 560u, 1690u }) {
        long units = std::lround((double)d / bit);
        EXPECT_LE(units, 255);
        EXPECT_LE(std::fabs((double)(units * bit) - d), 0.1 * d);
    }
    EXPECT_EQ(IMPchooseBit({ 100, 90000 }, &error), 0);
}

} // namespace
