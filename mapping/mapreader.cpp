// Reads a mapping file into the model: the top-level lines (MAPVER, REM, DEFAULT, APPL, DIS, ACT)
// and the common part of an action line; the fields of each action type are read in actionparse.cpp.
#include <cstdlib>
#include <cstring>

#include "mapping/alerttext.h"
#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "mapping/reconcile.h"
#include "mapping/remote.h"
#include "mapping/tokens.h"
#include "shell/diagnostics.h"
#include "shell/files.h"

int readMapAndRemFiles(void)
{
    freeActionListMemory();
    mapFileChanged = 0;
    if (parseMapFile(mapFileName) != 0)
        return -1;
    if (parseRemFile(remFileName) != 0)
        return -1;
    if (mapfileVersion == 0) {
        fixupOldMapfile();
        reorderAllButtons();
        mapfileVersion = 2;
        mapFileChanged = 1;
    }
    return 0;
}

int changeMapFile(const char *name)
{
    snprintf(mapFileName, sizeof mapFileName, "%s", name);
    writeGlobalConfiguration();
    return readMapAndRemFiles();
}

// The next free slot as a new, empty, enabled entry, made the current one. The name is left as
// the slot held it.
static ApplicationRecord *newEntry(void)
{
    ApplicationRecord *appl = &theActionByApplList[numApplications++];
    appl->first = appl->last = nullptr;
    appl->disabled = 0;
    theCurrentAppl = appl;
    return appl;
}

static int tableIsFull(void)
{
    if (numApplications < kMaxApplications)
        return 0;
    VQXALERTprintfFATAL("Fatal error: application table full; cannot continue...");
    mapFileError = kMapErrorTableFull;
    return 1;
}

// "%d" of one token into dest; dest is left alone when the token does not scan.
static void scanDecimalToken(const char *token, int32_t *dest)
{
    char *end;
    long value = strtol(token, &end, 10);
    if (end != token)
        *dest = (int32_t)value;
}

static void readRemLine(FILE *stream)
{
    char value[32];
    value[0] = '\0';
    if (UTILgetSpaceDelimitedString(stream, value) < 0) {
        VQXALERTprintfFATAL("Fatal error: configuration file corrupted (no REM file listed); cannot continue...");
        mapFileError = kMapErrorNoRemote;
        return;
    }
    if (remFileName[0] == '\0') {
        snprintf(remFileName, sizeof remFileName, "%s", value);
        writeGlobalConfiguration();
    }
}

static void readApplLine(FILE *stream)
{
    if (tableIsFull())
        return;
    int first = numApplications == 0;
    ApplicationRecord *appl = newEntry();
    if (first)
        theDefaultAppl = appl;
    char name[32];
    name[0] = '\0';
    UTILgetEOLDelimitedString(name, 31, stream);
    memcpy(appl->name, name, sizeof appl->name);
    if (strcmp(appl->name, VQX_GLOBAL_APPL_NAME) == 0)
        theGlobalAppl = appl;
    numButtons = 0;
    if (showParsedCommands)
        BUGprintf("Application #%d [%s], len:%d", numApplications, appl->name, (int)strlen(appl->name));
}

static void readActLine(FILE *stream)
{
    if (numApplications == 0) {
        // An action before any section opens an entry whose name is deliberately not written.
        theDefaultAppl = newEntry();
    }
    ActionRecord *action = APPLparseActionMapping(stream);
    if (!action) {
        VQXALERTprintfFATAL("Fatal error: no room to parse mapping; cannot continue...");
        mapFileError = kMapErrorBadMapping;
        return;
    }
    addActionToList(theCurrentAppl, action);
}

void evaluateSds(FILE *stream, char *token)
{
    if (strcmp(token, "REM") == 0) {
        readRemLine(stream);
    } else if (strcmp(token, "MAPVER") == 0) {
        char value[32];
        value[0] = '\0';
        UTILgetSpaceDelimitedString(stream, value);
        scanDecimalToken(value, &mapfileVersion);
    } else if (strcmp(token, "DEFAULT") == 0) {
        if (tableIsFull())
            return;
        ApplicationRecord *appl = newEntry();
        snprintf(appl->name, sizeof appl->name, "%s", VQX_DEFAULT_APPL_NAME);
        theDefaultAppl = appl;
        if (showParsedCommands)
            BUGprintf("Application #%d [DEFAULT]", numApplications);
    } else if (strcmp(token, "APPL") == 0) {
        readApplLine(stream);
    } else if (strcmp(token, "DIS") == 0) {
        if (numApplications > 0 && theCurrentAppl)
            theCurrentAppl->disabled = 1;
    } else if (strcmp(token, "ACT") == 0) {
        readActLine(stream);
    } else {
        BUGprintfNR("Orvenda VQX ERROR: unknown token [%s] in .MAP file (", token);
        while (UTILgetSpaceDelimitedString(stream, token) >= 0)
            BUGprintfNR("%s, ", token);
        BUGprintf(")");
    }
}

// The type word of an action line to its variant parser.
struct VariantParser {
    const char *word;
    ActionRecord *(*parse)(FILE *stream, ActionRecord *action);
};

static const VariantParser variantParsers[] = {
    {"KEY", parseKeyEvent},       {"SCR", parseAppleEvent},         {"MOU", parseMouseEvent},
    {"LAUNCH", parseLaunchEvent}, {"MAP", parseMapSwitchEvent},     {"VOL", parseSysVolumeEvent},
    {"TXT", parseTextStringEvent},
};

ActionRecord *APPLparseActionMapping(FILE *stream)
{
    ActionRecord *action = MAPnewAction();
    if (!action) {
        VQXALERTprintfFATAL("Fatal error: unable to allocate memory to parse mapping into; cannot continue...");
        return nullptr;
    }
    char *name = action->theEvent.common.name;
    char typeWord[32];
    if (fscanf(stream, "%31s", name) != 1)
        name[0] = '\0';
    if (fscanf(stream, "%31s", typeWord) != 1)
        typeWord[0] = '\0';

    ActionRecord *parsed = nullptr;
    bool known = false;
    for (const VariantParser &variant : variantParsers) {
        if (strcmp(typeWord, variant.word) == 0) {
            parsed = variant.parse(stream, action);
            known = true;
            break;
        }
    }
    if (!known && strcmp(typeWord, "NO_ACTION") == 0) {
        action->theEvent.common.type = kNoActionEventType;
        if (showParsedCommands)
            BUGprintf("PARSE[%s NO_ACTION]", name);
        parsed = action;
        known = true;
    }
    if (!known) {
        VQXALERTprintfFATAL("Fatal error: unrecognized event type (%s) in mapping file; cannot continue...",
                            MAPalertArg(typeWord));
        free(action);
        return nullptr;
    }

    // The flags: "DIS", then "OVR". A "DIS" after "OVR" is left to the top level, where it
    // disables the whole application.
    char flag[32];
    flag[0] = '\0';
    UTILgetSpaceDelimitedString(stream, flag);
    if (strcmp(flag, "DIS") == 0) {
        action->disabled = 1;
        flag[0] = '\0';
        UTILgetSpaceDelimitedString(stream, flag);
    }
    if (strcmp(flag, "OVR") == 0)
        action->override = 1;

    if (!parsed) {
        free(action);
        return nullptr;
    }
    return action;
}

int parseMapFile(const char *name)
{
    mapfileVersion = 0;
    mapFileError = 0;
    freeActionListMemory();
    theCurrentAppl = theDefaultAppl = theGlobalAppl = nullptr;
    FILE *stream = VQXFILESopenPrefsFile(name, "r", 0);
    if (!stream) {
        VQXALERTprintfFATAL("Fatal error: unable to open MAP file %s for reading; cannot continue...",
                            MAPalertArg(name));
        return -1;
    }
    char token[32];
    int result;
    while ((result = UTILgetSpaceDelimitedString(stream, token)) != UTIL_EOF) {
        if (result != UTIL_EOL)
            evaluateSds(stream, token);
    }
    theCurrentAppl = theDefaultAppl;
    if (!theGlobalAppl) {
        if (numApplications >= kMaxApplications) {
            VQXALERTprintfFATAL("Fatal Error: application Table full; cannot continue...");
            fclose(stream);
            return -1;
        }
        ApplicationRecord *appl = &theActionByApplList[numApplications++];
        snprintf(appl->name, sizeof appl->name, "%s", VQX_GLOBAL_APPL_NAME);
        appl->first = appl->last = nullptr;
        appl->disabled = 0;
        theGlobalAppl = appl;
    }
    fclose(stream);
    return 0;
}
