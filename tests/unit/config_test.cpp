// The global configuration file: reading every keyword, writing it back, and bad input.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "mapping/config.h"
#include "mapping/model.h"
#include "support/test_support.h"

namespace {
class ConfigTest : public ::testing::Test {
protected:
    TempConfigHome config;
    RecordingPresenter presenter;
    std::string cfgPath;
    void SetUp() override
    {
        config.install(false);
        cfgPath = config.prefsFolder() + "/OrvendaVQX.cfg";
        PRESset(&presenter);
    }
    void TearDown() override { PRESset(nullptr); }
};
} // namespace

TEST_F(ConfigTest, FileIsWrittenBackByteForByte)
{
    const std::string text = "UI\nMAP My Map.map\nREM A.REM\nINT USB\nMEM 20000\n";
    writeFile(cfgPath, text);
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_STREQ(mapFileName, "My Map.map");
    EXPECT_STREQ(remFileName, "A.REM");
    EXPECT_STREQ(adapterName, "USB");
    EXPECT_EQ(cmdBufMemoryLen, 20000);
    ASSERT_EQ(writeGlobalConfiguration(), 0);
    EXPECT_EQ(readFile(cfgPath), text);
    EXPECT_TRUE(presenter.shown.empty());
}

TEST_F(ConfigTest, PristineConfigurationReadsWithoutAlertAndWritesBackUnchanged)
{
    writeFile(cfgPath, readFile(appDir() + "/OrvendaVQX.cfg"));
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_STREQ(mapFileName, "OrvendaVQXM1.map");
    EXPECT_STREQ(remFileName, "OrvendaVQXM1A.REM");
    ASSERT_EQ(writeGlobalConfiguration(), 0);
    EXPECT_EQ(readFile(cfgPath), readFile(appDir() + "/OrvendaVQX.cfg"));
    EXPECT_TRUE(presenter.shown.empty());
}

TEST_F(ConfigTest, WithoutMemLineCommandBufferIs20000Bytes)
{
    writeFile(cfgPath, "UI\nMAP a.map\nREM b.REM\n");
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_EQ(cmdBufMemoryLen, 20000);
    ASSERT_NE(cmdBufMemory, nullptr);
}

TEST_F(ConfigTest, MemLineSizesCommandBuffer)
{
    writeFile(cfgPath, "MEM 100\n");
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_EQ(cmdBufMemoryLen, 100);
    EXPECT_NE(cmdBufMemory, nullptr);
}

TEST_F(ConfigTest, CformatZeroIsReadButNotWrittenBack)
{
    writeFile(cfgPath, "UI\nMAP a.map\nREM b.REM\nINT x\nMEM 20000\nCFORMAT 0\n");
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_EQ(cfgFormatVersion, 0);
    ASSERT_EQ(writeGlobalConfiguration(), 0);
    EXPECT_EQ(readFile(cfgPath), "UI\nMAP a.map\nREM b.REM\nINT x\nMEM 20000\n");
}

TEST_F(ConfigTest, CformatOtherValueIsWrittenLast)
{
    writeFile(cfgPath, "CFORMAT 3\nUI\nMAP a.map\nREM b.REM\nINT x\nMEM 20000\n");
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_EQ(cfgFormatVersion, 3);
    ASSERT_EQ(writeGlobalConfiguration(), 0);
    EXPECT_EQ(readFile(cfgPath), "UI\nMAP a.map\nREM b.REM\nINT x\nMEM 20000\nCFORMAT 3\n");
}

TEST_F(ConfigTest, BugLineSetsDebugAndIsWrittenAfterUi)
{
    writeFile(cfgPath, "BUG\nUI\nMAP a.map\nREM b.REM\nINT x\nMEM 20000\n");
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_EQ(debugToFile, 1);
    ASSERT_EQ(writeGlobalConfiguration(), 0);
    EXPECT_EQ(readFile(cfgPath), "UI\nBUG\nMAP a.map\nREM b.REM\nINT x\nMEM 20000\n");
}

TEST_F(ConfigTest, MapNameOf40CharactersKeeps32RestIsUnsupportedItems)
{
    std::string name = "abcdefghijklmnopqrstuvwxyz0123456789ABCD"; // 40 characters
    writeFile(cfgPath, "MAP " + name + "\nREM b.REM\n");
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_EQ(std::string(mapFileName), name.substr(0, 32));
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].text,
              "Internal error: unsupported item [" + name.substr(32) + "] in readCfgItem(); cannot continue...");
    EXPECT_STREQ(remFileName, "b.REM");
}

TEST_F(ConfigTest, UnsupportedItemAlertTextAndReadingGoesOn)
{
    writeFile(cfgPath, "UI\nCOLOR blue\nMAP a.map\n");
    ASSERT_EQ(readGlobalConfiguration(), 0);
    ASSERT_EQ(presenter.shown.size(), 2u);
    EXPECT_EQ(presenter.shown[0].id, 129);
    EXPECT_EQ(presenter.shown[0].text, "Internal error: unsupported item [COLOR] in readCfgItem(); cannot continue...");
    EXPECT_EQ(presenter.shown[1].text, "Internal error: unsupported item [blue] in readCfgItem(); cannot continue...");
    EXPECT_STREQ(mapFileName, "a.map");
}

TEST_F(ConfigTest, MissingFileGivesReinstallAlertAndFailure)
{
    TempConfigHome empty; // no preferences folder at all
    EXPECT_EQ(readGlobalConfiguration(), -1);
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].text,
              "Unable to open (or create) configuration file OrvendaVQX.cfg.  Please re-install the Orvenda VQX "
              "and try again.");
}

TEST_F(ConfigTest, MissingWorkingCopyIsCopiedFromPristineSet)
{
    ASSERT_FALSE(fileExists(cfgPath));
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_STREQ(mapFileName, "OrvendaVQXM1.map");
    EXPECT_TRUE(fileExists(cfgPath));
}

TEST_F(ConfigTest, KeywordWithoutValueLeavesGlobal)
{
    writeFile(cfgPath, "MAP keep.map\nMAP\nINT\n");
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_STREQ(mapFileName, "keep.map");
    EXPECT_STREQ(adapterName, "");
}

TEST_F(ConfigTest, ReadingResetsButtonCountsAndRemoteName)
{
    writeFile(cfgPath, "UI\n");
    strcpy(remFileName, "old.REM");
    maxNumButtons = 9;
    numButtons = 4;
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_STREQ(remFileName, "");
    EXPECT_EQ(maxNumButtons, 0);
    EXPECT_EQ(numButtons, 0);
}

TEST_F(ConfigTest, RemNameKeepsAtMost31Characters)
{
    writeFile(cfgPath, "REM " + std::string(31, 'r') + "XYZ\n");
    ASSERT_EQ(readGlobalConfiguration(), 0);
    EXPECT_EQ(std::string(remFileName), std::string(31, 'r'));
}

TEST_F(ConfigTest, ZeroOrNegativeMemGivesAllocationAlert)
{
    writeFile(cfgPath, "MEM -5\n");
    EXPECT_EQ(readGlobalConfiguration(), -1);
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].text, "Unable to allocate memory for commands");
}

TEST_F(ConfigTest, BinaryGarbageNeverOverrunsBuffers)
{
    std::string junk;
    for (int i = 0; i < 5000; i++)
        junk += (char)((i * 131 + 7) & 0xFF);
    junk += std::string(3000, 'M') + "\nMAP " + std::string(500, 'x') + "\nINT " + std::string(2000, 'y');
    junk += std::string(10, '\0') + "\nREM\n";
    writeFile(cfgPath, junk);
    readGlobalConfiguration();
    EXPECT_LE(strlen(mapFileName), 32u);
    EXPECT_LE(strlen(remFileName), 31u);
    EXPECT_LE(strlen(adapterName), 32u);
}

TEST_F(ConfigTest, EndlessLineIsReadInBoundedPieces)
{
    writeFile(cfgPath, "INT " + std::string(100000, 'z'));
    readGlobalConfiguration();
    EXPECT_EQ(std::string(adapterName), std::string(32, 'z'));
    EXPECT_FALSE(presenter.shown.empty()); // the rest are unsupported items
}

TEST_F(ConfigTest, WriteFailureShowsAlertAndKeepsOldFile)
{
    writeFile(cfgPath, "UI\nMAP a.map\n");
    ASSERT_EQ(readGlobalConfiguration(), 0);
    openToEveryone(config.home());
    ASSERT_EQ(chmod(config.prefsFolder().c_str(), 0555), 0);
    RecordingPresenter *shown = &presenter;
    int result = runInChild([shown] {
        if (writeGlobalConfiguration() != -1)
            return 1;
        if (shown->shown.size() != 1 ||
            shown->shown[0].text != "Unable to write configuration file [OrvendaVQX.cfg]; cannot continue...")
            return 2;
        return 0;
    }, true);
    chmod(config.prefsFolder().c_str(), 0755);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(readFile(cfgPath), "UI\nMAP a.map\n");
    EXPECT_EQ(std::filesystem::directory_iterator(config.prefsFolder()) != std::filesystem::directory_iterator(), true);
    for (const auto &entry : std::filesystem::directory_iterator(config.prefsFolder()))
        EXPECT_EQ(entry.path().filename().string().rfind(".OrvendaVQX.cfg.", 0), std::string::npos);
}
