// Button reconciliation: missing buttons added as no action, lists put in the remote's order,
// and the upgrade of mapping files without MAPVER.
#include <gtest/gtest.h>

#include "mapping/mapfile.h"
#include "mapping/reconcile.h"
#include "support/mapping_support.h"

namespace {

int readBoth(MappingFiles &files, const std::string &map, const std::string &rem)
{
    writeFile(files.path("test.map"), map);
    writeFile(files.path("test.REM"), rem);
    int result = -1;
    captureStdout([](void *p) { *static_cast<int *>(p) = readMapAndRemFiles(); }, &result);
    return result;
}

ActionRecord *actionNamed(ApplicationRecord *appl, const char *name)
{
    for (ActionRecord *a = appl->first; a; a = a->next)
        if (strcmp(a->theEvent.common.name, name) == 0)
            return a;
    return nullptr;
}

const char *kRemoteABC = "CMD A 0101\nCMD B 0101\nCMD C 0101\n";
const char *kRemoteFive = "CMD Power 0101\nCMD Play 0101\nCMD Stop 0101\nCMD Next 0101\nCMD Prev 0101\n";
} // namespace

TEST(Reconcile, RemoteABCAndListCXAGiveACXAfterReordering)
{
    PresenterScope scope;
    MappingFiles files("");
    ASSERT_EQ(
        readBoth(files, "MAPVER 2\nAPPL *GLOBAL*\nACT C NO_ACTION\nACT X NO_ACTION\nACT A NO_ACTION\n", kRemoteABC), 0);
    reorderAllButtons();
    EXPECT_EQ(buttonNames(theGlobalAppl), (std::vector<std::string> { "A", "C", "X" }));
}

TEST(Reconcile, ReorderingLeavesTheLastPointerWhereItWas)
{
    PresenterScope scope;
    MappingFiles files("");
    readBoth(files, "MAPVER 2\nAPPL *GLOBAL*\nACT C NO_ACTION\nACT X NO_ACTION\nACT A NO_ACTION\n", kRemoteABC);
    ActionRecord *a = theGlobalAppl->last;
    ASSERT_STREQ(a->theEvent.common.name, "A");
    reorderButtonsInMap(theGlobalAppl);
    EXPECT_EQ(theGlobalAppl->first, a);
    EXPECT_EQ(theGlobalAppl->last, a);
    EXPECT_NE(a->next, nullptr);
}

TEST(Reconcile, EmptyListReceivesEveryCommandAsNoActionInCommandOrder)
{
    PresenterScope scope;
    MappingFiles files("");
    readBoth(files, "MAPVER 2\nAPPL *GLOBAL*\nAPPL vlc\nACT B KEY 1 0 0 0 0 0\n", kRemoteABC);
    EXPECT_EQ(checkForMissingButtons(), 1);
    addAllButtonsToMap();
    EXPECT_EQ(buttonNames(theGlobalAppl), (std::vector<std::string> { "A", "B", "C" }));
    for (ActionRecord *a = theGlobalAppl->first; a; a = a->next) {
        EXPECT_EQ(a->theEvent.common.type, kNoActionEventType);
        EXPECT_EQ(a->count, 1);
        EXPECT_EQ(a->disabled, 0);
        EXPECT_EQ(a->override, 0);
        EXPECT_EQ(a->spare, 0);
        EXPECT_EQ(a->buttonName, a->theEvent.common.name);
    }
    EXPECT_EQ(buttonNames(applNamed("vlc")), (std::vector<std::string> { "B", "A", "C" }));
    EXPECT_EQ(applNamed("vlc")->first->theEvent.common.type, kKeyEventType);
    EXPECT_EQ(checkForMissingButtons(), 0);
}

TEST(Reconcile, MaxNumButtonsEndsOneAboveTheLongestListAfterAdding)
{
    PresenterScope scope;
    MappingFiles files("");
    readBoth(files, "MAPVER 2\nAPPL *GLOBAL*\nACT A NO_ACTION\nAPPL vlc\n", kRemoteABC);
    EXPECT_EQ(maxNumButtons, 0); // the first action of a list does not count
    addAllButtonsToMap();
    EXPECT_EQ(MAPlistLength(theGlobalAppl), 3);
    EXPECT_EQ(MAPlistLength(applNamed("vlc")), 3);
    EXPECT_EQ(maxNumButtons, 4);
}

TEST(Reconcile, CompleteMappingReportsNothingMissing)
{
    PresenterScope scope;
    MappingFiles files("");
    readBoth(files, "MAPVER 2\nAPPL *GLOBAL*\nACT C NO_ACTION\nACT B NO_ACTION\nACT A NO_ACTION\nACT Z NO_ACTION\n",
        kRemoteABC);
    EXPECT_EQ(checkForMissingButtons(), 0);
    numButtons = 77;
    readBoth(files, "MAPVER 2\nAPPL *GLOBAL*\nACT C NO_ACTION\nACT A NO_ACTION\n", kRemoteABC);
    EXPECT_EQ(checkForMissingButtons(), 1);
    EXPECT_EQ(numButtons, 2); // the walk that missed B counted the whole list
}

TEST(Reconcile, RemoteAndMappingThatDisagreeInEveryWay)
{
    PresenterScope scope;
    MappingFiles files("");
    ASSERT_EQ(readBoth(files,
                  "MAPVER 2\n"
                  "DEFAULT\nACT Prev NO_ACTION\nACT Next NO_ACTION\nACT Stop NO_ACTION\nACT Play NO_ACTION\n"
                  "ACT Power NO_ACTION\n"
                  "APPL *GLOBAL*\nACT Next NO_ACTION\nACT Extra1 NO_ACTION\nACT Play KEY 1 0 0 0 0 0\n"
                  "ACT Play MOU 2 0 0 0 0\nACT Power NO_ACTION\n"
                  "APPL vlc\n"
                  "APPL totem\nACT Stop KEY 3 0 0 0 0 0\nACT Extra2 NO_ACTION\nACT Prev NO_ACTION\n"
                  "ACT Stop MOU 4 0 0 0 0\n",
                  kRemoteFive),
        0);
    EXPECT_EQ(checkForMissingButtons(), 1);
    addAllButtonsToMap();
    EXPECT_EQ(checkForMissingButtons(), 0);
    EXPECT_EQ(buttonNames(theGlobalAppl),
        (std::vector<std::string> { "Next", "Extra1", "Play", "Play", "Power", "Stop", "Prev" }));
    EXPECT_EQ(buttonNames(applNamed("vlc")), (std::vector<std::string> { "Power", "Play", "Stop", "Next", "Prev" }));
    EXPECT_EQ(buttonNames(applNamed("totem")),
        (std::vector<std::string> { "Stop", "Extra2", "Prev", "Stop", "Power", "Play", "Next" }));
    EXPECT_EQ(maxNumButtons, 8);

    reorderAllButtons();
    EXPECT_EQ(buttonNames(theDefaultAppl), (std::vector<std::string> { "Power", "Play", "Stop", "Next", "Prev" }));
    EXPECT_EQ(buttonNames(theGlobalAppl),
        (std::vector<std::string> { "Power", "Play", "Stop", "Next", "Prev", "Extra1", "Play" }));
    // The first of the duplicates is the one put in place.
    EXPECT_EQ(theGlobalAppl->first->next->theEvent.common.type, kKeyEventType);
    EXPECT_EQ(buttonNames(applNamed("vlc")), (std::vector<std::string> { "Power", "Play", "Stop", "Next", "Prev" }));
    EXPECT_EQ(buttonNames(applNamed("totem")),
        (std::vector<std::string> { "Power", "Play", "Stop", "Next", "Prev", "Extra2", "Stop" }));
    ActionRecord *totemStop = actionNamed(applNamed("totem"), "Stop");
    EXPECT_EQ(totemStop->theEvent.key.message, 3u);
    EXPECT_EQ(checkForMissingButtons(), 0);
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(Reconcile, RemoteWithoutCommandsChangesNothing)
{
    PresenterScope scope;
    MappingFiles files("");
    readBoth(files, "MAPVER 2\nAPPL *GLOBAL*\nACT B NO_ACTION\nACT A NO_ACTION\n", "FRQ 38000\n");
    EXPECT_EQ(checkForMissingButtons(), 0);
    addAllButtonsToMap();
    reorderAllButtons();
    EXPECT_EQ(buttonNames(theGlobalAppl), (std::vector<std::string> { "B", "A" }));
}

TEST(Reconcile, OldFileDisabledActionThatGlobalDisablesTooBecomesNoActionWithOverride)
{
    PresenterScope scope;
    MappingFiles files("");
    ASSERT_EQ(readBoth(files,
                  "APPL *GLOBAL*\nACT Play KEY 00003120 0000 -1 -1 -1 -1 DIS\nACT Stop KEY 1 0 0 0 0 0\n"
                  "APPL vlc\nACT Play KEY 00000c11 1000 5 6 7 8 DIS\nACT Stop KEY 2 0 0 0 0 0\n"
                  "ACT Next KEY 3 0 0 0 0 0\n",
                  "CMD Play 0101\nCMD Stop 0101\nCMD Next 0101\n"),
        0);
    EXPECT_EQ(mapfileVersion, 2);
    EXPECT_EQ(mapFileChanged, 1);
    ActionRecord *play = actionNamed(applNamed("vlc"), "Play");
    EXPECT_EQ(play->theEvent.common.type, kNoActionEventType);
    EXPECT_EQ(play->disabled, 0);
    EXPECT_EQ(play->override, 1);
    // The other event fields are left as they were.
    EXPECT_EQ(play->theEvent.key.message, 0x0c11u);
    EXPECT_EQ(play->theEvent.key.rate2, 8);
    ActionRecord *stop = actionNamed(applNamed("vlc"), "Stop");
    EXPECT_EQ(stop->override, 0); // the global Stop is enabled
    EXPECT_EQ(stop->theEvent.common.type, kKeyEventType);
    EXPECT_EQ(actionNamed(applNamed("vlc"), "Next")->override, 1); // global has no Next
    ActionRecord *globalPlay = actionNamed(theGlobalAppl, "Play");
    EXPECT_EQ(globalPlay->theEvent.common.type, kNoActionEventType);
    EXPECT_EQ(globalPlay->disabled, 0);
    EXPECT_EQ(globalPlay->override, 0);
    // addAllButtonsToMap gave the global entry the missing Next, in the remote's order.
    EXPECT_EQ(buttonNames(theGlobalAppl), (std::vector<std::string> { "Play", "Stop", "Next" }));
    EXPECT_EQ(actionNamed(theGlobalAppl, "Next")->theEvent.common.type, kNoActionEventType);
}

TEST(Reconcile, OldFileEnabledActionWithEnabledGlobalKeepsFollowingTheGlobal)
{
    PresenterScope scope;
    MappingFiles files("");
    readBoth(files, "DEFAULT\nACT Play KEY 1 0 0 0 0 0\nAPPL *GLOBAL*\nACT Play KEY 2 0 0 0 0 0\n", "CMD Play 0101\n");
    EXPECT_EQ(theDefaultAppl->first->override, 0);
    EXPECT_EQ(theDefaultAppl->first->theEvent.common.type, kKeyEventType);
}

TEST(Reconcile, OldFileIsUpgradedThenReorderedAndCompleted)
{
    PresenterScope scope;
    MappingFiles files("");
    readBoth(files, "APPL *GLOBAL*\nACT C NO_ACTION\nACT A NO_ACTION\nAPPL vlc\n", kRemoteABC);
    EXPECT_EQ(buttonNames(theGlobalAppl), (std::vector<std::string> { "A", "B", "C" }));
    EXPECT_EQ(buttonNames(applNamed("vlc")), (std::vector<std::string> { "A", "B", "C" }));
    for (ActionRecord *a = applNamed("vlc")->first; a; a = a->next)
        EXPECT_EQ(a->override, 0); // added after the override pass
}


// Switching remotes twice: reordering leaves the list's last pointer on an action in the middle of
// the list, and the buttons added for the next remote must come after every existing action.
TEST(Reconcile, AddingAfterReorderingLosesNoAction)
{
    PresenterScope scope;
    MappingFiles files("");
    ASSERT_EQ(
        readBoth(files, "MAPVER 2\nAPPL *GLOBAL*\nACT C NO_ACTION\nACT X NO_ACTION\nACT A NO_ACTION\n", kRemoteABC), 0);
    reorderAllButtons(); // A C X, last still on A
    writeFile(files.path("other.REM"), "CMD A 0101\nCMD D 0101\n");
    captureStdout([](void *) { parseRemFile("other.REM"); }, nullptr);
    ASSERT_EQ(checkForMissingButtons(), 1);
    addAllButtonsToMap();
    EXPECT_EQ(buttonNames(theGlobalAppl), (std::vector<std::string> {"A", "C", "X", "D"}));
    EXPECT_STREQ(theGlobalAppl->last->theEvent.common.name, "D");
}
