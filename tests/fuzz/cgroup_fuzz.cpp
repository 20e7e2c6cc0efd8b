// Feeds any bytes as the text of /proc/self/cgroup to the reader that tells whether the Mapper runs
// in its own unit, and checks that a yes is only ever given for a line naming that unit.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "mapper/service.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string text(reinterpret_cast<const char *>(data), size);
    bool inside = SVCinUnit(text, SVC_UNIT);
    if (inside && text.find("/" SVC_UNIT) == std::string::npos)
        abort();
    // Another unit's name is never taken for this one.
    if (SVCinUnit(text, "other.service") && text.find("/other.service") == std::string::npos)
        abort();
    return 0;
}
