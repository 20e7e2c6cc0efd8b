// The system's font configuration read on a thread of its own while the application object
// connects to the display, so that the first text the main window measures finds it ready.
#ifndef VQX_PLATFORM_FONTS_H
#define VQX_PLATFORM_FONTS_H

typedef struct _FcConfig FcConfig;

// What the thread runs: reads the configuration and makes it fontconfig's current one, unless a
// test puts another routine here.
extern void (*FONTSprepareRoutine)(void);

// The system's font configuration read and its fonts listed, as fontconfig's own initialisation
// does but for its listing of the snippets that are available and not enabled; null when there is
// no configuration file or it names no cache folder, cases left to fontconfig's own fallbacks.
// The caller owns the result (FcConfigDestroy).
FcConfig *FONTSreadConfiguration(void);

// Starts the reading, once: later calls do nothing. Until the wait, the reading keeps off the
// processor the caller is on, when the program may use another.
void FONTSprepareInBackground(void);
// Waits until the reading has ended, letting it use every processor meanwhile; returns at once
// when none was started.
void FONTSwaitUntilPrepared(void);
// Waits for any reading, then forgets it and restores the routine (for tests).
void FONTSreset(void);

#endif
