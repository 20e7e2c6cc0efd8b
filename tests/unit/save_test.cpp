// All-or-nothing saving of working files: the old file survives every failure and every kill, and
// no temporary file is left behind.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "shell/files.h"
#include "support/test_support.h"

namespace {
class SaveTest : public ::testing::Test {
protected:
    TempConfigHome config;
    std::string prefs;
    void SetUp() override
    {
        config.install(false);
        prefs = config.prefsFolder();
    }
    // Names in the preferences folder that look like our temporary files.
    int temporaryFiles()
    {
        int n = 0;
        for (const auto &entry : std::filesystem::directory_iterator(prefs))
            if (entry.path().filename().string()[0] == '.')
                n++;
        return n;
    }
};

// Saves `content` as `name`; 0 on success, else the error.
int save(const char *name, const std::string &content)
{
    VQXSAVE s;
    FILE *f = VQXFILESbeginSave(name, &s);
    if (!f)
        return -1;
    fwrite(content.data(), 1, content.size(), f);
    return VQXFILEScommitSave(&s);
}

std::string bigContent(char fill, size_t size)
{
    std::string s(size, fill);
    for (size_t i = 79; i < size; i += 80)
        s[i] = '\n';
    return s;
}
} // namespace

TEST_F(SaveTest, SuccessfulSaveReplacesContentAndKeepsMode)
{
    writeFile(prefs + "/a.map", "old\n");
    chmod((prefs + "/a.map").c_str(), 0640);
    ASSERT_EQ(save("a.map", "new content\n"), 0);
    EXPECT_EQ(readFile(prefs + "/a.map"), "new content\n");
    struct stat st;
    ASSERT_EQ(stat((prefs + "/a.map").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    EXPECT_EQ(temporaryFiles(), 0);
}

TEST_F(SaveTest, NewFileIsCreated)
{
    ASSERT_EQ(save("fresh.map", "x\n"), 0);
    EXPECT_EQ(readFile(prefs + "/fresh.map"), "x\n");
}

TEST_F(SaveTest, AbortLeavesOldFileAndNoTemporary)
{
    writeFile(prefs + "/a.map", "old\n");
    VQXSAVE s;
    FILE *f = VQXFILESbeginSave("a.map", &s);
    ASSERT_NE(f, nullptr);
    fputs("half", f);
    VQXFILESabortSave(&s);
    EXPECT_EQ(readFile(prefs + "/a.map"), "old\n");
    EXPECT_EQ(temporaryFiles(), 0);
}

TEST_F(SaveTest, FileSizeLimitFailsSaveAndKeepsOldFile)
{
    std::string old = bigContent('o', 4096);
    writeFile(prefs + "/a.map", old);
    int result = runInChild([] {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {1024, 1024};
        setrlimit(RLIMIT_FSIZE, &limit);
        return save("a.map", bigContent('n', 64 * 1024)) == 0 ? 1 : 0;
    }, false);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(readFile(prefs + "/a.map"), old);
    EXPECT_EQ(temporaryFiles(), 0);
}

TEST_F(SaveTest, ReadOnlyFolderFailsSaveAndKeepsOldFile)
{
    writeFile(prefs + "/a.map", "old\n");
    openToEveryone(config.home());
    chmod(prefs.c_str(), 0555);
    int result = runInChild([] { return save("a.map", "new\n") == 0 ? 1 : 0; }, true);
    chmod(prefs.c_str(), 0755);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(readFile(prefs + "/a.map"), "old\n");
    EXPECT_EQ(temporaryFiles(), 0);
}

TEST_F(SaveTest, KilledSavesLeaveOldOrNewContentNeverAMix)
{
    const std::string a = bigContent('a', 256 * 1024), b = bigContent('b', 256 * 1024);
    writeFile(prefs + "/a.map", a);
    int interrupted = 0;
    int completed = killWhileSaving(200, 12345, prefs, [&] {
        static int i = 0;
        return save("a.map", (i++ % 2) ? a : b) == 0;
    }, [&](int round) {
        std::string now = readFile(prefs + "/a.map");
        EXPECT_TRUE(now == a || now == b) << "round " << round << ": " << now.size() << " bytes";
        interrupted += temporaryFiles() > 0;
    });
    // The kills really fell on saves: some completed, some were cut short.
    EXPECT_GE(completed, 100);
    EXPECT_GE(interrupted, 10);
}
