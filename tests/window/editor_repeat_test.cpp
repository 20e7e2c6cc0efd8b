// The repeat box of the keystroke, script, volume Change and mouse pages, and the mouse page: preset
// radios, the custom group, the page-dependent no-repeat storage, the multipliers, and the rules
// checked on OK with their unsigned arithmetic and the mouse page's reading of the keystroke copy.
#include "support/editor_window.h"

static const char *repeatMapping()
{
    return "MAPVER 2\n\n"
           "APPL *GLOBAL*\n"
           "ACT Play KEY 00000061 0000 500 150 10 76\n"
           "ACT Stop KEY 00000061 0000 0 500 1 500\n"
           "ACT Menu KEY 00000061 0000 0 10 61 100\n"
           "ACT Eject KEY 00000061 0000 1000 500 1 500\n\n"
           "APPL mouse\n"
           "ACT Play MOU 00005502 250 50 1 50 OVR\n"
           "ACT Stop MOU 00007702 250 50 1 50 OVR\n"
           "ACT Menu NO_ACTION OVR\n\n"
           "APPL other\n"
           "ACT Play SCR \"/nowhere/Go.scpt\" 500 150 10 75 OVR\n"
           "ACT Stop VOL CHG 51 1000 500 1 500 0 0 OVR\n";
}

class EditorRepeatTest : public QObject {
    Q_OBJECT
    EditorHarness h;

    void open(const char *appl, const char *button)
    {
        ApplicationRecord *a = strcmp(appl, "*GLOBAL*") == 0 ? theGlobalAppl : h.appl(appl);
        QVERIFY(h.open(a, h.action(a, button)));
    }

    // Every item of a page's custom group (base item b: the delay field) shown or hidden.
    void expectGroup(int b, bool shown, bool mouse = false)
    {
        std::vector<int> items
            = { b, b + 2, b + 4, b + 6, b - 1, b + 9, b + 10, b + 11, b + 12, b + 1, b + 3, b + 5, b + 7 };
        if (mouse)
            items.insert(items.end(), { 44, 45, 46 });
        for (int n : items)
            QVERIFY2(h.shown(n) == shown, qPrintable(QString("item %1 %2").arg(n).arg(shown ? "shown" : "hidden")));
    }

    // Types into a field (its whole text replaced).
    void enter(int item, const char *text)
    {
        h.focus(item);
        h.field(item)->selectAll();
        QTest::keyClicks(h.field(item), text);
    }

    // Sets the keystroke page's four values by typing and presses OK; the message shown, or "".
    std::string tryKeystroke(const char *delay, const char *rate1, const char *reps, const char *rate2)
    {
        h.start(repeatMapping());
        if (!h.open(theGlobalAppl, h.action(theGlobalAppl, "Play")))
            return "not opened";
        enter(26, delay);
        enter(30, rate1);
        enter(28, reps);
        enter(32, rate2);
        h.presenter.shown.clear();
        h.click(kEditOK);
        return h.presenter.shown.empty() ? std::string() : h.presenter.texts().back();
    }

private slots:
    void init() { h.start(repeatMapping()); }
    void cleanup() { h.stop(); }

    void valuesOneFieldAwayFromAPresetShowCustomWithTheFields()
    {
        open("*GLOBAL*", "Play");
        QVERIFY(h.checked(34));
        QVERIFY(!h.checked(23));
        expectGroup(26, true);
        QCOMPARE(h.text(32), QString("76"));
        QVERIFY(h.checked(40)); // the advanced box follows the shown group
    }

    void aPresetOnTheMousePageMatchesOnlyWithBothMultipliers()
    {
        open("mouse", "Play");
        QVERIFY(h.checked(13)); // Slow: multipliers 5 and 5
        expectGroup(17, false, true);
        h.click(kEditCancel);
        open("mouse", "Stop");
        QVERIFY(!h.checked(13));
        QVERIFY(h.checked(25)); // the same numbers with 7 and 7: Custom
        expectGroup(17, true, true);
        QCOMPARE(EDITvalue(h.item(44)), 7);
        QCOMPARE(EDITvalue(h.item(45)), 7);
    }

    void aDelayOfZeroShowsEmptyFieldsButStillARadio()
    {
        open("*GLOBAL*", "Stop");
        QVERIFY(h.checked(34));
        for (int n : { 26, 28, 30, 32 })
            QCOMPARE(h.text(n), QString(""));
    }

    void theFirstPhaseRulesUseUnsignedArithmetic()
    {
        QCOMPARE(tryKeystroke("500", "16", "100", "100"), std::string());
        QCOMPARE(tryKeystroke("500", "15", "67", "100"), std::string(getstring(129, 16)));
        QCOMPARE(tryKeystroke("500", "20", "61", "100"), std::string());
        QCOMPARE(tryKeystroke("500", "10", "61", "100"), std::string(getstring(129, 17)));
        QCOMPARE(tryKeystroke("500", "0", "1", "100"), std::string(getstring(129, 15)));
        QCOMPARE(tryKeystroke("500", "100", "1", "15"), std::string(getstring(129, 18)));
        QVERIFY(editDlog); // a failed check keeps the dialog open with the edits
        QCOMPARE(theKeyEvent.rate2, 15);
        // A first rate of -1 is a very large unsigned number, not one below 16.
        QCOMPARE(EDITcheckRepeat(0xFFFFFFFFu, 100, 0xFFFFFFFFu, 1), 1);
        QCOMPARE(EDITcheckRepeat(0x80000000u, 100, 0x80000000u, 2), 1); // the product wraps to 0
    }

    void noRepeatIsStoredDifferentlyByPage()
    {
        open("*GLOBAL*", "Play");
        h.click(21);
        QCOMPARE((uint32_t)theKeyEvent.delay, 0xFFFFFFFFu);
        QCOMPARE((uint32_t)theKeyEvent.rate1, 0xFFFFFFFFu);
        QCOMPARE((uint32_t)theKeyEvent.reps, 0xFFFFFFFFu);
        QCOMPARE((uint32_t)theKeyEvent.rate2, 0xFFFFFFFFu);
        QVERIFY(h.checked(21));
        QCOMPARE(keyEventChanged, 1);
        h.click(kEditCancel);
        open("other", "Play");
        h.click(15);
        QCOMPARE(theAppleEventEvent.delay, 0);
        QCOMPARE(theAppleEventEvent.rate1, 0);
        for (int radio : { 15, 16, 17, 18, 28 })
            QVERIFY(!h.checked(radio));
        h.click(kEditCancel);
        open("other", "Stop");
        h.click(24);
        QCOMPARE(theSysVolumeEvent.rate1, 0);
        QCOMPARE(theSysVolumeEvent.delay, 0);
        for (int radio : { 24, 25, 26, 27, 37 })
            QVERIFY(!h.checked(radio));
        h.click(kEditCancel);
        open("mouse", "Stop");
        h.click(12);
        QCOMPARE(theKeyEventMouse.delay, 0);
        QCOMPARE(theKeyEventMouse.rate1, 0);
        QCOMPARE((theKeyEventMouse.message >> 8) & 0xFF, 0x11u);
        QCOMPARE(theKeyEventMouse.message & 0xFF, 2u);
    }

    void presetsStoreTheirRowsAndSystemRepeatStoresZeros()
    {
        open("*GLOBAL*", "Play");
        h.click(22);
        QCOMPARE(theKeyEvent.delay, 1000);
        QCOMPARE(theKeyEvent.rate1, 500);
        QCOMPARE(theKeyEvent.reps, 1);
        QCOMPARE(theKeyEvent.rate2, 500);
        QVERIFY(h.checked(22) && !h.checked(34));
        h.click(41);
        QCOMPARE(theKeyEvent.delay, 0);
        QCOMPARE(theKeyEvent.rate1, 0);
        QVERIFY(h.checked(41));
        h.click(kEditCancel);
        open("other", "Play");
        h.click(18);
        QCOMPARE(theAppleEventEvent.delay, 500);
        QCOMPARE(theAppleEventEvent.rate1, 100);
        QVERIFY(h.checked(18));
        expectGroup(20, false);
    }

    void customAndTheAdvancedBoxShowTheGroupWithoutMarkingAChange()
    {
        open("other", "Play"); // Accelerate
        expectGroup(20, false);
        h.click(28);
        expectGroup(20, true);
        QCOMPARE(keyEventChanged, 0);
        QCOMPARE(advancedRepeat, 0); // on the script page Custom leaves the advanced box alone
        h.click(34);
        QCOMPARE(advancedRepeat, 1);
        expectGroup(20, true);
        h.click(34);
        expectGroup(20, false);
        QCOMPARE(keyEventChanged, 0);
        h.click(kEditCancel);
        open("*GLOBAL*", "Eject"); // a keystroke with the Slow preset
        expectGroup(26, false);
        h.click(34);
        QCOMPARE(advancedRepeat, 1);
        QVERIFY(h.checked(40));
        expectGroup(26, true);
        QCOMPARE(keyEventChanged, 0);
    }

    void aTypedValueTurnsAPresetIntoCustomAndBack()
    {
        open("other", "Play");
        h.click(34);
        enter(26, "26");
        h.focus(20);
        QCOMPARE(theAppleEventEvent.rate2, 26);
        QVERIFY(h.checked(28));
        QCOMPARE(keyEventChanged, 1);
        enter(26, "75");
        h.focus(20);
        QVERIFY(h.checked(17));
    }

    void theMultiplierPopupsSetTheirBitsOfTheActionWord()
    {
        open("mouse", "Play");
        h.choose(44, 9);
        QCOMPARE((theKeyEventMouse.message >> 8) & 0xF, 9u);
        QCOMPARE(keyEventChanged, 1);
        h.choose(45, 15);
        QCOMPARE((theKeyEventMouse.message >> 12) & 0xF, 15u);
        QCOMPARE(theKeyEventMouse.message & 0xFF, 2u);
    }

    void aNewMouseActionWithoutAKindCannotBeAccepted()
    {
        open("mouse", "Menu");
        h.choose(kEditActionType, kPageMouse);
        for (int radio : { 33, 34, 35, 36, 39, 40, 42, 43 })
            QVERIFY(!h.checked(radio));
        h.click(kEditOK);
        QVERIFY(editDlog);
        QCOMPARE(h.presenter.texts().back(), std::string(getstring(129, 47)));
        h.click(33);
        h.click(kEditOK);
        QVERIFY(!editDlog);
        QCOMPARE(h.action(h.appl("mouse"), "Menu")->theEvent.common.type, (int32_t)kMouseEventType);
    }

    void choosingMoveUpReplacesACustomRepeatWithTheAccelerateRow()
    {
        open("mouse", "Stop");
        enter(17, "999");
        h.focus(19);
        QCOMPARE(theKeyEventMouse.delay, 999);
        h.click(33);
        QCOMPARE(theKeyEventMouse.message & 0xFF, 1u);
        QCOMPARE(theKeyEventMouse.delay, 250);
        QCOMPARE(theKeyEventMouse.reps, 20);
        QCOMPARE(theKeyEventMouse.rate1, 50);
        QCOMPARE(theKeyEventMouse.rate2, 30);
        QCOMPARE((theKeyEventMouse.message >> 8) & 0xFF, 0x75u);
        QVERIFY(h.checked(33) && h.checked(14));
        h.click(39);
        QCOMPARE(theKeyEventMouse.delay, 0);
        QCOMPARE((theKeyEventMouse.message >> 8) & 0xFF, 0x11u);
    }

    void aDoubleClickWithADelayOf100AndFirstRate0FailsWithIndex15()
    {
        open("mouse", "Stop");
        h.click(43);
        QCOMPARE(theKeyEventMouse.message & 0xFF, 7u);
        h.click(25);
        enter(17, "100");
        h.click(kEditOK);
        QVERIFY(editDlog);
        QCOMPARE(theKeyEventMouse.delay, 100);
        QCOMPARE(h.presenter.texts().back(), std::string(getstring(129, 15)));
    }

    void theMouseChecksReadTheKeystrokeCopysRepetitions()
    {
        open("*GLOBAL*", "Menu"); // keystroke copy: first rate 10, 61 repetitions
        h.choose(kEditActionType, kPageMouse);
        h.click(35);
        h.click(25);
        enter(21, "10");
        enter(19, "1");
        h.click(kEditOK);
        QVERIFY(editDlog);
        QCOMPARE(theKeyEventMouse.reps, 1);
        QCOMPARE(h.presenter.texts().back(), std::string(getstring(129, 17)));
    }
};

QTEST_MAIN(EditorRepeatTest)
#include "editor_repeat_test.moc"
