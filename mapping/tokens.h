// The character-level token reader shared by the configuration, remote and mapping readers, the
// small string utilities they share, and the indexed message strings.
#ifndef VQX_MAPPING_TOKENS_H
#define VQX_MAPPING_TOKENS_H

#include <cstdio>

enum {
    UTIL_EOF = -1, // end of file (or a read error)
    UTIL_EOL = -2  // end of line
};

extern int lastWasEol; // a token was ended by a line end, which the next call reports

int getChar(FILE *stream);
int UTILgetDelimitedString(FILE *stream, char *buf, int spaceDelimited);
int UTILgetSpaceDelimitedString(FILE *stream, char *buf);
int UTILgetEOLDelimitedString(char *buf, int max, FILE *stream);
void UTILcleanStr(char *s);
int ishexchar(int c);
char hexChar(int value);
char *getstring(int listId, int index);
unsigned char *getpstring(int listId, int index);

#endif
