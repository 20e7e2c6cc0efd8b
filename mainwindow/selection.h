// The main dialog's events and item hits: the selected row, the row buttons' enabling, opening the
// action editor for a row, following the remote's button presses, the check boxes and popups,
// and the menus' state while the editor is open.
#ifndef VQX_MAINWINDOW_SELECTION_H
#define VQX_MAINWINDOW_SELECTION_H

#include <cstdint>

class QObject;
class QEvent;

// An event for the main dialog (target and event null: an idle pass); 1 when it was consumed.
int eventMain(QObject *target, QEvent *event);
void doItemHit(int16_t item);
void doItemHitPopupAppl(void);
void doItemHitPopupByButton(void);
void updateEntry(void);
void keySelectButton(int row, int open);
void turnOffSelection(void);
// turnOffSelection, and no row, no button, no current action.
void clearSelection(void);
void updateEditHilite(void);
void doSelectButton(int row);
void doGetButtonFromAPI(void);
void disableSummaryMenus(void);
void enableSummaryMenus(void);
void setEditAppNameMenu(void);
// Draws picture 134 into item 1 and the application icon.
void doUpdate(void);

#endif
