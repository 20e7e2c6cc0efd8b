// The action editor inside the whole program: opened from the main window's list, fed by the
// program's own event routing, with the menus switched while it is open and the row redrawn on OK.
#include <QClipboard>
#include <QMainWindow>

#include "mainwindow/buttonlist.h"
#include "mainwindow/maindialog.h"
#include "mainwindow/remotepict.h"
#include "mainwindow/selection.h"
#include "shell/eventloop.h"
#include "shell/startup.h"
#include "support/editor_window.h"
#include "support/mainwin_window.h"

class EditorMainWindowTest : public QObject {
    Q_OBJECT
    TempConfigHome home;
    RecordingPresenter presenter;

    // The row of the global entry's Play button in the by-application view.
    int globalPlayRow()
    {
        for (int row = 0; row < numItemsDisplayed; row++)
            if (theItemDisplay[row].action && strcmp(theItemDisplay[row].action->buttonName, "Play") == 0)
                return row;
        return -1;
    }

    // The global entry's actions as the mapping file would hold them.
    static std::string ModelText()
    {
        std::string text;
        for (ActionRecord *a = theGlobalAppl->first; a; a = a->next)
            text += std::string(reinterpret_cast<const char *>(&a->theEvent), sizeof a->theEvent);
        return text;
    }

private slots:
    void init()
    {
        qInstallMessageHandler(EDTESTquietPlatform);
        MWTESTreset();
        WINTESTinit();
        PRESset(&presenter);
        presenter.shown.clear();
        home.install(false);
        MWTESTwriteFiles(home.prefsFolder());
        QCOMPARE(VQXMAINstartUp(), 0);
        VQXEVTinstallRouting();
        QVERIFY(QTest::qWaitForWindowActive(MAINwindow()));
        // Show the global entry (popup item 1) and open its Play row for editing.
        currentApplIdx = 1;
        currentAppl = theGlobalAppl;
        stuffButtonList();
        int row = globalPlayRow();
        QVERIFY(row >= 0);
        keySelectButton(row, 1);
        QVERIFY(editDlog);
        QVERIFY(QTest::qWaitForWindowActive(EDITdialog()));
    }

    void cleanup()
    {
        MWTESTreset();
        PRESset(nullptr);
    }

    void theRowOpensInTheEditorAndOkRedrawsIt()
    {
        QCOMPARE(QString(saveCommand), QString("Play"));
        QCOMPARE(currentActionType, (int32_t)kPageKeystroke);
        int row = currentItemIdx;
        QVERIFY(QString(LISTgetCell(row)).contains("space"));
        EditorHarness::click(19);
        QTest::keyClick(EditorHarness::item(19), Qt::Key_F5);
        QCOMPARE(theKeyEvent.message, 0x6010u);
        EditorHarness::click(kEditOK);
        QVERIFY(!editDlog);
        QVERIFY(QString(LISTgetCell(row)).contains("F5"));
        QCOMPARE(fileChg, 1);
    }

    void aCtrlChordWhileRecordingIsTheKeyNotAMenuCommand()
    {
        EditorHarness::click(19);
        QTest::keyClick(EditorHarness::item(19), Qt::Key_Q, Qt::ControlModifier);
        QVERIFY(editDlog); // Quit was not chosen
        QCOMPARE(done, 0);
        QCOMPARE(theKeyEvent.message, 0x0C11u);
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)0x1000);
        QVERIFY(presenter.shown.empty());
    }

    void typingAndPastingGoThroughTheFilterWithTheProgramsRouting()
    {
        EditorHarness::click(22); // Slow, then show the values
        EditorHarness::click(40);
        EditorHarness::focus(26);
        EditorHarness::field(26)->selectAll();
        QTest::keyClicks(EditorHarness::field(26), "12x345");
        QCOMPARE(EditorHarness::text(26), QString("1234"));
        QGuiApplication::clipboard()->setText("98z76");
        EditorHarness::field(26)->selectAll();
        QTest::keyClick(EditorHarness::field(26), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(EditorHarness::text(26), QString("9876"));
        QCOMPARE(queryEditChanges(), 1);
    }

    void escapeClosesTheEditorAndTheMenusComeBack()
    {
        EditorHarness::click(39);
        EditorHarness::click(16);
        std::string before = ModelText();
        QTest::keyClick(EditorHarness::item(9), Qt::Key_Escape);
        QVERIFY(!editDlog);
        QCOMPARE(ModelText(), before);
        QCOMPARE(theGlobalAppl->first->theEvent.key.modifiers, (uint16_t)0);
        QCOMPARE(queryEditChanges(), 0);
    }
};

QTEST_MAIN(EditorMainWindowTest)
#include "editor_mainwindow_test.moc"
