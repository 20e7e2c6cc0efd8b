// LIRC_MODE2 words and the replay text of `mode2` and `ir-ctl -r`: one sample per word, and
// one or more samples per line of text, read without trusting a single byte of it.
#include "mapper/samples.h"

#include <cstring>

SMPsample SMPfromWord(uint32_t word)
{
    SMPsample s;
    s.value = word & SMP_MAX_VALUE;
    switch (word >> 24) {
    case 0x00:
        s.kind = SMP_SPACE;
        break;
    case 0x01:
        s.kind = SMP_PULSE;
        break;
    case 0x02:
        s.kind = SMP_FREQUENCY;
        break;
    case 0x03:
        s.kind = SMP_TIMEOUT;
        break;
    case 0x04:
        s.kind = SMP_OVERFLOW;
        break;
    default:
        s.kind = SMP_UNKNOWN;
        break;
    }
    return s;
}

uint32_t SMPtoWord(const SMPsample &s)
{
    uint32_t type = 0xFF;
    switch (s.kind) {
    case SMP_SPACE:
        type = 0x00;
        break;
    case SMP_PULSE:
        type = 0x01;
        break;
    case SMP_FREQUENCY:
        type = 0x02;
        break;
    case SMP_TIMEOUT:
        type = 0x03;
        break;
    case SMP_OVERFLOW:
        type = 0x04;
        break;
    case SMP_UNKNOWN:
        break;
    }
    uint32_t value = s.value > SMP_MAX_VALUE ? SMP_MAX_VALUE : s.value;
    return (type << 24) | value;
}

static bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

// The text of a token for an error message: at most 16 bytes, anything unprintable as '?'.
static std::string shown(const char *p, size_t n)
{
    std::string text;
    for (size_t i = 0; i < n && i < 16; i++) {
        unsigned char c = (unsigned char)p[i];
        text += (c >= 0x20 && c < 0x7F) ? (char)c : '?';
    }
    if (n > 16)
        text += "...";
    return text;
}

static bool wordIs(const char *p, size_t n, const char *word)
{
    if (n != strlen(word))
        return false;
    for (size_t i = 0; i < n; i++) {
        char c = p[i];
        if (c >= 'A' && c <= 'Z')
            c = (char)(c - 'A' + 'a');
        if (c != word[i])
            return false;
    }
    return true;
}

// Reads the number token [p, p+n) (non-empty, no blanks). Returns false with *error set.
static bool readNumber(const char *p, size_t n, uint32_t *value, std::string *error)
{
    if (p[0] == '-' && n > 1 && p[1] >= '0' && p[1] <= '9') {
        *error = "negative number";
        return false;
    }
    uint64_t v = 0;
    for (size_t i = 0; i < n; i++) {
        if (p[i] < '0' || p[i] > '9') {
            *error = "not a number: " + shown(p, n);
            return false;
        }
        if (v <= SMP_MAX_VALUE)
            v = v * 10 + (uint64_t)(p[i] - '0');
    }
    if (v < 1 || v > SMP_MAX_VALUE) {
        *error = "number out of range 1..16777215";
        return false;
    }
    *value = (uint32_t)v;
    return true;
}

int SMPparseSamples(const char *line, size_t length, std::vector<SMPsample> *out, std::string *error)
{
    std::vector<SMPsample> found;
    size_t i = 0;
    if (!line)
        length = 0;
    for (;;) {
        while (i < length && isBlank(line[i]))
            i++;
        if (i >= length || line[i] == '#')
            break;
        size_t start = i;
        while (i < length && !isBlank(line[i]))
            i++;
        const char *tok = line + start;
        size_t n = i - start;
        SMPsample s;
        if (tok[0] == '+' || tok[0] == '-') {
            // ir-ctl's form: the sign gives the kind, the number follows without a blank.
            s.kind = tok[0] == '+' ? SMP_PULSE : SMP_SPACE;
            if (n == 1) {
                *error = "missing number";
                return -1;
            }
            if (!readNumber(tok + 1, n - 1, &s.value, error)) {
                if (tok[1] == '-')
                    *error = "not a number: " + shown(tok, n);
                return -1;
            }
            found.push_back(s);
            continue;
        }
        if (wordIs(tok, n, "pulse"))
            s.kind = SMP_PULSE;
        else if (wordIs(tok, n, "space"))
            s.kind = SMP_SPACE;
        else if (wordIs(tok, n, "timeout"))
            s.kind = SMP_TIMEOUT;
        else if (wordIs(tok, n, "carrier") || wordIs(tok, n, "frequency"))
            s.kind = SMP_FREQUENCY;
        else {
            *error = "unknown word: " + shown(tok, n);
            return -1;
        }
        while (i < length && isBlank(line[i]))
            i++;
        if (i >= length || line[i] == '#') {
            *error = "missing number";
            return -1;
        }
        start = i;
        while (i < length && !isBlank(line[i]))
            i++;
        if (!readNumber(line + start, i - start, &s.value, error))
            return -1;
        found.push_back(s);
    }
    out->insert(out->end(), found.begin(), found.end());
    return (int)found.size();
}

int SMPparseLine(const char *line, size_t length, SMPsample *out, std::string *error)
{
    std::vector<SMPsample> found;
    int n = SMPparseSamples(line, length, &found, error);
    if (n <= 0)
        return n;
    if (n > 1) {
        *error = "several samples on one line";
        return -1;
    }
    *out = found[0];
    return 1;
}
