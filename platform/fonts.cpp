// The system's font configuration read on a thread of its own. Reading it parses every file of
// the font configuration, the largest part of what the first measured text costs; the display
// connection made meanwhile mostly waits for the X server.
#include "platform/fonts.h"

#include <fontconfig/fontconfig.h>
#include <pthread.h>
#include <sched.h>
#include <system_error>
#include <thread>

// True when the configuration names at least one folder for fontconfig's caches.
static bool namesCacheFolder(FcConfig *config)
{
    FcStrList *folders = FcConfigGetCacheDirs(config);
    if (!folders)
        return false;
    bool any = FcStrListNext(folders) != nullptr;
    FcStrListDone(folders);
    return any;
}

// fontconfig's own initialisation (FcInit) reads the configuration file, with every snippet it
// includes, then parses once more every snippet of the folder of available ones, enabled or not,
// only so that fc-conflist can list their descriptions. Nothing here lists them, and that second
// pass is some 40% of the reading, so the configuration is read here without it.
FcConfig *FONTSreadConfiguration(void)
{
    FcConfig *config = FcConfigCreate();
    if (!config)
        return nullptr;
    // Given no configuration, fontconfig would look the file up through its current one, making one.
    FcChar8 *file = FcConfigGetFilename(config, nullptr);
    bool ready = file && FcConfigParseAndLoad(config, file, FcTrue) && namesCacheFolder(config)
        && FcConfigBuildFonts(config);
    if (file)
        FcStrFree(file);
    if (!ready) {
        FcConfigDestroy(config);
        config = nullptr;
    }
    return config;
}

// Makes the configuration read here fontconfig's current one. Nothing else in the program uses
// fonts before the wait for this routine, so no other configuration can have been made current.
// When it could not be read, FcInit reads it instead, with fontconfig's fallbacks and messages.
static void initialiseFontconfig(void)
{
    FcConfig *config = FONTSreadConfiguration();
    if (config) {
        FcConfigSetCurrent(config); // takes a reference of its own
        FcConfigDestroy(config);
    }
    FcInit();
}

// The reading's thread; joined at exit too, should the program end before anybody waited.
struct Preparing {
    std::thread thread;
    bool started = false;
    bool placed = false; // the thread was kept off the processor its starter was on
    cpu_set_t allowed;   // the processors the program may use, given back to the thread at the wait
    ~Preparing()
    {
        if (thread.joinable())
            thread.join();
    }
};

void (*FONTSprepareRoutine)(void) = initialiseFontconfig; // what the thread runs
static Preparing preparing;                                 // the thread, once started

// The processors the reading may use while the caller goes on: all that the program may use but
// the caller's own. Sharing one, the reading delayed the caller and the X server's replies to it
// by about its own length, as the scheduler placed them; apart, the two overlap. Notes in
// `preparing.allowed` every processor the program may use. False when no other processor is
// allowed or the system cannot say.
static bool otherProcessors(cpu_set_t *others)
{
    int own = sched_getcpu();
    if (own < 0 || sched_getaffinity(0, sizeof preparing.allowed, &preparing.allowed) != 0)
        return false;
    *others = preparing.allowed;
    CPU_CLR(own, others);
    return CPU_COUNT(others) > 0;
}

void FONTSprepareInBackground(void)
{
    if (preparing.started || !FONTSprepareRoutine)
        return;
    preparing.started = true;
    // Without a thread the configuration is simply read when Qt first needs it.
    try {
        preparing.thread = std::thread(FONTSprepareRoutine);
    } catch (const std::system_error &) {
        return;
    }
    cpu_set_t others;
    if (otherProcessors(&others))
        preparing.placed =
            pthread_setaffinity_np(preparing.thread.native_handle(), sizeof others, &others) == 0;
}

void FONTSwaitUntilPrepared(void)
{
    if (!preparing.thread.joinable())
        return;
    // The caller now only waits: the rest of the reading may use its processor too.
    if (preparing.placed)
        pthread_setaffinity_np(preparing.thread.native_handle(), sizeof preparing.allowed, &preparing.allowed);
    preparing.thread.join();
}

void FONTSreset(void)
{
    FONTSwaitUntilPrepared();
    preparing.started = false;
    preparing.placed = false;
    FONTSprepareRoutine = initialiseFontconfig;
}
