// The button list's data without its window: the selection state, the row records, the rows'
// texts (the list's cells), how each row is worded in the two views, the remote's button table
// and the map from the application popup's items to the application table.
#ifndef VQX_MAINWINDOW_ROWS_H
#define VQX_MAINWINDOW_ROWS_H

#include <cstdint>

#include "mapping/model.h"
#include "mapping/remote.h"

enum {
    kMaxByButtonNames = 50, // distinct button names of one remote
    kApplMenuEntries = 27,  // entries of menuToApplList
    kApplMenuFixedItems = 6 // global, default, separator, new, delete, separator
};

// One row of the list: what it shows.
struct ItemDisplay {
    ActionRecord *globalAction; // the global entry's action for the same button, or null
    ActionRecord *action;       // the row's own action, null for an empty row
    ApplicationRecord *appl;    // the row's application
};

extern ItemDisplay *theItemDisplay;   // maxNumItems records, made anew by every refill
extern int32_t maxNumItems;           // rows the list is made with
extern int32_t numItemsDisplayed;     // rows filled
extern int32_t viewByButton;          // 0 = by application, 1 = by button
extern int32_t viewByButtonIdx;       // chosen button in theByButtonList, -1 = none
extern ApplicationRecord *currentAppl; // the application the list shows (by-application view)
extern int32_t currentApplIdx;        // the application popup's value, 1-based
extern int32_t currentItemIdx;        // selected row, -1 = none
extern int32_t currentButtonIdx;      // selected row in the by-application view, -1 = none
extern ActionRecord *currentButtonAction; // the action open in the action editor, or null
extern int32_t tentativeOverride;     // its application-specific flag when the editor opened
extern int16_t prevHit;               // keyboard-focus item after the last item hit
extern int32_t chgEtField;            // an edit-text field changed
extern char bBuff[256];               // the text of the row being formatted

extern CommandRecord *theByButtonList[kMaxByButtonNames]; // one command per distinct button name
extern int32_t numButtonsOnRemote;                         // entries used

extern int32_t menuToApplList[kApplMenuEntries]; // popup item i + 1 -> table index, -1 = none
extern int32_t countApplMenu;                    // items in the popup's menu
extern int32_t newApplIndex;                     // -1 after every rebuild

// The list's cells (one column): the text of each row, kept here so that the window only shows
// them. A view registers to hear of changes (row -1: every row).
void LISTsetRowCount(int rows);
int LISTrowCount(void);
void LISTsetCell(int row, const char *text, int length);
const char *LISTgetCell(int row);
void LISTsetViewNotifier(void (*changed)(int row));

// Format one row of the by-application / by-button view and store it in the row's cell.
void setButtonText(int row, ApplicationRecord *application, ActionRecord *action, ActionRecord *globalAction);
void setButtonApplicationText(int row, ApplicationRecord *application, ActionRecord *action,
                              ActionRecord *globalAction);

// The global entry's first action for the button, or null.
ActionRecord *ROWSfindGlobalAction(const char *buttonName);
// Allocates maxNumItems zeroed row records (the old ones freed); 0, or -1 without memory.
int ROWSallocate(void);
// Fill the records and cells of the current view; each returns the number of rows filled.
int ROWSfillByApplication(void);
int ROWSfillByButton(void);
// The application table index of popup item `item` (1-based), or -1.
int ROWSapplIndexOfItem(int item);
// The application a row of the by-button view belongs to: popup item 1, 2, then row + 5.
int ROWSitemOfByButtonRow(int row);

// The button table (one entry per distinct name, in the remote's order).
void createByButtonList(void);
// Fills menuToApplList and countApplMenu from the application table; returns 1 when the table has
// a global entry, plus 2 when it has a default entry.
int ROWSmapApplMenu(void);

// Rows, selection and tables back to their start-up state (tests).
void ROWSreset(void);

#endif
