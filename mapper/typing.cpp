// Which key of the active keyboard layout types a character: the X server's keymap read through
// xkbcommon-x11, or a keymap compiled from layout names, searched for the character's keysym.
#include "mapper/typing.h"

#include <linux/input-event-codes.h>
#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

struct TYPlayout {
    xkb_context *context = nullptr;
    xkb_keymap *keymap = nullptr;
    xcb_connection_t *connection = nullptr; // the X server's, or null for a layout from names
    int32_t device = -1; // the core keyboard of the X server
};

// A value of a shell-style assignment line of /etc/default/keyboard (XKBLAYOUT="de").
static std::string keyboardDefault(const std::string &name)
{
    std::ifstream in("/etc/default/keyboard");
    std::string line;
    std::string value;
    while (std::getline(in, line)) {
        size_t start = line.find_first_not_of(" \t");
        if (start == std::string::npos || line.compare(start, name.size() + 1, name + "=") != 0)
            continue;
        value = line.substr(start + name.size() + 1);
        while (!value.empty() && (value.back() == ' ' || value.back() == '\t' || value.back() == '\r'))
            value.pop_back();
        if (value.size() >= 2 && (value[0] == '"' || value[0] == '\'') && value.back() == value[0])
            value = value.substr(1, value.size() - 2);
    }
    return value;
}

static std::string envOr(const char *name, const std::string &fallback)
{
    const char *v = getenv(name);
    return v && *v ? std::string(v) : fallback;
}

// A keymap from layout names: the XKB_DEFAULT_* variables, else the system's keyboard settings,
// else "us".
static xkb_keymap *keymapFromNames(xkb_context *context, std::string *why)
{
    std::string layout = envOr("XKB_DEFAULT_LAYOUT", "");
    std::string variant = envOr("XKB_DEFAULT_VARIANT", "");
    std::string model = envOr("XKB_DEFAULT_MODEL", "");
    std::string options = envOr("XKB_DEFAULT_OPTIONS", "");
    if (layout.empty()) {
        layout = keyboardDefault("XKBLAYOUT");
        if (variant.empty())
            variant = keyboardDefault("XKBVARIANT");
        if (model.empty())
            model = keyboardDefault("XKBMODEL");
        if (options.empty())
            options = keyboardDefault("XKBOPTIONS");
    }
    if (layout.empty())
        layout = "us";
    xkb_rule_names names = {};
    names.layout = layout.c_str();
    names.variant = variant.empty() ? nullptr : variant.c_str();
    names.model = model.empty() ? nullptr : model.c_str();
    names.options = options.empty() ? nullptr : options.c_str();
    xkb_keymap *keymap = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap)
        *why = "the keyboard layout \"" + layout + (variant.empty() ? "" : "(" + variant + ")")
            + "\" cannot be compiled";
    return keymap;
}

// The X server's keymap of its core keyboard; connects on the first call.
static xkb_keymap *keymapFromServer(TYPlayout *l, std::string *why)
{
    if (!l->connection) {
        xcb_connection_t *c = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(c)) {
            xcb_disconnect(c);
            *why = "the X display cannot be opened";
            return nullptr;
        }
        if (!xkb_x11_setup_xkb_extension(c, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr)) {
            xcb_disconnect(c);
            *why = "the X server has no XKB extension";
            return nullptr;
        }
        l->connection = c;
        l->device = xkb_x11_get_core_keyboard_device_id(c);
        if (l->device < 0) {
            *why = "the X server names no core keyboard";
            return nullptr;
        }
    }
    xkb_keymap *keymap
        = xkb_x11_keymap_new_from_device(l->context, l->connection, l->device, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap)
        *why = "the X server's keymap cannot be read";
    return keymap;
}

static xkb_keymap *readKeymap(TYPlayout *l, std::string *why)
{
    const char *display = getenv("DISPLAY");
    if (display && *display)
        return keymapFromServer(l, why);
    return keymapFromNames(l->context, why);
}

TYPlayout *TYPopen(std::string *why)
{
    std::string ignored;
    if (!why)
        why = &ignored;
    TYPlayout *l = new TYPlayout;
    l->context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (!l->context) {
        *why = "xkbcommon cannot be set up";
        TYPclose(l);
        return nullptr;
    }
    l->keymap = readKeymap(l, why);
    if (!l->keymap) {
        TYPclose(l);
        return nullptr;
    }
    return l;
}

void TYPclose(TYPlayout *layout)
{
    if (!layout)
        return;
    if (layout->keymap)
        xkb_keymap_unref(layout->keymap);
    if (layout->context)
        xkb_context_unref(layout->context);
    if (layout->connection)
        xcb_disconnect(layout->connection);
    delete layout;
}

bool TYPrefresh(TYPlayout *layout)
{
    std::string why;
    xkb_keymap *keymap = readKeymap(layout, &why);
    if (!keymap)
        return false;
    xkb_keymap_unref(layout->keymap);
    layout->keymap = keymap;
    return true;
}

static xkb_keysym_t keysymOf(uint32_t codepoint)
{
    switch (codepoint) {
    case 8:
        return XKB_KEY_BackSpace;
    case 9:
        return XKB_KEY_Tab;
    case 10:
    case 13:
        return XKB_KEY_Return;
    case 27:
        return XKB_KEY_Escape;
    default:
        return xkb_utf32_to_keysym(codepoint);
    }
}

// The Linux key of the first key whose first level gives `sym`, preferring `preferred`; 0 if none.
static int keyGiving(xkb_keymap *keymap, xkb_keysym_t sym, int preferred)
{
    int found = 0;
    xkb_keycode_t min = std::max<xkb_keycode_t>(xkb_keymap_min_keycode(keymap), 8);
    xkb_keycode_t max = std::min<xkb_keycode_t>(xkb_keymap_max_keycode(keymap), 255);
    for (xkb_keycode_t kc = min; kc <= max; kc++) {
        const xkb_keysym_t *syms;
        int n = xkb_keymap_key_get_syms_by_level(keymap, kc, 0, 0, &syms);
        if (n == 1 && syms[0] == sym) {
            if ((int)kc - 8 == preferred)
                return preferred;
            if (!found)
                found = (int)kc - 8;
        }
    }
    return found;
}

struct LevelMods {
    xkb_mod_mask_t shift = 0;
    xkb_mod_mask_t level3 = 0; // Mod5 and the LevelThree virtual modifier where it has its own bit
};

static xkb_mod_mask_t bitOf(xkb_keymap *keymap, const char *name)
{
    xkb_mod_index_t i = xkb_keymap_mod_get_index(keymap, name);
    return i == XKB_MOD_INVALID || i >= 32 ? 0 : (xkb_mod_mask_t)1 << i;
}

bool TYPlookup(TYPlayout *layout, uint32_t codepoint, TYPstroke *stroke)
{
    *stroke = TYPstroke();
    if (!layout || !layout->keymap)
        return false;
    xkb_keymap *keymap = layout->keymap;
    xkb_keysym_t want = keysymOf(codepoint);
    if (want == XKB_KEY_NoSymbol)
        return false;
    LevelMods mods;
    mods.shift = bitOf(keymap, XKB_MOD_NAME_SHIFT);
    mods.level3 = bitOf(keymap, "Mod5") | bitOf(keymap, "LevelThree");
    xkb_mod_mask_t usable = mods.shift | mods.level3;

    // The lowest level that gives the keysym with Shift and AltGr alone, over all keys.
    int bestKey = 0;
    xkb_level_index_t bestLevel = 0;
    xkb_mod_mask_t bestMask = 0;
    // Only key codes an X client can receive (up to 255): a layout may put a character on a key
    // beyond (the euro sign on KEY_EURO) that X applications, Xwayland's included, never see.
    xkb_keycode_t min = std::max<xkb_keycode_t>(xkb_keymap_min_keycode(keymap), 8);
    xkb_keycode_t max = std::min<xkb_keycode_t>(xkb_keymap_max_keycode(keymap), 255);
    for (xkb_keycode_t kc = min; kc <= max; kc++) {
        if (xkb_keymap_num_layouts_for_key(keymap, kc) == 0)
            continue;
        xkb_level_index_t levels = xkb_keymap_num_levels_for_key(keymap, kc, 0);
        for (xkb_level_index_t level = 0; level < levels; level++) {
            if (bestKey && level >= bestLevel)
                break;
            const xkb_keysym_t *syms;
            int n = xkb_keymap_key_get_syms_by_level(keymap, kc, 0, level, &syms);
            if (n != 1 || syms[0] != want)
                continue;
            xkb_mod_mask_t masks[16];
            size_t count = xkb_keymap_key_get_mods_for_level(keymap, kc, 0, level, masks, 16);
            for (size_t i = 0; i < count; i++) {
                if ((masks[i] & ~usable) != 0)
                    continue; // needs Lock, NumLock, Ctrl ...: not a way to type it
                bestKey = (int)kc - 8;
                bestLevel = level;
                bestMask = masks[i];
                break;
            }
        }
    }
    if (!bestKey)
        return false;
    stroke->key = bestKey;
    if (bestMask & mods.shift)
        stroke->modifiers[stroke->modifierCount++] = KEY_LEFTSHIFT;
    if (bestMask & mods.level3) {
        // AltGr: the key that gives ISO_Level3_Shift, right Alt where it does.
        int altGr = keyGiving(keymap, XKB_KEY_ISO_Level3_Shift, KEY_RIGHTALT);
        stroke->modifiers[stroke->modifierCount++] = altGr ? altGr : KEY_RIGHTALT;
    }
    return true;
}
