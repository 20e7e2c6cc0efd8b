// Writes the Mapper's log lines to standard error, whole lines at a time.
#include "mapper/log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

int LOGverbose;

static void writeLine(const char *format, va_list args)
{
    char line[1200];
    int used = snprintf(line, sizeof line, "vqx-mapper: ");
    int n = vsnprintf(line + used, sizeof line - (size_t)used - 1, format, args);
    if (n < 0)
        n = 0;
    size_t len
        = (size_t)used + ((size_t)n < sizeof line - (size_t)used - 1 ? (size_t)n : sizeof line - (size_t)used - 2);
    line[len++] = '\n';
    fwrite(line, 1, len, stderr);
    fflush(stderr);
}

void LOGinfo(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    writeLine(format, args);
    va_end(args);
}

void LOGtrace(const char *format, ...)
{
    if (!LOGverbose)
        return;
    va_list args;
    va_start(args, format);
    writeLine(format, args);
    va_end(args);
}

const char *LOGsafe(const char *text, unsigned long length, char *buffer, unsigned long size)
{
    unsigned long out = 0;
    const unsigned long room = size > 8 ? size - 8 : 0; // keeps space for an escape and "..."
    for (unsigned long i = 0; i < length; i++) {
        unsigned char c = (unsigned char)text[i];
        if (out >= room) {
            memcpy(buffer + out, "...", 3);
            out += 3;
            break;
        }
        if (c >= 32 && c < 127 && c != '\\') {
            buffer[out++] = (char)c;
        } else {
            out += (unsigned long)snprintf(buffer + out, size - out, "\\x%02x", c);
        }
    }
    buffer[out < size ? out : size - 1] = '\0';
    return buffer;
}
