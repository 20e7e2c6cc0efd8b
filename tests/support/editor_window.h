// Shared set-up of the action editor's window tests: the logic tests' helpers (a window test is
// built from its own file and window_support.cpp only, so they are compiled in here), a small
// mapping and remote read into the model, the editor opened on one of its actions, every event
// offered to the editor first as the program's event filter does, and driving items by number.
#ifndef VQX_TESTS_EDITOR_WINDOW_H
#define VQX_TESTS_EDITOR_WINDOW_H

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QSlider>
#include <QtTest>
#include <cstring>

#include "editor/editdialog.h"
#include "editor/editstate.h"
#include "mainwindow/menus.h"
#include "mainwindow/rows.h"
#include "mapperlink/mapperapi.h"
#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "mapping/tokens.h"
#include "platform/dialogs.h"
#include "shell/prefs.h"
#include "support/mainwin_files.h"
#include "support/test_support.h"
#include "support/window_support.h"

// Offers every event of the application to the editor first, as the program's event filter does.
class EditorFirst : public QObject {
public:
    bool eventFilter(QObject *target, QEvent *event) override { return doEditDialogEvent(target, event) != 0; }
};

// Drops the offscreen platform's notes about window features it lacks; everything else is printed.
inline void EDTESTquietPlatform(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (message.startsWith("This plugin does not support"))
        return;
    fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
}

// One test program's editor: the model read from the small test files, a recording presenter and
// the event filter.
class EditorHarness {
public:
    TempConfigHome home;
    RecordingPresenter presenter;
    EditorFirst filter;

    // Everything back to start-up, the test files read into the model, the filter installed.
    void start(const std::string &mapping = MWTESTmapping())
    {
        EDITreset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        ROWSreset();
        resetAllModules();
        memset(&theConfigPrefs, 0, sizeof theConfigPrefs);
        prefsChanged = 0;
        fileChg = 0;
        qInstallMessageHandler(EDTESTquietPlatform);
        WINTESTinit();
        PRESset(&presenter);
        presenter.shown.clear();
        presenter.nextAnswers.clear();
        presenter.nextFiles.clear();
        home.install(false);
        MWTESTwriteFiles(home.prefsFolder(), mapping);
        QVERIFY(readGlobalConfiguration() == 0);
        QVERIFY(readMapAndRemFiles() == 0);
        qApp->removeEventFilter(&filter);
        qApp->installEventFilter(&filter);
        currentItemIdx = 0; // a row is selected; the list itself is not shown in these tests
    }

    void stop()
    {
        EDITreset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        qApp->removeEventFilter(&filter);
        PRESset(nullptr);
    }

    static ApplicationRecord *appl(const char *name)
    {
        for (int i = 0; i < numApplications; i++)
            if (strcmp(theActionByApplList[i].name, name) == 0)
                return &theActionByApplList[i];
        return nullptr;
    }

    static ActionRecord *action(ApplicationRecord *application, const char *button)
    {
        for (ActionRecord *a = application ? application->first : nullptr; a; a = a->next)
            if (strcmp(a->buttonName, button) == 0)
                return a;
        return nullptr;
    }

    // Opens the editor on an action the way the main window does, and waits until it is active.
    static bool open(ApplicationRecord *application, ActionRecord *a)
    {
        currentAppl = application;
        tentativeOverride = a->override;
        currentButtonAction = a;
        if (createEditDialog(0) != 0)
            return false;
        stuffEditDialog();
        QWidget *dialog = EDITdialog();
        return dialog && QTest::qWaitForWindowActive(dialog);
    }

    static QWidget *item(int n) { return DLGitem(EDITdialog(), n); }
    static QLineEdit *field(int n) { return qobject_cast<QLineEdit *>(item(n)); }
    static bool shown(int n) { return item(n) && item(n)->isVisible(); }
    static bool checked(int n)
    {
        auto *button = qobject_cast<QAbstractButton *>(item(n));
        return button && button->isChecked();
    }

    // A click on a button, check box or radio, as the user makes it.
    static void click(int n)
    {
        auto *button = qobject_cast<QAbstractButton *>(item(n));
        QVERIFY2(button, qPrintable(QString("item %1 is a button").arg(n)));
        QVERIFY2(button->isVisible(), qPrintable(QString("item %1 is shown").arg(n)));
        // A check box or radio only answers a click on its mark or its text: click near the left end.
        QPoint where(std::min(8, button->width() / 2), button->height() / 2);
        QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, where);
        QCoreApplication::processEvents();
    }

    // A choice in a popup (1-based), as the user makes it.
    static void choose(int n, int value)
    {
        auto *popup = qobject_cast<QComboBox *>(item(n));
        QVERIFY(popup);
        popup->setCurrentIndex(value - 1);
        emit popup->activated(value - 1);
        QCoreApplication::processEvents();
    }

    // Puts the keyboard focus into a field (as a click into it would).
    static void focus(int n)
    {
        QLineEdit *f = field(n);
        QVERIFY2(f, qPrintable(QString("item %1 is a field").arg(n)));
        f->setFocus(Qt::MouseFocusReason);
        QCoreApplication::processEvents();
        QVERIFY2(f->hasFocus(), qPrintable(QString("item %1 has the focus").arg(n)));
    }

    // Types into a field, key by key, after putting the focus there.
    static void type(int n, const char *text)
    {
        focus(n);
        QTest::keyClicks(field(n), text);
    }

    static QString text(int n)
    {
        QLineEdit *f = field(n);
        return f ? f->text() : QString();
    }
};

#endif
