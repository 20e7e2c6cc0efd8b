// The mapping file writer: the line of every action type and flag, sections, the repaired
// volume texts, the escape conversion of texts, and reading back what was written.
#include <gtest/gtest.h>

#include <cstdio>

#include "mapping/mapfile.h"
#include "support/mapping_support.h"

namespace {

ApplicationRecord *addAppl(const char *name, int disabled = 0)
{
    ApplicationRecord *appl = &theActionByApplList[numApplications++];
    snprintf(appl->name, sizeof appl->name, "%s", name);
    appl->first = appl->last = nullptr;
    appl->disabled = disabled;
    return appl;
}

ActionRecord *addAction(ApplicationRecord *appl, const std::string &name, int type, int flags = 0)
{
    ActionRecord *a = MAPnewAction();
    snprintf(a->theEvent.common.name, sizeof a->theEvent.common.name, "%s", name.c_str());
    a->theEvent.common.type = type;
    a->disabled = flags & 1;
    a->override = (flags >> 1) & 1;
    addActionToList(appl, a);
    return a;
}

void setRepeat(ActionRecord *a, int delay, int rate1, int reps, int rate2)
{
    a->theEvent.common.delay = delay;
    a->theEvent.common.rate1 = rate1;
    a->theEvent.common.reps = reps;
    a->theEvent.common.rate2 = rate2;
}

std::string flagText(const ActionRecord *a)
{
    return std::string(a->disabled ? " DIS" : "") + (a->override ? " OVR" : "") + "\n";
}

// The line of an action, computed with the format strings of the file format.
std::string expectedLine(const ActionRecord *a)
{
    char body[2400];
    body[0] = '\0';
    const EventRecord &e = a->theEvent;
    const char *n = e.common.name;
    switch (e.common.type) {
    case kKeyEventType:
        snprintf(body, sizeof body, "%s %-11s KEY %08x %04x %3d %3d %2d %d", "ACT", n, e.key.message, e.key.modifiers,
            e.key.delay, e.key.rate1, e.key.reps, e.key.rate2);
        break;
    case kMouseEventType:
        snprintf(body, sizeof body, "%s %-11s %s %08x %3d %3d %2d %d", "ACT", n, "MOU", e.mouse.message, e.mouse.delay,
            e.mouse.rate1, e.mouse.reps, e.mouse.rate2);
        break;
    case kAppleEventType:
        snprintf(body, sizeof body, "%s %-11s SCR \"%s\" %3d %3d %2d %d", "ACT", n, e.script.path, e.script.delay,
            e.script.rate1, e.script.reps, e.script.rate2);
        break;
    case kLaunchEventType:
        snprintf(body, sizeof body, "%s %-11s LAUNCH \"%s\" %3d %3d %2d %d", "ACT", n, e.launch.path, e.launch.delay,
            e.launch.rate1, e.launch.reps, e.launch.rate2);
        break;
    case kSysVolumeEventType:
        snprintf(body, sizeof body, "%s %-11s VOL %s %d %3d %3d %2d %d %d %d", "ACT", n, e.sysVolume.subtypeText,
            e.sysVolume.value, e.sysVolume.delay, e.sysVolume.rate1, e.sysVolume.reps, e.sysVolume.rate2,
            e.sysVolume.unMute, e.sysVolume.fadeType);
        break;
    case kTextStringEventType:
        snprintf(body, sizeof body, "%s %-11s TXT %d [%s", "ACT", n, (int)strlen(e.textString.text), e.textString.text);
        break;
    case kNoActionEventType:
        snprintf(body, sizeof body, "%s %-11s NO_ACTION", "ACT", n);
        break;
    default:
        break;
    }
    return body + flagText(a);
}

std::string expectedFile()
{
    char line[64];
    snprintf(line, sizeof line, "%s %d\n", "MAPVER", mapfileVersion);
    std::string text = line;
    for (int i = 0; i < numApplications; i++) {
        const ApplicationRecord &appl = theActionByApplList[i];
        if (appl.name[0] == '\0')
            text += "\nDEFAULT\n\n";
        else
            text += "\nAPPL " + std::string(appl.name) + "\n\n";
        if (appl.disabled)
            text += "DIS\n";
        for (const ActionRecord *a = appl.first; a; a = a->next)
            text += expectedLine(a);
    }
    return text;
}

const char *kSubtypes[] = { "SET", "CHG", "MUTE", "FADE" };

// Every action type with every combination of the two flags, in three entries (one disabled).
void buildEveryActionModel(const std::string &scriptPath)
{
    ApplicationRecord *first = addAppl("Music Player");
    ApplicationRecord *global = addAppl("*GLOBAL*");
    ApplicationRecord *off = addAppl("Disabled App", 1);
    theDefaultAppl = theCurrentAppl = first;
    theGlobalAppl = global;
    mapfileVersion = 2;
    ApplicationRecord *appls[] = { first, global, off };
    int n = 0;
    for (ApplicationRecord *appl : appls) {
        for (int flags = 0; flags < 4; flags++) {
            std::string f = std::to_string(flags) + "_" + std::to_string(n++);
            ActionRecord *a = addAction(appl, "Key" + f, kKeyEventType, flags);
            a->theEvent.key.message = 0x1000240d + (uint32_t)flags;
            a->theEvent.key.modifiers = (uint16_t)(0x1a00 | flags);
            setRepeat(a, -1, -1, -1, -1 - flags);
            a = addAction(appl, "Mouse" + f, kMouseEventType, flags);
            a->theEvent.mouse.message = 0x7505 + (uint32_t)flags;
            setRepeat(a, 250, 50, 1, 50);
            a = addAction(appl, "Script" + f, kAppleEventType, flags);
            snprintf(a->theEvent.script.path, sizeof a->theEvent.script.path, "%s", scriptPath.c_str());
            snprintf(
                a->theEvent.script.fileSpec.path, sizeof a->theEvent.script.fileSpec.path, "%s", scriptPath.c_str());
            setRepeat(a, 1000, 500, 1, 123456);
            a = addAction(appl, "LaunchAVeryLongButtonName" + f, kLaunchEventType, flags);
            snprintf(a->theEvent.launch.path, sizeof a->theEvent.launch.path,
                "/usr/share/applications/my app %d.desktop", flags);
            setRepeat(a, 0, 0, 0, 0);
            for (int s = 1; s <= 4; s++) {
                a = addAction(appl, "Vol" + std::to_string(s) + "_" + f, kSysVolumeEventType, flags);
                SysVolumeEvent &v = a->theEvent.sysVolume;
                v.subtype = s;
                snprintf(v.subtypeText, sizeof v.subtypeText, "%s", kSubtypes[s - 1]);
                v.value = s == 2 ? -12 : 127;
                v.unMute = flags & 1;
                v.fadeType = s == 4 ? flags % 3 : 0;
                setRepeat(a, 500, 150, 10, 75);
            }
            a = addAction(appl, "Text" + f, kTextStringEventType, flags);
            snprintf(a->theEvent.textString.text, sizeof a->theEvent.textString.text, "Hi there\\t\\x41 \\n%d ", flags);
            snprintf(a->theEvent.textString.convertedText, sizeof a->theEvent.textString.convertedText, "%s",
                convertTextStringInt(a->theEvent.textString.text));
            addAction(appl, "None" + f, kNoActionEventType, flags);
        }
    }
}
} // namespace

TEST(MappingWriter, EveryActionTypeAndFlagIsWrittenByItsFormatString)
{
    PresenterScope scope;
    MappingFiles files("");
    buildEveryActionModel("/usr/share/orvenda-vqx/scripts/go.lua");
    mapFileChanged = 1;
    ASSERT_EQ(writeMapFile("all.map"), 0);
    EXPECT_EQ(mapFileChanged, 0);
    std::string written = readFile(files.path("all.map"));
    EXPECT_EQ(written, expectedFile());
    EXPECT_NE(written.find("ACT Key0_0      KEY 1000240d 1a00  -1  -1 -1 -1\n"), std::string::npos);
    EXPECT_NE(written.find("ACT None3_3     NO_ACTION DIS OVR\n"), std::string::npos);
    EXPECT_NE(written.find("\nAPPL Disabled App\n\nDIS\nACT"), std::string::npos);
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(MappingWriter, ExtremeAndRandomFieldValuesAreWrittenByTheFormatStrings)
{
    PresenterScope scope;
    MappingFiles files("");
    theGlobalAppl = addAppl("*GLOBAL*");
    const int32_t extremes[]
        = { INT32_MIN, INT32_MIN + 1, -1000, -100, -10, -9, -1, 0, 1, 9, 10, 99, 100, 999, 1000, INT32_MAX };
    uint32_t seed = 12345;
    auto next = [&seed]() {
        seed = seed * 1103515245u + 12345u;
        return seed;
    };
    for (int i = 0; i < 400; i++) {
        int32_t v[7];
        for (int32_t &x : v)
            x = i < 16 ? extremes[(i + (&x - v)) % 16] : (int32_t)next() >> (next() % 31);
        int type = kKeyEventType + i % 8;
        ActionRecord *a = addAction(theGlobalAppl, std::string(i % 13, 'n') + std::to_string(i), type, i % 4);
        setRepeat(a, v[0], v[1], v[2], v[3]);
        switch (type) {
        case kKeyEventType:
            a->theEvent.key.message = next();
            a->theEvent.key.modifiers = (uint16_t)next();
            break;
        case kMouseEventType:
            a->theEvent.mouse.message = i < 8 ? 0xFFFFFFFFu : next() >> (next() % 32);
            break;
        case kAppleEventType:
            snprintf(a->theEvent.script.path, 1024, "/s %d", v[4]);
            break;
        case kLaunchEventType:
            snprintf(a->theEvent.launch.path, 1024, "%s", std::string(1023, 'p').c_str());
            break;
        case kSysVolumeEventType:
            a->theEvent.sysVolume.subtype = 1 + i % 5;
            snprintf(a->theEvent.sysVolume.subtypeText, 32, "%s", std::string(31, 't').c_str());
            a->theEvent.sysVolume.value = v[4];
            a->theEvent.sysVolume.unMute = v[5];
            a->theEvent.sysVolume.fadeType = v[6];
            break;
        case kTextStringEventType:
            snprintf(a->theEvent.textString.text, 256, "%s", std::string(255, 'x').c_str());
            break;
        default:
            break;
        }
    }
    ASSERT_EQ(writeMapFile("extreme.map"), 0);
    // The volume subtype texts were repaired by the save before these lines are computed.
    EXPECT_EQ(readFile(files.path("extreme.map")), expectedFile());
}

TEST(MappingWriter, EachBodyRoutineWritesItsLineWithoutFlags)
{
    PresenterScope scope;
    MappingFiles files("");
    theGlobalAppl = addAppl("*GLOBAL*");
    ActionRecord *a = addAction(theGlobalAppl, "Play", kKeyEventType, 3);
    a->theEvent.key.message = 0x240d;
    setRepeat(a, -1, -1, -1, -1);
    FILE *f = tmpfile();
    writeKeyEvent(f, a);
    writeNoActionEvent(f, a);
    writeMouseEvent(f, a);
    rewind(f);
    char buffer[512] = { 0 };
    size_t n = fread(buffer, 1, sizeof buffer - 1, f);
    fclose(f);
    EXPECT_EQ(std::string(buffer, n),
        "ACT Play        KEY 0000240d 0000  -1  -1 -1 -1"
        "ACT Play        NO_ACTION"
        "ACT Play        MOU 0000240d  -1  -1 -1 -1");
}

TEST(MappingWriter, EveryActionTypeAndFlagReadsBackTheSame)
{
    PresenterScope scope;
    MappingFiles files("");
    buildEveryActionModel("/usr/share/orvenda-vqx/scripts/go.lua");
    ModelSnapshot built = snapshotModel();
    ASSERT_EQ(writeMapFile("all.map"), 0);
    std::string first = readFile(files.path("all.map"));
    captureStdout([](void *) { parseMapFile("all.map"); }, nullptr);
    EXPECT_TRUE(scope.presenter.shown.empty());
    mapfileVersion = 2;
    expectSameModel(built, snapshotModel());
    ASSERT_EQ(writeMapFile("again.map"), 0);
    EXPECT_EQ(readFile(files.path("again.map")), first);
}

TEST(MappingWriter, DefaultEntryIsWrittenAsApplAndIsTheDefaultAgainWhenFirst)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\nDEFAULT\nACT Play NO_ACTION\nAPPL *GLOBAL*\n");
    ASSERT_EQ(parseMapFile("test.map"), 0);
    ASSERT_EQ(writeMapFile("out.map"), 0);
    EXPECT_EQ(readFile(files.path("out.map")),
        "MAPVER 2\n\nAPPL // : default : \\\n\nACT Play        NO_ACTION\n\nAPPL *GLOBAL*\n\n");
    ASSERT_EQ(parseMapFile("out.map"), 0);
    EXPECT_EQ(theDefaultAppl, &theActionByApplList[0]);
    EXPECT_STREQ(theDefaultAppl->name, "// : default : \\");
}

TEST(MappingWriter, DefaultEntryThatIsNotFirstIsNoLongerTheDefaultWhenReadBack)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\nAPPL *GLOBAL*\nDEFAULT\nACT Play NO_ACTION\n");
    ASSERT_EQ(parseMapFile("test.map"), 0);
    EXPECT_EQ(theDefaultAppl, &theActionByApplList[1]);
    ASSERT_EQ(writeMapFile("out.map"), 0);
    ASSERT_EQ(parseMapFile("out.map"), 0);
    EXPECT_EQ(theDefaultAppl, &theActionByApplList[0]);
    EXPECT_EQ(theGlobalAppl, &theActionByApplList[0]);
}

TEST(MappingWriter, OnlyAnUnnamedEntryIsWrittenAsDefaultSection)
{
    PresenterScope scope;
    MappingFiles files("");
    addAppl("");
    addAppl("*GLOBAL*");
    addAppl("// : default : \\");
    mapfileVersion = 2;
    ASSERT_EQ(writeMapFile("out.map"), 0);
    EXPECT_EQ(
        readFile(files.path("out.map")), "MAPVER 2\n\nDEFAULT\n\n\nAPPL *GLOBAL*\n\n\nAPPL // : default : \\\n\n");
}

TEST(MappingWriter, GlobalEntryIsWrittenInItsTablePlace)
{
    PresenterScope scope;
    MappingFiles files("");
    addAction(addAppl("vlc"), "Play", kNoActionEventType);
    theGlobalAppl = addAppl("*GLOBAL*");
    addAction(theGlobalAppl, "Play", kNoActionEventType, 2);
    addAppl("totem");
    mapfileVersion = 2;
    ASSERT_EQ(writeMapFile("out.map"), 0);
    EXPECT_EQ(readFile(files.path("out.map")),
        "MAPVER 2\n\nAPPL vlc\n\nACT Play        NO_ACTION\n\nAPPL *GLOBAL*\n\n"
        "ACT Play        NO_ACTION OVR\n\nAPPL totem\n\n");
}

TEST(MappingWriter, NoRemLineIsEverWritten)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\nREM Other.REM\nAPPL *GLOBAL*\n");
    ASSERT_EQ(parseMapFile("test.map"), 0);
    ASSERT_EQ(writeMapFile("out.map"), 0);
    EXPECT_EQ(readFile(files.path("out.map")).find("REM"), std::string::npos);
}

TEST(MappingWriter, ReadingAWrittenFileGivesTheSameModelWhateverThePadding)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\nAPPL x\nACT A   KEY    240d\t0 -1 -1 -1 -1\n"
                       "ACT Txt TXT 7 [  a  b  OVR\nACT LongerThanElevenChars MOU 5 1 2 3 4 DIS\n");
    ASSERT_EQ(parseMapFile("test.map"), 0);
    ModelSnapshot first = snapshotModel();
    ASSERT_EQ(first.appls[0].actions.size(), 3u);
    EXPECT_EQ(first.appls[0].actions[1].text, "  a  b ");
    ASSERT_EQ(writeMapFile("out.map"), 0);
    ASSERT_EQ(parseMapFile("out.map"), 0);
    expectSameModel(first, snapshotModel());
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(MappingWriter, PathHoldingADoubleQuoteCannotBeReadBack)
{
    PresenterScope scope;
    MappingFiles files("");
    theGlobalAppl = addAppl("*GLOBAL*");
    ActionRecord *a = addAction(theGlobalAppl, "Go", kLaunchEventType);
    snprintf(a->theEvent.launch.path, sizeof a->theEvent.launch.path, "/a\"b");
    mapfileVersion = 2;
    ASSERT_EQ(writeMapFile("out.map"), 0);
    EXPECT_NE(readFile(files.path("out.map")).find("LAUNCH \"/a\"b\""), std::string::npos);
    ASSERT_EQ(parseMapFile("out.map"), 0);
    EXPECT_TRUE(theGlobalAppl->first == nullptr || strcmp(theGlobalAppl->first->theEvent.launch.path, "/a\"b") != 0);
    EXPECT_FALSE(scope.presenter.shown.empty());
}

TEST(MappingWriter, VolumeSubtypeTextIsRepairedFromItsCode)
{
    PresenterScope scope;
    MappingFiles files("");
    theGlobalAppl = addAppl("*GLOBAL*");
    ActionRecord *a = addAction(theGlobalAppl, "V", kSysVolumeEventType);
    a->theEvent.sysVolume.subtype = kSysVolChg;
    snprintf(a->theEvent.sysVolume.subtypeText, 32, "junk");
    ActionRecord *b = addAction(theGlobalAppl, "W", kSysVolumeEventType);
    b->theEvent.sysVolume.subtype = 9;
    snprintf(b->theEvent.sysVolume.subtypeText, 32, "ODD");
    ASSERT_EQ(writeMapFile("out.map"), 0);
    EXPECT_STREQ(a->theEvent.sysVolume.subtypeText, "CHG");
    EXPECT_STREQ(b->theEvent.sysVolume.subtypeText, "ODD");
    std::string text = readFile(files.path("out.map"));
    EXPECT_NE(text.find("ACT V           VOL CHG 0   0   0  0 0 0 0\n"), std::string::npos);
    EXPECT_NE(text.find("ACT W           VOL ODD 0"), std::string::npos);
}

TEST(MappingWriter, UnknownEventTypeWritesOnlyItsFlagsAndLineEnd)
{
    PresenterScope scope;
    MappingFiles files("");
    theGlobalAppl = addAppl("*GLOBAL*");
    addAction(theGlobalAppl, "Odd", kMapSwitchEventType, 3);
    addAction(theGlobalAppl, "Odder", 99, 0);
    ASSERT_EQ(writeMapFile("out.map"), 0);
    EXPECT_EQ(readFile(files.path("out.map")), "MAPVER 0\n\nAPPL *GLOBAL*\n\n DIS OVR\n\n");
}

TEST(MappingWriter, TextIsWrittenRawWithItsLengthAndNoClosingBracket)
{
    PresenterScope scope;
    MappingFiles files("");
    theGlobalAppl = addAppl("*GLOBAL*");
    ActionRecord *a = addAction(theGlobalAppl, "T", kTextStringEventType, 1);
    snprintf(a->theEvent.textString.text, 256, "a\\tb c");
    snprintf(a->theEvent.textString.convertedText, 256, "a\tb c");
    mapfileVersion = 2;
    ASSERT_EQ(writeMapFile("out.map"), 0);
    EXPECT_EQ(readFile(files.path("out.map")), "MAPVER 2\n\nAPPL *GLOBAL*\n\nACT T           TXT 6 [a\\tb c DIS\n");
}

TEST(TextConversion, TabHexAndBadEscape)
{
    EXPECT_STREQ(convertTextStringInt("a\\tb"), "a\tb");
    EXPECT_STREQ(convertTextStringInt("\\x41"), "A");
    EXPECT_EQ(convertTextStringInt("\\q"), nullptr);
}

TEST(TextConversion, NewlineEscapeIsACarriageReturn)
{
    EXPECT_STREQ(convertTextStringInt("a\\nb"), "a\rb");
}

TEST(TextConversion, DoubledBackslashIsOneBackslash)
{
    EXPECT_STREQ(convertTextStringInt("a\\\\b\\\\"), "a\\b\\");
}

TEST(TextConversion, HexZeroAndBadHexDigitsAreRejected)
{
    EXPECT_EQ(convertTextStringInt("\\x00"), nullptr);
    EXPECT_EQ(convertTextStringInt("a\\x4gb"), nullptr);
    EXPECT_EQ(convertTextStringInt("a\\xg4b"), nullptr);
    EXPECT_STREQ(convertTextStringInt("\\x7e\\x7E\\xff"), "~~\xff");
}

TEST(TextConversion, UnfinishedEscapeAtTheVeryEndIsDroppedSilently)
{
    EXPECT_STREQ(convertTextStringInt("abc\\"), "abc");
    EXPECT_STREQ(convertTextStringInt("abc\\x"), "abc");
    EXPECT_STREQ(convertTextStringInt("abc\\x4"), "abc");
}

TEST(TextConversion, PlainTextIsCopiedAndLongTextCutAt255)
{
    EXPECT_STREQ(convertTextStringInt(""), "");
    EXPECT_STREQ(convertTextStringInt("Best regards,"), "Best regards,");
    std::string longText(600, 'z');
    EXPECT_EQ(std::string(convertTextStringInt(longText.c_str())), std::string(255, 'z'));
}

TEST(TextConversion, HexDigitOfEveryByte)
{
    for (int c = 0; c < 256; c++) {
        int expected = -1;
        if (c >= '0' && c <= '9')
            expected = c - '0';
        else if (c >= 'a' && c <= 'f')
            expected = 10 + c - 'a';
        else if (c >= 'A' && c <= 'F')
            expected = 10 + c - 'A';
        EXPECT_EQ(hexDigit(c), expected) << c;
    }
}
