// Descriptions of actions as the button list shows them: a category, a TAB and the details, with
// the repeat settings in full when the show-details preference is set.
#include "mapping/describe.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "mapping/volume.h"
#include "shell/prefs.h"

static const int32_t shippedKeyRepeat[4][6] = {
    {0, 0, 0, 0, 0, 0}, {1000, 1, 500, 500, 0, 0}, {500, 10, 150, 75, 0, 0}, {500, 1, 100, 100, 0, 0}};
static const int32_t shippedMouseRepeat[4][6] = {
    {0, 0, 0, 0, 1, 1}, {250, 1, 50, 50, 5, 5}, {250, 20, 50, 30, 5, 7}, {250, 1, 30, 30, 7, 7}};

int32_t keyRepeatDefaults[4][6] = {
    {0, 0, 0, 0, 0, 0}, {1000, 1, 500, 500, 0, 0}, {500, 10, 150, 75, 0, 0}, {500, 1, 100, 100, 0, 0}};
int32_t mouseRepeatDefaults[4][6] = {
    {0, 0, 0, 0, 1, 1}, {250, 1, 50, 50, 5, 5}, {250, 20, 50, 30, 5, 7}, {250, 1, 30, 30, 7, 7}};

static const char *const presetNames[4] = {"", "Slow Repeat", "Accelerate Repeat", "Fast Repeat"};

void DESCreset(void)
{
    memcpy(keyRepeatDefaults, shippedKeyRepeat, sizeof keyRepeatDefaults);
    memcpy(mouseRepeatDefaults, shippedMouseRepeat, sizeof mouseRepeatDefaults);
}

static bool showDetails(void)
{
    return theConfigPrefs.showDetails != 0;
}

// Appends to a 64-byte description, cutting what does not fit.
static void append(char *text, const char *format, ...) __attribute__((format(printf, 2, 3)));
static void append(char *text, const char *format, ...)
{
    size_t used = strlen(text);
    va_list args;
    va_start(args, format);
    vsnprintf(text + used, 64 - used, format, args);
    va_end(args);
}

// Row 1-3 of the table whose delay, rate1, reps and rate2 (and, for mouse actions, multipliers)
// are the event's; 0 when none is.
static int presetRow(const int32_t table[4][6], int32_t delay, int32_t rate1, int32_t reps, int32_t rate2,
                     const uint32_t *mouseMessage)
{
    for (int row = 1; row < 4; row++) {
        const int32_t *r = table[row];
        if (r[kRepeatDelay] != delay || r[kRepeatRate1] != rate1 || r[kRepeatReps] != reps || r[kRepeatRate2] != rate2)
            continue;
        if (mouseMessage && ((int32_t)((*mouseMessage >> 8) & 0xF) != r[kRepeatRate1Multiplier] ||
                             (int32_t)((*mouseMessage >> 12) & 0xF) != r[kRepeatRate2Multiplier]))
            continue;
        return row;
    }
    return 0;
}

// The preset's name, else the numbered form in text.
template <typename Event>
static const char *repeatName(char *text, const int32_t table[4][6], const Event &e, const uint32_t *mouseMessage)
{
    int row = presetRow(table, e.delay, e.rate1, e.reps, e.rate2, mouseMessage);
    if (row)
        return presetNames[row];
    snprintf(text, 64, "Repeat %d-%d-%d-%d", e.delay, e.rate1, e.reps, e.rate2);
    return text;
}

const char *makeKeyEventRepeatText(const KeyEvent *key)
{
    static char text[64];
    if (key->rate1 == -1)
        return "No Repeat";
    if (key->rate1 == 0)
        return "System Repeat";
    return repeatName(text, keyRepeatDefaults, *key, nullptr);
}

const char *makeMouseEventRepeatText(const MouseEvent *mouse)
{
    static char text[64];
    if (mouse->rate1 == 0)
        return "No Repeat";
    return repeatName(text, mouseRepeatDefaults, *mouse, &mouse->message);
}

const char *makeAEEventRepeatText(const AppleEventEvent *script)
{
    static char text[64];
    if (script->rate1 == 0)
        return "No Repeat";
    return repeatName(text, keyRepeatDefaults, *script, nullptr);
}

const char *makeSysVolRepeatText(const SysVolumeEvent *vol)
{
    static char text[64];
    if (vol->rate1 == 0)
        return "No Repeat";
    return repeatName(text, keyRepeatDefaults, *vol, nullptr);
}

// Names of keys that have no printable character, by virtual key code and character code.
struct KeyName {
    uint16_t code;
    const char *name;
};
static const KeyName keyNames[] = {
    {0x240D, "return"},    {0x3009, "tab"},        {0x3120, "space"},     {0x3308, "delete"},  {0x3403, "enter"},
    {0x4C03, "enter"},     {0x351B, "esc"},        {0x471B, "clear"},     {0x7205, "help"},    {0x7301, "home"},
    {0x7704, "end"},       {0x740B, "PageUp"},     {0x790C, "PageDn"},    {0x757F, "del"},     {0x7B1C, "LeftArrow"},
    {0x7C1D, "RightArrow"}, {0x7D1F, "DownArrow"}, {0x7E1E, "UpArrow"},   {0x7A10, "F1"},      {0x7810, "F2"},
    {0x6310, "F3"},        {0x7610, "F4"},         {0x6010, "F5"},        {0x6110, "F6"},      {0x6210, "F7"},
    {0x6410, "F8"},        {0x6510, "F9"},         {0x6D10, "F10"},       {0x6710, "F11"},     {0x6F10, "F12"},
    {0x6910, "F13"},       {0x6B10, "F14"},        {0x7110, "F15"},
};

const char *returnCharText(const KeyEvent *key)
{
    static char text[12];
    unsigned c = key->message & 0xFF;
    unsigned k = (key->message >> 8) & 0xFF;
    text[0] = '\0';
    if (c > 32 && c < 127) {
        text[0] = (char)c;
        text[1] = '\0';
    } else if (k < 47 && k != 36) {
        text[0] = (char)(c + 64); // a control character shown as its letter
        text[1] = '\0';
    } else {
        uint16_t code = (uint16_t)(key->message & 0xFFFF);
        for (const KeyName &entry : keyNames)
            if (entry.code == code) {
                snprintf(text, sizeof text, "%s", entry.name);
                break;
            }
    }
    return text;
}

const char *makeKeyEventText(const KeyEvent *key)
{
    static char text[64];
    static const char *const mediaKeys[5] = {"", "Volume Up", "Volume Down", "Volume Mute", "Eject"};
    unsigned media = key->modifiers & 0xF;
    if (media != 0) {
        snprintf(text, sizeof text, "Media Key\t%s", media <= 4 ? mediaKeys[media] : "");
    } else if (key->message == 0) {
        return "NONE\t ";
    } else {
        snprintf(text, sizeof text, "Keystroke\t");
        if (key->modifiers & 0x100)
            append(text, "cmd-");
        if (key->modifiers & 0x200)
            append(text, "shift-");
        if (key->modifiers & 0x800)
            append(text, "opt-");
        if (key->modifiers & 0x1000)
            append(text, "ctrl-");
        append(text, "%s", returnCharText(key));
    }
    if (showDetails())
        append(text, "  %s", makeKeyEventRepeatText(key));
    else if (key->rate1 != -1 && key->rate1 != 0)
        append(text, " w/Repeat");
    return text;
}

const char *makeMouseEventText(const MouseEvent *mouse)
{
    static char text[64];
    static const char *const kinds[9] = {"Unknown", "UP", "DOWN", "LEFT", "RIGHT", "Left-Click", "Right-Click",
                                         "Left-Double Click", "Right-Double Click"};
    unsigned kind = mouse->message & 0xFF;
    snprintf(text, sizeof text, "Mouse\t%s", kind <= 8 ? kinds[kind] : "Unknown");
    if (showDetails())
        append(text, "  %s", makeMouseEventRepeatText(mouse));
    else if (mouse->rate1 != 0)
        append(text, " w/Repeat");
    return text;
}

const char *makeAEEventText(const AppleEventEvent *script)
{
    static char text[64];
    snprintf(text, sizeof text, "Script\t%s", getFileName(script->path));
    return text;
}

const char *makeLaunchEventText(const LaunchEvent *launch)
{
    static char text[64];
    snprintf(text, sizeof text, "Launch\t%s", getFileName(launch->path));
    return text;
}

const char *makeStringEventText(const TextStringEvent *txt)
{
    static char text[64];
    snprintf(text, sizeof text, "TEXT\t%s", txt->text);
    return text;
}

const char *makeSysVolText(const SysVolumeEvent *vol)
{
    static char text[64];
    static const char *const mutes[3] = {"Volume\tMute Off", "Volume\tMute On", "Volume\tMute Toggle"};
    static const char *const fades[3] = {"Volume\tFade In", "Volume\tFade Out", "Volume\tFade Toggle"};
    snprintf(text, sizeof text, "Volume\t");
    switch (vol->subtype) {
    case kSysVolChg:
        if (showDetails()) {
            snprintf(text, sizeof text, "Volume\tChange %d  %s", convertChgSystemToDisplay(vol->value),
                     makeSysVolRepeatText(vol));
            if (vol->unMute)
                append(text, "  Un Mute");
        } else {
            snprintf(text, sizeof text, "Volume\tChange %d", convertChgSystemToDisplay(vol->value));
            if (vol->rate1 != 0)
                append(text, " w/Repeat");
        }
        break;
    case kSysVolSet:
        snprintf(text, sizeof text, "Volume\tSet %d", convertSetSystemToDisplay(vol->value));
        if (showDetails() && vol->unMute)
            append(text, "  Un Mute");
        break;
    case kSysVolMute:
        if (vol->value >= 0 && vol->value <= 2)
            snprintf(text, sizeof text, "%s", mutes[vol->value]);
        break;
    case kSysVolFade:
        if (vol->fadeType >= 0 && vol->fadeType <= 2) {
            if (showDetails())
                snprintf(text, sizeof text, "%s %d", fades[vol->fadeType], vol->value);
            else
                snprintf(text, sizeof text, "%s", fades[vol->fadeType]);
        }
        break;
    default:
        break;
    }
    return text;
}

const char *makeButtonText(const ActionRecord *action)
{
    if (action->disabled)
        return "DISABLED\t";
    const EventRecord &e = action->theEvent;
    switch (e.common.type) {
    case kKeyEventType:
        return makeKeyEventText(&e.key);
    case kAppleEventType:
        return makeAEEventText(&e.script);
    case kLaunchEventType:
        return makeLaunchEventText(&e.launch);
    case kSysVolumeEventType:
        return makeSysVolText(&e.sysVolume);
    case kTextStringEventType:
        return makeStringEventText(&e.textString);
    case kNoActionEventType:
        return "NO ACTION\t";
    case kMouseEventType:
        return makeMouseEventText(&e.mouse);
    default:
        return "Unknown";
    }
}
