// The system's font configuration read on a thread of its own. Reading it parses every file of
// the font configuration, the largest part of what the first measured text costs; the display
// connection made meanwhile mostly waits for the X server, so the two overlap well.
#include "platform/fonts.h"

#include <fontconfig/fontconfig.h>
#include <system_error>
#include <thread>

static void initialiseFontconfig(void)
{
    FcInit();
}

// The reading's thread; joined at exit too, should the program end before anybody waited.
struct Preparing {
    std::thread thread;
    bool started = false;
    ~Preparing()
    {
        if (thread.joinable())
            thread.join();
    }
};

void (*FONTSprepareRoutine)(void) = initialiseFontconfig; // what the thread runs
static Preparing preparing;                                 // the thread, once started

void FONTSprepareInBackground(void)
{
    if (preparing.started || !FONTSprepareRoutine)
        return;
    preparing.started = true;
    // Without a thread the configuration is simply read when Qt first needs it.
    try {
        preparing.thread = std::thread(FONTSprepareRoutine);
    } catch (const std::system_error &) {
    }
}

void FONTSwaitUntilPrepared(void)
{
    if (preparing.thread.joinable())
        preparing.thread.join();
}

void FONTSreset(void)
{
    FONTSwaitUntilPrepared();
    preparing.started = false;
    FONTSprepareRoutine = initialiseFontconfig;
}
