// The system's font configuration read on a thread of its own. Reading it parses every file of
// the font configuration, the largest part of what the first measured text costs; the display
// connection made meanwhile mostly waits for the X server.
#include "platform/fonts.h"

#include <fontconfig/fontconfig.h>
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
