// Which keys type which characters in layouts compiled from their names (no X server needed):
// the US and German layouts and a US variant with AltGr letters.
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "mapper/typing.h"

namespace {

// Opens the layout named by the XKB_DEFAULT_* variables with no X display, as on a console.
class TypingTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char *name : { "DISPLAY", "XKB_DEFAULT_LAYOUT", "XKB_DEFAULT_VARIANT", "XKB_DEFAULT_MODEL",
                 "XKB_DEFAULT_OPTIONS", "XKB_DEFAULT_RULES" }) {
            const char *v = getenv(name);
            saved_.push_back({ name, v ? v : "", v != nullptr });
            unsetenv(name);
        }
    }
    void TearDown() override
    {
        if (layout_)
            TYPclose(layout_);
        for (const Saved &s : saved_) {
            if (s.set)
                setenv(s.name.c_str(), s.value.c_str(), 1);
            else
                unsetenv(s.name.c_str());
        }
    }
    void open(const char *layout, const char *variant = nullptr)
    {
        setenv("XKB_DEFAULT_LAYOUT", layout, 1);
        if (variant)
            setenv("XKB_DEFAULT_VARIANT", variant, 1);
        std::string why;
        layout_ = TYPopen(&why);
        ASSERT_NE(layout_, nullptr) << why;
    }
    // "KEY+MOD+MOD" of the stroke typing `c`, or "none".
    std::string stroke(uint32_t c)
    {
        TYPstroke s;
        if (!TYPlookup(layout_, c, &s))
            return "none";
        std::string out = std::to_string(s.key);
        for (int i = 0; i < s.modifierCount; i++)
            out += "+" + std::to_string(s.modifiers[i]);
        return out;
    }
    static std::string keys(int key, int mod1 = 0)
    {
        std::string out = std::to_string(key);
        if (mod1)
            out += "+" + std::to_string(mod1);
        return out;
    }
    struct Saved {
        std::string name, value;
        bool set;
    };
    std::vector<Saved> saved_;
    TYPlayout *layout_ = nullptr;
};

TEST_F(TypingTest, UsLayoutTypesLettersDigitsAndShiftedSymbols)
{
    open("us");
    EXPECT_EQ(stroke('a'), keys(KEY_A));
    EXPECT_EQ(stroke('A'), keys(KEY_A, KEY_LEFTSHIFT));
    EXPECT_EQ(stroke('1'), keys(KEY_1));
    EXPECT_EQ(stroke('!'), keys(KEY_1, KEY_LEFTSHIFT));
    EXPECT_EQ(stroke('@'), keys(KEY_2, KEY_LEFTSHIFT));
    EXPECT_EQ(stroke('z'), keys(KEY_Z));
    EXPECT_EQ(stroke('y'), keys(KEY_Y));
    EXPECT_EQ(stroke('-'), keys(KEY_MINUS));
    EXPECT_EQ(stroke('_'), keys(KEY_MINUS, KEY_LEFTSHIFT));
    EXPECT_EQ(stroke('\''), keys(KEY_APOSTROPHE));
    EXPECT_EQ(stroke('"'), keys(KEY_APOSTROPHE, KEY_LEFTSHIFT));
    EXPECT_EQ(stroke(' '), keys(KEY_SPACE));
}

TEST_F(TypingTest, TabReturnAndLineFeedAreTheirKeys)
{
    open("us");
    EXPECT_EQ(stroke(9), keys(KEY_TAB));
    EXPECT_EQ(stroke(13), keys(KEY_ENTER));
    EXPECT_EQ(stroke(10), keys(KEY_ENTER));
}

TEST_F(TypingTest, UsLayoutHasNoGermanLetters)
{
    open("us");
    EXPECT_EQ(stroke(0xE4), "none"); // a umlaut
    EXPECT_EQ(stroke(0xDF), "none"); // sharp s
    EXPECT_EQ(stroke(0x20AC), "none"); // euro sign
}

TEST_F(TypingTest, GermanLayoutSwapsYAndZAndHasItsOwnLetters)
{
    open("de");
    EXPECT_EQ(stroke('a'), keys(KEY_A));
    EXPECT_EQ(stroke('A'), keys(KEY_A, KEY_LEFTSHIFT));
    EXPECT_EQ(stroke('1'), keys(KEY_1));
    EXPECT_EQ(stroke('!'), keys(KEY_1, KEY_LEFTSHIFT));
    EXPECT_EQ(stroke('z'), keys(KEY_Y));
    EXPECT_EQ(stroke('y'), keys(KEY_Z));
    EXPECT_EQ(stroke('Z'), keys(KEY_Y, KEY_LEFTSHIFT));
    EXPECT_EQ(stroke(0xE4), keys(KEY_APOSTROPHE)); // a umlaut
    EXPECT_EQ(stroke(0xC4), keys(KEY_APOSTROPHE, KEY_LEFTSHIFT)); // A umlaut
    EXPECT_EQ(stroke(0xDF), keys(KEY_MINUS)); // sharp s
    EXPECT_EQ(stroke('-'), keys(KEY_SLASH));
    EXPECT_EQ(stroke('<'), keys(KEY_102ND));
    EXPECT_EQ(stroke(9), keys(KEY_TAB));
    EXPECT_EQ(stroke(13), keys(KEY_ENTER));
}

TEST_F(TypingTest, GermanLayoutTypesAtAndEuroWithAltGr)
{
    open("de");
    EXPECT_EQ(stroke('@'), keys(KEY_Q, KEY_RIGHTALT));
    EXPECT_EQ(stroke(0x20AC), keys(KEY_E, KEY_RIGHTALT)); // euro sign
    EXPECT_EQ(stroke('{'), keys(KEY_7, KEY_RIGHTALT));
    EXPECT_EQ(stroke('\\'), keys(KEY_MINUS, KEY_RIGHTALT));
}

TEST_F(TypingTest, LayoutVariantIsTakenFromItsVariable)
{
    open("us", "altgr-intl");
    EXPECT_EQ(stroke(0xE4), keys(KEY_Q, KEY_RIGHTALT)); // a umlaut
    EXPECT_EQ(stroke('a'), keys(KEY_A));
}

TEST_F(TypingTest, RefreshKeepsTheLayoutAndItsAnswers)
{
    open("de");
    ASSERT_TRUE(TYPrefresh(layout_));
    EXPECT_EQ(stroke('z'), keys(KEY_Y));
}

TEST_F(TypingTest, CharactersWithoutKeysymAreRefused)
{
    open("us");
    TYPstroke s;
    EXPECT_FALSE(TYPlookup(layout_, 0, &s));
    EXPECT_FALSE(TYPlookup(layout_, 0x110000, &s));
    EXPECT_EQ(s.key, 0);
    EXPECT_EQ(s.modifierCount, 0);
}

TEST_F(TypingTest, UnknownLayoutNameGivesNoLayoutAndSaysWhy)
{
    setenv("XKB_DEFAULT_LAYOUT", "no-such-layout-anywhere", 1);
    std::string why;
    TYPlayout *l = TYPopen(&why);
    EXPECT_EQ(l, nullptr);
    EXPECT_NE(why.find("no-such-layout-anywhere"), std::string::npos) << why;
    TYPclose(l);
}

} // namespace
