// Starting applications and opening documents: the stand-in for asking the Finder to open a file.
// An executable is started detached, a ".desktop" entry by its Exec line, anything else is handed
// to the desktop's default handler (xdg-open).
#ifndef VQX_MAPPERLINK_LAUNCH_H
#define VQX_MAPPERLINK_LAUNCH_H

#include <cstdint>

#include "mapping/model.h"
#include "shell/files.h"

enum {
    kLaunchFileNotFound = -43, // the path names nothing
    kLaunchFailed = -1         // it could not be started or handed over
};

// Opens one path; 0, or a negative code.
typedef int (*VQXLAUNCHopenProc)(const char *path);

// Opens the file through the installed opener; 0 or a negative code.
int SendFinderAELaunchApp(const FSSpec *fileSpec);
void VQXLAUNCHapplication(const char *name);
int VQXLAUNCHevent(void *context, LaunchEvent *launchAction, int enabled);

// The program's opener: executables, ".desktop" entries, then the document opener.
int VQXLAUNCHopenPath(const char *path);
// Starts a ".desktop" entry by its Exec line (field codes removed); 0 or a negative code.
int VQXLAUNCHdesktopEntry(const char *path);
// Hands a document to xdg-open; 0 or a negative code.
int VQXLAUNCHopenDocument(const char *path);
// Replace the opener used by SendFinderAELaunchApp, or only the document opener used for what is
// neither an executable nor a ".desktop" entry (null puts the program's own back); each returns
// the one it replaces.
VQXLAUNCHopenProc VQXLAUNCHsetOpener(VQXLAUNCHopenProc opener);
VQXLAUNCHopenProc VQXLAUNCHsetDocumentOpener(VQXLAUNCHopenProc opener);

// The program's own openers back, the launch path forgotten (tests).
void VQXLAUNCHreset(void);

#endif
