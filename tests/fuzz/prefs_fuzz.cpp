// Feeds any bytes to the editor preferences reader as the content of "Manager Prefs", through a
// descriptor kept open for the whole run.
#include <cstring>

#include "fuzz_support.h"
#include "shell/prefs.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FUZZinit();
    int fd = FUZZkeptOpenFile(data, size);
    MgrCfgPrefs record;
    memset(&record, 0xAB, sizeof record);
    int result = readPrefs(fd, &record);
    if (result != 0 && result != 1 && result != -1 && result != -2 && result != -39)
        __builtin_trap();
    // Whatever the bytes, the record read is a whole one: the defaults, then what the blocks gave.
    if (size < 4 && (record.version != 1 || record.mainTop != 100 || record.mainLeft != 100))
        __builtin_trap();
    return 0;
}
