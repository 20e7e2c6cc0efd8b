// The font configuration read on a thread of its own: the routine runs once, elsewhere than the
// caller, and has ended when the wait returns.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

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

TEST_F(FontsTest, ResetRestoresFontconfigsOwnInitialisationAndAllowsANewStart)
{
    released = true;
    FONTSprepareInBackground();
    FONTSwaitUntilPrepared();
    FONTSreset();
    // fontconfig's own routine is not run here: its configuration stays allocated until exit.
    EXPECT_NE(FONTSprepareRoutine, &recordingRoutine);
    EXPECT_NE(FONTSprepareRoutine, nullptr);
    FONTSprepareRoutine = recordingRoutine;
    FONTSprepareInBackground();
    FONTSwaitUntilPrepared();
    EXPECT_EQ(runs.load(), 2);
}
