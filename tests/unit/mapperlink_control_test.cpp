// Mapper control: the held remote button, reload and quit requests, the action editor's helpers
// and the empty hooks.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "editor/editrecords.h"
#include "mapperlink/launch.h"
#include "mapperlink/mapperapi.h"
#include "mapperlink/notify.h"
#include "unit/mapperlink_support.h"

using namespace mapperlinktest;

namespace {

void callMyCallback(const char *service, const char *message)
{
    char s[64], m[256];
    snprintf(s, sizeof s, "%s", service);
    snprintf(m, sizeof m, "%s", message);
    myCallback(s, m, 0);
}

std::vector<std::string> commands; // messages seen by the "command" observer

void recordCommand(char *, char *message, int32_t)
{
    commands.push_back(message);
}

// The channel on the private bus with one observer of "command", recording into `commands`.
void listenToCommands()
{
    ASSERT_TRUE(usePrivateSessionBus());
    commands.clear();
    ASSERT_EQ(NOTinit(1), 0);
    NOTobserver *observer = nullptr;
    ASSERT_EQ(NOTarmObserver("command", recordCommand, 0, &observer), 0);
}
} // namespace

TEST(MapperControl, DwnBlankPlaySetsHeldButtonToPlay)
{
    EXPECT_EQ(VQXAPIgetButtonState(), nullptr);
    callMyCallback("button", "DWN Play");
    ASSERT_NE(VQXAPIgetButtonState(), nullptr);
    EXPECT_STREQ(VQXAPIgetButtonState(), "Play");
    EXPECT_EQ(VQXAPIgetButtonState(), currentButtonBuf);
}

TEST(MapperControl, UppWithOrWithoutNameClearsHeldButton)
{
    callMyCallback("button", "DWN Play");
    callMyCallback("button", "UPP");
    EXPECT_EQ(VQXAPIgetButtonState(), nullptr);
    callMyCallback("button", "DWN Stop");
    callMyCallback("button", "UPP Stop");
    EXPECT_EQ(VQXAPIgetButtonState(), nullptr);
    callMyCallback("button", "DWN Stop");
    callMyCallback("button", "UPPxyz");
    EXPECT_EQ(VQXAPIgetButtonState(), nullptr);
}

TEST(MapperControl, AnySeparatorAfterDwnIsSkipped)
{
    callMyCallback("button", "DWN:Vol+");
    EXPECT_STREQ(VQXAPIgetButtonState(), "Vol+");
}

TEST(MapperControl, DwnWithFortyCharacterNameKeepsFirstThirtyTwo)
{
    std::string name = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcd";
    ASSERT_EQ(name.size(), 40u);
    memset(currentButtonBuf, 'Z', sizeof currentButtonBuf);
    callMyCallback("button", ("DWN " + name).c_str());
    EXPECT_EQ(std::string(VQXAPIgetButtonState()), name.substr(0, 32));
    EXPECT_EQ(currentButtonBuf[33], 'Z'); // nothing written past the name and its NUL
}

TEST(MapperControl, BareDwnGivesEmptyNameWithoutReadingPastMessage)
{
    char full[] = "DWN"; // the name would start past its end (the sanitizer build catches a read there)
    char service[] = "button";
    myCallback(service, full, 0);
    ASSERT_NE(VQXAPIgetButtonState(), nullptr);
    EXPECT_STREQ(VQXAPIgetButtonState(), "");
}

TEST(MapperControl, OtherMessagesChangeNothing)
{
    callMyCallback("button", "DWN Play");
    callMyCallback("button", "dwn Stop");
    callMyCallback("button", "");
    callMyCallback("button", "XYZ");
    EXPECT_STREQ(VQXAPIgetButtonState(), "Play");
}

TEST(MapperControl, CommandServiceIsTracedAsInvalidAndChangesNothing)
{
    callMyCallback("button", "DWN Play");
    std::string out = captureOutput([] {
        callMyCallback("command", "UPP");
        callMyCallback("command", "DWN Stop");
    });
    EXPECT_EQ(countOf(out, "Orvenda VQX ERROR: MAPPERAPI callback has invalid service\n"), 2u);
    EXPECT_STREQ(VQXAPIgetButtonState(), "Play");
    std::string again = captureOutput([] { callMyCallback("buttons", "UPP"); });
    EXPECT_TRUE(contains(again, "invalid service"));
    EXPECT_STREQ(VQXAPIgetButtonState(), "Play");
}

TEST(MapperControl, InitArmsOneButtonObserverThatFollowsPresses)
{
    ASSERT_TRUE(usePrivateSessionBus());
    ASSERT_EQ(MAPPERAPIinit(), 0);
    EXPECT_EQ(myInit, 1);
    EXPECT_EQ(myNumObservers, 1);
    ASSERT_EQ(myObserver, &myObservers[0]);
    EXPECT_STREQ(myObserver->service, "button");
    NOTpost("button", "DWN Play");
    ASSERT_TRUE(waitFor([] { return VQXAPIgetButtonState() != nullptr; }));
    EXPECT_STREQ(VQXAPIgetButtonState(), "Play");
    NOTpost("button", "UPP");
    EXPECT_TRUE(waitFor([] { return VQXAPIgetButtonState() == nullptr; }));
}

TEST(MapperControl, EditorsOwnCommandsNeverReachItsButtonObserver)
{
    ASSERT_TRUE(usePrivateSessionBus());
    ASSERT_EQ(MAPPERAPIinit(), 0);
    std::string out = captureOutput([] {
        recycleMapperConfiguration();
        NOTpost("button", "DWN Mark");
        waitFor([] { return VQXAPIgetButtonState() != nullptr; });
    });
    EXPECT_STREQ(VQXAPIgetButtonState(), "Mark");
    EXPECT_FALSE(contains(out, "invalid service"));
}

TEST(MapperControl, RecyclePostsExactlyOneCommandRld)
{
    listenToCommands();
    EXPECT_EQ(recycleMapperConfiguration(), 0);
    NOTpost("command", "END");
    ASSERT_TRUE(waitFor([] { return !commands.empty() && commands.back() == "END"; }));
    EXPECT_EQ(commands, (std::vector<std::string>{"RLD", "END"}));
}

TEST(MapperControl, RecycleWithoutChannelPostsNothingAndReturnsZero)
{
    ASSERT_TRUE(usePrivateSessionBus());
    EXPECT_EQ(recycleMapperConfiguration(), 0); // not initialised: nothing goes out
    listenToCommands();
    NOTpost("command", "END");
    ASSERT_TRUE(waitFor([] { return !commands.empty(); }));
    EXPECT_EQ(commands, (std::vector<std::string>{"END"}));
}

TEST(MapperControl, QuitRequestPostsCommandQui)
{
    listenToCommands();
    RecordingPresenter presenter;
    PRESset(&presenter);
    EXPECT_EQ(doSendQuitAEtoMapper(), 0);
    ASSERT_TRUE(waitFor([] { return !commands.empty(); }));
    EXPECT_EQ(commands, (std::vector<std::string>{"QUI"}));
    EXPECT_TRUE(presenter.shown.empty());
    PRESset(nullptr);
}

TEST(MapperControl, QuitRequestWithoutChannelIsShownToUser)
{
    RecordingPresenter presenter;
    PRESset(&presenter);
    EXPECT_EQ(doSendQuitAEtoMapper(), 1);
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].id, 129);
    EXPECT_EQ(presenter.shown[0].text, "AESend returned 1");
    PRESset(nullptr);
}

TEST(MapperControl, LaunchEventNotEnabledReturnsMinusOneWithoutTrace)
{
    static LaunchEvent action;
    memset(&action, 0, sizeof action);
    action.type = kLaunchEventType;
    strcpy(action.path, "/bin/true");
    static int opened;
    opened = 0;
    VQXLAUNCHsetOpener([](const char *) {
        opened++;
        return 0;
    });
    showOSEvents = 1;
    std::string out = captureOutput([] { EXPECT_EQ(VQXLAUNCHevent(nullptr, &action, 0), -1); });
    EXPECT_EQ(out, "");
    EXPECT_EQ(opened, 0);
    action.path[0] = '\0';
    out = captureOutput([] { EXPECT_EQ(VQXLAUNCHevent(nullptr, &action, 1), -1); });
    EXPECT_EQ(out, "");
    EXPECT_EQ(opened, 0);
}

TEST(MapperControl, QueryEditChangesSeesEitherFlag)
{
    EXPECT_EQ(queryEditChanges(), 0);
    keyEventChanged = 1;
    EXPECT_EQ(queryEditChanges(), 1);
    keyEventChanged = 0;
    chgEtFieldEdit = 1;
    EXPECT_EQ(queryEditChanges(), 1);
    chgEtFieldEdit = 0;
    EXPECT_EQ(queryEditChanges(), 0);
}

TEST(MapperControl, InitializeDataClearsWorkingRecordsAndCustomFlag)
{
    memset(&theKeyEvent, 0x5A, sizeof theKeyEvent);
    memset(&theAppleEventEvent, 0x5A, sizeof theAppleEventEvent);
    memset(&theLaunchEvent, 0x5A, sizeof theLaunchEvent);
    memset(&theSysVolumeEvent, 0x5A, sizeof theSysVolumeEvent);
    memset(&theTextStringEvent, 0x5A, sizeof theTextStringEvent);
    memset(&theKeyEventMouse, 0x5A, sizeof theKeyEventMouse);
    displayCustomTextEdit = 1;
    keyEventChanged = 1;
    initializeData();
    auto allZero = [](const void *p, size_t n) {
        for (size_t i = 0; i < n; i++)
            if (((const unsigned char *)p)[i] != 0)
                return false;
        return true;
    };
    EXPECT_TRUE(allZero(&theKeyEvent, sizeof theKeyEvent));
    EXPECT_TRUE(allZero(&theAppleEventEvent, sizeof theAppleEventEvent));
    EXPECT_TRUE(allZero(&theLaunchEvent, sizeof theLaunchEvent));
    EXPECT_TRUE(allZero(&theSysVolumeEvent, sizeof theSysVolumeEvent));
    EXPECT_TRUE(allZero(&theTextStringEvent, sizeof theTextStringEvent));
    EXPECT_EQ(displayCustomTextEdit, 0);
    EXPECT_EQ(keyEventChanged, 1); // set by the dialog's opening, not here
    EXPECT_EQ(((unsigned char *)&theKeyEventMouse)[0], 0x5A);
}

TEST(MapperControl, HooksDoNothingAndBackgroundInitReturnsZero)
{
    callMyCallback("button", "DWN Play");
    std::string out = captureOutput([] {
        VQXACTIONcheckApplName();
        VQXTIMEsetTimer();
        EXPECT_EQ(VQXBACKGROUNDinit(), 0);
    });
    EXPECT_EQ(out, "");
    EXPECT_STREQ(VQXAPIgetButtonState(), "Play");
}

namespace {
int pressesSeen; // calls of the press hook
void countPress()
{
    pressesSeen++;
}
} // namespace

TEST(MapperControl, PressHookIsToldOfEveryPressAndOnlyOfPresses)
{
    pressesSeen = 0;
    MAPPERAPIsetPressHook(countPress);
    char service[] = "button";
    char down[] = "DWN Play", up[] = "UPP", down2[] = "DWN Stop";
    myCallback(service, down, 0);
    myCallback(service, up, 0);
    myCallback(service, down2, 0);
    EXPECT_EQ(pressesSeen, 2);
    MAPPERAPIsetPressHook(nullptr);
    myCallback(service, down, 0);
    EXPECT_EQ(pressesSeen, 2);
}
