// Writes the model back to a mapping file, all or nothing, and resolves the escapes of
// text-string actions.
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

void writeAction(FILE *stream, ActionRecord *action)
{
    switch (action->theEvent.common.type) {
    case kKeyEventType:
        writeKeyEvent(stream, action);
        break;
    case kMouseEventType:
        writeMouseEvent(stream, action);
        break;
    case kAppleEventType:
        writeAppleEvent(stream, action);
        break;
    case kLaunchEventType:
        writeLaunchEvent(stream, action);
        break;
    case kSysVolumeEventType:
        writeSysVolumeEvent(stream, action);
        break;
    case kTextStringEventType:
        writeTextStringEvent(stream, action);
        break;
    case kNoActionEventType:
        writeNoActionEvent(stream, action);
        break;
    default:
        break;
    }
    if (action->disabled)
        fprintf(stream, " %s", "DIS");
    if (action->override)
        fprintf(stream, " %s", "OVR");
    fputc('\n', stream);
}

void writeKeyEvent(FILE *stream, const ActionRecord *action)
{
    const KeyEvent &key = action->theEvent.key;
    fprintf(stream, "%s %-11s KEY %08x %04x %3d %3d %2d %d", "ACT", key.name, key.message, key.modifiers, key.delay,
            key.rate1, key.reps, key.rate2);
}

void writeMouseEvent(FILE *stream, const ActionRecord *action)
{
    const MouseEvent &mouse = action->theEvent.mouse;
    fprintf(stream, "%s %-11s %s %08x %3d %3d %2d %d", "ACT", mouse.name, "MOU", mouse.message, mouse.delay,
            mouse.rate1, mouse.reps, mouse.rate2);
}

void writeAppleEvent(FILE *stream, const ActionRecord *action)
{
    const AppleEventEvent &script = action->theEvent.script;
    fprintf(stream, "%s %-11s SCR \"%s\" %3d %3d %2d %d", "ACT", script.name, script.path, script.delay,
            script.rate1, script.reps, script.rate2);
}

void writeLaunchEvent(FILE *stream, const ActionRecord *action)
{
    const LaunchEvent &launch = action->theEvent.launch;
    fprintf(stream, "%s %-11s LAUNCH \"%s\" %3d %3d %2d %d", "ACT", launch.name, launch.path, launch.delay,
            launch.rate1, launch.reps, launch.rate2);
}

void writeSysVolumeEvent(FILE *stream, ActionRecord *action)
{
    SysVolumeEvent &vol = action->theEvent.sysVolume;
    // The subtype text follows the code; the model is repaired along the way.
    static const char *const subtypes[] = {"SET", "CHG", "MUTE", "FADE"};
    if (vol.subtype >= kSysVolSet && vol.subtype <= kSysVolFade)
        snprintf(vol.subtypeText, sizeof vol.subtypeText, "%s", subtypes[vol.subtype - 1]);
    fprintf(stream, "%s %-11s VOL %s %d %3d %3d %2d %d %d %d", "ACT", vol.name, vol.subtypeText, vol.value,
            vol.delay, vol.rate1, vol.reps, vol.rate2, vol.unMute, vol.fadeType);
}

void writeTextStringEvent(FILE *stream, const ActionRecord *action)
{
    const TextStringEvent &txt = action->theEvent.textString;
    fprintf(stream, "%s %-11s TXT %d [%s", "ACT", txt.name, (int)strlen(txt.text), txt.text);
}

void writeNoActionEvent(FILE *stream, const ActionRecord *action)
{
    fprintf(stream, "%s %-11s NO_ACTION", "ACT", action->theEvent.common.name);
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
