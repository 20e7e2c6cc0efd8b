// Key translation: Qt key codes (and, for keys Qt cannot name, X11 scan codes) to the classic
// virtual key codes and character codes of a US keyboard, and Qt modifiers to the classic flags.
#include "platform/keys.h"

#include <Qt>
#include <cstring>

namespace {

// A printable key of the US layout: its virtual key code and the characters it types without and
// with Shift.
struct PrintableKey {
    uint8_t code;
    char plain;
    char shifted;
};

const PrintableKey printableKeys[] = {
    { 0x00, 'a', 'A' },
    { 0x01, 's', 'S' },
    { 0x02, 'd', 'D' },
    { 0x03, 'f', 'F' },
    { 0x04, 'h', 'H' },
    { 0x05, 'g', 'G' },
    { 0x06, 'z', 'Z' },
    { 0x07, 'x', 'X' },
    { 0x08, 'c', 'C' },
    { 0x09, 'v', 'V' },
    { 0x0A, '<', '>' },
    { 0x0B, 'b', 'B' },
    { 0x0C, 'q', 'Q' },
    { 0x0D, 'w', 'W' },
    { 0x0E, 'e', 'E' },
    { 0x0F, 'r', 'R' },
    { 0x10, 'y', 'Y' },
    { 0x11, 't', 'T' },
    { 0x12, '1', '!' },
    { 0x13, '2', '@' },
    { 0x14, '3', '#' },
    { 0x15, '4', '$' },
    { 0x16, '6', '^' },
    { 0x17, '5', '%' },
    { 0x18, '=', '+' },
    { 0x19, '9', '(' },
    { 0x1A, '7', '&' },
    { 0x1B, '-', '_' },
    { 0x1C, '8', '*' },
    { 0x1D, '0', ')' },
    { 0x1E, ']', '}' },
    { 0x1F, 'o', 'O' },
    { 0x20, 'u', 'U' },
    { 0x21, '[', '{' },
    { 0x22, 'i', 'I' },
    { 0x23, 'p', 'P' },
    { 0x25, 'l', 'L' },
    { 0x26, 'j', 'J' },
    { 0x27, '\'', '"' },
    { 0x28, 'k', 'K' },
    { 0x29, ';', ':' },
    { 0x2A, '\\', '|' },
    { 0x2B, ',', '<' },
    { 0x2C, '/', '?' },
    { 0x2D, 'n', 'N' },
    { 0x2E, 'm', 'M' },
    { 0x2F, '.', '>' },
    { 0x31, ' ', ' ' },
    { 0x32, '`', '~' },
};

// A key that types no printable character: Qt key, virtual key code, character code.
struct SpecialKey {
    int qtKey;
    uint8_t code;
    uint8_t charCode;
};

const SpecialKey specialKeys[] = {
    { Qt::Key_Return, 0x24, 0x0D },
    { Qt::Key_Enter, 0x4C, 0x03 },
    { Qt::Key_Tab, 0x30, 0x09 },
    { Qt::Key_Backtab, 0x30, 0x09 },
    { Qt::Key_Backspace, 0x33, 0x08 },
    { Qt::Key_Escape, 0x35, 0x1B },
    { Qt::Key_Clear, 0x47, 0x1B },
    { Qt::Key_NumLock, 0x47, 0x1B },
    { Qt::Key_Help, 0x72, 0x05 },
    { Qt::Key_Insert, 0x72, 0x05 },
    { Qt::Key_Home, 0x73, 0x01 },
    { Qt::Key_End, 0x77, 0x04 },
    { Qt::Key_PageUp, 0x74, 0x0B },
    { Qt::Key_PageDown, 0x79, 0x0C },
    { Qt::Key_Delete, 0x75, 0x7F },
    { Qt::Key_Left, 0x7B, 0x1C },
    { Qt::Key_Right, 0x7C, 0x1D },
    { Qt::Key_Down, 0x7D, 0x1F },
    { Qt::Key_Up, 0x7E, 0x1E },
    { Qt::Key_F1, 0x7A, 0x10 },
    { Qt::Key_F2, 0x78, 0x10 },
    { Qt::Key_F3, 0x63, 0x10 },
    { Qt::Key_F4, 0x76, 0x10 },
    { Qt::Key_F5, 0x60, 0x10 },
    { Qt::Key_F6, 0x61, 0x10 },
    { Qt::Key_F7, 0x62, 0x10 },
    { Qt::Key_F8, 0x64, 0x10 },
    { Qt::Key_F9, 0x65, 0x10 },
    { Qt::Key_F10, 0x6D, 0x10 },
    { Qt::Key_F11, 0x67, 0x10 },
    { Qt::Key_F12, 0x6F, 0x10 },
    { Qt::Key_F13, 0x69, 0x10 },
    { Qt::Key_F14, 0x6B, 0x10 },
    { Qt::Key_F15, 0x71, 0x10 },
    { Qt::Key_F16, 0x6A, 0x10 },
    { Qt::Key_F17, 0x40, 0x10 },
    { Qt::Key_F18, 0x4F, 0x10 },
    { Qt::Key_F19, 0x50, 0x10 },
    { Qt::Key_F20, 0x5A, 0x10 },
};

// Keys of the numeric keypad (with Qt's keypad modifier): character and virtual key code.
struct KeypadKey {
    char ch;
    uint8_t code;
};

const KeypadKey keypadKeys[] = {
    { '0', 0x52 },
    { '1', 0x53 },
    { '2', 0x54 },
    { '3', 0x55 },
    { '4', 0x56 },
    { '5', 0x57 },
    { '6', 0x58 },
    { '7', 0x59 },
    { '8', 0x5B },
    { '9', 0x5C },
    { '.', 0x41 },
    { '*', 0x43 },
    { '+', 0x45 },
    { '/', 0x4B },
    { '-', 0x4E },
    { '=', 0x51 },
};

const int modifierOnlyKeys[] = { Qt::Key_Shift, Qt::Key_Control, Qt::Key_Meta, Qt::Key_Alt, Qt::Key_AltGr,
    Qt::Key_CapsLock, Qt::Key_Super_L, Qt::Key_Super_R, Qt::Key_Hyper_L, Qt::Key_Hyper_R, Qt::Key_Mode_switch };

// X11 key codes (evdev code + 8) of a US keyboard, by the Qt key the unshifted key gives; used for
// keys that arrive without a Qt key code this table knows (dead keys, other layouts' symbols).
struct ScanKey {
    uint8_t scanCode;
    int qtKey;
};

const ScanKey scanKeys[] = {
    { 9, Qt::Key_Escape },
    { 10, '1' },
    { 11, '2' },
    { 12, '3' },
    { 13, '4' },
    { 14, '5' },
    { 15, '6' },
    { 16, '7' },
    { 17, '8' },
    { 18, '9' },
    { 19, '0' },
    { 20, '-' },
    { 21, '=' },
    { 22, Qt::Key_Backspace },
    { 23, Qt::Key_Tab },
    { 24, 'Q' },
    { 25, 'W' },
    { 26, 'E' },
    { 27, 'R' },
    { 28, 'T' },
    { 29, 'Y' },
    { 30, 'U' },
    { 31, 'I' },
    { 32, 'O' },
    { 33, 'P' },
    { 34, '[' },
    { 35, ']' },
    { 36, Qt::Key_Return },
    { 38, 'A' },
    { 39, 'S' },
    { 40, 'D' },
    { 41, 'F' },
    { 42, 'G' },
    { 43, 'H' },
    { 44, 'J' },
    { 45, 'K' },
    { 46, 'L' },
    { 47, ';' },
    { 48, '\'' },
    { 49, '`' },
    { 51, '\\' },
    { 52, 'Z' },
    { 53, 'X' },
    { 54, 'C' },
    { 55, 'V' },
    { 56, 'B' },
    { 57, 'N' },
    { 58, 'M' },
    { 59, ',' },
    { 60, '.' },
    { 61, '/' },
    { 65, ' ' },
    { 94, '<' },
};

const PrintableKey *printableByChar(char ch, bool *shifted)
{
    for (const PrintableKey &key : printableKeys) {
        if (key.code == 0x0A) // the ISO key only by its scan code
            continue;
        if (key.plain == ch) {
            *shifted = false;
            return &key;
        }
        if (key.shifted == ch) {
            *shifted = true;
            return &key;
        }
    }
    return nullptr;
}

const SpecialKey *specialByQtKey(int qtKey)
{
    for (const SpecialKey &key : specialKeys)
        if (key.qtKey == qtKey)
            return &key;
    return nullptr;
}

int mediaKind(int qtKey)
{
    switch (qtKey) {
    case Qt::Key_VolumeUp:
        return kMediaVolumeUp;
    case Qt::Key_VolumeDown:
        return kMediaVolumeDown;
    case Qt::Key_VolumeMute:
        return kMediaMute;
    case Qt::Key_Eject:
        return kMediaEject;
    default:
        return kMediaNone;
    }
}

bool isLetter(char ch)
{
    return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z');
}

// Translates one Qt key of the US layout; false when the table has no such key.
bool translateQtKey(int qtKey, unsigned qtModifiers, const char *text, int capsLock, uint32_t *message)
{
    const bool shift = (qtModifiers & Qt::ShiftModifier) != 0;
    const bool control = (qtModifiers & Qt::ControlModifier) != 0;
    if (const SpecialKey *special = specialByQtKey(qtKey)) {
        *message = (uint32_t)special->code << 8 | special->charCode;
        return true;
    }
    if (qtKey < 0x20 || qtKey > 0x7E)
        return false;
    char ch = (char)qtKey;
    if (qtModifiers & Qt::KeypadModifier)
        for (const KeypadKey &key : keypadKeys)
            if (key.ch == ch) {
                *message = (uint32_t)key.code << 8 | (uint8_t)ch;
                return true;
            }
    bool isShiftedSymbol = false;
    const PrintableKey *key = printableByChar(isLetter(ch) ? (char)(ch | 0x20) : ch, &isShiftedSymbol);
    if (!key)
        return false;
    char typed;
    if (isLetter(key->plain)) {
        bool upper = shift || capsLock || (text && isLetter(text[0]) && text[0] >= 'A' && text[0] <= 'Z');
        typed = upper ? key->shifted : key->plain;
        if (control)
            typed = (char)(typed & 0x1F); // Ctrl-A is 01
    } else {
        typed = (shift || isShiftedSymbol) ? key->shifted : key->plain;
    }
    *message = (uint32_t)key->code << 8 | (uint8_t)typed;
    return true;
}

// The virtual key code of a printable key's position, from its X11 key code; -1 when the key code
// is unknown or not that of a printable key.
int positionCode(uint32_t nativeScanCode)
{
    for (const ScanKey &scan : scanKeys) {
        if (scan.scanCode != nativeScanCode)
            continue;
        if (scan.qtKey == '<')
            return 0x0A;
        if (scan.qtKey < 0x20 || scan.qtKey > 0x7E)
            return -1; // Escape, Tab, Return, Backspace keep the codes of their Qt keys
        bool shifted = false;
        char plain = isLetter((char)scan.qtKey) ? (char)(scan.qtKey | 0x20) : (char)scan.qtKey;
        const PrintableKey *key = printableByChar(plain, &shifted);
        return key ? key->code : -1;
    }
    return -1;
}

} // namespace

uint16_t KEYclassicModifiers(unsigned qtModifiers)
{
    uint16_t flags = 0;
    if (qtModifiers & Qt::MetaModifier)
        flags |= kKeyCommandFlag;
    if (qtModifiers & Qt::ShiftModifier)
        flags |= kKeyShiftFlag;
    if (qtModifiers & Qt::AltModifier)
        flags |= kKeyOptionFlag;
    if (qtModifiers & Qt::ControlModifier)
        flags |= kKeyControlFlag;
    return flags;
}

int KEYtranslate(
    int qtKey, unsigned qtModifiers, const char *text, uint32_t nativeScanCode, int capsLock, KEYcapture *out)
{
    for (int modifierKey : modifierOnlyKeys)
        if (qtKey == modifierKey)
            return 0;
    if (int kind = mediaKind(qtKey)) {
        out->message = 1;
        out->modifiers = (uint16_t)kind;
        return 1;
    }
    uint16_t flags = KEYclassicModifiers(qtModifiers);
    if (capsLock)
        flags |= kKeyCapsLockFlag;
    out->modifiers = flags;
    out->message = 0;
    if (translateQtKey(qtKey, qtModifiers, text, capsLock, &out->message)) {
        // The character is the one the layout typed, but the key code is the key's place on the
        // keyboard: on AZERTY the key labelled A sits where a US keyboard has Q.
        int code = (qtModifiers & Qt::KeypadModifier) || specialByQtKey(qtKey) ? -1 : positionCode(nativeScanCode);
        if (code >= 0) {
            uint8_t ch = (uint8_t)out->message;
            bool control = (qtModifiers & Qt::ControlModifier) != 0;
            if (!control && text && text[0] >= 0x20 && text[0] <= 0x7E && text[1] == '\0')
                ch = (uint8_t)text[0];
            out->message = (uint32_t)code << 8 | ch;
        }
        return 1;
    }
    for (const ScanKey &scan : scanKeys) {
        if (scan.scanCode != nativeScanCode)
            continue;
        if (scan.qtKey == '<') { // the ISO key beside the left Shift
            bool shift = (qtModifiers & Qt::ShiftModifier) != 0;
            out->message = 0x0A00u | (uint8_t)(shift ? '>' : '<');
        } else {
            translateQtKey(scan.qtKey, qtModifiers & ~(unsigned)Qt::KeypadModifier, nullptr, capsLock, &out->message);
        }
        break;
    }
    return 1;
}

int KEYcharCode(int qtKey, unsigned qtModifiers, const char *text)
{
    (void)qtModifiers;
    switch (qtKey) {
    case Qt::Key_Return:
        return 13;
    case Qt::Key_Enter:
        return 3;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return 9;
    case Qt::Key_Backspace:
        return 8;
    case Qt::Key_Escape:
        return 27;
    case Qt::Key_Left:
        return 28;
    case Qt::Key_Right:
        return 29;
    case Qt::Key_Up:
        return 30;
    case Qt::Key_Down:
        return 31;
    default:
        break;
    }
    if (const SpecialKey *special = specialByQtKey(qtKey))
        return special->charCode;
    if (text && text[0] != '\0')
        return (unsigned char)text[0];
    return -1;
}

int KEYmenuLetter(int qtKey, uint32_t nativeScanCode)
{
    if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z)
        return 'A' + (qtKey - Qt::Key_A);
    if (nativeScanCode == 0)
        return 0;
    for (const ScanKey &scan : scanKeys)
        if (scan.scanCode == nativeScanCode)
            return scan.qtKey >= 'A' && scan.qtKey <= 'Z' ? scan.qtKey : 0;
    return 0;
}
