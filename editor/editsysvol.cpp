// The system volume page: Set, Change, Mute or Fade chosen by radio, each with its own sub-page of
// items under the radios; sliders that snap to the values the file can hold, their read-outs, and
// the Up and Down arrows that bump the value by one displayed step.
#include <QAbstractSlider>
#include <QWidget>
#include <cstdio>

#include "editor/editstate.h"
#include "mapping/describe.h"
#include "mapping/volume.h"
#include "shell/diagnostics.h"

enum { kSliderItem = 17, kUnMuteItem = 20, kMuteOnItem = 17, kMuteOffItem = 18, kMuteToggleItem = 19 };
enum { kFadeInItem = 24, kFadeOutItem = 25, kFadeToggleItem = 26 };

void createEditSystemVolume(void)
{
    if (EDITbuildPage(1323) != 0)
        return;
    rbSetSVHdl = EDITitem(12);
    rbChangeSVHdl = EDITitem(13);
    rbMuteSVHdl = EDITitem(14);
    rbFadeSVHdl = EDITitem(15);
    baseSysVolItemCount = 16;
    sysVolSubType = 0;
}

void setSysVolRadio(int subType)
{
    if (subType < kSysVolSet || subType > kSysVolFade)
        return;
    QWidget *radios[4] = { rbSetSVHdl, rbChangeSVHdl, rbMuteSVHdl, rbFadeSVHdl };
    for (int i = 0; i < 4; i++)
        EDITsetValue(radios[i], i + 1 == subType ? 1 : 0);
}

void createNewSysVolPage(void)
{
    const int subType = theSysVolumeEvent.subtype;
    if (subType < kSysVolSet || subType > kSysVolFade)
        return;
    if (EDITbuildSubPage(13230 + subType) != 0)
        return;
    sysVolSubType = subType;
    switch (subType) {
    case kSysVolSet:
        sliderValueSV1Hdl = EDITitem(kSliderItem);
        ckUnMuteSV1Hdl = EDITitem(kUnMuteItem);
        etValueSV1Hdl = EDITitem(22);
        break;
    case kSysVolChg:
        sliderValueSV2Hdl = EDITitem(kSliderItem);
        ckUnMuteSV2Hdl = EDITitem(kUnMuteItem);
        etValueSV2Hdl = EDITitem(22);
        EDITfetchRepeatItems();
        break;
    case kSysVolMute:
        rbMuteOnSV3Hdl = EDITitem(kMuteOnItem);
        rbMuteOffSV3Hdl = EDITitem(kMuteOffItem);
        rbMuteToggleSV3Hdl = EDITitem(kMuteToggleItem);
        break;
    default:
        sliderValueSV4Hdl = EDITitem(kSliderItem);
        rbFadeInSV4Hdl = EDITitem(kFadeInItem);
        rbFadeOutSV4Hdl = EDITitem(kFadeOutItem);
        rbFadeToggleSV4Hdl = EDITitem(kFadeToggleItem);
        etValueSV4Hdl = EDITitem(28);
        break;
    }
    setSysVolRadio(subType);
}

static void showNumber(QWidget *field, int value)
{
    char text[16];
    snprintf(text, sizeof text, "%d", value);
    EDITsetText(field, text);
}

// One radio of a set of three on (by value 0, 1, 2 in the order given), the others off.
static void pickOfThree(QWidget *first, QWidget *second, QWidget *third, int which)
{
    EDITsetValue(first, which == 0);
    EDITsetValue(second, which == 1);
    EDITsetValue(third, which == 2);
}

void doDisplaySysVolume(void)
{
    SysVolumeEvent &vol = theSysVolumeEvent;
    if (vol.subtype != sysVolSubType)
        createNewSysVolPage();
    setSysVolRadio(sysVolSubType);
    switch (sysVolSubType) {
    case kSysVolSet:
        EDITsetValue(sliderValueSV1Hdl, convertSetSystemToSlider(vol.value));
        EDITsetValue(ckUnMuteSV1Hdl, vol.unMute);
        showNumber(etValueSV1Hdl, convertSetSystemToDisplay(vol.value));
        break;
    case kSysVolChg:
        EDITsetValue(sliderValueSV2Hdl, convertChgSystemToSlider(vol.value));
        EDITsetValue(ckUnMuteSV2Hdl, vol.unMute);
        showNumber(etValueSV2Hdl, convertChgSystemToDisplay(vol.value));
        displayEditDataRepeat(vol.delay, vol.rate1, vol.reps, vol.rate2, keyRepeatDefaults, 0, 0);
        showHideCustomRepeatSysVol();
        break;
    case kSysVolMute:
        // Mute on is 1, off 0, toggle 2.
        EDITsetValue(rbMuteOnSV3Hdl, vol.value == 1);
        EDITsetValue(rbMuteOffSV3Hdl, vol.value == 0);
        EDITsetValue(rbMuteToggleSV3Hdl, vol.value == 2);
        break;
    case kSysVolFade:
        EDITsetValue(sliderValueSV4Hdl, convertFromFadeValue(vol.value));
        showNumber(etValueSV4Hdl, vol.value);
        pickOfThree(rbFadeInSV4Hdl, rbFadeOutSV4Hdl, rbFadeToggleSV4Hdl, vol.fadeType);
        break;
    default:
        break;
    }
}

void sliderActionSV1(QWidget *slider)
{
    SysVolumeEvent &vol = theSysVolumeEvent;
    const int position = EDITvalue(slider);
    int32_t value;
    int32_t shown;
    QWidget *readout;
    if (slider == sliderValueSV1Hdl) {
        value = convertSetSliderToSystem(position);
        shown = convertSetSystemToDisplay(value);
        readout = etValueSV1Hdl;
    } else if (slider == sliderValueSV2Hdl) {
        value = convertChgSliderToSystem(position);
        shown = convertChgSystemToDisplay(value);
        readout = etValueSV2Hdl;
    } else if (slider == sliderValueSV4Hdl) {
        value = convertToFadeValue(position);
        shown = value;
        readout = etValueSV4Hdl;
    } else {
        return;
    }
    if (value != vol.value) {
        vol.value = value;
        showNumber(readout, shown);
    }
}

// The value a position of one of the page's sliders stands for (the position for another slider).
static int32_t valueAt(QWidget *slider, int position)
{
    if (slider == sliderValueSV1Hdl)
        return convertSetSliderToSystem(position);
    if (slider == sliderValueSV2Hdl)
        return convertChgSliderToSystem(position);
    if (slider == sliderValueSV4Hdl)
        return convertToFadeValue(position);
    return position;
}

// Where the knob shows a stored value.
static int knobAt(QWidget *slider, int32_t value)
{
    if (slider == sliderValueSV1Hdl)
        return convertSetSystemToSlider(value);
    if (slider == sliderValueSV2Hdl)
        return convertChgSystemToSlider(value);
    return convertFromFadeValue(value);
}

int sliderStepSysVol(QWidget *slider, int target)
{
    auto *bar = qobject_cast<QAbstractSlider *>(slider);
    if (!bar || (slider != sliderValueSV1Hdl && slider != sliderValueSV2Hdl && slider != sliderValueSV4Hdl))
        return target;
    const int from = bar->value();
    const int direction = target > from ? 1 : (target < from ? -1 : 0);
    if (direction == 0)
        return from;
    // Values grow with the position. The knob shows the stored value where its conversion puts it,
    // which may read back as a smaller value (the fade steps do): the step goes from the stored
    // value, never from the knob's place, to a value whose knob moves too (a Change step is one
    // shown percent). A long step (page, wheel) that already gets there is kept; a short one goes
    // on to the first position that does.
    const int32_t stored = theSysVolumeEvent.value;
    for (int position = target; position >= bar->minimum() && position <= bar->maximum(); position += direction) {
        int32_t value = valueAt(slider, position);
        if ((value - stored) * direction > 0 && (knobAt(slider, value) - from) * direction > 0)
            return position;
    }
    return from;
}

// The slider of the Set or Change sub-page let go: the value snaps to what the file can hold.
static void takeSlider(void)
{
    SysVolumeEvent &vol = theSysVolumeEvent;
    if (sysVolSubType == kSysVolSet) {
        vol.value = convertSetSliderToSystem(EDITvalue(sliderValueSV1Hdl));
        EDITsetValue(sliderValueSV1Hdl, convertSetSystemToSlider(vol.value));
        showNumber(etValueSV1Hdl, convertSetSystemToDisplay(vol.value));
    } else if (sysVolSubType == kSysVolChg) {
        vol.value = convertChgSliderToSystem(EDITvalue(sliderValueSV2Hdl));
        EDITsetValue(sliderValueSV2Hdl, convertChgSystemToSlider(vol.value));
        showNumber(etValueSV2Hdl, convertChgSystemToDisplay(vol.value));
    } else if (sysVolSubType == kSysVolFade) {
        vol.value = convertToFadeValue(EDITvalue(sliderValueSV4Hdl));
        EDITsetValue(sliderValueSV4Hdl, convertFromFadeValue(vol.value));
        showNumber(etValueSV4Hdl, vol.value);
    } else {
        return;
    }
    keyEventChanged = 1;
}

void doitemHitSysVolume(int item)
{
    SysVolumeEvent &vol = theSysVolumeEvent;
    if (item >= 12 && item <= 15) {
        // Set, Change, Mute (off) and Fade (value 1); repeat values and the rest are kept.
        static const int32_t startValue[4] = { 0, 0, 0, 1 };
        vol.subtype = item - 11;
        vol.value = startValue[item - 12];
        keyEventChanged = 1;
        displayEditData();
        return;
    }
    switch (sysVolSubType) {
    case kSysVolSet:
    case kSysVolChg:
        if (item == kSliderItem) {
            takeSlider();
        } else if (item == kUnMuteItem) {
            vol.unMute ^= 1;
            EDITsetValue(sysVolSubType == kSysVolSet ? ckUnMuteSV1Hdl : ckUnMuteSV2Hdl, vol.unMute);
            keyEventChanged = 1;
        } else if (sysVolSubType == kSysVolChg) {
            EDITrepeatItemHit(item);
        }
        break;
    case kSysVolMute:
        if (item >= kMuteOnItem && item <= kMuteToggleItem) {
            static const int32_t muteValue[3] = { 1, 0, 2 };
            vol.value = muteValue[item - kMuteOnItem];
            EDITsetValue(rbMuteOnSV3Hdl, item == kMuteOnItem);
            EDITsetValue(rbMuteOffSV3Hdl, item == kMuteOffItem);
            EDITsetValue(rbMuteToggleSV3Hdl, item == kMuteToggleItem);
            keyEventChanged = 1;
        }
        break;
    case kSysVolFade:
        if (item == kSliderItem) {
            takeSlider();
        } else if (item >= kFadeInItem && item <= kFadeToggleItem) {
            vol.fadeType = item - kFadeInItem;
            pickOfThree(rbFadeInSV4Hdl, rbFadeOutSV4Hdl, rbFadeToggleSV4Hdl, vol.fadeType);
            keyEventChanged = 1;
        }
        break;
    default:
        break;
    }
}

void doProcessPrevHitSysVol(void)
{
    if (sysVolSubType != kSysVolChg)
        return;
    SysVolumeEvent &vol = theSysVolumeEvent;
    if (EDITtakeRepeatField(prevHitEdit, &vol.delay, &vol.reps, &vol.rate1, &vol.rate2)) {
        displayEditData();
        keyEventChanged = 1;
    }
}

// The conversions and items of the Set and Change sub-pages, for bumping.
struct BumpScale {
    int32_t (*sliderToSystem)(int32_t);
    int32_t (*systemToSlider)(int32_t);
    int32_t (*systemToDisplay)(int32_t);
    int32_t (*displayToSystem)(int32_t);
    int32_t lowest;
    const char *trace;
};

static const BumpScale setScale = { convertSetSliderToSystem, convertSetSystemToSlider, convertSetSystemToDisplay,
    convertSetDisplayToSystem, 0, "bump kSysVolTypeSet oldSys %d disp %d sys %d slider %d" };
static const BumpScale changeScale = { convertChgSliderToSystem, convertChgSystemToSlider, convertChgSystemToDisplay,
    convertChgDisplayToSystem, -100, "bump kSysVolTypeChange oldSys %d disp %d sys %d slider %d" };

void doBumpSysVolume(int step)
{
    if (currentActionType != kPageSysVolume) {
        errormsg("bad doBumpSysVolume");
        return;
    }
    const bool set = sysVolSubType == kSysVolSet;
    if (!set && sysVolSubType != kSysVolChg)
        return;
    const BumpScale &scale = set ? setScale : changeScale;
    QWidget *slider = set ? sliderValueSV1Hdl : sliderValueSV2Hdl;
    SysVolumeEvent &vol = theSysVolumeEvent;
    int32_t display = scale.systemToDisplay(scale.sliderToSystem(EDITvalue(slider))) + step;
    if (display < scale.lowest || display > 100)
        return;
    int32_t old = vol.value;
    vol.value = scale.displayToSystem(display);
    int32_t position = scale.systemToSlider(vol.value);
    zprintf(scale.trace, old, display, vol.value, position);
    EDITsetValue(slider, position);
    showNumber(set ? etValueSV1Hdl : etValueSV2Hdl, scale.systemToDisplay(vol.value));
    keyEventChanged = 1;
}
