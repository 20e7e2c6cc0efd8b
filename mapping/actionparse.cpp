// The fields of each action type on an ACT line of a mapping file, read with the standard
// formatted scan; each parser stops at the first field that does not scan and reports it.
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "mapping/alerttext.h"
#include "mapping/mapfile.h"
#include "shell/diagnostics.h"

typedef int (*Reporter)(const char *format, ...);

// Failure messages of the four repeat fields (delay, rate1, reps, rate2) per action type.
static const char *const keyRepeatMessages[4] = {
    "Fatal error: bad delay for KEY command %s; cannot continue...",
    "Fatal error: bad rate1 for KEY command %s; cannot continue...",
    "Fatal error: bad reps for KEY command %s; cannot continue...",
    "Fatal error: bad rate2 for KEY command %s; cannot continue...",
};
static const char *const mouseRepeatMessages[4] = {
    "bad delay for MOU command %s",
    "bad rate1 for MOU command %s",
    "bad reps for MOU command %s",
    "bad rate2 for MOU command %s",
};
static const char *const scriptRepeatMessages[4] = {
    "Fatal error: bad delay for SCR command %s; cannot continue...",
    "Fatal error: bad rate1 for SCR command %s; cannot continue...",
    "Fatal error: bad reps for SCR command %s; cannot continue...",
    "Fatal error: bad rate2 for SCR command %s; cannot continue...",
};
static const char *const launchRepeatMessages[4] = {
    "bad delay for LAUNCH command %s",
    "bad rate1 for LAUNCH command %s",
    "bad reps for LAUNCH command %s",
    "bad rate2 for LAUNCH command %s",
};
static const char *const volumeRepeatMessages[4] = {
    "bad delay for VOL command %s",
    "bad rate1 for VOL command %s",
    "bad reps for VOL command %s",
    "bad rate2 for VOL command %s",
};

static const char *buttonOf(const ActionRecord *action)
{
    return MAPalertArg(action->theEvent.common.name);
}

// One "%d" field; on failure the message is shown with the button name.
static bool scanDecimal(FILE *stream, int32_t *dest, const ActionRecord *action, Reporter report,
                        const char *failure)
{
    int value;
    if (fscanf(stream, "%d", &value) != 1) {
        report(failure, buttonOf(action));
        return false;
    }
    *dest = value;
    return true;
}

static bool scanHex(FILE *stream, uint32_t *dest, const ActionRecord *action, Reporter report, const char *failure)
{
    unsigned int value;
    if (fscanf(stream, "%x", &value) != 1) {
        report(failure, buttonOf(action));
        return false;
    }
    *dest = value;
    return true;
}

// delay, rate1, reps, rate2, in this order.
static bool scanRepeat(FILE *stream, ActionRecord *action, Reporter report, const char *const messages[4])
{
    EventCommon &common = action->theEvent.common;
    return scanDecimal(stream, &common.delay, action, report, messages[0]) &&
           scanDecimal(stream, &common.rate1, action, report, messages[1]) &&
           scanDecimal(stream, &common.reps, action, report, messages[2]) &&
           scanDecimal(stream, &common.rate2, action, report, messages[3]);
}

// A byte 0xFF reads as end of file, as it always has in these strings.
static bool endOfData(int c)
{
    return c == EOF || c == 0xFF;
}

int parseQuotedString(FILE *stream, char *buffer)
{
    buffer[0] = '\0';
    int c;
    do {
        c = getc(stream);
        if (endOfData(c) || c == '\n')
            return 0;
    } while (c != '"');
    int len = 0;
    for (;;) {
        c = getc(stream);
        if (endOfData(c) || c == '\n') {
            buffer[len] = '\0';
            return 0;
        }
        if (c == '"')
            break;
        if (len < 1023)
            buffer[len++] = (char)c;
    }
    buffer[len] = '\0';
    return 1;
}

ActionRecord *parseKeyEvent(FILE *stream, ActionRecord *action)
{
    KeyEvent &key = action->theEvent.key;
    if (!scanHex(stream, &key.message, action, VQXALERTprintfFATAL,
                 "Fatal error: bad message for KEY command %s; cannot continue..."))
        return nullptr;
    unsigned int modifiers;
    if (fscanf(stream, "%x", &modifiers) != 1 || modifiers > 0xFFFF) {
        VQXALERTprintfFATAL("Fatal error: bad modifiers for KEY command %s; cannot continue...", buttonOf(action));
        return nullptr;
    }
    key.modifiers = (uint16_t)modifiers;
    if (!scanRepeat(stream, action, VQXALERTprintfFATAL, keyRepeatMessages))
        return nullptr;
    key.type = kKeyEventType;
    if (showParsedCommands)
        BUGprintf("PARSE[%s KEY %08x %04x %d %d %d %d]", key.name, key.message, key.modifiers, key.delay, key.rate1,
                  key.reps, key.rate2);
    return action;
}

ActionRecord *parseMouseEvent(FILE *stream, ActionRecord *action)
{
    MouseEvent &mouse = action->theEvent.mouse;
    if (!scanHex(stream, &mouse.message, action, BUGfatal, "bad message for MOU command %s"))
        return nullptr;
    if (!scanRepeat(stream, action, BUGfatal, mouseRepeatMessages))
        return nullptr;
    mouse.type = kMouseEventType;
    return action;
}

// The script's file specification: the absolute form of its path. A script that is not there is
// only logged; the action stays usable.
static void makeScriptSpec(AppleEventEvent &script)
{
    char cwd[1024];
    if (script.path[0] == '/' || !getcwd(cwd, sizeof cwd))
        snprintf(script.fileSpec.path, sizeof script.fileSpec.path, "%s", script.path);
    else
        snprintf(script.fileSpec.path, sizeof script.fileSpec.path, "%s/%s", cwd, script.path);
    struct stat st;
    if (stat(script.path, &st) != 0) {
        int err = (errno == ENOENT || errno == ENOTDIR) ? -43 : -errno;
        BUGprintf("Orvenda VQX ERROR: script file [%s] not found (FSPathMakeRef returns %d)", script.path, err);
        BUGprintf("Orvenda VQX ERROR: script file [%s] does not exist", script.path);
    }
}

ActionRecord *parseAppleEvent(FILE *stream, ActionRecord *action)
{
    AppleEventEvent &script = action->theEvent.script;
    if (!parseQuotedString(stream, script.path)) {
        VQXALERTprintfFATAL("Fatal error: reached end of line or end of file while parsing pathname for SCR "
                            "command %s; cannot continue",
                            buttonOf(action));
        return nullptr;
    }
    makeScriptSpec(script);
    if (!scanRepeat(stream, action, VQXALERTprintfFATAL, scriptRepeatMessages))
        return nullptr;
    script.type = kAppleEventType;
    if (showParsedCommands)
        BUGprintf("PARSE[%s SCR %s]", script.name, script.path);
    return action;
}

ActionRecord *parseLaunchEvent(FILE *stream, ActionRecord *action)
{
    LaunchEvent &launch = action->theEvent.launch;
    if (!parseQuotedString(stream, launch.path))
        VQXALERTprintfFATAL("Reached end of line or end of file while parsing pathname for LAUNCH command %s",
                            buttonOf(action));
    if (!scanRepeat(stream, action, VQXALERTprintfFATAL, launchRepeatMessages))
        return nullptr;
    launch.type = kLaunchEventType;
    if (showParsedCommands)
        BUGprintf("PARSE[%s LAUNCH %s]", launch.name, launch.path);
    return action;
}

ActionRecord *parseSysVolumeEvent(FILE *stream, ActionRecord *action)
{
    SysVolumeEvent &vol = action->theEvent.sysVolume;
    if (fscanf(stream, "%31s", vol.subtypeText) != 1) {
        vol.subtypeText[0] = '\0';
        VQXALERTprintfFATAL("Fatal error: bad volume sub type for VOL command %s; cannot continue...",
                            buttonOf(action));
    }
    static const char *const subtypes[] = {"SET", "CHG", "MUTE", "FADE"};
    vol.subtype = 0;
    for (int i = 0; i < 4; i++)
        if (strcmp(vol.subtypeText, subtypes[i]) == 0)
            vol.subtype = i + 1;
    if (vol.subtype == 0) {
        VQXALERTprintfFATAL("Fatal error: unrecognized volume subtype for VOL command %s; cannot continue...",
                            buttonOf(action));
        return nullptr;
    }
    if (!scanDecimal(stream, &vol.value, action, VQXALERTprintfFATAL,
                     "Fatal error: bad value for VOL command %s; cannot continue..."))
        return nullptr;
    if (!scanRepeat(stream, action, VQXALERTprintfFATAL, volumeRepeatMessages))
        return nullptr;
    if (!scanDecimal(stream, &vol.unMute, action, VQXALERTprintfFATAL, "bad unMute for VOL command %s"))
        return nullptr;
    if (!scanDecimal(stream, &vol.fadeType, action, VQXALERTprintfFATAL, "bad fadeType for VOL command %s"))
        return nullptr;
    vol.type = kSysVolumeEventType;
    if (showParsedCommands)
        BUGprintf("PARSE[%s VOL %s %d]", vol.name, vol.subtypeText, vol.value);
    return action;
}

ActionRecord *parseTextStringEvent(FILE *stream, ActionRecord *action)
{
    TextStringEvent &txt = action->theEvent.textString;
    int length;
    // A missing or negative length has no message of its own: the action is dropped and the
    // reader's alert for a failed action says so.
    if (fscanf(stream, "%d", &length) != 1 || length < 0)
        return nullptr;
    if (length > kMaxTextLength) {
        VQXALERTprintfFATAL("Length of string for TXT command %s is too long.", buttonOf(action));
        return nullptr;
    }
    int c;
    do {
        c = getc(stream);
    } while (!endOfData(c) && c != '[');
    if (c != '[') {
        VQXALERTprintfFATAL("incorrect delimiter found for TXT command %s", buttonOf(action));
        return nullptr;
    }
    for (int i = 0; i < length; i++) {
        c = getc(stream);
        if (endOfData(c)) {
            VQXALERTprintfFATAL("reached end of file while parsing string for TXT command %s", buttonOf(action));
            return nullptr;
        }
        txt.text[i] = (char)c;
    }
    txt.text[length] = '\0';
    const char *converted = convertTextStringInt(txt.text);
    if (!converted) {
        BUGprintf("Orvenda VQX ERROR: bad escape in text [%s] of TXT command %s", txt.text, txt.name);
        return nullptr;
    }
    snprintf(txt.convertedText, sizeof txt.convertedText, "%s", converted);
    txt.type = kTextStringEventType;
    if (showParsedCommands)
        BUGprintf("PARSE[%s TXT %s %d]", txt.name, txt.text, length);
    return action;
}

ActionRecord *parseMapSwitchEvent(FILE *stream, ActionRecord *action)
{
    (void)stream;
    (void)action;
    VQXALERTprintfFATAL("Map Switch not supported (invalid mapping file)");
    return nullptr;
}
