// The button list's rows without their window: selection state, row records, cell texts, the
// wording of a row in either view, the remote's button table and the popup-to-table map.
#include "mainwindow/rows.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "editor/editdialog.h"
#include "mapping/config.h"
#include "mapping/describe.h"
#include "shell/diagnostics.h"
#include "shell/prefs.h"

ItemDisplay *theItemDisplay;         // the row records
int32_t maxNumItems;                 // rows the list is made with
int32_t numItemsDisplayed;           // rows filled
int32_t viewByButton;                // 1: applications per button
int32_t viewByButtonIdx = -1;        // chosen button
ApplicationRecord *currentAppl;      // application shown
int32_t currentApplIdx = 7;          // application popup value
int32_t currentItemIdx = -1;         // selected row
int32_t currentButtonIdx = -1;       // selected row, by-application view
ActionRecord *currentButtonAction;   // action open in the editor
int32_t tentativeOverride;           // its application-specific flag at opening
int16_t prevHit;                     // focus item after the last hit
int32_t chgEtField;                  // an edit-text field changed
char bBuff[256];                     // row text being formatted

CommandRecord *theByButtonList[kMaxByButtonNames]; // distinct buttons of the remote
int32_t numButtonsOnRemote;                        // entries used

int32_t menuToApplList[kApplMenuEntries]; // popup item -> application table index
int32_t countApplMenu;                    // items of the popup's menu
int32_t newApplIndex = -1;                // reset by every rebuild

static std::vector<std::string> cells;       // the list's cell texts
static void (*viewNotifier)(int row);        // the window showing them

void LISTsetRowCount(int rows)
{
    cells.assign(rows > 0 ? (size_t)rows : 0, std::string());
    if (viewNotifier)
        viewNotifier(-1);
}

int LISTrowCount(void)
{
    return (int)cells.size();
}

void LISTsetCell(int row, const char *text, int length)
{
    if (row < 0 || row >= (int)cells.size())
        return;
    if (length > 255)
        length = 255;
    cells[(size_t)row].assign(text, (size_t)length);
    if (viewNotifier)
        viewNotifier(row);
}

const char *LISTgetCell(int row)
{
    if (row < 0 || row >= (int)cells.size())
        return "";
    return cells[(size_t)row].c_str();
}

void LISTsetViewNotifier(void (*changed)(int row))
{
    viewNotifier = changed;
}

static void storeRow(int row)
{
    LISTsetCell(row, bBuff, (int)strlen(bBuff));
}

// The markers both views share: not on the remote, an action wrongly carrying the disable flag
// (reported as the broken invariant it is), the global entry's own rows. Null when none applies.
static const char *sharedMarker(int row, const ApplicationRecord *application, const ActionRecord *action,
                                const char *routine)
{
    if (!isButtonOnRemote(action->buttonName))
        return "?";
    if (action->disabled) {
        VQXALERTprintfFATAL("Fatal error: unexpected 'disable' at %d in %s()", row, routine);
        return "#";
    }
    if (application == theGlobalAppl)
        return "@";
    return nullptr;
}

void setButtonText(int row, ApplicationRecord *application, ActionRecord *action, ActionRecord *globalAction)
{
    const ActionRecord *shown = action;
    const char *marker = sharedMarker(row, application, action, "setButtonText");
    if (!marker && globalAction && !globalAction->disabled && action->override == 0) {
        shown = globalAction;
        marker = "@";
    } else if (!marker) {
        marker = application->disabled ? "#" : "";
    }
    snprintf(bBuff, sizeof bBuff, "%s\t%s\t%s", marker, shown->buttonName, makeButtonText(shown));
    storeRow(row);
}

void setButtonApplicationText(int row, ApplicationRecord *application, ActionRecord *action,
                              ActionRecord *globalAction)
{
    const ActionRecord *shown = action;
    const char *marker = sharedMarker(row, application, action, "setButtonApplicationText");
    if (!marker) {
        marker = "";
        if (globalAction && !globalAction->disabled && action->override == 0) {
            shown = globalAction;
            marker = "@";
        }
    }
    const char *description = application->disabled ? "(Application disabled)" : makeButtonText(shown);
    if (application->name[0] == '\0')
        snprintf(bBuff, sizeof bBuff, "%s\tDefault\t%s", marker, description);
    else if (application == theGlobalAppl)
        snprintf(bBuff, sizeof bBuff, "%s\tGlobal Actions\t%s", marker, description);
    else
        snprintf(bBuff, sizeof bBuff, "%s\t%s\t%s", marker, application->name, description);
    storeRow(row);
}

ActionRecord *ROWSfindGlobalAction(const char *buttonName)
{
    if (!theGlobalAppl)
        return nullptr;
    for (ActionRecord *a = theGlobalAppl->first; a; a = a->next)
        if (strcmp(a->buttonName, buttonName) == 0)
            return a;
    return nullptr;
}

int ROWSallocate(void)
{
    free(theItemDisplay);
    theItemDisplay = nullptr;
    size_t count = maxNumItems > 0 ? (size_t)maxNumItems : 1;
    theItemDisplay = static_cast<ItemDisplay *>(calloc(count, sizeof(ItemDisplay)));
    return theItemDisplay ? 0 : -1;
}

int ROWSfillByApplication(void)
{
    int row = 0;
    if (!currentAppl || !theItemDisplay)
        return 0;
    for (ActionRecord *action = currentAppl->first; action && row < maxNumItems; action = action->next) {
        theItemDisplay[row] = ItemDisplay{nullptr, nullptr, currentAppl};
        if (!isButtonOnRemote(action->buttonName) && !theConfigPrefs.showButtonsNotOnRemote)
            continue;
        ActionRecord *global = ROWSfindGlobalAction(action->buttonName);
        theItemDisplay[row].globalAction = global;
        theItemDisplay[row].action = action;
        setButtonText(row, currentAppl, action, global);
        row++;
    }
    return row;
}

int ROWSitemOfByButtonRow(int row)
{
    return row < 2 ? row + 1 : row + 5;
}

int ROWSapplIndexOfItem(int item)
{
    if (item < 1 || item > kApplMenuEntries)
        return -1;
    return menuToApplList[item - 1];
}

int ROWSfillByButton(void)
{
    if (!theItemDisplay || viewByButtonIdx < 0 || viewByButtonIdx >= numButtonsOnRemote)
        return 0;
    const char *button = theByButtonList[viewByButtonIdx]->name;
    int rows = numApplications < maxNumItems ? numApplications : maxNumItems;
    for (int row = 0; row < rows; row++) {
        int index = ROWSapplIndexOfItem(ROWSitemOfByButtonRow(row));
        ApplicationRecord *appl = index >= 0 ? &theActionByApplList[index] : nullptr;
        theItemDisplay[row] = ItemDisplay{nullptr, nullptr, appl};
        if (!appl)
            continue;
        for (ActionRecord *action = appl->first; action; action = action->next) {
            if (strcmp(action->buttonName, button) != 0)
                continue;
            ActionRecord *global = ROWSfindGlobalAction(button);
            theItemDisplay[row].globalAction = global;
            theItemDisplay[row].action = action;
            setButtonApplicationText(row, appl, action, global);
            break;
        }
    }
    return numApplications;
}

void createByButtonList(void)
{
    numButtonsOnRemote = 0;
    memset(theByButtonList, 0, sizeof theByButtonList);
    for (CommandRecord *cmd = REMfirstCommand(); cmd; cmd = REMnextCommand(cmd)) {
        if (numButtonsOnRemote >= kMaxByButtonNames) {
            errormsg("Remote has too many buttons");
            break;
        }
        bool seen = false;
        for (int i = 0; i < numButtonsOnRemote && !seen; i++)
            seen = strcmp(theByButtonList[i]->name, cmd->name) == 0;
        if (!seen)
            theByButtonList[numButtonsOnRemote++] = cmd;
    }
}

int isButtonOnRemote(const char *name)
{
    if (!cmdBuf || cmdBuf != cmdBufMemory) { // none loaded, or one of an earlier configuration
        zprintf("cmdBuf is null");
        return 1;
    }
    for (CommandRecord *cmd = REMfirstCommand(); cmd; cmd = REMnextCommand(cmd))
        if (strcmp(cmd->name, name) == 0)
            return 1;
    return 0;
}

int ROWSmapApplMenu(void)
{
    int found = 0;
    for (int i = 0; i < kApplMenuEntries; i++)
        menuToApplList[i] = -1;
    countApplMenu = kApplMenuFixedItems;
    for (int i = 0; i < numApplications && i < kMaxApplications; i++) {
        ApplicationRecord *appl = &theActionByApplList[i];
        if (appl == theDefaultAppl || appl == theGlobalAppl) {
            if (appl == theDefaultAppl) {
                menuToApplList[1] = i;
                found |= 2;
            }
            if (appl == theGlobalAppl) {
                menuToApplList[0] = i;
                found |= 1;
            }
            continue;
        }
        if (countApplMenu >= kApplMenuEntries)
            break;
        menuToApplList[countApplMenu++] = i;
    }
    newApplIndex = -1;
    return found;
}

void ROWSreset(void)
{
    free(theItemDisplay);
    theItemDisplay = nullptr;
    maxNumItems = numItemsDisplayed = 0;
    viewByButton = 0;
    viewByButtonIdx = -1;
    currentAppl = nullptr;
    currentApplIdx = 7;
    currentItemIdx = currentButtonIdx = -1;
    currentButtonAction = nullptr;
    tentativeOverride = 0;
    prevHit = 0;
    chgEtField = 0;
    bBuff[0] = '\0';
    memset(theByButtonList, 0, sizeof theByButtonList);
    numButtonsOnRemote = 0;
    for (int i = 0; i < kApplMenuEntries; i++)
        menuToApplList[i] = -1;
    countApplMenu = 0;
    newApplIndex = -1;
    cells.clear();
    viewNotifier = nullptr;
}
