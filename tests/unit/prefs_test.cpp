// "Manager Prefs": defaults, reading blocks of every kind built byte by byte, and writing.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "shell/diagnostics.h"
#include "shell/prefs.h"
#include "support/test_support.h"

namespace {
class PrefsTest : public ::testing::Test {
protected:
    TempConfigHome config;
    RecordingPresenter presenter;
    std::string path;
    void SetUp() override
    {
        config.install(false);
        path = config.prefsFolder() + "/Manager Prefs";
        PRESset(&presenter);
        memset(&theConfigPrefs, 0, sizeof theConfigPrefs);
        prefsChanged = 0;
    }
    void TearDown() override { PRESset(nullptr); }
};

std::string block(int16_t type, uint16_t length, const std::string &body)
{
    std::string b;
    b += (char)(type >> 8);
    b += (char)type;
    b += (char)(length >> 8);
    b += (char)length;
    return b + body;
}

// 52 bytes of a record whose every field differs from the defaults.
std::string sampleRecord()
{
    MgrCfgPrefs r;
    memset(&r, 0, sizeof r);
    r.version = 1;
    r.mainWindowSize = (300u << 16) | 500u;
    r.remotePictShown = 1;
    r.showDetails = 1;
    r.showButtonsNotOnRemote = 0;
    r.currentApplIdx = 9;
    r.viewByButton = 1;
    r.viewByButtonIdx = 4;
    r.mainTop = 222;
    r.mainLeft = 333;
    r.editTop = 44;
    r.editLeft = 55;
    r.remoteTop = -66;
    r.remoteLeft = 77;
    unsigned char bytes[52];
    PREFSencode(&r, bytes);
    return std::string((char *)bytes, 52);
}

int readFromFile(const std::string &path, MgrCfgPrefs *record)
{
    int fd = open(path.c_str(), O_RDONLY);
    EXPECT_GE(fd, 0);
    int result = readPrefs(fd, record);
    close(fd);
    return result;
}

// Sets the access and modification times of the file to the start of 2001.
int setTimesLongAgo(const std::string &path)
{
    struct timespec times[2];
    times[0].tv_sec = times[1].tv_sec = 978307200;
    times[0].tv_nsec = times[1].tv_nsec = 0;
    return utimensat(AT_FDCWD, path.c_str(), times, 0);
}
} // namespace

TEST_F(PrefsTest, DefaultsAreVersionOneShowButtonsAndWindowAt100)
{
    MgrCfgPrefs r;
    memset(&r, 0xAB, sizeof r);
    initMgrCfgPrefs(&r);
    EXPECT_EQ(r.version, 1u);
    EXPECT_EQ(r.showButtonsNotOnRemote, 1u);
    EXPECT_EQ(r.mainTop, 100);
    EXPECT_EQ(r.mainLeft, 100);
    EXPECT_EQ(r.mainWindowSize, 0u);
    EXPECT_EQ(r.remotePictShown, 0u);
    EXPECT_EQ(r.editLeft, 0);
    for (unsigned char c : r.reserved)
        EXPECT_EQ(c, 0);
}

TEST_F(PrefsTest, EncodingIsBigEndianInFieldOrder)
{
    std::string bytes = sampleRecord();
    ASSERT_EQ(bytes.size(), 52u);
    EXPECT_EQ((unsigned char)bytes[3], 1u);                                   // version
    EXPECT_EQ((unsigned char)bytes[4], 0x01u);                                // size high (300)
    EXPECT_EQ((unsigned char)bytes[5], 0x2Cu);
    EXPECT_EQ((unsigned char)bytes[23], 9u);                                  // application index
    EXPECT_EQ(((unsigned char)bytes[40] << 8) | (unsigned char)bytes[41], 222); // main top
    EXPECT_EQ((unsigned char)bytes[48], 0xFFu);                               // remote top -66
    EXPECT_EQ((unsigned char)bytes[49], (unsigned char)(-66 & 0xFF));
}

TEST_F(PrefsTest, NoFileUsesDefaultsAndShutdownWrites56ByteFile)
{
    EXPECT_EQ(getPrefs(), 0);
    EXPECT_EQ(prefsChanged, 1);
    EXPECT_EQ(theConfigPrefs.mainTop, 100);
    EXPECT_EQ(theConfigPrefs.mainLeft, 100);
    EXPECT_EQ(theConfigPrefs.showButtonsNotOnRemote, 1u);
    EXPECT_FALSE(fileExists(path));
    EXPECT_EQ(closePrefs(), 0);
    std::string written = readFile(path);
    ASSERT_EQ(written.size(), 56u);
    unsigned char expected[52];
    PREFSencode(&theConfigPrefs, expected);
    EXPECT_EQ(written, block(1, 52, std::string((char *)expected, 52)));
    EXPECT_TRUE(presenter.shown.empty());
}

TEST_F(PrefsTest, FullRecordIsReadAsCurrent)
{
    writeFile(path, block(1, 52, sampleRecord()));
    EXPECT_EQ(getPrefs(), 0);
    EXPECT_EQ(prefsChanged, 0);
    EXPECT_EQ(theConfigPrefs.mainTop, 222);
    EXPECT_EQ(theConfigPrefs.remoteTop, -66);
    EXPECT_EQ(theConfigPrefs.mainWindowSize, (300u << 16) | 500u);
    EXPECT_EQ(theConfigPrefs.currentApplIdx, 9);
}

TEST_F(PrefsTest, ShortBlockOf40LoadsFirst40BytesAndRewritesFullBlock)
{
    writeFile(path, block(1, 40, sampleRecord().substr(0, 40)));
    EXPECT_EQ(getPrefs(), 0);
    EXPECT_EQ(prefsChanged, 1);
    EXPECT_EQ(theConfigPrefs.currentApplIdx, 9);   // inside the 40 bytes
    EXPECT_EQ(theConfigPrefs.viewByButtonIdx, 4);  // inside the 40 bytes
    EXPECT_EQ(theConfigPrefs.mainTop, 100);        // beyond: default
    EXPECT_EQ(theConfigPrefs.mainLeft, 100);
    EXPECT_EQ(closePrefs(), 0);
    std::string written = readFile(path);
    ASSERT_EQ(written.size(), 56u);
    EXPECT_EQ(written.substr(0, 4), std::string("\x00\x01\x00\x34", 4));
}

TEST_F(PrefsTest, UnknownBlockBodyIsReadAsTheNextHeader)
{
    // Type 2 with a 4-byte body 0001 0034: that body is taken as a type-1 header of length 52.
    std::string file = block(2, 4, std::string("\x00\x01\x00\x34", 4)) + sampleRecord();
    writeFile(path, file);
    std::string out = captureStdout([](void *) { getPrefs(); }, nullptr);
    EXPECT_NE(out.find("Orvenda VQX ERROR: unknown header type?"), std::string::npos);
    EXPECT_EQ(prefsChanged, 1);
    EXPECT_EQ(theConfigPrefs.mainTop, 222);
}

TEST_F(PrefsTest, UnknownBlockFollowedByValidBlockIsMisread)
{
    // A type-2 block with an ordinary body followed by a valid block: the body bytes are headers.
    std::string file = block(2, 4, std::string("\x00\x07\x00\x00", 4)) + block(1, 52, sampleRecord());
    writeFile(path, file);
    MgrCfgPrefs r;
    // 0007 0000 is a header of type 7 with length 0: reading stops there, defaults kept.
    EXPECT_EQ(readFromFile(path, &r), 1);
    EXPECT_EQ(r.mainTop, 100);
}

TEST_F(PrefsTest, LengthFFFFIsRejectedAsUnsigned)
{
    writeFile(path, block(1, 0xFFFF, sampleRecord()));
    MgrCfgPrefs r;
    EXPECT_EQ(readFromFile(path, &r), -1);
    EXPECT_EQ(getPrefs(), -1);
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].text, "readPrefs returned -1");
}

TEST_F(PrefsTest, LengthAbove52IsRejected)
{
    writeFile(path, block(1, 53, sampleRecord() + "x"));
    MgrCfgPrefs r;
    EXPECT_EQ(readFromFile(path, &r), -1);
}

TEST_F(PrefsTest, CutBodyReturnsEndOfFile)
{
    writeFile(path, block(1, 52, sampleRecord().substr(0, 30)));
    MgrCfgPrefs r;
    EXPECT_EQ(readFromFile(path, &r), -39);
    EXPECT_EQ(getPrefs(), -39);
    EXPECT_EQ(presenter.shown.back().text, "readPrefs returned -39");
}

TEST_F(PrefsTest, ShortHeaderEndsReadingQuietly)
{
    writeFile(path, block(1, 52, sampleRecord()) + std::string("\x00\x01", 2));
    MgrCfgPrefs r;
    EXPECT_EQ(readFromFile(path, &r), 0);
    EXPECT_EQ(r.mainTop, 222);
}

TEST_F(PrefsTest, ZeroLengthEndsReading)
{
    writeFile(path, block(1, 0, "") + block(1, 52, sampleRecord()));
    MgrCfgPrefs r;
    EXPECT_EQ(readFromFile(path, &r), 0);
    EXPECT_EQ(r.mainTop, 100);
}

TEST_F(PrefsTest, SecondBlockOverwritesFromFirstByte)
{
    std::string second = sampleRecord();
    second[3] = 7; // version
    writeFile(path, block(1, 52, sampleRecord()) + block(1, 4, second.substr(0, 4)));
    MgrCfgPrefs r;
    EXPECT_EQ(readFromFile(path, &r), 1);
    EXPECT_EQ(r.version, 7u);
    EXPECT_EQ(r.mainTop, 222); // kept from the first block
}

TEST_F(PrefsTest, EmptyFileReadsDefaultsAsCurrent)
{
    writeFile(path, "");
    EXPECT_EQ(getPrefs(), 0);
    EXPECT_EQ(prefsChanged, 0);
    EXPECT_EQ(theConfigPrefs.mainTop, 100);
}

TEST_F(PrefsTest, UnchangedRunDoesNotRewriteFile)
{
    writeFile(path, block(1, 52, sampleRecord()));
    // The file's times are put far in the past: any write, even of the same bytes, moves the
    // modification time to now (a read-only mode would not do, root writes through it).
    ASSERT_EQ(setTimesLongAgo(path), 0);
    struct stat before;
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    ASSERT_EQ(getPrefs(), 0);
    ASSERT_EQ(prefsChanged, 0);
    EXPECT_EQ(closePrefs(), 0);
    EXPECT_TRUE(presenter.shown.empty());
    struct stat after;
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_EQ(after.st_ctim.tv_sec, before.st_ctim.tv_sec);
    EXPECT_EQ(after.st_ctim.tv_nsec, before.st_ctim.tv_nsec);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(readFile(path), block(1, 52, sampleRecord()));
}

TEST_F(PrefsTest, ChangedRunRewritesFileWithNewTimes)
{
    // The other side of the test above: the same check sees a write when there is one.
    writeFile(path, block(1, 52, sampleRecord()));
    ASSERT_EQ(setTimesLongAgo(path), 0);
    struct stat before;
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    ASSERT_EQ(getPrefs(), 0);
    prefsChanged = 1;
    EXPECT_EQ(closePrefs(), 0);
    struct stat after;
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_GT(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(readFile(path), block(1, 52, sampleRecord()));
}

TEST_F(PrefsTest, WriteKeepsTailOfLongerOlderFile)
{
    std::string tail = "TAILBYTES";
    writeFile(path, block(1, 52, sampleRecord()) + tail);
    ASSERT_EQ(getPrefs(), 0);
    theConfigPrefs.mainTop = 10;
    prefsChanged = 1;
    EXPECT_EQ(closePrefs(), 0);
    std::string written = readFile(path);
    ASSERT_EQ(written.size(), 56u + tail.size());
    EXPECT_EQ(written.substr(56), tail);
}

TEST_F(PrefsTest, MissingPreferencesFolderIsFileNotFound)
{
    TempConfigHome other; // no preferences folder inside
    int ref;
    EXPECT_EQ(openPrefs(&ref, 0), -43);
    EXPECT_EQ(getPrefs(), 0);
    EXPECT_EQ(prefsChanged, 1);
}

TEST_F(PrefsTest, NoUsableFolderTracesAndAlerts)
{
    setenv("XDG_CONFIG_HOME", "relative/path", 1);
    std::string home = getenv("HOME") ? getenv("HOME") : "";
    setenv("HOME", "", 1);
    int result = 0;
    std::string out = captureStdout([](void *r) { *(int *)r = getPrefs(); }, &result);
    setenv("HOME", home.c_str(), 1);
    EXPECT_NE(result, 0);
    EXPECT_NE(out.find("Orvenda VQX ERROR: unable to find preferences folder"), std::string::npos);
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].text, "openPrefs returned " + std::to_string(result));
}

TEST_F(PrefsTest, WriteErrorIsReported)
{
    ASSERT_EQ(getPrefs(), 0);
    prefsChanged = 1;
    // A folder in the place of the file cannot be opened for writing.
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    int result = closePrefs();
    EXPECT_NE(result, 0);
    ASSERT_GE(presenter.shown.size(), 2u);
    EXPECT_EQ(presenter.shown[0].text.rfind("openPrefs (w) returned ", 0), 0u);
    EXPECT_EQ(presenter.shown[1].text.rfind("writePrefs returned ", 0), 0u);
}
