// The mouse page: a pointer movement or a click chosen by radio, its repeat settings and the two
// rate multipliers kept in the action word, and the checks made on OK.
#include <QWidget>

#include "editor/editstate.h"
#include "mapping/describe.h"
#include "mapping/tokens.h"
#include "shell/diagnostics.h"

// The kind radios: item, reference, and the repeat row a click on it applies.
struct MouseKind {
    int item;
    QWidget **ref;
    int row;
};

static const MouseKind mouseKinds[9] = {
    { 0, nullptr, 0 },
    { 33, &rbUpMOHdl, 2 },
    { 35, &rbDownMOHdl, 2 },
    { 36, &rbLeftMOHdl, 2 },
    { 34, &rbRightMOHdl, 2 },
    { 39, &rbSingleLeftMOHdl, 0 },
    { 40, &rbSingleRightMOHdl, 0 },
    { 43, &rbDoubleLeftMOHdl, 0 },
    { 42, &rbDoubleRightMOHdl, 0 },
};

enum { kMultiplier1Item = 44, kMultiplier2Item = 45 };

void createEditDialogMouse(void)
{
    if (EDITbuildPage(1326) != 0)
        return;
    for (int kind = 1; kind <= 8; kind++)
        *mouseKinds[kind].ref = EDITitem(mouseKinds[kind].item);
    popRate1MultiplierHdl = EDITitem(kMultiplier1Item);
    popRate2MultiplierHdl = EDITitem(kMultiplier2Item);
    EDITfetchRepeatItems();
}

void doDisplayMouseActionType(int kind)
{
    for (int k = 1; k <= 8; k++)
        EDITsetValue(*mouseKinds[k].ref, k == kind ? 1 : 0);
}

void doDisplayMouseAction(void)
{
    const uint32_t word = theKeyEventMouse.message;
    const int mult1 = (int)((word >> 8) & 0xF);
    const int mult2 = (int)((word >> 12) & 0xF);
    doDisplayMouseActionType((int)(word & 0xFF));
    EDITsetValue(popRate1MultiplierHdl, mult1);
    EDITsetValue(popRate2MultiplierHdl, mult2);
    displayEditDataRepeat(theKeyEventMouse.delay, theKeyEventMouse.rate1, theKeyEventMouse.reps, theKeyEventMouse.rate2,
        mouseRepeatDefaults, mult1, mult2);
    showHideCustomRepeatMouse();
}

void doProcessPrevHitMouse(void)
{
    if (EDITtakeRepeatField(prevHitEdit, &theKeyEventMouse.delay, &theKeyEventMouse.reps, &theKeyEventMouse.rate1,
            &theKeyEventMouse.rate2)) {
        displayEditData();
        keyEventChanged = 1;
    }
}

void doItemHitEditMouse(int item)
{
    for (int kind = 1; kind <= 8; kind++)
        if (item == mouseKinds[kind].item) {
            // Choosing a kind always resets the repeat settings to the kind's row.
            theKeyEventMouse.message = (theKeyEventMouse.message & ~0xFFu) | (uint32_t)kind;
            setMouseRepeat(mouseKinds[kind].row);
            return;
        }
    if (item == kMultiplier1Item || item == kMultiplier2Item) {
        const int shift = item == kMultiplier1Item ? 8 : 12;
        const uint32_t value = (uint32_t)EDITvalue(EDITitem(item)) & 0xF;
        theKeyEventMouse.message = (theKeyEventMouse.message & ~(0xFu << shift)) | (value << shift);
        keyEventChanged = 1;
        return;
    }
    EDITrepeatItemHit(item);
}

int validateFieldsMouse(void)
{
    if (currentActionType != kPageMouse) {
        BUGfatal("validateFieldsMouse in wrong state (%d)!", currentActionType);
        return 0;
    }
    if ((theKeyEventMouse.message & 0xFF) == 0) {
        errormsg("%s", getstring(129, 47));
        return 0;
    }
    if (theKeyEventMouse.delay == 0)
        return 1;
    // The first-phase rules read the keystroke page's copy, as this check always has.
    return EDITcheckRepeat((uint32_t)theKeyEventMouse.rate1, (uint32_t)theKeyEventMouse.rate2,
        (uint32_t)theKeyEvent.rate1, (uint32_t)theKeyEvent.reps);
}
