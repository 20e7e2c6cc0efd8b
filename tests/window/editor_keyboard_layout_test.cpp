// Key capture on real keyboard layouts: under an X server set to French (AZERTY) or German
// (QWERTZ), a recorded key keeps the character it typed but takes the key code of its place on a
// US keyboard. Run by tests/program/keyboard_layout_test.sh; offscreen it has no keyboard and skips.
#include <QProcess>

#include "support/editor_window.h"

static const char *layoutMapping()
{
    return "MAPVER 2\n\n"
           "APPL *GLOBAL*\n"
           "ACT Play KEY 00000000 0000 500 123 4 100\n";
}

// A key pressed by its label (the X key symbol xdotool looks up in the layout in force) and the
// message the action must store.
struct LabelledKey {
    const char *label;
    uint32_t message;
};

class EditorKeyboardLayoutTest : public QObject {
    Q_OBJECT
    EditorHarness h;

    void record(const LabelledKey &key)
    {
        h.click(19); // Record Key
        QVERIFY(acceptKeyStateEdit);
        QCOMPARE(QProcess::execute("xdotool", { "key", key.label }), 0);
        QTRY_VERIFY2(!acceptKeyStateEdit, key.label);
        QVERIFY2(theKeyEvent.message == key.message,
            qPrintable(QString("key %1: message %2, expected %3")
                           .arg(key.label)
                           .arg(theKeyEvent.message, 4, 16, QChar('0'))
                           .arg(key.message, 4, 16, QChar('0'))));
    }

private slots:
    void init() { h.start(layoutMapping()); }
    void cleanup() { h.stop(); }

    void aRecordedKeyStoresItsPlaceAndItsCharacter()
    {
        if (QGuiApplication::platformName() != "xcb")
            QSKIP("needs an X server with a keyboard layout set (keyboard_layout_test.sh runs it so)");
        const QString layout = qEnvironmentVariable("VQX_TEST_LAYOUT");
        std::vector<LabelledKey> keys;
        if (layout == "fr")
            keys = { { "a", 0x0C61 }, { "q", 0x0071 }, { "z", 0x0D7A }, { "w", 0x0677 }, { "m", 0x296D } };
        else if (layout == "de")
            keys = { { "z", 0x107A }, { "y", 0x0679 }, { "a", 0x0061 } };
        else
            QSKIP("VQX_TEST_LAYOUT names no layout this test knows (fr or de)");
        QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Play")));
        for (const LabelledKey &key : keys) {
            record(key);
            if (QTest::currentTestFailed())
                return;
        }
    }
};

QTEST_MAIN(EditorKeyboardLayoutTest)
#include "editor_keyboard_layout_test.moc"
