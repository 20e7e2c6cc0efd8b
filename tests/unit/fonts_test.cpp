// The font configuration read on a thread of its own: the routine runs once, elsewhere than the
// caller and off the caller's processor until the wait, and has ended when the wait returns; the
// configuration it reads is fontconfig's own.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fontconfig/fontconfig.h>
#include <fstream>
#include <sched.h>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>

#include "platform/fonts.h"

namespace {

std::atomic<bool> released;          // the test lets the routine end
std::atomic<bool> finished;          // the routine has ended
std::atomic<int> runs;               // times the routine ran
std::thread::id ranOn;               // the thread the routine ran on

void recordingRoutine(void)
{
    while (!released.load())
        std::this_thread::yield();
    ranOn = std::this_thread::get_id();
    runs++;
    finished = true;
}

class FontsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        FONTSreset();
        released = false;
        finished = false;
        runs = 0;
        ranOn = std::thread::id();
        FONTSprepareRoutine = recordingRoutine;
    }
    void TearDown() override
    {
        released = true;
        FONTSreset();
    }
};

} // namespace

TEST_F(FontsTest, RoutineRunsOnAnotherThreadAndHasEndedWhenTheWaitReturns)
{
    FONTSprepareInBackground();
    EXPECT_FALSE(finished.load()); // held until released: the caller was not kept waiting
    released = true;
    FONTSwaitUntilPrepared();
    EXPECT_TRUE(finished.load());
    EXPECT_NE(ranOn, std::this_thread::get_id());
    EXPECT_NE(ranOn, std::thread::id());
}

TEST_F(FontsTest, SecondStartDoesNotRunTheRoutineAgain)
{
    released = true;
    FONTSprepareInBackground();
    FONTSprepareInBackground();
    FONTSwaitUntilPrepared();
    FONTSprepareInBackground();
    FONTSwaitUntilPrepared();
    EXPECT_EQ(runs.load(), 1);
}

TEST_F(FontsTest, WaitingWithoutAStartReturnsAtOnceAndRunsNothing)
{
    released = true;
    FONTSwaitUntilPrepared();
    FONTSwaitUntilPrepared();
    EXPECT_EQ(runs.load(), 0);
}

TEST_F(FontsTest, ResetRestoresTheDefaultRoutineAndAllowsANewStart)
{
    released = true;
    FONTSprepareInBackground();
    FONTSwaitUntilPrepared();
    FONTSreset();
    EXPECT_NE(FONTSprepareRoutine, &recordingRoutine);
    EXPECT_NE(FONTSprepareRoutine, nullptr);
    FONTSprepareRoutine = recordingRoutine;
    FONTSprepareInBackground();
    FONTSwaitUntilPrepared();
    EXPECT_EQ(runs.load(), 2);
}

namespace {

cpu_set_t whileGoingOn;            // the routine's processors while the caller went on
std::atomic<bool> noted;           // the routine has noted its processors
std::atomic<bool> givenAll;        // the routine was given every processor before it ended

// Notes its processors once released, then waits (five seconds at most) to be given all that the
// program may use.
void placementRoutine(void)
{
    while (!released.load())
        std::this_thread::yield();
    sched_getaffinity(0, sizeof whileGoingOn, &whileGoingOn);
    noted = true;
    cpu_set_t all, now;
    sched_getaffinity(getpid(), sizeof all, &all);
    for (int i = 0; i < 5000 && !givenAll.load(); i++) {
        sched_getaffinity(0, sizeof now, &now);
        givenAll = CPU_EQUAL(&now, &all);
        if (!givenAll.load())
            usleep(1000);
    }
    finished = true;
}

} // namespace

TEST_F(FontsTest, ReadingKeepsOffTheCallersProcessorUntilTheWait)
{
    cpu_set_t all;
    ASSERT_EQ(sched_getaffinity(0, sizeof all, &all), 0);
    if (CPU_COUNT(&all) < 2)
        GTEST_SKIP() << "a single processor: there is no other to keep to";
    CPU_ZERO(&whileGoingOn);
    noted = false;
    givenAll = false;
    FONTSprepareRoutine = placementRoutine;
    FONTSprepareInBackground();
    released = true;
    while (!noted.load())
        std::this_thread::yield();
    FONTSwaitUntilPrepared();
    ASSERT_TRUE(finished.load());
    // One processor fewer than the program may use, and none it may not.
    EXPECT_EQ(CPU_COUNT(&whileGoingOn), CPU_COUNT(&all) - 1);
    cpu_set_t within;
    CPU_AND(&within, &whileGoingOn, &all);
    EXPECT_TRUE(CPU_EQUAL(&within, &whileGoingOn));
    EXPECT_TRUE(givenAll.load());
}

namespace {

// The configuration files a configuration read, by whether they were applied or only parsed.
struct ConfigFiles {
    std::set<std::string> enabled;
    std::set<std::string> disabled;
};

ConfigFiles configFiles(FcConfig *config)
{
    ConfigFiles files;
    FcConfigFileInfoIter iter;
    FcConfigFileInfoIterInit(config, &iter);
    do {
        FcChar8 *name = nullptr, *description = nullptr;
        FcBool enabled = FcFalse;
        if (!FcConfigFileInfoIterGet(config, &iter, &name, &description, &enabled))
            break;
        (enabled ? files.enabled : files.disabled).insert(reinterpret_cast<char *>(name));
        FcStrFree(name);
        FcStrFree(description);
    } while (FcConfigFileInfoIterNext(config, &iter));
    return files;
}

// The file of the font that a configuration picks for a pattern such as "monospace:bold".
std::string matchedFile(FcConfig *config, const char *request)
{
    FcPattern *pattern = FcNameParse(reinterpret_cast<const FcChar8 *>(request));
    FcConfigSubstitute(config, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    FcPattern *match = FcFontMatch(config, pattern, &result);
    std::string file;
    FcChar8 *path = nullptr;
    if (match && FcPatternGetString(match, FC_FILE, 0, &path) == FcResultMatch)
        file = reinterpret_cast<char *>(path);
    if (match)
        FcPatternDestroy(match);
    FcPatternDestroy(pattern);
    return file;
}

class FontConfigurationTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        unsetenv("FONTCONFIG_FILE");
        FONTSreset();
        FcFini(); // fontconfig's caches and any current configuration
    }
};

} // namespace

TEST_F(FontConfigurationTest, ReadsTheFilesFontconfigAppliesAndNoOther)
{
    FcConfig *ours = FONTSreadConfiguration();
    FcConfig *theirs = FcInitLoadConfigAndFonts();
    ASSERT_NE(ours, nullptr);
    ASSERT_NE(theirs, nullptr);
    ConfigFiles read = configFiles(ours);
    ConfigFiles own = configFiles(theirs);
    EXPECT_FALSE(read.enabled.empty());
    EXPECT_EQ(read.enabled, own.enabled);
    EXPECT_TRUE(read.disabled.empty()); // the available snippets were not parsed
    FcConfigDestroy(ours);
    FcConfigDestroy(theirs);
}

TEST_F(FontConfigurationTest, PicksTheSameFontsAsFontconfigsOwnReading)
{
    FcConfig *ours = FONTSreadConfiguration();
    FcConfig *theirs = FcInitLoadConfigAndFonts();
    ASSERT_NE(ours, nullptr);
    ASSERT_NE(theirs, nullptr);
    FcFontSet *listed = FcConfigGetFonts(ours, FcSetSystem);
    FcFontSet *ownList = FcConfigGetFonts(theirs, FcSetSystem);
    ASSERT_NE(listed, nullptr);
    ASSERT_NE(ownList, nullptr);
    EXPECT_GT(listed->nfont, 0);
    EXPECT_EQ(listed->nfont, ownList->nfont);
    for (const char *request : {"sans-serif", "serif", "monospace", "Sans:bold", "Serif:italic",
                                "Helvetica", "Courier New:bold", "system-ui:lang=ja"}) {
        SCOPED_TRACE(request);
        std::string file = matchedFile(ours, request);
        EXPECT_FALSE(file.empty());
        EXPECT_EQ(file, matchedFile(theirs, request));
    }
    FcConfigDestroy(ours);
    FcConfigDestroy(theirs);
}

TEST_F(FontConfigurationTest, NothingIsReadWithoutAConfigurationFile)
{
    setenv("FONTCONFIG_FILE", "/nonexistent/fonts.conf", 1);
    EXPECT_EQ(FONTSreadConfiguration(), nullptr);
}

TEST_F(FontConfigurationTest, NothingIsReadFromAConfigurationNamingNoCacheFolder)
{
    char folder[] = "/tmp/vqx-fonts-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    std::string file = std::string(folder) + "/fonts.conf";
    std::ofstream(file) << "<?xml version=\"1.0\"?>\n<fontconfig><dir>/usr/share/fonts</dir></fontconfig>\n";
    setenv("FONTCONFIG_FILE", file.c_str(), 1);
    EXPECT_EQ(FONTSreadConfiguration(), nullptr);
    unlink(file.c_str());
    rmdir(folder);
}

TEST_F(FontConfigurationTest, DefaultRoutineMakesTheConfigurationReadHereCurrent)
{
    FONTSreset();
    FONTSprepareRoutine();
    FcConfig *current = FcConfigReference(nullptr);
    ASSERT_NE(current, nullptr);
    FcConfig *theirs = FcInitLoadConfigAndFonts();
    ASSERT_NE(theirs, nullptr);
    ConfigFiles files = configFiles(current);
    ConfigFiles own = configFiles(theirs);
    // fontconfig's own reading also parses the snippets that are available and not enabled.
    ASSERT_FALSE(own.disabled.empty()) << "no snippet to tell the two readings apart";
    EXPECT_EQ(files.enabled, own.enabled);
    EXPECT_TRUE(files.disabled.empty());
    FcConfigDestroy(current);
    FcConfigDestroy(theirs);
}
