// The keystroke page: the key recorded by pressing it, its modifiers or a media key, the advanced
// view with the hexadecimal code, and the checks made on OK.
#include <QFrame>
#include <QKeyEvent>
#include <QVariant>
#include <QWidget>
#include <cstdio>
#include <string>

#include "editor/editstate.h"
#include "editor/mainlink.h"
#include "mapping/describe.h"
#include "mapping/tokens.h"
#include "platform/dialogs.h"
#include "platform/keys.h"
#include "shell/diagnostics.h"

static const char *const mediaNames[5] = { "", "Volume Up", "Volume Down", "Volume Mute", "Eject" };

// The modifier check boxes with their flags, in the order of items 15 to 18.
struct ModifierBox {
    int item;
    QWidget **ref;
    uint16_t flag;
};

static const ModifierBox modifierBoxes[] = { { 15, &ckCommandHdl, kKeyCommandFlag }, { 16, &ckShiftHdl, kKeyShiftFlag },
    { 17, &ckControlHdl, kKeyControlFlag }, { 18, &ckOptionHdl, kKeyOptionFlag } };

static QWidget **mediaBox(int kind)
{
    static QWidget **boxes[5] = { nullptr, &ckVolumeUpHdl, &ckVolumeDownHdl, &ckMuteHdl, &ckEjectHdl };
    return kind >= 1 && kind <= 4 ? boxes[kind] : nullptr;
}

void createEditDialogKeystroke(void)
{
    if (EDITbuildPage(1321) != 0)
        return;
    etKeyHdl = EDITitem(12);
    etHexKeyHdl = EDITitem(14);
    for (const ModifierBox &box : modifierBoxes)
        *box.ref = EDITitem(box.item);
    btAcceptKeyHdl = EDITitem(19);
    ckAdvancedHdl = EDITitem(39);
    for (int kind = 1; kind <= 4; kind++)
        *mediaBox(kind) = EDITitem(41 + kind);
    keyFrameHdl = EDITdialog()->findChild<QWidget *>("keyFrame");
    EDITfetchRepeatItems();
}

void setKeystrokeAdvanced(void)
{
    for (int item : { 13, 14, 15, 16, 17, 18, 42, 43, 44, 45 })
        EDITshowItemNumber(item, advancedState != 0);
}

void doDisplayKeystroke(void)
{
    displayEditDataRepeat(
        theKeyEvent.delay, theKeyEvent.rate1, theKeyEvent.reps, theKeyEvent.rate2, keyRepeatDefaults, 0, 0);
    showHideCustomRepeatKeystroke();
    EDITsetValue(ckAdvancedHdl, advancedState);
    setKeystrokeAdvanced();
    for (int kind = 1; kind <= 4; kind++)
        EDITsetValue(*mediaBox(kind), 0);
    const unsigned media = theKeyEvent.modifiers & kKeyMediaMask;
    if (media != 0) {
        for (const ModifierBox &box : modifierBoxes)
            EDITsetValue(*box.ref, 0);
        if (QWidget **box = mediaBox((int)media))
            EDITsetValue(*box, 1);
        EDITsetText(etHexKeyHdl, media <= 4 ? mediaNames[media] : "");
        return;
    }
    std::string text;
    if (theKeyEvent.modifiers & kKeyCommandFlag)
        text += "cmd-";
    if (theKeyEvent.modifiers & kKeyShiftFlag)
        text += "shift-";
    if (theKeyEvent.modifiers & kKeyOptionFlag)
        text += "opt-";
    if (theKeyEvent.modifiers & kKeyControlFlag)
        text += "ctrl-";
    text += returnCharText(&theKeyEvent);
    EDITsetText(etKeyHdl, text.c_str());
    snprintf(editTextBuff, sizeof editTextBuff, "%04x", theKeyEvent.message & 0xFFFF);
    EDITsetText(etHexKeyHdl, editTextBuff);
    for (const ModifierBox &box : modifierBoxes)
        EDITsetValue(*box.ref, (theKeyEvent.modifiers & box.flag) ? 1 : 0);
}

// The frame drawn around the key field while a key is awaited.
static void frameKeyField(bool on)
{
    if (!keyFrameHdl)
        return;
    keyFrameHdl->setProperty("capturing", on);
    keyFrameHdl->setStyleSheet(on ? "#keyFrame { border: 2px solid palette(highlight); border-radius: 4px; }"
                                  : "#keyFrame { border: 2px solid transparent; border-radius: 4px; }");
}

static void startAcceptKeyEdit(void)
{
    frameKeyField(true);
    acceptKeyStateEdit = 1;
    EDITsetText(btAcceptKeyHdl, getstring(129, 11));
}

void finishAcceptKeyEdit(void)
{
    if (currentActionType != kPageKeystroke) {
        acceptKeyStateEdit = 0; // said once; the next key is not taken again
        VQXALERTprintfFATAL("Fatal error: finishAcceptKeyEdit in wrong state (%d)!", currentActionType);
        return;
    }
    frameKeyField(false);
    EDITsetText(btAcceptKeyHdl, getstring(129, 10));
    acceptKeyStateEdit = 0;
}

int EDITcaptureKey(QKeyEvent *event)
{
    std::string text = DLGbytes(event->text());
    // Caps Lock is known only from the keyboard state the window system sends: its lock bit (0x2 in
    // the X and xkb modifier masks).
    int capsLock = (event->nativeModifiers() & 0x2) != 0;
    KEYcapture captured;
    if (!KEYtranslate(event->key(), event->modifiers(), text.c_str(), event->nativeScanCode(), capsLock, &captured))
        return 0;
    theKeyEvent.message = captured.message;
    theKeyEvent.modifiers = captured.modifiers;
    if (captured.modifiers & kKeyMediaMask)
        advancedState = 1; // a media key is shown by its check box and name
    displayEditData();
    keyEventChanged = 1;
    finishAcceptKeyEdit();
    return 1;
}

// A media key check box (kind 1 to 4).
static void mediaKeyHit(int kind)
{
    keyEventChanged = 1;
    if (theKeyEvent.modifiers == kind) {
        theKeyEvent.modifiers = 0;
        EDITsetValue(*mediaBox(kind), 0);
        EDITsetText(etHexKeyHdl, "");
    } else {
        EDITsetText(etHexKeyHdl, mediaNames[kind]);
        for (int other = 1; other <= 4; other++)
            EDITsetValue(*mediaBox(other), other == kind ? 1 : 0);
        theKeyEvent.modifiers = (uint16_t)kind;
        theKeyEvent.message = 1;
        if (kind == kMediaVolumeUp || kind == kMediaVolumeDown) {
            const int32_t *fast = keyRepeatDefaults[3];
            theKeyEvent.delay = fast[kRepeatDelay];
            theKeyEvent.reps = fast[kRepeatReps];
            theKeyEvent.rate1 = fast[kRepeatRate1];
            theKeyEvent.rate2 = fast[kRepeatRate2];
        } else {
            theKeyEvent.delay = theKeyEvent.rate1 = theKeyEvent.reps = theKeyEvent.rate2 = -1;
        }
    }
    for (const ModifierBox &box : modifierBoxes)
        EDITsetValue(*box.ref, 0);
}

void doItemHitEditKeystroke(int item)
{
    for (const ModifierBox &box : modifierBoxes)
        if (item == box.item) {
            theKeyEvent.modifiers ^= box.flag;
            keyEventChanged = 1;
            displayEditData();
            return;
        }
    if (item == 19) {
        if (acceptKeyStateEdit)
            finishAcceptKeyEdit();
        else if (currentButtonAction)
            startAcceptKeyEdit();
    } else if (item == 39) {
        advancedState ^= 1;
        displayEditData();
    } else if (item >= 42 && item <= 45) {
        mediaKeyHit(item - 41);
    } else {
        EDITrepeatItemHit(item);
    }
}

void doProcessPrevHitKeystroke(void)
{
    switch (prevHitEdit) {
    case 12: {
        std::string text = EDITtext(etKeyHdl);
        theKeyEvent.message = (theKeyEvent.message & ~0xFFu) | (uint8_t)(text.empty() ? 0 : text[0]);
        keyEventChanged = 1;
        break;
    }
    case 14: {
        std::string text = EDITtext(etHexKeyHdl);
        unsigned value;
        if (sscanf(text.c_str(), "%x", &value) == 1)
            theKeyEvent.message = (theKeyEvent.message & 0xFFFF0000u) | (value % 0x10000u);
        keyEventChanged = 1;
        displayEditData();
        break;
    }
    default:
        if (EDITtakeRepeatField(
                prevHitEdit, &theKeyEvent.delay, &theKeyEvent.reps, &theKeyEvent.rate1, &theKeyEvent.rate2)) {
            keyEventChanged = 1;
            displayEditData();
        }
        break;
    }
}

int validateFields(void)
{
    if (currentActionType != kPageKeystroke) {
        VQXALERTprintfFATAL("Fatal error: validateFields in wrong state (%d)!", currentActionType);
        return 0;
    }
    if (theKeyEvent.modifiers & kKeyMediaMask)
        return 1;
    if ((theKeyEvent.message & 0xFF) == 0) {
        errormsg("%s", getstring(129, 19));
        return 0;
    }
    if (theKeyEvent.delay != 0 && (uint32_t)theKeyEvent.delay != 0xFFFFFFFFu)
        return EDITcheckRepeat((uint32_t)theKeyEvent.rate1, (uint32_t)theKeyEvent.rate2, (uint32_t)theKeyEvent.rate1,
            (uint32_t)theKeyEvent.reps);
    return 1;
}
