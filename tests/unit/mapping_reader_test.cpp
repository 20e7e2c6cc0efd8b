// The mapping file reader: sections, actions of every type, flags, the messages of every bad
// field, and the odd but established ways of the format.
#include <gtest/gtest.h>

#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "mapping/remote.h"
#include "support/mapping_support.h"

namespace {

struct MapRead {
    int result = 0;
    std::string trace;
};

MapRead readMap(MappingFiles &files, const std::string &text)
{
    writeFile(files.path("test.map"), text);
    MapRead r;
    r.trace = captureStdout([](void *p) { *static_cast<int *>(p) = parseMapFile("test.map"); }, &r.result);
    return r;
}

MapRead readBoth(MappingFiles &files, const std::string &map, const std::string &rem)
{
    writeFile(files.path("test.map"), map);
    writeFile(files.path("test.REM"), rem);
    MapRead r;
    r.trace = captureStdout([](void *p) { *static_cast<int *>(p) = readMapAndRemFiles(); }, &r.result);
    return r;
}

const char *kNoRoom = "Fatal error: no room to parse mapping; cannot continue...";

} // namespace

TEST(MappingReader, ActBeforeAnySectionMakesAnUnnamedDefaultEntryWrittenAsDefaultSection)
{
    PresenterScope scope;
    MappingFiles files("");
    MapRead r = readMap(files, "MAPVER 2\nACT Play NO_ACTION\n");
    EXPECT_EQ(r.result, 0);
    ASSERT_EQ(numApplications, 2);
    EXPECT_STREQ(theActionByApplList[0].name, "");
    EXPECT_EQ(theDefaultAppl, &theActionByApplList[0]);
    EXPECT_EQ(theCurrentAppl, theDefaultAppl);
    EXPECT_EQ(theGlobalAppl, &theActionByApplList[1]);
    EXPECT_STREQ(theGlobalAppl->name, "*GLOBAL*");
    EXPECT_EQ(theGlobalAppl->first, nullptr);
    EXPECT_EQ(buttonNames(theDefaultAppl), std::vector<std::string> { "Play" });
    ASSERT_EQ(writeMapFile("out.map"), 0);
    EXPECT_EQ(readFile(files.path("out.map")), "MAPVER 2\n\nDEFAULT\n\nACT Play        NO_ACTION\n\nAPPL *GLOBAL*\n\n");
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(MappingReader, ImplicitEntryKeepsTheStaleNameOfItsSlot)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL Old Name\nACT Play NO_ACTION\n");
    ASSERT_STREQ(theActionByApplList[0].name, "Old Name");
    readMap(files, "MAPVER 2\nACT Stop NO_ACTION\n");
    EXPECT_STREQ(theActionByApplList[0].name, "Old Name");
    EXPECT_EQ(buttonNames(&theActionByApplList[0]), std::vector<std::string> { "Stop" });
    EXPECT_EQ(theDefaultAppl, &theActionByApplList[0]);
}

TEST(MappingReader, DisAfterOvrSetsOverrideAndDisablesTheWholeApplication)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL vlc\nACT Play NO_ACTION OVR DIS\nACT Stop NO_ACTION\n");
    ApplicationRecord *vlc = applNamed("vlc");
    ASSERT_NE(vlc, nullptr);
    EXPECT_EQ(vlc->disabled, 1);
    ActionRecord *play = vlc->first;
    EXPECT_EQ(play->override, 1);
    EXPECT_EQ(play->disabled, 0);
    EXPECT_EQ(buttonNames(vlc), (std::vector<std::string> { "Play", "Stop" }));
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(MappingReader, DisThenOvrSetsBothFlagsOfTheAction)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL vlc\nACT Play NO_ACTION DIS OVR\nACT Stop NO_ACTION DIS\nACT Next NO_ACTION OVR\n");
    ApplicationRecord *vlc = applNamed("vlc");
    EXPECT_EQ(vlc->disabled, 0);
    ActionRecord *a = vlc->first;
    EXPECT_EQ(a->disabled, 1);
    EXPECT_EQ(a->override, 1);
    EXPECT_EQ(a->next->disabled, 1);
    EXPECT_EQ(a->next->override, 0);
    EXPECT_EQ(a->next->next->disabled, 0);
    EXPECT_EQ(a->next->next->override, 1);
}

TEST(MappingReader, TwentyFirstSectionIsRefusedAndItsActionsGoToThePreviousOne)
{
    PresenterScope scope;
    MappingFiles files("");
    std::string text = "MAPVER 2\nAPPL *GLOBAL*\n";
    for (int i = 2; i <= 21; i++)
        text += "APPL A" + std::to_string(i) + "\nACT B" + std::to_string(i) + " NO_ACTION\n";
    MapRead r = readMap(files, text);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(numApplications, 20);
    EXPECT_EQ(mapFileError, 2);
    ASSERT_EQ(scope.presenter.shown.size(), 1u);
    EXPECT_EQ(scope.presenter.shown[0].text, "Fatal error: application table full; cannot continue...");
    EXPECT_EQ(buttonNames(&theActionByApplList[19]), (std::vector<std::string> { "B20", "B21" }));
    EXPECT_STREQ(theActionByApplList[19].name, "A20");
    EXPECT_NE(r.trace.find("Orvenda VQX ERROR: unknown token [A21] in .MAP file ()\n"), std::string::npos);
}

TEST(MappingReader, TwentyFiveSectionsGiveOneAlertEachPastTwenty)
{
    PresenterScope scope;
    MappingFiles files("");
    std::string text = "MAPVER 2\n";
    for (int i = 1; i <= 25; i++)
        text += (i == 1 ? std::string("APPL *GLOBAL*") : "APPL A" + std::to_string(i)) + "\nACT Play NO_ACTION\n";
    MapRead r = readMap(files, text);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(numApplications, 20);
    EXPECT_EQ(scope.presenter.shown.size(), 5u);
    EXPECT_EQ(MAPlistLength(&theActionByApplList[19]), 6);
}

TEST(MappingReader, TableFullWithoutGlobalEntryFailsTheRead)
{
    PresenterScope scope;
    MappingFiles files("");
    std::string text = "MAPVER 2\n";
    for (int i = 1; i <= 20; i++)
        text += "APPL A" + std::to_string(i) + "\n";
    MapRead r = readMap(files, text);
    EXPECT_EQ(r.result, -1);
    ASSERT_EQ(scope.presenter.shown.size(), 1u);
    EXPECT_EQ(scope.presenter.shown[0].text, "Fatal Error: application Table full; cannot continue...");
}

TEST(MappingReader, FileWithoutMapverIsUpgradedAndMarkedChanged)
{
    PresenterScope scope;
    MappingFiles files("");
    MapRead r = readBoth(files, "APPL *GLOBAL*\nACT Play NO_ACTION\n", "CMD Play 0101\nCMD Stop 0101\n");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(mapfileVersion, 2);
    EXPECT_EQ(mapFileChanged, 1);
    EXPECT_EQ(buttonNames(theGlobalAppl), (std::vector<std::string> { "Play", "Stop" }));
}

TEST(MappingReader, FileWithMapverOneIsNotUpgraded)
{
    PresenterScope scope;
    MappingFiles files("");
    MapRead r = readBoth(files, "MAPVER 1\nAPPL *GLOBAL*\nACT Play NO_ACTION DIS\n", "CMD Play 0101\nCMD Stop 0101\n");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(mapfileVersion, 1);
    EXPECT_EQ(mapFileChanged, 0);
    EXPECT_EQ(buttonNames(theGlobalAppl), std::vector<std::string> { "Play" });
    EXPECT_EQ(theGlobalAppl->first->disabled, 1);
}

TEST(MappingReader, ReadingClearsAnEarlierChangeMark)
{
    PresenterScope scope;
    MappingFiles files("");
    mapFileChanged = 1;
    readBoth(files, "MAPVER 2\nAPPL *GLOBAL*\nACT Play NO_ACTION\n", "CMD Play 0101\n");
    EXPECT_EQ(mapFileChanged, 0);
}

TEST(MappingReader, TxtThreeReadsThreeCharactersWithTheBlank)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT Say TXT 3 [a b\nACT Next NO_ACTION\n");
    ActionRecord *a = applNamed("x")->first;
    EXPECT_EQ(a->theEvent.common.type, kTextStringEventType);
    EXPECT_STREQ(a->theEvent.textString.text, "a b");
    EXPECT_STREQ(a->theEvent.textString.convertedText, "a b");
    EXPECT_EQ(buttonNames(applNamed("x")), (std::vector<std::string> { "Say", "Next" }));
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(MappingReader, TxtLengthThirtyThreeIsRejected)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT Say TXT 33 [" + std::string(33, 'a') + "\nACT Next NO_ACTION\n");
    EXPECT_EQ(scope.presenter.texts(),
        (std::vector<std::string> { "Length of string for TXT command Say is too long.", kNoRoom }));
    EXPECT_EQ(mapFileError, 4);
    EXPECT_EQ(buttonNames(applNamed("x")), std::vector<std::string> { "Next" });
}

TEST(MappingReader, TxtThirtyTwoCharactersIsAccepted)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT Say TXT 32 [" + std::string(32, 'a') + " OVR\n");
    ActionRecord *a = applNamed("x")->first;
    EXPECT_EQ(std::string(a->theEvent.textString.text), std::string(32, 'a'));
    EXPECT_EQ(a->override, 1);
}

TEST(MappingReader, TxtTextMayHoldLineEnds)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT Say TXT 5 [a\nb\nc DIS\n");
    ActionRecord *a = applNamed("x")->first;
    EXPECT_STREQ(a->theEvent.textString.text, "a\nb\nc");
    EXPECT_EQ(a->disabled, 1);
}

TEST(MappingReader, TxtLengthPastTheEndOfFileIsRejected)
{
    PresenterScope scope;
    MappingFiles files("");
    MapRead r = readMap(files, "MAPVER 2\nAPPL x\nACT Say TXT 20 [abc");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(scope.presenter.texts(),
        (std::vector<std::string> { "reached end of file while parsing string for TXT command Say", kNoRoom }));
    EXPECT_EQ(applNamed("x")->first, nullptr);
}

TEST(MappingReader, TxtWithoutBracketReportsTheDelimiter)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT Say TXT 3 abc\n");
    EXPECT_EQ(scope.presenter.texts(),
        (std::vector<std::string> { "incorrect delimiter found for TXT command Say", kNoRoom }));
}

TEST(MappingReader, TxtWhoseEscapesAreRejectedIsDroppedWhole)
{
    PresenterScope scope;
    MappingFiles files("");
    MapRead r = readMap(files, "MAPVER 2\nAPPL x\nACT Say TXT 3 [a\\q\nACT Next NO_ACTION\n");
    EXPECT_EQ(scope.presenter.texts(), std::vector<std::string> { kNoRoom });
    EXPECT_EQ(mapFileError, 4);
    EXPECT_EQ(buttonNames(applNamed("x")), std::vector<std::string> { "Next" });
    EXPECT_NE(r.trace.find("bad escape"), std::string::npos);
}

TEST(MappingReader, TxtWithNegativeOrMissingLengthIsDropped)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT Say TXT -1 [\nACT Next NO_ACTION\n");
    EXPECT_EQ(scope.presenter.texts(), std::vector<std::string> { kNoRoom });
    EXPECT_EQ(buttonNames(applNamed("x")), std::vector<std::string> { "Next" });
}

TEST(MappingReader, MissingScriptStillGivesAUsableScriptAction)
{
    PresenterScope scope;
    MappingFiles files("");
    MapRead r = readMap(files, "MAPVER 2\nAPPL x\nACT Info SCR \"/nonexistent/dir/go.lua\" 1 2 3 4 OVR\n");
    ActionRecord *a = applNamed("x")->first;
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->theEvent.common.type, kAppleEventType);
    EXPECT_STREQ(a->theEvent.script.path, "/nonexistent/dir/go.lua");
    EXPECT_STREQ(a->theEvent.script.fileSpec.path, "/nonexistent/dir/go.lua");
    EXPECT_EQ(a->theEvent.script.delay, 1);
    EXPECT_EQ(a->theEvent.script.rate1, 2);
    EXPECT_EQ(a->theEvent.script.reps, 3);
    EXPECT_EQ(a->theEvent.script.rate2, 4);
    EXPECT_EQ(a->override, 1);
    EXPECT_TRUE(scope.presenter.shown.empty());
    EXPECT_NE(r.trace.find("Orvenda VQX ERROR: script file [/nonexistent/dir/go.lua] not found (FSPathMakeRef "
                           "returns -43)\n"),
        std::string::npos);
    EXPECT_NE(
        r.trace.find("Orvenda VQX ERROR: script file [/nonexistent/dir/go.lua] does not exist\n"), std::string::npos);
}

TEST(MappingReader, ExistingScriptIsNotLoggedAndGetsItsAbsolutePath)
{
    PresenterScope scope;
    MappingFiles files("");
    std::string script = files.path("go.lua");
    writeFile(script, "print(1)\n");
    MapRead r = readMap(files, "MAPVER 2\nAPPL x\nACT Info SCR \"" + script + "\" 0 0 0 0\n");
    ActionRecord *a = applNamed("x")->first;
    EXPECT_EQ(std::string(a->theEvent.script.fileSpec.path), script);
    EXPECT_EQ(r.trace.find("script file"), std::string::npos);
}

TEST(MappingReader, RelativeScriptPathGetsAnAbsoluteFileSpecification)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT Info SCR \"rel/go.lua\" 0 0 0 0\n");
    char cwd[1024];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    EXPECT_EQ(std::string(applNamed("x")->first->theEvent.script.fileSpec.path), std::string(cwd) + "/rel/go.lua");
}

TEST(MappingReader, RemLineIsUsedOnlyWhenTheConfigurationNamedNoRemote)
{
    PresenterScope scope;
    {
        MappingFiles files("", "", 20000, "");
        ASSERT_STREQ(remFileName, "");
        readMap(files, "MAPVER 2\nREM Other.REM\nAPPL *GLOBAL*\n");
        EXPECT_STREQ(remFileName, "Other.REM");
        EXPECT_EQ(readFile(files.path(VQX_CONFIG_FILE_NAME)), "UI\nMAP test.map\nREM Other.REM\nINT USB\nMEM 20000\n");
    }
    {
        MappingFiles files("");
        readMap(files, "MAPVER 2\nREM Other.REM\nAPPL *GLOBAL*\n");
        EXPECT_STREQ(remFileName, "test.REM");
    }
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(MappingReader, RemLineWithoutNameIsFatal)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nREM\nAPPL *GLOBAL*\n");
    EXPECT_EQ(scope.presenter.texts(),
        std::vector<std::string> { "Fatal error: configuration file corrupted (no REM file listed); cannot "
                                   "continue..." });
    EXPECT_EQ(mapFileError, 3);
}

TEST(MappingReader, MissingFileIsFatal)
{
    PresenterScope scope;
    MappingFiles files("");
    EXPECT_EQ(parseMapFile("none.map"), -1);
    EXPECT_EQ(scope.presenter.texts(),
        std::vector<std::string> { "Fatal error: unable to open MAP file none.map for reading; cannot "
                                   "continue..." });
}

TEST(MappingReader, ConfigurationWithoutMapLineFailsAsAMissingFile)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\nAPPL *GLOBAL*\n");
    writeFile(files.path(VQX_CONFIG_FILE_NAME), "UI\nREM test.REM\nINT USB\nMEM 20000\n");
    CFGreset(); // as at start-up: no name before the file is read
    ASSERT_EQ(readGlobalConfiguration(), 0);
    ASSERT_STREQ(mapFileName, "");
    EXPECT_EQ(readMapAndRemFiles(), -1);
    EXPECT_EQ(scope.presenter.texts(),
        std::vector<std::string> { "Fatal error: unable to open MAP file  for reading; cannot continue..." });
}

TEST(MappingReader, NoRemoteNamedInConfigurationOrMappingFailsAsAMissingFile)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\nAPPL *GLOBAL*\nACT Play NO_ACTION\n", "", 20000, "");
    ASSERT_STREQ(remFileName, "");
    EXPECT_EQ(readMapAndRemFiles(), -1);
    EXPECT_EQ(scope.presenter.texts(),
        std::vector<std::string> { "Remote description file  cannot be opened; cannot continue..." });
}

TEST(MappingReader, DefaultEntryIsNamedAndBecomesTheDefault)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL *GLOBAL*\nDEFAULT\nACT Play NO_ACTION\nAPPL vlc\n");
    ASSERT_EQ(numApplications, 3);
    EXPECT_STREQ(theActionByApplList[1].name, "// : default : \\");
    EXPECT_EQ(theDefaultAppl, &theActionByApplList[1]);
    EXPECT_EQ(theGlobalAppl, &theActionByApplList[0]);
    EXPECT_EQ(theCurrentAppl, theDefaultAppl);
}

TEST(MappingReader, FirstApplSectionIsTheDefaultWithoutDefaultLine)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL Music Player\nAPPL *GLOBAL*\n");
    EXPECT_EQ(theDefaultAppl, &theActionByApplList[0]);
    EXPECT_STREQ(theDefaultAppl->name, "Music Player");
    EXPECT_EQ(theGlobalAppl, &theActionByApplList[1]);
}

TEST(MappingReader, ApplNameKeepsThirtyOneCharactersAndTheRestIsUnknown)
{
    PresenterScope scope;
    MappingFiles files("");
    MapRead r = readMap(files, "MAPVER 2\nAPPL " + std::string(31, 'n') + "XYZ\n");
    EXPECT_EQ(std::string(theActionByApplList[0].name), std::string(31, 'n'));
    EXPECT_NE(r.trace.find("unknown token [XYZ]"), std::string::npos);
}

TEST(MappingReader, DisBeforeAnySectionIsIgnored)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nDIS\nAPPL *GLOBAL*\n");
    EXPECT_EQ(theGlobalAppl->disabled, 0);
}

TEST(MappingReader, UnknownTopLevelLineIsTracedAndSkipped)
{
    PresenterScope scope;
    MappingFiles files("");
    MapRead r = readMap(files, "MAPVER 2\nFOO bar baz\nAPPL *GLOBAL*\n");
    EXPECT_NE(r.trace.find("Orvenda VQX ERROR: unknown token [FOO] in .MAP file (bar, baz, )\n"), std::string::npos);
    EXPECT_EQ(numApplications, 1);
}

TEST(MappingReader, EveryActionTypeReadsItsFields)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files,
        "MAPVER 2\nAPPL x\n"
        "ACT K KEY 0000240d 1a00 5 6 7 8\n"
        "ACT M MOU 00005501 250 50 1 50\n"
        "ACT L LAUNCH \"/usr/bin/true\" 1 2 3 4\n"
        "ACT V VOL CHG -12 500 150 10 75 1 2\n"
        "ACT N NO_ACTION\n");
    ActionRecord *a = applNamed("x")->first;
    EXPECT_EQ(a->theEvent.key.type, kKeyEventType);
    EXPECT_EQ(a->theEvent.key.message, 0x240Du);
    EXPECT_EQ(a->theEvent.key.modifiers, 0x1a00);
    EXPECT_EQ(a->theEvent.key.delay, 5);
    EXPECT_EQ(a->theEvent.key.rate2, 8);
    a = a->next;
    EXPECT_EQ(a->theEvent.mouse.type, kMouseEventType);
    EXPECT_EQ(a->theEvent.mouse.message, 0x5501u);
    EXPECT_EQ(a->theEvent.mouse.delay, 250);
    a = a->next;
    EXPECT_EQ(a->theEvent.launch.type, kLaunchEventType);
    EXPECT_STREQ(a->theEvent.launch.path, "/usr/bin/true");
    EXPECT_EQ(a->theEvent.launch.reps, 3);
    a = a->next;
    const SysVolumeEvent &v = a->theEvent.sysVolume;
    EXPECT_EQ(v.type, kSysVolumeEventType);
    EXPECT_STREQ(v.subtypeText, "CHG");
    EXPECT_EQ(v.subtype, kSysVolChg);
    EXPECT_EQ(v.value, -12);
    EXPECT_EQ(v.delay, 500);
    EXPECT_EQ(v.rate1, 150);
    EXPECT_EQ(v.reps, 10);
    EXPECT_EQ(v.rate2, 75);
    EXPECT_EQ(v.unMute, 1);
    EXPECT_EQ(v.fadeType, 2);
    a = a->next;
    EXPECT_EQ(a->theEvent.common.type, kNoActionEventType);
    for (ActionRecord *b = applNamed("x")->first; b; b = b->next) {
        EXPECT_EQ(b->count, 1);
        EXPECT_EQ(b->spare, 0);
        EXPECT_EQ(b->buttonName, b->theEvent.common.name);
        EXPECT_EQ(b->event, &b->theEvent);
    }
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(MappingReader, ParsedLinesAreTracedWhenAsked)
{
    PresenterScope scope;
    MappingFiles files("");
    showParsedCommands = 1;
    MapRead r = readMap(files,
        "MAPVER 2\nDEFAULT\nAPPL vlc\n"
        "ACT K KEY 0000240d 0000 -1 -1 -1 -1\nACT S SCR \"/x\" 0 0 0 0\n"
        "ACT L LAUNCH \"/y\" 0 0 0 0\nACT V VOL SET 127 0 0 0 0 1 0\n"
        "ACT T TXT 2 [hi\nACT N NO_ACTION\n");
    for (const char *line : { "Application #1 [DEFAULT]\n", "Application #2 [vlc], len:3\n",
             "PARSE[K KEY 0000240d 0000 -1 -1 -1 -1]\n", "PARSE[S SCR /x]\n", "PARSE[L LAUNCH /y]\n",
             "PARSE[V VOL SET 127]\n", "PARSE[T TXT hi 2]\n", "PARSE[N NO_ACTION]\n" })
        EXPECT_NE(r.trace.find(line), std::string::npos) << line;
}

TEST(MappingReader, ParsedLinesAreNotTracedByDefault)
{
    PresenterScope scope;
    MappingFiles files("");
    MapRead r = readMap(files, "MAPVER 2\nAPPL vlc\nACT N NO_ACTION\n");
    EXPECT_EQ(r.trace, "");
}

// One bad action line and the alerts it gives, in order.
struct BadLine {
    const char *line;
    std::vector<std::string> alerts;
};

class MappingReaderBadField : public ::testing::TestWithParam<BadLine> { };

TEST_P(MappingReaderBadField, ShowsItsMessageAndDropsTheAction)
{
    PresenterScope scope;
    MappingFiles files("");
    // A blank line keeps the next action apart from what a failed one leaves unread.
    readMap(files, std::string("MAPVER 2\nAPPL x\n") + GetParam().line + "\n\nACT Next NO_ACTION\n");
    std::vector<std::string> expected = GetParam().alerts;
    expected.push_back(kNoRoom);
    EXPECT_EQ(scope.presenter.texts(), expected);
    EXPECT_EQ(mapFileError, 4);
    ASSERT_NE(applNamed("x"), nullptr);
    EXPECT_EQ(buttonNames(applNamed("x")).back(), "Next");
    EXPECT_NE(buttonNames(applNamed("x")).front(), "B");
}

INSTANTIATE_TEST_SUITE_P(EveryField, MappingReaderBadField,
    ::testing::Values(
        BadLine { "ACT B KEY zz 0 0 0 0 0", { "Fatal error: bad message for KEY command B; cannot continue..." } },
        BadLine { "ACT B KEY 1 qq 0 0 0 0", { "Fatal error: bad modifiers for KEY command B; cannot continue..." } },
        BadLine { "ACT B KEY 1 10000 0 0 0 0", { "Fatal error: bad modifiers for KEY command B; cannot continue..." } },
        BadLine { "ACT B KEY 1 0 x", { "Fatal error: bad delay for KEY command B; cannot continue..." } },
        BadLine { "ACT B KEY 1 0 0 x", { "Fatal error: bad rate1 for KEY command B; cannot continue..." } },
        BadLine { "ACT B KEY 1 0 0 0 x", { "Fatal error: bad reps for KEY command B; cannot continue..." } },
        BadLine { "ACT B KEY 1 0 0 0 0 x", { "Fatal error: bad rate2 for KEY command B; cannot continue..." } },
        BadLine { "ACT B MOU zz", { "bad message for MOU command B" } },
        BadLine { "ACT B MOU 1 x", { "bad delay for MOU command B" } },
        BadLine { "ACT B MOU 1 0 x", { "bad rate1 for MOU command B" } },
        BadLine { "ACT B MOU 1 0 0 x", { "bad reps for MOU command B" } },
        BadLine { "ACT B MOU 1 0 0 0 x", { "bad rate2 for MOU command B" } },
        BadLine { "ACT B SCR noquote",
            { "Fatal error: reached end of line or end of file while parsing pathname for SCR command B; "
              "cannot continue" } },
        BadLine { "ACT B SCR \"/x\" x", { "Fatal error: bad delay for SCR command B; cannot continue..." } },
        BadLine { "ACT B SCR \"/x\" 0 x", { "Fatal error: bad rate1 for SCR command B; cannot continue..." } },
        BadLine { "ACT B SCR \"/x\" 0 0 x", { "Fatal error: bad reps for SCR command B; cannot continue..." } },
        BadLine { "ACT B SCR \"/x\" 0 0 0 x", { "Fatal error: bad rate2 for SCR command B; cannot continue..." } },
        BadLine { "ACT B LAUNCH \"/x\" x", { "bad delay for LAUNCH command B" } },
        BadLine { "ACT B LAUNCH \"/x\" 0 x", { "bad rate1 for LAUNCH command B" } },
        BadLine { "ACT B LAUNCH \"/x\" 0 0 x", { "bad reps for LAUNCH command B" } },
        BadLine { "ACT B LAUNCH \"/x\" 0 0 0 x", { "bad rate2 for LAUNCH command B" } },
        BadLine { "ACT B VOL LOUD 1 0 0 0 0 0 0",
            { "Fatal error: unrecognized volume subtype for VOL command B; cannot continue..." } },
        BadLine { "ACT B VOL SET x", { "Fatal error: bad value for VOL command B; cannot continue..." } },
        BadLine { "ACT B VOL SET 1 x", { "bad delay for VOL command B" } },
        BadLine { "ACT B VOL SET 1 0 x", { "bad rate1 for VOL command B" } },
        BadLine { "ACT B VOL SET 1 0 0 x", { "bad reps for VOL command B" } },
        BadLine { "ACT B VOL SET 1 0 0 0 x", { "bad rate2 for VOL command B" } },
        BadLine { "ACT B VOL SET 1 0 0 0 0 x", { "bad unMute for VOL command B" } },
        BadLine { "ACT B VOL SET 1 0 0 0 0 0 x", { "bad fadeType for VOL command B" } },
        BadLine { "ACT B MAP other.map", { "Map Switch not supported (invalid mapping file)" } },
        BadLine { "ACT B FOO", { "Fatal error: unrecognized event type (FOO) in mapping file; cannot continue..." } }));

TEST(MappingReader, VolumeWithoutSubtypeAtEndOfFileReportsBothSubtypeMessages)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT B VOL");
    EXPECT_EQ(scope.presenter.texts(),
        (std::vector<std::string> { "Fatal error: bad volume sub type for VOL command B; cannot continue...",
            "Fatal error: unrecognized volume subtype for VOL command B; cannot "
            "continue...",
            kNoRoom }));
}

TEST(MappingReader, PercentInAButtonNameShowsAsItself)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT %n%s%d KEY zz\n");
    ASSERT_FALSE(scope.presenter.shown.empty());
    EXPECT_EQ(scope.presenter.shown[0].text, "Fatal error: bad message for KEY command %n%s%d; cannot continue...");
}

TEST(MappingReader, UnterminatedLaunchPathIsReportedAndReadingGoesOnWithTheNumbers)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT B LAUNCH \"/x\n 1 2 3 4\nACT Next NO_ACTION\n");
    EXPECT_EQ(scope.presenter.texts(),
        std::vector<std::string> { "Reached end of line or end of file while parsing pathname for LAUNCH command B" });
    ActionRecord *a = applNamed("x")->first;
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->theEvent.common.type, kLaunchEventType);
    EXPECT_STREQ(a->theEvent.launch.path, "/x");
    EXPECT_EQ(a->theEvent.launch.rate2, 4);
    EXPECT_EQ(buttonNames(applNamed("x")), (std::vector<std::string> { "B", "Next" }));
}

TEST(MappingReader, UnterminatedScriptQuoteDropsOnlyThatAction)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT B SCR \"/abc 0 0 0 0\n\nACT Next NO_ACTION\n");
    EXPECT_EQ(scope.presenter.texts(),
        (std::vector<std::string> { "Fatal error: reached end of line or end of file while parsing pathname for "
                                    "SCR command B; cannot continue",
            kNoRoom }));
    EXPECT_EQ(buttonNames(applNamed("x")), std::vector<std::string> { "Next" });
}

TEST(MappingReader, CarriageReturnInsideAQuotedPathIsKept)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT B LAUNCH \"/a\rb\" 0 0 0 0\n");
    EXPECT_STREQ(applNamed("x")->first->theEvent.launch.path, "/a\rb");
}

TEST(MappingReader, ByteFFInsideAQuotedPathCountsAsEndOfFile)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files,
        "MAPVER 2\nAPPL x\nACT B SCR \"/a\xff"
        "b\" 0 0 0 0\nACT Next NO_ACTION\n");
    EXPECT_EQ(scope.presenter.texts(),
        (std::vector<std::string> { "Fatal error: reached end of line or end of file while parsing pathname for "
                                    "SCR command B; cannot continue",
            kNoRoom }));
    EXPECT_EQ(buttonNames(applNamed("x")), std::vector<std::string> { "Next" });
}

TEST(MappingReader, ByteFFInsideATextCountsAsEndOfFile)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files,
        "MAPVER 2\nAPPL x\nACT B TXT 3 [a\xff"
        "b\n");
    EXPECT_EQ(scope.presenter.texts(),
        (std::vector<std::string> { "reached end of file while parsing string for TXT command B", kNoRoom }));
}

TEST(MappingReader, PathOfThreeHundredCharactersIsKeptWhole)
{
    PresenterScope scope;
    MappingFiles files("");
    std::string path = "/" + std::string(299, 'p');
    readMap(files, "MAPVER 2\nAPPL x\nACT B LAUNCH \"" + path + "\" 1 2 3 4\nACT S SCR \"" + path + "\" 0 0 0 0\n");
    ActionRecord *a = applNamed("x")->first;
    EXPECT_EQ(std::string(a->theEvent.launch.path), path);
    EXPECT_EQ(a->theEvent.launch.rate2, 4);
    EXPECT_EQ(std::string(a->next->theEvent.script.path), path);
    EXPECT_EQ(std::string(a->next->theEvent.script.fileSpec.path), path);
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(MappingReader, PathLongerThanTheFieldIsCutAndTheLineStaysInStep)
{
    PresenterScope scope;
    MappingFiles files("");
    std::string path = "/" + std::string(2999, 'p');
    readMap(files, "MAPVER 2\nAPPL x\nACT B LAUNCH \"" + path + "\" 1 2 3 4 OVR\nACT Next NO_ACTION\n");
    ActionRecord *a = applNamed("x")->first;
    EXPECT_EQ(std::string(a->theEvent.launch.path), path.substr(0, 1023));
    EXPECT_EQ(a->theEvent.launch.rate2, 4);
    EXPECT_EQ(a->override, 1);
    EXPECT_EQ(buttonNames(applNamed("x")), (std::vector<std::string> { "B", "Next" }));
}

TEST(MappingReader, LongButtonNameIsCutAtThirtyOneCharacters)
{
    PresenterScope scope;
    MappingFiles files("");
    readMap(files, "MAPVER 2\nAPPL x\nACT " + std::string(31, 'b') + " NO_ACTION\n");
    EXPECT_EQ(buttonNames(applNamed("x")), std::vector<std::string> { std::string(31, 'b') });
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(MappingReader, ActAtTheVeryEndOfTheFileIsDropped)
{
    PresenterScope scope;
    MappingFiles files("");
    MapRead r = readMap(files, "MAPVER 2\nAPPL x\nACT");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(applNamed("x")->first, nullptr);
    EXPECT_EQ(scope.presenter.texts().back(), kNoRoom);
}

TEST(MappingReader, ChangeMapFileRewritesConfigurationAndReadsBoth)
{
    PresenterScope scope;
    MappingFiles files("");
    writeFile(files.path("test.REM"), "CMD Play 0101\n");
    writeFile(files.path("Other.map"), "MAPVER 2\nAPPL *GLOBAL*\nACT Play NO_ACTION\n");
    EXPECT_EQ(changeMapFile("Other.map"), 0);
    EXPECT_STREQ(mapFileName, "Other.map");
    EXPECT_EQ(readFile(files.path(VQX_CONFIG_FILE_NAME)), "UI\nMAP Other.map\nREM test.REM\nINT USB\nMEM 20000\n");
    EXPECT_EQ(buttonNames(theGlobalAppl), std::vector<std::string> { "Play" });
    EXPECT_EQ(commandNames(), std::vector<std::string> { "Play" });
}

TEST(MappingReader, ScriptNamedManyTimesIsReportedEachTimeAndLookedUpAgainOnTheNextRead)
{
    PresenterScope scope;
    MappingFiles files("");
    std::string script = files.path("later.lua");
    std::string text = "MAPVER 2\nAPPL x\nACT A SCR \"" + script + "\" 0 0 0 0\nACT B SCR \"" + script + "\" 0 0 0 0\n";
    MapRead first = readMap(files, text);
    size_t count = 0;
    for (size_t at = first.trace.find("does not exist"); at != std::string::npos;
         at = first.trace.find("does not exist", at + 1))
        count++;
    EXPECT_EQ(count, 2u);
    writeFile(script, "print(1)\n");
    MapRead second = readMap(files, text);
    EXPECT_EQ(second.trace.find("script file"), std::string::npos);
    EXPECT_EQ(MAPlistLength(applNamed("x")), 2);
}
