// Which key and modifier keys type a character in the active keyboard layout, so that a text is
// typed as the user's own keyboard would type it.
#ifndef VQX_MAPPER_TYPING_H
#define VQX_MAPPER_TYPING_H

#include <cstdint>
#include <string>

struct TYPstroke {
    int key = 0; // Linux KEY_* code of the key
    int modifiers[4] = {}; // Linux KEY_* codes of the modifier keys held for it (Shift, AltGr ...)
    int modifierCount = 0;
};

struct TYPlayout; // the active layout, owned by the caller

// The active layout: the X server's when $DISPLAY is set, else the one named by the XKB_DEFAULT_*
// variables or /etc/default/keyboard, else "us". Null with *why when none can be had.
TYPlayout *TYPopen(std::string *why);
void TYPclose(TYPlayout *layout);
// Reads the layout again (a layout switched since, as by setxkbmap); false when it cannot.
bool TYPrefresh(TYPlayout *layout);
// The stroke that types `codepoint` (Unicode; 13 CR is Return, 9 TAB is Tab); false when no key of
// the layout gives it.
bool TYPlookup(TYPlayout *layout, uint32_t codepoint, TYPstroke *stroke);

#endif
