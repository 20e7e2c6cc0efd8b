// Feeds any bytes to the held-keys file reader: every code read back is in range, and the list
// written out again reads back the same with nothing skipped.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "mapper/heldkeys.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    HLDlist list;
    int skipped = HLDparse(reinterpret_cast<const char *>(data), size, &list);
    if (skipped < 0 || (size_t)skipped > size)
        abort();
    for (int k : list.keys)
        if (k < 8 || k > 255)
            abort();
    for (int b : list.buttons)
        if (b < 1 || b > 31)
            abort();
    std::string text = HLDformat(list, ":0");
    HLDlist back;
    if (HLDparse(text.data(), text.size(), &back) != 0 || !(back == list))
        abort();
    return 0;
}
