// The repeat box shared by the keystroke, script, volume Change and mouse pages: preset, no-repeat,
// system and custom radios, the advanced check box, the custom fields shown and hidden as one, the
// mouse page's multipliers, and the repeat rules checked on OK.
#include <QWidget>
#include <cstdio>
#include <string>

#include "editor/editstate.h"
#include "mapping/describe.h"
#include "mapping/tokens.h"
#include "shell/diagnostics.h"

// Item numbers of a page's repeat box.
struct RepeatItems {
    int frame, noRepeat, slow, accel, fast, system, custom, advanced;
    int delay, reps, rate1, rate2; // the fields; delay is the group's base item b
};

static const RepeatItems keystrokeRepeat = { 20, 21, 22, 23, 24, 41, 34, 40, 26, 28, 30, 32 };
static const RepeatItems scriptRepeat = { 14, 15, 16, 17, 18, 0, 28, 34, 20, 22, 24, 26 };
static const RepeatItems volumeRepeat = { 23, 24, 25, 26, 27, 0, 37, 42, 29, 31, 33, 35 };
static const RepeatItems mouseRepeat = { 11, 12, 13, 14, 15, 0, 25, 30, 17, 19, 21, 23 };

// The four repeat values of an editing record.
struct RepeatValues {
    int32_t *delay, *rate1, *reps, *rate2;
};

// The repeat box of the page shown, or null when it has none.
static const RepeatItems *currentRepeatItems(void)
{
    switch (currentActionType) {
    case kPageKeystroke:
        return &keystrokeRepeat;
    case kPageScript:
        return &scriptRepeat;
    case kPageSysVolume:
        return sysVolSubType == kSysVolChg ? &volumeRepeat : nullptr;
    case kPageMouse:
        return &mouseRepeat;
    default:
        return nullptr;
    }
}

template <typename Record> static RepeatValues valuesOf(Record &record)
{
    return { &record.delay, &record.rate1, &record.reps, &record.rate2 };
}

static bool currentRepeatValues(RepeatValues *values)
{
    switch (currentActionType) {
    case kPageKeystroke:
        *values = valuesOf(theKeyEvent);
        return true;
    case kPageScript:
        *values = valuesOf(theAppleEventEvent);
        return true;
    case kPageSysVolume:
        *values = valuesOf(theSysVolumeEvent);
        return sysVolSubType == kSysVolChg;
    case kPageMouse:
        *values = valuesOf(theKeyEventMouse);
        return true;
    default:
        return false;
    }
}

void EDITfetchRepeatItems(void)
{
    const RepeatItems *items = currentActionType == kPageSysVolume ? &volumeRepeat : currentRepeatItems();
    if (!items)
        return;
    etDelayHdl = EDITitem(items->delay);
    etRepsHdl = EDITitem(items->reps);
    etRate1Hdl = EDITitem(items->rate1);
    etRate2Hdl = EDITitem(items->rate2);
    rbNoRepeatHdl = EDITitem(items->noRepeat);
    rbSlowRepeatHdl = EDITitem(items->slow);
    rbAccelRepeatHdl = EDITitem(items->accel);
    rbFastRepeatHdl = EDITitem(items->fast);
    rbSystemRepeatHdl = items->system ? EDITitem(items->system) : kStaleItem;
    rbCustomHdl = EDITitem(items->custom);
    ckAdvRepeatHdl = EDITitem(items->advanced);
}

// Turns on one repeat radio (or none) and every other one off; radios the page lacks are skipped.
static void pickRepeatRadio(QWidget *on)
{
    for (QWidget *radio :
        { rbNoRepeatHdl, rbSlowRepeatHdl, rbAccelRepeatHdl, rbFastRepeatHdl, rbSystemRepeatHdl, rbCustomHdl })
        EDITsetValue(radio, radio == on ? 1 : 0);
}

void displayEditDataRepeat(
    int32_t delay, int32_t rate1, int32_t reps, int32_t rate2, int32_t presets[4][6], int32_t mult1, int32_t mult2)
{
    QWidget *fields[4] = { etDelayHdl, etRate1Hdl, etRepsHdl, etRate2Hdl };
    const int32_t values[4] = { delay, rate1, reps, rate2 };
    for (int i = 0; i < 4; i++) {
        char text[16] = "";
        if (delay != 0 && (uint32_t)delay != 0xFFFFFFFFu)
            snprintf(text, sizeof text, "%d", values[i]);
        EDITsetText(fields[i], text);
    }
    if ((uint32_t)rate1 == 0xFFFFFFFFu) {
        pickRepeatRadio(rbNoRepeatHdl);
        setEditCustomText(0);
    } else if (rate1 != 0) {
        QWidget *presetRadios[4] = { nullptr, rbSlowRepeatHdl, rbAccelRepeatHdl, rbFastRepeatHdl };
        for (int row = 1; row <= 3; row++) {
            const int32_t *p = presets[row];
            if (delay == p[kRepeatDelay] && rate1 == p[kRepeatRate1] && reps == p[kRepeatReps]
                && rate2 == p[kRepeatRate2] && mult1 == p[kRepeatRate1Multiplier]
                && mult2 == p[kRepeatRate2Multiplier]) {
                pickRepeatRadio(presetRadios[row]);
                setEditCustomText(0);
                return;
            }
        }
        pickRepeatRadio(rbCustomHdl);
        setEditCustomText(1);
    } else {
        pickRepeatRadio(rbSystemRepeatHdl);
        setEditCustomText(0);
    }
}

// Shows or hides a page's custom group: the fields with their labels and units.
static void showHideCustomGroup(const RepeatItems &items, bool mouse)
{
    const bool show = displayCustomTextEdit != 0;
    const int b = items.delay;
    for (int item : { b, b + 2, b + 4, b + 6, b - 1, b + 9, b + 10, b + 11, b + 12, b + 1, b + 3, b + 5, b + 7 })
        EDITshowItemNumber(item, show);
    if (mouse)
        for (int item : { 44, 45, 46 })
            EDITshowItemNumber(item, show);
}

void showHideCustomRepeatKeystroke(void)
{
    showHideCustomGroup(keystrokeRepeat, false);
}

void showHideCustomRepeatScript(void)
{
    showHideCustomGroup(scriptRepeat, false);
}

void showHideCustomRepeatSysVol(void)
{
    showHideCustomGroup(volumeRepeat, false);
}

void showHideCustomRepeatMouse(void)
{
    showHideCustomGroup(mouseRepeat, true);
}

static void showHideCurrentGroup(void)
{
    switch (currentActionType) {
    case kPageKeystroke:
        showHideCustomRepeatKeystroke();
        break;
    case kPageScript:
        showHideCustomRepeatScript();
        break;
    case kPageSysVolume:
        if (sysVolSubType == kSysVolChg)
            showHideCustomRepeatSysVol();
        break;
    case kPageMouse:
        showHideCustomRepeatMouse();
        break;
    default:
        break;
    }
}

void figureOutAdvancedRepeat(void)
{
    bool hasRepeat = currentActionType == kPageKeystroke || currentActionType == kPageScript
        || currentActionType == kPageMouse
        || (currentActionType == kPageSysVolume && theSysVolumeEvent.subtype == kSysVolChg);
    if (!hasRepeat)
        return;
    advancedRepeat = displayCustomTextEdit;
    EDITsetValue(ckAdvRepeatHdl, advancedRepeat);
}

void setMouseRepeat(int row)
{
    const int32_t *p = mouseRepeatDefaults[row];
    theKeyEventMouse.delay = p[kRepeatDelay];
    theKeyEventMouse.rate1 = p[kRepeatRate1];
    theKeyEventMouse.reps = p[kRepeatReps];
    theKeyEventMouse.rate2 = p[kRepeatRate2];
    theKeyEventMouse.message &= ~0xFF00u;
    theKeyEventMouse.message |= ((uint32_t)p[kRepeatRate1Multiplier] & 0xF) << 8;
    theKeyEventMouse.message |= ((uint32_t)p[kRepeatRate2Multiplier] & 0xF) << 12;
    displayEditData();
    showHideCustomRepeatMouse();
    keyEventChanged = 1;
}

// A preset row, no repeat or system repeat stored into the page's record.
static void storeRepeat(const RepeatValues &values, int32_t delay, int32_t rate1, int32_t reps, int32_t rate2)
{
    *values.delay = delay;
    *values.rate1 = rate1;
    *values.reps = reps;
    *values.rate2 = rate2;
    displayEditData();
    showHideCurrentGroup();
    keyEventChanged = 1;
}

int EDITrepeatItemHit(int item)
{
    const RepeatItems *items = currentRepeatItems();
    RepeatValues values;
    if (!items || !currentRepeatValues(&values) || item == 0)
        return 0;
    const bool mouse = currentActionType == kPageMouse;
    int row = item == items->slow ? 1 : item == items->accel ? 2 : item == items->fast ? 3 : 0;
    if (item == items->noRepeat) {
        // Kept as the pages always stored it: keystrokes -1s, script and volume zeros, mouse row 0.
        if (mouse)
            setMouseRepeat(0);
        else if (currentActionType == kPageKeystroke)
            storeRepeat(values, -1, -1, -1, -1);
        else
            storeRepeat(values, 0, 0, 0, 0);
    } else if (row != 0) {
        if (mouse) {
            setMouseRepeat(row);
        } else {
            const int32_t *p = keyRepeatDefaults[row];
            storeRepeat(values, p[kRepeatDelay], p[kRepeatRate1], p[kRepeatReps], p[kRepeatRate2]);
        }
    } else if (items->system && item == items->system) {
        storeRepeat(values, 0, 0, 0, 0);
    } else if (item == items->custom) {
        displayCustomTextEdit = 1;
        if (currentActionType == kPageKeystroke) {
            advancedRepeat = 1;
            EDITsetValue(ckAdvRepeatHdl, 1);
        }
        pickRepeatRadio(rbCustomHdl);
        showHideCurrentGroup();
    } else if (item == items->advanced) {
        advancedRepeat ^= 1;
        EDITsetValue(ckAdvRepeatHdl, advancedRepeat);
        displayCustomTextEdit = advancedRepeat;
        showHideCurrentGroup();
    } else {
        return 0;
    }
    return 1;
}

int EDITtakeRepeatField(int item, int32_t *delay, int32_t *reps, int32_t *rate1, int32_t *rate2)
{
    const RepeatItems *items = currentRepeatItems();
    if (!items || item == 0)
        return 0;
    int32_t *target = item == items->delay ? delay
        : item == items->reps              ? reps
        : item == items->rate1             ? rate1
        : item == items->rate2             ? rate2
                                           : nullptr;
    if (!target)
        return 0;
    std::string text = EDITtext(EDITitem(item));
    int value;
    if (sscanf(text.c_str(), "%d", &value) == 1)
        *target = value;
    return 1;
}

int EDITcheckRepeat(uint32_t rate1, uint32_t rate2, uint32_t ruleRate1, uint32_t ruleReps)
{
    const uint32_t firstPhase = rate1 * ruleReps;
    int message = 0;
    if (rate1 == 0)
        message = 15;
    else if (firstPhase > 999 && ruleRate1 < 16)
        message = 16;
    else if (firstPhase <= 999 && ruleReps > 60)
        message = 17;
    else if (rate2 < 16)
        message = 18;
    if (message == 0)
        return 1;
    errormsg("%s", getstring(129, message));
    return 0;
}
