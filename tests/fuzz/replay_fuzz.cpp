// Feeds any bytes as replay text, line by line, to both line readers, checks that they agree and
// that every sample is in range, and plays the samples into a decoder of a small remote.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "mapper/decode.h"
#include "mapper/samples.h"

static MTABtable smallRemote()
{
    MTABtable t;
    t.frequency = 38000;
    t.bitTime = 562;
    t.buttons.push_back(MTABbutton { "Short", { 0x1008, 0x0103, 0x0101, 0x0128 } });
    t.buttons.push_back(MTABbutton { "Long", { 0x1008, 0x0103, 0x0101, 0x0103, 0x0101, 0x0128 } });
    t.buttons.push_back(MTABbutton { "Other", { 0x0201, 0x0102, 0x0164 } });
    return t;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const MTABtable remote = smallRemote();
    DECdecoder d;
    DECinit(&d, remote);
    std::vector<DECevent> events;
    int64_t now = 0;
    const char *text = reinterpret_cast<const char *>(data);
    size_t start = 0;
    while (start <= size) {
        size_t end = start;
        while (end < size && text[end] != '\n')
            end++;
        const char *line = text + start;
        size_t length = end - start;

        SMPsample one { SMP_UNKNOWN, 0 };
        std::string oneError;
        int r = SMPparseLine(line, length, &one, &oneError);
        std::vector<SMPsample> all;
        std::string allError;
        int n = SMPparseSamples(line, length, &all, &allError);
        if (r < -1 || r > 1 || n < -1 || (n >= 0 && (size_t)n != all.size()))
            abort();
        if ((r == -1) != (n == -1 || n > 1) || (r == 0) != (n == 0) || (r == -1) == oneError.empty())
            abort();
        if ((n == -1) == allError.empty())
            abort();
        if (r == 1 && (one.kind != all[0].kind || one.value != all[0].value))
            abort();
        for (const SMPsample &s : all) {
            if (s.value < 1 || s.value > SMP_MAX_VALUE)
                abort();
            SMPsample back = SMPfromWord(SMPtoWord(s));
            if (back.kind != s.kind || back.value != s.value)
                abort();
            if (s.kind == SMP_PULSE || s.kind == SMP_SPACE) {
                now += s.value;
                DECfeed(&d, s.kind == SMP_PULSE, s.value, now, &events);
            } else if (s.kind == SMP_FREQUENCY) {
                DECcarrierHint(&d, s.value);
            }
        }
        start = end + 1;
    }
    DECexpire(&d, now + 10000000, &events);
    if (DECheld(&d) != -1)
        abort();
    int down = -1;
    for (const DECevent &e : events) {
        if (e.button < 0 || e.button > 2 || (e.kind == DECevent::PRESS) != (down == -1))
            abort();
        down = e.kind == DECevent::PRESS ? e.button : -1;
    }
    return 0;
}
