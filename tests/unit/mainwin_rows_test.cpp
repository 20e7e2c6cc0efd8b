// The button list's rows without a window: markers, wording of both views, the row records, the
// remote's button table and the application popup's map.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "editor/editdialog.h"
#include "mainwindow/rows.h"
#include "mapping/config.h"
#include "mapping/describe.h"
#include "mapping/mapfile.h"
#include "shell/prefs.h"
#include "support/mainwin_files.h"
#include "support/test_support.h"

namespace {
class MainWindowRows : public ::testing::Test {
protected:
    TempConfigHome home;
    RecordingPresenter presenter;

    void SetUp() override
    {
        ROWSreset();
        PRESset(&presenter);
        home.install(false);
        MWTESTwriteFiles(home.prefsFolder());
        initMgrCfgPrefs(&theConfigPrefs);
        ASSERT_EQ(readGlobalConfiguration(), 0);
        ASSERT_EQ(readMapAndRemFiles(), 0);
        createByButtonList();
        ROWSmapApplMenu();
    }
    void TearDown() override
    {
        ROWSreset();
        PRESset(nullptr);
    }
    ApplicationRecord *appl(const char *name)
    {
        for (int i = 0; i < numApplications; i++)
            if (strcmp(theActionByApplList[i].name, name) == 0)
                return &theActionByApplList[i];
        return nullptr;
    }
    ActionRecord *action(ApplicationRecord *a, const char *button)
    {
        for (ActionRecord *r = a->first; r; r = r->next)
            if (strcmp(r->buttonName, button) == 0)
                return r;
        return nullptr;
    }
    int fillApplication(ApplicationRecord *a)
    {
        currentAppl = a;
        maxNumItems = 10;
        EXPECT_EQ(ROWSallocate(), 0);
        LISTsetRowCount(maxNumItems);
        return ROWSfillByApplication();
    }
    int rowOf(const char *title, int rows)
    {
        for (int r = 0; r < rows; r++) {
            std::string cell = LISTgetCell(r);
            size_t tab = cell.find('\t');
            if (cell.compare(tab + 1, strlen(title) + 1, std::string(title) + "\t") == 0)
                return r;
        }
        return -1;
    }
};
} // namespace

TEST_F(MainWindowRows, ButtonNotOnTheRemoteIsListedWithQuestionMarkOnlyWhileThePreferenceIsOn)
{
    theConfigPrefs.showButtonsNotOnRemote = 1;
    int rows = fillApplication(theGlobalAppl);
    EXPECT_EQ(rows, 4);
    int eject = rowOf("Eject", rows);
    ASSERT_GE(eject, 0);
    EXPECT_EQ(std::string(LISTgetCell(eject)).substr(0, 2), "?\t");

    theConfigPrefs.showButtonsNotOnRemote = 0;
    rows = fillApplication(theGlobalAppl);
    EXPECT_EQ(rows, 3);
    EXPECT_EQ(rowOf("Eject", rows), -1);
    for (int r = 0; r < rows; r++)
        EXPECT_NE(strcmp(theItemDisplay[r].action->buttonName, "Eject"), 0);
}

TEST_F(MainWindowRows, EveryRowOfTheGlobalEntryShowsTheGlobe)
{
    theConfigPrefs.showButtonsNotOnRemote = 0;
    int rows = fillApplication(theGlobalAppl);
    ASSERT_EQ(rows, 3);
    for (int r = 0; r < rows; r++)
        EXPECT_EQ(LISTgetCell(r)[0], '@') << LISTgetCell(r);
}

TEST_F(MainWindowRows, ApplicationFollowingTheGlobalActionShowsTheGlobalDescription)
{
    ApplicationRecord *vlc = appl("vlc");
    ASSERT_TRUE(vlc);
    int rows = fillApplication(vlc);
    int stop = rowOf("Stop", rows);
    ASSERT_GE(stop, 0);
    std::string global = makeButtonText(action(theGlobalAppl, "Stop"));
    std::string own = makeButtonText(action(vlc, "Stop"));
    ASSERT_NE(global, own);
    EXPECT_EQ(std::string(LISTgetCell(stop)), "@\tStop\t" + global);
    EXPECT_EQ(theItemDisplay[stop].action, action(vlc, "Stop"));
    EXPECT_EQ(theItemDisplay[stop].globalAction, action(theGlobalAppl, "Stop"));

    int play = rowOf("Play", rows); // its own action (OVR): no marker
    ASSERT_GE(play, 0);
    EXPECT_EQ(std::string(LISTgetCell(play)), "\tPlay\t" + std::string(makeButtonText(action(vlc, "Play"))));
}

TEST_F(MainWindowRows, DisabledApplicationRowsCarryTheDisableMarkerByApplication)
{
    ApplicationRecord *vlc = appl("vlc");
    vlc->disabled = 1;
    int rows = fillApplication(vlc);
    EXPECT_EQ(LISTgetCell(rowOf("Play", rows))[0], '#');
    EXPECT_EQ(LISTgetCell(rowOf("Stop", rows))[0], '@'); // follows the global action
}

TEST_F(MainWindowRows, ActionCarryingTheDisableFlagIsReportedAndMarked)
{
    ApplicationRecord *vlc = appl("vlc");
    action(vlc, "Menu")->disabled = 1;
    int rows = fillApplication(vlc);
    int menu = rowOf("Menu", rows);
    ASSERT_GE(menu, 0);
    EXPECT_EQ(LISTgetCell(menu)[0], '#');
    ASSERT_FALSE(presenter.shown.empty());
    EXPECT_EQ(presenter.shown.back().text,
              "Fatal error: unexpected 'disable' at " + std::to_string(menu) + " in setButtonText()");
}

TEST_F(MainWindowRows, ByButtonViewGivesEveryApplicationItsRowEvenWithoutAnAction)
{
    int menuButton = -1;
    for (int i = 0; i < numButtonsOnRemote; i++)
        if (strcmp(theByButtonList[i]->name, "Menu") == 0)
            menuButton = i;
    ASSERT_GE(menuButton, 0);
    viewByButtonIdx = menuButton;
    maxNumItems = numApplications;
    ASSERT_EQ(ROWSallocate(), 0);
    LISTsetRowCount(maxNumItems);
    EXPECT_EQ(ROWSfillByButton(), numApplications);
    // Row 0 the global entry, row 1 the default entry, then the applications in popup order.
    EXPECT_EQ(theItemDisplay[0].appl, theGlobalAppl);
    EXPECT_EQ(theItemDisplay[1].appl, theDefaultAppl);
    EXPECT_EQ(theItemDisplay[2].appl, appl("vlc"));
    EXPECT_EQ(theItemDisplay[3].appl, appl("quiet"));
    EXPECT_EQ(theItemDisplay[3].action, nullptr);
    EXPECT_STREQ(LISTgetCell(3), "");
    EXPECT_EQ(std::string(LISTgetCell(0)).substr(0, 16), "@\tGlobal Actions");
    EXPECT_EQ(std::string(LISTgetCell(2)).substr(0, 5), "\tvlc\t");
}

TEST_F(MainWindowRows, ByButtonViewWordsADisabledApplicationWithoutTheDisableMarker)
{
    ApplicationRecord *vlc = appl("vlc");
    vlc->disabled = 1;
    viewByButtonIdx = 0; // Play
    maxNumItems = numApplications;
    ASSERT_EQ(ROWSallocate(), 0);
    LISTsetRowCount(maxNumItems);
    ROWSfillByButton();
    EXPECT_EQ(std::string(LISTgetCell(2)), "\tvlc\t(Application disabled)");
}

TEST_F(MainWindowRows, ImplicitDefaultEntryIsTheDefaultRowAndNamedEntryKeepsItsName)
{
    ApplicationRecord blank = {};
    ActionRecord *play = action(theGlobalAppl, "Play");
    LISTsetRowCount(2);
    setButtonApplicationText(0, &blank, play, nullptr);
    EXPECT_EQ(std::string(LISTgetCell(0)), "\tDefault\t" + std::string(makeButtonText(play)));
    setButtonApplicationText(1, theDefaultAppl, action(theDefaultAppl, "Play"), nullptr);
    EXPECT_EQ(std::string(LISTgetCell(1)).substr(0, strlen(theDefaultAppl->name) + 2),
              "\t" + std::string(theDefaultAppl->name) + "\t");
}

TEST_F(MainWindowRows, TheFiftyFirstCommandOfARemoteRaisesTooManyButtons)
{
    for (bool duplicateLast : {false, true}) {
        std::string remote = "FRQ 38000\nBIT 562\n";
        for (int i = 0; i < 50; i++)
            remote += "CMD B" + std::to_string(i) + " 0102\n";
        remote += duplicateLast ? "CMD B0 0102\n" : "CMD B50 0102\n";
        MWTESTwriteFiles(home.prefsFolder(), MWTESTmapping(), remote);
        ASSERT_EQ(readMapAndRemFiles(), 0);
        presenter.clear();
        createByButtonList();
        EXPECT_EQ(numButtonsOnRemote, 50);
        ASSERT_EQ(presenter.shown.size(), 1u);
        EXPECT_EQ(presenter.shown[0].id, 129);
        EXPECT_EQ(presenter.shown[0].text, "Remote has too many buttons");
    }
}

TEST_F(MainWindowRows, ButtonTableKeepsOneEntryPerNameInRemoteOrder)
{
    MWTESTwriteFiles(home.prefsFolder(), MWTESTmapping(),
                     "FRQ 1\nBIT 1\nCMD Play 0102\nCMD Stop 0102\nCMD Play 0304\nCMD Menu 0102\n");
    ASSERT_EQ(readMapAndRemFiles(), 0);
    createByButtonList();
    ASSERT_EQ(numButtonsOnRemote, 3);
    EXPECT_STREQ(theByButtonList[0]->name, "Play");
    EXPECT_STREQ(theByButtonList[1]->name, "Stop");
    EXPECT_STREQ(theByButtonList[2]->name, "Menu");
    EXPECT_TRUE(presenter.shown.empty());
}

TEST_F(MainWindowRows, ButtonOnRemoteIsAnExactNameMatchAndEveryButtonCountsWithoutARemote)
{
    EXPECT_EQ(isButtonOnRemote("Play"), 1);
    EXPECT_EQ(isButtonOnRemote("play"), 0);
    EXPECT_EQ(isButtonOnRemote("Eject"), 0);
    REMreset();
    EXPECT_EQ(isButtonOnRemote("Eject"), 1);
    CFGreset();
    EXPECT_EQ(isButtonOnRemote("Play"), 1);
}

TEST_F(MainWindowRows, PopupMapPutsGlobalAndDefaultFirstAndOtherApplicationsFromItemSeven)
{
    EXPECT_EQ(ROWSmapApplMenu(), 3);
    EXPECT_EQ(&theActionByApplList[ROWSapplIndexOfItem(1)], theGlobalAppl);
    EXPECT_EQ(&theActionByApplList[ROWSapplIndexOfItem(2)], theDefaultAppl);
    for (int item = 3; item <= 6; item++)
        EXPECT_EQ(ROWSapplIndexOfItem(item), -1);
    EXPECT_EQ(&theActionByApplList[ROWSapplIndexOfItem(7)], appl("vlc"));
    EXPECT_EQ(&theActionByApplList[ROWSapplIndexOfItem(8)], appl("quiet"));
    EXPECT_EQ(countApplMenu, 8);
    EXPECT_EQ(newApplIndex, -1);
    EXPECT_EQ(ROWSitemOfByButtonRow(0), 1);
    EXPECT_EQ(ROWSitemOfByButtonRow(1), 2);
    EXPECT_EQ(ROWSitemOfByButtonRow(2), 7);
}
