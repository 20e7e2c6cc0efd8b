// The held-keys file of the X output: its place per display, its text read back, garbage and
// values out of range skipped, and an empty list taking the file away.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "mapper/heldkeys.h"

namespace {

// A runtime folder of the test's own, set as $XDG_RUNTIME_DIR for the test's duration.
class HeldKeysFile : public ::testing::Test {
protected:
    std::string folder;
    std::string saved;
    bool hadRuntime = false;
    void SetUp() override
    {
        char pattern[] = "/tmp/vqx-heldkeys-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        folder = pattern;
        const char *runtime = getenv("XDG_RUNTIME_DIR");
        hadRuntime = runtime != nullptr;
        if (runtime)
            saved = runtime;
        setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
    }
    void TearDown() override
    {
        if (hadRuntime)
            setenv("XDG_RUNTIME_DIR", saved.c_str(), 1);
        else
            unsetenv("XDG_RUNTIME_DIR");
        std::string command = "rm -rf '" + folder + "'";
        if (system(command.c_str()) != 0)
            ADD_FAILURE() << "could not remove " << folder;
    }
};

std::string readAll(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool exists(const std::string &path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

} // namespace

TEST_F(HeldKeysFile, IsNamedAfterTheDisplayInTheRuntimeFolder)
{
    EXPECT_EQ(HLDpath(":1"), folder + "/vqx-mapper-held-:1");
    EXPECT_EQ(HLDpath(":1.0"), folder + "/vqx-mapper-held-:1");
    EXPECT_EQ(HLDpath("localhost:10.2"), folder + "/vqx-mapper-held-localhost:10");
    EXPECT_NE(HLDpath(":1"), HLDpath(":2"));
    // A slash in the name never reaches another folder.
    EXPECT_EQ(HLDpath("/tmp/launch-x/org.x:0"), folder + "/vqx-mapper-held-_tmp_launch-x_org.x:0");
}

TEST_F(HeldKeysFile, WithoutRuntimeFolderGoesToAPrivateFolderUnderTmp)
{
    unsetenv("XDG_RUNTIME_DIR");
    std::string path = HLDpath(":7");
    std::string expected = "/tmp/vqx-mapper-" + std::to_string((unsigned long)getuid()) + "/vqx-mapper-held-:7";
    ASSERT_EQ(path, expected);
    struct stat st;
    ASSERT_EQ(lstat(path.substr(0, path.rfind('/')).c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(st.st_mode & 077, 0u);
    EXPECT_EQ(st.st_uid, getuid());
}

TEST_F(HeldKeysFile, SavedListIsReadBack)
{
    std::string path = HLDpath(":3");
    HLDlist list;
    list.keys = { 37, 50, 35 };
    list.buttons = { 1 };
    ASSERT_TRUE(HLDsave(path, list, ":3"));
    std::string text = readAll(path);
    EXPECT_NE(text.find("key 37\n"), std::string::npos) << text;
    EXPECT_NE(text.find("key 50\n"), std::string::npos) << text;
    EXPECT_NE(text.find("button 1\n"), std::string::npos) << text;
    HLDlist back = HLDload(path);
    EXPECT_EQ(back.keys, (std::set<int> { 35, 37, 50 }));
    EXPECT_EQ(back.buttons, (std::set<int> { 1 }));
    // No temporary file is left beside it.
    EXPECT_FALSE(exists(path + ".new"));
}

TEST_F(HeldKeysFile, EmptyListRemovesTheFile)
{
    std::string path = HLDpath(":3");
    HLDlist list;
    list.keys = { 64 };
    ASSERT_TRUE(HLDsave(path, list, ":3"));
    ASSERT_TRUE(exists(path));
    EXPECT_TRUE(HLDsave(path, HLDlist(), ":3"));
    EXPECT_FALSE(exists(path));
    // Nothing to remove is no failure, and a missing file reads as nothing held.
    EXPECT_TRUE(HLDsave(path, HLDlist(), ":3"));
    EXPECT_TRUE(HLDload(path).empty());
}

TEST_F(HeldKeysFile, ReplacingKeepsOnlyTheNewList)
{
    std::string path = HLDpath(":4");
    HLDlist first, second;
    first.keys = { 37, 38 };
    second.keys = { 50 };
    ASSERT_TRUE(HLDsave(path, first, ":4"));
    ASSERT_TRUE(HLDsave(path, second, ":4"));
    EXPECT_EQ(HLDload(path).keys, (std::set<int> { 50 }));
}

TEST(HeldKeysText, SkipsGarbageAndValuesOutOfRange)
{
    const std::string text = "# comment\n\nkey 38\r\nkey 7\nkey 256\nkey -40\nkey 0x26\nkey\nbutton 0\nbutton 32\n"
                             "button 3\nkeys 40\nkey 99999999999\nkey 42 \n\x01\xff garbage";
    HLDlist list;
    int skipped = HLDparse(text.data(), text.size(), &list);
    EXPECT_EQ(list.keys, (std::set<int> { 38, 42 }));
    EXPECT_EQ(list.buttons, (std::set<int> { 3 }));
    EXPECT_EQ(skipped, 10);
}

TEST(HeldKeysText, FormatNamesTheDisplayAndEveryCode)
{
    HLDlist list;
    list.keys = { 133, 9 };
    list.buttons = { 3 };
    EXPECT_EQ(HLDformat(list, ":5"), "# vqx-mapper: held down on the X display :5\nkey 9\nkey 133\nbutton 3\n");
    HLDlist back;
    std::string text = HLDformat(list, ":5");
    EXPECT_EQ(HLDparse(text.data(), text.size(), &back), 0);
    EXPECT_TRUE(back == list);
}

TEST_F(HeldKeysFile, AFileThatIsNotOneOfOursCannotMakeTheReaderRunAway)
{
    std::string path = HLDpath(":6");
    {
        std::ofstream out(path);
        for (int i = 0; i < 20000; i++)
            out << "key " << (8 + i % 248) << "\n";
    }
    HLDlist list = HLDload(path);
    EXPECT_EQ(list.keys.size(), 248u);
    EXPECT_EQ(*list.keys.begin(), 8);
    EXPECT_EQ(*list.keys.rbegin(), 255);
}
