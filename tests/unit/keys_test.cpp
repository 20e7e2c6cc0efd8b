// Key translation: Qt key presses to the message and modifiers of a KEY action.
#include <Qt>
#include <gtest/gtest.h>

#include "platform/keys.h"

static KEYcapture translate(int key, unsigned mods, const char *text = nullptr, uint32_t scan = 0, int caps = 0)
{
    KEYcapture out { 0xDEADBEEF, 0xBEEF };
    EXPECT_EQ(KEYtranslate(key, mods, text, scan, caps, &out), 1);
    return out;
}

TEST(Keys, LettersTypeTheirCaseAndCtrlGivesTheControlCharacter)
{
    EXPECT_EQ(translate(Qt::Key_A, 0, "a").message, 0x0061u);
    EXPECT_EQ(translate(Qt::Key_A, Qt::ShiftModifier, "A").message, 0x0041u);
    EXPECT_EQ(translate(Qt::Key_A, Qt::ShiftModifier, "A").modifiers, 0x200);
    EXPECT_EQ(translate(Qt::Key_A, Qt::ControlModifier, "\x01").message, 0x0001u);
    EXPECT_EQ(translate(Qt::Key_M, Qt::AltModifier, "m").message, 0x2E6Du);
    EXPECT_EQ(translate(Qt::Key_M, Qt::AltModifier, "m").modifiers, 0x800);
    EXPECT_EQ(translate(Qt::Key_Z, Qt::MetaModifier, "z").modifiers, 0x100);
    EXPECT_EQ(translate(Qt::Key_Q, Qt::ControlModifier | Qt::ShiftModifier).message, 0x0C11u);
}

TEST(Keys, CapsLockGivesCapitalsAndItsOwnFlag)
{
    KEYcapture k = translate(Qt::Key_B, 0, "B", 0, 1);
    EXPECT_EQ(k.message, 0x0B42u);
    EXPECT_EQ(k.modifiers, 0x400);
    // An upper-case letter typed without Shift also tells that Caps Lock is on.
    EXPECT_EQ(translate(Qt::Key_B, 0, "B").message, 0x0B42u);
}

TEST(Keys, AShiftedSymbolKeyGivesItsPositionAndTheShiftedCharacter)
{
    EXPECT_EQ(translate(Qt::Key_Exclam, Qt::ShiftModifier, "!").message, 0x1221u);
    EXPECT_EQ(translate(Qt::Key_1, Qt::ShiftModifier, "1").message, 0x1221u);
    EXPECT_EQ(translate(Qt::Key_Question, Qt::ShiftModifier, "?").message, 0x2C3Fu);
    EXPECT_EQ(translate(Qt::Key_AsciiTilde, Qt::ShiftModifier, "~").message, 0x327Eu);
    EXPECT_EQ(translate(Qt::Key_Less, Qt::ShiftModifier, "<").message, 0x2B3Cu);
    EXPECT_EQ(translate(Qt::Key_Space, 0, " ").message, 0x3120u);
}

TEST(Keys, SpecialAndKeypadKeysHaveTheirCodes)
{
    EXPECT_EQ(translate(Qt::Key_Return, 0).message, 0x240Du);
    EXPECT_EQ(translate(Qt::Key_Enter, Qt::KeypadModifier).message, 0x4C03u);
    EXPECT_EQ(translate(Qt::Key_Enter, Qt::KeypadModifier).modifiers, 0);
    EXPECT_EQ(translate(Qt::Key_Backtab, Qt::ShiftModifier).message, 0x3009u);
    EXPECT_EQ(translate(Qt::Key_F1, 0).message, 0x7A10u);
    EXPECT_EQ(translate(Qt::Key_F15, 0).message, 0x7110u);
    EXPECT_EQ(translate(Qt::Key_F20, 0).message, 0x5A10u);
    EXPECT_EQ(translate(Qt::Key_Clear, Qt::KeypadModifier).message, 0x471Bu);
    EXPECT_EQ(translate(Qt::Key_7, Qt::KeypadModifier, "7").message, 0x5937u);
    EXPECT_EQ(translate(Qt::Key_Asterisk, Qt::KeypadModifier, "*").message, 0x432Au);
    EXPECT_EQ(translate(Qt::Key_Period, Qt::KeypadModifier, ".").message, 0x412Eu);
    EXPECT_EQ(translate(Qt::Key_Help, 0).message, 0x7205u);
}

TEST(Keys, TheFourMediaKeysGiveTheirKindAlone)
{
    const int keys[4] = { Qt::Key_VolumeUp, Qt::Key_VolumeDown, Qt::Key_VolumeMute, Qt::Key_Eject };
    for (int kind = 1; kind <= 4; kind++) {
        KEYcapture k = translate(keys[kind - 1], Qt::ShiftModifier);
        EXPECT_EQ(k.message, 1u);
        EXPECT_EQ(k.modifiers, kind);
    }
}

TEST(Keys, AModifierKeyAloneIsNotAKey)
{
    KEYcapture out { 7, 7 };
    for (int key : { Qt::Key_Shift, Qt::Key_Control, Qt::Key_Alt, Qt::Key_Meta, Qt::Key_Super_L, Qt::Key_CapsLock }) {
        EXPECT_EQ(KEYtranslate(key, Qt::ShiftModifier, nullptr, 0, 0, &out), 0);
        EXPECT_EQ(out.message, 7u);
    }
}

TEST(Keys, AnUnknownKeyIsFoundByItsScanCodeOrGivesNoKey)
{
    // A dead key of another layout on the US apostrophe position (X key code 48).
    EXPECT_EQ(translate(Qt::Key_Dead_Acute, 0, nullptr, 48).message, 0x2727u);
    // The ISO key beside the left Shift (X key code 94).
    EXPECT_EQ(translate(Qt::Key_unknown, 0, nullptr, 94).message, 0x0A3Cu);
    EXPECT_EQ(translate(Qt::Key_unknown, Qt::ShiftModifier, nullptr, 94).message, 0x0A3Eu);
    KEYcapture none = translate(Qt::Key_LaunchMail, Qt::ControlModifier);
    EXPECT_EQ(none.message, 0u);
    EXPECT_EQ(none.modifiers, 0x1000);
}

TEST(Keys, TheKeyCodeIsTheKeysPlaceAndTheCharacterWhatTheLayoutTyped)
{
    // AZERTY: the key labelled A sits on the US Q (X key code 24), Q on A (38), W on Z (52), M on ; (47).
    EXPECT_EQ(translate(Qt::Key_A, 0, "a", 24).message, 0x0C61u);
    EXPECT_EQ(translate(Qt::Key_Q, 0, "q", 38).message, 0x0071u);
    EXPECT_EQ(translate(Qt::Key_W, Qt::ShiftModifier, "W", 52).message, 0x0657u);
    EXPECT_EQ(translate(Qt::Key_M, 0, "m", 47).message, 0x296Du);
    EXPECT_EQ(translate(Qt::Key_A, Qt::ControlModifier, "\x01", 24).message, 0x0C01u);
    // AZERTY's digit row types its digits with Shift: the character is the one typed.
    EXPECT_EQ(translate(Qt::Key_1, Qt::ShiftModifier, "1", 10).message, 0x1231u);
    // QWERTZ: Z on the US Y (29), Y on Z (52).
    EXPECT_EQ(translate(Qt::Key_Z, 0, "z", 29).message, 0x107Au);
    EXPECT_EQ(translate(Qt::Key_Y, 0, "y", 52).message, 0x0679u);
    // The ISO key typing "<" keeps its own code; the keypad and special keys are not moved.
    EXPECT_EQ(translate(Qt::Key_Less, 0, "<", 94).message, 0x0A3Cu);
    EXPECT_EQ(translate(Qt::Key_7, Qt::KeypadModifier, "7", 79).message, 0x5937u);
    EXPECT_EQ(translate(Qt::Key_Return, 0, "\r", 36).message, 0x240Du);
    // The US layout is unchanged.
    EXPECT_EQ(translate(Qt::Key_A, 0, "a", 38).message, 0x0061u);
}

TEST(Keys, ACommandChordTakesTheLetterOrElseTheKeysPlace)
{
    EXPECT_EQ(KEYmenuLetter(Qt::Key_S, 39), 'S');
    EXPECT_EQ(KEYmenuLetter(Qt::Key_A, 24), 'A'); // a Latin letter wins over its place
    EXPECT_EQ(KEYmenuLetter(0x042B, 39), 'S'); // Cyrillic yeru on the S key
    EXPECT_EQ(KEYmenuLetter(0x039B, 46), 'L'); // Greek lamda on the L key
    EXPECT_EQ(KEYmenuLetter(0x042B, 0), 0);
    EXPECT_EQ(KEYmenuLetter(0x00E9, 11), 0); // a digit's place is no letter
}

TEST(Keys, TheTypingFilterSeesClassicCharacterCodes)
{
    EXPECT_EQ(KEYcharCode(Qt::Key_Return, 0, ""), 13);
    EXPECT_EQ(KEYcharCode(Qt::Key_Enter, Qt::KeypadModifier, ""), 3);
    EXPECT_EQ(KEYcharCode(Qt::Key_Tab, 0, "\t"), 9);
    EXPECT_EQ(KEYcharCode(Qt::Key_Backtab, Qt::ShiftModifier, ""), 9);
    EXPECT_EQ(KEYcharCode(Qt::Key_Backspace, 0, "\b"), 8);
    EXPECT_EQ(KEYcharCode(Qt::Key_Left, 0, ""), 28);
    EXPECT_EQ(KEYcharCode(Qt::Key_Right, 0, ""), 29);
    EXPECT_EQ(KEYcharCode(Qt::Key_Up, 0, ""), 30);
    EXPECT_EQ(KEYcharCode(Qt::Key_Down, 0, ""), 31);
    EXPECT_EQ(KEYcharCode(Qt::Key_Delete, 0, ""), 127);
    EXPECT_EQ(KEYcharCode(Qt::Key_Home, 0, ""), 1);
    EXPECT_EQ(KEYcharCode(Qt::Key_A, 0, "a"), 'a');
    EXPECT_EQ(KEYcharCode(Qt::Key_Eacute, 0, "\xc3\xa9"), 0xC3);
    EXPECT_EQ(KEYcharCode(Qt::Key_Shift, 0, ""), -1);
}
