// The system's font configuration read on a thread of its own while the application object
// connects to the display, so that the first text the main window measures finds it ready.
#ifndef VQX_PLATFORM_FONTS_H
#define VQX_PLATFORM_FONTS_H

// What the thread runs: fontconfig's own initialisation unless a test puts another routine here.
extern void (*FONTSprepareRoutine)(void);

// Starts the reading, once: later calls do nothing.
void FONTSprepareInBackground(void);
// Waits until the reading has ended; returns at once when none was started.
void FONTSwaitUntilPrepared(void);
// Waits for any reading, then forgets it and restores the routine (for tests).
void FONTSreset(void);

#endif
