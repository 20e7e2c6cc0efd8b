// Volume value conversions: the fixed points, and every input of each scale against the formulas
// computed here in wide integers (division truncating toward zero, as in C).
#include <gtest/gtest.h>

#include <cstdint>

#include "mapping/volume.h"

namespace {
// The change scale's display value, computed independently.
int64_t chgDisplay(int64_t v)
{
    return v < 0 ? (v * 100 - 100) / 255 : (v * 100 + 100) / 255;
}
} // namespace

TEST(VolumeConversion, SetFixedPoints)
{
    EXPECT_EQ(convertSetSliderToSystem(400), 255);
    EXPECT_EQ(convertSetSystemToDisplay(convertSetSliderToSystem(400)), 100);
    EXPECT_EQ(convertSetSliderToSystem(0), 0);
    EXPECT_EQ(convertSetSystemToSlider(128), 200);
    EXPECT_EQ(convertSetSystemToDisplay(128), 50);
    EXPECT_EQ(convertSetSystemToDisplay(255), 100);
    EXPECT_EQ(convertSetDisplayToSystem(100), 255);
}

TEST(VolumeConversion, ChangeFixedPoints)
{
    EXPECT_EQ(convertChgSliderToSystem(0), -255);
    EXPECT_EQ(convertChgSliderToSystem(200), 0);
    EXPECT_EQ(convertChgSliderToSystem(400), 255);
    EXPECT_EQ(convertChgSystemToDisplay(-255), -100);
    EXPECT_EQ(convertChgSystemToSlider(-255), 0);
    EXPECT_EQ(convertChgSystemToDisplay(1), 0);
    EXPECT_EQ(convertChgSystemToDisplay(0), 0);
    EXPECT_EQ(convertChgSystemToDisplay(255), 100);
    EXPECT_EQ(convertChgSystemToSlider(255), 400);
    EXPECT_EQ(convertChgSystemToSlider(0), 200);
}

TEST(VolumeConversion, FadeFixedPoints)
{
    EXPECT_EQ(convertToFadeValue(0), 1);
    EXPECT_EQ(convertToFadeValue(400), 60);
    EXPECT_EQ(convertFromFadeValue(60), 400);
    EXPECT_EQ(convertFromFadeValue(10), 285);
    EXPECT_EQ(convertFromFadeValue(7), 0);
    EXPECT_EQ(convertFromFadeValue(1), 0);
}

TEST(VolumeConversion, FileNameOfAPath)
{
    EXPECT_STREQ(getFileName("Disk:Folder:Name"), "Name");
    EXPECT_STREQ(getFileName("/home/u/go.lua"), "go.lua");
    EXPECT_STREQ(getFileName("plain"), "plain");
    EXPECT_STREQ(getFileName("/a:b/c"), "c");
    EXPECT_STREQ(getFileName("/a/b:c"), "c");
    EXPECT_STREQ(getFileName("ends/"), "");
}

TEST(VolumeConversion, SetScaleOverItsWholeRange)
{
    for (int64_t s = 0; s <= 400; s++)
        ASSERT_EQ(convertSetSliderToSystem((int32_t)s), (s * 255 + 255) / 400) << s;
    for (int64_t v = 0; v <= 255; v++) {
        ASSERT_EQ(convertSetSystemToSlider((int32_t)v), v * 400 / 255) << v;
        ASSERT_EQ(convertSetSystemToDisplay((int32_t)v), (v * 100 + 100) / 255) << v;
    }
    for (int64_t d = 0; d <= 100; d++)
        ASSERT_EQ(convertSetDisplayToSystem((int32_t)d), d * 255 / 100) << d;
}

TEST(VolumeConversion, ChangeScaleOverItsWholeRange)
{
    for (int64_t s = 0; s <= 400; s++)
        ASSERT_EQ(convertChgSliderToSystem((int32_t)s), s * 510 / 400 - 255) << s;
    for (int64_t v = -255; v <= 255; v++) {
        ASSERT_EQ(convertChgSystemToDisplay((int32_t)v), chgDisplay(v)) << v;
        ASSERT_EQ(convertChgSystemToSlider((int32_t)v), 2 * chgDisplay(v) + 200) << v;
    }
    for (int64_t d = -100; d <= 100; d++)
        ASSERT_EQ(convertChgDisplayToSystem((int32_t)d), d * 255 / 100) << d;
}

TEST(VolumeConversion, FadeOverTheWholeSlider)
{
    const int64_t table[8] = { 1, 2, 3, 4, 5, 10, 20, 60 };
    for (int64_t s = 0; s <= 400; s++)
        ASSERT_EQ(convertToFadeValue((int32_t)s), table[s * 7 / 400]) << s;
    for (int64_t f = -5; f <= 100; f++) {
        int64_t expected = 0;
        for (int64_t i = 0; i < 8; i++)
            if (table[i] == f) {
                expected = i * 400 / 7;
                break;
            }
        ASSERT_EQ(convertFromFadeValue((int32_t)f), expected) << f;
    }
    for (int i = 0; i < 8; i++)
        EXPECT_EQ(convTable[i], table[i]);
}

TEST(VolumeConversion, ValuesFarOutsideTheScalesDoNotTrap)
{
    // Out-of-range values come from hand-edited files; they wrap as 32-bit arithmetic does.
    EXPECT_EQ(convertChgSystemToDisplay(INT32_MAX), (int32_t)((uint32_t)INT32_MAX * 100u + 100u) / 255);
    EXPECT_EQ(convertSetSystemToDisplay(INT32_MIN), (int32_t)((uint32_t)INT32_MIN * 100u + 100u) / 255);
    EXPECT_EQ(convertToFadeValue(-1000), 1);
    EXPECT_EQ(convertToFadeValue(100000), 60);
}
