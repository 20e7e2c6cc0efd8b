// The table of key positions: each virtual key code of a US keyboard and the Linux key code of the
// key in the same place, so that a stored keystroke presses the same key whatever the layout.
#include "mapper/keymap.h"

#include <linux/input-event-codes.h>

static const int kKeys[128] = {
    KEY_A, KEY_S, KEY_D, KEY_F, KEY_H, KEY_G, KEY_Z, KEY_X, // 00-07
    KEY_C, KEY_V, KEY_102ND, KEY_B, KEY_Q, KEY_W, KEY_E, KEY_R, // 08-0F
    KEY_Y, KEY_T, KEY_1, KEY_2, KEY_3, KEY_4, KEY_6, KEY_5, // 10-17
    KEY_EQUAL, KEY_9, KEY_7, KEY_MINUS, KEY_8, KEY_0, KEY_RIGHTBRACE, KEY_O, // 18-1F
    KEY_U, KEY_LEFTBRACE, KEY_I, KEY_P, KEY_ENTER, KEY_L, KEY_J, KEY_APOSTROPHE, // 20-27
    KEY_K, KEY_SEMICOLON, KEY_BACKSLASH, KEY_COMMA, KEY_SLASH, KEY_N, KEY_M, KEY_DOT, // 28-2F
    KEY_TAB, KEY_SPACE, KEY_GRAVE, KEY_BACKSPACE, 0, KEY_ESC, 0, KEY_LEFTMETA, // 30-37
    KEY_LEFTSHIFT, KEY_CAPSLOCK, KEY_LEFTALT, KEY_LEFTCTRL, KEY_RIGHTSHIFT, KEY_RIGHTALT, // 38-3D
    KEY_RIGHTCTRL, KEY_FN, // 3E-3F
    KEY_F17, KEY_KPDOT, 0, KEY_KPASTERISK, 0, KEY_KPPLUS, 0, KEY_NUMLOCK, // 40-47
    KEY_VOLUMEUP, KEY_VOLUMEDOWN, KEY_MUTE, KEY_KPSLASH, KEY_KPENTER, 0, KEY_KPMINUS, KEY_F18, // 48-4F
    KEY_F19, KEY_KPEQUAL, KEY_KP0, KEY_KP1, KEY_KP2, KEY_KP3, KEY_KP4, KEY_KP5, // 50-57
    KEY_KP6, KEY_KP7, KEY_F20, KEY_KP8, KEY_KP9, 0, 0, 0, // 58-5F
    KEY_F5, KEY_F6, KEY_F7, KEY_F3, KEY_F8, KEY_F9, 0, KEY_F11, // 60-67
    0, KEY_F13, KEY_F16, KEY_F14, 0, KEY_F10, 0, KEY_F12, // 68-6F
    0, KEY_F15, KEY_INSERT, KEY_HOME, KEY_PAGEUP, KEY_DELETE, KEY_F4, KEY_END, // 70-77
    KEY_F2, KEY_PAGEDOWN, KEY_F1, KEY_LEFT, KEY_RIGHT, KEY_DOWN, KEY_UP, 0, // 78-7F
};

int KMAPkeyCode(int vk)
{
    return vk >= 0 && vk < 128 ? kKeys[vk] : 0;
}

int KMAPmediaCode(int kind)
{
    switch (kind) {
    case 1:
        return KEY_VOLUMEUP;
    case 2:
        return KEY_VOLUMEDOWN;
    case 3:
        return KEY_MUTE;
    case 4:
        return KEY_EJECTCD;
    default:
        return 0;
    }
}

bool KMAPchordFor(uint32_t message, uint16_t modifiers, KMAPchord *chord)
{
    *chord = KMAPchord();
    int media = KMAPmediaCode(modifiers & 0x0F);
    if (media) {
        chord->key = media;
        return true;
    }
    if (message == 0)
        return false;
    chord->key = KMAPkeyCode((int)((message >> 8) & 0xFF));
    if (!chord->key)
        return false;
    static const struct {
        uint16_t flag;
        int key;
    } kModifiers[]
        = { { 0x1000, KEY_LEFTCTRL }, { 0x800, KEY_LEFTALT }, { 0x200, KEY_LEFTSHIFT }, { 0x100, KEY_LEFTMETA } };
    for (const auto &m : kModifiers)
        if (modifiers & m.flag)
            chord->modifiers[chord->modifierCount++] = m.key;
    return true;
}
