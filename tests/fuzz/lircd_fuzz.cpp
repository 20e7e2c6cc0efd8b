// Feeds any bytes as lircd's socket stream: cut into pieces at places the first byte chooses, the
// lines must come out the same as from one piece, each a well-formed press, and the hold fed with
// them must press and release in turn, never in the future, never keeping a line past the limit.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "mapper/lircd.h"

static void checkLine(const LRCline &l)
{
    if (l.button.empty() || l.remote.empty() || l.button.size() > LRC_MAX_LINE)
        abort();
    for (const std::string *name : { &l.button, &l.remote })
        for (char c : *name)
            if ((unsigned char)c <= ' ' || c == 0x7f)
                abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    size_t step = data[0] % 17 + 1;
    const char *text = reinterpret_cast<const char *>(data + 1);
    size_t length = size - 1;

    LRCparser whole;
    std::vector<LRCline> once;
    LRCfeed(&whole, text, length, &once);

    LRCparser pieces;
    std::vector<LRCline> split;
    for (size_t at = 0; at < length; at += step) {
        LRCfeed(&pieces, text + at, length - at < step ? length - at : step, &split);
        if (pieces.partial.size() > LRC_MAX_LINE)
            abort();
    }
    if (once.size() != split.size() || whole.refused != pieces.refused)
        abort();

    LRChold hold;
    hold.releaseAfterUs = 1000 + data[0] * 1000;
    std::vector<LRCedge> edges;
    int64_t now = 0;
    for (size_t i = 0; i < once.size(); i++) {
        const LRCline &l = once[i];
        checkLine(l);
        if (l.code != split[i].code || l.repeat != split[i].repeat || l.button != split[i].button
            || l.remote != split[i].remote)
            abort();
        now += (int64_t)(l.code % 300000);
        LRChear(&hold, l, now, &edges);
    }
    LRCexpire(&hold, INT64_MAX, &edges);
    bool down = false;
    int64_t last = 0;
    for (const LRCedge &e : edges) {
        if (e.down == down || e.time < last || e.time > now + hold.releaseAfterUs)
            abort();
        down = e.down;
        last = e.time;
    }
    if (down || LRCdeadline(&hold) != INT64_MAX)
        abort();
    return 0;
}
