// Which action a press performs, one row per case of the rule, on mappings written as files into a
// temporary preferences folder, read as the editor's start-up reads them and compiled.
#include <gtest/gtest.h>

#include "mapper/resolve.h"
#include "mapper/table.h"
#include "mapping/reconcile.h"
#include "support/mapping_support.h"

namespace {

const char *kRemote = "FRQ 38000\n"
                      "BIT 560\n"
                      "CMD Play 1008 0101 0103\n"
                      "CMD Stop 1008 0103 0101\n"
                      "CMD Next 1008 0103 0103\n"
                      "CMD Prev 1008 0101 0101\n"
                      "CMD Menu 1008 0101 0303\n"
                      "CMD Mute 1008 0303 0101\n";

// Entries: 0 default, 1 global, 2 vlc, 3 org.gnome.Totem, 4 totem (disabled), 5 Mpv.
const char *kMappingA = "MAPVER 2\n\nDEFAULT\n\n"
                        "ACT Play KEY 00003100 0000 -1 -1 0 0\n"
                        "ACT Stop KEY 00003200 0000 -1 -1 0 0 OVR\n"
                        "ACT Next NO_ACTION\n"
                        "ACT Prev NO_ACTION\n"
                        "ACT Menu NO_ACTION\n"
                        "ACT Mute NO_ACTION\n"
                        "\nAPPL *GLOBAL*\n\n"
                        "ACT Play KEY 00003101 0000 -1 -1 0 0\n"
                        "ACT Stop KEY 00003102 0000 -1 -1 0 0\n"
                        "ACT Next KEY 00003103 0000 -1 -1 0 0 DIS\n"
                        "ACT Prev NO_ACTION\n"
                        "ACT Menu KEY 00003105 0000 -1 -1 0 0\n"
                        "ACT Mute KEY 00003106 0000 -1 -1 0 0\n"
                        "\nAPPL vlc\n\n"
                        "ACT Play KEY 00003201 0000 -1 -1 0 0 OVR\n"
                        "ACT Stop KEY 00003202 0000 -1 -1 0 0\n"
                        "ACT Next KEY 00003203 0000 -1 -1 0 0\n"
                        "ACT Prev KEY 00003204 0000 -1 -1 0 0\n"
                        "ACT Menu KEY 00003205 0000 -1 -1 0 0 DIS OVR\n"
                        "ACT Mute NO_ACTION OVR\n"
                        "\nAPPL org.gnome.Totem\n\n"
                        "ACT Play KEY 00003301 0000 -1 -1 0 0 OVR\n"
                        "\nAPPL totem\nDIS\n\n"
                        "ACT Play KEY 00003401 0000 -1 -1 0 0 OVR\n"
                        "\nAPPL Mpv\n\n"
                        "ACT Play KEY 00003501 0000 -1 -1 0 0 OVR\n";

// The global section first: it is the default entry as well. Entries: 0 global, 1 the editor, 2 vlc.
const char *kMappingB = "MAPVER 2\n\nAPPL *GLOBAL*\n\n"
                        "ACT Play KEY 00004101 0000 -1 -1 0 0\n"
                        "ACT Stop KEY 00004102 0000 -1 -1 0 0 DIS\n"
                        "ACT Next NO_ACTION\n"
                        "\nAPPL vqx-map-editor\n\n"
                        "ACT Play KEY 00004201 0000 -1 -1 0 0 OVR\n"
                        "\nAPPL vlc\n\n"
                        "ACT Stop KEY 00004302 0000 -1 -1 0 0 OVR\n";

// The default entry disabled. Entries: 0 default (disabled), 1 global, 2 vlc (disabled), 3 mpv.
const char *kMappingC = "MAPVER 2\n\nDEFAULT\nDIS\n\n"
                        "ACT Play KEY 00005001 0000 -1 -1 0 0 OVR\n"
                        "ACT Stop KEY 00005002 0000 -1 -1 0 0 OVR\n"
                        "\nAPPL *GLOBAL*\n\n"
                        "ACT Play KEY 00005101 0000 -1 -1 0 0\n"
                        "ACT Stop KEY 00005102 0000 -1 -1 0 0 DIS\n"
                        "ACT Next NO_ACTION\n"
                        "\nAPPL vlc\nDIS\n\n"
                        "ACT Play KEY 00005201 0000 -1 -1 0 0 OVR\n"
                        "\nAPPL mpv\n\n"
                        "ACT Play KEY 00005301 0000 -1 -1 0 0 OVR\n";

// No entry lists Mute, and the table is compiled without the reconciliation that would add it.
// Entries: 0 default, 1 global.
const char *kMappingD = "MAPVER 2\n\nDEFAULT\n\n"
                        "ACT Play KEY 00006001 0000 -1 -1 0 0 OVR\n"
                        "\nAPPL *GLOBAL*\n\n"
                        "ACT Play KEY 00006101 0000 -1 -1 0 0\n";

// Reads the configuration, the mapping and the remote from a fresh preferences folder as the
// editor's start-up does (the button reconciliation only when asked), and compiles them.
MTABtable load(const char *map, bool reconcile)
{
    PresenterScope scope;
    MappingFiles files(map, kRemote);
    EXPECT_EQ(readMapAndRemFiles(), 0);
    if (reconcile && checkForMissingButtons()) {
        addAllButtonsToMap();
        reorderAllButtons();
    }
    EXPECT_TRUE(scope.presenter.shown.empty());
    return MTABcompile();
}

const uint32_t kNothing = 0; // no action performed

struct Row {
    const char *what;
    char mapping; // 'A' ... 'D'
    std::vector<std::string> front;
    const char *button;
    int entry; // the entry expected, -1 for none
    RESwhy why;
    uint32_t message; // the KEY message of the action performed, kNothing when none
    int from; // the entry whose action the rule chose, -1 for none
};

const Row kRows[] = {
    // The application's own entry.
    { "application's own action (OVR)", 'A', { "vlc" }, "Play", 2, RES_OWN, 0x3201, 2 },
    { "application follows the global action", 'A', { "vlc" }, "Stop", 2, RES_GLOBAL, 0x3102, 1 },
    { "global action disabled: the application's own", 'A', { "vlc" }, "Next", 2, RES_OWN, 0x3203, 2 },
    { "application's action disabled", 'A', { "vlc" }, "Menu", 2, RES_DISABLED, kNothing, 2 },
    { "application's own NO_ACTION beats the global", 'A', { "vlc" }, "Mute", 2, RES_NO_ACTION, kNothing, 2 },
    { "application follows a global NO_ACTION", 'A', { "vlc" }, "Prev", 2, RES_NO_ACTION, kNothing, 1 },
    // The default entry.
    { "unknown application: default follows global", 'A', { "gimp" }, "Play", 0, RES_GLOBAL, 0x3101, 1 },
    { "unknown application: default's own", 'A', { "gimp" }, "Stop", 0, RES_OWN, 0x3200, 0 },
    { "unknown application: default's NO_ACTION", 'A', { "gimp" }, "Prev", 0, RES_NO_ACTION, kNothing, 1 },
    { "nothing known in front: default", 'A', {}, "Stop", 0, RES_OWN, 0x3200, 0 },
    { "disabled application falls to the default", 'A', { "totem" }, "Stop", 0, RES_OWN, 0x3200, 0 },
    { "disabled application, default follows global", 'A', { "totem" }, "Play", 0, RES_GLOBAL, 0x3101, 1 },
    // Names: precedence and exactness.
    { "desktop entry id first", 'A', { "org.gnome.Totem", "totem", "Totem" }, "Play", 3, RES_OWN, 0x3301, 3 },
    { "second name when the first matches nothing", 'A', { "org.videolan.VLC", "vlc", "vlc" }, "Play", 2, RES_OWN,
        0x3201, 2 },
    { "first matching name disabled: default, not a later name", 'A', { "totem", "vlc" }, "Play", 0, RES_GLOBAL, 0x3101,
        1 },
    { "exact case matches", 'A', { "Mpv" }, "Play", 5, RES_OWN, 0x3501, 5 },
    { "other case does not match", 'A', { "mpv", "MPV" }, "Play", 0, RES_GLOBAL, 0x3101, 1 },
    { "VLC is not vlc", 'A', { "VLC" }, "Stop", 0, RES_OWN, 0x3200, 0 },
    { "the global entry's name is no application", 'A', { "*GLOBAL*" }, "Stop", 0, RES_OWN, 0x3200, 0 },
    { "the default entry's name is no application", 'A', { "// : default : \\", "" }, "Play", 0, RES_GLOBAL, 0x3101,
        1 },
    // The editor.
    { "editor in front without an entry: reported only", 'A', { "vqx-map-editor", "vqx-map-editor" }, "Play", -1,
        RES_EDITOR, kNothing, -1 },
    { "editor's window class after an unknown id", 'A', { "org.orvenda.Unknown", "vqx-map-editor" }, "Stop", -1,
        RES_EDITOR, kNothing, -1 },
    { "editor with an entry of its own: performed", 'B', { "vqx-map-editor" }, "Play", 1, RES_OWN, 0x4201, 1 },
    { "a front name with an entry beside the editor's", 'A', { "vlc", "vqx-map-editor" }, "Play", 2, RES_OWN, 0x3201,
        2 },
    // The global entry as the entry.
    { "global entry's own action", 'B', { "gimp" }, "Play", 0, RES_OWN, 0x4101, 0 },
    { "global entry's disabled action", 'B', { "gimp" }, "Stop", 0, RES_DISABLED, kNothing, 0 },
    { "global entry's NO_ACTION", 'B', { "gimp" }, "Next", 0, RES_NO_ACTION, kNothing, 0 },
    { "application over a disabled global action", 'B', { "vlc" }, "Stop", 2, RES_OWN, 0x4302, 2 },
    // The default entry disabled: only the global entry applies.
    { "default disabled: global only", 'C', { "gimp" }, "Play", -1, RES_GLOBAL, 0x5101, 1 },
    { "default disabled: global action disabled", 'C', { "gimp" }, "Stop", -1, RES_DISABLED, kNothing, 1 },
    { "default disabled: global NO_ACTION", 'C', { "gimp" }, "Next", -1, RES_NO_ACTION, kNothing, 1 },
    { "application and default disabled: global only", 'C', { "vlc" }, "Play", -1, RES_GLOBAL, 0x5101, 1 },
    { "enabled application beside a disabled default", 'C', { "mpv" }, "Play", 3, RES_OWN, 0x5301, 3 },
    // Buttons nobody maps.
    { "button not on the remote", 'A', { "vlc" }, "Eject", 2, RES_UNMAPPED, kNothing, -1 },
    { "button no entry maps", 'D', { "gimp" }, "Mute", 0, RES_UNMAPPED, kNothing, -1 },
    { "button the reconciliation did not reach, entry's own", 'D', { "gimp" }, "Play", 0, RES_OWN, 0x6001, 0 },
};

} // namespace

TEST(ResolveTest, EveryCaseOfTheRuleOnMappingsReadFromFiles)
{
    MTABtable tables[4]
        = { load(kMappingA, true), load(kMappingB, true), load(kMappingC, true), load(kMappingD, false) };
    // The tables must be what the rows assume: the entries in file order, the remote's buttons.
    ASSERT_EQ(tables[0].entries.size(), 6u);
    EXPECT_EQ(tables[0].defaultEntry, 0);
    EXPECT_EQ(tables[0].globalEntry, 1);
    EXPECT_EQ(tables[1].defaultEntry, 0);
    EXPECT_EQ(tables[1].globalEntry, 0);
    EXPECT_TRUE(tables[2].entries.at(0).disabled);
    EXPECT_EQ(tables[3].globalEntry, 1);
    for (const MTABtable &t : tables)
        ASSERT_EQ(t.buttons.size(), 6u);

    for (const Row &row : kRows) {
        SCOPED_TRACE(row.what);
        const MTABtable &t = tables[row.mapping - 'A'];
        int button = MTABbuttonIndex(t, row.button);
        RESresult r = RESresolve(t, row.front, button);
        EXPECT_EQ(RESwhyName(r.why), std::string(RESwhyName(row.why)));
        EXPECT_EQ(r.entry, row.entry);
        EXPECT_EQ(r.from, row.from);
        if (row.message == kNothing) {
            EXPECT_EQ(r.action, nullptr);
        } else {
            ASSERT_NE(r.action, nullptr);
            EXPECT_EQ(r.action->type, 1);
            EXPECT_EQ(r.action->message, row.message);
        }
        if (row.why != RES_EDITOR) {
            EXPECT_EQ(RESentryFor(t, row.front), row.entry);
        }
    }
}

TEST(ResolveTest, TheReconciliationGivesEveryEntryEveryButton)
{
    MTABtable t = load(kMappingD, true);
    RESresult r = RESresolve(t, { "gimp" }, MTABbuttonIndex(t, "Mute"));
    EXPECT_EQ(r.why, RES_NO_ACTION);
    EXPECT_EQ(r.from, 1);
    EXPECT_EQ(r.action, nullptr);
}

TEST(ResolveTest, EditorInFrontIsToldApartFromAnEntryNamedForIt)
{
    MTABtable a = load(kMappingA, true);
    MTABtable b = load(kMappingB, true);
    EXPECT_TRUE(RESeditorInFront(a, { "vqx-map-editor" }));
    EXPECT_TRUE(RESeditorInFront(a, { "gimp", "vqx-map-editor" }));
    EXPECT_FALSE(RESeditorInFront(a, { "Vqx-map-editor" }));
    EXPECT_FALSE(RESeditorInFront(a, { "vlc", "vqx-map-editor" }));
    EXPECT_FALSE(RESeditorInFront(a, {}));
    EXPECT_FALSE(RESeditorInFront(b, { "vqx-map-editor" }));
    EXPECT_EQ(RESentryFor(b, { "vqx-map-editor" }), 1);
}

TEST(ResolveTest, ReasonsHaveShortNames)
{
    EXPECT_STREQ(RESwhyName(RES_OWN), "own");
    EXPECT_STREQ(RESwhyName(RES_GLOBAL), "global");
    EXPECT_STREQ(RESwhyName(RES_DISABLED), "disabled");
    EXPECT_STREQ(RESwhyName(RES_NO_ACTION), "no-action");
    EXPECT_STREQ(RESwhyName(RES_UNMAPPED), "unmapped");
    EXPECT_STREQ(RESwhyName(RES_EDITOR), "editor");
}
