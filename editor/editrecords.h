// The action editor's working state that lives without windows: the editing copies of the event
// records, one per page, and the flags that say whether an edit is pending.
#ifndef VQX_EDITOR_EDITRECORDS_H
#define VQX_EDITOR_EDITRECORDS_H

#include <cstdint>

#include "mapping/model.h"

extern void *editDlog;                      // the open edit dialog (a window of the window layer), or null
extern KeyEvent theKeyEvent;                // editing copy for the keystroke page
extern MouseEvent theKeyEventMouse;         // editing copy for the mouse page
extern AppleEventEvent theAppleEventEvent;  // editing copy for the script page
extern LaunchEvent theLaunchEvent;          // editing copy for the launch page
extern SysVolumeEvent theSysVolumeEvent;    // editing copy for the system volume page
extern TextStringEvent theTextStringEvent;  // editing copy for the text string page
extern int32_t keyEventChanged;             // the editing copy differs from the action
extern int32_t chgEtFieldEdit;              // typed text not yet taken into the editing copy
extern int32_t displayCustomTextEdit;       // the custom repeat fields are shown

// Clears the keystroke, script, launch, volume and text string copies and the custom-fields flag
// (the mouse copy is left alone: the mouse page always fills it before use).
void EDITRECclearWorkingRecords(void);
// Everything back to zero and no dialog (tests).
void EDITRECreset(void);

#endif
