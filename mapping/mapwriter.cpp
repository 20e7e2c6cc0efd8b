// Writes the model back to a mapping file, all or nothing, and resolves the escapes of
// text-string actions.
#include <cstdint>
#include <cstring>

#include "mapping/alerttext.h"
#include "mapping/mapfile.h"
#include "shell/diagnostics.h"
#include "shell/files.h"

int writeMapFile(const char *name)
{
    VQXSAVE save;
    FILE *stream = VQXFILESbeginSave(name, &save);
    if (!stream) {
        VQXALERTprintfFATAL("unable to open %s for writing", MAPalertArg(name));
        return -1;
    }
    fprintf(stream, "%s %d\n", "MAPVER", mapfileVersion);
    for (int i = 0; i < numApplications && i < kMaxApplications; i++) {
        ApplicationRecord *appl = &theActionByApplList[i];
        if (appl->name[0] == '\0')
            fprintf(stream, "\n%s\n\n", "DEFAULT");
        else
            fprintf(stream, "\n%s %s\n\n", "APPL", appl->name);
        if (appl->disabled)
            fprintf(stream, "%s\n", "DIS");
        for (ActionRecord *action = appl->first; action; action = action->next)
            writeAction(stream, action);
    }
    // A failed write leaves the working file as it was; the caller reports it.
    if (ferror(stream)) {
        VQXFILESabortSave(&save);
        return -1;
    }
    if (VQXFILEScommitSave(&save) != 0)
        return -1;
    mapFileChanged = 0;
    return 0;
}

// One line being built. The fields are formatted here, giving the same bytes as the printf
// conversion named beside each use, because formatting is most of a save's time.
namespace {
struct Line {
    char text[1400];
    int len = 0;

    void ch(char c)
    {
        if (len < (int)sizeof text)
            text[len++] = c;
    }
    void str(const char *s) // "%s"
    {
        while (*s)
            ch(*s++);
    }
    void left(const char *s, int width) // "%-<width>s"
    {
        int start = len;
        str(s);
        while (len - start < width)
            ch(' ');
    }
    void dec(int32_t value, int width) // "%<width>d"
    {
        char digits[12];
        int n = 0;
        int64_t v = value;
        uint64_t magnitude = v < 0 ? (uint64_t)(-v) : (uint64_t)v;
        do {
            digits[n++] = (char)('0' + magnitude % 10);
            magnitude /= 10;
        } while (magnitude);
        if (v < 0)
            digits[n++] = '-';
        for (int pad = n; pad < width; pad++)
            ch(' ');
        while (n)
            ch(digits[--n]);
    }
    void hex(uint32_t value, int width) // "%0<width>x"
    {
        char digits[8];
        int n = 0;
        do {
            digits[n++] = "0123456789abcdef"[value & 15];
            value >>= 4;
        } while (value);
        for (int pad = n; pad < width; pad++)
            ch('0');
        while (n)
            ch(digits[--n]);
    }
    // " %3d %3d %2d %d": delay, rate1, reps, rate2.
    void repeat(const EventCommon &e)
    {
        ch(' ');
        dec(e.delay, 3);
        ch(' ');
        dec(e.rate1, 3);
        ch(' ');
        dec(e.reps, 2);
        ch(' ');
        dec(e.rate2, 0);
    }
    // "%s %-11s ": "ACT" and the button name.
    void start(const char *name)
    {
        str("ACT ");
        left(name, 11);
        ch(' ');
    }
    void put(FILE *stream) const { fwrite(text, 1, (size_t)len, stream); }
};
} // namespace

// "%s %-11s KEY %08x %04x %3d %3d %2d %d": "ACT", name, message, modifiers, delay, rate1, reps, rate2
static void keyBody(Line &line, const ActionRecord *action)
{
    const KeyEvent &key = action->theEvent.key;
    line.start(key.name);
    line.str("KEY ");
    line.hex(key.message, 8);
    line.ch(' ');
    line.hex(key.modifiers, 4);
    line.repeat(action->theEvent.common);
}

// "%s %-11s %s %08x %3d %3d %2d %d": "ACT", name, "MOU", message, delay, rate1, reps, rate2
static void mouseBody(Line &line, const ActionRecord *action)
{
    const MouseEvent &mouse = action->theEvent.mouse;
    line.start(mouse.name);
    line.str("MOU ");
    line.hex(mouse.message, 8);
    line.repeat(action->theEvent.common);
}

// "%s %-11s SCR \"%s\" %3d %3d %2d %d" and "%s %-11s LAUNCH \"%s\" %3d %3d %2d %d": "ACT", name,
// path, delay, rate1, reps, rate2
static void pathBody(Line &line, const ActionRecord *action, const char *keyword, const char *path)
{
    line.start(action->theEvent.common.name);
    line.str(keyword);
    line.str(" \"");
    line.str(path);
    line.ch('"');
    line.repeat(action->theEvent.common);
}

static void scriptBody(Line &line, const ActionRecord *action)
{
    pathBody(line, action, "SCR", action->theEvent.script.path);
}

static void launchBody(Line &line, const ActionRecord *action)
{
    pathBody(line, action, "LAUNCH", action->theEvent.launch.path);
}

// "%s %-11s VOL %s %d %3d %3d %2d %d %d %d": "ACT", name, subtype text, value, delay, rate1, reps,
// rate2, unMute, fadeType. The subtype text follows the code first; the model is repaired along
// the way.
static void volumeBody(Line &line, ActionRecord *action)
{
    SysVolumeEvent &vol = action->theEvent.sysVolume;
    static const char *const subtypes[] = { "SET", "CHG", "MUTE", "FADE" };
    if (vol.subtype >= kSysVolSet && vol.subtype <= kSysVolFade)
        snprintf(vol.subtypeText, sizeof vol.subtypeText, "%s", subtypes[vol.subtype - 1]);
    line.start(vol.name);
    line.str("VOL ");
    line.str(vol.subtypeText);
    line.ch(' ');
    line.dec(vol.value, 0);
    line.repeat(action->theEvent.common);
    line.ch(' ');
    line.dec(vol.unMute, 0);
    line.ch(' ');
    line.dec(vol.fadeType, 0);
}

// "%s %-11s TXT %d [%s": "ACT", name, length of the raw text, raw text. No closing bracket: the
// length tells the reader where the text ends, and the text is written as typed.
static void textBody(Line &line, const ActionRecord *action)
{
    const TextStringEvent &txt = action->theEvent.textString;
    line.start(txt.name);
    line.str("TXT ");
    line.dec((int32_t)strlen(txt.text), 0);
    line.str(" [");
    line.str(txt.text);
}

// "%s %-11s NO_ACTION": "ACT", name
static void noActionBody(Line &line, const ActionRecord *action)
{
    line.start(action->theEvent.common.name);
    line.str("NO_ACTION");
}

static void body(Line &line, ActionRecord *action)
{
    switch (action->theEvent.common.type) {
    case kKeyEventType:
        keyBody(line, action);
        break;
    case kMouseEventType:
        mouseBody(line, action);
        break;
    case kAppleEventType:
        scriptBody(line, action);
        break;
    case kLaunchEventType:
        launchBody(line, action);
        break;
    case kSysVolumeEventType:
        volumeBody(line, action);
        break;
    case kTextStringEventType:
        textBody(line, action);
        break;
    case kNoActionEventType:
        noActionBody(line, action);
        break;
    default:
        break; // another type writes no body, only the flags and the line end
    }
}

void writeAction(FILE *stream, ActionRecord *action)
{
    Line line;
    body(line, action);
    if (action->disabled)
        line.str(" DIS");
    if (action->override)
        line.str(" OVR");
    line.ch('\n');
    line.put(stream);
}

// One body written on its own, without the flags and the line end.
static void writeWith(FILE *stream, const ActionRecord *action, void (*fill)(Line &, const ActionRecord *))
{
    Line line;
    fill(line, action);
    line.put(stream);
}

void writeKeyEvent(FILE *stream, const ActionRecord *action)
{
    writeWith(stream, action, keyBody);
}

void writeMouseEvent(FILE *stream, const ActionRecord *action)
{
    writeWith(stream, action, mouseBody);
}

void writeAppleEvent(FILE *stream, const ActionRecord *action)
{
    writeWith(stream, action, scriptBody);
}

void writeLaunchEvent(FILE *stream, const ActionRecord *action)
{
    writeWith(stream, action, launchBody);
}

void writeSysVolumeEvent(FILE *stream, ActionRecord *action)
{
    Line line;
    volumeBody(line, action);
    line.put(stream);
}

void writeTextStringEvent(FILE *stream, const ActionRecord *action)
{
    writeWith(stream, action, textBody);
}

void writeNoActionEvent(FILE *stream, const ActionRecord *action)
{
    writeWith(stream, action, noActionBody);
}

int hexDigit(int c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

char *convertTextStringInt(const char *text)
{
    static char converted[256];
    int out = 0;
    size_t i = 0;
    while (text[i] != '\0' && out < 255) {
        if (text[i] != '\\') {
            converted[out++] = text[i++];
            continue;
        }
        char escape = text[i + 1];
        if (escape == '\0')
            break; // a backslash at the very end is dropped
        if (escape == 't') {
            converted[out++] = '\t';
        } else if (escape == '\\') {
            converted[out++] = '\\';
        } else if (escape == 'n') {
            converted[out++] = '\r'; // a carriage return, on purpose
        } else if (escape == 'x') {
            if (text[i + 2] == '\0')
                break; // "\x" at the very end is dropped
            int high = hexDigit((unsigned char)text[i + 2]);
            if (high < 0)
                return nullptr;
            if (text[i + 3] == '\0')
                break; // one digit at the very end is dropped too
            int low = hexDigit((unsigned char)text[i + 3]);
            if (low < 0 || high * 16 + low == 0)
                return nullptr;
            converted[out++] = (char)(high * 16 + low);
            i += 2;
        } else {
            return nullptr;
        }
        i += 2;
    }
    converted[out] = '\0';
    return converted;
}
