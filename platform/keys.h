// Key translation for the keystroke page: a key press as Qt reports it becomes the message and
// modifiers a KEY action stores (character code, classic virtual key code of the US layout, the
// classic modifier flags, or a media key kind).
#ifndef VQX_PLATFORM_KEYS_H
#define VQX_PLATFORM_KEYS_H

#include <cstdint>

// Classic modifier flags of a KEY action.
enum {
    kKeyCommandFlag = 0x100, // Super
    kKeyShiftFlag = 0x200, // Shift
    kKeyCapsLockFlag = 0x400, // Caps Lock on
    kKeyOptionFlag = 0x800, // Alt
    kKeyControlFlag = 0x1000, // Ctrl
    kKeyMediaMask = 0x000F // media key kind
};

// Media key kinds (the low four bits of the modifiers).
enum { kMediaNone = 0, kMediaVolumeUp = 1, kMediaVolumeDown = 2, kMediaMute = 3, kMediaEject = 4 };

// One captured key.
struct KEYcapture {
    uint32_t message; // character code in bits 0-7, virtual key code in bits 8-15; 1 for a media key
    uint16_t modifiers; // classic flags, or the media kind alone
};

// Translates a key press. qtKey is the Qt::Key code, qtModifiers the Qt::KeyboardModifiers bits,
// text the UTF-8 text the press typed (may be null), nativeScanCode the platform's scan code (an
// X11 / evdev + 8 key code, 0 when unknown), capsLock non-zero when Caps Lock is on. A pure modifier
// key (Shift, Ctrl, Alt, Super, Caps Lock alone) gives 0 and leaves *out alone; any other key gives 1.
// A key that has no classic code is translated to message 0 with the modifiers held.
int KEYtranslate(
    int qtKey, unsigned qtModifiers, const char *text, uint32_t nativeScanCode, int capsLock, KEYcapture *out);

// The classic flags of the Qt::KeyboardModifiers bits (Super, Shift, Alt, Ctrl).
uint16_t KEYclassicModifiers(unsigned qtModifiers);

// The classic character code of a key press as a dialog's typing filter sees it (Return 13, keypad
// Enter 3, Tab 9, Backspace 8, arrows 28-31, Escape 27, printable text its byte...), or -1 when the
// key types nothing the filter knows.
int KEYcharCode(int qtKey, unsigned qtModifiers, const char *text);

// The letter A-Z of a command key chord: the Qt key when it is a Latin letter, else the letter of
// the key's place on a US keyboard found from its X11 key code (Ctrl+S on a Cyrillic or Greek
// layout); 0 when neither gives a letter.
int KEYmenuLetter(int qtKey, uint32_t nativeScanCode);

#endif
