// Feeds any bytes to the infrared decoder: the first bytes make a remote (bit time, buttons and
// their tokens), the rest are pulses, spaces, wake-ups and releases. The events must always make
// sense: a press only with nothing down, a release only of the button down, nothing in the future.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "mapper/decode.h"

namespace {

struct Reader {
    const uint8_t *data;
    size_t size;
    size_t pos = 0;
    uint32_t byte() { return pos < size ? data[pos++] : 0; }
    uint32_t u16() { return byte() << 8 | byte(); }
    uint32_t u32() { return u16() << 16 | u16(); }
};

int held = -1;
int64_t lastTime = INT64_MIN;

void check(const MTABtable &t, const std::vector<DECevent> &events, size_t from, int64_t now)
{
    for (size_t i = from; i < events.size(); i++) {
        const DECevent &e = events[i];
        if (e.button < 0 || (size_t)e.button >= t.buttons.size())
            abort();
        if (e.time > now || e.time < lastTime)
            abort();
        lastTime = e.time;
        if (e.kind == DECevent::PRESS) {
            if (held != -1)
                abort();
            held = e.button;
        } else {
            if (held != e.button)
                abort();
            held = -1;
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Reader in { data, size };
    MTABtable t;
    uint32_t shape = in.byte();
    t.frequency = (shape & 1) ? 0 : 38000;
    t.bitTime = (shape & 2) ? (int32_t)in.u32() : (int32_t)(in.u16() % 2000);
    uint32_t buttons = in.byte() % 9;
    for (uint32_t b = 0; b < buttons; b++) {
        MTABbutton button;
        uint32_t tokens = in.byte() % 12;
        for (uint32_t k = 0; k < tokens; k++)
            button.tokens.push_back((uint16_t)in.u16());
        t.buttons.push_back(button);
    }
    int64_t releaseAfter = (shape & 4) ? (int64_t)in.u32() - 1000 : 160000;

    DECdecoder d;
    DECinit(&d, t, releaseAfter);
    held = -1;
    lastTime = INT64_MIN;
    std::vector<DECevent> events;
    int64_t now = (shape & 8) ? INT64_MAX - 50000000 : 0;
    while (in.pos < in.size) {
        uint32_t op = in.byte();
        size_t before = events.size();
        switch (op & 7) {
        case 0:
        case 1:
        case 2:
        case 3: {
            uint32_t duration = (op & 8) ? in.u32() : in.u16();
            int64_t step = duration > 100000000 ? 100000000 : duration;
            now = now > INT64_MAX - step ? INT64_MAX : now + step;
            DECfeed(&d, (op & 1) != 0, duration, now, &events);
            break;
        }
        case 4: {
            int64_t deadline = DECdeadline(&d);
            if (deadline != INT64_MAX && deadline > now)
                now = deadline;
            DECexpire(&d, now, &events);
            if (DECdeadline(&d) <= now && now != INT64_MAX)
                abort();
            break;
        }
        case 5:
            DECreleaseHeld(&d, now, &events);
            if (DECheld(&d) != -1 || DECdeadline(&d) != INT64_MAX)
                abort();
            break;
        case 6:
            DECcarrierHint(&d, in.u32());
            break;
        default:
            now = now > INT64_MAX - 255 ? INT64_MAX : now + in.byte();
            break;
        }
        check(t, events, before, now);
        if (DECheld(&d) != held)
            abort();
        if (t.bitTime <= 0 && !events.empty())
            abort(); // a remote without timings decodes nothing
    }
    return 0;
}
