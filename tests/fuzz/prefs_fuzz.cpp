// Feeds any bytes to the editor preferences reader as "Manager Prefs".
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "fuzz_support.h"
#include "shell/prefs.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FUZZinit();
    FUZZwriteFile("Manager Prefs", data, size);
    int next = dup(0); // the descriptor the preferences file will get
    close(next);
    int result = getPrefs();
    if (result != 0 && result != -1 && result != -2 && result != -39)
        __builtin_trap();
    // After a read error the file stays open, as the program always left it; close it here.
    if (result != 0 && fcntl(next, F_GETFD) != -1)
        close(next);
    return 0;
}
