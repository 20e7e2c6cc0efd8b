// The compiled mapping: mapping and remote files written into a temporary preferences folder, read
// by the editor's readers in its start-up order, compiled, and every value checked against the files.
#include <gtest/gtest.h>

#include "mapper/table.h"
#include "mapping/reconcile.h"
#include "support/mapping_support.h"

namespace {

// The rest of the editor's start-up reading after the configuration: mapping and remote, then the
// button reconciliation.
void readAsTheEditorStarts()
{
    ASSERT_EQ(readMapAndRemFiles(), 0);
    if (checkForMissingButtons()) {
        addAllButtonsToMap();
        reorderAllButtons();
    }
}

const char *kRemote = "FRQ 36000\n"
                      "BIT 525\n"
                      "CMD Power 1008 0101 0103 0150\n"
                      "CMD Play 1008 0103\n"
                      "CMD Stop 1008 0101 0101\n"
                      "CMD Ok 2a02\n";

const MTABaction &actionFor(const MTABtable &t, int entry, const char *button)
{
    int b = MTABbuttonIndex(t, button);
    EXPECT_GE(b, 0) << button;
    int index = t.entries.at((size_t)entry).actionByButton.at((size_t)b);
    EXPECT_GE(index, 0) << button;
    return t.actions.at((size_t)index);
}

} // namespace

TEST(TableTest, EveryActionTypeIsCompiledFieldByField)
{
    PresenterScope scope;
    std::string remote = "FRQ 38000\nBIT 560\n";
    const char *buttons[] = { "Key", "Media", "Mouse", "Script", "Launch", "VSet", "VChg", "VMute", "VFade", "Text",
        "Nothing", "Dis", "Ovr", "Both" };
    for (const char *b : buttons)
        remote += std::string("CMD ") + b + " 1008 0101\n";
    MappingFiles files("", remote);
    std::string script = files.path("louder.sh");
    writeFile(script, "#!/bin/sh\n");
    writeFile(files.path("test.map"),
        "MAPVER 2\n\nDEFAULT\n\nAPPL *GLOBAL*\n\nAPPL vlc\n\n"
        "ACT Key         KEY 00000d24 1a00 250 100  5 40\n"
        "ACT Media       KEY 00000000 0003  -1  -1  0 0\n"
        "ACT Mouse       MOU 00002105 100  40  8 20\n"
        "ACT Script      SCR \""
            + script
            + "\"   0 500  0 0\n"
              "ACT Launch      LAUNCH \"/usr/share/applications/org.gnome.Totem.desktop\"   0   0  0 0\n"
              "ACT VSet        VOL SET 128   0   0  0 0 1 0\n"
              "ACT VChg        VOL CHG -16 200 100  3 50 1 0\n"
              "ACT VMute       VOL MUTE 2   0   0  0 0 0 0\n"
              "ACT VFade       VOL FADE 5   0   0  0 0 0 1\n"
              "ACT Text        TXT 17 [a\\tb\\nc\\\\d\\x41 z!\n"
              "ACT Nothing     NO_ACTION\n"
              "ACT Dis         KEY 00000061 0000  -1  -1  0 0 DIS\n"
              "ACT Ovr         KEY 00000062 0200  -1  -1  0 0 OVR\n"
              "ACT Both        NO_ACTION DIS OVR\n");
    readAsTheEditorStarts();
    EXPECT_TRUE(scope.presenter.shown.empty());
    MTABtable t = MTABcompile();
    ASSERT_EQ(t.entries.size(), 3u);
    const int vlc = 2;
    ASSERT_EQ(t.entries[vlc].name, "vlc");

    const MTABaction &key = actionFor(t, vlc, "Key");
    EXPECT_EQ(key.type, 1);
    EXPECT_EQ(key.message, 0x0d24u);
    EXPECT_EQ(key.modifiers, 0x1a00);
    EXPECT_EQ(key.delay, 250);
    EXPECT_EQ(key.rate1, 100);
    EXPECT_EQ(key.reps, 5);
    EXPECT_EQ(key.rate2, 40);
    EXPECT_FALSE(key.disabled);
    EXPECT_FALSE(key.override);

    const MTABaction &media = actionFor(t, vlc, "Media");
    EXPECT_EQ(media.type, 1);
    EXPECT_EQ(media.message, 0u);
    EXPECT_EQ(media.modifiers, 3);
    EXPECT_EQ(media.rate1, -1);

    const MTABaction &mouse = actionFor(t, vlc, "Mouse");
    EXPECT_EQ(mouse.type, 8);
    EXPECT_EQ(mouse.message, 0x2105u);
    EXPECT_EQ(mouse.modifiers, 0);
    EXPECT_EQ(mouse.delay, 100);
    EXPECT_EQ(mouse.rate1, 40);
    EXPECT_EQ(mouse.reps, 8);
    EXPECT_EQ(mouse.rate2, 20);

    const MTABaction &scr = actionFor(t, vlc, "Script");
    EXPECT_EQ(scr.type, 2);
    EXPECT_EQ(scr.path, script);
    EXPECT_EQ(scr.rate1, 500);

    const MTABaction &launch = actionFor(t, vlc, "Launch");
    EXPECT_EQ(launch.type, 3);
    EXPECT_EQ(launch.path, "/usr/share/applications/org.gnome.Totem.desktop");

    const MTABaction &set = actionFor(t, vlc, "VSet");
    EXPECT_EQ(set.type, 5);
    EXPECT_EQ(set.volSubtype, 1);
    EXPECT_EQ(set.volValue, 128);
    EXPECT_EQ(set.unMute, 1);
    EXPECT_EQ(set.fadeType, 0);

    const MTABaction &chg = actionFor(t, vlc, "VChg");
    EXPECT_EQ(chg.volSubtype, 2);
    EXPECT_EQ(chg.volValue, -16);
    EXPECT_EQ(chg.delay, 200);
    EXPECT_EQ(chg.rate1, 100);
    EXPECT_EQ(chg.reps, 3);
    EXPECT_EQ(chg.rate2, 50);
    EXPECT_EQ(chg.unMute, 1);

    const MTABaction &mute = actionFor(t, vlc, "VMute");
    EXPECT_EQ(mute.volSubtype, 3);
    EXPECT_EQ(mute.volValue, 2);
    EXPECT_EQ(mute.unMute, 0);

    const MTABaction &fade = actionFor(t, vlc, "VFade");
    EXPECT_EQ(fade.volSubtype, 4);
    EXPECT_EQ(fade.volValue, 5);
    EXPECT_EQ(fade.fadeType, 1);

    // "a\tb\nc\\d\x41 z!": tab, carriage return (the editor's meaning of \n), backslash, 'A'.
    const MTABaction &text = actionFor(t, vlc, "Text");
    EXPECT_EQ(text.type, 6);
    EXPECT_EQ(text.text, std::string("a\tb\rc\\dA z!"));

    const MTABaction &nothing = actionFor(t, vlc, "Nothing");
    EXPECT_EQ(nothing.type, 7);
    EXPECT_FALSE(nothing.disabled);
    EXPECT_FALSE(nothing.override);

    const MTABaction &dis = actionFor(t, vlc, "Dis");
    EXPECT_EQ(dis.message, 0x61u);
    EXPECT_TRUE(dis.disabled);
    EXPECT_FALSE(dis.override);

    const MTABaction &ovr = actionFor(t, vlc, "Ovr");
    EXPECT_EQ(ovr.message, 0x62u);
    EXPECT_EQ(ovr.modifiers, 0x200);
    EXPECT_FALSE(ovr.disabled);
    EXPECT_TRUE(ovr.override);

    const MTABaction &both = actionFor(t, vlc, "Both");
    EXPECT_EQ(both.type, 7);
    EXPECT_TRUE(both.disabled);
    EXPECT_TRUE(both.override);
    EXPECT_FALSE(t.entries[vlc].disabled);

    // The entries the reconciliation filled: NO_ACTION records with nothing else set.
    const MTABaction &filled = actionFor(t, 0, "Key");
    EXPECT_EQ(filled.type, 7);
    EXPECT_FALSE(filled.disabled);
    EXPECT_FALSE(filled.override);
}

TEST(TableTest, ButtonsFollowTheRemoteWithTheirTokensAndNames)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n\nDEFAULT\n\nACT Ok NO_ACTION\nACT Stop NO_ACTION\nACT Gone NO_ACTION\n"
                       "ACT Play NO_ACTION\n",
        kRemote);
    readAsTheEditorStarts();
    MTABtable t = MTABcompile();
    EXPECT_EQ(t.mapName, "test.map");
    EXPECT_EQ(t.remName, "test.REM");
    EXPECT_EQ(t.input, "USB");
    EXPECT_EQ(t.frequency, 36000);
    EXPECT_EQ(t.bitTime, 525);
    ASSERT_EQ(t.buttons.size(), 4u);
    EXPECT_EQ(t.buttons[0].name, "Power");
    EXPECT_EQ(t.buttons[0].tokens, (std::vector<uint16_t> { 0x1008, 0x0101, 0x0103, 0x0150 }));
    EXPECT_EQ(t.buttons[1].name, "Play");
    EXPECT_EQ(t.buttons[1].tokens, (std::vector<uint16_t> { 0x1008, 0x0103 }));
    EXPECT_EQ(t.buttons[2].name, "Stop");
    EXPECT_EQ(t.buttons[2].tokens, (std::vector<uint16_t> { 0x1008, 0x0101, 0x0101 }));
    EXPECT_EQ(t.buttons[3].name, "Ok");
    EXPECT_EQ(t.buttons[3].tokens, (std::vector<uint16_t> { 0x2a02 }));
    EXPECT_EQ(MTABbuttonIndex(t, "Stop"), 2);
    EXPECT_EQ(MTABbuttonIndex(t, "stop"), -1);
    EXPECT_EQ(MTABbuttonIndex(t, "Gone"), -1);

    // The default entry's list as read was Ok, Stop, Gone, Play; the reconciliation added Power and
    // put the list in the remote's order, with Gone (not on the remote) behind. The global entry the
    // reader added got all four buttons. Every action is kept, but only the remote's are reachable.
    ASSERT_EQ(t.entries.size(), 2u);
    EXPECT_EQ(t.entries[0].actionByButton, (std::vector<int> { 0, 1, 2, 3 }));
    EXPECT_EQ(t.entries[1].actionByButton, (std::vector<int> { 5, 6, 7, 8 }));
    EXPECT_EQ(t.actions.size(), 9u);
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(TableTest, GlobalAndDefaultEntriesAreFoundWhereverTheFilePutsThem)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n\nDEFAULT\n\nAPPL vlc\nDIS\n\nAPPL *GLOBAL*\n\nAPPL mpv\n", kRemote);
    readAsTheEditorStarts();
    MTABtable t = MTABcompile();
    ASSERT_EQ(t.entries.size(), 4u);
    EXPECT_EQ(t.entries[0].name, "// : default : \\");
    EXPECT_EQ(t.entries[1].name, "vlc");
    EXPECT_TRUE(t.entries[1].disabled);
    EXPECT_FALSE(t.entries[0].disabled);
    EXPECT_FALSE(t.entries[3].disabled);
    EXPECT_EQ(t.defaultEntry, 0);
    EXPECT_EQ(t.globalEntry, 2);
    EXPECT_EQ(MTABentryIndex(t, "mpv"), 3);
    EXPECT_EQ(MTABentryIndex(t, "*GLOBAL*"), 2);
    EXPECT_EQ(MTABentryIndex(t, "VLC"), -1);

    // Without a global section the reader appends one; a file opening with the global section
    // makes it the default entry as well.
    writeFile(files.path("test.map"), "MAPVER 2\n\nAPPL *GLOBAL*\n\nAPPL vlc\n");
    readAsTheEditorStarts();
    t = MTABcompile();
    EXPECT_EQ(t.globalEntry, 0);
    EXPECT_EQ(t.defaultEntry, 0);
    writeFile(files.path("test.map"), "MAPVER 2\n\nAPPL vlc\n\nAPPL mpv\n");
    readAsTheEditorStarts();
    t = MTABcompile();
    ASSERT_EQ(t.entries.size(), 3u);
    EXPECT_EQ(t.globalEntry, 2);
    EXPECT_EQ(t.entries[2].name, "*GLOBAL*");
    EXPECT_EQ(t.defaultEntry, 0);
    EXPECT_EQ(t.entries[0].name, "vlc");
    EXPECT_TRUE(scope.presenter.shown.empty());
}

TEST(TableTest, AnEntryListingAButtonTwiceUsesTheFirstAction)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n\nAPPL *GLOBAL*\n\nACT Play KEY 00000031 0000 -1 -1 0 0\n"
                       "ACT Play KEY 00000032 0000 -1 -1 0 0 OVR\n",
        kRemote);
    readAsTheEditorStarts();
    MTABtable t = MTABcompile();
    const MTABaction &play = actionFor(t, t.globalEntry, "Play");
    EXPECT_EQ(play.message, 0x31u);
    EXPECT_FALSE(play.override);
}

TEST(TableTest, TheTableKeepsItsValuesAfterTheModelIsGone)
{
    PresenterScope scope;
    MTABtable t;
    {
        MappingFiles files("MAPVER 2\n\nDEFAULT\n\nAPPL *GLOBAL*\n"
                           "ACT Play LAUNCH \"/usr/bin/totem\"   0   0  0 0\n"
                           "ACT Stop TXT 4 [ok\\n\n"
                           "ACT Ok KEY 00001f00 1000 -1 -1 0 0 DIS\n",
            kRemote);
        readAsTheEditorStarts();
        t = MTABcompile();
        // Another mapping and remote read over the model: the freed action records are reused
        // and the command buffer refilled.
        writeFile(files.path("test.map"),
            "MAPVER 2\n\nAPPL *GLOBAL*\n"
            "ACT Play LAUNCH \"/usr/bin/other\"   0   0  0 0\n"
            "ACT Stop TXT 2 [no\n"
            "ACT Ok KEY 00001e00 0000 -1 -1 0 0\n");
        writeFile(files.path("test.REM"), "FRQ 40000\nBIT 100\nCMD Ok 0505\nCMD Play 0606\n");
        readAsTheEditorStarts();
        ASSERT_EQ(numApplications, 1);
    }
    freeActionListMemory();
    MAPreset();
    REMreset();
    CFGreset();
    ASSERT_EQ(numApplications, 0);
    ASSERT_EQ(REMfirstCommand(), nullptr);

    EXPECT_EQ(t.mapName, "test.map");
    EXPECT_EQ(t.remName, "test.REM");
    EXPECT_EQ(t.frequency, 36000);
    ASSERT_EQ(t.buttons.size(), 4u);
    EXPECT_EQ(t.buttons[0].name, "Power");
    EXPECT_EQ(t.buttons[3].tokens, (std::vector<uint16_t> { 0x2a02 }));
    ASSERT_EQ(t.entries.size(), 2u);
    EXPECT_EQ(t.entries[1].name, "*GLOBAL*");
    EXPECT_EQ(t.globalEntry, 1);
    EXPECT_EQ(t.defaultEntry, 0);
    EXPECT_EQ(actionFor(t, 1, "Play").path, "/usr/bin/totem");
    EXPECT_EQ(actionFor(t, 1, "Stop").text, "ok\r");
    EXPECT_EQ(actionFor(t, 1, "Ok").message, 0x1f00u);
    EXPECT_TRUE(actionFor(t, 1, "Ok").disabled);
    EXPECT_EQ(actionFor(t, 0, "Ok").type, 7);
}
