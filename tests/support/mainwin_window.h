// Shared set-up of the main window's window tests: the logic tests' helpers (a window test is
// built from its own file and window_support.cpp only, so they are compiled in here), starting
// the editor on the pristine or the small test files, and putting everything back afterwards.
#ifndef VQX_TESTS_MAINWIN_WINDOW_H
#define VQX_TESTS_MAINWIN_WINDOW_H

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QListView>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QtTest>
#include <cstdio>
#include <fstream>

#include "editor/editdialog.h"
#include "editor/editrecords.h"
#include "mainwindow/buttonlist.h"
#include "mainwindow/commands.h"
#include "mainwindow/maindialog.h"
#include "mainwindow/popups.h"
#include "mainwindow/menus.h"
#include "mainwindow/remotepict.h"
#include "mainwindow/rows.h"
#include "mainwindow/selection.h"
#include "mapping/tokens.h"
#include "platform/dialogs.h"
#include "platform/resfile.h"
#include "shell/diagnostics.h"
#include "shell/eventloop.h"
#include "shell/prefs.h"
#include "shell/startup.h"
#include "support/mainwin_files.h"
#include "support/test_support.h"
#include "support/window_support.h"

// Every module of the editor back to its state before start-up; no main window.
inline void MWTESTreset()
{
    EDITreset();
    closeMain();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    MAINreset();
    MENUreset();
    REMPICTreset();
    EVTreset();
    ROWSreset();
    resetAllModules();
    memset(&theConfigPrefs, 0, sizeof theConfigPrefs);
    prefsChanged = 0;
    editDlog = nullptr;
}

// Starts the editor (everything up to the main window in front) on the pristine files or on the
// small test files; the result of the start-up. The preferences start unchanged.
inline int MWTESTstart(TempConfigHome &home, bool pristine)
{
    MWTESTreset();
    WINTESTinit();
    home.install(pristine);
    if (!pristine)
        MWTESTwriteFiles(home.prefsFolder());
    int result = VQXMAINstartUp();
    QCoreApplication::processEvents();
    prefsChanged = 0;
    return result;
}

// The row whose title column holds `title`, or -1.
inline int MWTESTrowOf(const char *title)
{
    for (int r = 0; r < numItemsDisplayed; r++) {
        QStringList fields = QString::fromUtf8(LISTgetCell(r)).split('\t');
        if (fields.size() > 1 && fields[1] == title)
            return r;
    }
    return -1;
}

// Writes every alert and question to a file as it is shown (for a child process that may exit
// before it could report otherwise); answers with the defaults of the recording presenter.
class FilePresenter : public RecordingPresenter {
public:
    explicit FilePresenter(std::string path) : path_(std::move(path)) {}
    int alert(int alertId, const std::string &param0) override
    {
        note(alertId, param0);
        return RecordingPresenter::alert(alertId, param0);
    }
    int question(int dialogId, const std::string &text, int *checkbox) override
    {
        note(dialogId, text);
        return RecordingPresenter::question(dialogId, text, checkbox);
    }

private:
    void note(int id, const std::string &text)
    {
        std::ofstream out(path_, std::ios::app);
        out << id << ' ' << text << '\n';
    }
    std::string path_;
};

#endif
