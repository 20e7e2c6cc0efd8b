// The typing filter of the edit dialog's fields: each field's character set and limit, a selection
// replaced by the typed character, the editing keys, paste, and the text page's two length rules.
#include <QClipboard>

#include "support/editor_window.h"

static const char *typingMapping()
{
    return "MAPVER 2\n\n"
           "APPL *GLOBAL*\n"
           "ACT Play KEY 00000000 0000 500 123 4 100\n"
           "ACT Stop MOU 00007501 250 77 3 30\n"
           "ACT Menu NO_ACTION\n\n"
           "APPL vlc\n"
           "ACT Play LAUNCH \"\" 0 0 0 0 OVR\n"
           "ACT Stop SCR \"\" 500 123 4 100 OVR\n"
           "ACT Menu TXT 0 [ OVR\n\n"
           "APPL volume\n"
           "ACT Play VOL CHG 51 500 77 3 100 0 0 OVR\n"
           "ACT Stop VOL SET 128 0 0 0 0 0 0 OVR\n";
}

// Every printable ASCII character, space to tilde.
static QString printable()
{
    QString all;
    for (int c = 32; c <= 126; c++)
        all += QChar(c);
    return all;
}

class EditorTypingTest : public QObject {
    Q_OBJECT
    EditorHarness h;

    // Types each character of `chars` into an emptied field and checks which ones it took.
    void expectSet(int item, const QString &chars, const QString &allowed)
    {
        for (QChar c : chars) {
            h.field(item)->clear();
            if (c.unicode() < 128)
                QTest::keyClick(h.field(item), c.toLatin1());
            else // a letter beyond ASCII, as the keyboard sends it
                QTest::sendKeyEvent(
                    QTest::Click, h.field(item), Qt::Key(c.toUpper().unicode()), QString(c), Qt::NoModifier);
            QString want = allowed.contains(c) ? QString(c) : QString();
            QVERIFY2(h.text(item) == want, qPrintable(QString("item %1 character '%2'").arg(item).arg(c)));
        }
    }

    // The field takes `limit` characters, refuses one more, and takes it over a selection.
    void expectLimit(int item, int limit, char c)
    {
        h.field(item)->clear();
        QTest::keyClicks(h.field(item), QString(limit, QChar(c)));
        QCOMPARE(h.text(item).size(), limit);
        QTest::keyClick(h.field(item), c);
        QCOMPARE(h.text(item).size(), limit);
        h.field(item)->setSelection(0, 1);
        QTest::keyClick(h.field(item), c == '1' ? '2' : '1');
        QCOMPARE(h.text(item).size(), limit);
        QVERIFY(h.text(item).startsWith(c == '1' ? '2' : '1'));
        // The editing keys are always taken.
        QTest::keyClick(h.field(item), Qt::Key_Left);
        QTest::keyClick(h.field(item), Qt::Key_Right);
        QTest::keyClick(h.field(item), Qt::Key_Backspace);
        QCOMPARE(h.text(item).size(), limit - 1);
    }

    void checkDecimalFields(std::initializer_list<int> items)
    {
        for (int item : items) {
            h.focus(item);
            expectSet(item, "0123456789aZ ./-+", "0123456789");
            expectLimit(item, 4, '7');
        }
    }

private slots:
    void init() { h.start(typingMapping()); }
    void cleanup() { h.stop(); }

    void keystrokeFieldsTakeTheirSetsUpToTheirLimits()
    {
        QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Play")));
        h.click(39);
        h.focus(12);
        expectSet(12, printable() + QChar(0xe9), printable());
        expectLimit(12, 1, 'k');
        h.focus(14);
        expectSet(14, "0123456789abcdefABCDEFgxG -", "0123456789abcdefABCDEF");
        expectLimit(14, 4, 'f');
        checkDecimalFields({ 26, 28, 30, 32 });
    }

    void launchAndScriptPathsTakeNamesUpTo255Characters()
    {
        ApplicationRecord *vlc = h.appl("vlc");
        QVERIFY(h.open(vlc, h.action(vlc, "Play")));
        h.focus(12);
        expectSet(12, printable() + QChar(0xfc), printable());
        expectLimit(12, 255, 'p');
        h.click(kEditCancel);
        QVERIFY(h.open(vlc, h.action(vlc, "Stop")));
        h.focus(12);
        expectLimit(12, 255, 's');
        checkDecimalFields({ 20, 22, 24, 26 });
    }

    void mouseRepeatFieldsTakeFourDigits()
    {
        QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Stop")));
        checkDecimalFields({ 17, 19, 21, 23 });
    }

    void volumeChangeRepeatFieldsTakeDigitsAndReadOutsTakeNothing()
    {
        ApplicationRecord *volume = h.appl("volume");
        QVERIFY(h.open(volume, h.action(volume, "Play")));
        checkDecimalFields({ 29, 31, 33, 35 });
        QString shown = h.text(22);
        h.field(22)->setFocus();
        QTest::keyClicks(h.field(22), "5");
        QCOMPARE(h.text(22), shown);
        h.click(kEditCancel);
        QVERIFY(h.open(volume, h.action(volume, "Stop")));
        QVERIFY(h.field(22));
        prevHitEdit = 22;
        QCOMPARE(legalCharEdit('5'), 0);
        QCOMPARE(legalCharEdit(8), 1);
    }

    void theSeventeenthTextCharacterIsRefusedUnlessPartIsSelected()
    {
        ApplicationRecord *vlc = h.appl("vlc");
        QVERIFY(h.open(vlc, h.action(vlc, "Menu")));
        h.focus(11);
        QTest::keyClicks(h.field(11), "abcdefghijklmnop");
        QCOMPARE(h.text(11), QString("abcdefghijklmnop"));
        QTest::keyClick(h.field(11), 'q');
        QCOMPARE(h.text(11), QString("abcdefghijklmnop"));
        h.field(11)->setSelection(15, 1);
        QTest::keyClick(h.field(11), 'q');
        QCOMPARE(h.text(11), QString("abcdefghijklmnoq"));
    }

    void theRawTextStopsAtThirtyCharactersAndABadEscapeStopsTyping()
    {
        ApplicationRecord *vlc = h.appl("vlc");
        QVERIFY(h.open(vlc, h.action(vlc, "Menu")));
        h.focus(11);
        QTest::keyClicks(h.field(11), "\\x41\\x42\\x43\\x44\\x45\\x46\\x47ab");
        QCOMPARE(h.text(11).size(), 30);
        QTest::keyClick(h.field(11), 'c');
        QCOMPARE(h.text(11).size(), 30);
        h.field(11)->clear();
        QTest::keyClicks(h.field(11), "\\qz");
        QCOMPARE(h.text(11), QString("\\")); // "\q" and "\z" do not convert: both are refused
        QTest::keyClicks(h.field(11), "tz");
        QCOMPARE(h.text(11), QString("\\tz"));
    }

    void aCharacterThatMakesTheTextUnconvertibleIsRefused()
    {
        ApplicationRecord *vlc = h.appl("vlc");
        QVERIFY(h.open(vlc, h.action(vlc, "Menu")));
        h.focus(11);
        struct Case {
            const char *typed;
            const char *kept;
        };
        for (Case c : { Case { "\\q", "\\" }, Case { "\\xg", "\\x" }, Case { "\\x00", "\\x0" },
                 Case { "\\x4g1", "\\x41" }, Case { "\\\\q", "\\\\q" }, Case { "a\\nb\\x7e", "a\\nb\\x7e" } }) {
            h.field(11)->clear();
            QTest::keyClicks(h.field(11), c.typed);
            QVERIFY2(h.text(11) == QString(c.kept), c.typed);
        }
        // In the middle of the text: a "q" after a lone backslash is refused there too.
        h.field(11)->setText("\\\\ab");
        h.field(11)->setCursorPosition(1);
        QTest::keyClick(h.field(11), 'q');
        QCOMPARE(h.text(11), QString("\\\\ab"));
        // Over a selection: replacing "t" of "\t" by "q" would leave "\q".
        h.field(11)->setText("\\tab");
        h.field(11)->setSelection(1, 1);
        QTest::keyClick(h.field(11), 'q');
        QCOMPARE(h.text(11), QString("\\tab"));
        // A paste goes through the same rule.
        h.field(11)->clear();
        QGuiApplication::clipboard()->setText(QString("a\\q"));
        doEditDialogEditCommand(3);
        QCOMPARE(h.text(11), QString("a\\"));
    }

    void okIsRefusedWhileTheTextDoesNotConvert()
    {
        ApplicationRecord *vlc = h.appl("vlc");
        ActionRecord *menu = h.action(vlc, "Menu");
        QVERIFY(h.open(vlc, menu));
        h.focus(11);
        QTest::keyClicks(h.field(11), "\\\\q");
        QCOMPARE(h.text(11), QString("\\\\q"));
        // Deleting the first backslash leaves "\q", which the reader could not read back.
        h.field(11)->setCursorPosition(1);
        QTest::keyClick(h.field(11), Qt::Key_Backspace);
        QCOMPARE(h.text(11), QString("\\q"));
        h.presenter.clear();
        h.click(kEditOK);
        QVERIFY2(EDITdialog() != nullptr, "the dialog stays open");
        QCOMPARE(QString(menu->theEvent.textString.text), QString());
        QCOMPARE(fileChg, 0);
        QCOMPARE(h.presenter.shown.size(), (size_t)1);
        QVERIFY(QString::fromStdString(h.presenter.shown[0].text).contains("backslash"));
        // Corrected, the text is taken.
        h.focus(11);
        h.field(11)->setCursorPosition(1);
        QTest::keyClick(h.field(11), 'n');
        QCOMPARE(h.text(11), QString("\\nq"));
        h.click(kEditOK);
        QVERIFY(EDITdialog() == nullptr);
        QCOMPARE(QString(menu->theEvent.textString.text), QString("\\nq"));
    }

    void aPasteIsFilteredLikeTyping()
    {
        ApplicationRecord *vlc = h.appl("vlc");
        QVERIFY(h.open(vlc, h.action(vlc, "Menu")));
        h.focus(11);
        QGuiApplication::clipboard()->setText(QString("abc\tdef\xe9ghijklmnopqrstuvwxyz"));
        doEditDialogEditCommand(3);
        QCOMPARE(h.text(11), QString("abcdefghijklmnop"));
        QCOMPARE(chgEtFieldEdit, 1);
    }

    void refusedKeysAreSwallowedAndAcceptedOnesMarkTheFieldChanged()
    {
        QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Play")));
        h.focus(26);
        QCOMPARE(chgEtFieldEdit, 0);
        QTest::keyClick(h.field(26), Qt::Key_Home); // refused: the cursor stays
        QCOMPARE(h.field(26)->cursorPosition(), 3);
        QCOMPARE(chgEtFieldEdit, 0);
        QTest::keyClick(h.field(26), Qt::Key_Left);
        QCOMPARE(h.field(26)->cursorPosition(), 2);
        QCOMPARE(chgEtFieldEdit, 1);
    }

    // A file chooser opened from the editor is a window of its own whose parent is the editor: its
    // name field takes any path, Escape closes the chooser only, and the arrow keys stay its own.
    void aDialogOpenedOverTheEditorKeepsItsKeys()
    {
        ApplicationRecord *vlc = h.appl("vlc");
        QVERIFY(h.open(vlc, h.action(vlc, "Stop"))); // the script page
        QDialog chooser(EDITdialog());
        chooser.setWindowModality(Qt::ApplicationModal);
        auto *name = new QLineEdit(&chooser);
        chooser.show();
        QVERIFY(QTest::qWaitForWindowActive(&chooser));
        name->setFocus(Qt::OtherFocusReason);
        QTest::keyClicks(name, "/tmp/x\\y.lua");
        QCOMPARE(name->text(), QString("/tmp/x\\y.lua"));
        QCOMPARE(chgEtFieldEdit, 0);
        QTest::keyClick(name, Qt::Key_Home);
        QCOMPARE(name->cursorPosition(), 0);
        QTest::keyClick(name, Qt::Key_Escape);
        QVERIFY(editDlog != nullptr);
        QVERIFY(!chooser.isVisible());
    }
};

QTEST_MAIN(EditorTypingTest)
#include "editor_typing_test.moc"
