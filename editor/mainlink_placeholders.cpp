// Stand-ins for the main window's selection and routines until the main window provides them:
// the selection lives here and the menu routines only keep the change flag.
#include "editor/mainlink.h"

ApplicationRecord *currentAppl;    // application entry of the edited row
ActionRecord *currentButtonAction; // the action being edited
int32_t tentativeOverride;         // its application-specific flag
int32_t fileChg;                   // unsaved edits

void updateCurrentButton(void)
{
}

void setFileChanged(int changed)
{
    fileChg = changed;
}

void enableSummaryMenus(void)
{
}

void disableSummaryMenus(void)
{
}

void activateEditMenu(int)
{
}
