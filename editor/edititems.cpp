// The edit dialog's items: reading and setting controls by reference, showing and hiding them with
// their labels, swapping the pages under the fixed top, and hooking the controls to the item handler.
#include <QAbstractButton>
#include <QAbstractSlider>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVariant>

#include "editor/editdialog.h"
#include "editor/editstate.h"
#include "platform/dialogs.h"

static QWidget *pageWidget; // the page under the fixed top, or null
static QWidget *subPageWidget; // the volume page's sub-page, or null

QWidget *stApplNameHdl, *stButtonNameHdl, *ckActionDisableHdl, *popupActionTypeHdl; // the fixed top
QWidget *etDelayHdl, *etRate1Hdl, *etRepsHdl, *etRate2Hdl; // repeat fields
QWidget *rbCustomHdl, *rbNoRepeatHdl, *rbSystemRepeatHdl, *rbSlowRepeatHdl, *rbAccelRepeatHdl,
    *rbFastRepeatHdl; // repeat radios
QWidget *ckAdvRepeatHdl, *etScriptnameHdl; // advanced repeat, script path
QWidget *etKeyHdl, *etHexKeyHdl, *ckAdvancedHdl, *ckCommandHdl, *ckShiftHdl, *ckOptionHdl, *ckControlHdl; // key
QWidget *rbSetSVHdl, *rbChangeSVHdl, *rbMuteSVHdl, *rbFadeSVHdl; // volume kinds
QWidget *etStringTSHdl; // text string
QWidget *btAcceptKeyHdl, *keyFrameHdl, *ckVolumeUpHdl, *ckVolumeDownHdl, *ckMuteHdl, *ckEjectHdl; // keystroke only
QWidget *etLaunchNameHdl; // launch only
QWidget *rbUpMOHdl, *rbDownMOHdl, *rbLeftMOHdl, *rbRightMOHdl, *rbSingleLeftMOHdl, *rbSingleRightMOHdl,
    *rbDoubleLeftMOHdl, *rbDoubleRightMOHdl, *popRate1MultiplierHdl, *popRate2MultiplierHdl; // mouse only
QWidget *sliderValueSV1Hdl, *ckUnMuteSV1Hdl, *etValueSV1Hdl; // volume Set
QWidget *sliderValueSV2Hdl, *ckUnMuteSV2Hdl, *etValueSV2Hdl; // volume Change
QWidget *rbMuteOnSV3Hdl, *rbMuteOffSV3Hdl, *rbMuteToggleSV3Hdl; // volume Mute
QWidget *sliderValueSV4Hdl, *rbFadeInSV4Hdl, *rbFadeOutSV4Hdl, *rbFadeToggleSV4Hdl, *etValueSV4Hdl; // volume Fade

QWidget *EDITdialog(void)
{
    return static_cast<QWidget *>(editDlog);
}

bool EDITlive(const QWidget *item)
{
    return item != nullptr && item != kStaleItem;
}

QWidget *EDITitem(int item)
{
    return DLGitem(EDITdialog(), item);
}

void EDITsetValue(QWidget *item, int value)
{
    if (!EDITlive(item))
        return;
    if (auto *button = qobject_cast<QAbstractButton *>(item)) {
        button->setChecked(value != 0);
    } else if (auto *popup = qobject_cast<QComboBox *>(item)) {
        popup->setCurrentIndex(value >= 1 && value <= popup->count() ? value - 1 : -1);
    } else if (auto *slider = qobject_cast<QAbstractSlider *>(item)) {
        QSignalBlocker quiet(slider);
        slider->setValue(value);
    }
}

int EDITvalue(QWidget *item)
{
    if (!EDITlive(item))
        return 0;
    if (auto *button = qobject_cast<QAbstractButton *>(item))
        return button->isChecked() ? 1 : 0;
    if (auto *popup = qobject_cast<QComboBox *>(item))
        return popup->currentIndex() + 1;
    if (auto *slider = qobject_cast<QAbstractSlider *>(item))
        return slider->value();
    return 0;
}

void EDITsetText(QWidget *item, const char *text)
{
    if (!EDITlive(item))
        return;
    QString value = DLGtext(text);
    if (auto *field = qobject_cast<QLineEdit *>(item)) {
        if (field->text() != value)
            field->setText(value);
    } else if (auto *label = qobject_cast<QLabel *>(item)) {
        label->setText(value);
    } else if (auto *button = qobject_cast<QAbstractButton *>(item)) {
        button->setText(value);
    }
}

std::string EDITtext(QWidget *item)
{
    if (!EDITlive(item))
        return std::string();
    if (auto *field = qobject_cast<QLineEdit *>(item))
        return DLGbytes(field->text());
    if (auto *label = qobject_cast<QLabel *>(item))
        return DLGbytes(label->text());
    if (auto *button = qobject_cast<QAbstractButton *>(item))
        return DLGbytes(button->text());
    return std::string();
}

void EDITshowItem(QWidget *item, bool show)
{
    if (!EDITlive(item))
        return;
    item->setVisible(show);
    // Labels that belong to an item carry its number in "follows" and come and go with it.
    int number = DLGitemNumber(item);
    QWidget *dialog = EDITdialog();
    if (number == 0 || !dialog)
        return;
    const QList<QWidget *> children = dialog->findChildren<QWidget *>();
    for (QWidget *child : children) {
        QVariant follows = child->property("follows");
        if (follows.isValid() && follows.toInt() == number)
            child->setVisible(show);
    }
}

void EDITshowItemNumber(int item, bool show)
{
    QWidget *widget = EDITitem(item);
    if (widget)
        EDITshowItem(widget, show);
}

void EDITsetEnabled(QWidget *item, bool enabled)
{
    if (EDITlive(item))
        item->setEnabled(enabled);
}

void cleanUpItems(void)
{
    QWidget **shared[] = { &etDelayHdl, &etRate1Hdl, &etRepsHdl, &etRate2Hdl, &rbCustomHdl, &rbNoRepeatHdl,
        &rbSystemRepeatHdl, &rbSlowRepeatHdl, &rbAccelRepeatHdl, &rbFastRepeatHdl, &ckAdvRepeatHdl, &etScriptnameHdl,
        &etKeyHdl, &etHexKeyHdl, &ckAdvancedHdl, &ckCommandHdl, &ckShiftHdl, &ckOptionHdl, &ckControlHdl, &rbSetSVHdl,
        &rbChangeSVHdl, &rbMuteSVHdl, &rbFadeSVHdl, &etStringTSHdl };
    for (QWidget **ref : shared)
        *ref = kStaleItem;
}

// The references of one page's own items, which only that page's builder sets.
static void forgetSubPageItems(void)
{
    QWidget **refs[] = { &sliderValueSV1Hdl, &ckUnMuteSV1Hdl, &etValueSV1Hdl, &sliderValueSV2Hdl, &ckUnMuteSV2Hdl,
        &etValueSV2Hdl, &rbMuteOnSV3Hdl, &rbMuteOffSV3Hdl, &rbMuteToggleSV3Hdl, &sliderValueSV4Hdl, &rbFadeInSV4Hdl,
        &rbFadeOutSV4Hdl, &rbFadeToggleSV4Hdl, &etValueSV4Hdl };
    for (QWidget **ref : refs)
        *ref = nullptr;
}

static void forgetPageItems(void)
{
    QWidget **refs[] = { &btAcceptKeyHdl, &keyFrameHdl, &ckVolumeUpHdl, &ckVolumeDownHdl, &ckMuteHdl, &ckEjectHdl,
        &etLaunchNameHdl, &rbUpMOHdl, &rbDownMOHdl, &rbLeftMOHdl, &rbRightMOHdl, &rbSingleLeftMOHdl,
        &rbSingleRightMOHdl, &rbDoubleLeftMOHdl, &rbDoubleRightMOHdl, &popRate1MultiplierHdl, &popRate2MultiplierHdl };
    for (QWidget **ref : refs)
        *ref = nullptr;
    forgetSubPageItems();
}

// Takes a page out of the dialog at once (so that item searches no longer see it) and deletes it
// once the event that led here is over.
static void dropWidget(QWidget *&widget)
{
    if (!widget)
        return;
    widget->hide();
    widget->setParent(nullptr);
    widget->deleteLater();
    widget = nullptr;
}

void EDITremovePage(void)
{
    dropWidget(subPageWidget);
    dropWidget(pageWidget);
    forgetPageItems();
}

// Puts a loaded page into the area of its parent and hooks up its controls.
static void placePage(QWidget *page, QWidget *area)
{
    page->setParent(area);
    if (area->layout())
        area->layout()->addWidget(page);
    EDITconnectItems(page);
    page->show();
    // The layouts above learn of the new page now, even while the window is still hidden.
    for (QWidget *w = page; w; w = w->parentWidget())
        if (w->layout())
            w->layout()->invalidate();
}

int EDITbuildPage(int id)
{
    QWidget *dialog = EDITdialog();
    if (!dialog)
        return -1;
    QWidget *area = dialog->findChild<QWidget *>("pageArea");
    QWidget *page = DLGload("DITL", id, nullptr);
    if (!page || !area) {
        delete page;
        return -1;
    }
    cleanUpItems();
    EDITremovePage();
    pageWidget = page;
    placePage(page, area);
    return 0;
}

int EDITbuildSubPage(int id)
{
    QWidget *area = pageWidget ? pageWidget->findChild<QWidget *>("subPageArea") : nullptr;
    QWidget *page = DLGload("DITL", id, nullptr);
    if (!page || !area) {
        delete page;
        return -1;
    }
    // The repeat references may point into the sub-page that goes away.
    etDelayHdl = etRate1Hdl = etRepsHdl = etRate2Hdl = kStaleItem;
    rbCustomHdl = rbNoRepeatHdl = rbSystemRepeatHdl = rbSlowRepeatHdl = rbAccelRepeatHdl = rbFastRepeatHdl = kStaleItem;
    ckAdvRepeatHdl = kStaleItem;
    dropWidget(subPageWidget);
    forgetSubPageItems();
    subPageWidget = page;
    placePage(page, area);
    return 0;
}

// The context menu of a text field: the same cut, copy, paste and clear as the Edit menu.
static void showFieldMenu(QLineEdit *field, const QPoint &where)
{
    QMenu menu(field);
    QAction *cut = menu.addAction("Cu&t");
    QAction *copyAction = menu.addAction("&Copy");
    QAction *paste = menu.addAction("&Paste");
    QAction *clear = menu.addAction("Delete");
    menu.addSeparator();
    QAction *all = menu.addAction("Select All");
    cut->setEnabled(field->hasSelectedText() && !field->isReadOnly());
    copyAction->setEnabled(field->hasSelectedText());
    paste->setEnabled(!field->isReadOnly());
    clear->setEnabled(field->hasSelectedText() && !field->isReadOnly());
    field->setFocus(Qt::OtherFocusReason);
    QAction *chosen = menu.exec(field->mapToGlobal(where));
    if (chosen == all)
        field->selectAll();
    else if (chosen)
        doEditDialogEditCommand(chosen == cut ? 1 : chosen == copyAction ? 2 : chosen == paste ? 3 : 4);
}

void EDITconnectItems(QWidget *page)
{
    QList<QWidget *> widgets = page->findChildren<QWidget *>();
    widgets.prepend(page);
    for (QWidget *widget : widgets) {
        const int item = DLGitemNumber(widget);
        if (auto *push = qobject_cast<QPushButton *>(widget)) {
            push->setAutoDefault(false); // Return never presses a button here
            push->setDefault(false);
        }
        if (auto *field = qobject_cast<QLineEdit *>(widget)) {
            field->setAcceptDrops(false); // what arrives goes through the typing filter
            field->setContextMenuPolicy(Qt::CustomContextMenu);
            QObject::connect(field, &QLineEdit::customContextMenuRequested,
                [field](const QPoint &where) { showFieldMenu(field, where); });
            QObject::connect(field, &QLineEdit::textEdited, [] { chgEtFieldEdit = 1; });
        }
        if (item == 0)
            continue;
        if (auto *button = qobject_cast<QAbstractButton *>(widget)) {
            QObject::connect(button, &QAbstractButton::clicked, [item] {
                if (editDlog)
                    doItemHitEdit(item);
            });
        } else if (auto *popup = qobject_cast<QComboBox *>(widget)) {
            QObject::connect(popup, QOverload<int>::of(&QComboBox::activated), [item] {
                if (editDlog)
                    doItemHitEdit(item);
            });
        } else if (auto *slider = qobject_cast<QAbstractSlider *>(widget)) {
            QObject::connect(slider, &QAbstractSlider::valueChanged, [slider, item] {
                if (!editDlog)
                    return;
                if (slider->isSliderDown())
                    sliderActionSV1(slider);
                else
                    doItemHitEdit(item);
            });
            // Arrow keys, Page keys, the wheel and clicks beside the knob step to the next value
            // the file can hold; a drag is left to the tracking above.
            QObject::connect(slider, &QAbstractSlider::actionTriggered, [slider](int action) {
                static bool stepping = false; // moving the slider here triggers a move again
                if (!editDlog || stepping || slider->isSliderDown() || action == QAbstractSlider::SliderNoAction)
                    return;
                stepping = true;
                slider->setSliderPosition(sliderStepSysVol(slider, slider->sliderPosition()));
                stepping = false;
            });
            QObject::connect(slider, &QAbstractSlider::sliderReleased, [item] {
                if (editDlog)
                    doItemHitEdit(item);
            });
        }
    }
}
