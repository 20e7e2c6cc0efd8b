// What a KEY action presses: the stored key position (a US keyboard's virtual key code) as the
// Linux input key code of the same position, its modifier keys, or one of the four media keys.
#ifndef VQX_MAPPER_KEYMAP_H
#define VQX_MAPPER_KEYMAP_H

#include <cstdint>

// The Linux key code (KEY_*) of virtual key code `vk` (0x00-0x7F); 0 for a code with no key.
int KMAPkeyCode(int vk);
// The Linux key code of media kind 1-4 (volume up, volume down, mute, eject); 0 otherwise.
int KMAPmediaCode(int kind);

struct KMAPchord {
    int key = 0; // the key itself
    int modifiers[4] = {}; // modifier keys pressed before it and released after it, in order
    int modifierCount = 0;
};

// The chord of a KEY action's message and modifier word: a media kind (modifier bits 0-3) gives
// its key alone; otherwise the key of the message's virtual key code (bits 8-15) with Super
// (0x100), Shift (0x200), Alt (0x800) and Ctrl (0x1000). False when it presses nothing: message 0
// with no media kind, or a virtual key code with no key.
bool KMAPchordFor(uint32_t message, uint16_t modifiers, KMAPchord *chord);

#endif
