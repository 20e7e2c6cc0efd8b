// The remote picture window: loading the picture beside a remote description, the show-picture
// button, the window's size, place, contents, close box and moves.
#include <QPushButton>
#include <QtTest>
#include <cstdio>
#include <functional>
#include <string>
#include <unistd.h>

#include "mainwindow/remotepict.h"
#include "shell/files.h"
#include "shell/prefs.h"
#include "support/window_support.h"

// Runs fn with standard output (where traces go without an event log window) captured.
static std::string traced(const std::function<void()> &fn)
{
    fflush(stdout);
    char pattern[] = "/tmp/vqx-trace-XXXXXX";
    int fd = mkstemp(pattern);
    int saved = dup(1);
    dup2(fd, 1);
    fn();
    fflush(stdout);
    dup2(saved, 1);
    close(saved);
    close(fd);
    std::string out;
    if (FILE *f = fopen(pattern, "rb")) {
        char block[4096];
        size_t n;
        while ((n = fread(block, 1, sizeof block, f)) > 0)
            out.append(block, n);
        fclose(f);
    }
    unlink(pattern);
    return out;
}

static void writeBytes(const std::string &path, const std::string &bytes)
{
    FILE *f = fopen(path.c_str(), "wb");
    QVERIFY(f);
    fwrite(bytes.data(), 1, bytes.size(), f);
    fclose(f);
}

class RemotePictTest : public QObject {
    Q_OBJECT

    QTemporaryDir tmp{QDir::tempPath() + "/vqx-pict-XXXXXX"};
    std::string fakeProgram;                 // a program path whose resources folder is tmp
    std::string realProgram;                 // the built program's path
    QWidget *dialog = nullptr;               // stands in for the main dialog
    QPushButton *showButton = nullptr;       // its item 21

    void useFolder(const std::string &program) { mainArgs0 = program.c_str(); }
    std::string tmpPath(const char *name) const { return tmp.path().toStdString() + "/" + name; }

private slots:
    void initTestCase()
    {
        WINTESTinit();
        realProgram = mainArgs0;
        QVERIFY(tmp.isValid());
        fakeProgram = tmpPath("vqx-map-editor");
    }

    void init()
    {
        REMPICTreset();
        theConfigPrefs = MgrCfgPrefs{};
        prefsChanged = 0;
        useFolder(realProgram);
        dialog = new QWidget;
        showButton = new QPushButton("Picture", dialog);
        showButton->setProperty("item", 21);
        REMPICTsetMainDialog(dialog);
    }

    void cleanup()
    {
        REMPICTreset();
        delete dialog;
        dialog = nullptr;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void remoteWithoutPictureFileDisablesShowPictureButton()
    {
        useFolder(fakeProgram);
        showButton->setEnabled(true);
        std::string out = traced([] { checkForRemotePict("NoPicture.REM"); });
        QVERIFY(!showButton->isEnabled());
        QCOMPARE(remotePictAvail, 0);
        QVERIFY(remotePictHdl == nullptr);
        std::string expected = "Orvenda VQX Map Editor ERROR: unable to open .pic file [" + tmpPath("NoPicture.pic") +
                               "] for reading\n";
        QCOMPARE(out, expected);
        QVERIFY(displayRemotePict() == nullptr);
    }

    void remoteWithPictureEnablesShowPictureButton()
    {
        showButton->setEnabled(false);
        checkForRemotePict("OrvendaVQXM1A.REM");
        QVERIFY(showButton->isEnabled());
        QCOMPARE(remotePictAvail, 1);
        QVERIFY(remotePictHdl != nullptr);
        PICTIMAGE image;
        QCOMPARE(PICTreadFile((appDirPath() + "/OrvendaVQXM1A.pic").c_str(), &image), 0);
        QCOMPARE(int(remotePictInfo.sourceRect.right), image.width);
        QCOMPARE(int(remotePictInfo.sourceRect.bottom), image.height);
    }

    void pictureFileOfExactly512BytesIsRejectedByGetPictInfo()
    {
        useFolder(fakeProgram);
        writeBytes(tmpPath("Empty.pic"), std::string(512, '\0'));
        showButton->setEnabled(true);
        std::string out = traced([] { checkForRemotePict("Empty.REM"); });
        QCOMPARE(out, std::string("findRemPictFile - GetPictInfo returned -11005\n"));
        QCOMPARE(remotePictAvail, 0);
        QVERIFY(!showButton->isEnabled());
        QVERIFY(remotePictHdl != nullptr); // the empty data stays allocated
        QCOMPARE(remotePictHdl->size(), size_t(0));
        QVERIFY(displayRemotePict() == nullptr);
    }

    void pictureFileShorterThanItsHeaderFailsTheAllocation()
    {
        useFolder(fakeProgram);
        writeBytes(tmpPath("Short.pic"), std::string(100, 'x'));
        std::string out = traced([] { QCOMPARE(findRemPictFile("Short.REM"), 0); });
        QCOMPARE(out, std::string("findRemPictFile - NewHandle failed, -412\n"));
        QVERIFY(remotePictHdl == nullptr);
    }

    void remoteNameWithoutResourcesFolderIsReported()
    {
        mainArgs0 = nullptr;
        std::string out = traced([] { QCOMPARE(findRemPictFile("Some.REM"), 0); });
        QCOMPARE(out, std::string("Orvenda VQX Map Editor ERROR: improper REM file name [Some.REM], can't create "
                                  ".pic file name\n"));
    }

    void lowerCaseRemoteNameFindsItsPicture()
    {
        useFolder(fakeProgram);
        std::string bytes;
        {
            FILE *f = fopen((appDirPath() + "/DeckSet.pic").c_str(), "rb");
            QVERIFY(f);
            char block[4096];
            size_t n;
            while ((n = fread(block, 1, sizeof block, f)) > 0)
                bytes.append(block, n);
            fclose(f);
        }
        writeBytes(tmpPath("deck.pic"), bytes);
        checkForRemotePict("deck.rem");
        QCOMPARE(remotePictAvail, 1);
    }

    void windowNeverMovedAppearsWhereWindow129IsDesigned()
    {
        checkForRemotePict("OrvendaVQXM2A.REM");
        theConfigPrefs.remoteLeft = 0;
        theConfigPrefs.remoteTop = 345; // a top without a left was never a placement
        QWidget *window = displayRemotePict();
        QVERIFY(window);
        QVERIFY(window->isVisible());
        QCOMPARE(window->geometry().topLeft(), QPoint(kRemotePictWindLeft, kRemotePictWindTop));
        QCOMPARE(window->windowTitle(), QString(VQX_REMOTE_PICT_TITLE));
        QCOMPARE(prefsChanged, 0);
    }

    void windowOpensAtTheSavedPlace()
    {
        checkForRemotePict("OrvendaVQXM2A.REM");
        theConfigPrefs.remoteLeft = 310;
        theConfigPrefs.remoteTop = 205;
        QWidget *window = displayRemotePict();
        QVERIFY(window);
        QCOMPARE(window->geometry().topLeft(), QPoint(310, 205));
        QCOMPARE(prefsChanged, 0);
    }

    void windowIsSizedToThePictureAndShowsIt()
    {
        checkForRemotePict("DeckSet.REM");
        QWidget *window = displayRemotePict();
        QVERIFY(window);
        QVERIFY(ourPictWind == window);
        PICTIMAGE image;
        QCOMPARE(PICTreadFile((appDirPath() + "/DeckSet.pic").c_str(), &image), 0);
        QCOMPARE(window->size(), QSize(image.width, image.height));
        updateRemotePictWind();
        QImage shown = window->grab().toImage().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(shown.size(), QSize(image.width, image.height));
        int differing = 0;
        for (int y = 0; y < image.height; y++)
            for (int x = 0; x < image.width; x++)
                differing += (shown.pixel(x, y) | 0xFF000000u) != image.pixels[size_t(y) * image.width + x];
        QCOMPARE(differing, 0);
    }

    void closeBoxClosesTheWindowAndForgetsItWasShown()
    {
        checkForRemotePict("DeckSet.REM");
        theConfigPrefs.remotePictShown = 1;
        remotePictWind = displayRemotePict();
        QPointer<QWidget> window = remotePictWind;
        QVERIFY(window);
        window->close();
        QVERIFY(ourPictWind == nullptr);
        QVERIFY(remotePictWind == nullptr);
        QCOMPARE(theConfigPrefs.remotePictShown, 0u);
        QCOMPARE(prefsChanged, 1);
        QVERIFY(!window->isVisible());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(window.isNull());
    }

    void closeBoxHookDecidesInsteadOfTheDefault()
    {
        static QWidget *seen;
        seen = nullptr;
        REMPICTsetCloseBoxHook([](QWidget *w) { seen = w; });
        checkForRemotePict("DeckSet.REM");
        theConfigPrefs.remotePictShown = 1;
        QWidget *window = displayRemotePict();
        window->close();
        QVERIFY(seen == window);
        QVERIFY(ourPictWind == window);
        QVERIFY(window->isVisible());
        QCOMPARE(theConfigPrefs.remotePictShown, 1u);
        QCOMPARE(prefsChanged, 0);
    }

    void movingTheWindowRemembersItsPlace()
    {
        checkForRemotePict("DeckSet.REM");
        QWidget *window = displayRemotePict();
        QVERIFY(window);
        QCOMPARE(prefsChanged, 0);
        window->move(420, 130);
        QCoreApplication::processEvents();
        QCOMPARE(prefsChanged, 1);
        QCOMPARE(int(theConfigPrefs.remoteLeft), window->geometry().left());
        QCOMPARE(int(theConfigPrefs.remoteTop), window->geometry().top());
        QVERIFY(theConfigPrefs.remoteLeft != kRemotePictWindLeft);
    }

    void movedHookIsToldInsteadOfTheDefault()
    {
        static int calls;
        calls = 0;
        REMPICTsetMovedHook([](QWidget *) { calls++; });
        checkForRemotePict("DeckSet.REM");
        QWidget *window = displayRemotePict();
        window->move(400, 150);
        QCoreApplication::processEvents();
        QCOMPARE(calls, 1);
        QCOMPARE(prefsChanged, 0);
        QCOMPARE(int(theConfigPrefs.remoteLeft), 0);
        int16_t top = 0, left = 0;
        REMPICTgetWindowPosition(window, &top, &left);
        QCOMPARE(int(left), window->geometry().left());
        QCOMPARE(int(top), window->geometry().top());
    }

    void choosingAnotherRemoteClosesTheWindow()
    {
        checkForRemotePict("DeckSet.REM");
        remotePictWind = displayRemotePict();
        QPointer<QWidget> window = remotePictWind;
        QVERIFY(window && window->isVisible());
        checkForRemotePict("OrvendaVQXM1A.REM");
        QVERIFY(ourPictWind == nullptr);
        QVERIFY(remotePictWind == nullptr);
        QVERIFY(!window->isVisible());
        QCOMPARE(remotePictAvail, 1);
        QVERIFY(showButton->isEnabled());
    }

    void removeRemotePictFreesTheData()
    {
        checkForRemotePict("DeckSet.REM");
        QVERIFY(remotePictHdl != nullptr);
        removeRemotePict();
        QVERIFY(remotePictHdl == nullptr);
        QVERIFY(displayRemotePict() == nullptr);
    }

private:
    static std::string appDirPath() { return VQX_APPDIR; }
};

QTEST_MAIN(RemotePictTest)
#include "remotepict_test.moc"
