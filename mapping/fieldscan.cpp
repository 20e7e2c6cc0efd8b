// Hand-written equivalents of the formatted scans of "%d", "%x" and "%Ns" on a stream.
#include "mapping/fieldscan.h"

// The white space of the standard classification in the default locale.
static bool isSpace(int c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

static int skipSpace(FILE *stream)
{
    int c;
    do {
        c = getc_unlocked(stream);
    } while (isSpace(c));
    return c;
}

static int digitValue(int c, int base)
{
    int v = -1;
    if (c >= '0' && c <= '9')
        v = c - '0';
    else if (c >= 'a' && c <= 'f')
        v = c - 'a' + 10;
    else if (c >= 'A' && c <= 'F')
        v = c - 'A' + 10;
    return v < base ? v : -1;
}

// Digits of the given base after an optional sign; the first byte is c. A sign with no digit
// behind it is consumed, as the standard scan does.
static int scanNumber(FILE *stream, int c, int base, uint32_t *value)
{
    bool negative = false;
    if (c == '-' || c == '+') {
        negative = c == '-';
        c = getc_unlocked(stream);
    }
    uint32_t result = 0;
    bool any = false;
    if (base == 16 && c == '0') {
        any = true;
        c = getc_unlocked(stream);
        if (c == 'x' || c == 'X')
            c = getc_unlocked(stream);
    }
    int d;
    while ((d = digitValue(c, base)) >= 0) {
        result = result * (uint32_t)base + (uint32_t)d;
        any = true;
        c = getc_unlocked(stream);
    }
    if (c != EOF)
        ungetc(c, stream);
    if (!any)
        return 0;
    *value = negative ? 0u - result : result;
    return 1;
}

int SCANdecimal(FILE *stream, int32_t *value)
{
    uint32_t v;
    if (!scanNumber(stream, skipSpace(stream), 10, &v))
        return 0;
    *value = (int32_t)v;
    return 1;
}

int SCANhex(FILE *stream, uint32_t *value)
{
    return scanNumber(stream, skipSpace(stream), 16, value);
}

int SCANword(FILE *stream, char *buffer, int size)
{
    int c = skipSpace(stream);
    if (c == EOF)
        return 0;
    int len = 0;
    while (c != EOF && !isSpace(c) && len < size - 1) {
        buffer[len++] = (char)c;
        if (len < size - 1)
            c = getc_unlocked(stream);
    }
    if (len < size - 1 && c != EOF)
        ungetc(c, stream);
    buffer[len] = '\0';
    return 1;
}
