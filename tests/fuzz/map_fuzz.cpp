// Feeds any bytes to the mapping reader as a .map file (from memory, with a small fixed remote), then runs
// the reconciliation, describes and writes every action, and frees the model.
#include <cstdio>
#include <cstdlib>

#include "fuzz_support.h"
#include "mapping/config.h"
#include "mapping/describe.h"
#include "mapping/mapfile.h"
#include "mapping/reconcile.h"
#include "mapping/remote.h"
#include "mapping/tokens.h"

static const char remote[] = "FRQ 38000\nBIT 562\nCMD Power 0101 0202\nCMD Play 0101\nCMD Stop 0303\n"
                             "CMD Next 0101\nCMD Prev 0101\n";

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FUZZinit();
    static FILE *sink = nullptr;
    if (!sink) {
        FUZZserveFile("fuzz.REM", reinterpret_cast<const uint8_t *>(remote), sizeof remote - 1);
        sink = fopen("/dev/null", "w");
        cmdBufMemoryLen = 20000;
        cmdBufMemory = static_cast<char *>(malloc((size_t)cmdBufMemoryLen));
    }
    FUZZserveFile("fuzz.map", data, size);
    snprintf(mapFileName, sizeof mapFileName, "fuzz.map");
    snprintf(remFileName, sizeof remFileName, "fuzz.REM");
    lastWasEol = 0;
    if (readMapAndRemFiles() == 0) {
        if (checkForMissingButtons())
            addAllButtonsToMap();
        reorderAllButtons();
        for (int i = 0; i < numApplications; i++)
            for (ActionRecord *action = theActionByApplList[i].first; action; action = action->next) {
                makeButtonText(action);
                writeAction(sink, action);
            }
    }
    MAPreset();
    REMreset();
    return 0;
}
