// The remote picture window: the picture that belongs to the current remote description is loaded
// when a remote is chosen and shown on request in a window of its own, sized to the picture, at
// the place remembered in the editor preferences.
#ifndef VQX_MAINWINDOW_REMOTEPICT_H
#define VQX_MAINWINDOW_REMOTEPICT_H

#include <cstdint>
#include <vector>

#include "platform/pict.h"

class QWidget;

// Window 129, the picture window's template: where a window never moved before appears (the
// top-left corner of its content, in screen coordinates) and its title.
enum { kRemotePictWindID = 129, kRemotePictWindTop = 60, kRemotePictWindLeft = 660 };
#define VQX_REMOTE_PICT_TITLE "Remote"

extern std::vector<uint8_t> *remotePictHdl; // the picture data (the file after its header), or null
extern PictInfo remotePictInfo;             // what GetPictInfo said of it; only sourceRect is used
extern int32_t remotePictAvail;             // 1 when a picture was loaded, else 0
extern QWidget *ourPictWind;                // the picture window, or null when closed
extern QWidget *remotePictWind;             // the same window as the main window's items and menus know it

// Closes the window, frees the old picture, loads the picture of `remoteName` (a .REM file name)
// and enables the main window's show-picture button (item 21) only when it loaded.
void checkForRemotePict(const char *remoteName);
// Loads the picture of `remoteName` into remotePictHdl; 1 when loaded, else 0 (reasons traced).
int findRemPictFile(const char *remoteName);
// Opens the picture window in front, sized to the picture frame's right and bottom, at the saved
// place when one was saved; the window, or null without picture data.
QWidget *displayRemotePict(void);
// Redraws the picture window at once.
void updateRemotePictWind(void);
// Closes the picture window, if any, and nulls ourPictWind.
void removeRemotePictWind(void);
// Frees the picture data, if any, and nulls remotePictHdl.
void removeRemotePict(void);

// What the main window and the event loop need:
//
// The main dialog whose item 21 (the show-picture button) checkForRemotePict enables or disables.
// createMain registers each new dialog here; a dialog that is destroyed is forgotten by itself.
void REMPICTsetMainDialog(QWidget *mainDialog);
//
// Window positions are the top-left corner of the window's content in screen coordinates, the
// values theConfigPrefs.remoteTop and remoteLeft hold (what GetWindowBounds with the global port
// region gives). This reads them from a window.
void REMPICTgetWindowPosition(QWidget *window, int16_t *top, int16_t *left);
//
// Called when the user moved the picture window (its content now starts elsewhere than last
// known). Without a hook the new place is stored in theConfigPrefs.remoteTop/remoteLeft and
// prefsChanged is set, as a drag of the window always did.
typedef void (*REMPICTwindowProc)(QWidget *window);
void REMPICTsetMovedHook(REMPICTwindowProc proc);
//
// Called when the user clicks the window's close box; the window stays open unless the hook
// closes it. Without a hook the close box does what it always did: removeRemotePictWind(),
// remotePictWind = null, the picture-shown preference cleared and prefsChanged set.
void REMPICTsetCloseBoxHook(REMPICTwindowProc proc);
// That default handling of the close box, for a hook that wants it.
void REMPICTcloseBox(QWidget *window);

// Back to the state at start-up: window closed, picture freed, no dialog, no hooks (tests).
void REMPICTreset(void);

#endif
