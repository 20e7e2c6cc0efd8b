// Selecting rows in the main window: arrow keys, clicks, double clicks, the editor's pending
// changes, the row buttons, the remote's button presses, views and the check boxes.
#include "mapperlink/mapperapi.h"
#include "support/mainwin_window.h"

class MainWindowSelectionTest : public QObject {
    Q_OBJECT
    TempConfigHome *home = nullptr;
    RecordingPresenter presenter;

    QPoint rowCenter(int row) { return QPoint(40, row * MAINrowHeight() + MAINrowHeight() / 2); }
    int key(int qtKey)
    {
        QKeyEvent press(QEvent::KeyPress, qtKey, Qt::NoModifier);
        return doEvent(popupAppleHdl, &press);
    }

private slots:
    void init()
    {
        home = new TempConfigHome;
        PRESset(&presenter);
        presenter.clear();
        QCOMPARE(MWTESTstart(*home, false), 0);
        QCOMPARE(QString(currentAppl->name), QString("vlc"));
    }
    void cleanup()
    {
        MWTESTreset();
        PRESset(nullptr);
        delete home;
        home = nullptr;
    }

    void upOnRowZeroAndDownOnTheLastRowKeepTheSelectionButAreConsumed()
    {
        keySelectButton(0, 0);
        QCOMPARE(key(Qt::Key_Up), 1);
        QCOMPARE(currentItemIdx, 0);
        keySelectButton(numItemsDisplayed - 1, 0);
        QCOMPARE(key(Qt::Key_Down), 1);
        QCOMPARE(currentItemIdx, numItemsDisplayed - 1);
        QCOMPARE(LGetSelect(), numItemsDisplayed - 1);
        QCOMPARE(key(Qt::Key_Up), 1);
        QCOMPARE(currentItemIdx, numItemsDisplayed - 2);
    }

    void withoutSelectionDownSelectsRowZeroAndUpDoesNothing()
    {
        QCOMPARE(currentItemIdx, -1);
        QCOMPARE(key(Qt::Key_Up), 1);
        QCOMPARE(currentItemIdx, -1);
        QCOMPARE(LGetSelect(), -1);
        QCOMPARE(key(Qt::Key_Down), 1);
        QCOMPARE(currentItemIdx, 0);
        QCOMPARE(currentButtonIdx, 0);
        QCOMPARE(LGetSelect(), 0);
    }

    void clickSelectsARowAndAClickBelowTheLastRowClearsTheSelection()
    {
        VQXEVTinstallRouting();
        QTest::mouseClick(buttonList->viewport(), Qt::LeftButton, {}, rowCenter(1));
        QCOMPARE(currentItemIdx, 1);
        QCOMPARE(LGetSelect(), 1);
        QVERIFY(numItemsDisplayed * MAINrowHeight() < buttonList->viewport()->height());
        QTest::mouseClick(buttonList->viewport(), Qt::LeftButton, {}, QPoint(40, buttonList->viewport()->height() - 2));
        QCOMPARE(currentItemIdx, -1);
        QCOMPARE(currentButtonIdx, -1);
        QCOMPARE(LGetSelect(), -1);
        QVERIFY(!btEditHdl->isEnabled());
    }

    void doubleClickOnARowFollowingTheGlobalActionOnlySelectsIt()
    {
        VQXEVTinstallRouting();
        int stop = MWTESTrowOf("Stop"); // vlc follows the global action for Stop
        QVERIFY(stop >= 0);
        QTest::mouseDClick(buttonList->viewport(), Qt::LeftButton, {}, rowCenter(stop));
        QCOMPARE(currentItemIdx, stop);
        QCOMPARE(currentButtonAction, (ActionRecord *)nullptr); // the editor was not asked for
        QVERIFY(btUseAppSpecificActionHdl->isEnabled());
        QVERIFY(!btUseGlobalActionHdl->isEnabled());
        QVERIFY(!btEditHdl->isEnabled());

        int play = MWTESTrowOf("Play"); // its own action: the editor is asked for
        QTest::mouseDClick(buttonList->viewport(), Qt::LeftButton, {}, rowCenter(play));
        QCOMPARE(currentItemIdx, play);
        QCOMPARE(currentButtonAction, theItemDisplay[play].action);
        QVERIFY(editDlog != nullptr); // the editor opened on it
        // While the editor is open the row buttons stay off.
        QVERIFY(!btUseGlobalActionHdl->isEnabled());
        QVERIFY(!btEditHdl->isEnabled());
        closeEditDialog();
        QVERIFY(editDlog == nullptr);
    }

    void withTheEditorOpenAClickFirstAsksAboutPendingChanges()
    {
        VQXEVTinstallRouting();
        keySelectButton(0, 0);
        QWidget editor;
        editDlog = &editor;
        keyEventChanged = 1; // pending changes: leaving the row is refused
        QTest::mouseClick(buttonList->viewport(), Qt::LeftButton, {}, rowCenter(2));
        QCOMPARE(currentItemIdx, 0);
        QCOMPARE(LGetSelect(), 0);
        QCOMPARE(key(Qt::Key_Down), 1);
        QCOMPARE(currentItemIdx, 0);
        keyEventChanged = 0;
        QTest::mouseClick(buttonList->viewport(), Qt::LeftButton, {}, rowCenter(2));
        QCOMPARE(currentItemIdx, 2);
        QVERIFY(!btEditHdl->isEnabled()); // never while the editor is open
        editDlog = nullptr;
    }

    void useGlobalAndUseApplicationButtonsSetTheFlagAndMarkTheMappingChanged()
    {
        int stop = MWTESTrowOf("Stop");
        keySelectButton(stop, 0);
        QVERIFY(btUseAppSpecificActionHdl->isEnabled());
        QTest::mouseClick(btUseAppSpecificActionHdl, Qt::LeftButton);
        QCOMPARE(theItemDisplay[stop].action->override, 1);
        QCOMPARE(fileChg, 1);
        QCOMPARE(LISTgetCell(stop)[0], '\t'); // no globe any more
        QVERIFY(btUseGlobalActionHdl->isEnabled());
        QTest::mouseClick(btUseGlobalActionHdl, Qt::LeftButton);
        QCOMPARE(theItemDisplay[stop].action->override, 0);
        QCOMPARE(LISTgetCell(stop)[0], '@');
    }

    void buttonPressedOnTheRemoteSelectsItsRowOnlyByApplicationAndInFront()
    {
        char service[] = "button", down[] = "DWN Menu", up[] = "UPP";
        myCallback(service, down, 0);
        managerInFront = 0;
        doGetButtonFromAPI();
        QCOMPARE(currentItemIdx, -1);
        managerInFront = 1;
        doGetButtonFromAPI();
        QCOMPARE(currentItemIdx, MWTESTrowOf("Menu"));
        myCallback(service, up, 0);
        clearSelection();
        doGetButtonFromAPI();
        QCOMPARE(currentItemIdx, -1);
    }

    void switchingToTheButtonViewListsEveryApplicationForTheButton()
    {
        keySelectButton(0, 0);
        popupViewByHdl->setCurrentIndex(1);
        doItemHit(26);
        QCOMPARE(viewByButton, 1);
        QCOMPARE(theConfigPrefs.viewByButton, 1u);
        QCOMPARE(numItemsDisplayed, numApplications);
        QCOMPARE(popupAppleHdl->count(), numButtonsOnRemote);
        QCOMPARE(popupAppleHdl->currentIndex(), 0);
        QCOMPARE(stButtonColumnLabelHdl->text(), QString(getstring(129, 44)));
        QVERIFY(ckDisableHdl->isHidden());
        QCOMPARE(currentItemIdx, 2); // vlc, popup item 7, is row 2
        QVERIFY(!MENUitemEnabled(kMenuEdit, kItemNewAppl));

        popupAppleHdl->setCurrentIndex(2);
        doItemHit(18);
        QCOMPARE(viewByButtonIdx, 2);
        QCOMPARE(currentItemIdx, -1);

        popupViewByHdl->setCurrentIndex(0);
        doItemHit(26);
        QCOMPARE(viewByButton, 0);
        QCOMPARE(popupAppleHdl->count(), 8);
        QCOMPARE(currentApplIdx, 1); // no row was selected: the global entry
        QCOMPARE(currentAppl, theGlobalAppl);
        QCOMPARE(currentItemIdx, 2); // row viewByButtonIdx
        QVERIFY(MENUitemEnabled(kMenuEdit, kItemNewAppl));
    }

    void disableCheckBoxTogglesTheApplicationAndClearsTheSelection()
    {
        keySelectButton(0, 0);
        QTest::mouseClick(ckDisableHdl, Qt::LeftButton, {}, QPoint(6, ckDisableHdl->height() / 2));
        QCOMPARE(currentAppl->disabled, 1);
        QVERIFY(ckDisableHdl->isChecked());
        QCOMPARE(fileChg, 1);
        QCOMPARE(currentItemIdx, -1);
        QCOMPARE(LISTgetCell(MWTESTrowOf("Play"))[0], '#');
    }

    void showDetailsCheckBoxTogglesThePreference()
    {
        QTest::mouseClick(ckShowDetailsHdl, Qt::LeftButton, {}, QPoint(6, ckShowDetailsHdl->height() / 2));
        QCOMPARE(theConfigPrefs.showDetails, 1u);
        QVERIFY(ckShowDetailsHdl->isChecked());
        QCOMPARE(prefsChanged, 1);
    }

    void choosingAnApplicationInThePopupShowsItsButtons()
    {
        popupAppleHdl->setCurrentIndex(7);
        doItemHit(18);
        QCOMPARE(QString(currentAppl->name), QString("quiet"));
        QCOMPARE(currentApplIdx, 8);
        QCOMPARE(theConfigPrefs.currentApplIdx, 8);
        QCOMPARE(numItemsDisplayed, 3); // Menu was added by the start-up's reconciliation
        QVERIFY(MENUitemEnabled(kMenuEdit, kItemRenameAppl));
        popupAppleHdl->setCurrentIndex(1);
        doItemHit(18);
        QVERIFY(!MENUitemEnabled(kMenuEdit, kItemRenameAppl));
        QVERIFY(!POPitemEnabled(popupAppleHdl, 5));
    }

    void menusWhileEditingAreDisabledAndComeBack()
    {
        disableSummaryMenus();
        QVERIFY(!MENUitemEnabled(kMenuFile, kItemQuit));
        QVERIFY(!MENUitemEnabled(kMenuOptions, kItemEventLog));
        QVERIFY(!MENUitemEnabled(kMenuEdit, kItemDeleteUnused));
        QCOMPARE(MenuKey('Q'), 0L);
        enableSummaryMenus();
        QVERIFY(MENUitemEnabled(kMenuFile, kItemQuit));
        QVERIFY(MENUitemEnabled(kMenuEdit, kItemDeleteUnused));
        QCOMPARE(MenuKey('q'), ((long)kMenuFile << 16) | kItemQuit);
    }
};

QTEST_MAIN(MainWindowSelectionTest)
#include "mainwin_selection_test.moc"
