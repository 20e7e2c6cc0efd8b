// The edit dialog: opening it for the selected button, filling and showing the page of the action's
// type, the item handler of the fixed top (OK, Cancel, the type popup, the disable check box) and
// the write-back of the edited action into the mapping model.
#include <QDialog>
#include <QWidget>
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "editor/editdialog.h"
#include "editor/editstate.h"
#include "editor/mainlink.h"
#include "mapperlink/mapperapi.h"
#include "mapping/tokens.h"
#include "platform/dialogs.h"
#include "shell/diagnostics.h"
#include "shell/prefs.h"

int32_t currentActionType; // page shown; 0 unknown
int16_t baseDlogItemCount; // items of the fixed top
int32_t prevHitEdit; // focus item after the last item hit
int32_t keyDisable; // the disabled flag being edited
int32_t fieldsDisabled; // the page is shown disabled
int32_t advancedRepeat; // advanced-repeat check box on
int32_t advancedState; // keystroke advanced view shown
int32_t acceptKeyStateEdit; // waiting for a key
int32_t sysVolSubType; // volume sub-page shown
int32_t baseSysVolItemCount; // items with the volume page appended
char saveCommand[32]; // the button's name
char buff[256]; // scratch text
char editTextBuff[256]; // scratch text of fields

int EDITfocusItem(void)
{
    QWidget *dialog = EDITdialog();
    QWidget *focus = dialog ? dialog->focusWidget() : nullptr;
    return focus ? DLGitemNumber(focus) : 0;
}

void selectEditDialog(void)
{
    QWidget *dialog = EDITdialog();
    if (!dialog)
        return;
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
}

int createEditDialog(int changed)
{
    if (editDlog) {
        selectEditDialog();
        return 0;
    }
    initializeData();
    keyEventChanged = changed;
    sysVolSubType = 0;
    QWidget *loaded = DLGload("DLOG", 132, nullptr);
    auto *dialog = qobject_cast<QDialog *>(loaded);
    if (!dialog) {
        delete loaded;
        return -1;
    }
    dialog->setModal(false);
    editDlog = dialog;
    if (theConfigPrefs.editLeft == 0) {
        theConfigPrefs.editLeft = 100;
        theConfigPrefs.editTop = 100;
    }
    dialog->move(theConfigPrefs.editLeft, theConfigPrefs.editTop);
    stApplNameHdl = EDITitem(kEditApplName);
    stButtonNameHdl = EDITitem(kEditButtonName);
    popupActionTypeHdl = EDITitem(kEditActionType);
    ckActionDisableHdl = EDITitem(kEditDisable);
    baseDlogItemCount = 0;
    for (QWidget *child : dialog->findChildren<QWidget *>())
        baseDlogItemCount = (int16_t)std::max<int>(baseDlogItemCount, DLGitemNumber(child));
    cleanUpItems();
    EDITconnectItems(dialog);
    // Whatever closes the window some other way (a window manager's reject) closes the editor too.
    QObject::connect(dialog, &QDialog::rejected, [dialog] {
        if (editDlog == dialog)
            closeEditDialog();
    });
    activateEditMenu(1);
    return 0;
}

void createEditDialogUnknown(void)
{
    cleanUpItems();
    EDITremovePage();
}

// Builds the page of `page` (a popup value); anything without a page keeps the fixed top only.
static void buildPageOf(int page)
{
    switch (page) {
    case kPageKeystroke:
        createEditDialogKeystroke();
        break;
    case kPageLaunch:
        createEditDialogLaunch();
        break;
    case kPageScript:
        createEditDialogScript();
        break;
    case kPageSysVolume:
        createEditSystemVolume();
        break;
    case kPageTextString:
        createEditTextString();
        break;
    case kPageMouse:
        createEditDialogMouse();
        break;
    default:
        createEditDialogUnknown();
        break;
    }
}

void stuffEditDialog(void)
{
    ActionRecord *action = currentButtonAction;
    if (!editDlog || !action)
        return;
    snprintf(saveCommand, sizeof saveCommand, "%s", action->theEvent.common.name);
    memset(&theKeyEvent, 0, std::min<size_t>(60, sizeof theKeyEvent));
    memset(&theAppleEventEvent, 0, std::min<size_t>(60, sizeof theAppleEventEvent));
    keyDisable = action->disabled;
    advancedRepeat = 0;
    // The disable check box is never shown; its handler stays for a later use.
    EDITshowItem(ckActionDisableHdl, false);
    const EventRecord &event = action->theEvent;
    switch (event.common.type) {
    case kKeyEventType:
        memcpy(&theKeyEvent, &event.key, sizeof theKeyEvent);
        advancedState = (theKeyEvent.modifiers & 0x0F) ? 1 : 0;
        currentActionType = kPageKeystroke;
        break;
    case kAppleEventType:
        memcpy(&theAppleEventEvent, &event.script, sizeof theAppleEventEvent);
        currentActionType = kPageScript;
        break;
    case kLaunchEventType:
        memcpy(&theLaunchEvent, &event.launch, sizeof theLaunchEvent);
        currentActionType = kPageLaunch;
        break;
    case kSysVolumeEventType:
        memcpy(&theSysVolumeEvent, &event.sysVolume, sizeof theSysVolumeEvent);
        currentActionType = kPageSysVolume;
        break;
    case kTextStringEventType:
        memcpy(&theTextStringEvent, &event.textString, sizeof theTextStringEvent);
        currentActionType = kPageTextString;
        break;
    case kNoActionEventType:
        currentActionType = kPageNoAction;
        break;
    case kMouseEventType:
        memcpy(&theKeyEventMouse, &event.mouse, sizeof theKeyEventMouse);
        currentActionType = kPageMouse;
        break;
    default:
        currentActionType = kPageUnknown;
        break;
    }
    buildPageOf(currentActionType);
    EDITsetValue(popupActionTypeHdl, currentActionType);
    displayEditData();
    figureOutAdvancedRepeat();
    selectEditDialog();
}

void setEditCustomText(int show)
{
    displayCustomTextEdit = (show || advancedRepeat) ? 1 : 0;
}

void disableEditFields(void)
{
    fieldsDisabled = 1;
    EDITsetEnabled(popupActionTypeHdl, false);
}

void enableEditFields(void)
{
    fieldsDisabled = 0;
    EDITsetEnabled(popupActionTypeHdl, true);
}

// The application entry's label and the button's name (with a note when the remote lacks it).
static void displayNames(void)
{
    const char *appl;
    if (!currentAppl || currentAppl->name[0] == '\0')
        appl = getstring(129, 2);
    else if (currentAppl == theGlobalAppl)
        appl = getstring(129, 35);
    else
        appl = currentAppl->name;
    EDITsetText(stApplNameHdl, appl);
    const char *name = currentButtonAction ? currentButtonAction->theEvent.common.name : saveCommand;
    char text[513];
    snprintf(text, 257, "%s", name);
    if (!isButtonOnRemote(name))
        snprintf(text + strlen(text), 257, "%s", getstring(129, 23));
    EDITsetText(stButtonNameHdl, text);
}

void displayEditData(void)
{
    if (!editDlog)
        return;
    displayNames();
    if (keyDisable) {
        clearEditData();
        EDITsetValue(ckActionDisableHdl, 1);
        disableEditFields();
        return;
    }
    enableEditFields();
    EDITsetValue(ckActionDisableHdl, 0);
    switch (currentActionType) {
    case kPageKeystroke:
        doDisplayKeystroke();
        break;
    case kPageLaunch:
        doDisplayLaunch();
        break;
    case kPageScript:
        doDisplayScript();
        break;
    case kPageSysVolume:
        doDisplaySysVolume();
        break;
    case kPageTextString:
        doDisplayTextString();
        break;
    case kPageMouse:
        doDisplayMouseAction();
        break;
    default:
        break;
    }
}

// Empties the four repeat fields and turns every repeat radio off.
static void clearRepeat(void)
{
    for (QWidget *field : { etDelayHdl, etRepsHdl, etRate1Hdl, etRate2Hdl })
        EDITsetText(field, "");
    for (QWidget *radio :
        { rbNoRepeatHdl, rbSlowRepeatHdl, rbAccelRepeatHdl, rbFastRepeatHdl, rbSystemRepeatHdl, rbCustomHdl })
        EDITsetValue(radio, 0);
}

void clearEditData(void)
{
    switch (currentActionType) {
    case kPageKeystroke:
        EDITsetText(etKeyHdl, "");
        EDITsetText(etHexKeyHdl, "");
        for (QWidget *box : { ckCommandHdl, ckShiftHdl, ckOptionHdl, ckControlHdl, ckVolumeUpHdl, ckVolumeDownHdl,
                 ckMuteHdl, ckEjectHdl })
            EDITsetValue(box, 0);
        clearRepeat();
        setEditCustomText(0);
        break;
    case kPageLaunch:
        EDITsetText(etLaunchNameHdl, "");
        break;
    case kPageScript:
        EDITsetValue(ckActionDisableHdl, 0);
        EDITsetText(etScriptnameHdl, "");
        clearRepeat();
        setEditCustomText(0);
        break;
    case kPageSysVolume:
        setEditCustomText(0);
        break;
    case kPageTextString:
        EDITsetText(etStringTSHdl, "");
        break;
    case kPageMouse:
        doDisplayMouseActionType(0);
        clearRepeat();
        setEditCustomText(0);
        break;
    default:
        break;
    }
}

void closeEditDialog(void)
{
    QWidget *dialog = EDITdialog();
    if (dialog) {
        EDITremovePage();
        cleanUpItems();
        stApplNameHdl = stButtonNameHdl = ckActionDisableHdl = popupActionTypeHdl = nullptr;
        editDlog = nullptr;
        dialog->hide();
        dialog->deleteLater();
    }
    prevHitEdit = 0;
    acceptKeyStateEdit = 0;
    keyEventChanged = 0;
    chgEtFieldEdit = 0;
    enableSummaryMenus();
    activateEditMenu(0);
}

void updateEditEntry(void)
{
    QWidget *dialog = EDITdialog();
    if (dialog && dialog->isActiveWindow())
        doItemHitEdit(0);
}

void updateEditWindowPositionConfiguration(void)
{
    QWidget *dialog = EDITdialog();
    if (!dialog)
        return;
    QPoint where = dialog->pos();
    if (theConfigPrefs.editTop != (int16_t)where.y() || theConfigPrefs.editLeft != (int16_t)where.x()) {
        theConfigPrefs.editTop = (int16_t)where.y();
        theConfigPrefs.editLeft = (int16_t)where.x();
        prefsChanged = 1;
    }
}

// Takes the text typed into the field that had the focus into the page's editing copy.
static void commitField(void)
{
    switch (currentActionType) {
    case kPageKeystroke:
        doProcessPrevHitKeystroke();
        break;
    case kPageLaunch:
        doProcessPrevHitLaunch();
        break;
    case kPageScript:
        doProcessPrevHitScript();
        break;
    case kPageSysVolume:
        doProcessPrevHitSysVol();
        break;
    case kPageTextString:
        doProcessPrevHitTextString();
        break;
    case kPageMouse:
        doProcessPrevHitMouse();
        break;
    default:
        break;
    }
}

// The disable check box: in the global entry the user confirms first.
static void toggleDisable(void)
{
    if (currentAppl && currentAppl == theGlobalAppl && !ynmessage(getstring(129, keyDisable ? 25 : 24))) {
        EDITsetValue(ckActionDisableHdl, keyDisable);
        return;
    }
    keyDisable ^= 1;
    displayEditData();
    keyEventChanged = 1;
}

// A new page chosen in the action-type popup; the other pages' copies keep their edits.
static void changeActionType(void)
{
    if (acceptKeyStateEdit && currentActionType == kPageKeystroke)
        finishAcceptKeyEdit(); // a capture does not outlive its page
    currentActionType = EDITvalue(popupActionTypeHdl);
    char *name = nullptr;
    switch (currentActionType) {
    case kPageKeystroke:
        name = theKeyEvent.name;
        break;
    case kPageLaunch:
        name = theLaunchEvent.name;
        break;
    case kPageScript:
        name = theAppleEventEvent.name;
        break;
    case kPageSysVolume:
        name = theSysVolumeEvent.name;
        break;
    case kPageTextString:
        name = theTextStringEvent.name;
        break;
    case kPageMouse:
        name = theKeyEventMouse.name;
        break;
    default:
        break;
    }
    if (name)
        memcpy(name, saveCommand, sizeof saveCommand);
    buildPageOf(currentActionType >= 1 && currentActionType <= 7 ? currentActionType : kPageUnknown);
    keyEventChanged = 1;
    displayEditData();
    figureOutAdvancedRepeat();
    selectEditDialog();
}

// Copies an editing record into the action and marks the mapping changed.
static void writeBack(ActionRecord *action, const void *record, size_t size, int32_t type)
{
    memcpy(&action->theEvent, record, size);
    action->theEvent.common.type = type;
    action->disabled = keyDisable;
    action->override = tentativeOverride;
    setFileChanged(1);
    keyEventChanged = 0;
}

// OK: 0 when validation keeps the dialog open, else 1 (the dialog is closed).
static int acceptEdit(void)
{
    ActionRecord *action = currentButtonAction;
    if (keyEventChanged && action) {
        switch (currentActionType) {
        case kPageKeystroke:
            if (!validateFields())
                return 0;
            writeBack(action, &theKeyEvent, sizeof theKeyEvent, kKeyEventType);
            break;
        case kPageLaunch:
            if (theLaunchEvent.path[0])
                writeBack(action, &theLaunchEvent, sizeof theLaunchEvent, kLaunchEventType);
            break;
        case kPageScript:
            if (theAppleEventEvent.path[0])
                writeBack(action, &theAppleEventEvent, sizeof theAppleEventEvent, kAppleEventType);
            break;
        case kPageSysVolume:
            if (sysVolSubType)
                writeBack(action, &theSysVolumeEvent, sizeof theSysVolumeEvent, kSysVolumeEventType);
            break;
        case kPageTextString:
            if (!validateTextString())
                return 0;
            if (theTextStringEvent.text[0])
                writeBack(action, &theTextStringEvent, sizeof theTextStringEvent, kTextStringEventType);
            break;
        case kPageNoAction:
            writeBack(action, &action->theEvent, 0, kNoActionEventType);
            break;
        case kPageMouse:
            if (!validateFieldsMouse())
                return 0;
            writeBack(action, &theKeyEventMouse, sizeof theKeyEventMouse, kMouseEventType);
            break;
        default:
            break;
        }
    }
    closeEditDialog();
    updateCurrentButton();
    return 1;
}

// Hands an item of the page to the page's handler.
static void pageItemHit(int item)
{
    switch (currentActionType) {
    case kPageKeystroke:
        doItemHitEditKeystroke(item);
        break;
    case kPageLaunch:
        doitemHitEditLaunch(item);
        break;
    case kPageScript:
        doitemHitEditScript(item);
        break;
    case kPageSysVolume:
        doitemHitSysVolume(item);
        break;
    case kPageTextString:
        doitemHitTextString(item);
        break;
    case kPageMouse:
        doItemHitEditMouse(item);
        break;
    default:
        break;
    }
}

int doItemHitEdit(int item)
{
    if (!editDlog)
        return 0;
    if (prevHitEdit != 0 && prevHitEdit != item && chgEtFieldEdit && currentButtonAction) {
        chgEtFieldEdit = 0; // cleared first: the commit may move the focus, which comes back here
        commitField();
    }
    switch (item) {
    case kEditCancel:
        closeEditDialog();
        updateCurrentButton();
        return 0;
    case kEditDisable:
        toggleDisable();
        break;
    case kEditActionType:
        changeActionType();
        break;
    case kEditOK:
        if (acceptEdit())
            return 0;
        break;
    default:
        pageItemHit(item);
        break;
    }
    prevHitEdit = editDlog ? EDITfocusItem() : 0;
    return prevHitEdit;
}

void EDITreset(void)
{
    if (editDlog)
        closeEditDialog();
    currentActionType = 0;
    baseDlogItemCount = 0;
    prevHitEdit = 0;
    keyDisable = 0;
    fieldsDisabled = 0;
    advancedRepeat = 0;
    advancedState = 0;
    acceptKeyStateEdit = 0;
    sysVolSubType = 0;
    baseSysVolItemCount = 0;
    memset(saveCommand, 0, sizeof saveCommand);
    EDITRECreset();
}
