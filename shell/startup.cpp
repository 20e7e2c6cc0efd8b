// The editor's start-up in its fixed order, the event loop, and shutdown.
#include "shell/startup.h"

#include <QCoreApplication>
#include <QMainWindow>
#include <cstdlib>

#include "mainwindow/buttonlist.h"
#include "mainwindow/eventlog.h"
#include "mainwindow/eventlog_view.h"
#include "mainwindow/maindialog.h"
#include "mainwindow/menus.h"
#include "mainwindow/remotepict.h"
#include "mainwindow/rows.h"
#include "mapperlink/mapperapi.h"
#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "mapping/reconcile.h"
#include "platform/icons.h"
#include "shell/diagnostics.h"
#include "shell/eventloop.h"
#include "shell/files.h"
#include "shell/prefs.h"

static const char *const kReinstall = "Configuration files corrupted and/or missing; reinstall required";

// The close box of an event log window, as the event routing asks about it.
static int logWindowGoAway(QObject *window, QEvent *, int *closed)
{
    return EWWtrackGoAway(qobject_cast<QWidget *>(window), closed);
}

int VQXMAINstartUp(void)
{
    if (!VQXFILESprefsFolderExists())
        VQXALERTprintfFATAL(
            "The Orvenda VQX Map Editor is missing the necessary configuration files.  Please re-install.");
    // Reserving master pointers needs nothing here; registering with the appearance manager is
    // installing the application's style.
    ICONinstallStyle();
    VQXrecordModifierKeys();
    EWWinit(128);
    EWWinstallViewer();
    EVTsetLogWindowRouting(EWWnonNullEvent, logWindowGoAway);
    MAPPERAPIinit();
    // A press reported by the Mapper is looked at at once, not only at the next idle pass.
    MAPPERAPIsetPressHook(VQXIDLErunSoon);
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
    // The loop has ended: windows closed above are deleted now rather than never, then the menus.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    MENUremoveMenuBar();
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
