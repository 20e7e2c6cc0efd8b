// The edit dialog's framework: opening and filling, the fixed top, the page references, switching
// pages, OK, Cancel, Escape and the close button, the disable check box, the window position, and
// the pending-edit query.
#include <QClipboard>

#include "mainwindow/buttonlist.h"
#include "support/editor_window.h"

static const char *frameworkMapping()
{
    return "MAPVER 2\n\n"
           "ACT Play NO_ACTION\n\n"
           "APPL *GLOBAL*\n"
           "ACT Play KEY 00003120 0000 500 123 4 100\n"
           "ACT Stop KEY 00000173 0000 -1 -1 -1 -1\n"
           "ACT Menu NO_ACTION\n"
           "ACT Eject NO_ACTION\n\n"
           "APPL vlc\n"
           "ACT Play LAUNCH \"/usr/bin/true\" 0 0 0 0 OVR\n"
           "ACT Stop SCR \"/nowhere/Go.scpt\" 0 0 0 0 OVR\n"
           "ACT Menu TXT 5 [hello OVR\n";
}

// A copy of every action's event and flags, to tell which ones an edit changed.
struct ModelSnapshot {
    std::vector<std::string> actions;
    static std::string of(const ActionRecord *a)
    {
        std::string bytes(reinterpret_cast<const char *>(&a->theEvent), sizeof a->theEvent);
        return bytes + std::to_string(a->disabled) + "/" + std::to_string(a->override);
    }
    ModelSnapshot()
    {
        for (int i = 0; i < numApplications; i++)
            for (ActionRecord *a = theActionByApplList[i].first; a; a = a->next)
                actions.push_back(of(a));
    }
    // Indexes of the actions that differ from the snapshot.
    std::vector<int> changed() const
    {
        std::vector<int> result;
        ModelSnapshot now;
        for (size_t i = 0; i < actions.size() && i < now.actions.size(); i++)
            if (actions[i] != now.actions[i])
                result.push_back((int)i);
        return result;
    }
};

class EditorFrameworkTest : public QObject {
    Q_OBJECT
    EditorHarness h;

    ActionRecord *globalAction(const char *button) { return h.action(theGlobalAppl, button); }
    ApplicationRecord *vlc() { return h.appl("vlc"); }

private slots:
    void init() { h.start(frameworkMapping()); }
    void cleanup() { h.stop(); }

    void returnAndEnterInAFieldMoveToTheNextFieldAndNeverPressOK()
    {
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        ModelSnapshot before;
        h.focus(26);
        QTest::keyClick(h.field(26), Qt::Key_Return);
        QVERIFY(editDlog);
        QWidget *afterReturn = EDITdialog()->focusWidget();
        QVERIFY(afterReturn != h.field(26));
        QVERIFY(qobject_cast<QLineEdit *>(afterReturn));
        QTest::keyClick(afterReturn, Qt::Key_Enter, Qt::KeypadModifier);
        QVERIFY(editDlog);
        QVERIFY(EDITdialog()->focusWidget() != afterReturn);
        QVERIFY(before.changed().empty());
        QCOMPARE(fileChg, 0);
    }

    void aFifthDigitInARepeatFieldIsRefusedUnlessPartIsSelected()
    {
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        h.focus(26);
        h.field(26)->end(false);
        QTest::keyClicks(h.field(26), "12");
        QCOMPARE(h.text(26), QString("5001"));
        QTest::keyClicks(h.field(26), "a");
        QCOMPARE(h.text(26), QString("5001"));
        h.field(26)->setSelection(0, 1);
        QTest::keyClicks(h.field(26), "9");
        QCOMPARE(h.text(26), QString("9001"));
    }

    void anEmptiedLaunchScriptOrTextNameAndOkCloseAndLeaveTheActionUnchanged()
    {
        struct Case {
            const char *button;
            int field;
        };
        for (Case c : { Case { "Play", 12 }, Case { "Stop", 12 }, Case { "Menu", 11 } }) {
            h.start(frameworkMapping());
            ModelSnapshot before;
            QVERIFY(h.open(vlc(), h.action(vlc(), c.button)));
            h.focus(c.field);
            h.field(c.field)->selectAll();
            QTest::keyClick(h.field(c.field), Qt::Key_Backspace);
            QCOMPARE(h.text(c.field), QString());
            h.click(kEditOK);
            QVERIFY2(!editDlog, c.button);
            QVERIFY2(before.changed().empty(), c.button);
            QCOMPARE(fileChg, 0);
        }
    }

    void anActionOfATypeWithoutAPageOpensOnTheFixedTopAndThePopupRetypesIt()
    {
        ActionRecord *menu = globalAction("Menu");
        menu->theEvent.common.type = kMapSwitchEventType;
        QVERIFY(h.open(theGlobalAppl, menu));
        QCOMPARE(currentActionType, (int32_t)kPageUnknown);
        QVERIFY(!h.item(11) && !h.item(12));
        QVERIFY(h.item(kEditOK) && h.item(kEditActionType));
        h.choose(kEditActionType, kPageTextString);
        h.type(11, "hi");
        h.click(kEditOK);
        QVERIFY(!editDlog);
        QCOMPARE(menu->theEvent.common.type, (int32_t)kTextStringEventType);
        QCOMPARE(QString(menu->theEvent.textString.text), QString("hi"));
        QCOMPARE(QString(menu->buttonName), QString("Menu"));
        QCOMPARE(fileChg, 1);
    }

    void aButtonNoLongerOnTheRemoteShowsItsNameWithTheNote()
    {
        QVERIFY(h.open(theGlobalAppl, globalAction("Eject")));
        QCOMPARE(qobject_cast<QLabel *>(h.item(kEditButtonName))->text(),
            QString("Eject") + QString::fromUtf8(getstring(129, 23)));
        h.click(kEditCancel);
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        QCOMPARE(qobject_cast<QLabel *>(h.item(kEditButtonName))->text(), QString("Play"));
    }

    void theApplicationLabelNamesTheGlobalAndTheUnnamedEntries()
    {
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        QCOMPARE(qobject_cast<QLabel *>(h.item(kEditApplName))->text(), QString::fromUtf8(getstring(129, 35)));
        h.click(kEditCancel);
        ApplicationRecord *unnamed = &theActionByApplList[0];
        QCOMPARE(unnamed->name[0], '\0');
        QVERIFY(h.open(unnamed, h.action(unnamed, "Play")));
        QCOMPARE(qobject_cast<QLabel *>(h.item(kEditApplName))->text(), QString::fromUtf8(getstring(129, 2)));
        h.click(kEditCancel);
        QVERIFY(h.open(vlc(), h.action(vlc(), "Play")));
        QCOMPARE(qobject_cast<QLabel *>(h.item(kEditApplName))->text(), QString("vlc"));
    }

    void cleanUpItemsLeavesNoReferenceOfThePreviousPageLive()
    {
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        QVERIFY(EDITlive(etKeyHdl) && EDITlive(etDelayHdl) && EDITlive(rbSystemRepeatHdl));
        h.choose(kEditActionType, kPageLaunch);
        for (QWidget *ref : { etDelayHdl, etRate1Hdl, etRepsHdl, etRate2Hdl, rbCustomHdl, rbNoRepeatHdl,
                 rbSystemRepeatHdl, rbSlowRepeatHdl, rbAccelRepeatHdl, rbFastRepeatHdl, ckAdvRepeatHdl, etScriptnameHdl,
                 etKeyHdl, etHexKeyHdl, ckAdvancedHdl, ckCommandHdl, ckShiftHdl, ckOptionHdl, ckControlHdl, rbSetSVHdl,
                 rbChangeSVHdl, rbMuteSVHdl, rbFadeSVHdl, etStringTSHdl })
            QCOMPARE((uintptr_t)ref, (uintptr_t)0x98765432u);
        QVERIFY(EDITlive(etLaunchNameHdl));
        QVERIFY(!h.item(26)); // the keystroke page's items are gone from the dialog
    }

    void switchingPagesKeepsTheEditsOfEachPage()
    {
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        h.click(39); // advanced view
        h.click(16); // Shift
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)0x200);
        h.choose(kEditActionType, kPageMouse);
        h.click(33); // move up
        h.choose(kEditActionType, kPageKeystroke);
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)0x200);
        QVERIFY(h.text(12).startsWith("shift-"));
        h.choose(kEditActionType, kPageMouse);
        QVERIFY(h.checked(33));
        QCOMPARE(QString(theKeyEventMouse.name), QString("Play"));
    }

    void theMouseCopySurvivesReopeningWhileTheOthersAreCleared()
    {
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        h.choose(kEditActionType, kPageMouse);
        h.click(39); // single click, left
        h.click(kEditCancel);
        QVERIFY(!editDlog);
        QVERIFY(h.open(theGlobalAppl, globalAction("Menu")));
        QCOMPARE(theKeyEvent.message, 0u);
        h.choose(kEditActionType, kPageMouse);
        QVERIFY(h.checked(39));
        QCOMPARE(theKeyEventMouse.message & 0xFF, 5u);
        h.choose(kEditActionType, kPageKeystroke);
        QCOMPARE(theKeyEvent.message, 0u);
        QCOMPARE(h.text(14), QString("0000"));
    }

    void cancelEscapeAndTheCloseButtonDiscardTheEdits()
    {
        for (int way = 0; way < 3; way++) {
            h.start(frameworkMapping());
            ModelSnapshot before;
            QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
            h.click(39);
            h.click(16);
            QVERIFY(keyEventChanged);
            if (way == 0)
                h.click(kEditCancel);
            else if (way == 1)
                QTest::keyClick(h.item(16), Qt::Key_Escape);
            else
                EDITdialog()->close();
            QCoreApplication::processEvents();
            QVERIFY2(!editDlog, qPrintable(QString("way %1").arg(way)));
            QVERIFY(before.changed().empty());
            QCOMPARE(fileChg, 0);
            QCOMPARE(queryEditChanges(), 0);
        }
    }

    void okWritesOnlyTheEditedActionWithItsFlagsAndMarksTheMappingChanged()
    {
        ActionRecord *play = h.action(vlc(), "Play");
        ModelSnapshot before;
        QVERIFY(h.open(vlc(), play));
        tentativeOverride = 0; // what the main window decided when opening
        h.focus(12);
        h.field(12)->selectAll();
        QTest::keyClicks(h.field(12), "/usr/bin/env");
        h.click(kEditOK);
        QVERIFY(!editDlog);
        QCOMPARE(QString(play->theEvent.launch.path), QString("/usr/bin/env"));
        QCOMPARE(play->theEvent.common.type, (int32_t)kLaunchEventType);
        QCOMPARE(play->override, 0);
        QCOMPARE(play->disabled, 0);
        QCOMPARE(fileChg, 1);
        QCOMPARE(before.changed().size(), (size_t)1);
    }

    void okWithoutAChangeWritesNothing()
    {
        ModelSnapshot before;
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        h.click(kEditOK);
        QVERIFY(!editDlog);
        QVERIFY(before.changed().empty());
        QCOMPARE(fileChg, 0);
    }

    void okRedrawsTheEditedRow()
    {
        maxNumItems = 10;
        QVERIFY(ROWSallocate() == 0);
        LISTsetRowCount(maxNumItems);
        currentAppl = vlc();
        QVERIFY(ROWSfillByApplication() >= 1);
        currentItemIdx = 0;
        QVERIFY(QString(LISTgetCell(0)).contains("true"));
        QVERIFY(h.open(vlc(), h.action(vlc(), "Play")));
        h.focus(12);
        h.field(12)->selectAll();
        QTest::keyClicks(h.field(12), "/usr/bin/env");
        h.click(kEditOK);
        QVERIFY(QString(LISTgetCell(0)).contains("env"));
    }

    void queryEditChangesSeesATypedCharacterAndAnEdit()
    {
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        QCOMPARE(queryEditChanges(), 0);
        h.focus(26);
        h.field(26)->selectAll();
        QTest::keyClicks(h.field(26), "7");
        QCOMPARE(chgEtFieldEdit, 1);
        QCOMPARE(queryEditChanges(), 1);
        QCOMPARE(theKeyEvent.delay, 500);
        h.focus(28); // leaving the field takes its text
        QCOMPARE(theKeyEvent.delay, 7);
        QCOMPARE(chgEtFieldEdit, 0);
        QCOMPARE(keyEventChanged, 1);
        QCOMPARE(queryEditChanges(), 1);
    }

    void theDisableCheckBoxStaysHiddenAndAsksFirstInTheGlobalEntry()
    {
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        QVERIFY(!h.shown(kEditDisable));
        h.presenter.nextAnswers = { 2 }; // No
        doItemHitEdit(kEditDisable);
        QCOMPARE(h.presenter.texts().back(), std::string(getstring(129, 24)));
        QCOMPARE(keyDisable, 0);
        QCOMPARE(keyEventChanged, 0);
        h.presenter.nextAnswers = { 1 }; // Yes
        doItemHitEdit(kEditDisable);
        QCOMPARE(keyDisable, 1);
        QCOMPARE(keyEventChanged, 1);
        QVERIFY(!h.item(kEditActionType)->isEnabled());
        QCOMPARE(h.text(12), QString(""));
        QVERIFY(!h.shown(kEditDisable));
        h.presenter.nextAnswers = { 1 };
        doItemHitEdit(kEditDisable);
        QCOMPARE(h.presenter.texts().back(), std::string(getstring(129, 25)));
        QCOMPARE(keyDisable, 0);
        QVERIFY(h.item(kEditActionType)->isEnabled());
        h.click(kEditCancel);
        size_t asked = h.presenter.shown.size();
        QVERIFY(h.open(vlc(), h.action(vlc(), "Play")));
        doItemHitEdit(kEditDisable); // not the global entry: no question
        QCOMPARE(h.presenter.shown.size(), asked);
        QCOMPARE(keyDisable, 1);
        h.click(kEditOK);
        QCOMPARE(h.action(vlc(), "Play")->disabled, 1);
    }

    void theWindowOpensWhereItWasLastLeft()
    {
        theConfigPrefs.editLeft = 0;
        theConfigPrefs.editTop = 0;
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        QCOMPARE(EDITdialog()->pos(), QPoint(100, 100));
        QCOMPARE(theConfigPrefs.editLeft, (int16_t)100);
        QCOMPARE(theConfigPrefs.editTop, (int16_t)100);
        prefsChanged = 0;
        EDITdialog()->move(300, 200);
        QTRY_COMPARE(theConfigPrefs.editLeft, (int16_t)300);
        QCOMPARE(theConfigPrefs.editTop, (int16_t)200);
        QCOMPARE(prefsChanged, 1);
        h.click(kEditCancel);
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        QCOMPARE(EDITdialog()->pos(), QPoint(300, 200));
    }

    void anOpenEditorIsBroughtForwardNotOpenedTwice()
    {
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        void *first = editDlog;
        QCOMPARE(createEditDialog(0), 0);
        QCOMPARE(editDlog, first);
    }

    void editMenuCommandsWorkOnTheFocusedFieldAndPasteIsFiltered()
    {
        QVERIFY(h.open(theGlobalAppl, globalAction("Play")));
        QGuiApplication::clipboard()->setText("12a345");
        h.focus(26);
        h.field(26)->selectAll();
        doEditDialogEditCommand(3);
        QCOMPARE(h.text(26), QString("1234"));
        QCOMPARE(chgEtFieldEdit, 1);
        h.field(26)->setSelection(1, 2);
        doEditDialogEditCommand(1); // cut
        QCOMPARE(h.text(26), QString("14"));
        QCOMPARE(QGuiApplication::clipboard()->text(), QString("23"));
        h.field(26)->setSelection(0, 1);
        doEditDialogEditCommand(2); // copy
        QCOMPARE(QGuiApplication::clipboard()->text(), QString("1"));
        h.field(26)->end(false);
        doEditDialogEditCommand(4); // clear without a selection does nothing
        QCOMPARE(h.text(26), QString("14"));
        h.field(26)->setSelection(0, 1);
        doEditDialogEditCommand(4);
        QCOMPARE(h.text(26), QString("4"));
        // The key field takes one character at most; pasting by the keyboard is filtered too.
        QGuiApplication::clipboard()->setText("xyz");
        h.focus(12);
        h.field(12)->end(false);
        QTest::keyClick(h.field(12), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(h.text(12), QString("space"));
        h.field(12)->selectAll();
        QTest::keyClick(h.field(12), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(h.text(12), QString("x"));
    }
};

QTEST_MAIN(EditorFrameworkTest)
#include "editor_framework_test.moc"
