// Start-up, the event loop and shutdown: the order of the failing start-ups, quit requests,
// window moves, Ctrl chords, plain keys and the idle chain.
#include <QKeyEvent>
#include <QLineEdit>
#include <QListView>
#include <QMainWindow>
#include <QProcess>
#include <QResource>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "editor/editdialog.h"
#include "mainwindow/eventlog.h"
#include "mapperlink/mapperapi.h"
#include "mapping/config.h"
#include "support/mainwin_window.h"

namespace {
int changeCalls;       // the fake log viewer's changeEW calls
int selectedAtChange;  // currentItemIdx when the viewer was last told of new lines
void *fakeCreate(int, EWTextProc, void *)
{
    static int window;
    return &window;
}
void fakeChange(void *, int, int)
{
    changeCalls++;
    selectedAtChange = currentItemIdx;
}
void fakeClose(void *)
{
}
} // namespace

// Runs this test program again as a start-up child (see main); returns its exit status.
int runStartUpChild(const QStringList &arguments)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedChannels);
    child.start(QCoreApplication::applicationFilePath(), QStringList{"--start-up-child"} + arguments);
    if (!child.waitForFinished(60000)) {
        child.kill();
        child.waitForFinished();
        return -1;
    }
    return child.exitStatus() == QProcess::NormalExit ? child.exitCode() : -2;
}

// Image and icon plugins mapped into this process, each reported; 0 when none, 96 when the
// process's map cannot be read.
static int pluginsLoaded(void)
{
    std::ifstream maps("/proc/self/maps");
    std::string line;
    int found = 0;
    while (std::getline(maps, line))
        if (line.find("/imageformats/") != std::string::npos || line.find("/iconengines/") != std::string::npos) {
            fprintf(stderr, "loaded at start-up: %s\n", line.c_str());
            found = 1;
        }
    return maps.eof() ? found : 96;
}

// The start-ups that end the process, each in a process of its own.
int startUpChild(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    std::string scenario = argv[2];
    setenv("XDG_CONFIG_HOME", argv[3], 1);
    MWTESTreset();
    WINTESTinit();
    if (scenario == "no-preferences" && argc > 4) {
        static FilePresenter recorder(argv[4]);
        PRESset(&recorder);
        VQXMAINstartUp();
        return 99; // not reached: the start-up ends the process
    }
    if (scenario == "no-main-dialog") {
        static RecordingPresenter quiet;
        PRESset(&quiet);
        QString rcc = QString::fromStdString(appDir() + "/" + VQX_RESOURCE_FILE_NAME);
        while (QResource::unregisterResource(rcc)) { }
        if (RESexists("DLOG", 130, ".ui"))
            return 77;
        return VQXMAINrun() & 0xFF;
    }
    if (scenario == "plugins") {
        static RecordingPresenter quiet;
        PRESset(&quiet);
        if (VQXMAINstartUp() != 0 || !MAINwindow() || !MAINwindow()->isVisible())
            return 97;
        // Icons and pictures are drawn when painted: building the window loads no image or icon
        // plugin (each would be looked up, loaded and linked before the window could show).
        return pluginsLoaded();
    }
    return 98;
}

class MainWindowStartupTest : public QObject {
    Q_OBJECT
    TempConfigHome *home = nullptr;
    RecordingPresenter presenter;

private slots:
    // The two start-ups that end early run in fresh processes of this program (see main below):
    // a process that only forked from this one would inherit a session-bus connection whose
    // thread it does not have.
    void startingWithoutPreferencesFolderAlertsThreeTimesAndExitsWithZero()
    {
        TempConfigHome bare; // no preferences folder at all
        std::string log = bare.home() + "/alerts.txt";
        int status
            = runStartUpChild({ "no-preferences", QString::fromStdString(bare.home()), QString::fromStdString(log) });
        QCOMPARE(status, 0);
        QStringList lines = QString::fromStdString(readFile(log)).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 3);
        QCOMPARE(lines[0],
            QString("129 The Orvenda VQX Map Editor is missing the necessary configuration files.  "
                                   "Please re-install."));
        QVERIFY(lines[1].startsWith("129 "));
        QVERIFY(!lines[1].contains("Configuration files corrupted"));
        QCOMPARE(lines[2], QString("129 Configuration files corrupted and/or missing; reinstall required"));
    }

    void mainReturnsMinusOneWithoutShutdownStepsWhenTheMainWindowCannotBeMade()
    {
        TempConfigHome files;
        files.install(false);
        MWTESTwriteFiles(files.prefsFolder());
        int status = runStartUpChild({"no-main-dialog", QString::fromStdString(files.home())});
        QCOMPARE(status, 255);
        // closePrefs never ran: the new preferences were not written.
        QVERIFY(!fileExists(files.prefsFolder() + "/Manager Prefs"));
    }

    void buildingTheMainWindowLoadsNoImageOrIconPlugin()
    {
        TempConfigHome files;
        files.install(false);
        MWTESTwriteFiles(files.prefsFolder());
        QCOMPARE(runStartUpChild({"plugins", QString::fromStdString(files.home())}), 0);
    }

    void init()
    {
        home = new TempConfigHome;
        PRESset(&presenter);
        presenter.clear();
        presenter.nextAnswers.clear();
        QCOMPARE(MWTESTstart(*home, false), 0);
    }

    void cleanup()
    {
        MWTESTreset();
        PRESset(nullptr);
        delete home;
        home = nullptr;
    }

    void normalRunReturnsZeroAndWritesThePreferences()
    {
        MWTESTreset();
        WINTESTinit();
        QTimer::singleShot(300, [] { doMenuEvent(((long)kMenuFile << 16) | kItemQuit); });
        QCOMPARE(VQXMAINrun(), 0);
        QVERIFY(fileExists(home->prefsFolder() + "/Manager Prefs"));
        QVERIFY(!MAINwindow());
    }

    void startUpShowsTheMainWindowInFrontWithTheMappingAndRemote()
    {
        QVERIFY(MAINwindow() && MAINwindow()->isVisible());
        QCOMPARE(managerInFront, 1);
        QCOMPARE(stMapFileNameHdl->text(), QString("Test.map"));
        QCOMPARE(stRemoteNameHdl->text(), QString("Test.REM"));
        QVERIFY(MAINwindow()->menuBar());
    }

    void bannerIsDrawnWhenPaintedNotLoadedAtStartUp()
    {
        QVERIFY(usrPictHdl);
        QVERIFY(usrPictHdl->pixmap().isNull()); // nothing rendered before the window shows
        const QImage shot = usrPictHdl->grab().toImage();
        QVERIFY(!shot.isNull());
        int differing = 0;
        const QRgb background = shot.pixel(shot.width() - 1, shot.height() - 1);
        for (int y = 0; y < shot.height(); y += 2)
            for (int x = 0; x < shot.width(); x += 2)
                differing += shot.pixel(x, y) != background;
        QVERIFY2(differing > shot.width() * shot.height() / 40, qPrintable(QString::number(differing)));
    }

    void quitRequestWhileTheEditorIsOpenIsRefusedAndCancelKeepsRunning()
    {
        QWidget editor;
        editDlog = &editor;
        setFileChanged(1);
        QCOMPARE(myQuitHandler(), 0);
        QCOMPARE(done, 0);
        QCOMPARE((int)presenter.shown.size(), 1);
        QCOMPARE(presenter.shown[0].id, 129);
        QCOMPARE(QString::fromStdString(presenter.shown[0].text), QString(getstring(129, 20)));

        editDlog = nullptr;
        presenter.clear();
        presenter.nextAnswers = {2}; // Cancel
        QCOMPARE(myQuitHandler(), 0);
        QCOMPARE(done, 0);
        presenter.nextAnswers = {2};
        doMenuEvent(((long)kMenuFile << 16) | kItemQuit);
        QCOMPARE(done, 0);
        QCOMPARE((int)presenter.shown.size(), 2);
        QCOMPARE(presenter.shown[0].id, 134);
        QCOMPARE(presenter.shown[0].text, std::string("Test.map"));
        QCOMPARE(presenter.shown[1].id, presenter.shown[0].id);
        QCOMPARE(presenter.shown[1].text, presenter.shown[0].text);

        presenter.nextAnswers = {3}; // don't save
        myQuitHandler();
        QCOMPARE(done, 1);
    }

    void terminationSignalAsksTheSameQuestionThroughTheEventLoop()
    {
        setFileChanged(1);
        presenter.nextAnswers = {2};
        raise(SIGTERM);
        QTRY_COMPARE((int)presenter.shown.size(), 1);
        QCOMPARE(presenter.shown[0].id, 134);
        QCOMPARE(done, 0);
        presenter.nextAnswers = {3};
        raise(SIGHUP);
        QTRY_COMPARE(done, 1);
    }

    void closeBoxOfTheMainWindowQuitsOnlyWhenTheQuestionSaysSo()
    {
        VQXEVTinstallRouting();
        setFileChanged(1);
        presenter.nextAnswers = {2};
        QVERIFY(!MAINwindow()->close());
        QCOMPARE(done, 0);
        QVERIFY(MAINwindow()->isVisible());
        presenter.nextAnswers = {3};
        QVERIFY(MAINwindow()->close());
        QCOMPARE(done, 1);
    }

    void movingOtherWindowsLeavesThePreferencesAndMovingTheMainWindowRecordsIt()
    {
        VQXEVTinstallRouting();
        QWidget other; // stands for the event log window or any other window
        other.resize(200, 100);
        other.show();
        QCoreApplication::processEvents();
        prefsChanged = 0;
        other.move(300, 320);
        QCoreApplication::processEvents();
        QCOMPARE(prefsChanged, 0);

        QPoint at = MAINwindow()->geometry().topLeft() + QPoint(40, 30);
        MAINwindow()->setGeometry(QRect(at, MAINwindow()->size()));
        QTRY_COMPARE(prefsChanged, 1);
        QCOMPARE((int)theConfigPrefs.mainLeft, at.x());
        QCOMPARE((int)theConfigPrefs.mainTop, at.y());
    }

    void ctrlChordGoesToTheMenusNeverToTheFocusedField()
    {
        VQXEVTinstallRouting();
        QWidget other;
        auto *field = new QLineEdit("hello", &other);
        other.show();
        field->setFocus();
        field->deselect();
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier); // no menu has it: swallowed
        QCOMPARE(field->selectedText(), QString());
        QTest::keyClick(field, Qt::Key_X);
        QVERIFY(field->text().contains('x')); // a plain key reaches the field
        QCOMPARE(done, 0);
        QTest::keyClick(field, Qt::Key_Q, Qt::ControlModifier); // Quit, nothing to save
        QCOMPARE(done, 1);
    }

    // A Ctrl chord as the window system delivers it: Qt key, X11 key code, a first press or a repeat.
    static void chord(QWidget *to, int key, quint32 keyCode, bool repeat)
    {
        QKeyEvent press(QEvent::KeyPress, key, Qt::ControlModifier, keyCode, 0, 0x4, QString(), repeat);
        QApplication::sendEvent(to, &press);
    }

    void aHeldCtrlChordRunsItsCommandOnlyOnce()
    {
        VQXEVTinstallRouting();
        QWidget *main = MAINwindow();
        QVERIFY(!myEw);
        chord(main, Qt::Key_L, 46, false);
        QVERIFY(myEw);
        for (int i = 0; i < 3; i++)
            chord(main, Qt::Key_L, 46, true); // held: the log window stays open
        QVERIFY(myEw);
        chord(main, Qt::Key_L, 46, false); // a new press closes it
        QVERIFY(!myEw);

        setFileChanged(1);
        chord(main, Qt::Key_S, 39, false);
        QCOMPARE(fileChg, 0);
        setFileChanged(1);
        for (int i = 0; i < 3; i++)
            chord(main, Qt::Key_S, 39, true); // the repeats do not save again
        QCOMPARE(fileChg, 1);
        QCOMPARE(done, 0);
    }

    void ctrlChordsOnCyrillicAndGreekLayoutsFollowTheKeysPlace()
    {
        VQXEVTinstallRouting();
        QWidget *main = MAINwindow();
        const int cyrillicDe = 0x0414, greekLamda = 0x039B, cyrillicYeru = 0x042B; // on L, L and S
        QVERIFY(!myEw);
        chord(main, cyrillicDe, 46, false);
        QVERIFY(myEw);
        chord(main, greekLamda, 46, false);
        QVERIFY(!myEw);
        setFileChanged(1);
        chord(main, cyrillicYeru, 39, false);
        QCOMPARE(fileChg, 0);
        // With no key code to go by, a letter outside A-Z is no command.
        chord(main, cyrillicDe, 0, false);
        QVERIFY(!myEw);
        // A Latin layout keeps the letter: the key labelled S is Save wherever it sits.
        setFileChanged(1);
        chord(main, Qt::Key_S, 40, false);
        QCOMPARE(fileChg, 0);
    }

    void plainKeyGoesToTheMainWindowHandler()
    {
        VQXEVTinstallRouting();
        QCOMPARE(currentItemIdx, -1);
        int before = popupAppleHdl->currentIndex();
        popupAppleHdl->setFocus();
        QTest::keyClick(popupAppleHdl, Qt::Key_Down);
        QCOMPARE(currentItemIdx, 0);
        QCOMPARE(popupAppleHdl->currentIndex(), before);
    }

    void idleChainRunsAboutSixTimesASecond()
    {
        VQXEVTinstallRouting();
        VQXIDLEpassCount = 0;
        QTest::qWait(1000);
        QVERIFY2(VQXIDLEpassCount >= 4 && VQXIDLEpassCount <= 8, qPrintable(QString::number(VQXIDLEpassCount)));
    }

    void idleChainFollowsTheRemoteBeforeHandingLinesToTheLog()
    {
        static const EWWviewerOps ops = {fakeCreate, fakeChange, fakeClose, nullptr};
        EWWsetViewer(&ops);
        EWWINFO *log = EWWcreate(10, 80);
        QVERIFY(log);
        changeCalls = 0;
        EWWprintf(log, "a line");
        int stop = MWTESTrowOf("Stop");
        QVERIFY(stop >= 0);
        managerInFront = 1;
        char service[] = "button", message[] = "DWN Stop";
        myCallback(service, message, 0);
        VQXIDLEpass();
        QCOMPARE(changeCalls, 1);
        QCOMPARE(selectedAtChange, stop);
        EWWunCreate(log);
        EWWsetViewer(nullptr);
    }

    void modifierKeysAtStartAreRecordedAsMaskedValues()
    {
        // Keys held while the program starts: each flag keeps its key map mask, not a plain 1.
        QWidget target;
        target.show();
        const Qt::KeyboardModifiers all = Qt::ShiftModifier | Qt::AltModifier | Qt::MetaModifier;
        QTest::keyPress(&target, Qt::Key_A, all);
        QCOMPARE(QGuiApplication::queryKeyboardModifiers(), all);
        QCOMPARE(MWTESTstart(*home, false), 0);
        QCOMPARE(CmmdKeyOnEntry, 0x8000u);
        QCOMPARE(OptKeyOnEntry, 0x4u);
        QCOMPARE(ShiftKeyOnEntry, 0x1u);
        QTest::keyRelease(&target, Qt::Key_A, all);
        QTest::keyClick(&target, Qt::Key_B); // the key after the chord: nothing held any more

        // Alt alone, then nothing held.
        QTest::keyPress(&target, Qt::Key_A, Qt::AltModifier);
        QCOMPARE(MWTESTstart(*home, false), 0);
        QCOMPARE(CmmdKeyOnEntry, 0u);
        QCOMPARE(OptKeyOnEntry, 0x4u);
        QCOMPARE(ShiftKeyOnEntry, 0u);
        QTest::keyRelease(&target, Qt::Key_A, Qt::AltModifier);
        QTest::keyClick(&target, Qt::Key_B);
        QCOMPARE(QGuiApplication::queryKeyboardModifiers(), Qt::NoModifier);
        QCOMPARE(MWTESTstart(*home, false), 0);
        QCOMPARE(CmmdKeyOnEntry, 0u);
        QCOMPARE(OptKeyOnEntry, 0u);
        QCOMPARE(ShiftKeyOnEntry, 0u);
    }

    void startUpTracesNoWindowPosition()
    {
        static QStringList traces;
        traces.clear();
        BUGtraceObserver old = BUGsetTraceObserver([](const char *text) { traces << QString::fromUtf8(text); });
        int result = MWTESTstart(*home, false);
        BUGsetTraceObserver(old);
        QCOMPARE(result, 0);
        QVERIFY(MAINwindow() && MAINwindow()->isVisible());
        for (const QString &line : traces)
            QVERIFY2(!line.startsWith("POS "), qPrintable(line));
    }

    void startShowingTheWindowAndQuittingLeavesThePreferencesUntouched()
    {
        // A first run writes the preferences of a new user.
        MWTESTreset();
        WINTESTinit();
        QTimer::singleShot(300, [] { doMenuEvent(((long)kMenuFile << 16) | kItemQuit); });
        QCOMPARE(VQXMAINrun(), 0);
        std::string path = home->prefsFolder() + "/Manager Prefs";
        QVERIFY(fileExists(path));
        std::string written = readFile(path);

        // The second run only shows the window and quits: the file is neither written nor
        // replaced (its times are set far in the past, where a write of any bytes would not leave
        // them).
        struct timespec times[2] = { { 978307200, 0 }, { 978307200, 0 } };
        QCOMPARE(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        struct stat before;
        QCOMPARE(stat(path.c_str(), &before), 0);
        MWTESTreset();
        WINTESTinit();
        static bool shown;
        shown = false;
        QTimer::singleShot(300, [] {
            shown = MAINwindow() && MAINwindow()->isVisible();
            doMenuEvent(((long)kMenuFile << 16) | kItemQuit);
        });
        QCOMPARE(VQXMAINrun(), 0);
        QVERIFY(shown);
        struct stat after;
        QCOMPARE(stat(path.c_str(), &after), 0);
        QCOMPARE((long long)after.st_mtim.tv_sec, (long long)before.st_mtim.tv_sec);
        QCOMPARE((long long)after.st_mtim.tv_nsec, (long long)before.st_mtim.tv_nsec);
        QCOMPARE((unsigned long long)after.st_ino, (unsigned long long)before.st_ino);
        QCOMPARE(readFile(path), written);
    }
};

int main(int argc, char **argv)
{
    if (argc >= 4 && strcmp(argv[1], "--start-up-child") == 0)
        return startUpChild(argc, argv);
    QApplication app(argc, argv);
    MainWindowStartupTest test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "mainwin_startup_test.moc"
