// The mapping (.map) file: its reader, which builds the model of mapping/model.h, its writer, and
// the escape conversion of text-string actions shared with the editor's text page.
#ifndef VQX_MAPPING_MAPFILE_H
#define VQX_MAPPING_MAPFILE_H

#include <cstdio>

#include "mapping/model.h"

#define VQX_DEFAULT_APPL_NAME "// : default : \\"
#define VQX_GLOBAL_APPL_NAME "*GLOBAL*"

enum {
    kMapErrorTableFull = 2,  // mapFileError: application table full
    kMapErrorNoRemote = 3,   // no remote file named after REM
    kMapErrorBadMapping = 4, // an action could not be parsed
    kMaxTextLength = 32      // longest TXT text
};

// Reading.
int readMapAndRemFiles(void);
int changeMapFile(const char *name);
int parseMapFile(const char *name);
void evaluateSds(FILE *stream, char *token);
ActionRecord *APPLparseActionMapping(FILE *stream);
ActionRecord *parseKeyEvent(FILE *stream, ActionRecord *action);
ActionRecord *parseMouseEvent(FILE *stream, ActionRecord *action);
ActionRecord *parseAppleEvent(FILE *stream, ActionRecord *action);
ActionRecord *parseLaunchEvent(FILE *stream, ActionRecord *action);
ActionRecord *parseSysVolumeEvent(FILE *stream, ActionRecord *action);
ActionRecord *parseTextStringEvent(FILE *stream, ActionRecord *action);
ActionRecord *parseMapSwitchEvent(FILE *stream, ActionRecord *action);
// Reads a double-quoted string into buffer (1024 bytes; a longer string is cut at 1023); 1 or 0.
int parseQuotedString(FILE *stream, char *buffer);

// Writing.
int writeMapFile(const char *name);
void writeAction(FILE *stream, ActionRecord *action);
void writeKeyEvent(FILE *stream, const ActionRecord *action);
void writeMouseEvent(FILE *stream, const ActionRecord *action);
void writeAppleEvent(FILE *stream, const ActionRecord *action);
void writeLaunchEvent(FILE *stream, const ActionRecord *action);
void writeSysVolumeEvent(FILE *stream, ActionRecord *action);
void writeTextStringEvent(FILE *stream, const ActionRecord *action);
void writeNoActionEvent(FILE *stream, const ActionRecord *action);

// Escapes of a TXT text resolved into a 256-byte static buffer (at most 255 characters are
// produced), or none when the text holds a bad escape.
char *convertTextStringInt(const char *text);
int hexDigit(int c);

#endif
