// The keystroke page: recording a key by pressing it (each key of the key code table with and
// without Shift, Ctrl, Alt and Super), the key field's text, the frame while recording, media keys,
// the advanced view, the hexadecimal field and the checks on OK.
#include "support/editor_window.h"

static const char *keystrokeMapping()
{
    return "MAPVER 2\n\n"
           "APPL *GLOBAL*\n"
           "ACT Play KEY 00003120 0000 -1 -1 -1 -1\n"
           "ACT Stop KEY 00000c71 1480 -1 -1 -1 -1\n"
           "ACT Menu KEY 00000001 0001 500 1 100 100\n";
}

// The virtual key codes of the US keyboard and the characters the keys type, as the key code table
// gives them; written out here independently of the program's own table.
struct TableKey {
    Qt::Key key;
    bool keypad;
    uint8_t code;
    char plain; // character without Shift (0 for the special keys)
    char shifted; // with Shift
    uint8_t special; // character code of a special key
};

static std::vector<TableKey> tableKeys()
{
    std::vector<TableKey> keys;
    const struct {
        char ch;
        uint8_t code;
    } letters[] = { { 'a', 0x00 }, { 's', 0x01 }, { 'd', 0x02 }, { 'f', 0x03 }, { 'h', 0x04 }, { 'g', 0x05 },
        { 'z', 0x06 }, { 'x', 0x07 }, { 'c', 0x08 }, { 'v', 0x09 }, { 'b', 0x0B }, { 'q', 0x0C }, { 'w', 0x0D },
        { 'e', 0x0E }, { 'r', 0x0F }, { 'y', 0x10 }, { 't', 0x11 }, { 'o', 0x1F }, { 'u', 0x20 }, { 'i', 0x22 },
        { 'p', 0x23 }, { 'l', 0x25 }, { 'j', 0x26 }, { 'k', 0x28 }, { 'n', 0x2D }, { 'm', 0x2E } };
    for (auto l : letters)
        keys.push_back({ Qt::Key(Qt::Key_A + (l.ch - 'a')), false, l.code, l.ch, (char)(l.ch - 32), 0 });
    const struct {
        Qt::Key key;
        uint8_t code;
        char plain, shifted;
    } symbols[] = { { Qt::Key_1, 0x12, '1', '!' }, { Qt::Key_2, 0x13, '2', '@' }, { Qt::Key_3, 0x14, '3', '#' },
        { Qt::Key_4, 0x15, '4', '$' }, { Qt::Key_6, 0x16, '6', '^' }, { Qt::Key_5, 0x17, '5', '%' },
        { Qt::Key_Equal, 0x18, '=', '+' }, { Qt::Key_9, 0x19, '9', '(' }, { Qt::Key_7, 0x1A, '7', '&' },
        { Qt::Key_Minus, 0x1B, '-', '_' }, { Qt::Key_8, 0x1C, '8', '*' }, { Qt::Key_0, 0x1D, '0', ')' },
        { Qt::Key_BracketRight, 0x1E, ']', '}' }, { Qt::Key_BracketLeft, 0x21, '[', '{' },
        { Qt::Key_Apostrophe, 0x27, '\'', '"' }, { Qt::Key_Semicolon, 0x29, ';', ':' },
        { Qt::Key_Backslash, 0x2A, '\\', '|' }, { Qt::Key_Comma, 0x2B, ',', '<' }, { Qt::Key_Slash, 0x2C, '/', '?' },
        { Qt::Key_Period, 0x2F, '.', '>' }, { Qt::Key_QuoteLeft, 0x32, '`', '~' }, { Qt::Key_Space, 0x31, ' ', ' ' } };
    for (auto s : symbols)
        keys.push_back({ s.key, false, s.code, s.plain, s.shifted, 0 });
    const struct {
        Qt::Key key;
        uint8_t code, ch;
    } specials[] = { { Qt::Key_Return, 0x24, 0x0D }, { Qt::Key_Tab, 0x30, 0x09 }, { Qt::Key_Escape, 0x35, 0x1B },
        { Qt::Key_Backspace, 0x33, 0x08 }, { Qt::Key_Delete, 0x75, 0x7F }, { Qt::Key_Insert, 0x72, 0x05 },
        { Qt::Key_Home, 0x73, 0x01 }, { Qt::Key_End, 0x77, 0x04 }, { Qt::Key_PageUp, 0x74, 0x0B },
        { Qt::Key_PageDown, 0x79, 0x0C }, { Qt::Key_Left, 0x7B, 0x1C }, { Qt::Key_Right, 0x7C, 0x1D },
        { Qt::Key_Down, 0x7D, 0x1F }, { Qt::Key_Up, 0x7E, 0x1E }, { Qt::Key_F1, 0x7A, 0x10 },
        { Qt::Key_F2, 0x78, 0x10 }, { Qt::Key_F3, 0x63, 0x10 }, { Qt::Key_F4, 0x76, 0x10 }, { Qt::Key_F5, 0x60, 0x10 },
        { Qt::Key_F6, 0x61, 0x10 }, { Qt::Key_F7, 0x62, 0x10 }, { Qt::Key_F8, 0x64, 0x10 }, { Qt::Key_F9, 0x65, 0x10 },
        { Qt::Key_F10, 0x6D, 0x10 }, { Qt::Key_F11, 0x67, 0x10 }, { Qt::Key_F12, 0x6F, 0x10 } };
    for (auto s : specials)
        keys.push_back({ s.key, false, s.code, 0, 0, s.ch });
    keys.push_back({ Qt::Key_Enter, true, 0x4C, 0, 0, 0x03 });
    const uint8_t keypadCodes[10] = { 0x52, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5B, 0x5C };
    for (int d = 0; d < 10; d++)
        keys.push_back({ Qt::Key(Qt::Key_0 + d), true, keypadCodes[d], (char)('0' + d), (char)('0' + d), 0 });
    return keys;
}

// The key's name as the descriptions give it: the character, a control character as its letter,
// or the name of the key.
static QString keyName(uint8_t c, uint8_t k)
{
    if (c > 32 && c < 127)
        return QString(QChar(c));
    if (k < 47 && k != 36)
        return QString(QChar(c + 64));
    const struct {
        uint16_t value;
        const char *name;
    } names[] = { { 0x240D, "return" }, { 0x3009, "tab" }, { 0x3120, "space" }, { 0x3308, "delete" },
        { 0x3403, "enter" }, { 0x4C03, "enter" }, { 0x351B, "esc" }, { 0x471B, "clear" }, { 0x7205, "help" },
        { 0x7301, "home" }, { 0x7704, "end" }, { 0x740B, "PageUp" }, { 0x790C, "PageDn" }, { 0x757F, "del" },
        { 0x7B1C, "LeftArrow" }, { 0x7C1D, "RightArrow" }, { 0x7D1F, "DownArrow" }, { 0x7E1E, "UpArrow" },
        { 0x7A10, "F1" }, { 0x7810, "F2" }, { 0x6310, "F3" }, { 0x7610, "F4" }, { 0x6010, "F5" }, { 0x6110, "F6" },
        { 0x6210, "F7" }, { 0x6410, "F8" }, { 0x6510, "F9" }, { 0x6D10, "F10" }, { 0x6710, "F11" }, { 0x6F10, "F12" } };
    for (auto n : names)
        if (n.value == (k << 8 | c))
            return n.name;
    return QString();
}

class EditorKeystrokeTest : public QObject {
    Q_OBJECT
    EditorHarness h;

    void openPlay() { QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Play"))); }

private slots:
    void init() { h.start(keystrokeMapping()); }
    void cleanup() { h.stop(); }

    void everyTableKeyIsRecordedWithItsCodesAndModifiers()
    {
        openPlay();
        const struct {
            Qt::KeyboardModifiers held;
            uint16_t flags;
            const char *prefix;
        } combos[] = { { Qt::NoModifier, 0, "" }, { Qt::ShiftModifier, 0x200, "shift-" },
            { Qt::ControlModifier, 0x1000, "ctrl-" }, { Qt::AltModifier, 0x800, "opt-" },
            { Qt::MetaModifier, 0x100, "cmd-" } };
        int recorded = 0;
        for (const TableKey &key : tableKeys()) {
            for (auto combo : combos) {
                h.click(19);
                QVERIFY(acceptKeyStateEdit);
                Qt::KeyboardModifiers mods = combo.held | (key.keypad ? Qt::KeypadModifier : Qt::NoModifier);
                QTest::keyClick(h.item(19), key.key, mods);
                QString what = QString("key 0x%1 with %2").arg((int)key.key, 0, 16).arg(combo.prefix);
                QVERIFY2(!acceptKeyStateEdit, qPrintable(what));
                QVERIFY2(editDlog, qPrintable(what));
                uint8_t ch = key.special;
                if (key.plain) {
                    bool letter = key.plain >= 'a' && key.plain <= 'z';
                    ch = (uint8_t)((combo.held & Qt::ShiftModifier) && !key.keypad ? key.shifted : key.plain);
                    if (letter && (combo.held & Qt::ControlModifier))
                        ch = (uint8_t)(key.plain - 'a' + 1);
                }
                const uint32_t message = (uint32_t)key.code << 8 | ch;
                QVERIFY2(theKeyEvent.message == message,
                    qPrintable(what
                        + QString(": message %1, expected %2").arg(theKeyEvent.message, 0, 16).arg(message, 0, 16)));
                QVERIFY2(theKeyEvent.modifiers == combo.flags, qPrintable(what));
                QString shown = QString(combo.prefix) + keyName(ch, key.code);
                QVERIFY2(h.text(12) == shown, qPrintable(what + ": shows " + h.text(12) + ", expected " + shown));
                QCOMPARE(keyEventChanged, 1);
                recorded++;
            }
        }
        QVERIFY(recorded > 300);
    }

    void recordingFramesTheKeyFieldAndRenamesTheButton()
    {
        openPlay();
        QWidget *frame = EDITdialog()->findChild<QWidget *>("keyFrame");
        QVERIFY(frame);
        QVERIFY(!frame->property("capturing").toBool());
        QCOMPARE(qobject_cast<QAbstractButton *>(h.item(19))->text(), QString::fromUtf8(getstring(129, 10)));
        h.click(19);
        QVERIFY(frame->property("capturing").toBool());
        QCOMPARE(qobject_cast<QAbstractButton *>(h.item(19))->text(), QString::fromUtf8(getstring(129, 11)));
        h.click(19); // a second click ends it with no key taken
        QVERIFY(!acceptKeyStateEdit);
        QVERIFY(!frame->property("capturing").toBool());
        QCOMPARE(theKeyEvent.message, 0x3120u);
        QCOMPARE(keyEventChanged, 0);
    }

    void leavingOrReturningToTheProgramEndsARecording()
    {
        openPlay();
        h.click(19);
        QApplicationStateChangeEvent suspend(Qt::ApplicationInactive);
        QCoreApplication::sendEvent(qApp, &suspend);
        QCOMPARE(acceptKeyStateEdit, 0);
        QCOMPARE(theKeyEvent.message, 0x3120u);
        QCOMPARE(qobject_cast<QAbstractButton *>(h.item(19))->text(), QString::fromUtf8(getstring(129, 10)));
        h.click(19);
        QApplicationStateChangeEvent resume(Qt::ApplicationActive);
        QCoreApplication::sendEvent(qApp, &resume);
        QCOMPARE(acceptKeyStateEdit, 0);
    }

    void recordingEscapeStoresItAndKeepsTheDialogOpen()
    {
        openPlay();
        h.click(19);
        QTest::keyClick(h.item(19), Qt::Key_Escape);
        QVERIFY(editDlog);
        QCOMPARE(theKeyEvent.message, 0x351Bu);
        QCOMPARE(h.text(12), QString("esc"));
        h.click(kEditOK);
        QVERIFY(!editDlog);
        QCOMPARE(h.action(theGlobalAppl, "Play")->theEvent.key.message, 0x351Bu);
    }

    void aCtrlChordIsRecordedNotSentToTheMenus()
    {
        openPlay();
        h.click(19);
        QTest::keyClick(h.item(19), Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(theKeyEvent.message, 0x0C11u);
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)0x1000);
        QCOMPARE(h.text(12), QString("ctrl-Q"));
    }

    void theMediaKeysAreRecordedAsTheirKind()
    {
        openPlay();
        const struct {
            Qt::Key key;
            uint16_t kind;
            const char *name;
            int box;
        } media[] = { { Qt::Key_VolumeUp, 1, "Volume Up", 42 }, { Qt::Key_VolumeDown, 2, "Volume Down", 43 },
            { Qt::Key_VolumeMute, 3, "Volume Mute", 44 }, { Qt::Key_Eject, 4, "Eject", 45 } };
        for (auto m : media) {
            h.click(19);
            QTest::sendKeyEvent(QTest::Click, h.item(19), m.key, QString(), Qt::NoModifier);
            QCOMPARE(theKeyEvent.modifiers, m.kind);
            QCOMPARE(theKeyEvent.message, 1u);
            QCOMPARE(h.text(14), QString(m.name));
            QVERIFY(h.shown(m.box) && h.checked(m.box));
        }
    }

    void capturedModifierBitsThatNoCheckBoxShowsAreKept()
    {
        openPlay();
        h.click(19);
        QKeyEvent press(QEvent::KeyPress, Qt::Key_A, Qt::ShiftModifier, 38, 0x61, 0x2 | 0x1, "A");
        QCoreApplication::sendEvent(h.item(19), &press);
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)(0x200 | 0x400));
        QCOMPARE(theKeyEvent.message, 0x0041u);
        h.click(39);
        h.click(15); // Command on: the Caps Lock bit stays
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)(0x100 | 0x200 | 0x400));
        h.click(kEditOK);
        QCOMPARE(h.action(theGlobalAppl, "Play")->theEvent.key.modifiers, (uint16_t)0x700);
    }

    void aStoredKeyKeepsItsOtherModifierBitsWhenACheckBoxChanges()
    {
        QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Stop")));
        QCOMPARE(advancedState, 0); // modifiers without a media kind open the basic view
        QVERIFY(!h.shown(15));
        QCOMPARE(h.text(12), QString("ctrl-q"));
        h.click(39);
        QVERIFY(h.checked(17) && !h.checked(15) && !h.checked(16) && !h.checked(18));
        h.click(16);
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)0x1680);
        QCOMPARE(h.text(12), QString("shift-ctrl-q"));
        h.click(17);
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)0x0680);
    }

    void aMediaKeyActionOpensInTheAdvancedView()
    {
        QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Menu")));
        QCOMPARE(advancedState, 1);
        QVERIFY(h.shown(14) && h.shown(42));
        QVERIFY(h.checked(42));
        QCOMPARE(h.text(14), QString("Volume Up"));
        h.click(39);
        QVERIFY(!h.shown(13) && !h.shown(14) && !h.shown(15) && !h.shown(42) && !h.shown(45));
    }

    void clickingVolumeUpTwiceLeavesAnOrdinaryKeyOfValueOne()
    {
        openPlay();
        h.click(39);
        h.click(42);
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)1);
        QCOMPARE(theKeyEvent.message, 1u);
        QCOMPARE(h.text(14), QString("Volume Up"));
        QCOMPARE(theKeyEvent.delay, 500);
        QCOMPARE(theKeyEvent.rate1, 100);
        QCOMPARE(theKeyEvent.reps, 1);
        QCOMPARE(theKeyEvent.rate2, 100);
        h.click(42);
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)0);
        QCOMPARE(theKeyEvent.message, 1u);
        QCOMPARE(h.text(14), QString(""));
        QVERIFY(!h.checked(42));
        h.click(kEditOK);
        QVERIFY(!editDlog);
        QCOMPARE(h.presenter.shown.size(), (size_t)0);
        ActionRecord *play = h.action(theGlobalAppl, "Play");
        QCOMPARE(play->theEvent.key.message, 1u);
        QCOMPARE(play->theEvent.key.modifiers, (uint16_t)0);
    }

    void muteAndEjectTakeNoRepeatAndClearTheModifiers()
    {
        openPlay();
        h.click(39);
        h.click(16);
        h.click(44);
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)3);
        QCOMPARE((uint32_t)theKeyEvent.rate1, 0xFFFFFFFFu);
        QCOMPARE((uint32_t)theKeyEvent.delay, 0xFFFFFFFFu);
        QVERIFY(!h.checked(16));
        h.click(45);
        QCOMPARE(theKeyEvent.modifiers, (uint16_t)4);
        QVERIFY(h.checked(45) && !h.checked(44));
        QCOMPARE(h.text(14), QString("Eject"));
    }

    void typing41IntoTheHexFieldGivesKeyCode0AndCharacter41()
    {
        openPlay();
        h.click(39);
        h.focus(14);
        h.field(14)->selectAll();
        QTest::keyClicks(h.field(14), "41");
        h.focus(12); // leaving the field takes its text
        QCOMPARE(theKeyEvent.message & 0xFFFF, 0x0041u);
        QCOMPARE(h.text(14), QString("0041"));
        QCOMPARE(h.text(12), QString("A"));
    }

    void typingACharacterIntoTheKeyFieldSetsOnlyTheCharacterCode()
    {
        openPlay();
        h.focus(12);
        h.field(12)->selectAll();
        QTest::keyClicks(h.field(12), "x");
        h.click(39); // another item: the field is taken
        QCOMPARE(theKeyEvent.message, 0x3178u);
        QCOMPARE(keyEventChanged, 1);
    }

    void aKeyWithoutACharacterIsRefusedOnOK()
    {
        openPlay();
        h.click(39);
        h.focus(14);
        h.field(14)->selectAll();
        QTest::keyClicks(h.field(14), "3100");
        h.click(kEditOK);
        QVERIFY(editDlog);
        QCOMPARE(h.presenter.texts().back(), std::string(getstring(129, 19)));
    }

    void theWrongPageChecksAreReportedAsFatal()
    {
        QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Play")));
        h.choose(kEditActionType, kPageLaunch);
        QCOMPARE(validateFields(), 0);
        QCOMPARE(h.presenter.texts().back(), std::string("Fatal error: validateFields in wrong state (2)!"));
        acceptKeyStateEdit = 1;
        finishAcceptKeyEdit();
        QCOMPARE(h.presenter.texts().back(), std::string("Fatal error: finishAcceptKeyEdit in wrong state (2)!"));
        QCOMPARE(acceptKeyStateEdit, 0);
    }

    void switchingPagesWhileRecordingEndsTheRecording()
    {
        openPlay();
        h.click(19);
        h.choose(kEditActionType, kPageMouse);
        QCOMPARE(acceptKeyStateEdit, 0);
        QVERIFY(h.presenter.shown.empty());
    }
};

QTEST_MAIN(EditorKeystrokeTest)
#include "editor_keystroke_test.moc"
