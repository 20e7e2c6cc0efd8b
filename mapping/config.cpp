// Reads and writes the global configuration file: one keyword and its value a line.
#include "mapping/config.h"

#include <cstdlib>
#include <cstring>

#include "mapping/model.h"
#include "mapping/tokens.h"
#include "shell/diagnostics.h"
#include "shell/files.h"

char mapFileName[33];          // current mapping file name
char remFileName[33];          // current remote description file name
char adapterName[33];          // receiver/adapter interface name, only carried through
int32_t cmdBufMemoryLen = 20000; // bytes of the command buffer
int32_t cfgFormatVersion;      // format version of the file; 0 when absent
int32_t debugToFile;           // "BUG" line present
char *cmdBufMemory;            // the command buffer, allocated after reading

void CFGreset(void)
{
    mapFileName[0] = remFileName[0] = adapterName[0] = '\0';
    cmdBufMemoryLen = 20000;
    cfgFormatVersion = 0;
    debugToFile = 0;
    free(cmdBufMemory);
    cmdBufMemory = nullptr;
}

// Reads the rest of the line (at most max characters) into dest, cleaned; a keyword with no
// value on its line leaves dest as it was.
static void readName(FILE *stream, char *dest, int max)
{
    char value[81];
    value[0] = '\0';
    UTILgetEOLDelimitedString(value, max, stream);
    if (value[0] == '\0')
        return;
    UTILcleanStr(value);
    strcpy(dest, value);
}

static void readNumber(FILE *stream, int32_t *dest)
{
    char value[81];
    value[0] = '\0';
    UTILgetEOLDelimitedString(value, 80, stream);
    if (value[0] == '\0')
        return;
    UTILcleanStr(value);
    int number;
    if (sscanf(value, "%d", &number) == 1)
        *dest = number;
}

void readCfgItem(FILE *stream, char *keyword)
{
    if (strcmp(keyword, "UI") == 0) {
    } else if (strcmp(keyword, "BUG") == 0) {
        debugToFile = 1;
    } else if (strcmp(keyword, "MAP") == 0) {
        readName(stream, mapFileName, 32);
    } else if (strcmp(keyword, "REM") == 0) {
        readName(stream, remFileName, 31);
    } else if (strcmp(keyword, "INT") == 0) {
        readName(stream, adapterName, 32);
    } else if (strcmp(keyword, "CFORMAT") == 0) {
        readNumber(stream, &cfgFormatVersion);
    } else if (strcmp(keyword, "MEM") == 0) {
        readNumber(stream, &cmdBufMemoryLen);
    } else {
        VQXALERTprintfFATAL("Internal error: unsupported item [%s] in readCfgItem(); cannot continue...",
                            keyword);
    }
}

int readGlobalConfiguration(void)
{
    maxNumButtons = 0;
    numButtons = 0;
    cfgFormatVersion = 0;
    remFileName[0] = '\0';
    FILE *stream = VQXFILESopenPrefsFile(VQX_CONFIG_FILE_NAME, "r", 0);
    if (!stream) {
        VQXALERTprintfFATAL("Unable to open (or create) configuration file %s.  Please re-install the "
                            "Orvenda VQX and try again.",
                            VQX_CONFIG_FILE_NAME);
        return -1;
    }
    char keyword[200];
    while (fscanf(stream, "%199s", keyword) == 1) {
        UTILcleanStr(keyword);
        readCfgItem(stream, keyword);
    }
    fclose(stream);
    free(cmdBufMemory);
    cmdBufMemory = cmdBufMemoryLen > 0 ? (char *)malloc((size_t)cmdBufMemoryLen) : nullptr;
    if (!cmdBufMemory) {
        VQXALERTprintfFATAL("Unable to allocate memory for commands");
        return -1;
    }
    return 0;
}

int writeGlobalConfiguration(void)
{
    VQXSAVE save;
    FILE *stream = VQXFILESbeginSave(VQX_CONFIG_FILE_NAME, &save);
    if (!stream) {
        VQXALERTprintfFATAL("Unable to write configuration file [%s]; cannot continue...", VQX_CONFIG_FILE_NAME);
        return -1;
    }
    fprintf(stream, "UI\n");
    if (debugToFile)
        fprintf(stream, "BUG\n");
    fprintf(stream, "MAP %s\n", mapFileName);
    fprintf(stream, "REM %s\n", remFileName);
    fprintf(stream, "INT %s\n", adapterName);
    fprintf(stream, "MEM %d\n", cmdBufMemoryLen);
    if (cfgFormatVersion != 0)
        fprintf(stream, "%s %d\n", "CFORMAT", cfgFormatVersion);
    if (VQXFILEScommitSave(&save) != 0) {
        VQXALERTprintfFATAL("Unable to write configuration file [%s]; cannot continue...", VQX_CONFIG_FILE_NAME);
        return -1;
    }
    return 0;
}
