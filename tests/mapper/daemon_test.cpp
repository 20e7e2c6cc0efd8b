// The Mapper's decisions on a virtual clock with the pristine files in a temporary preferences
// folder: presses from frames and from names, releases, the editor in front, and reloads that
// keep the old mapping when the files are damaged and release a held button.
#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "mapper/daemon.h"
#include "mapper/replay.h"
#include "mapper/synth.h"
#include "support/test_support.h"

namespace {

class Recorder : public OUTsink {
public:
    std::vector<std::pair<int64_t, std::string>> steps;
    const char *name() const override { return "test"; }
    void perform(const OUTstep &step, int64_t now) override { steps.emplace_back(now, OUTdescribe(step)); }
    int releaseAlls = 0;
    void releaseAll(int64_t) override { releaseAlls++; }
    std::vector<std::string> texts() const
    {
        std::vector<std::string> out;
        for (const auto &s : steps)
            out.push_back(s.second);
        return out;
    }
};

class DaemonTest : public ::testing::Test {
protected:
    TempConfigHome home;
    Recorder out;
    DMNdaemon d;
    void SetUp() override
    {
        home.install(true);
        DMNinit(&d, &out);
        ASSERT_EQ(DMNload(&d, 0, "test"), 0);
        DMNsetFront(&d, { "vlc" });
    }
    std::string mapPath() const { return home.prefsFolder() + "/OrvendaVQXM1.map"; }
    // Replaces vlc's line for `button` in the mapping file with `line`.
    void rewriteVlcLine(const std::string &button, const std::string &line)
    {
        std::string text = readFile(mapPath());
        size_t section = text.find("APPL vlc\n");
        ASSERT_NE(section, std::string::npos);
        size_t at = text.find("ACT " + button + " ", section);
        ASSERT_NE(at, std::string::npos);
        size_t end = text.find('\n', at);
        text.replace(at, end - at, line);
        writeFile(mapPath(), text);
    }
    // Feeds one synthesised frame of `button` from time t; returns the time its last edge ends.
    int64_t feedFrame(const std::string &button, int64_t t)
    {
        int index = MTABbuttonIndex(d.table, button);
        EXPECT_GE(index, 0);
        std::vector<uint32_t> frame = SYNframe(d.table, index);
        for (size_t i = 0; i + 1 < frame.size(); i++) {
            t += frame[i];
            DMNsample(&d, SMPsample { i % 2 == 0 ? SMP_PULSE : SMP_SPACE, frame[i] }, t);
        }
        return t;
    }
};

} // namespace

TEST_F(DaemonTest, AFrameOfPlayPerformsVlcsOwnActionAtItsLastMarkAndReleasesLater)
{
    int64_t end = feedFrame("Play", 1000);
    ASSERT_EQ(out.steps.size(), 1u);
    EXPECT_EQ(out.steps[0].first, end);
    EXPECT_EQ(out.steps[0].second, "KEY_TAP 00003120 0000");
    EXPECT_EQ(d.held, MTABbuttonIndex(d.table, "Play"));
    DMNexpire(&d, end + 159000);
    EXPECT_GE(d.held, 0);
    DMNexpire(&d, end + 160000);
    EXPECT_EQ(d.held, -1);
}

TEST_F(DaemonTest, ALongSpaceInOnePieceReleasesTheHeldButton)
{
    int64_t end = feedFrame("Play", 0);
    ASSERT_GE(d.held, 0);
    DMNsample(&d, SMPsample { SMP_SPACE, 300000 }, end); // read at once with the frame
    EXPECT_EQ(d.held, -1);
}

TEST_F(DaemonTest, PressByNameResolvesForTheFrontApplicationAndUnknownNamesAreRefused)
{
    EXPECT_EQ(DMNpressName(&d, "Play", 10), 0);
    EXPECT_EQ(DMNreleaseName(&d, "Play", 20), 0);
    EXPECT_EQ(DMNpressName(&d, "NoSuchButton", 30), -1);
    EXPECT_EQ(out.texts(), std::vector<std::string> { "KEY_TAP 00003120 0000" });
    EXPECT_EQ(DMNentryName(&d), "vlc");
}

TEST_F(DaemonTest, TheEditorInFrontOnlyReportsPresses)
{
    DMNsetFront(&d, { "vqx-map-editor" });
    EXPECT_EQ(DMNpressName(&d, "Play", 10), 0);
    EXPECT_EQ(d.held, MTABbuttonIndex(d.table, "Play"));
    DMNreleaseName(&d, "Play", 20);
    EXPECT_TRUE(out.steps.empty());
}

TEST_F(DaemonTest, ACorruptMappingWrittenInPlaceKeepsTheOldActions)
{
    writeFile(mapPath(), "MAPVER 2\nAPPL vlc\nACT Play KEY zz\n\x01\x02garbage\n");
    EXPECT_TRUE(DMNfilesChanged(&d));
    EXPECT_EQ(DMNload(&d, 100, "test"), -1);
    DMNpressName(&d, "Play", 200);
    EXPECT_EQ(out.texts(), std::vector<std::string> { "KEY_TAP 00003120 0000" });
    EXPECT_EQ(d.table.mapName, "OrvendaVQXM1.map");
}

TEST_F(DaemonTest, AMappingMissingFromBothFoldersKeepsTheOldActions)
{
    writeFile(home.prefsFolder() + "/OrvendaVQX.cfg", "UI\nMAP gone.map\nREM OrvendaVQXM1A.REM\nINT USB\n");
    EXPECT_EQ(DMNload(&d, 100, "test"), -1);
    DMNpressName(&d, "Play", 200);
    EXPECT_EQ(out.texts(), std::vector<std::string> { "KEY_TAP 00003120 0000" });
}

TEST_F(DaemonTest, AGoodMappingTakesEffectAtTheNextPress)
{
    rewriteVlcLine("Play", "ACT Play        VOL SET 200   0   0  0 0 1 0 OVR");
    EXPECT_TRUE(DMNfilesChanged(&d));
    EXPECT_EQ(DMNload(&d, 100, "test"), 0);
    EXPECT_FALSE(DMNfilesChanged(&d));
    DMNpressName(&d, "Play", 200);
    EXPECT_EQ(out.texts(), std::vector<std::string> { "VOLUME 1 200 1 0" });
}

TEST_F(DaemonTest, AButtonHeldDuringAReloadIsReleasedFirst)
{
    // vlc's Up is a key held down for the desktop's own repeat.
    DMNpressName(&d, "Up", 10);
    ASSERT_EQ(out.texts(), std::vector<std::string> { "KEY_DOWN 00007e1e 1000" });
    rewriteVlcLine("Up", "ACT Up          NO_ACTION OVR");
    int releasesBefore = out.releaseAlls;
    EXPECT_EQ(DMNload(&d, 50, "test"), 0);
    EXPECT_EQ(d.held, -1);
    EXPECT_GT(out.releaseAlls, releasesBefore);
    ASSERT_EQ(out.steps.size(), 2u);
    EXPECT_EQ(out.steps[1], std::make_pair((int64_t)50, std::string("KEY_UP 00007e1e 1000")));
    // The new mapping: Up does nothing for vlc now.
    size_t before = out.steps.size();
    DMNpressName(&d, "Up", 60);
    DMNreleaseName(&d, "Up", 70);
    EXPECT_EQ(out.steps.size(), before);
}

TEST_F(DaemonTest, AFailedReloadAlsoReleasesTheHeldKey)
{
    DMNpressName(&d, "Up", 10);
    writeFile(mapPath(), "not a mapping at all\n");
    EXPECT_EQ(DMNload(&d, 50, "test"), -1);
    EXPECT_EQ(d.held, -1);
    ASSERT_GE(out.steps.size(), 2u);
    EXPECT_EQ(out.steps[1].second, "KEY_UP 00007e1e 1000");
}

TEST_F(DaemonTest, ANewPressReleasesTheHeldKeyOfTheFirstButton)
{
    DMNpressName(&d, "Up", 10);
    DMNpressName(&d, "Play", 20);
    EXPECT_EQ(out.texts(),
        (std::vector<std::string> { "KEY_DOWN 00007e1e 1000", "KEY_UP 00007e1e 1000", "KEY_TAP 00003120 0000" }));
}

TEST_F(DaemonTest, AWorkingMappingRemovedIsRestoredFromThePristineCopyAsTheEditorDoes)
{
    rewriteVlcLine("Play", "ACT Play        VOL SET 200   0   0  0 0 1 0 OVR");
    ASSERT_EQ(DMNload(&d, 100, "test"), 0);
    ASSERT_EQ(remove(mapPath().c_str()), 0);
    EXPECT_EQ(DMNload(&d, 200, "test"), 0);
    DMNpressName(&d, "Play", 300);
    EXPECT_EQ(out.texts(), std::vector<std::string> { "KEY_TAP 00003120 0000" });
    EXPECT_TRUE(fileExists(mapPath()));
}

TEST(DaemonStartTest, WithoutThePreferencesFolderNothingIsInForceAndPressesAreOnlyReported)
{
    TempConfigHome home;
    Recorder out;
    DMNdaemon d;
    DMNinit(&d, &out);
    EXPECT_EQ(DMNload(&d, 0, "test"), -1);
    EXPECT_FALSE(d.haveTable);
    EXPECT_EQ(DMNpressName(&d, "Play", 10), -1);
    EXPECT_TRUE(out.steps.empty());
    // The files arriving later are read.
    home.install(true);
    EXPECT_TRUE(DMNfilesChanged(&d));
    EXPECT_EQ(DMNload(&d, 20, "test"), 0);
    EXPECT_TRUE(d.haveTable);
}

TEST(ReplayTextTest, RandomBytesGiveNoSampleOutOfRangeAndNameTheirBadLines)
{
    std::mt19937 random(7);
    std::string bytes(65536, '\0');
    for (char &c : bytes)
        c = (char)(random() & 0xFF);
    RPLfile file;
    RPLparse(bytes.data(), bytes.size(), &file, "random");
    EXPECT_GT(file.badLines, 0);
    for (const SMPsample &s : file.samples)
        EXPECT_LE(s.value, 16777215u);
}

TEST(ReplayTextTest, HugeAndNegativeNumbersAreBadLinesAndGoodLinesAroundThemCount)
{
    const std::string text = "pulse 9000\nspace 99999999999999999999\nspace -5\npulse -1\nspace 4500\n";
    RPLfile file;
    RPLparse(text.data(), text.size(), &file, "numbers");
    EXPECT_EQ(file.badLines, 3);
    ASSERT_EQ(file.samples.size(), 2u);
    EXPECT_EQ(file.samples[0].kind, SMP_PULSE);
    EXPECT_EQ(file.samples[0].value, 9000u);
    EXPECT_EQ(file.samples[1].kind, SMP_SPACE);
    EXPECT_EQ(file.samples[1].value, 4500u);
}
