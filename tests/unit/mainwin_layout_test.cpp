// The main window's geometry arithmetic: grow limits, the title column's stops, whole rows.
#include <gtest/gtest.h>

#include "mainwindow/layout.h"

TEST(MainWindowLayout, GrowLimitsAreDesignedSizeToThreeHundredTallerAndTwoHundredWider)
{
    MacRect limits = LAYOUTgrowLimits(500, 660);
    EXPECT_EQ(limits.top, 500);
    EXPECT_EQ(limits.left, 660);
    EXPECT_EQ(limits.bottom, 800);
    EXPECT_EQ(limits.right, 860);
}

TEST(MainWindowLayout, RequestedSizeNeverExceedsTheLimitsNorShrinksBelowTheDesignedSize)
{
    MacRect limits = LAYOUTgrowLimits(500, 660);
    int height = 2000, width = 3000;
    LAYOUTclampSize(&limits, &height, &width);
    EXPECT_EQ(height, 800);
    EXPECT_EQ(width, 860);
    height = 10;
    width = 20;
    LAYOUTclampSize(&limits, &height, &width);
    EXPECT_EQ(height, 500);
    EXPECT_EQ(width, 660);
    height = 650;
    width = 700;
    LAYOUTclampSize(&limits, &height, &width);
    EXPECT_EQ(height, 650);
    EXPECT_EQ(width, 700);
}

TEST(MainWindowLayout, TitleColumnOfSixPixelsMovesTheColumnsRightOfItLeft)
{
    int16_t stops[6] = {4, 0, 26, 196, 316, 0};
    int d = LAYOUTfitTitleColumn(stops, 6);
    EXPECT_EQ(d, 196 - 26 - 6);
    EXPECT_EQ(stops[3], 32);
    EXPECT_EQ(stops[4], 316 - d);
    EXPECT_EQ(stops[1], 0);
    EXPECT_EQ(stops[2], 26);
}

TEST(MainWindowLayout, WiderTitleColumnMovesTheColumnsRightAndZeroWidthChangesNothing)
{
    int16_t stops[6] = {4, 0, 26, 100, 200, 0};
    EXPECT_EQ(LAYOUTfitTitleColumn(stops, 120), -46);
    EXPECT_EQ(stops[3], 146);
    EXPECT_EQ(stops[4], 246);
    EXPECT_EQ(LAYOUTfitTitleColumn(stops, 0), 0);
    EXPECT_EQ(stops[3], 146);
    EXPECT_EQ(stops[4], 246);
}

TEST(MainWindowLayout, HeightThatIsNotWholeRowsLeavesBlankStripUnderTheLastRow)
{
    EXPECT_EQ(LAYOUTwholeRows(100, 22), 4);
    EXPECT_EQ(LAYOUTviewHeight(100, 22), 88); // a strip of 12 pixels stays blank
    EXPECT_EQ(LAYOUTviewHeight(88, 22), 88);
    EXPECT_EQ(LAYOUTwholeRows(21, 22), 0);
    EXPECT_EQ(LAYOUTwholeRows(100, 0), 0);
}

TEST(MainWindowLayout, SavedSizeKeepsHeightHighAndWidthLow)
{
    uint32_t size = LAYOUTpackSize(640, 700);
    EXPECT_EQ(size, (640u << 16) | 700u);
    int height = 0, width = 0;
    LAYOUTunpackSize(size, &height, &width);
    EXPECT_EQ(height, 640);
    EXPECT_EQ(width, 700);
}
