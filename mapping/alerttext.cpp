// File data inside alert texts: "%" doubled for the second expansion of the fatal-style alerts.
#include "mapping/alerttext.h"

static char escaped[2 * 1024 + 1]; // the last escaped text

const char *MAPalertArg(const char *text)
{
    int out = 0;
    for (int in = 0; text[in] != '\0' && in < 1023; in++) {
        if (text[in] == '%')
            escaped[out++] = '%';
        escaped[out++] = text[in];
    }
    escaped[out] = '\0';
    return escaped;
}
