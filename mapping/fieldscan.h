// The fields of a mapping line, read as the standard formatted scan reads "%d", "%x" and "%Ns":
// white space (line ends included) is skipped first, and the first byte that does not belong to
// the field is left unread. Written out by hand because the reader spends most of its time here.
#ifndef VQX_MAPPING_FIELDSCAN_H
#define VQX_MAPPING_FIELDSCAN_H

#include <cstdint>
#include <cstdio>

// "%d": 1 and the value (wrapping past 32 bits), or 0 when no number is there.
int SCANdecimal(FILE *stream, int32_t *value);
// "%x" (an optional sign and "0x" prefix included): 1 and the value, or 0.
int SCANhex(FILE *stream, uint32_t *value);
// "%Ns" with N = size - 1: 1 and the word in buffer, or 0 at end of file.
int SCANword(FILE *stream, char *buffer, int size);

// Whether s is exactly word; an inline comparison for the short keywords of the format.
inline bool SCANisWord(const char *s, const char *word)
{
    while (*word && *s == *word) {
        s++;
        word++;
    }
    return *s == *word;
}

#endif
