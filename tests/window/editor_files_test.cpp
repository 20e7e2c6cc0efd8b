// The script, launch and text string pages: the script filter of the file chooser, Browse, Test
// with its messages, and the text page's write-back.
#include <QDir>
#include <QFileDialog>
#include <QListView>
#include <QTemporaryDir>
#include <QTimer>

#include "mapperlink/launch.h"
#include "platform/qtpresenter.h"
#include "support/editor_window.h"

static const char *filesMapping()
{
    return "MAPVER 2\n\n"
           "APPL *GLOBAL*\n"
           "ACT Play SCR \"\" 0 0 0 0\n"
           "ACT Stop LAUNCH \"/usr/bin/true\" 0 0 0 0\n"
           "ACT Menu TXT 5 [hello\n";
}

static std::vector<std::string> opened; // paths handed to the opener
static int openerResult; // what the opener answers

static int recordingOpener(const char *path)
{
    opened.push_back(path);
    return openerResult;
}

static int scriptsOnly(const char *path)
{
    return myFilterScripts("fss ", path);
}

// The names a file chooser's list shows in its current folder.
static QStringList listedNames(QListView *view)
{
    QStringList names;
    if (!view || !view->model())
        return names;
    for (int row = 0; row < view->model()->rowCount(view->rootIndex()); row++)
        names << view->model()->index(row, 0, view->rootIndex()).data().toString();
    return names;
}

class EditorFilesTest : public QObject {
    Q_OBJECT
    EditorHarness h;
    QTemporaryDir dir;

    std::string file(const char *name, const std::string &content)
    {
        std::string path = dir.path().toStdString() + "/" + name;
        writeFile(path, content);
        return path;
    }

    void openScript() { QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Play"))); }
    void openLaunch() { QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Stop"))); }

private slots:
    void init()
    {
        h.start(filesMapping());
        opened.clear();
        openerResult = 0;
        VQXLAUNCHsetOpener(recordingOpener);
    }
    void cleanup()
    {
        VQXLAUNCHsetOpener(nullptr);
        h.stop();
    }

    void theScriptFilterShowsScpNamesOnlyWhenTheyEndInScpt()
    {
        const std::string binary("\x00\x01\x02\xff\xfe", 5);
        QCOMPARE(myFilterScripts("fss ", file("x.scpt", binary).c_str()), 1);
        QCOMPARE(myFilterScripts("fss ", file(".scpt", binary).c_str()), 1);
        QCOMPARE(myFilterScripts("fss ", file("a.scp", binary).c_str()), 0);
        QCOMPARE(myFilterScripts("fss ", file("x.SCPT", binary).c_str()), 0);
        QCOMPARE(myFilterScripts("fss ", file("My Script.scpt  ", binary).c_str()), 1);
        QCOMPARE(myFilterScripts("fss ", (dir.path().toStdString() + "/nothing.scp").c_str()), 0);
    }

    void theScriptFilterShowsFoldersCompiledChunksAndTextAndFollowsTheItemType()
    {
        const std::string binary("\x00\x01\x02\xff\xfe", 5);
        QCOMPARE(myFilterScripts("fss ", dir.path().toUtf8().constData()), 1);
        QCOMPARE(myFilterScripts("fss ", file("compiled", std::string("\x1bLuaT\x00", 6) + binary).c_str()), 1);
        QCOMPARE(myFilterScripts("fss ", file("notes", "print('hello')\n").c_str()), 1);
        QCOMPARE(myFilterScripts("fsrf", file("y.scpt", "print(1)\n").c_str()), 0);
        QCOMPARE(myFilterScripts("TEXT", file("b.scp", binary).c_str()), 1);
    }

    void testingAnEmptyScriptPathReportsItBetweenEmptyBrackets()
    {
        openScript();
        h.click(33);
        QCOMPARE(h.presenter.texts().back(), std::string("Unable to find []"));
        QVERIFY(editDlog);
    }

    void testingAScriptRunsIt()
    {
        std::string marker = dir.path().toStdString() + "/ran";
        std::string script = file("go.lua", "local f = io.open('" + marker + "', 'w') f:write('yes') f:close()\n");
        openScript();
        h.type(12, script.c_str());
        h.click(33);
        QVERIFY(h.presenter.shown.empty());
        QCOMPARE(readFile(marker), std::string("yes"));
        QCOMPARE(QString(theAppleEventEvent.fileSpec.path), QString::fromStdString(script));
    }

    void testingABrokenScriptReportsTheLoadError()
    {
        std::string script = file("broken.lua", "this is not lua (\n");
        openScript();
        h.type(12, script.c_str());
        h.click(33);
        QVERIFY(QString::fromStdString(h.presenter.texts().back()).startsWith("LoadScript returned -"));
        std::string failing = file("fails.lua", "error('no')\n");
        h.focus(12);
        h.field(12)->selectAll();
        QTest::keyClicks(h.field(12), failing.c_str());
        h.click(33);
        QVERIFY(QString::fromStdString(h.presenter.texts().back()).startsWith("ExecuteScript returned -"));
    }

    void browsingForAScriptTakesTheChosenFileAndCancelKeepsTheOld()
    {
        std::string script = file("pick.scpt", "print(1)\n");
        openScript();
        h.presenter.nextFiles = { script };
        h.click(13);
        QCOMPARE(QString(theAppleEventEvent.path), QString::fromStdString(script));
        QCOMPARE(h.text(12), QString::fromStdString(script));
        QCOMPARE(keyEventChanged, 1);
        h.click(13); // cancelled: the queue is empty
        QCOMPARE(QString(theAppleEventEvent.path), QString::fromStdString(script));
        h.presenter.nextFiles = { file("junk.scp", std::string("\x00\x01", 2)) };
        h.click(13); // a file the script filter hides is not taken
        QCOMPARE(QString(theAppleEventEvent.path), QString::fromStdString(script));
        h.click(kEditOK);
        QCOMPARE(QString(h.action(theGlobalAppl, "Play")->theEvent.script.path), QString::fromStdString(script));
        QCOMPARE(h.action(theGlobalAppl, "Play")->theEvent.common.type, (int32_t)kAppleEventType);
    }

    void choosingAFileTheScriptFilterRefusesTellsTheUserWhy()
    {
        std::string script = file("keep.lua", "print(1)\n");
        openScript();
        h.presenter.nextFiles = { script };
        h.click(13);
        QCOMPARE(QString(theAppleEventEvent.path), QString::fromStdString(script));
        std::string junk = file("junk.bin", std::string("\x00\x01\x02", 3));
        h.presenter.clear();
        h.presenter.nextFiles = { junk };
        h.click(13);
        QCOMPARE(QString(theAppleEventEvent.path), QString::fromStdString(script));
        QCOMPARE(h.presenter.shown.size(), (size_t)2); // the chooser, then the reason
        QCOMPARE(h.presenter.shown[1].id, 129);
        QString why = QString::fromStdString(h.presenter.shown[1].text);
        QVERIFY2(why.contains(QString::fromStdString(junk)) && why.contains("script"), qPrintable(why));
    }

    void theScriptChooserListsOnlyTheFilesTheFilterAccepts()
    {
        file("run.lua", "print(1)\n");
        file("old.scpt", std::string("\x00\x01\x02", 3));
        file("data.bin", std::string("\x00\x01\x02", 3));
        QVERIFY(QDir(dir.path()).mkpath("more"));
        QStringList listed;
        bool chooserSeen = false;
        QTimer probe;
        QObject::connect(&probe, &QTimer::timeout, [&] {
            auto *chooser = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            if (!chooser || chooserSeen)
                return;
            chooserSeen = true;
            chooser->setDirectory(dir.path());
            auto *view = chooser->findChild<QListView *>("listView");
            (void)QTest::qWaitFor([&] { return listedNames(view).contains("run.lua") && listedNames(view).contains("more"); }, 5000);
            listed = listedNames(view);
            chooser->reject();
        });
        probe.start(50);
        QtPresenter qt;
        std::string path;
        QVERIFY(!qt.chooseFilteredFile({ "osas" }, path, scriptsOnly));
        probe.stop();
        QVERIFY(chooserSeen);
        QVERIFY2(listed.contains("run.lua") && listed.contains("old.scpt") && listed.contains("more"),
            qPrintable(listed.join(",")));
        QVERIFY2(!listed.contains("data.bin"), qPrintable(listed.join(",")));
    }

    void testingALaunchOpensThePathThroughTheOpener()
    {
        openLaunch();
        h.click(14);
        QCOMPARE(opened.size(), (size_t)1);
        QCOMPARE(opened[0], std::string("/usr/bin/true"));
        QVERIFY(h.presenter.shown.empty());
        openerResult = -1;
        h.click(14);
        QCOMPARE(h.presenter.texts().back(), std::string("SendFinderAELaunchApp returned -1"));
    }

    void testingAMissingApplicationReportsItsError()
    {
        openLaunch();
        h.type(12, "x");
        h.field(12)->selectAll();
        QTest::keyClicks(h.field(12), "/nowhere/at/all");
        h.click(14);
        char expected[256];
        snprintf(expected, sizeof expected, getstring(129, 32), -43);
        QCOMPARE(h.presenter.texts().back(), std::string(expected));
        QVERIFY(opened.empty());
    }

    void browsingForAnApplicationTakesTheChosenEntry()
    {
        std::string entry = file("player.desktop", "[Desktop Entry]\nExec=true\n");
        openLaunch();
        h.presenter.nextFiles = { entry };
        h.click(13);
        QCOMPARE(QString(theLaunchEvent.path), QString::fromStdString(entry));
        h.click(kEditOK);
        QCOMPARE(QString(h.action(theGlobalAppl, "Stop")->theEvent.launch.path), QString::fromStdString(entry));
        QCOMPARE(fileChg, 1);
    }

    void anEmptiedTextAndOkLeaveTheActionUnchanged()
    {
        ActionRecord *menu = h.action(theGlobalAppl, "Menu");
        QVERIFY(h.open(theGlobalAppl, menu));
        QCOMPARE(h.text(11), QString("hello"));
        h.focus(11);
        h.field(11)->selectAll();
        QTest::keyClick(h.field(11), Qt::Key_Backspace);
        h.click(kEditOK);
        QVERIFY(!editDlog);
        QCOMPARE(QString(menu->theEvent.textString.text), QString("hello"));
        QCOMPARE(fileChg, 0);
    }

    void aTypedTextIsStoredAsTypedWithItsResolvedForm()
    {
        ActionRecord *menu = h.action(theGlobalAppl, "Menu");
        QVERIFY(h.open(theGlobalAppl, menu));
        h.focus(11);
        h.field(11)->selectAll();
        QTest::keyClicks(h.field(11), "a\\tb\\x41");
        h.click(kEditOK);
        QCOMPARE(QString(menu->theEvent.textString.text), QString("a\\tb\\x41"));
        QCOMPARE(QString(menu->theEvent.textString.convertedText), QString("a\tbA"));
        QCOMPARE(fileChg, 1);
    }
};

QTEST_MAIN(EditorFilesTest)
#include "editor_files_test.moc"
