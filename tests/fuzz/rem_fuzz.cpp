// Feeds any bytes to the remote description reader as a .REM file (from memory); the first byte picks the size
// of the command buffer, so that full buffers are reached too. The command list is walked after
// each read.
#include <cstdlib>

#include "fuzz_support.h"
#include "mapping/config.h"
#include "mapping/remote.h"
#include "mapping/tokens.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FUZZinit();
    if (size == 0)
        return 0;
    free(cmdBufMemory);
    cmdBufMemoryLen = data[0] * 16 + 1;
    cmdBufMemory = static_cast<char *>(malloc((size_t)cmdBufMemoryLen));
    FUZZserveFile("fuzz.REM", data + 1, size - 1);
    lastWasEol = 0;
    parseRemFile("fuzz.REM");
    long sum = 0;
    for (CommandRecord *cmd = REMfirstCommand(); cmd; cmd = REMnextCommand(cmd)) {
        if (cmd->count < 1 || cmd->count > kMaxCommandTokens)
            abort();
        for (int i = 0; i < cmd->count; i++)
            sum += CMDtoken(cmd, i);
    }
    if (sum < 0 || averageCommandLengthToken > 100)
        abort();
    REMreset();
    return 0;
}
