// The main dialog's events and item hits: selecting rows by click, double click, arrow keys and
// the remote, the row buttons, the check boxes and popups, and the menus while editing.
#include "mainwindow/selection.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QMainWindow>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QSvgRenderer>
#include <cstring>

#include "editor/editdialog.h"
#include "editor/editrecords.h"
#include "mainwindow/applcommands.h"
#include "mainwindow/buttonlist.h"
#include "mainwindow/maindialog.h"
#include "mainwindow/menus.h"
#include "mainwindow/popups.h"
#include "mainwindow/remotepict.h"
#include "mainwindow/rows.h"
#include "mapperlink/mapperapi.h"
#include "platform/dialogs.h"
#include "platform/icons.h"
#include "shell/diagnostics.h"
#include "shell/eventloop.h"
#include "shell/prefs.h"

static void enable(QWidget *control, bool on)
{
    if (control)
        control->setEnabled(on);
}

static bool isListClick(QObject *target)
{
    return buttonList && target == buttonList->viewport();
}

static int moveSelection(int key)
{
    if (queryEditChanges() != 0)
        return 1;
    updateEntry();
    if (key == Qt::Key_Up) {
        if (currentItemIdx > 0)
            keySelectButton(currentItemIdx - 1, 0);
    } else if (currentItemIdx < numItemsDisplayed - 1) {
        keySelectButton(currentItemIdx + 1, 0);
    }
    return 1;
}

static int listClick(QMouseEvent *mouse, bool doubleClick)
{
    if (mouse->button() != Qt::LeftButton)
        return 1;
    if (queryEditChanges() != 0) {
        if (editDlog)
            selectEditDialog();
        return 1;
    }
    QModelIndex index = buttonList->indexAt(mouse->position().toPoint());
    int row = index.isValid() ? index.row() : -1;
    if (row >= 0 && row < numItemsDisplayed)
        keySelectButton(row, doubleClick ? 1 : 0);
    else
        clearSelection();
    return 1;
}

int eventMain(QObject *target, QEvent *event)
{
    if (!event || !mainDlog)
        return 0;
    switch (event->type()) {
    case QEvent::KeyPress: {
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            doItemHit(0);
            return 1;
        }
        if (key->key() == Qt::Key_Up || key->key() == Qt::Key_Down)
            return moveSelection(key->key());
        return 0;
    }
    case QEvent::MouseButtonPress:
        return isListClick(target) ? listClick(static_cast<QMouseEvent *>(event), false) : 0;
    case QEvent::MouseButtonDblClick:
        return isListClick(target) ? listClick(static_cast<QMouseEvent *>(event), true) : 0;
    case QEvent::MouseButtonRelease:
    case QEvent::MouseMove:
        return isListClick(target) ? 1 : 0;
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate:
        mainDlog->update();
        if (buttonList)
            buttonList->viewport()->update();
        return 0;
    default:
        return 0;
    }
}

void updateEntry(void)
{
    if (mainDlog && QApplication::activeWindow() == mainDlog->window())
        doItemHit(0);
}

void turnOffSelection(void)
{
    LClearSelect();
    enable(btEditHdl, false);
    enable(btUseGlobalActionHdl, false);
    enable(btUseAppSpecificActionHdl, false);
}

void clearSelection(void)
{
    turnOffSelection();
    currentButtonIdx = currentItemIdx = -1;
    currentButtonAction = nullptr;
}

// With VQX_TRACE_SELECTION set, each selection is written to standard error with its time
// (microseconds of the real-time clock), for the whole-program tests and the latency measurement.
static void traceSelection(int row)
{
    static const bool wanted = getenv("VQX_TRACE_SELECTION") != nullptr;
    if (!wanted)
        return;
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    const char *name = "";
    if (theItemDisplay && theItemDisplay[row].action)
        name = theItemDisplay[row].action->buttonName;
    fprintf(stderr, "selected row %d button %s at %lld\n", row, name,
            (long long)now.tv_sec * 1000000 + now.tv_nsec / 1000);
}

// With VQX_TRACE_ROWS set, the text of each selected row (its columns TAB-separated, as the list
// draws them) is written to standard error, for the whole-program tests.
static void traceRowText(int row)
{
    static const bool wanted = getenv("VQX_TRACE_ROWS") != nullptr;
    if (wanted)
        fprintf(stderr, "row %d shows %s\n", row, LISTgetCell(row));
}

void keySelectButton(int row, int open)
{
    turnOffSelection();
    if (row >= numItemsDisplayed) {
        errormsg("numItemsDisplayed exceeded");
        return;
    }
    LSetSelect(row);
    if (!viewByButton)
        currentButtonIdx = row;
    currentItemIdx = row;
    traceSelection(row);
    traceRowText(row);
    if ((open || editDlog) && theItemDisplay) {
        const ItemDisplay &d = theItemDisplay[row];
        bool own = d.action && d.action->override == 1 && d.appl && !d.appl->disabled;
        if ((d.appl && d.appl == theGlobalAppl) || own)
            doSelectButton(row);
    }
    updateEditHilite();
}

void updateEditHilite(void)
{
    enable(btUseGlobalActionHdl, false);
    enable(btUseAppSpecificActionHdl, false);
    if (editDlog || currentItemIdx == -1 || !theItemDisplay) {
        enable(btEditHdl, false);
        return;
    }
    const ItemDisplay &d = theItemDisplay[currentItemIdx];
    if (!d.action)
        return;
    if (d.globalAction && d.appl != theGlobalAppl) {
        if (d.action->override == 0) {
            enable(btEditHdl, false);
            enable(btUseAppSpecificActionHdl, true);
        } else {
            enable(btUseGlobalActionHdl, true);
            enable(btEditHdl, !(d.appl && d.appl->disabled));
        }
        return;
    }
    enable(btEditHdl, true);
}

void doSelectButton(int row)
{
    if (numApplications == 0) {
        errormsg("numApplications unexpectedly 0 in doSelectButton");
        return;
    }
    if (row >= numItemsDisplayed || row < 0 || !theItemDisplay) {
        errormsg("numItemsDisplayed exceeded in doSelectButton");
        return;
    }
    const ItemDisplay &d = theItemDisplay[row];
    if (!d.action) {
        errormsg("unable to find action # %d", row);
        return;
    }
    currentAppl = d.appl;
    tentativeOverride = d.action->override;
    currentButtonAction = d.action;
    if (createEditDialog(0) != 0)
        return; // no editor could be opened: nothing to fill, the menus stay as they are
    stuffEditDialog();
    disableSummaryMenus();
}

void doGetButtonFromAPI(void)
{
    if (!managerInFront || viewByButton || !theItemDisplay)
        return;
    const char *name = VQXAPIgetButtonState();
    if (!name)
        return;
    for (int row = 0; row < numItemsDisplayed; row++)
        if (theItemDisplay[row].action && strcmp(theItemDisplay[row].action->buttonName, name) == 0)
            keySelectButton(row, 0);
}

namespace {
// Draws picture 134 in item 1 when the item is painted, rendered once at the item's size and the
// screen's pixel ratio: the window shows without waiting for the picture to be rendered.
class BannerPainter : public QObject {
public:
    using QObject::QObject;
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() != QEvent::Paint)
            return false;
        auto *label = static_cast<QLabel *>(watched);
        const qreal ratio = label->devicePixelRatioF();
        if (picture.isNull() || picture.devicePixelRatio() != ratio)
            render(label->size(), ratio);
        QPainter p(label);
        const QSize shown = picture.deviceIndependentSize().toSize();
        p.drawPixmap(QStyle::alignedRect(label->layoutDirection(), label->alignment(), shown, label->rect()), picture);
        return true;
    }

private:
    QPixmap picture; // the rendered banner

    void render(QSize room, qreal ratio)
    {
        // Drawn by the SVG renderer itself: no image plugin is looked up at the first paint.
        QSvgRenderer svg(QStringLiteral(":/PICT/134.svg"));
        QImage image = ICONfitted(svg, room * ratio);
        if (image.isNull())
            return;
        picture = QPixmap::fromImage(image);
        picture.setDevicePixelRatio(ratio);
    }
};
} // namespace

void doUpdate(void)
{
    if (usrPictHdl && !usrPictHdl->findChild<BannerPainter *>())
        usrPictHdl->installEventFilter(new BannerPainter(usrPictHdl));
    drawGlobalIcon();
}

static void switchToButtonView(void)
{
    viewByButtonIdx = currentItemIdx == -1 ? 0 : currentItemIdx;
    if (viewByButtonIdx >= numButtonsOnRemote)
        viewByButtonIdx = 0; // a row number past the remote's buttons names no button
    viewByButton = 1;
    theConfigPrefs.viewByButton = 1;
    theConfigPrefs.viewByButtonIdx = viewByButtonIdx;
    prefsChanged = 1;
    deletePopupMenus();
    createByButtonMenu();
    POPsetValue(popupAppleHdl, viewByButtonIdx + 1);
    clearSelection();
    stuffButtonList();
    int row = currentApplIdx - 1 <= 1 ? currentApplIdx - 1 : currentApplIdx - 5;
    if (row >= 0 && row < numItemsDisplayed)
        keySelectButton(row, 0);
}

static void switchToApplicationView(void)
{
    int r = currentItemIdx;
    int item = r <= 0 ? 1 : (r == 1 ? 2 : r + 5);
    theConfigPrefs.viewByButton = 0;
    theConfigPrefs.currentApplIdx = item;
    prefsChanged = 1;
    viewByButton = 0;
    deletePopupMenus();
    createApplMenu();
    currentApplIdx = item;
    POPsetValue(popupAppleHdl, item);
    int index = ROWSapplIndexOfItem(item);
    currentAppl = index >= 0 ? &theActionByApplList[index] : nullptr;
    clearSelection();
    stuffButtonList();
    if (viewByButtonIdx != -1 && viewByButtonIdx < numItemsDisplayed)
        keySelectButton(viewByButtonIdx, 0);
}

static void doItemHitViewBy(void)
{
    int value = POPvalue(popupViewByHdl);
    if (editDlog) {
        POPsetValue(popupViewByHdl, viewByButton ? 2 : 1);
        return;
    }
    if (value == 2 && !viewByButton)
        switchToButtonView();
    else if (value == 1 && viewByButton)
        switchToApplicationView();
    else
        return;
    setEditAppNameMenu();
    drawGlobalIcon();
}

static void setRowOverride(int32_t override)
{
    if (currentItemIdx == -1 || queryEditChanges() != 0 || !theItemDisplay)
        return;
    ActionRecord *action = theItemDisplay[currentItemIdx].action;
    if (!action)
        return;
    action->override = override;
    updateCurrentButton();
    setFileChanged(1);
}

void doItemHit(int16_t item)
{
    if (prevHit != 0 && prevHit != item && chgEtField && currentButtonAction)
        chgEtField = 0;
    switch (item) {
    case kItemDisable:
        if (currentAppl) {
            currentAppl->disabled = !currentAppl->disabled;
            if (ckDisableHdl)
                ckDisableHdl->setChecked(currentAppl->disabled != 0);
            setFileChanged(1);
            clearSelection();
            stuffButtonList();
        }
        break;
    case kItemEdit:
        if (currentItemIdx != -1 && queryEditChanges() == 0) {
            doSelectButton(currentItemIdx);
            updateEditHilite();
        }
        break;
    case kItemShowDetails:
        theConfigPrefs.showDetails = !theConfigPrefs.showDetails;
        if (ckShowDetailsHdl)
            ckShowDetailsHdl->setChecked(theConfigPrefs.showDetails != 0);
        prefsChanged = 1;
        MAINrefillKeepingSelection();
        break;
    case kItemApplPopup:
        if (!editDlog && queryEditChanges() == 0) {
            if (viewByButton)
                doItemHitPopupByButton();
            else
                doItemHitPopupAppl();
        } else {
            POPsetValue(popupAppleHdl, currentApplIdx);
            selectEditDialog();
        }
        break;
    case kItemShowRemotePict:
        if (!remotePictWind) {
            remotePictWind = displayRemotePict();
            theConfigPrefs.remotePictShown = 1;
            prefsChanged = 1;
        } else {
            remotePictWind->raise();
            remotePictWind->activateWindow();
        }
        break;
    case kItemViewByPopup:
        doItemHitViewBy();
        break;
    case kItemUseGlobal:
        setRowOverride(0);
        break;
    case kItemUseOwnAction:
        setRowOverride(1);
        break;
    default:
        break;
    }
    QWidget *focus = QApplication::focusWidget();
    prevHit = (int16_t)(focus && mainDlog && mainDlog->isAncestorOf(focus) ? DLGitemNumber(focus) : 0);
}

void doItemHitPopupAppl(void)
{
    if (numApplications == 0)
        return;
    int item = POPvalue(popupAppleHdl);
    if (item == kPopupNewAppl) {
        doNewApplication();
    } else if (item == kPopupDeleteAppl) {
        doDeleteApp();
    } else {
        currentApplIdx = item;
        theConfigPrefs.currentApplIdx = item;
        prefsChanged = 1;
        int index = ROWSapplIndexOfItem(item);
        currentAppl = index >= 0 ? &theActionByApplList[index] : nullptr;
        clearSelection();
        stuffButtonList();
    }
    setEditAppNameMenu();
    drawGlobalIcon();
}

void doItemHitPopupByButton(void)
{
    int value = POPvalue(popupAppleHdl);
    if (value == 0)
        return;
    viewByButtonIdx = value - 1;
    theConfigPrefs.viewByButtonIdx = viewByButtonIdx;
    prefsChanged = 1;
    clearSelection();
    stuffButtonList();
}

void disableSummaryMenus(void)
{
    DisableMenuItem(kMenuFile, 0);
    DisableMenuItem(kMenuOptions, 0);
    for (int item : { kItemNewAppl, kItemRenameAppl, kItemDeleteAppl, kItemDeleteUnused })
        DisableMenuItem(kMenuEdit, item);
    DrawMenuBar();
}

void enableSummaryMenus(void)
{
    EnableMenuItem(kMenuFile, 0);
    EnableMenuItem(kMenuOptions, 0);
    EnableMenuItem(kMenuEdit, kItemNewAppl);
    EnableMenuItem(kMenuEdit, kItemDeleteUnused);
    setEditAppNameMenu();
    DrawMenuBar();
}

void setEditAppNameMenu(void)
{
    if (viewByButton) {
        for (int item : { kItemNewAppl, kItemRenameAppl, kItemDeleteAppl })
            DisableMenuItem(kMenuEdit, item);
        return;
    }
    EnableMenuItem(kMenuEdit, kItemNewAppl);
    bool ordinary = numApplications > 0 && currentApplIdx > 2;
    for (int item : { kItemRenameAppl, kItemDeleteAppl })
        ordinary ? EnableMenuItem(kMenuEdit, item) : DisableMenuItem(kMenuEdit, item);
    POPsetItemEnabled(popupAppleHdl, kPopupDeleteAppl, ordinary);
}
