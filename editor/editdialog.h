// The action editor's entry points that the rest of the editor calls: the event hook offered every
// event first, opening and filling the editor for a button, and the remote-button test.
#ifndef VQX_EDITOR_EDITDIALOG_H
#define VQX_EDITOR_EDITDIALOG_H

class QObject;
class QEvent;

// Offered every event before anybody else (target and event both null: an idle pass). Returns 1
// when the event belonged to the action editor and was consumed: the caller drops it. Returns 0
// otherwise; an event of the editor's own window or widgets that Qt must still deliver (painting,
// clicks, accepted typing) also gives 0, and the caller leaves such events to Qt.
int doEditDialogEvent(QObject *target, QEvent *event);
// Opens the editor (or brings it forward): 0, or -1 when it cannot be made.
int createEditDialog(int changed);
// Fills the open editor from currentButtonAction and shows it.
void stuffEditDialog(void);
// Brings the open editor's window to the front.
void selectEditDialog(void);
// Takes a pending typed field into the editing copy when the editor is the active window.
void updateEditEntry(void);
// Cut, copy, paste and clear (1 to 4) in the editor's focused text field.
void doEditDialogEditCommand(int command);
// 1 when the current remote has a button of that name (also when no remote is loaded), else 0.
int isButtonOnRemote(const char *name);
// Lets the user choose a file of one of the filter types (".app", "APPL", "osas", "TEXT"); the
// chosen path (static buffer, also copied into result when given, 1024 bytes), or null.
char *mySelectFile(const char *const *filters, int count, char *result);
// The same with an item filter (see myFilterScripts): a chosen file the filter hides gives null.
char *mySelectFile(
    const char *const *filters, int count, char *result, int (*filter)(const char *itemType, const char *path));
// Closes the editor without writing anything back.
void closeEditDialog(void);
// Stores the editor window's position into the editor preferences.
void updateEditWindowPositionConfiguration(void);

// The editor closed and every editing state back to its start-up value (tests).
void EDITreset(void);

#endif
