// The remote description reader: frequency and bit time, command records in the command buffer,
// the statistics, the messages, and every kind of bad line.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "mapping/config.h"
#include "mapping/remote.h"
#include "support/mapping_support.h"

namespace {

// Reads text as the remote "test.REM" with a command buffer of mem bytes; returns parseRemFile's
// result and what it traced.
struct RemRead {
    int result = 0;
    std::string trace;
};

RemRead readRem(MappingFiles &files, const std::string &text)
{
    writeFile(files.path("test.REM"), text);
    RemRead r;
    r.trace = captureStdout([](void *p) { *static_cast<int *>(p) = parseRemFile("test.REM"); }, &r.result);
    return r;
}

std::vector<uint16_t> tokensOf(const CommandRecord *cmd)
{
    std::vector<uint16_t> tokens;
    for (int i = 0; i < cmd->count; i++)
        tokens.push_back(CMDtoken(cmd, i));
    return tokens;
}

std::string tokenLine(int n, const char *token = "0101")
{
    std::string line = "CMD Many";
    for (int i = 0; i < n; i++)
        line += std::string(" ") + token;
    return line + "\n";
}
} // namespace

TEST(RemoteReader, NoCommandLinesLeaveStatisticsAtZeroHundredFifty)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    RemRead r = readRem(files, "FRQ 38000\nBIT 562\n\n");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(maximumCommandLengthToken, 0);
    EXPECT_EQ(minimumCommandLengthToken, 100);
    EXPECT_EQ(averageCommandLengthToken, 50);
    EXPECT_EQ(maximumCommandLengthBits, 0);
    EXPECT_EQ(REMfirstCommand(), nullptr);
    EXPECT_EQ(RemoteParms.frequency, 38000);
    EXPECT_EQ(RemoteParms.bitTime, 562);
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(RemoteReader, PlayWithTwoTokensGivesTwoTokensAndTenBits)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    readRem(files, "CMD Play 0102 0304\n");
    CommandRecord *cmd = REMfirstCommand();
    ASSERT_NE(cmd, nullptr);
    EXPECT_STREQ(cmd->name, "Play");
    EXPECT_EQ(cmd->count, 2);
    EXPECT_EQ(tokensOf(cmd), (std::vector<uint16_t> { 0x0102, 0x0304 }));
    EXPECT_EQ(maximumCommandLengthBits, 10);
    EXPECT_EQ(maximumCommandLengthToken, 2);
    EXPECT_EQ(minimumCommandLengthToken, 2);
    EXPECT_EQ(averageCommandLengthToken, 2);
    EXPECT_EQ(REMnextCommand(cmd), nullptr);
    EXPECT_EQ(cmdAssemblyPtr - cmdBuf, 46 + 2 * 2);
}

TEST(RemoteReader, TokenTenThousandHexIsOutOfRangeAndFFFFIsAccepted)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    RemRead r = readRem(files, "CMD Big 10000\nCMD Top FFFF\n");
    EXPECT_NE(r.trace.find("Orvenda VQX ERROR: token out of range [10000] in .REM file\n"), std::string::npos);
    EXPECT_EQ(commandNames(), std::vector<std::string> { "Top" });
    EXPECT_EQ(CMDtoken(REMfirstCommand(), 0), 0xFFFF);
    EXPECT_EQ(maximumCommandLengthBits, 0xFF + 0xFF);
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(RemoteReader, FrequencyThirtyEightKIsFatal)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    RemoteParms.frequency = 7;
    RemRead r = readRem(files, "FRQ 38k\nCMD A 0101\n");
    EXPECT_EQ(r.result, 0);
    ASSERT_EQ(scope.presenter.shown.size(), 1u);
    EXPECT_EQ(scope.presenter.shown[0].id, 129);
    EXPECT_EQ(scope.presenter.shown[0].text,
        "Fatal error: invalid frequency [38k] in configuration file; cannot continue...");
    EXPECT_EQ(RemoteParms.frequency, 7);
    EXPECT_EQ(commandNames(), std::vector<std::string> { "A" });
}

TEST(RemoteReader, BadBitTimeShowsItsOwnOddText)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    readRem(files, "BIT K1\n");
    ASSERT_EQ(scope.presenter.shown.size(), 1u);
    EXPECT_EQ(scope.presenter.shown[0].text,
        "Fatal error: inval invalid bit-time [K1] in configuration file; cannot continue");
}

TEST(RemoteReader, FrequencyWithHexLettersScansItsLeadingDigits)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    readRem(files, "FRQ 36a\nBIT 1b\n");
    EXPECT_TRUE(scope.presenter.shown.empty());
    EXPECT_EQ(RemoteParms.frequency, 36);
    EXPECT_EQ(RemoteParms.bitTime, 1);
}

TEST(RemoteReader, HundredByteBufferTakesTwentySevenTokenCommandOnlyWhenEmpty)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n", "", 100);
    ASSERT_EQ(46 + 2 * 27, 100);
    RemRead first = readRem(files, tokenLine(27));
    EXPECT_EQ(REMcommandCount(), 1);
    EXPECT_EQ(cmdAssemblyPtr - cmdBuf, 100);
    EXPECT_EQ(first.trace.find("not enough room"), std::string::npos);

    RemRead second = readRem(files, "CMD One 0101\n" + tokenLine(27));
    EXPECT_EQ(commandNames(), std::vector<std::string> { "One" });
    EXPECT_NE(second.trace.find("Orvenda VQX ERROR: not enough room for commands\n"), std::string::npos);
    // The dropped command leaves the statistics alone.
    EXPECT_EQ(maximumCommandLengthToken, 1);
}

TEST(RemoteReader, NinetyNineTokensAreKeptAndAHundredDropped)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    RemRead kept = readRem(files, tokenLine(99));
    ASSERT_EQ(REMcommandCount(), 1);
    EXPECT_EQ(REMfirstCommand()->count, 99);
    EXPECT_EQ(maximumCommandLengthToken, 99);
    EXPECT_EQ(cmdAssemblyPtr - cmdBuf, 46 + 2 * 99);

    RemRead dropped = readRem(files, tokenLine(100) + "CMD After 0203\n");
    EXPECT_EQ(commandNames(), std::vector<std::string> { "After" });
    EXPECT_NE(dropped.trace.find("Orvenda VQX ERROR: too many tokens in CMD in .REM file\n"), std::string::npos);
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(RemoteReader, CommandOfAHundredAndFiftyTokensIsDroppedAndTheRestReportedAsUnknown)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    RemRead r = readRem(files, tokenLine(150, "0202") + "CMD Next 0101\n");
    EXPECT_EQ(commandNames(), std::vector<std::string> { "Next" });
    EXPECT_NE(r.trace.find("Orvenda VQX ERROR: unknown token [0202] in .REM file ( 0202, \n"), std::string::npos);
}

TEST(RemoteReader, CommandsAreStoredBackToBackInFileOrder)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    readRem(files, "FRQ 38000\nCMD A 0101 0202 0303\nCMD B 1008\n\nCMD C 0001 0002\n");
    EXPECT_EQ(commandNames(), (std::vector<std::string> { "A", "B", "C" }));
    CommandRecord *a = REMfirstCommand();
    CommandRecord *b = REMnextCommand(a);
    CommandRecord *c = REMnextCommand(b);
    EXPECT_EQ(reinterpret_cast<char *>(a), cmdBuf);
    EXPECT_EQ(reinterpret_cast<char *>(b), cmdBuf + 46 + 2 * 3);
    EXPECT_EQ(reinterpret_cast<char *>(c), cmdBuf + 46 + 2 * 3 + 46 + 2 * 1);
    EXPECT_EQ(lastCmd, c);
    EXPECT_EQ(tokensOf(c), (std::vector<uint16_t> { 1, 2 }));
    EXPECT_EQ(maximumCommandLengthToken, 3);
    EXPECT_EQ(minimumCommandLengthToken, 1);
    EXPECT_EQ(averageCommandLengthToken, 2);
    EXPECT_EQ(maximumCommandLengthBits, 0x10 + 0x08);
}

TEST(RemoteReader, EveryReadForgetsTheCommandsOfTheLastOne)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    readRem(files, "CMD A 0101\nCMD B 0101\n");
    readRem(files, "CMD C 0101\n");
    EXPECT_EQ(commandNames(), std::vector<std::string> { "C" });
}

TEST(RemoteReader, UnknownLineIsTracedTokenByTokenAndSkipped)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    RemRead r = readRem(files, "XYZ one two\nCMD A 0101\n");
    EXPECT_NE(
        r.trace.find("Orvenda VQX ERROR: unknown token [XYZ] in .REM file ( one, \ntwo, \n)\n"), std::string::npos);
    EXPECT_EQ(commandNames(), std::vector<std::string> { "A" });
}

TEST(RemoteReader, NonNumericTokenDropsTheCommand)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    RemRead r = readRem(files, "CMD A 0101 zz 0202\nCMD B 0101\n");
    EXPECT_NE(r.trace.find("Orvenda VQX ERROR: non-numeric token [zz] in .REM file\n"), std::string::npos);
    EXPECT_EQ(commandNames(), std::vector<std::string> { "B" });
}

TEST(RemoteReader, CommandWithoutTokensEndedEarly)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    RemRead r = readRem(files, "CMD Lonely\nCMD\nCMD B 0101");
    EXPECT_EQ(r.trace.find("Orvenda VQX ERROR: command in .REM file ended early\n") != std::string::npos, true);
    EXPECT_EQ(commandNames(), std::vector<std::string> { "B" });
}

TEST(RemoteReader, MissingFileIsFatalAndFails)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    EXPECT_EQ(parseRemFile("Nowhere.REM"), -1);
    ASSERT_EQ(scope.presenter.shown.size(), 1u);
    EXPECT_EQ(
        scope.presenter.shown[0].text, "Remote description file Nowhere.REM cannot be opened; cannot continue...");
}

TEST(RemoteReader, OneByteBufferStoresNothing)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n", "", 1);
    RemRead r = readRem(files, "CMD A 0101\n");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(REMfirstCommand(), nullptr);
    EXPECT_NE(r.trace.find("not enough room for commands"), std::string::npos);
}

TEST(RemoteReader, MissingCommandBufferStoresNothing)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    free(cmdBufMemory);
    cmdBufMemory = nullptr;
    RemRead r = readRem(files, "CMD A 0101\n");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(REMfirstCommand(), nullptr);
    EXPECT_NE(r.trace.find("not enough room for commands"), std::string::npos);
}

TEST(RemoteReader, ChangeRemFileRewritesConfigurationAndReads)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    writeFile(files.path("Other.REM"), "CMD X 0101\nCMD Y 0101\n");
    EXPECT_EQ(changeRemFile("Other.REM"), 0);
    EXPECT_STREQ(remFileName, "Other.REM");
    EXPECT_EQ(readFile(files.path(VQX_CONFIG_FILE_NAME)), "UI\nMAP test.map\nREM Other.REM\nINT USB\nMEM 20000\n");
    EXPECT_EQ(commandNames(), (std::vector<std::string> { "X", "Y" }));
}

// The statistics of each shipped remote, computed here from the file's own text.
class PristineRemote : public ::testing::TestWithParam<const char *> { };

TEST_P(PristineRemote, GivesTheStatisticsOfItsOwnText)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n");
    std::string text = readFile(appDir() + "/" + GetParam());
    ASSERT_FALSE(text.empty());
    writeFile(files.path(GetParam()), text);

    std::vector<std::string> names;
    std::vector<std::vector<uint16_t>> tokens;
    int maxCount = 0, minCount = 100, maxBits = 0;
    long frequency = 0, bitTime = 0;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string keyword;
        if (!(words >> keyword))
            continue;
        if (keyword == "FRQ")
            words >> frequency;
        else if (keyword == "BIT")
            words >> bitTime;
        if (keyword != "CMD")
            continue;
        std::string name, word;
        words >> name;
        std::vector<uint16_t> values;
        int bits = 0;
        while (words >> word) {
            unsigned v = (unsigned)std::stoul(word, nullptr, 16);
            values.push_back((uint16_t)v);
            bits += (int)(v / 256 + v % 256);
        }
        names.push_back(name);
        tokens.push_back(values);
        maxCount = std::max(maxCount, (int)values.size());
        minCount = std::min(minCount, (int)values.size());
        maxBits = std::max(maxBits, bits);
    }
    ASSERT_FALSE(names.empty());

    RemRead r;
    r.trace = captureStdout([](void *p) { parseRemFile(static_cast<const char *>(p)); }, (void *)GetParam());
    EXPECT_TRUE(scope.presenter.shown.empty());
    EXPECT_EQ(r.trace.find("ERROR"), std::string::npos) << r.trace;
    EXPECT_EQ(RemoteParms.frequency, frequency);
    EXPECT_EQ(RemoteParms.bitTime, bitTime);
    EXPECT_EQ(commandNames(), names);
    int i = 0;
    for (CommandRecord *cmd = REMfirstCommand(); cmd; cmd = REMnextCommand(cmd), i++)
        EXPECT_EQ(tokensOf(cmd), tokens[i]) << cmd->name;
    EXPECT_EQ(maximumCommandLengthToken, maxCount);
    EXPECT_EQ(minimumCommandLengthToken, minCount);
    EXPECT_EQ(averageCommandLengthToken, (maxCount + minCount) / 2);
    EXPECT_EQ(maximumCommandLengthBits, maxBits);
}

INSTANTIATE_TEST_SUITE_P(Shipped, PristineRemote,
    ::testing::Values("OrvendaVQXM1A.REM", "OrvendaVQXM2A.REM", "DeckSet.REM"),
    [](const ::testing::TestParamInfo<const char *> &param) {
        std::string name = param.param;
        name.erase(std::remove_if(name.begin(), name.end(), [](char c) { return !isalnum(c); }), name.end());
        return name;
    });
