// The editor's start-up, event loop and shutdown, in their order, for a program whose path,
// application object, presenter and resource file are already in place.
#ifndef VQX_SHELL_STARTUP_H
#define VQX_SHELL_STARTUP_H

// Everything from the preferences folder check to the main window in front: 0, or -1 when the
// main window cannot be made. Ends the process with status 0 when the configuration, the mapping
// or the remote description cannot be read.
int VQXMAINstartUp(void);
// Start-up, the event loop until done, and shutdown: the value for main to return (0, or -1 when
// the main window could not be made, without any shutdown step).
int VQXMAINrun(void);
// The shutdown steps after the loop.
void VQXMAINshutDown(void);

#endif
