// Feeds any bytes as an input event stream, in pieces the first byte chooses: the keys must come
// out the same as from one piece, each with a value of 0, 1 or 2, and no partial record may grow
// past one record.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "mapper/evdev.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    size_t step = data[0] % 53 + 1;
    const unsigned char *bytes = data + 1;
    size_t length = size - 1;

    EVDdecoder whole;
    std::vector<EVDkey> once;
    bool lostOnce = EVDfeed(&whole, bytes, length, &once);

    EVDdecoder pieces;
    std::vector<EVDkey> split;
    bool lostSplit = false;
    for (size_t at = 0; at < length; at += step) {
        lostSplit |= EVDfeed(&pieces, bytes + at, length - at < step ? length - at : step, &split);
        if (pieces.partialLength >= sizeof(struct input_event))
            abort();
    }
    if (once.size() != split.size() || lostOnce != lostSplit || whole.dropped != pieces.dropped
        || whole.partialLength != length % sizeof(struct input_event))
        abort();
    for (size_t i = 0; i < once.size(); i++) {
        if (once[i].value < 0 || once[i].value > 2 || once[i].code < 0 || once[i].code > 0xffff)
            abort();
        if (once[i].code != split[i].code || once[i].value != split[i].value)
            abort();
    }
    return 0;
}
