// What the action editor uses of the main window: the selection it edits and the routines that
// redraw the edited row and switch the menus while the editor is open.
#ifndef VQX_EDITOR_MAINLINK_H
#define VQX_EDITOR_MAINLINK_H

#include <cstdint>

#include "mapping/model.h"

extern ApplicationRecord *currentAppl;    // the application entry of the row being edited
extern ActionRecord *currentButtonAction; // the action open in the action editor, or null
extern int32_t tentativeOverride;         // its application-specific flag when the editor opened
extern int32_t fileChg;                   // the mapping has unsaved edits

void updateCurrentButton(void);
void setFileChanged(int changed);
void enableSummaryMenus(void);
void disableSummaryMenus(void);
void activateEditMenu(int on);

#endif
