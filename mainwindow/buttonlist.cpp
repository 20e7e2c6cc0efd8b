// The button list in the window: the view over the rows' cells, drawing a row in its columns with
// marker icons and shortened texts, filling the list for the current view, the global icon.
#include "mainwindow/buttonlist.h"

#include <QAbstractListModel>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QListView>
#include <QMainWindow>
#include <QPainter>
#include <QScreen>
#include <QStyledItemDelegate>
#include <cstdlib>

#include "mainwindow/maindialog.h"
#include "mainwindow/menus.h"
#include "mainwindow/popups.h"
#include "mainwindow/rows.h"
#include "mainwindow/selection.h"
#include "mapping/tokens.h"
#include "platform/dialogs.h"
#include "platform/icons.h"
#include "shell/diagnostics.h"
#include "shell/prefs.h"

QIcon theGlobeIconSuiteHdl;   // "@" rows
QIcon theDisableIconSuiteHdl; // "#" rows
QIcon theMissingIconSuiteHdl; // "?" rows
int16_t gPixelDepth;          // screen depth
uint8_t gIsColourDevice;      // colour screen

namespace {
// The rows' cells as a one-column model.
class CellModel : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;
    int rowCount(const QModelIndex &parent) const override { return parent.isValid() ? 0 : LISTrowCount(); }
    QVariant data(const QModelIndex &index, int role) const override
    {
        if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
            return QVariant();
        QString text = DLGtext(LISTgetCell(index.row()));
        if (role == Qt::ToolTipRole) {
            QStringList fields = text.split('\t');
            fields.removeFirst();
            return fields.join("  ").trimmed();
        }
        return text;
    }
    void changed(int row)
    {
        if (row < 0) {
            beginResetModel();
            endResetModel();
        } else {
            emit dataChanged(index(row), index(row));
        }
    }
};

// Draws each row through DrawCell, all rows of one height.
class CellDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    int rowHeight = 20;
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        bool active = (option.state & QStyle::State_Active) && mainWindowRefCon != 0;
        painter->save();
        QColor base = option.palette.color(QPalette::Base);
        if (index.row() % 2)
            base = option.palette.color(QPalette::AlternateBase);
        painter->fillRect(option.rect, base);
        tabsLDEF(kListDraw, option.state & QStyle::State_Selected, option.rect, index.row(), painter, active);
        painter->restore();
    }
    QSize sizeHint(const QStyleOptionViewItem &, const QModelIndex &) const override { return QSize(1, rowHeight); }
};

CellModel *model;       // the model of the current view
CellDelegate *delegate; // its delegate

void cellsChanged(int row)
{
    if (model)
        model->changed(row);
}
} // namespace

QListView *LISTcreateView(QWidget *parent)
{
    auto *view = new QListView(parent);
    view->setObjectName("buttonList");
    model = new CellModel(view);
    delegate = new CellDelegate(view);
    view->setModel(model);
    view->setItemDelegate(delegate);
    view->setSelectionMode(QAbstractItemView::SingleSelection);
    view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    view->setFocusPolicy(Qt::NoFocus);
    view->setUniformItemSizes(true);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    view->setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    LISTsetViewNotifier(cellsChanged);
    tabsLDEF(kListInit, false, QRect(), -1, nullptr, true);
    return view;
}

void tabsLDEF(int message, bool select, const QRect &cellRect, int row, QPainter *painter, bool active)
{
    switch (message) {
    case kListInit:
        theGlobeIconSuiteHdl = ICONsvg(":/cicn/128.svg");
        theDisableIconSuiteHdl = ICONsvg(":/cicn/129.svg");
        theMissingIconSuiteHdl = ICONsvg(":/cicn/130.svg");
        doGetDepthAndDevice();
        break;
    case kListDraw:
        if (painter)
            DrawCell(painter, select, cellRect, row, active);
        break;
    case kListHilite:
        if (painter)
            HiliteRect(painter, cellRect, active);
        break;
    default: // other messages mean nothing to this list
        break;
    }
}

void LISTprepareView(int rowHeight)
{
    if (delegate)
        delegate->rowHeight = rowHeight;
}

void LSetSelect(int row)
{
    if (!buttonList || row < 0 || row >= LISTrowCount())
        return;
    QModelIndex index = buttonList->model()->index(row, 0);
    buttonList->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    buttonList->scrollTo(index);
}

void LClearSelect(void)
{
    if (buttonList)
        buttonList->selectionModel()->clear();
}

int LGetSelect(void)
{
    if (!buttonList)
        return -1;
    const QModelIndexList rows = buttonList->selectionModel()->selectedIndexes();
    return rows.isEmpty() ? -1 : rows.first().row();
}

QString AdjustStringWidth(const QString &text, int width, const QFontMetrics &metrics)
{
    QString s = text;
    int room = width - metrics.horizontalAdvance(' ');
    while (!s.isEmpty() && metrics.horizontalAdvance(s) > room) {
        s.chop(1);
        if (!s.isEmpty())
            s[s.size() - 1] = QChar(0x2026);
    }
    return s;
}

void HiliteRect(QPainter *painter, const QRect &rect, bool active)
{
    QPalette::ColorGroup group = active ? QPalette::Active : QPalette::Inactive;
    painter->fillRect(rect, QApplication::palette().color(group, QPalette::Highlight));
}

void DrawCell(QPainter *painter, bool select, const QRect &cellRect, int row, bool active)
{
    const QPalette palette = QApplication::palette();
    QPalette::ColorGroup group = active ? QPalette::Active : QPalette::Inactive;
    painter->save();
    painter->setClipRect(cellRect);
    if (select)
        HiliteRect(painter, cellRect, active);
    QFontMetrics fm(painter->font());
    int viewWidth = buttonList ? buttonList->viewport()->width() : cellRect.width();
    int baseline = cellRect.top() + (cellRect.height() - fm.height()) / 2 + fm.ascent();
    const QStringList fields = DLGtext(LISTgetCell(row)).split('\t');
    for (int c = 1; c <= (int)fields.size() && c <= 4; c++) {
        int stop = theListOffsets[c];
        int x = cellRect.left() + stop;
        if (c > 1) {
            painter->setPen(palette.color(group, select ? QPalette::HighlightedText : QPalette::Mid));
            painter->drawLine(x, cellRect.top(), x, cellRect.bottom());
        }
        bool last = c == (int)fields.size() || c == 4;
        int width = last ? viewWidth - stop : theListOffsets[c + 1] - stop;
        const QString &field = fields[c - 1];
        const QIcon *icon = nullptr;
        if (field.startsWith('@'))
            icon = &theGlobeIconSuiteHdl;
        else if (field.startsWith('#'))
            icon = &theDisableIconSuiteHdl;
        else if (field.startsWith('?'))
            icon = &theMissingIconSuiteHdl;
        if (icon) {
            QRect box(x + width / 2 - 5, cellRect.top() + (cellRect.height() - 16) / 2, 16, 16);
            icon->paint(painter, box, Qt::AlignCenter, active ? QIcon::Normal : QIcon::Disabled);
            continue;
        }
        painter->setPen(palette.color(group, select ? QPalette::HighlightedText : QPalette::Text));
        painter->drawText(x + 3, baseline, AdjustStringWidth(field, width, fm));
    }
    painter->restore();
}

void doGetDepthAndDevice(void)
{
    QScreen *screen = QGuiApplication::primaryScreen();
    gPixelDepth = (int16_t)(screen ? screen->depth() : 32);
    gIsColourDevice = 1;
}

void drawGlobalIcon(void)
{
    auto *icon = qobject_cast<QLabel *>(DLGitem(mainDlog, kItemApplIcon));
    if (!icon)
        return;
    if (!viewByButton && popupAppleHdl && popupAppleHdl->currentIndex() == 0)
        icon->setPixmap(theIconSuiteHdl.pixmap(QSize(32, 32), icon->devicePixelRatioF()));
    else
        icon->clear();
}

static void applicationFallback(void)
{
    // Only the global and default entries: item 7 names nothing, so the first entry that does.
    if (ROWSapplIndexOfItem(currentApplIdx) >= 0)
        return;
    for (int item = 1; item <= countApplMenu; item++)
        if (ROWSapplIndexOfItem(item) >= 0) {
            currentApplIdx = item;
            return;
        }
}

int stuffMain(void)
{
    deletePopupMenus();
    createApplMenu();
    if (theConfigPrefs.viewByButtonIdx != 0)
        viewByButtonIdx = theConfigPrefs.viewByButtonIdx;
    currentApplIdx = 7;
    if (theConfigPrefs.currentApplIdx != 0) {
        currentApplIdx = theConfigPrefs.currentApplIdx;
        if (currentApplIdx > countApplMenu) {
            currentApplIdx = 7;
            theConfigPrefs.currentApplIdx = 7;
            prefsChanged = 1;
        }
    }
    if (theConfigPrefs.viewByButton) {
        deletePopupMenus();
        viewByButton = 1;
        if (viewByButtonIdx == -1)
            viewByButtonIdx = 0;
        createByButtonMenu();
        if (viewByButtonIdx + 1 > numButtonsOnRemote) {
            viewByButtonIdx = 0;
            theConfigPrefs.viewByButtonIdx = 0;
            prefsChanged = 1;
        }
        POPsetValue(popupAppleHdl, viewByButtonIdx + 1);
        POPsetValue(popupViewByHdl, 2);
    } else {
        bool any = false;
        for (int item = 1; item <= countApplMenu && !any; item++)
            any = ROWSapplIndexOfItem(item) >= 0;
        if (!any) {
            errormsg("Unable to create Application Menu");
            return -2;
        }
        applicationFallback();
        int index = ROWSapplIndexOfItem(currentApplIdx);
        currentAppl = index >= 0 ? &theActionByApplList[index] : nullptr;
        POPsetValue(popupAppleHdl, currentApplIdx);
        POPsetValue(popupViewByHdl, 1);
    }
    stuffButtonList();
    createRemoteMenu();
    createMappingMenu();
    setEditAppNameMenu();
    CheckMenuItem(kMenuOptions, kItemShowNotOnRemote, theConfigPrefs.showButtonsNotOnRemote != 0);
    if (ckShowDetailsHdl)
        ckShowDetailsHdl->setChecked(theConfigPrefs.showDetails != 0);
    drawGlobalIcon();
    if (QMainWindow *window = MAINwindow()) {
        window->show();
        MAINplaceWindow();
    }
    return 0;
}

void stuffButtonList(void)
{
    createListArea();
    if (ROWSallocate() != 0)
        exit(1);
    int rows = 0;
    if (numApplications > 0) {
        if (!viewByButton) {
            if (ckDisableHdl) {
                ckDisableHdl->show();
                ckDisableHdl->setChecked(currentAppl && currentAppl->disabled);
                ckDisableHdl->setEnabled(currentAppl != theGlobalAppl);
            }
            if (stButtonColumnLabelHdl)
                stButtonColumnLabelHdl->setText(DLGtext(getstring(129, 43)));
            rows = ROWSfillByApplication();
        } else {
            mainWindowRefCon = 1;
            if (ckDisableHdl)
                ckDisableHdl->hide();
            if (stButtonColumnLabelHdl)
                stButtonColumnLabelHdl->setText(DLGtext(getstring(129, 44)));
            if (viewByButtonIdx == -1)
                errormsg("viewByButtonIdx is -1");
            else
                rows = ROWSfillByButton();
        }
    }
    numItemsDisplayed = rows;
    if (buttonList)
        buttonList->viewport()->update();
}

void MAINrefillKeepingSelection(void)
{
    int keep = currentItemIdx;
    stuffButtonList();
    if (keep >= 0 && keep < numItemsDisplayed)
        LSetSelect(keep);
}

void updateCurrentButton(void)
{
    if (currentItemIdx == -1) {
        errormsg("updateCurrentButton bad: currentItemIdx == -1");
        return;
    }
    if (theItemDisplay && currentItemIdx < maxNumItems) {
        ItemDisplay &row = theItemDisplay[currentItemIdx];
        if (viewByButton && row.appl == theGlobalAppl)
            MAINrefillKeepingSelection();
        else if (row.action && viewByButton)
            setButtonApplicationText(currentItemIdx, row.appl, row.action, row.globalAction);
        else if (row.action)
            setButtonText(currentItemIdx, row.appl, row.action, row.globalAction);
    }
    updateEditHilite();
}
