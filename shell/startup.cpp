// The editor's start-up in its fixed order, the event loop, and shutdown.
#include "shell/startup.h"

#include <QMainWindow>
#include <cstdlib>

#include "mainwindow/buttonlist.h"
#include "mainwindow/eventlog.h"
#include "mainwindow/maindialog.h"
#include "mainwindow/menus.h"
#include "mainwindow/remotepict.h"
#include "mainwindow/rows.h"
#include "mapperlink/mapperapi.h"
#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "mapping/reconcile.h"
#include "shell/diagnostics.h"
#include "shell/eventloop.h"
#include "shell/files.h"
#include "shell/prefs.h"

static const char *const kReinstall = "Configuration files corrupted and/or missing; reinstall required";

int VQXMAINstartUp(void)
{
    if (!VQXFILESprefsFolderExists())
        VQXALERTprintfFATAL(
            "The Orvenda VQX Map Editor is missing the necessary configuration files.  Please re-install.");
    // Reserving master pointers and registering with the appearance manager: nothing to set up here.
    VQXrecordModifierKeys();
    EWWinit(128);
    MAPPERAPIinit();
    MENUinstallMenuBar();
    doGetDepthAndDevice();
    // Quit requests are always available here: signals and the session manager.
    VQXEVTinstallQuitHandler();
    if (readGlobalConfiguration() != 0) {
        errormsg("%s", kReinstall);
        exit(0);
    }
    if (readMapAndRemFiles() != 0) {
        errormsg("%s", kReinstall);
        exit(0);
    }
    if (mapFileChanged)
        setFileChanged(1);
    VQXFILESgetPrefsFiles();
    getPrefs();
    createByButtonList();
    if (checkForMissingButtons()) {
        addAllButtonsToMap();
        reorderAllButtons();
        mapFileChanged = 1;
        setFileChanged(1);
    }
    if (createMain() != 0)
        return -1;
    stuffMain();
    checkForRemotePict(remFileName);
    if (remotePictAvail && theConfigPrefs.remotePictShown)
        remotePictWind = displayRemotePict();
    if (QMainWindow *window = MAINwindow()) {
        window->show();
        window->raise();
        window->activateWindow();
    }
    managerInFront = 1;
    return 0;
}

void VQXMAINshutDown(void)
{
    EWWunInit();
    closeMain();
    closePrefs();
}

int VQXMAINrun(void)
{
    if (VQXMAINstartUp() != 0)
        return -1;
    VQXEVTinstallRouting();
    VQXEVTrunLoop();
    VQXMAINshutDown();
    return 0;
}
