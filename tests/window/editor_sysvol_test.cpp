// The system volume page: the kind radios and their sub-pages, sliders that snap to the values the
// file can hold, the read-outs, the Up and Down arrows, and the write-back on OK.
#include "support/editor_window.h"

static const char *volumeMapping()
{
    return "MAPVER 2\n\n"
           "APPL *GLOBAL*\n"
           "ACT Play VOL SET 255 0 0 0 0 0 2\n"
           "ACT Stop VOL CHG -255 500 77 3 100 1 0\n"
           "ACT Menu VOL MUTE 2 0 0 0 0 0 0\n"
           "ACT Eject NO_ACTION\n";
}

// Counts the Up and Down key presses that reach a widget, after the program's own filter (which
// sees every event first) has had its say: a key the page takes never arrives here.
class ArrowsReaching : public QObject {
public:
    int arrows = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::KeyPress) {
            int key = static_cast<QKeyEvent *>(event)->key();
            if (key == Qt::Key_Up || key == Qt::Key_Down)
                arrows++;
        }
        return false;
    }
};

class EditorSysVolTest : public QObject {
    Q_OBJECT
    EditorHarness h;

    void open(const char *button) { QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, button))); }
    QSlider *slider() { return qobject_cast<QSlider *>(h.item(17)); }
    void arrow(Qt::Key key, QWidget *target = nullptr) { QTest::keyClick(target ? target : h.item(17), key); }

private slots:
    void init() { h.start(volumeMapping()); }
    void cleanup() { h.stop(); }

    void upArrowAtDisplay100OnSetDoesNothing()
    {
        open("Play");
        QCOMPARE(h.text(22), QString("100"));
        QCOMPARE(slider()->value(), 400);
        arrow(Qt::Key_Up);
        QCOMPARE(theSysVolumeEvent.value, 255);
        QCOMPARE(h.text(22), QString("100"));
        QCOMPARE(keyEventChanged, 0);
        arrow(Qt::Key_Down);
        QCOMPARE(h.text(22), QString("99"));
        QCOMPARE(theSysVolumeEvent.value, 252);
        QCOMPARE(slider()->value(), 395);
        QCOMPARE(keyEventChanged, 1);
    }

    void downArrowAtDisplayMinus100OnChangeDoesNothing()
    {
        open("Stop");
        QCOMPARE(h.text(22), QString("-100"));
        QCOMPARE(slider()->value(), 0);
        arrow(Qt::Key_Down);
        QCOMPARE(theSysVolumeEvent.value, -255);
        QCOMPARE(keyEventChanged, 0);
        arrow(Qt::Key_Up);
        QCOMPARE(h.text(22), QString("-99"));
        QCOMPARE(theSysVolumeEvent.value, -252);
        QCOMPARE(keyEventChanged, 1);
    }

    void theArrowsAreAlwaysTakenAndNeverMoveTheTextCursor()
    {
        open("Stop");
        h.click(37);
        h.focus(29);
        h.field(29)->setCursorPosition(1);
        arrow(Qt::Key_Up, h.field(29));
        QCOMPARE(h.field(29)->cursorPosition(), 1);
        QCOMPARE(h.text(22), QString("-99"));
        h.click(14); // Mute: the arrows do nothing, and are still taken
        QVERIFY(h.checked(18));
        QCOMPARE(theSysVolumeEvent.value, 0);
        // Taken by the page: the radio itself never gets them.
        h.item(18)->setFocus();
        ArrowsReaching reaching;
        h.item(18)->installEventFilter(&reaching);
        arrow(Qt::Key_Down, h.item(18));
        QVERIFY(h.checked(18) && !h.checked(19));
        QCOMPARE(theSysVolumeEvent.value, 0);
        arrow(Qt::Key_Up, h.item(18));
        QVERIFY(h.checked(18) && !h.checked(17));
        QCOMPARE(theSysVolumeEvent.value, 0);
        QCOMPARE(reaching.arrows, 0);
        h.item(18)->removeEventFilter(&reaching);
        QVERIFY(h.item(18)->hasFocus());
        h.click(15); // Fade: the slider keeps its place, away from its ends where it could move
        slider()->setValue(290); // snaps to 285, fade value 10
        QCOMPARE(theSysVolumeEvent.value, 10);
        slider()->setFocus();
        arrow(Qt::Key_Up);
        QCOMPARE(slider()->value(), 285);
        QCOMPARE(theSysVolumeEvent.value, 10);
        arrow(Qt::Key_Down);
        QCOMPARE(slider()->value(), 285);
        QCOMPARE(theSysVolumeEvent.value, 10);
        QCOMPARE(h.text(28), QString("10"));
    }

    void leftAndRightStepTheSetSliderOneValueAtATime()
    {
        open("Play");
        slider()->setValue(140); // where it used to stick
        const int start = theSysVolumeEvent.value;
        int position = slider()->value();
        for (int value = start + 1; value <= 255; value++) {
            arrow(Qt::Key_Right);
            QCOMPARE(theSysVolumeEvent.value, value);
            QVERIFY2(slider()->value() > position, qPrintable(QString("value %1").arg(value)));
            position = slider()->value();
        }
        QCOMPARE(position, 400);
        arrow(Qt::Key_Right); // at the end nothing moves
        QCOMPARE(theSysVolumeEvent.value, 255);
        for (int value = 254; value >= start; value--) {
            arrow(Qt::Key_Left);
            QCOMPARE(theSysVolumeEvent.value, value);
            QVERIFY(slider()->value() < position);
            position = slider()->value();
        }
        QCOMPARE(keyEventChanged, 1);
    }

    void leftAndRightStepTheChangeSliderOneShownStepAtATime()
    {
        open("Stop");
        QCOMPARE(h.text(22), QString("-100"));
        arrow(Qt::Key_Left);
        QCOMPARE(h.text(22), QString("-100"));
        QCOMPARE(keyEventChanged, 0);
        for (int shown = -99; shown <= 100; shown++) {
            arrow(Qt::Key_Right);
            QCOMPARE(h.text(22), QString::number(shown));
        }
        QCOMPARE(theSysVolumeEvent.value, 255);
        QCOMPARE(slider()->value(), 400);
        for (int shown = 99; shown >= 80; shown--) {
            arrow(Qt::Key_Left);
            QCOMPARE(h.text(22), QString::number(shown));
        }
    }

    void theFadeSliderStepsThroughTheFadeValuesByKeysAndWheel()
    {
        open("Menu");
        h.click(15);
        QCOMPARE(theSysVolumeEvent.value, 1);
        for (int value : { 2, 3, 4, 5, 10, 20, 60, 60 }) {
            arrow(Qt::Key_Right);
            QCOMPARE(theSysVolumeEvent.value, value);
            QCOMPARE(h.text(28), QString::number(value));
        }
        for (int value : { 20, 10, 5 }) {
            arrow(Qt::Key_Left);
            QCOMPARE(theSysVolumeEvent.value, value);
        }
        QCOMPARE(keyEventChanged, 1);
        // One notch of the wheel, either way, lands on a neighbouring fade value.
        for (int notch : { 120, -120 }) {
            slider()->setValue(290);
            QCOMPARE(theSysVolumeEvent.value, 10);
            QPointF at(slider()->width() / 2.0, slider()->height() / 2.0);
            QWheelEvent wheel(at, slider()->mapToGlobal(at), QPoint(), QPoint(0, notch), Qt::NoButton, Qt::NoModifier,
                Qt::NoScrollPhase, false);
            QApplication::sendEvent(slider(), &wheel);
            QVERIFY2(theSysVolumeEvent.value == 5 || theSysVolumeEvent.value == 20,
                qPrintable(QString::number(theSysVolumeEvent.value)));
            QCOMPARE(h.text(28), QString::number(theSysVolumeEvent.value));
        }
    }

    void clickingFadeOnASetActionGivesValue1AndKeepsTheDirection()
    {
        open("Play");
        QCOMPARE(sysVolSubType, (int32_t)kSysVolSet);
        h.click(15);
        QCOMPARE(theSysVolumeEvent.subtype, (int32_t)kSysVolFade);
        QCOMPARE(theSysVolumeEvent.value, 1);
        QCOMPARE(theSysVolumeEvent.fadeType, 2);
        QCOMPARE(sysVolSubType, (int32_t)kSysVolFade);
        QVERIFY(h.checked(26) && !h.checked(24) && !h.checked(25));
        QVERIFY(h.checked(15) && !h.checked(12));
        QCOMPARE(h.text(28), QString("1"));
        QCOMPARE(slider()->value(), 0);
        h.click(kEditOK);
        ActionRecord *play = h.action(theGlobalAppl, "Play");
        QCOMPARE(play->theEvent.sysVolume.subtype, (int32_t)kSysVolFade);
        QCOMPARE(play->theEvent.sysVolume.value, 1);
        QCOMPARE(fileChg, 1);
    }

    void switchingChangeSetChangeKeepsTheRepeatValues()
    {
        open("Stop");
        QCOMPARE(theSysVolumeEvent.delay, 500);
        h.click(12);
        QVERIFY(!h.item(29));
        QCOMPARE(h.text(22), QString("0"));
        h.click(13);
        QCOMPARE(theSysVolumeEvent.delay, 500);
        QCOMPARE(theSysVolumeEvent.rate1, 77);
        QCOMPARE(theSysVolumeEvent.reps, 3);
        QCOMPARE(theSysVolumeEvent.rate2, 100);
        QVERIFY(h.checked(37));
        QCOMPARE(h.text(33), QString("77"));
    }

    void aSliderSnapsToAValueTheFileCanHold()
    {
        open("Play");
        slider()->setValue(201);
        QCOMPARE(theSysVolumeEvent.value, 128);
        QCOMPARE(slider()->value(), 200);
        QCOMPARE(h.text(22), QString("50"));
        QCOMPARE(keyEventChanged, 1);
        h.click(13);
        slider()->setValue(203);
        QCOMPARE(theSysVolumeEvent.value, 3);
        QCOMPARE(slider()->value(), 202);
        QCOMPARE(h.text(22), QString("1"));
        h.click(15);
        slider()->setValue(290);
        QCOMPARE(theSysVolumeEvent.value, 10);
        QCOMPARE(slider()->value(), 285);
        QCOMPARE(h.text(28), QString("10"));
    }

    void draggingASliderShowsTheValueAsItMoves()
    {
        open("Play");
        slider()->setSliderDown(true);
        slider()->setValue(200);
        QCOMPARE(h.text(22), QString("50"));
        QCOMPARE(theSysVolumeEvent.value, 128);
        QCOMPARE(keyEventChanged, 0);
        slider()->setValue(201);
        slider()->setSliderDown(false); // released: the value snaps
        QCOMPARE(theSysVolumeEvent.value, 128);
        QCOMPARE(slider()->value(), 200);
        QCOMPARE(keyEventChanged, 1);
    }

    void theMuteRadiosAndTheUnMuteBoxSetTheirValues()
    {
        open("Menu");
        QVERIFY(h.checked(19));
        h.click(17);
        QCOMPARE(theSysVolumeEvent.value, 1);
        QVERIFY(h.checked(17) && !h.checked(19));
        h.click(18);
        QCOMPARE(theSysVolumeEvent.value, 0);
        h.click(kEditCancel);
        open("Stop");
        QVERIFY(h.checked(20));
        h.click(20);
        QCOMPARE(theSysVolumeEvent.unMute, 0);
        QVERIFY(!h.checked(20));
        QCOMPARE(keyEventChanged, 1);
    }

    void aNewVolumeActionShowsNoSubPageUntilAKindIsChosen()
    {
        ActionRecord *eject = h.action(theGlobalAppl, "Eject");
        QVERIFY(h.open(theGlobalAppl, eject));
        h.choose(kEditActionType, kPageSysVolume);
        QCOMPARE(sysVolSubType, 0);
        QVERIFY(!h.item(17));
        for (int radio : { 12, 13, 14, 15 })
            QVERIFY(!h.checked(radio));
        h.click(kEditOK);
        QVERIFY(!editDlog);
        QCOMPARE(eject->theEvent.common.type, (int32_t)kNoActionEventType);
        QVERIFY(h.open(theGlobalAppl, eject));
        h.choose(kEditActionType, kPageSysVolume);
        h.click(14);
        h.click(17);
        h.click(kEditOK);
        QCOMPARE(eject->theEvent.common.type, (int32_t)kSysVolumeEventType);
        QCOMPARE(eject->theEvent.sysVolume.subtype, (int32_t)kSysVolMute);
        QCOMPARE(eject->theEvent.sysVolume.value, 1);
    }

    void bumpingOffTheVolumePageIsReported()
    {
        open("Eject");
        doBumpSysVolume(1);
        QCOMPARE(h.presenter.texts().back(), std::string("bad doBumpSysVolume"));
    }
};

QTEST_MAIN(EditorSysVolTest)
#include "editor_sysvol_test.moc"
