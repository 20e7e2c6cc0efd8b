// Splits a byte stream into white-space-delimited tokens of at most 30 characters, reports line
// ends as results of their own, and classifies each token; plus the indexed message strings.
#include "mapping/tokens.h"

#include <cctype>
#include <cstring>

#include "platform/resfile.h"

int lastWasEol = 0;            // the last token ended at a line end not yet reported
static char string[256];       // getstring's result
static unsigned char pstring[256]; // getpstring's result

int getChar(FILE *stream)
{
    int c = getc_unlocked(stream); // the program reads its files on one thread
    if (c == EOF)
        return UTIL_EOF;
    if (c == 10 || c == 13)
        return UTIL_EOL;
    return c;
}

int UTILgetDelimitedString(FILE *stream, char *buf, int spaceDelimited)
{
    if (lastWasEol) {
        lastWasEol = 0;
        buf[0] = '\0';
        return UTIL_EOL;
    }
    int c;
    for (;;) {
        c = getChar(stream);
        if (c == UTIL_EOF || c == UTIL_EOL) {
            lastWasEol = 0;
            return c;
        }
        if (isprint(c) && !isspace(c))
            break;
    }
    int kind = 3; // 2: no decimal digit so far; 1: no non-hex letter so far
    int len = 0;
    for (;;) {
        if (isdigit(c))
            kind &= ~2;
        if (isalnum(c) && !ishexchar(c))
            kind &= ~1;
        buf[len++] = (char)c;
        if (len > 29) {
            buf[len] = '\0';
            return kind;
        }
        c = getChar(stream);
        if (c == UTIL_EOL) {
            lastWasEol = 1;
            buf[len] = '\0';
            return kind;
        }
        if (c == UTIL_EOF) {
            lastWasEol = 0;
            buf[len] = '\0';
            return kind;
        }
        if (isspace(c) && spaceDelimited) {
            lastWasEol = 0;
            buf[len] = '\0';
            return kind;
        }
    }
}

int UTILgetSpaceDelimitedString(FILE *stream, char *buf)
{
    return UTILgetDelimitedString(stream, buf, 1);
}

int UTILgetEOLDelimitedString(char *buf, int max, FILE *stream)
{
    int c;
    for (;;) {
        c = getChar(stream);
        if (c == UTIL_EOF || c == UTIL_EOL)
            return c;
        if (isprint(c) && !isspace(c))
            break;
    }
    int len = 0;
    while (c >= 0) {
        buf[len++] = (char)c;
        if (len >= max)
            break;
        c = getChar(stream);
    }
    buf[len] = '\0';
    return c;
}

void UTILcleanStr(char *s)
{
    size_t len = strlen(s);
    size_t start = 0;
    while (start < len && isspace((unsigned char)s[start]))
        start++;
    memmove(s, s + start, len - start + 1);
    len -= start;
    while (len > 0 && isspace((unsigned char)s[len - 1]))
        s[--len] = '\0';
}

int ishexchar(int c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

char hexChar(int value)
{
    return "0123456789abcdef"[value & 15];
}

char *getstring(int listId, int index)
{
    unsigned char p[256];
    GetIndString(p, listId, index);
    if (p[0] == 0) {
        snprintf(string, sizeof string, "Can't find text for Error (STR#, %d) Index %d ", listId, index);
        return string;
    }
    memcpy(string, p + 1, p[0]);
    string[p[0]] = '\0';
    return string;
}

unsigned char *getpstring(int listId, int index)
{
    GetIndString(pstring, listId, index);
    if (pstring[0] != 0)
        return pstring;
    snprintf(string, sizeof string, "Can't find text for Error (STR#, %d) Index %d ", listId, index);
    size_t len = strlen(string);
    memmove(string + 1, string, len);
    string[0] = (char)len;
    return (unsigned char *)string;
}
