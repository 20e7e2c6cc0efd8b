// The program's presenter: alerts and questions built from the resource file's layouts, driven by
// their item numbers offscreen.
#include <QCheckBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>
#include <fstream>
#include <string>

#include "platform/dialogs.h"
#include "platform/qtpresenter.h"
#include "shell/diagnostics.h"
#include "support/window_support.h"

class PresenterTest : public QObject {
    Q_OBJECT
    QtPresenter presenter;

private slots:
    void initTestCase()
    {
        WINTESTinit();
        PRESset(&presenter);
    }
    void cleanupTestCase() { PRESset(nullptr); }

    void everyDialogLayoutHasItsNumberedItems()
    {
        struct Expect {
            const char *type;
            int id;
            std::vector<int> items;
        };
        const Expect expected[] = {{"ALRT", 128, {1}},       {"ALRT", 129, {1, 2}},    {"ALRT", 134, {1, 2, 3}},
                                   {"DLOG", 131, {1, 2, 3, 4}}, {"DLOG", 135, {1, 2, 3}}, {"DLOG", 140, {1, 2, 3, 4}}};
        for (const Expect &e : expected) {
            QWidget *dialog = DLGload(e.type, e.id, nullptr);
            QVERIFY2(dialog, qPrintable(QString("%1 %2").arg(e.type).arg(e.id)));
            for (int item : e.items)
                QVERIFY2(DLGitem(dialog, item), qPrintable(QString("%1 %2 item %3").arg(e.type).arg(e.id).arg(item)));
            delete dialog;
        }
        QVERIFY(!DLGload("DLOG", 9999, nullptr));
    }

    void loadingLayoutsMapsNoDesignerPluginAndKeepsPluginPaths()
    {
        const QStringList before = QCoreApplication::libraryPaths();
        QWidget *dialog = DLGload("DLOG", 131, nullptr);
        QVERIFY(dialog);
        delete dialog;
        QCOMPARE(QCoreApplication::libraryPaths(), before);
        std::ifstream maps("/proc/self/maps");
        QVERIFY(maps.good());
        std::string line;
        while (std::getline(maps, line))
            QVERIFY2(line.find("/designer/") == std::string::npos, line.c_str());
    }

    void errorAlertShowsTextAndOkEndsIt()
    {
        QString shown;
        WINTESTwhenModal([&shown](QWidget *dialog) {
            shown = qobject_cast<QLabel *>(DLGitem(dialog, 2))->text();
            QTest::mouseClick(qobject_cast<QPushButton *>(DLGitem(dialog, 1)), Qt::LeftButton);
        });
        QCOMPARE(errormsg("Disk %d is full", 3), 1);
        QCOMPARE(shown, QString("Disk 3 is full"));
    }

    void saveAlertAnswersEachButtonAndEscapeCancels()
    {
        for (int button : {1, 2, 3}) {
            WINTESTwhenModal([button](QWidget *dialog) {
                QVERIFY(qobject_cast<QLabel *>(DLGitem(dialog, 4))->text().contains("Mine.map"));
                QTest::mouseClick(qobject_cast<QPushButton *>(DLGitem(dialog, button)), Qt::LeftButton);
            });
            ParamText("Mine.map");
            QCOMPARE(Alert(134), button);
        }
        WINTESTwhenModal([](QWidget *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); });
        ParamText("Mine.map");
        QCOMPARE(Alert(134), 2);
    }

    void typingPastMaxLenLeavesExactlyMaxLen()
    {
        QString fieldText;
        WINTESTwhenModal([&fieldText](QWidget *dialog) {
            auto *field = qobject_cast<QLineEdit *>(DLGitem(dialog, 4));
            field->clear();
            QTest::keyClicks(field, "abcdefghijklmnop");
            fieldText = field->text();
            QTest::mouseClick(qobject_cast<QPushButton *>(DLGitem(dialog, 1)), Qt::LeftButton);
        });
        char name[64] = "start";
        QCOMPARE(promptForName("Name of the new mapping file:", name, 10), 1);
        QCOMPARE(fieldText, QString("abcdefghij"));
        QCOMPARE(QString(name), QString("abcdefghij"));
    }

    void promptShowsPromptAndPresetNameAndCancelKeepsName()
    {
        QString prompt, preset;
        WINTESTwhenModal([&](QWidget *dialog) {
            prompt = qobject_cast<QLabel *>(DLGitem(dialog, 3))->text();
            preset = qobject_cast<QLineEdit *>(DLGitem(dialog, 4))->text();
            QTest::mouseClick(qobject_cast<QPushButton *>(DLGitem(dialog, 2)), Qt::LeftButton);
        });
        char name[64] = "vlc";
        QCOMPARE(promptForName("New name:", name, 255), 0);
        QCOMPARE(prompt, QString("New name:"));
        QCOMPARE(preset, QString("vlc"));
        QCOMPARE(QString(name), QString("vlc"));
    }

    void yesNoQuestion()
    {
        WINTESTwhenModal([](QWidget *dialog) {
            QCOMPARE(qobject_cast<QLabel *>(DLGitem(dialog, 3))->text(), QString("Go on?"));
            QTest::mouseClick(qobject_cast<QPushButton *>(DLGitem(dialog, 2)), Qt::LeftButton);
        });
        QCOMPARE(ynmessage("Go on?"), 0);
        WINTESTwhenModal([](QWidget *dialog) {
            QTest::mouseClick(qobject_cast<QPushButton *>(DLGitem(dialog, 1)), Qt::LeftButton);
        });
        QCOMPARE(ynmessage("Go on?"), 1);
    }

    void dontAskAgainCheckBoxIsRemembered()
    {
        bool startedUnchecked = false;
        WINTESTwhenModal([&startedUnchecked](QWidget *dialog) {
            auto *box = qobject_cast<QCheckBox *>(DLGitem(dialog, 4));
            startedUnchecked = !box->isChecked();
            QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(4, box->height() / 2));
            QTest::mouseClick(qobject_cast<QPushButton *>(DLGitem(dialog, 1)), Qt::LeftButton);
        });
        QCOMPARE(ynmessageDont("Really?", 12), 1);
        QVERIFY(startedUnchecked);
        // Not shown again: no handler is waiting, and a shown dialog would block this test.
        QCOMPARE(ynmessageDont("Really?", 12), 1);
        QVERIFY(!QApplication::activeModalWidget());
    }
};

QTEST_MAIN(PresenterTest)
#include "presenter_test.moc"
