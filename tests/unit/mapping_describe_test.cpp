// Descriptions of actions for the button list, the names of repeat settings and of keys.
#include <gtest/gtest.h>

#include <cstring>

#include "mapping/describe.h"
#include "shell/prefs.h"

namespace {

// Each test starts without details and puts the preference back afterwards.
class Describe : public ::testing::Test {
protected:
    void SetUp() override
    {
        saved_ = theConfigPrefs.showDetails;
        theConfigPrefs.showDetails = 0;
    }
    void TearDown() override { theConfigPrefs.showDetails = saved_; }
    static void details(bool on) { theConfigPrefs.showDetails = on ? 1 : 0; }

private:
    uint32_t saved_ = 0;
};

ActionRecord *newAction(int type)
{
    ActionRecord *a = MAPnewAction();
    a->theEvent.common.type = type;
    snprintf(a->theEvent.common.name, 32, "Play");
    return a;
}

KeyEvent key(uint32_t message, uint16_t modifiers, int delay, int rate1, int reps, int rate2)
{
    KeyEvent k;
    memset(&k, 0, sizeof k);
    k.type = kKeyEventType;
    k.message = message;
    k.modifiers = modifiers;
    k.delay = delay;
    k.rate1 = rate1;
    k.reps = reps;
    k.rate2 = rate2;
    return k;
}

MouseEvent mouse(uint32_t message, int delay, int rate1, int reps, int rate2)
{
    MouseEvent m;
    memset(&m, 0, sizeof m);
    m.type = kMouseEventType;
    m.message = message;
    m.delay = delay;
    m.rate1 = rate1;
    m.reps = reps;
    m.rate2 = rate2;
    return m;
}

SysVolumeEvent volume(int subtype, int value, int rate1 = 0, int unMute = 0, int fadeType = 0)
{
    SysVolumeEvent v;
    memset(&v, 0, sizeof v);
    v.type = kSysVolumeEventType;
    v.subtype = subtype;
    v.value = value;
    v.rate1 = rate1;
    v.unMute = unMute;
    v.fadeType = fadeType;
    return v;
}
} // namespace

TEST_F(Describe, KeyWithMessageZeroAndNoMediaBitsShowsNone)
{
    KeyEvent k = key(0, 0, 0, 150, 0, 0);
    EXPECT_STREQ(makeKeyEventText(&k), "NONE\t ");
    details(true);
    EXPECT_STREQ(makeKeyEventText(&k), "NONE\t ");
}

TEST_F(Describe, KeystrokeWithRateMinusOneShowsNoRepeatAndNoWithRepeat)
{
    KeyEvent k = key(0x0061, 0, -1, -1, -1, -1);
    EXPECT_STREQ(makeKeyEventRepeatText(&k), "No Repeat");
    EXPECT_STREQ(makeKeyEventText(&k), "Keystroke\ta");
    details(true);
    EXPECT_STREQ(makeKeyEventText(&k), "Keystroke\ta  No Repeat");
}

TEST_F(Describe, KeystrokeRepeatNames)
{
    KeyEvent k = key(0x0061, 0, 0, 0, 0, 0);
    EXPECT_STREQ(makeKeyEventRepeatText(&k), "System Repeat");
    EXPECT_STREQ(makeKeyEventText(&k), "Keystroke\ta");
    k = key(0x0061, 0, 1000, 500, 1, 500);
    EXPECT_STREQ(makeKeyEventRepeatText(&k), "Slow Repeat");
    k = key(0x0061, 0, 500, 150, 10, 75);
    EXPECT_STREQ(makeKeyEventRepeatText(&k), "Accelerate Repeat");
    k = key(0x0061, 0, 500, 100, 1, 100);
    EXPECT_STREQ(makeKeyEventRepeatText(&k), "Fast Repeat");
    EXPECT_STREQ(makeKeyEventText(&k), "Keystroke\ta w/Repeat");
    k = key(0x0061, 0, 400, 100, 2, 90);
    EXPECT_STREQ(makeKeyEventRepeatText(&k), "Repeat 400-100-2-90");
    details(true);
    EXPECT_STREQ(makeKeyEventText(&k), "Keystroke\ta  Repeat 400-100-2-90");
}

TEST_F(Describe, EditedPresetTableIsWhatTheNamesFollow)
{
    keyRepeatDefaults[1][kRepeatDelay] = 900;
    KeyEvent k = key(0x0061, 0, 900, 500, 1, 500);
    EXPECT_STREQ(makeKeyEventRepeatText(&k), "Slow Repeat");
}

TEST_F(Describe, ModifiersAreShownInTheirOrder)
{
    KeyEvent k = key(0x0061, 0x1b00, -1, -1, -1, -1);
    EXPECT_STREQ(makeKeyEventText(&k), "Keystroke\tcmd-shift-opt-ctrl-a");
    k = key(0x0061, 0x1000, -1, -1, -1, -1);
    EXPECT_STREQ(makeKeyEventText(&k), "Keystroke\tctrl-a");
}

TEST_F(Describe, MediaKeys)
{
    const char *names[] = { "Media Key\tVolume Up", "Media Key\tVolume Down", "Media Key\tVolume Mute",
        "Media Key\tEject", "Media Key\t" };
    for (int media = 1; media <= 5; media++) {
        KeyEvent k = key(0, (uint16_t)media, -1, -1, -1, -1);
        EXPECT_STREQ(makeKeyEventText(&k), names[media - 1]);
    }
    KeyEvent k = key(0, 1, 500, 100, 1, 100);
    EXPECT_STREQ(makeKeyEventText(&k), "Media Key\tVolume Up w/Repeat");
    details(true);
    EXPECT_STREQ(makeKeyEventText(&k), "Media Key\tVolume Up  Fast Repeat");
}

TEST_F(Describe, MouseWithSlowNumbersButOtherMultipliersShowsTheNumberedForm)
{
    MouseEvent m = mouse(0x7701, 250, 50, 1, 50);
    EXPECT_STREQ(makeMouseEventRepeatText(&m), "Repeat 250-50-1-50");
    m = mouse(0x5501, 250, 50, 1, 50);
    EXPECT_STREQ(makeMouseEventRepeatText(&m), "Slow Repeat");
    m = mouse(0x7501, 250, 50, 20, 30);
    EXPECT_STREQ(makeMouseEventRepeatText(&m), "Accelerate Repeat");
    m = mouse(0x7701, 250, 30, 1, 30);
    EXPECT_STREQ(makeMouseEventRepeatText(&m), "Fast Repeat");
    m = mouse(0x7701, 0, 0, 0, 0);
    EXPECT_STREQ(makeMouseEventRepeatText(&m), "No Repeat");
}

TEST_F(Describe, MouseKinds)
{
    const char *kinds[] = { "Unknown", "UP", "DOWN", "LEFT", "RIGHT", "Left-Click", "Right-Click", "Left-Double Click",
        "Right-Double Click", "Unknown" };
    for (uint32_t kind = 0; kind <= 9; kind++) {
        MouseEvent m = mouse(0x1100 | kind, 0, 0, 0, 0);
        EXPECT_EQ(std::string(makeMouseEventText(&m)), std::string("Mouse\t") + kinds[kind]);
    }
    MouseEvent m = mouse(0x5501, 250, 50, 1, 50);
    EXPECT_STREQ(makeMouseEventText(&m), "Mouse\tUP w/Repeat");
    details(true);
    EXPECT_STREQ(makeMouseEventText(&m), "Mouse\tUP  Slow Repeat");
}

TEST_F(Describe, ScriptPathDiskScriptsGoShowsGo)
{
    ActionRecord *a = newAction(kAppleEventType);
    snprintf(a->theEvent.script.path, 1024, "Disk:Scripts:Go");
    EXPECT_STREQ(makeButtonText(a), "Script\tGo");
    snprintf(a->theEvent.script.path, 1024, "/home/u/go.lua");
    EXPECT_STREQ(makeAEEventText(&a->theEvent.script), "Script\tgo.lua");
    free(a);
}

TEST_F(Describe, ButtonTextByType)
{
    ActionRecord *a = newAction(kLaunchEventType);
    snprintf(a->theEvent.launch.path, 1024, "/usr/share/applications/vlc.desktop");
    EXPECT_STREQ(makeButtonText(a), "Launch\tvlc.desktop");
    a->disabled = 1;
    EXPECT_STREQ(makeButtonText(a), "DISABLED\t");
    a->disabled = 0;
    a->theEvent.common.type = kNoActionEventType;
    EXPECT_STREQ(makeButtonText(a), "NO ACTION\t");
    a->theEvent.common.type = kMapSwitchEventType;
    EXPECT_STREQ(makeButtonText(a), "Unknown");
    a->theEvent.common.type = kTextStringEventType;
    snprintf(a->theEvent.textString.text, 256, "a\\tb");
    EXPECT_STREQ(makeButtonText(a), "TEXT\ta\\tb");
    a->theEvent.common.type = kKeyEventType;
    a->theEvent.key.message = 0x240D;
    a->theEvent.key.modifiers = 0;
    a->theEvent.key.rate1 = -1;
    EXPECT_STREQ(makeButtonText(a), "Keystroke\treturn");
    a->theEvent.common.type = kMouseEventType;
    a->theEvent.mouse.message = 0x1105;
    a->theEvent.mouse.rate1 = 0;
    EXPECT_STREQ(makeButtonText(a), "Mouse\tLeft-Click");
    a->theEvent.common.type = kSysVolumeEventType;
    a->theEvent.sysVolume.subtype = kSysVolMute;
    a->theEvent.sysVolume.value = 2;
    EXPECT_STREQ(makeButtonText(a), "Volume\tMute Toggle");
    free(a);
}

TEST_F(Describe, LongTextsAreCutToTheBuffer)
{
    ActionRecord *a = newAction(kLaunchEventType);
    std::string longName(900, 'n');
    snprintf(a->theEvent.launch.path, 1024, "/x/%s", longName.c_str());
    EXPECT_EQ(strlen(makeButtonText(a)), 63u);
    KeyEvent k = key(0x0061, 0x1b00, -2000000000, -2000000000, -2000000000, -2000000000);
    details(true);
    EXPECT_EQ(strlen(makeKeyEventText(&k)), 63u);
    free(a);
}

TEST_F(Describe, VolumeChange)
{
    SysVolumeEvent v = volume(kSysVolChg, -255, 150, 1);
    v.delay = 500;
    v.reps = 10;
    v.rate2 = 75;
    EXPECT_STREQ(makeSysVolText(&v), "Volume\tChange -100 w/Repeat");
    details(true);
    EXPECT_STREQ(makeSysVolText(&v), "Volume\tChange -100  Accelerate Repeat  Un Mute");
    v = volume(kSysVolChg, 12, 0, 0);
    EXPECT_STREQ(makeSysVolText(&v), "Volume\tChange 5  No Repeat");
    details(false);
    EXPECT_STREQ(makeSysVolText(&v), "Volume\tChange 5");
    v = volume(kSysVolChg, 12, 7, 0);
    v.delay = 1;
    EXPECT_STREQ(makeSysVolRepeatText(&v), "Repeat 1-7-0-0");
}

TEST_F(Describe, VolumeSetMuteAndFade)
{
    SysVolumeEvent v = volume(kSysVolSet, 255, 0, 1);
    EXPECT_STREQ(makeSysVolText(&v), "Volume\tSet 100");
    details(true);
    EXPECT_STREQ(makeSysVolText(&v), "Volume\tSet 100  Un Mute");
    const char *mutes[] = { "Volume\tMute Off", "Volume\tMute On", "Volume\tMute Toggle" };
    for (int value = 0; value < 3; value++) {
        v = volume(kSysVolMute, value);
        EXPECT_STREQ(makeSysVolText(&v), mutes[value]);
    }
    const char *fades[] = { "Volume\tFade In", "Volume\tFade Out", "Volume\tFade Toggle" };
    for (int type = 0; type < 3; type++) {
        v = volume(kSysVolFade, 20, 0, 0, type);
        details(true);
        EXPECT_EQ(std::string(makeSysVolText(&v)), std::string(fades[type]) + " 20");
        details(false);
        EXPECT_STREQ(makeSysVolText(&v), fades[type]);
    }
}

TEST_F(Describe, ScriptRepeatNames)
{
    AppleEventEvent s;
    memset(&s, 0, sizeof s);
    EXPECT_STREQ(makeAEEventRepeatText(&s), "No Repeat");
    s.delay = 1000;
    s.rate1 = 500;
    s.reps = 1;
    s.rate2 = 500;
    EXPECT_STREQ(makeAEEventRepeatText(&s), "Slow Repeat");
    s.rate1 = -1;
    EXPECT_STREQ(makeAEEventRepeatText(&s), "Repeat 1000--1-1-500");
}

TEST_F(Describe, CharacterTextOfPrintableControlAndNamedKeys)
{
    KeyEvent k = key(0x0041, 0, 0, 0, 0, 0);
    EXPECT_STREQ(returnCharText(&k), "A");
    k = key(0x0001, 0, 0, 0, 0, 0);
    EXPECT_STREQ(returnCharText(&k), "A"); // control-A shown as its letter
    k = key(0x2E20, 0, 0, 0, 0, 0);
    EXPECT_STREQ(returnCharText(&k), "`"); // 32 + 64
    k = key(0x3120, 0, 0, 0, 0, 0);
    EXPECT_STREQ(returnCharText(&k), "space");
    k = key(0x2400, 0, 0, 0, 0, 0);
    EXPECT_STREQ(returnCharText(&k), ""); // key 36 is never a control letter
    k = key(0x9999, 0, 0, 0, 0, 0);
    EXPECT_STREQ(returnCharText(&k), "");
    struct {
        uint16_t code;
        const char *name;
    } table[] = { { 0x240D, "return" }, { 0x3009, "tab" }, { 0x3120, "space" }, { 0x3308, "delete" },
        { 0x3403, "enter" }, { 0x4C03, "enter" }, { 0x351B, "esc" }, { 0x471B, "clear" }, { 0x7205, "help" },
        { 0x7301, "home" }, { 0x7704, "end" }, { 0x740B, "PageUp" }, { 0x790C, "PageDn" }, { 0x757F, "del" },
        { 0x7B1C, "LeftArrow" }, { 0x7C1D, "RightArrow" }, { 0x7D1F, "DownArrow" }, { 0x7E1E, "UpArrow" },
        { 0x7A10, "F1" }, { 0x7810, "F2" }, { 0x6310, "F3" }, { 0x7610, "F4" }, { 0x6010, "F5" }, { 0x6110, "F6" },
        { 0x6210, "F7" }, { 0x6410, "F8" }, { 0x6510, "F9" }, { 0x6D10, "F10" }, { 0x6710, "F11" }, { 0x6F10, "F12" },
        { 0x6910, "F13" }, { 0x6B10, "F14" }, { 0x7110, "F15" } };
    for (const auto &entry : table) {
        k = key(0xABCD0000u | entry.code, 0, 0, 0, 0, 0);
        EXPECT_STREQ(returnCharText(&k), entry.name) << std::hex << entry.code;
    }
}
