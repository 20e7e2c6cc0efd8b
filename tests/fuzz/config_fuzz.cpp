// Feeds any bytes to the configuration reader as "OrvendaVQX.cfg" (from memory) and writes the
// result back.
#include <cstring>

#include "fuzz_support.h"
#include "mapping/config.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FUZZinit();
    FUZZserveFile("OrvendaVQX.cfg", data, size);
    CFGreset();
    if (readGlobalConfiguration() == 0) {
        if (strlen(mapFileName) > 32 || strlen(remFileName) > 31 || strlen(adapterName) > 32)
            __builtin_trap();
        writeGlobalConfiguration();
    }
    CFGreset();
    return 0;
}
