// The log layer of the event log, without windows: the two rings, their counters and refusals.
#include <gtest/gtest.h>

#include <string>

#include "mainwindow/eventlog.h"
#include "support/test_support.h"

TEST(EventLogRing, LineLongerThanWidthMinusOneIsCut)
{
    EWWinit(128);
    EWWINFO *log = EWWcreate(10, 8);
    ASSERT_NE(log, nullptr);
    EXPECT_EQ(EWWprintf(log, "%s", "0123456789"), 0);
    EXPECT_STREQ(maketext(0, log), "0123456");
}

TEST(EventLogRing, FullLogRefusesLineWhenNothingWasHandedOver)
{
    EWWinit(128);
    EWWINFO *log = EWWcreate(5, 20);
    ASSERT_NE(log, nullptr);
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(EWWprintf(log, "line %d", i), 0);
    // (written + 1) mod slots equals the lines handed over (0): refused, and lost.
    EXPECT_EQ(EWWprintf(log, "line 4"), -3);
    EXPECT_EQ(log->linesWritten, 4);
}

TEST(EventLogRing, ResultCodesBeforeInitAndForFreeEntry)
{
    EXPECT_EQ(EWWprintf(&EWINFO[0], "x"), -2);
    EWWinit(128);
    EXPECT_EQ(EWWprintf(&EWINFO[0], "x"), -1);
}

TEST(EventLogRing, ThirdCreateWhileTwoAreOpenReturnsNull)
{
    EWWinit(128);
    EXPECT_NE(EWWcreate(100, 100), nullptr);
    EXPECT_NE(EWWcreate(100, 100), nullptr);
    std::string out = captureStdout([](void *) { EXPECT_EQ(EWWcreate(100, 100), nullptr); }, nullptr);
    EXPECT_EQ(out, ""); // silently
}

TEST(EventLogRing, OnlyFirstInitCounts)
{
    EWWinit(128);
    EWWinit(77);
    EXPECT_EQ(myResNum, 128);
}

TEST(EventLogRing, CallsBeforeInitAreTraced)
{
    std::string out = captureStdout([](void *) {
        EXPECT_EQ(EWWcreate(100, 100), nullptr);
        EWWunCreate(&EWINFO[0]);
        EWWnullEvent();
        EXPECT_EQ(EWWcheckClose(), 0);
    }, nullptr);
    EXPECT_NE(out.find("Orvenda VQX ERROR: EWWcreate() called before EWWinit()\n"), std::string::npos);
    EXPECT_NE(out.find("Orvenda VQX ERROR: EWWunCreate() called before EWWinit()\n"), std::string::npos);
    EXPECT_NE(out.find("Orvenda VQX ERROR: EWWnullEvent() called before EWWinit()\n"), std::string::npos);
    EXPECT_NE(out.find("Orvenda VQX ERROR: EWWcheckClose() called before EWWinit()\n"), std::string::npos);
}

TEST(EventLogRing, UnCreateChecksItsArgument)
{
    EWWinit(128);
    EWWINFO foreign{};
    std::string out = captureStdout([](void *f) {
        EWWunCreate((EWWINFO *)f);
        EWWunCreate(&EWINFO[1]);
    }, &foreign);
    EXPECT_NE(out.find("Orvenda VQX ERROR: EWWunCreate() called with invalid event window"), std::string::npos);
    EXPECT_NE(out.find("Orvenda VQX ERROR: EWWunCreate() for a not-in-use ewinfo"), std::string::npos);
}

TEST(EventLogRing, CheckCloseClosesNothing)
{
    EWWinit(128);
    EWWINFO *log = EWWcreate(100, 100);
    EXPECT_EQ(EWWcheckClose(), 0);
    EXPECT_EQ(log->inUse, 1);
    EWWunInit();
    EXPECT_EQ(log->inUse, 0);
}

TEST(EventLogRing, NegativeLineGivesEmptyText)
{
    EWWinit(128);
    EWWINFO *log = EWWcreate(4, 10);
    EWWprintf(log, "a");
    EXPECT_STREQ(maketext(-1, log), "");
    EXPECT_STREQ(maketext(4, log), "a"); // slot 4 mod 4
}
