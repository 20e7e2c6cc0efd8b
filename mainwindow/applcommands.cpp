// The application entry commands: a new entry from a chosen application file, renaming, deleting,
// and removing every action of a button the current remote does not have.
#include "mainwindow/applcommands.h"

#include <QComboBox>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "editor/editdialog.h"
#include "mainwindow/buttonlist.h"
#include "mainwindow/maindialog.h"
#include "mainwindow/menus.h"
#include "mainwindow/popups.h"
#include "mainwindow/rows.h"
#include "mainwindow/selection.h"
#include "mapping/model.h"
#include "mapping/tokens.h"
#include "shell/diagnostics.h"
#include "shell/prefs.h"

static bool endsWith(const char *s, const char *suffix)
{
    size_t n = strlen(s), m = strlen(suffix);
    return n >= m && strcmp(s + n - m, suffix) == 0;
}

static ApplicationRecord *applicationNamed(const char *name)
{
    for (int i = 0; i < numApplications && i < kMaxApplications; i++)
        if (strcmp(theActionByApplList[i].name, name) == 0)
            return &theActionByApplList[i];
    return nullptr;
}

static void selectApplicationItem(int item)
{
    currentApplIdx = item;
    POPsetValue(popupAppleHdl, item);
    int index = ROWSapplIndexOfItem(item);
    currentAppl = index >= 0 ? &theActionByApplList[index] : nullptr;
}

void doNewApplication(void)
{
    const char *const filters[] = {".app", "APPL"};
    const char *path = mySelectFile(filters, 2, nullptr);
    if (!path) {
        POPsetValue(popupAppleHdl, currentApplIdx);
        return;
    }
    clearSelection();
    const char *slash = strrchr(path, '/');
    if (!slash) {
        errormsg("Application name doesn't have slash in it; what gives?");
        return;
    }
    // The entry is named after the file, without the ending that marks an application.
    char base[1024];
    snprintf(base, sizeof base, "%s", slash + 1);
    for (const char *ending : {".app", ".desktop"})
        if (endsWith(base, ending) && strlen(base) > strlen(ending)) {
            base[strlen(base) - strlen(ending)] = '\0';
            break;
        }
    char name[32];
    snprintf(name, sizeof name, "%s", base);
    if (applicationNamed(name)) {
        POPsetValue(popupAppleHdl, currentApplIdx);
        BUGfatal(getstring(129, 14), name);
        return;
    }
    ApplicationRecord *from = currentAppl == theGlobalAppl ? nullptr : currentAppl;
    deletePopupMenus();
    createNewApplication(name, from);
    createApplMenu();
    selectApplicationItem(countApplMenu);
    stuffButtonList();
    setFileChanged(1);
    setEditAppNameMenu();
    drawGlobalIcon();
}

int32_t doEditAppName(void)
{
    if (numApplications == 0 || currentApplIdx < 4 || !currentAppl)
        return 0;
    char buffer[256];
    snprintf(buffer, sizeof buffer, "%s", currentAppl->name);
    if (!promptForName(getstring(129, 8), buffer, 255))
        return 0;
    buffer[31] = '\0';
    if (buffer[0] == '\0' || strcmp(buffer, "default") == 0) {
        VQXALERTprintfFATAL(getstring(129, 13), buffer);
        return -1;
    }
    if (applicationNamed(buffer)) {
        VQXALERTprintfFATAL(getstring(129, 14), buffer);
        return -2;
    }
    snprintf(currentAppl->name, sizeof currentAppl->name, "%s", buffer);
    deletePopupMenus();
    createApplMenu();
    POPsetValue(popupAppleHdl, currentApplIdx);
    setEditAppNameMenu();
    setFileChanged(1);
    return 0;
}

int32_t doDeleteApp(void)
{
    if (numApplications == 0 || currentApplIdx <= 3 || !currentAppl)
        return 0;
    char question[512];
    snprintf(question, sizeof question, getstring(129, 9), currentAppl->name);
    if (!ynmessage(question)) {
        POPsetValue(popupAppleHdl, currentApplIdx);
        return 0;
    }
    int index = ROWSapplIndexOfItem(currentApplIdx);
    deletePopupMenus();
    deleteApplication(index);
    createApplMenu();
    theConfigPrefs.currentApplIdx = 1;
    prefsChanged = 1;
    selectApplicationItem(1);
    clearSelection();
    stuffButtonList();
    setFileChanged(1);
    setEditAppNameMenu();
    drawGlobalIcon();
    return 0;
}

void doDeleteAllUnused(void)
{
    if (!ynmessage(getstring(129, 31)))
        return;
    int removed = 0;
    for (int i = 0; i < numApplications && i < kMaxApplications; i++) {
        ApplicationRecord *appl = &theActionByApplList[i];
        ActionRecord *previous = nullptr;
        ActionRecord *action = appl->first;
        while (action) {
            ActionRecord *next = action->next;
            if (isButtonOnRemote(action->buttonName)) {
                previous = action;
            } else {
                // Each application's own list is mended, its head included.
                if (previous)
                    previous->next = next;
                else
                    appl->first = next;
                if (appl->last == action)
                    appl->last = previous;
                free(action);
                removed++;
            }
            action = next;
        }
    }
    if (removed) {
        clearSelection();
        stuffButtonList();
        setFileChanged(1);
    }
}
