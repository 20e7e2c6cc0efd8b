// The action editor's module state shared by its pages: the dialog's flags, the item references of
// the fixed top and of the page shown, the item helpers, and each page's entry points.
#ifndef VQX_EDITOR_EDITSTATE_H
#define VQX_EDITOR_EDITSTATE_H

#include <cstdint>
#include <string>

#include "editor/editrecords.h"
#include "mapping/model.h"

class QObject;
class QWidget;
class QKeyEvent;

// The value cleanUpItems puts into every shared item reference: never a live control.
#define kStaleItem ((QWidget *)(uintptr_t)0x98765432u)

// Pages: the action-type popup's item numbers.
enum {
    kPageUnknown = 0,
    kPageKeystroke = 1,
    kPageLaunch = 2,
    kPageScript = 3,
    kPageSysVolume = 4,
    kPageTextString = 5,
    kPageNoAction = 6,
    kPageMouse = 7
};

// Items of the fixed top of dialog 132.
enum { kEditOK = 1, kEditCancel = 2, kEditApplName = 5, kEditButtonName = 6, kEditDisable = 8, kEditActionType = 9 };

extern int32_t currentActionType; // page shown (popup value); 0 unknown
extern int16_t baseDlogItemCount; // items of the fixed top
extern int32_t prevHitEdit; // keyboard-focus item after the last item hit
extern int32_t keyDisable; // the action's disabled flag as edited
extern int32_t fieldsDisabled; // the page is shown disabled
extern int32_t advancedRepeat; // the advanced-repeat check box is on
extern int32_t advancedState; // the keystroke page's advanced view is shown
extern int32_t acceptKeyStateEdit; // waiting for a key to capture
extern int32_t sysVolSubType; // volume sub-page shown; 0 none
extern int32_t baseSysVolItemCount; // items once the volume page is appended
extern char saveCommand[32]; // the button's command name
extern char buff[256]; // scratch text
extern char editTextBuff[256]; // scratch text of fields

// Fixed top.
extern QWidget *stApplNameHdl, *stButtonNameHdl, *ckActionDisableHdl, *popupActionTypeHdl;
// Shared page items, reset to kStaleItem by cleanUpItems.
extern QWidget *etDelayHdl, *etRate1Hdl, *etRepsHdl, *etRate2Hdl;
extern QWidget *rbCustomHdl, *rbNoRepeatHdl, *rbSystemRepeatHdl, *rbSlowRepeatHdl, *rbAccelRepeatHdl, *rbFastRepeatHdl;
extern QWidget *ckAdvRepeatHdl, *etScriptnameHdl;
extern QWidget *etKeyHdl, *etHexKeyHdl, *ckAdvancedHdl, *ckCommandHdl, *ckShiftHdl, *ckOptionHdl, *ckControlHdl;
extern QWidget *rbSetSVHdl, *rbChangeSVHdl, *rbMuteSVHdl, *rbFadeSVHdl;
extern QWidget *etStringTSHdl;
// Page-only items (set by their page's builder).
extern QWidget *btAcceptKeyHdl, *keyFrameHdl, *ckVolumeUpHdl, *ckVolumeDownHdl, *ckMuteHdl, *ckEjectHdl;
extern QWidget *etLaunchNameHdl;
extern QWidget *rbUpMOHdl, *rbDownMOHdl, *rbLeftMOHdl, *rbRightMOHdl, *rbSingleLeftMOHdl, *rbSingleRightMOHdl,
    *rbDoubleLeftMOHdl, *rbDoubleRightMOHdl, *popRate1MultiplierHdl, *popRate2MultiplierHdl;
extern QWidget *sliderValueSV1Hdl, *ckUnMuteSV1Hdl, *etValueSV1Hdl;
extern QWidget *sliderValueSV2Hdl, *ckUnMuteSV2Hdl, *etValueSV2Hdl;
extern QWidget *rbMuteOnSV3Hdl, *rbMuteOffSV3Hdl, *rbMuteToggleSV3Hdl;
extern QWidget *sliderValueSV4Hdl, *rbFadeInSV4Hdl, *rbFadeOutSV4Hdl, *rbFadeToggleSV4Hdl, *etValueSV4Hdl;

// The edit dialog's window.
QWidget *EDITdialog(void);

// Item helpers (edititems.cpp). A null or stale reference is ignored (and reads as 0 / "").
bool EDITlive(const QWidget *item);
QWidget *EDITitem(int item);
void EDITsetValue(QWidget *item, int value); // check box, radio, popup (1-based), slider
int EDITvalue(QWidget *item);
void EDITsetText(QWidget *item, const char *text);
std::string EDITtext(QWidget *item);
void EDITshowItem(QWidget *item, bool show); // with the widgets that follow it
void EDITshowItemNumber(int item, bool show);
void EDITsetEnabled(QWidget *item, bool enabled);
void cleanUpItems(void);
// Builds a page (DITL `id`) under the fixed top, replacing the page shown; 0, or -1 when the
// layout is missing (nothing changes then).
int EDITbuildPage(int id);
// Removes the page (and sub-page) under the fixed top.
void EDITremovePage(void);
// Builds a volume sub-page under the volume page; 0 or -1 as above.
int EDITbuildSubPage(int id);
// Hooks the page's controls to the item handler.
void EDITconnectItems(QWidget *page);

// The framework (editdialog.cpp).
int doItemHitEdit(int item);
void displayEditData(void);
void clearEditData(void);
void disableEditFields(void);
void enableEditFields(void);
void setEditCustomText(int show);
void createEditDialogUnknown(void);
// The keyboard-focus item of the dialog (0 when none).
int EDITfocusItem(void);

// Typing filter (editevents.cpp).
int doKeyDownEdit(QObject *target, QKeyEvent *event);
int legalCharEdit(int ch);
int islegalChar(QWidget *dialog, int item, const char *set, int ch, int limit);
extern const char legalHex[];
extern const char legalDec[];
extern const char legalName[];

// Repeat settings (editrepeat.cpp).
void displayEditDataRepeat(
    int32_t delay, int32_t rate1, int32_t reps, int32_t rate2, int32_t presets[4][6], int32_t mult1, int32_t mult2);
void showHideCustomRepeatKeystroke(void);
void showHideCustomRepeatScript(void);
void showHideCustomRepeatSysVol(void);
void showHideCustomRepeatMouse(void);
void figureOutAdvancedRepeat(void);
void setMouseRepeat(int row);
// The repeat items of the page shown: 1 when the item was one of them and was handled.
int EDITrepeatItemHit(int item);
// Reads a typed repeat field (delay, repetitions, first rate, second rate items of the page) into
// the four values; 1 when item was one of them.
int EDITtakeRepeatField(int item, int32_t *delay, int32_t *reps, int32_t *rate1, int32_t *rate2);
// Fetches the repeat items of the page (or volume sub-page) just built.
void EDITfetchRepeatItems(void);
// The repeat rules on OK, in unsigned 32-bit arithmetic: the first rate times ruleReps is the first
// phase, ruleRate1 and ruleReps are the values the limits are tested on. 1 valid, else the
// message is shown and 0.
int EDITcheckRepeat(uint32_t rate1, uint32_t rate2, uint32_t ruleRate1, uint32_t ruleReps);

// Keystroke page (editkeystroke.cpp).
void createEditDialogKeystroke(void);
void setKeystrokeAdvanced(void);
void doProcessPrevHitKeystroke(void);
void doItemHitEditKeystroke(int item);
void doDisplayKeystroke(void);
void finishAcceptKeyEdit(void);
int validateFields(void);
// Takes a key press as the captured key: 1, or 0 for a modifier key alone (not taken).
int EDITcaptureKey(QKeyEvent *event);

// Mouse page (editmouse.cpp).
void createEditDialogMouse(void);
void doDisplayMouseActionType(int kind);
void doDisplayMouseAction(void);
void doProcessPrevHitMouse(void);
void doItemHitEditMouse(int item);
int validateFieldsMouse(void);

// Script and launch pages (editfiles.cpp).
void createEditDialogScript(void);
void createEditDialogLaunch(void);
void doProcessPrevHitScript(void);
void doProcessPrevHitLaunch(void);
void doitemHitEditScript(int item);
void doitemHitEditLaunch(int item);
void doDisplayScript(void);
void doDisplayLaunch(void);
int myFilterScripts(const char *itemType, const char *path);
char *myGetPathFromSelection(const char *const *selection, int count);
int doBrowseScript(void);
int doBrowseLaunch(void);
int doTestScript(void);
int doTestLaunch(void);

// System volume page (editsysvol.cpp).
void createEditSystemVolume(void);
void createNewSysVolPage(void);
void setSysVolRadio(int subType);
void doDisplaySysVolume(void);
void doitemHitSysVolume(int item);
void doProcessPrevHitSysVol(void);
void doBumpSysVolume(int step);
void sliderActionSV1(QWidget *slider);
// A volume slider moved by the keyboard, the wheel or a click beside its knob to target: a position
// of the next value the file can hold after the stored one, in that direction (the knob's own
// position when there is none).
int sliderStepSysVol(QWidget *slider, int target);

// Text string page (edittext.cpp).
void createEditTextString(void);
void doProcessPrevHitTextString(void);
void doitemHitTextString(int item);
void doDisplayTextString(void);
// OK on the text page: 1 when the text converts, else 0 after telling the user why.
int validateTextString(void);

#endif
