// The key position table: each virtual key code of a US keyboard gives the Linux key in the same
// place, the four media kinds give their keys, and a KEY action's chord is its key and modifiers.
#include <gtest/gtest.h>

#include <linux/input-event-codes.h>

#include <map>

#include "mapper/keymap.h"

namespace {

// Virtual key code -> the key at that position, written from the key names of the mapping file's
// key code table. Positions missing here have no key.
const std::map<int, int> &expectedKeys()
{
    static const std::map<int, int> keys = {
        { 0x00, KEY_A },
        { 0x01, KEY_S },
        { 0x02, KEY_D },
        { 0x03, KEY_F },
        { 0x04, KEY_H },
        { 0x05, KEY_G },
        { 0x06, KEY_Z },
        { 0x07, KEY_X },
        { 0x08, KEY_C },
        { 0x09, KEY_V },
        { 0x0A, KEY_102ND },
        { 0x0B, KEY_B },
        { 0x0C, KEY_Q },
        { 0x0D, KEY_W },
        { 0x0E, KEY_E },
        { 0x0F, KEY_R },
        { 0x10, KEY_Y },
        { 0x11, KEY_T },
        { 0x12, KEY_1 },
        { 0x13, KEY_2 },
        { 0x14, KEY_3 },
        { 0x15, KEY_4 },
        { 0x16, KEY_6 },
        { 0x17, KEY_5 },
        { 0x18, KEY_EQUAL },
        { 0x19, KEY_9 },
        { 0x1A, KEY_7 },
        { 0x1B, KEY_MINUS },
        { 0x1C, KEY_8 },
        { 0x1D, KEY_0 },
        { 0x1E, KEY_RIGHTBRACE },
        { 0x1F, KEY_O },
        { 0x20, KEY_U },
        { 0x21, KEY_LEFTBRACE },
        { 0x22, KEY_I },
        { 0x23, KEY_P },
        { 0x24, KEY_ENTER },
        { 0x25, KEY_L },
        { 0x26, KEY_J },
        { 0x27, KEY_APOSTROPHE },
        { 0x28, KEY_K },
        { 0x29, KEY_SEMICOLON },
        { 0x2A, KEY_BACKSLASH },
        { 0x2B, KEY_COMMA },
        { 0x2C, KEY_SLASH },
        { 0x2D, KEY_N },
        { 0x2E, KEY_M },
        { 0x2F, KEY_DOT },
        { 0x30, KEY_TAB },
        { 0x31, KEY_SPACE },
        { 0x32, KEY_GRAVE },
        { 0x33, KEY_BACKSPACE },
        { 0x35, KEY_ESC },
        { 0x37, KEY_LEFTMETA },
        { 0x38, KEY_LEFTSHIFT },
        { 0x39, KEY_CAPSLOCK },
        { 0x3A, KEY_LEFTALT },
        { 0x3B, KEY_LEFTCTRL },
        { 0x3C, KEY_RIGHTSHIFT },
        { 0x3D, KEY_RIGHTALT },
        { 0x3E, KEY_RIGHTCTRL },
        { 0x3F, KEY_FN },
        { 0x40, KEY_F17 },
        { 0x41, KEY_KPDOT },
        { 0x43, KEY_KPASTERISK },
        { 0x45, KEY_KPPLUS },
        { 0x47, KEY_NUMLOCK },
        { 0x48, KEY_VOLUMEUP },
        { 0x49, KEY_VOLUMEDOWN },
        { 0x4A, KEY_MUTE },
        { 0x4B, KEY_KPSLASH },
        { 0x4C, KEY_KPENTER },
        { 0x4E, KEY_KPMINUS },
        { 0x4F, KEY_F18 },
        { 0x50, KEY_F19 },
        { 0x51, KEY_KPEQUAL },
        { 0x52, KEY_KP0 },
        { 0x53, KEY_KP1 },
        { 0x54, KEY_KP2 },
        { 0x55, KEY_KP3 },
        { 0x56, KEY_KP4 },
        { 0x57, KEY_KP5 },
        { 0x58, KEY_KP6 },
        { 0x59, KEY_KP7 },
        { 0x5A, KEY_F20 },
        { 0x5B, KEY_KP8 },
        { 0x5C, KEY_KP9 },
        { 0x60, KEY_F5 },
        { 0x61, KEY_F6 },
        { 0x62, KEY_F7 },
        { 0x63, KEY_F3 },
        { 0x64, KEY_F8 },
        { 0x65, KEY_F9 },
        { 0x67, KEY_F11 },
        { 0x69, KEY_F13 },
        { 0x6A, KEY_F16 },
        { 0x6B, KEY_F14 },
        { 0x6D, KEY_F10 },
        { 0x6F, KEY_F12 },
        { 0x71, KEY_F15 },
        { 0x72, KEY_INSERT },
        { 0x73, KEY_HOME },
        { 0x74, KEY_PAGEUP },
        { 0x75, KEY_DELETE },
        { 0x76, KEY_F4 },
        { 0x77, KEY_END },
        { 0x78, KEY_F2 },
        { 0x79, KEY_PAGEDOWN },
        { 0x7A, KEY_F1 },
        { 0x7B, KEY_LEFT },
        { 0x7C, KEY_RIGHT },
        { 0x7D, KEY_DOWN },
        { 0x7E, KEY_UP },
    };
    return keys;
}

TEST(KeymapTest, EveryVirtualKeyCodeGivesTheLinuxKeyInTheSamePlace)
{
    ASSERT_EQ(expectedKeys().size(), 113u);
    for (int vk = 0; vk < 128; vk++) {
        auto it = expectedKeys().find(vk);
        int want = it == expectedKeys().end() ? 0 : it->second;
        EXPECT_EQ(KMAPkeyCode(vk), want) << "virtual key code 0x" << std::hex << vk;
    }
}

TEST(KeymapTest, CodesOutsideTheTableGiveNoKey)
{
    EXPECT_EQ(KMAPkeyCode(-1), 0);
    EXPECT_EQ(KMAPkeyCode(128), 0);
    EXPECT_EQ(KMAPkeyCode(255), 0);
}

TEST(KeymapTest, MediaKindsOneToFourAreVolumeUpDownMuteAndEject)
{
    EXPECT_EQ(KMAPmediaCode(1), KEY_VOLUMEUP);
    EXPECT_EQ(KMAPmediaCode(2), KEY_VOLUMEDOWN);
    EXPECT_EQ(KMAPmediaCode(3), KEY_MUTE);
    EXPECT_EQ(KMAPmediaCode(4), KEY_EJECTCD);
    EXPECT_EQ(KMAPmediaCode(0), 0);
    EXPECT_EQ(KMAPmediaCode(5), 0);
    EXPECT_EQ(KMAPmediaCode(15), 0);
}

TEST(KeymapTest, ChordIsTheKeyOfBitsEightToFifteenWhateverTheCharacterCode)
{
    KMAPchord c;
    ASSERT_TRUE(KMAPchordFor(0x7A10, 0, &c)); // F1
    EXPECT_EQ(c.key, KEY_F1);
    EXPECT_EQ(c.modifierCount, 0);
    ASSERT_TRUE(KMAPchordFor(0x240D, 0, &c)); // Return
    EXPECT_EQ(c.key, KEY_ENTER);
    ASSERT_TRUE(KMAPchordFor(0x0B42, 0x0200, &c)); // Shift-B
    EXPECT_EQ(c.key, KEY_B);
    // A is virtual key code 0: only a message of 0 as a whole presses nothing.
    ASSERT_TRUE(KMAPchordFor(0x0061, 0, &c));
    EXPECT_EQ(c.key, KEY_A);
}

TEST(KeymapTest, EachModifierFlagGivesItsLeftModifierKey)
{
    const struct {
        uint16_t flag;
        int key;
    } flags[]
        = { { 0x0100, KEY_LEFTMETA }, { 0x0200, KEY_LEFTSHIFT }, { 0x0800, KEY_LEFTALT }, { 0x1000, KEY_LEFTCTRL } };
    for (const auto &f : flags) {
        KMAPchord c;
        ASSERT_TRUE(KMAPchordFor(0x0B00, f.flag, &c));
        EXPECT_EQ(c.key, KEY_B);
        ASSERT_EQ(c.modifierCount, 1) << "flag " << std::hex << f.flag;
        EXPECT_EQ(c.modifiers[0], f.key) << "flag " << std::hex << f.flag;
    }
}

TEST(KeymapTest, AllFourModifiersComeInTheOrderCtrlAltShiftSuper)
{
    KMAPchord c;
    ASSERT_TRUE(KMAPchordFor(0x0B00, 0x1B00, &c));
    EXPECT_EQ(c.key, KEY_B);
    ASSERT_EQ(c.modifierCount, 4);
    EXPECT_EQ(c.modifiers[0], KEY_LEFTCTRL);
    EXPECT_EQ(c.modifiers[1], KEY_LEFTALT);
    EXPECT_EQ(c.modifiers[2], KEY_LEFTSHIFT);
    EXPECT_EQ(c.modifiers[3], KEY_LEFTMETA);

    ASSERT_TRUE(KMAPchordFor(0x0B00, 0x1200, &c)); // Ctrl+Shift
    ASSERT_EQ(c.modifierCount, 2);
    EXPECT_EQ(c.modifiers[0], KEY_LEFTCTRL);
    EXPECT_EQ(c.modifiers[1], KEY_LEFTSHIFT);
}

TEST(KeymapTest, MessageZeroWithoutMediaKindPressesNothing)
{
    KMAPchord c;
    c.key = 99;
    EXPECT_FALSE(KMAPchordFor(0, 0, &c));
    EXPECT_EQ(c.key, 0);
    EXPECT_FALSE(KMAPchordFor(0, 0x1200, &c));
    EXPECT_FALSE(KMAPchordFor(0, 0x0005, &c)); // 5 is no media kind
}

TEST(KeymapTest, MediaKindWinsOverTheKeyAndItsModifiers)
{
    KMAPchord c;
    ASSERT_TRUE(KMAPchordFor(0x0B00, 0x1201, &c));
    EXPECT_EQ(c.key, KEY_VOLUMEUP);
    EXPECT_EQ(c.modifierCount, 0);
    ASSERT_TRUE(KMAPchordFor(0, 0x0003, &c));
    EXPECT_EQ(c.key, KEY_MUTE);
    ASSERT_TRUE(KMAPchordFor(0, 0x0004, &c));
    EXPECT_EQ(c.key, KEY_EJECTCD);
    ASSERT_TRUE(KMAPchordFor(0x7A10, 0x0002, &c));
    EXPECT_EQ(c.key, KEY_VOLUMEDOWN);
}

TEST(KeymapTest, VirtualKeyCodeWithNoKeyPressesNothing)
{
    KMAPchord c;
    EXPECT_FALSE(KMAPchordFor(0x3400, 0, &c));
    EXPECT_FALSE(KMAPchordFor(0x3600, 0x1000, &c));
    EXPECT_FALSE(KMAPchordFor(0x7F00, 0, &c));
    EXPECT_FALSE(KMAPchordFor(0x8000, 0, &c));
    EXPECT_FALSE(KMAPchordFor(0xFF00, 0, &c));
    EXPECT_EQ(c.modifierCount, 0);
}

} // namespace
