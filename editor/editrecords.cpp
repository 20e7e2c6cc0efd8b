// The action editor's editing copies and pending-edit flags.
#include "editor/editrecords.h"

#include <cstring>

void *editDlog; // the open edit dialog, or null
KeyEvent theKeyEvent; // keystroke page's copy
MouseEvent theKeyEventMouse; // mouse page's copy
AppleEventEvent theAppleEventEvent; // script page's copy
LaunchEvent theLaunchEvent; // launch page's copy
SysVolumeEvent theSysVolumeEvent; // system volume page's copy
TextStringEvent theTextStringEvent; // text string page's copy
int32_t keyEventChanged; // OK writes back only when set
int32_t chgEtFieldEdit; // a character was typed into the focused field
int32_t displayCustomTextEdit; // custom repeat fields shown

void EDITRECclearWorkingRecords(void)
{
    memset(&theKeyEvent, 0, sizeof theKeyEvent);
    memset(&theAppleEventEvent, 0, sizeof theAppleEventEvent);
    memset(&theLaunchEvent, 0, sizeof theLaunchEvent);
    memset(&theSysVolumeEvent, 0, sizeof theSysVolumeEvent);
    memset(&theTextStringEvent, 0, sizeof theTextStringEvent);
    displayCustomTextEdit = 0;
}

void EDITRECreset(void)
{
    editDlog = nullptr;
    EDITRECclearWorkingRecords();
    memset(&theKeyEventMouse, 0, sizeof theKeyEventMouse);
    keyEventChanged = 0;
    chgEtFieldEdit = 0;
}
