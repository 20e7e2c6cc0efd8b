// Feeds any bytes as replay text to the learning steps: presses cut from the samples, paired under
// made-up names, and the remote description made from them; checks the shape of every press, the
// unit chosen and the tokens against the decoder's view of them.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "mapper/decode.h"
#include "mapper/learn.h"
#include "mapper/samples.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const char *text = reinterpret_cast<const char *>(data);
    std::vector<SMPsample> samples;
    size_t start = 0;
    while (start < size) {
        size_t end = start;
        while (end < size && text[end] != '\n')
            end++;
        std::string error;
        SMPparseSamples(text + start, end - start, &samples, &error);
        start = end + 1;
    }
    LRNsplitter splitter;
    std::vector<LRNpress> presses;
    for (size_t i = 0; i < samples.size(); i++) {
        LRNfeed(&splitter, samples[i], &presses);
        // Now and then the wall clock says that time passed without a sample.
        if (samples[i].kind == SMP_TIMEOUT)
            LRNsilence(&splitter, samples[i].value, &presses);
    }
    LRNflush(&splitter, &presses);

    LRNsession session;
    int named = 0;
    for (const LRNpress &p : presses) {
        if (p.durations.empty() || p.durations.size() % 2 != 1 || p.durations.size() > LRN_MAX_DURATIONS + 2)
            abort();
        if (session.current.empty()) {
            std::string name = "B" + std::to_string(named++);
            if (!LRNcheckName(session, name).empty())
                abort();
            LRNbegin(&session, name);
        }
        std::string message;
        LRNverdict v = LRNtake(&session, p, &message);
        if (message.empty() || (v == LRN_RECORDED) != session.current.empty())
            abort();
    }
    std::vector<uint32_t> all;
    for (const LRNbutton &b : session.buttons)
        all.insert(all.end(), b.durations.begin(), b.durations.end());
    int32_t unit = 0;
    bool fits = LRNchooseUnit(all, &unit);
    if (unit < 1)
        abort();
    MTABtable table;
    table.frequency = 38000;
    table.bitTime = unit;
    for (const LRNbutton &b : session.buttons) {
        std::vector<uint16_t> tokens = LRNtokens(b.durations, unit);
        table.buttons.push_back(MTABbutton { b.name, tokens });
        for (uint16_t t : tokens)
            if (fits && ((t >> 8) == 0 || (t & 0xFF) == 0))
                abort(); // within 255 units no half needs to be left empty
    }
    DECdecoder decoder;
    DECinit(&decoder, table);
    for (size_t k = 0; k < session.buttons.size(); k++) {
        const std::vector<uint32_t> &d = session.buttons[k].durations;
        const std::vector<int64_t> &f = decoder.frames[k].durations;
        if (f.size() != d.size())
            abort();
        for (size_t i = 0; i < d.size(); i++) {
            int64_t diff = f[i] - (int64_t)d[i];
            if (diff < 0)
                diff = -diff;
            if (diff * 10 > (int64_t)d[i])
                abort(); // every duration within 10% of what was written for it
        }
    }
    std::string why;
    std::string description = LRNdescribe(session.buttons, LRNcarrier(&splitter), &why);
    if (!session.buttons.empty() && description.empty() && why.empty())
        abort();
    return 0;
}
