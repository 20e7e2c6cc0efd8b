// The menu commands: dispatching a menu choice, Save, Save As, Revert, Quit with the save question,
// switching remote or mapping file, About, the event log window and the Mapper commands.
#include "mainwindow/commands.h"

#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "editor/editdialog.h"
#include "editor/editrecords.h"
#include "mainwindow/applcommands.h"
#include "mainwindow/buttonlist.h"
#include "mainwindow/eventlog.h"
#include "mainwindow/maindialog.h"
#include "mainwindow/menus.h"
#include "mainwindow/remotepict.h"
#include "mainwindow/rows.h"
#include "mainwindow/selection.h"
#include "mapperlink/launch.h"
#include "mapperlink/mapperapi.h"
#include "mapperlink/notify.h"
#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "mapping/reconcile.h"
#include "mapping/remote.h"
#include "mapping/tokens.h"
#include "platform/dialogs.h"
#include "platform/presenter.h"
#include "shell/diagnostics.h"
#include "shell/eventloop.h"
#include "shell/files.h"
#include "shell/prefs.h"

// The program's version is the project's; the build time is the compiler's.
const char *dateString = "2.5.0 as of " __DATE__ " " __TIME__;

static const char *const kReinstall = "Configuration files corrupted and/or missing; reinstall required";

static QWidget *frontWindow(void)
{
    QWidget *front = QApplication::activeWindow();
    return front ? front : activeWind;
}

static void doClose(void)
{
    QWidget *front = frontWindow();
    if (mainDlog && front == mainDlog->window()) {
        updateEntry();
        doMenuClose();
    } else if (remotePictWind && front == remotePictWind) {
        removeRemotePictWind();
        remotePictWind = nullptr;
        theConfigPrefs.remotePictShown = 0;
        prefsChanged = 1;
    } else {
        EWWcheckClose();
    }
}

static void toggleShowNotOnRemote(void)
{
    theConfigPrefs.showButtonsNotOnRemote = !theConfigPrefs.showButtonsNotOnRemote;
    CheckMenuItem(kMenuOptions, kItemShowNotOnRemote, theConfigPrefs.showButtonsNotOnRemote != 0);
    prefsChanged = 1;
    clearSelection();
    stuffButtonList();
}

static void toggleEventLog(void)
{
    if (myEw) {
        EWWunCreate(myEw);
        myEw = nullptr;
    } else {
        myEw = EWWcreate(100, 100);
    }
}

void doMenuEvent(long menuAndItem)
{
    int menu = (int)((menuAndItem >> 16) & 0xFFFF);
    int item = (int)(menuAndItem & 0xFFFF);
    switch (menu) {
    case kMenuHelp:
        if (item == kItemAbout) {
            ParamText(dateString);
            Alert(128);
        }
        break;
    case kMenuFile:
        if (item == kItemClose)
            doClose();
        else if (item == kItemSave)
            updateCfgFile();
        else if (item == kItemSaveAs)
            doSaveAs();
        else if (item == kItemRevert)
            doRevert();
        else if (item == kItemQuit)
            doMenuClose();
        break;
    case kMenuEdit:
        if (item >= kItemCut && item <= kItemClear) {
            if (editDlog)
                doEditDialogEditCommand(item - kItemCut + 1);
        } else if (item == kItemNewAppl) {
            doNewApplication();
        } else if (item == kItemRenameAppl) {
            doEditAppName();
        } else if (item == kItemDeleteAppl) {
            doDeleteApp();
        } else if (item == kItemDeleteUnused) {
            doDeleteAllUnused();
        }
        break;
    case kMenuOptions:
        if (item == kItemShowNotOnRemote)
            toggleShowNotOnRemote();
        else if (item == kItemEventLog)
            toggleEventLog();
        else if (item == kItemQuitMapper)
            NOTpost("command", "QUI");
        else if (item == kItemStartMapper)
            VQXLAUNCHapplication(VQX_MAPPER_BUNDLE_NAME);
        break;
    case kMenuRemotes:
        doSwitchRemote(item);
        break;
    case kMenuMappings:
        doSwitchMapping(item);
        break;
    default:
        break;
    }
    HiliteMenu(0);
}

void updateCfgFile(void)
{
    if (!fileChg)
        return;
    if (writeMapFile(mapFileName) == 0) {
        setFileChanged(0);
        recycleMapperConfiguration();
    } else {
        errormsg("%s", getstring(129, 12));
    }
}

// A name that would leave the preferences folder or name no file of its own.
static bool unusableFileName(const char *name)
{
    return name[0] == '\0' || strchr(name, '/') || strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

void doSaveAs(void)
{
    if (!ynmessage(getstring(129, 22)))
        return;
    char name[256] = "";
    if (!promptForName(getstring(129, 45), name, 26))
        return;
    if (strlen(name) >= 28) {
        errormsg("name too long");
        return;
    }
    if (unusableFileName(name)) {
        errormsg("\"%s\" cannot be used as a mapping file name: a name must not be empty, \".\" or \"..\" "
                 "and must not contain \"/\".",
                 name);
        return;
    }
    size_t length = strlen(name);
    bool hasExtension = length >= 4 && (strcmp(name + length - 4, ".map") == 0 || strcmp(name + length - 4, ".MAP") == 0);
    snprintf(mapFileName, sizeof mapFileName, "%s%s", name, hasExtension ? "" : ".map");
    setFileChanged(1);
    updateCfgFile();
    writeGlobalConfiguration();
    VQXFILESgetPrefsFiles();
    createRemoteMenu();
    createMappingMenu();
    MAINupdateTitle();
}

void doMenuClose(void)
{
    if (editDlog) {
        errormsg("%s", getstring(129, 20));
        selectEditDialog();
        return;
    }
    if (!fileChg) {
        done = 1;
        return;
    }
    ParamText(mapFileName);
    int button = Alert(134);
    if (button == 2)
        return;
    if (button == 1) {
        updateCfgFile();
        if (fileChg)
            return; // the save failed and said so: keep the changes and the program
    }
    done = 1;
}

void doRevert(void)
{
    if (!fileChg || !ynmessage(getstring(129, 6)))
        return;
    clearSelection();
    if (readMapAndRemFiles() != 0) {
        errormsg("%s", kReinstall);
        exit(0);
    }
    createByButtonList();
    stuffMain();
    setFileChanged(mapFileChanged);
}

// What switching to another file resets: no selection, the first button, the first application.
static void resetChoices(void)
{
    clearSelection();
    viewByButtonIdx = 0;
    currentApplIdx = 7;
    theConfigPrefs.viewByButtonIdx = 0;
    theConfigPrefs.currentApplIdx = 7;
    prefsChanged = 1;
}

static void moveCheck(int menuId, int32_t *checked, int item, int dialogItem)
{
    if (*checked)
        CheckMenuItem(menuId, *checked, false);
    CheckMenuItem(menuId, item, true);
    *checked = item;
    if (auto *label = qobject_cast<QLabel *>(DLGitem(mainDlog, dialogItem)))
        label->setText(DLGtext(GetMenuItemText(menuId, item)));
}

void doSwitchRemote(int item)
{
    if (item == currentRemoteIdx || item < 1 || item > numberOfRemotes)
        return;
    if (!ynmessage(getstring(129, 21)))
        return;
    resetChoices();
    char name[256];
    snprintf(name, sizeof name, "%s", GetMenuItemText(kMenuRemotes, item));
    moveCheck(kMenuRemotes, &currentRemoteIdx, item, kItemRemoteName);
    changeRemFile(name);
    createByButtonList();
    if (checkForMissingButtons()) {
        addAllButtonsToMap();
        mapFileChanged = 1;
    }
    reorderAllButtons();
    setFileChanged(mapFileChanged);
    closeMain();
    if (createMain() == 0)
        stuffMain();
    checkForRemotePict(remFileName);
    recycleMapperConfiguration();
}

void doSwitchMapping(int item)
{
    if (item == currentMappingIdx || item < 1 || item > numberOfMappings)
        return;
    if (!ynmessage(getstring(129, 22)))
        return;
    if (fileChg) {
        ParamText(mapFileName);
        int button = Alert(134);
        if (button == 2)
            return;
        if (button == 1) {
            updateCfgFile();
            if (fileChg)
                return; // the save failed and said so: stay with the unsaved mapping
        }
        fileChg = 0;
    }
    resetChoices();
    char name[256];
    snprintf(name, sizeof name, "%s", GetMenuItemText(kMenuMappings, item));
    moveCheck(kMenuMappings, &currentMappingIdx, item, kItemMapFileName);
    changeMapFile(name);
    createByButtonList();
    checkForRemotePict(remFileName);
    if (checkForMissingButtons()) {
        addAllButtonsToMap();
        mapFileChanged = 1;
    }
    setFileChanged(mapFileChanged);
    stuffMain();
    recycleMapperConfiguration();
}
