// The edit dialog's share of the event stream: every event is offered here first; key capture,
// Escape, the volume arrows, the typing filter with its per-field character sets and limits, and
// cut, copy, paste and clear in the focused field.
#include <QApplication>
#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QWidget>
#include <cstring>

#include "editor/editdialog.h"
#include "editor/editstate.h"
#include "mapping/mapfile.h"
#include "platform/dialogs.h"
#include "platform/keys.h"
#include "shell/diagnostics.h"

const char legalHex[] = "0123456789abcdefABCDEF";
const char legalDec[] = "0123456789";
const char legalName[] = " !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`"
                         "abcdefghijklmnopqrstuvwxyz{|}~";

enum { kCharEnter = 3, kCharBackspace = 8, kCharTab = 9, kCharReturn = 13, kCharLeft = 28, kCharRight = 29 };

// One typed field of a page: its item, character set and limit.
struct FieldRule {
    int page;
    int item;
    const char *set;
    int limit;
};

static const FieldRule fieldRules[] = {
    { kPageKeystroke, 12, legalName, 1 },
    { kPageKeystroke, 14, legalHex, 4 },
    { kPageKeystroke, 26, legalDec, 4 },
    { kPageKeystroke, 28, legalDec, 4 },
    { kPageKeystroke, 30, legalDec, 4 },
    { kPageKeystroke, 32, legalDec, 4 },
    { kPageLaunch, 12, legalName, 255 },
    { kPageScript, 12, legalName, 255 },
    { kPageScript, 20, legalDec, 4 },
    { kPageScript, 22, legalDec, 4 },
    { kPageScript, 24, legalDec, 4 },
    { kPageScript, 26, legalDec, 4 },
    { kPageSysVolume, 29, legalDec, 4 },
    { kPageSysVolume, 31, legalDec, 4 },
    { kPageSysVolume, 33, legalDec, 4 },
    { kPageSysVolume, 35, legalDec, 4 },
    { kPageTextString, 11, legalName, 30 },
    { kPageMouse, 17, legalDec, 4 },
    { kPageMouse, 19, legalDec, 4 },
    { kPageMouse, 21, legalDec, 4 },
    { kPageMouse, 23, legalDec, 4 },
};

enum { kTextConvertedLimit = 16 };

static const FieldRule *ruleFor(int item)
{
    // Only the Change sub-page of the volume page has typed fields.
    if (currentActionType == kPageSysVolume && sysVolSubType != kSysVolChg)
        return nullptr;
    for (const FieldRule &rule : fieldRules)
        if (rule.page == currentActionType && rule.item == item)
            return &rule;
    return nullptr;
}

static QLineEdit *fieldOf(QWidget *dialog, int item)
{
    return qobject_cast<QLineEdit *>(DLGitem(dialog, item));
}

int islegalChar(QWidget *dialog, int item, const char *set, int ch, int limit)
{
    if (ch <= 0 || ch > 255 || !strchr(set, ch))
        return 0;
    QLineEdit *field = fieldOf(dialog, item);
    if (!field)
        return 0;
    int length = (int)DLGbytes(field->text()).size();
    return length < limit || field->hasSelectedText() ? 1 : 0;
}

// The text page's second rule: the field's text, escapes resolved, must stay under 16 characters.
static int textStillFits(QWidget *dialog, int item)
{
    QLineEdit *field = fieldOf(dialog, item);
    if (!field)
        return 0;
    std::string text = DLGbytes(field->text());
    const char *converted = convertTextStringInt(text.c_str());
    if (!converted)
        return 1; // a text with a bad escape has no length yet: the conversion rule decides
    int length = (int)strlen(converted);
    zprintf("text [%s]  len %d", converted, length);
    return length < kTextConvertedLimit || field->hasSelectedText() ? 1 : 0;
}

// The text page's third rule: the field's text with the character put in at the cursor (over the
// selection) must still convert, so that a bad escape such as "\q" or "\x00" is never typed.
static int textStillConverts(QWidget *dialog, int item, int ch)
{
    QLineEdit *field = fieldOf(dialog, item);
    if (!field)
        return 0;
    QString text = field->text();
    int at = field->cursorPosition();
    if (field->hasSelectedText()) {
        at = field->selectionStart();
        text.remove(at, field->selectedText().size());
    }
    text.insert(at, QChar(ch));
    std::string bytes = DLGbytes(text);
    return convertTextStringInt(bytes.c_str()) ? 1 : 0;
}

// Whether a character may be typed into item of the page shown.
static int legalForItem(int item, int ch)
{
    if (ch == kCharBackspace || ch == kCharTab || ch == kCharLeft || ch == kCharRight)
        return 1;
    const FieldRule *rule = ruleFor(item);
    if (!rule || !islegalChar(EDITdialog(), item, rule->set, ch, rule->limit))
        return 0;
    if (currentActionType == kPageTextString
        && (!textStillFits(EDITdialog(), item) || !textStillConverts(EDITdialog(), item, ch)))
        return 0;
    return 1;
}

int legalCharEdit(int ch)
{
    return legalForItem(prevHitEdit, ch);
}

// Return and Enter move to the next field as Tab does; they never press OK.
static void sendTab(QObject *target, Qt::KeyboardModifiers modifiers)
{
    QKeyEvent tab(QEvent::KeyPress, Qt::Key_Tab, modifiers & ~Qt::KeypadModifier, "\t");
    QCoreApplication::sendEvent(target, &tab);
}

int doKeyDownEdit(QObject *target, QKeyEvent *event)
{
    std::string text = DLGbytes(event->text());
    int ch = KEYcharCode(event->key(), event->modifiers(), text.c_str());
    if (ch == kCharEnter || ch == kCharReturn) {
        sendTab(target, event->modifiers());
        return 1;
    }
    auto *field = qobject_cast<QLineEdit *>(target);
    if (!field || ch < 0)
        return 0; // other controls keep their own keys; a key that types nothing passes
    if (prevHitEdit != DLGitemNumber(field))
        prevHitEdit = EDITfocusItem();
    if (!legalCharEdit(ch))
        return 1; // refused: swallowed
    if (ch != kCharTab)
        chgEtFieldEdit = 1;
    return 0;
}

// The focused text field of the dialog, or null.
static QLineEdit *focusedField(void)
{
    QWidget *dialog = EDITdialog();
    return dialog ? qobject_cast<QLineEdit *>(dialog->focusWidget()) : nullptr;
}

// Inserts the clipboard's text as if typed: each character passes the field's filter, so that the
// field never takes more than its limit or a character outside its set.
static void pasteFiltered(QLineEdit *field)
{
    int item = DLGitemNumber(field);
    QString text = QGuiApplication::clipboard()->text();
    bool changed = false;
    for (QChar c : text) {
        int ch = c.unicode();
        if (ch == kCharBackspace || ch == kCharTab || ch == kCharLeft || ch == kCharRight)
            continue;
        if (ch > 255 || !legalForItem(item, ch))
            continue;
        field->insert(QString(c));
        changed = true;
    }
    if (changed)
        chgEtFieldEdit = 1;
}

void doEditDialogEditCommand(int command)
{
    QLineEdit *field = focusedField();
    if (!field)
        return;
    switch (command) {
    case 1:
        if (!field->isReadOnly() && field->hasSelectedText()) {
            field->cut();
            chgEtFieldEdit = 1;
        }
        break;
    case 2:
        field->copy();
        break;
    case 3:
        if (!field->isReadOnly())
            pasteFiltered(field);
        break;
    case 4:
        if (!field->isReadOnly() && field->hasSelectedText()) {
            field->del();
            chgEtFieldEdit = 1;
        }
        break;
    default:
        break;
    }
}

// The object belongs to the edit dialog: its window or a widget in that window. A window of its
// own opened over the editor (a file chooser, an alert, a popup list) keeps its keys and clicks,
// although the editor is its parent.
static bool belongsToDialog(QObject *target)
{
    QWidget *dialog = EDITdialog();
    if (!dialog || !target)
        return false;
    if (target->isWidgetType())
        return static_cast<QWidget *>(target)->window() == dialog;
    for (QObject *o = target; o; o = o->parent())
        if (o == dialog)
            return true;
    return false;
}

static int keyPress(QObject *target, QKeyEvent *key)
{
    if (acceptKeyStateEdit)
        return EDITcaptureKey(key);
    if (!belongsToDialog(target))
        return 0;
    if (key->key() == Qt::Key_Escape) {
        closeEditDialog();
        return 1;
    }
    auto *field = qobject_cast<QLineEdit *>(target);
    if (field && key->matches(QKeySequence::Paste)) {
        doEditDialogEditCommand(3);
        return 1;
    }
    if (key->modifiers() & Qt::ControlModifier)
        return 0; // command keys belong to the menus
    if (currentActionType == kPageSysVolume && (key->key() == Qt::Key_Up || key->key() == Qt::Key_Down)) {
        doBumpSysVolume(key->key() == Qt::Key_Up ? 1 : -1);
        return 1;
    }
    return doKeyDownEdit(target, key);
}

int doEditDialogEvent(QObject *target, QEvent *event)
{
    if (!editDlog || !event)
        return 0;
    switch (event->type()) {
    case QEvent::ShortcutOverride:
        // While a key is being recorded no shortcut may take it.
        if (acceptKeyStateEdit) {
            event->accept();
            return 1;
        }
        return 0;
    case QEvent::KeyPress:
        return keyPress(target, static_cast<QKeyEvent *>(event));
    case QEvent::FocusIn: {
        auto *field = qobject_cast<QLineEdit *>(target);
        if (field && belongsToDialog(field) && DLGitemNumber(field) != 0)
            doItemHitEdit(DLGitemNumber(field));
        return 0;
    }
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseButtonRelease: {
        if (!belongsToDialog(target))
            return 0;
        // The middle button's paste would bypass the typing filter.
        if (static_cast<QMouseEvent *>(event)->button() == Qt::MiddleButton && qobject_cast<QLineEdit *>(target))
            return 1;
        if (event->type() == QEvent::MouseButtonRelease)
            return 0;
        QWidget *dialog = EDITdialog();
        if (dialog->isActiveWindow())
            updateEditEntry();
        else
            selectEditDialog();
        return 0;
    }
    case QEvent::Move:
        if (target == EDITdialog())
            updateEditWindowPositionConfiguration();
        return 0;
    case QEvent::Close:
        if (target == EDITdialog()) {
            closeEditDialog();
            return 1;
        }
        return 0;
    case QEvent::ApplicationStateChange:
        if (acceptKeyStateEdit)
            finishAcceptKeyEdit();
        return 0;
    default:
        return 0;
    }
}
