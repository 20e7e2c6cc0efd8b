// The menus and commands: item numbering, Save, Save As names, Revert, Quit, switching files,
// new, rename and delete application, removing unused buttons, the log window, About.
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

#include "mainwindow/applcommands.h"
#include "mainwindow/eventlog.h"
#include "editor/editdialog.h"
#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "support/mainwin_window.h"

namespace {
// While one lives, saves fail as on a full disk: the files of this process may not grow past a
// few bytes (permissions would not stop root).
struct FullDisk {
    struct rlimit old;
    FullDisk()
    {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &old);
        struct rlimit small = { 16, old.rlim_max };
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &old);
        signal(SIGXFSZ, SIG_DFL);
    }
};
} // namespace

class MainWindowMenusTest : public QObject {
    Q_OBJECT
    TempConfigHome *home = nullptr;
    RecordingPresenter presenter;

    std::string prefsFile(const char *name) { return home->prefsFolder() + "/" + name; }
    void choose(int menu, int item) { doMenuEvent(((long)menu << 16) | item); }
    int popupItem(const char *name)
    {
        for (int i = 0; i < popupAppleHdl->count(); i++)
            if (popupAppleHdl->itemText(i) == name)
                return i + 1;
        return 0;
    }

private slots:
    void init()
    {
        home = new TempConfigHome;
        PRESset(&presenter);
        presenter.clear();
        presenter.nextAnswers.clear();
        presenter.nextNames.clear();
        presenter.nextFiles.clear();
        QCOMPARE(MWTESTstart(*home, false), 0);
        // The start-up added the button "quiet" lacked; save that, to start from a saved mapping.
        QCOMPARE(fileChg, 1);
        updateCfgFile();
        QCOMPARE(fileChg, 0);
        presenter.clear();
    }
    void cleanup()
    {
        MWTESTreset();
        PRESset(nullptr);
        delete home;
        home = nullptr;
    }

    void itemNumbersCountSeparators()
    {
        QCOMPARE(QString(GetMenuItemText(kMenuFile, 5)), QString("-"));
        QVERIFY(MENUitem(kMenuFile, 5)->isSeparator());
        QCOMPARE(QString(GetMenuItemText(kMenuFile, kItemQuit)), QString("Quit"));
        QCOMPARE(QString(GetMenuItemText(kMenuEdit, kItemNewAppl)), QString("New Application..."));
        QCOMPARE(QString(GetMenuItemText(kMenuEdit, kItemDeleteUnused)), QString("Remove Buttons Not on Remote..."));
        QCOMPARE(QString(GetMenuItemText(kMenuOptions, kItemStartMapper)), QString("Start Mapper"));
        QCOMPARE(MenuKey('S'), 0L); // Save is disabled without changes
        QCOMPARE(MENUitemCount(kMenuRemotes), numberOfRemotes);
        QVERIFY(MENUitemChecked(kMenuRemotes, currentRemoteIdx));
        QCOMPARE(QString(GetMenuItemText(kMenuMappings, currentMappingIdx)), QString("Test.map"));
    }

    void changedMarkDrivesSaveRevertAndTheTitle()
    {
        QVERIFY(!MENUitemEnabled(kMenuFile, kItemSave));
        QVERIFY(!MENUitemEnabled(kMenuFile, kItemRevert));
        QVERIFY(!MAINwindow()->isWindowModified());
        setFileChanged(1);
        QVERIFY(MENUitemEnabled(kMenuFile, kItemSave));
        QVERIFY(MENUitemEnabled(kMenuFile, kItemRevert));
        QVERIFY(MAINwindow()->isWindowModified());
        QVERIFY(MAINwindow()->windowTitle().startsWith("Test.map[*]"));
        QCOMPARE(MenuKey('s'), ((long)kMenuFile << 16) | kItemSave);
        setFileChanged(0);
        QVERIFY(!MAINwindow()->isWindowModified());
    }

    void saveWithoutChangesWritesNothing()
    {
        std::string before = readFile(prefsFile("Test.map"));
        struct stat was;
        stat(prefsFile("Test.map").c_str(), &was);
        choose(kMenuFile, kItemSave);
        struct stat now;
        stat(prefsFile("Test.map").c_str(), &now);
        QCOMPARE(readFile(prefsFile("Test.map")), before);
        QCOMPARE((long)now.st_ino, (long)was.st_ino); // not replaced by a saved copy
        QVERIFY(presenter.shown.empty());
        QCOMPARE(fileChg, 0);
    }

    void saveWritesTheMappingAndClearsTheMark()
    {
        currentAppl->disabled = 1;
        setFileChanged(1);
        choose(kMenuFile, kItemSave);
        QCOMPARE(fileChg, 0);
        QVERIFY(QString::fromStdString(readFile(prefsFile("Test.map"))).contains("APPL vlc\n\nDIS"));
    }

    void saveAsKeepsUpperCaseExtensionAddsMapOtherwise()
    {
        const char *names[] = {"Upper.MAP", "plain", "Mixed.Map"};
        const char *files[] = {"Upper.MAP", "plain.map", "Mixed.Map.map"};
        for (int i = 0; i < 3; i++) {
            presenter.nextAnswers = {1};
            presenter.nextNames = {names[i]};
            choose(kMenuFile, kItemSaveAs);
            QCOMPARE(QString(mapFileName), QString(files[i]));
            QVERIFY2(fileExists(prefsFile(files[i])), files[i]);
            QCOMPARE(fileChg, 0);
            QVERIFY(QString::fromStdString(readFile(prefsFile("OrvendaVQX.cfg"))).contains(QString("MAP ") + files[i]));
            QCOMPARE(QString(GetMenuItemText(kMenuMappings, currentMappingIdx)), QString(files[i]));
            QCOMPARE(stMapFileNameHdl->text(), QString(files[i]));
        }
        QCOMPARE(presenter.lastMaxLen, 26);
    }

    void saveAsRefusesNamesThatLeaveThePreferencesFolderAndLongNames()
    {
        for (const char *bad : {"../escape", "a/b", ".", "..", ""}) {
            presenter.clear();
            presenter.nextAnswers = {1};
            presenter.nextNames = {bad};
            choose(kMenuFile, kItemSaveAs);
            QCOMPARE(QString(mapFileName), QString("Test.map"));
            QCOMPARE((int)presenter.shown.size(), 3); // question, name, refusal
            QCOMPARE(presenter.shown[2].id, 129);
        }
        QVERIFY(!fileExists(home->home() + "/escape.map"));
        // The prompt holds at most 26 characters, so the longest name is 26 plus ".map".
        presenter.nextAnswers = {1};
        presenter.nextNames = {"abcdefghijklmnopqrstuvwxyz0123"};
        choose(kMenuFile, kItemSaveAs);
        QCOMPARE(QString(mapFileName), QString("abcdefghijklmnopqrstuvwxyz.map"));
        presenter.clear();
        presenter.nextAnswers = {2}; // No to the question: nothing else
        choose(kMenuFile, kItemSaveAs);
        QCOMPARE((int)presenter.shown.size(), 1);
    }

    void revertReadsTheFileAgain()
    {
        currentAppl->disabled = 1;
        setFileChanged(1);
        presenter.nextAnswers = {1};
        choose(kMenuFile, kItemRevert);
        QCOMPARE(presenter.shown[0].text, std::string(getstring(129, 6)));
        QCOMPARE(fileChg, 0);
        QCOMPARE(currentAppl->disabled, 0);
    }

    void quitWithChangesSavesOnOneCancelsOnTwoDiscardsOnThree()
    {
        currentAppl->disabled = 1;
        setFileChanged(1);
        presenter.nextAnswers = {1};
        choose(kMenuFile, kItemQuit);
        QCOMPARE(done, 1);
        QCOMPARE(fileChg, 0);
        QVERIFY(QString::fromStdString(readFile(prefsFile("Test.map"))).contains("DIS"));
    }

    void choosingTheCheckedRemoteOrMappingDoesNothingWithoutAQuestion()
    {
        std::string cfg = readFile(prefsFile("OrvendaVQX.cfg"));
        choose(kMenuRemotes, currentRemoteIdx);
        choose(kMenuMappings, currentMappingIdx);
        QVERIFY(presenter.shown.empty());
        QCOMPARE(readFile(prefsFile("OrvendaVQX.cfg")), cfg);
    }

    void switchingTheMappingAsksAboutUnsavedChangesAndLoadsTheOther()
    {
        int other = 0;
        for (int i = 1; i <= numberOfMappings; i++)
            if (QString(GetMenuItemText(kMenuMappings, i)) == "OrvendaVQXM1.map")
                other = i;
        QVERIFY(other == 0); // only the test's own files are installed
        writeFile(prefsFile("Other.map"), MWTESTmapping());
        VQXFILESgetPrefsFiles();
        createMappingMenu();
        for (int i = 1; i <= numberOfMappings; i++)
            if (QString(GetMenuItemText(kMenuMappings, i)) == "Other.map")
                other = i;
        QVERIFY(other > 0);
        setFileChanged(1);
        presenter.nextAnswers = {1, 2}; // yes, switch; then Cancel at the save question
        choose(kMenuMappings, other);
        QCOMPARE(QString(mapFileName), QString("Test.map"));
        QCOMPARE(presenter.shown[1].id, 134);
        presenter.nextAnswers = {1, 3}; // yes; don't save
        choose(kMenuMappings, other);
        QCOMPARE(QString(mapFileName), QString("Other.map"));
        QCOMPARE(stMapFileNameHdl->text(), QString("Other.map"));
        QCOMPARE(currentMappingIdx, other);
        QCOMPARE(mapFileChanged, 1); // "quiet" lacked a button of the remote
        QCOMPARE(fileChg, mapFileChanged);
        QCOMPARE(currentApplIdx, 7);
    }

    void quitAfterAFailedSaveKeepsTheProgramAndTheChanges()
    {
        currentAppl->disabled = 1;
        setFileChanged(1);
        std::string before = readFile(prefsFile("Test.map"));
        {
            FullDisk full;
            presenter.nextAnswers = {1}; // Save
            choose(kMenuFile, kItemQuit);
        }
        QCOMPARE(done, 0);
        QCOMPARE(fileChg, 1);
        QCOMPARE(currentAppl->disabled, 1);
        QCOMPARE(readFile(prefsFile("Test.map")), before);
        QCOMPARE((int)presenter.shown.size(), 2);
        QCOMPARE(presenter.shown[0].id, 134);
        QCOMPARE(presenter.shown[1].text, std::string(getstring(129, 12)));
        // With room again the same Quit saves and ends.
        presenter.clear();
        presenter.nextAnswers = {1};
        choose(kMenuFile, kItemQuit);
        QCOMPARE(done, 1);
        QCOMPARE(fileChg, 0);
        QVERIFY(readFile(prefsFile("Test.map")) != before);
    }

    void switchingTheMappingAfterAFailedSaveStaysWithTheUnsavedMapping()
    {
        writeFile(prefsFile("Other.map"), MWTESTmapping());
        VQXFILESgetPrefsFiles();
        createMappingMenu();
        int other = 0;
        for (int i = 1; i <= numberOfMappings; i++)
            if (QString(GetMenuItemText(kMenuMappings, i)) == "Other.map")
                other = i;
        QVERIFY(other > 0);
        int current = currentMappingIdx;
        currentAppl->disabled = 1;
        setFileChanged(1);
        std::string before = readFile(prefsFile("Test.map"));
        {
            FullDisk full;
            presenter.nextAnswers = {1, 1}; // yes, switch; Save
            choose(kMenuMappings, other);
        }
        QCOMPARE((int)presenter.shown.size(), 3);
        QCOMPARE(presenter.shown[1].id, 134);
        QCOMPARE(presenter.shown[2].text, std::string(getstring(129, 12)));
        QCOMPARE(QString(mapFileName), QString("Test.map"));
        QCOMPARE(stMapFileNameHdl->text(), QString("Test.map"));
        QCOMPARE(currentMappingIdx, current);
        QCOMPARE(fileChg, 1);
        QCOMPARE(currentAppl->disabled, 1);
        QCOMPARE(readFile(prefsFile("Test.map")), before);
        QVERIFY(readFile(prefsFile("OrvendaVQX.cfg")).find("MAP Test.map") != std::string::npos);
    }

    void switchingTheRemoteRebuildsTheWindow()
    {
        writeFile(prefsFile("Small.REM"), "FRQ 1\nBIT 1\nCMD Play 0102\n");
        VQXFILESgetPrefsFiles();
        createRemoteMenu();
        int small = 0;
        for (int i = 1; i <= numberOfRemotes; i++)
            if (QString(GetMenuItemText(kMenuRemotes, i)) == "Small.REM")
                small = i;
        QVERIFY(small > 0);
        presenter.nextAnswers = {1};
        choose(kMenuRemotes, small);
        QCOMPARE(QString(remFileName), QString("Small.REM"));
        QCOMPARE(numButtonsOnRemote, 1);
        QVERIFY(MAINwindow());
        QCOMPARE(stRemoteNameHdl->text(), QString("Small.REM"));
        QCOMPARE(currentRemoteIdx, small);
    }

    void renamingAnApplicationToItsOwnNameIsADuplicate()
    {
        QCOMPARE(QString(currentAppl->name), QString("vlc"));
        presenter.nextNames = {"vlc"};
        QCOMPARE(doEditAppName(), -2);
        QCOMPARE(presenter.shown.back().text, std::string("There is already an application named \"vlc\"."));
        presenter.nextNames = {"default"};
        QCOMPARE(doEditAppName(), -1);
        presenter.nextNames = {"mpv"};
        QCOMPARE(doEditAppName(), 0);
        QCOMPARE(QString(currentAppl->name), QString("mpv"));
        QCOMPARE(popupAppleHdl->currentText(), QString("mpv"));
        QCOMPARE(fileChg, 1);
    }

    // A file the user could choose: made in the test's folder, since the chooser only returns
    // files that exist.
    std::string choosable(const char *name)
    {
        std::string path = home->home() + "/" + name;
        writeFile(path, "[Desktop Entry]\nType=Application\nExec=true\n");
        return path;
    }

    void newApplicationNamedLikeAnExistingOneIsRefusedAndThePopupGoesBack()
    {
        presenter.nextFiles = {choosable("vlc.desktop")};
        popupAppleHdl->setCurrentIndex(kPopupNewAppl - 1);
        doItemHit(kItemApplPopup);
        QCOMPARE(popupAppleHdl->currentIndex() + 1, currentApplIdx);
        QCOMPARE(presenter.shown.back().text, std::string("There is already an application named \"vlc\"."));
        presenter.nextFiles = {choosable("quiet.app")};
        doNewApplication();
        QCOMPARE(presenter.shown.back().text, std::string("There is already an application named \"quiet\"."));
        QCOMPARE(fileChg, 0);
    }

    void newApplicationIsAddedSelectedAndCopiesTheCurrentOne()
    {
        int before = numApplications;
        presenter.nextFiles = {choosable("mpv")};
        doNewApplication();
        QCOMPARE(numApplications, before + 1);
        QCOMPARE(QString(currentAppl->name), QString("mpv"));
        QCOMPARE(currentApplIdx, countApplMenu);
        QCOMPARE(popupAppleHdl->currentText(), QString("mpv"));
        QCOMPARE(fileChg, 1);
        QVERIFY(numItemsDisplayed > 0);
        presenter.nextFiles = {};
        int shownBefore = (int)presenter.shown.size();
        doNewApplication(); // cancelled: nothing changes
        QCOMPARE(numApplications, before + 1);
        QCOMPARE((int)presenter.shown.size(), shownBefore + 1);
    }

    void deletingAnApplicationLeavesTheGlobalEntrySelected()
    {
        int before = numApplications;
        presenter.nextAnswers = {1};
        QCOMPARE(doDeleteApp(), 0);
        QCOMPARE(presenter.shown[0].text, std::string("Delete the application \"vlc\" and all of its button actions?"));
        QCOMPARE(numApplications, before - 1);
        QCOMPARE(currentApplIdx, 1);
        QCOMPARE(theConfigPrefs.currentApplIdx, 1);
        QCOMPARE(currentAppl, theGlobalAppl);
        QCOMPARE(popupAppleHdl->currentIndex(), 0);
        QCOMPARE(popupItem("vlc"), 0);
        QVERIFY(!MENUitemEnabled(kMenuEdit, kItemDeleteAppl));
    }

    void removingUnusedButtonsKeepsEveryApplicationsOwnListHead()
    {
        // Two applications whose lists begin with a button the remote lacks.
        writeFile(prefsFile("Test.map"), std::string(MWTESTmapping()) +
                                             "\nAPPL first\nACT Eject NO_ACTION\nACT Play NO_ACTION OVR\n"
                                             "\nAPPL second\nACT Gone NO_ACTION\nACT Stop NO_ACTION OVR\n");
        QCOMPARE(readMapAndRemFiles(), 0);
        createByButtonList();
        stuffMain();
        presenter.nextAnswers = {1};
        choose(kMenuEdit, kItemDeleteUnused);
        for (int i = 0; i < numApplications; i++) {
            ApplicationRecord *appl = &theActionByApplList[i];
            int count = 0;
            for (ActionRecord *a = appl->first; a; a = a->next, count++)
                QVERIFY2(isButtonOnRemote(a->buttonName), appl->name);
            if (strcmp(appl->name, "first") == 0)
                QVERIFY(appl->first && strcmp(appl->first->buttonName, "Play") == 0);
            if (strcmp(appl->name, "second") == 0)
                QVERIFY(appl->first && appl->last == appl->first && strcmp(appl->first->buttonName, "Stop") == 0);
        }
        QCOMPARE(fileChg, 1);
    }

    void showButtonsNotOnRemoteTogglesTheCheckMarkAndTheRows()
    {
        popupAppleHdl->setCurrentIndex(0);
        doItemHit(kItemApplPopup); // the global entry, with Eject
        int shown = numItemsDisplayed;
        QVERIFY(MENUitemChecked(kMenuOptions, kItemShowNotOnRemote));
        choose(kMenuOptions, kItemShowNotOnRemote);
        QVERIFY(!MENUitemChecked(kMenuOptions, kItemShowNotOnRemote));
        QCOMPARE(theConfigPrefs.showButtonsNotOnRemote, 0u);
        QCOMPARE(numItemsDisplayed, shown - 1);
        QCOMPARE(prefsChanged, 1);
    }

    void eventLogWindowOpensAndCloses()
    {
        QVERIFY(!myEw);
        choose(kMenuOptions, kItemEventLog);
        QVERIFY(myEw);
        QVERIFY(isActiveEw(myEw));
        choose(kMenuOptions, kItemEventLog);
        QVERIFY(!myEw);
    }

    void aboutShowsTheVersionAndBuildDate()
    {
        choose(kMenuHelp, kItemAbout);
        QCOMPARE(presenter.shown.size(), 1u);
        QCOMPARE(presenter.shown[0].id, 128);
        QVERIFY(QString::fromStdString(presenter.shown[0].text).startsWith("2.5.0 as of "));
        QCOMPARE(presenter.shown[0].text, std::string(dateString));
    }

    // An access key that two items share only moves the focus between them: Alt and the letter
    // must reach one menu title or one control of the window.
    void accessKeysOfTheMenuTitlesAndTheWindowsControlsDoNotClash()
    {
        QMap<QKeySequence, QString> owners;
        auto take = [&owners](const QString &text) {
            QKeySequence key = QKeySequence::mnemonic(text);
            if (key.isEmpty())
                return;
            QVERIFY2(!owners.contains(key),
                qPrintable(QString("%1 and %2 share %3").arg(owners.value(key), text, key.toString())));
            owners.insert(key, text);
        };
        const QList<QAction *> titles = MAINwindow()->menuBar()->actions();
        for (QAction *title : titles)
            take(title->text());
        const QList<QAbstractButton *> buttons = MAINwindow()->findChildren<QAbstractButton *>();
        for (QAbstractButton *button : buttons)
            take(button->text());
        const QList<QLabel *> labels = MAINwindow()->findChildren<QLabel *>();
        for (QLabel *label : labels)
            if (label->buddy())
                take(label->text());
        QVERIFY(owners.size() >= 8);
    }

    void closeWithTheMainWindowInFrontIsTheQuitQuestion()
    {
        MAINwindow()->activateWindow();
        activeWind = MAINwindow();
        setFileChanged(1);
        presenter.nextAnswers = {2};
        choose(kMenuFile, kItemClose);
        QCOMPARE(presenter.shown.size(), 1u);
        QCOMPARE(presenter.shown[0].id, 134);
        QCOMPARE(done, 0);
    }
};

QTEST_MAIN(MainWindowMenusTest)
#include "mainwin_menus_test.moc"
