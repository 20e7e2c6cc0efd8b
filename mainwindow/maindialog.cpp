// The main window: creating dialog 130 in a window with the menu bar, fetching its items, the
// list area and its column stops, the resize limits and the layout after a resize, closing.
#include "mainwindow/maindialog.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QListView>
#include <QMainWindow>
#include <QMenuBar>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QStyleOptionButton>
#include <QStyleOptionFocusRect>
#include <QStyleOptionHeader>
#include <algorithm>
#include <cstring>

#include "mainwindow/buttonlist.h"
#include "mainwindow/menus.h"
#include "mainwindow/remotepict.h"
#include "mainwindow/rows.h"
#include "mainwindow/selection.h"
#include "mapping/config.h"
#include "platform/dialogs.h"
#include "platform/icons.h"
#include "shell/diagnostics.h"
#include "shell/eventloop.h"
#include "shell/prefs.h"

QWidget *mainDlog;                 // the dialog
QLabel *usrPictHdl;                // item 1
QRect usrPictRect;                 // its rectangle
QWidget *applSettingsHdl;          // item 3
QWidget *buttonBoxContainerHdl;    // item 4
QWidget *usrListHdl;               // item 9
QRect usrListRect;                 // its rectangle
QCheckBox *ckDisableHdl;           // item 11
QPushButton *btEditHdl;            // item 12
QLabel *stButtonColumnLabelHdl;    // item 15
QRect stButtonColumnLabelRect;     // its rectangle
QCheckBox *ckShowDetailsHdl;       // item 17
QComboBox *popupAppleHdl;          // item 18
QComboBox *applMenuHdl;            // item 18's menu
QLabel *stMapFileNameHdl;          // item 19
QLabel *stRemoteNameHdl;           // item 20
QPushButton *btShowRemotePictHdl;  // item 21
QRect userIconRect;                // item 25's rectangle
QComboBox *popupViewByHdl;         // item 26
QPushButton *btUseGlobalActionHdl; // item 27
QPushButton *btUseAppSpecificActionHdl; // item 28
MacRect mainDlogLimitRect;         // grow limits
QIcon theIconSuiteHdl;             // icon suite 140
QListView *buttonList;             // the list
int16_t theListOffsets[6] = {4, 0, 149, 207, 265, 0}; // count, then the column stops
MacRect buttonListBounds;          // the list's data bounds
MacRect buttonBoxRect;             // the list's view rectangle
int32_t mainWindowRefCon;          // 1: list drawn as active

static QMainWindow *mainWindow;    // the window around the dialog
static QPoint lastKnownPosition;   // where the window was last placed or seen
static int designedHeight, designedWidth; // dialog 130 as designed
static int laidOutHeight, laidOutWidth;   // the size the items are laid out for

namespace {
// Draws the column header items as the style's header sections.
class HeaderPainter : public QObject {
public:
    using QObject::QObject;
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() != QEvent::Paint)
            return false;
        auto *w = static_cast<QWidget *>(watched);
        QPainter p(w);
        QStyleOptionHeader option;
        option.initFrom(w);
        option.rect = w->rect();
        option.state |= QStyle::State_Raised | QStyle::State_Horizontal;
        option.position = QStyleOptionHeader::Middle;
        option.orientation = Qt::Horizontal;
        w->style()->drawControl(QStyle::CE_HeaderSection, &option, &p, w);
        return true;
    }
};
} // namespace

static QWidget *item(int number)
{
    return DLGitem(mainDlog, number);
}

template <typename T> static T *typedItem(int number)
{
    return qobject_cast<T *>(item(number));
}

QMainWindow *MAINwindow(void)
{
    return mainWindow;
}

int MAINdesignedHeight(void)
{
    return designedHeight;
}

int MAINdesignedWidth(void)
{
    return designedWidth;
}

int MAINrowHeight(void)
{
    QFontMetrics fm(buttonList ? buttonList->font() : QApplication::font());
    int height = fm.ascent() + fm.descent() + fm.leading() + 1;
    return height < 16 ? 22 : height + 6; // room for the 16-pixel markers and some air
}

void MAINplaceWindow(void)
{
    if (!mainWindow)
        return;
    QPoint at(theConfigPrefs.mainLeft, theConfigPrefs.mainTop);
    mainWindow->setGeometry(QRect(at, mainWindow->size()));
    lastKnownPosition = mainWindow->geometry().topLeft();
}

int MAINwindowMoved(void)
{
    if (!mainWindow)
        return 0;
    QPoint now = mainWindow->geometry().topLeft();
    if (now == lastKnownPosition)
        return 0;
    lastKnownPosition = now;
    return 1;
}

void MAINupdateTitle(void)
{
    if (!mainWindow)
        return;
    mainWindow->setWindowTitle(DLGtext(mapFileName) + "[*] \u2014 Orvenda VQX Map Editor");
    mainWindow->setWindowModified(fileChg != 0);
}

namespace {
// Paints a bevel button: the bevel, the graphic flush left and the text flush right, each the
// button's own offset in from its edge, and the focus frame.
class BevelPainter : public QObject {
public:
    using QObject::QObject;
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() != QEvent::Paint)
            return false;
        auto *button = static_cast<QPushButton *>(watched);
        const int textOffset = button->property("bevelTextOffset").toInt();
        const int graphicOffset = button->property("bevelGraphicOffset").toInt();
        QStyle *style = button->style();
        QPainter p(button);
        QStyleOptionButton option;
        option.initFrom(button);
        if (button->isDown())
            option.state |= QStyle::State_Sunken;
        style->drawControl(QStyle::CE_PushButtonBevel, &option, &p, button);
        const QRect inside = style->subElementRect(QStyle::SE_PushButtonContents, &option, button);
        QRect text = inside.adjusted(0, 0, -textOffset, 0);
        if (!button->icon().isNull()) {
            const QSize size = button->iconSize();
            const QRect graphic(inside.left() + graphicOffset, inside.top() + (inside.height() - size.height()) / 2,
                size.width(), size.height());
            button->icon().paint(&p, graphic, Qt::AlignCenter, button->isEnabled() ? QIcon::Normal : QIcon::Disabled);
            text.setLeft(graphic.right() + 1);
        }
        int flags = Qt::AlignRight | Qt::AlignVCenter;
        flags |= style->styleHint(QStyle::SH_UnderlineShortcut, &option, button) ? Qt::TextShowMnemonic
                                                                                 : Qt::TextHideMnemonic;
        style->drawItemText(
            &p, text, flags, button->palette(), button->isEnabled(), button->text(), QPalette::ButtonText);
        if (button->hasFocus()) {
            QStyleOptionFocusRect focus;
            focus.initFrom(button);
            focus.rect = style->subElementRect(QStyle::SE_PushButtonFocusRect, &option, button);
            style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, &p, button);
        }
        return true;
    }
};
} // namespace

void createBevelAlignment(QPushButton *control, int textOffset, int graphicOffset)
{
    if (!control)
        return;
    control->setProperty("bevelTextOffset", textOffset);
    control->setProperty("bevelGraphicOffset", graphicOffset);
    // The small system font: smaller than the window's by about a sixth, as on the classic screens.
    QFont small = control->font();
    if (small.pointSizeF() > 0)
        small.setPointSizeF(std::max(7.0, small.pointSizeF() * 0.85));
    control->setFont(small);
    control->setIconSize(QSize(16, 16));
    if (!control->findChild<BevelPainter *>())
        control->installEventFilter(new BevelPainter(control));
}

static void connectItems(void)
{
    for (QPushButton *b : {btEditHdl, btShowRemotePictHdl, btUseGlobalActionHdl, btUseAppSpecificActionHdl})
        if (b)
            QObject::connect(b, &QPushButton::clicked, b, [b] { doItemHit((int16_t)DLGitemNumber(b)); });
    for (QCheckBox *c : {ckDisableHdl, ckShowDetailsHdl})
        if (c)
            QObject::connect(c, &QCheckBox::clicked, c, [c] { doItemHit((int16_t)DLGitemNumber(c)); });
    for (QComboBox *p : {popupAppleHdl, popupViewByHdl})
        if (p)
            QObject::connect(p, &QComboBox::activated, p, [p] { doItemHit((int16_t)DLGitemNumber(p)); });
}

static int menuBarHeight(void)
{
    return mainWindow->menuBar()->isVisible() || !mainWindow->isVisible() ? mainWindow->menuBar()->sizeHint().height()
                                                                           : 0;
}

// The window sized so that the dialog gets exactly height x width.
static void sizeWindowFor(int height, int width)
{
    int bar = menuBarHeight();
    mainWindow->setMinimumSize(mainDlogLimitRect.left, mainDlogLimitRect.top + bar);
    mainWindow->setMaximumSize(mainDlogLimitRect.right, mainDlogLimitRect.bottom + bar);
    mainWindow->resize(width, height + bar);
}

int createMain(void)
{
    QWidget *dialog = DLGload("DLOG", kMainDialogID, nullptr);
    if (!dialog)
        return -1;
    mainWindow = new QMainWindow;
    mainWindow->setAttribute(Qt::WA_QuitOnClose, false);
    mainWindow->setObjectName("mainWindow");
    mainDlog = dialog;
    designedHeight = laidOutHeight = dialog->height();
    designedWidth = laidOutWidth = dialog->width();
    mainWindow->setCentralWidget(dialog);
    MENUattach(mainWindow);
    ICONsetWindowIconWhenShown(mainWindow, ICONsvg(":/cicn/140.svg"));

    mainDlogLimitRect = LAYOUTgrowLimits(designedHeight, designedWidth);
    sizeWindowFor(designedHeight, designedWidth);
    MAINplaceWindow();
    updateMainWindowPositionConfiguration();
    mainWindowRefCon = 1;

    usrPictHdl = typedItem<QLabel>(kItemPicture);
    usrPictRect = usrPictHdl ? usrPictHdl->geometry() : QRect();
    applSettingsHdl = item(kItemApplSettings);
    buttonBoxContainerHdl = item(kItemListContainer);
    usrListHdl = item(kItemList);
    usrListRect = usrListHdl ? usrListHdl->geometry() : QRect();
    ckDisableHdl = typedItem<QCheckBox>(kItemDisable);
    btEditHdl = typedItem<QPushButton>(kItemEdit);
    createBevelAlignment(btEditHdl, 5, 5);
    stButtonColumnLabelHdl = typedItem<QLabel>(kItemTitleLabel);
    stButtonColumnLabelRect = stButtonColumnLabelHdl ? stButtonColumnLabelHdl->geometry() : QRect();
    ckShowDetailsHdl = typedItem<QCheckBox>(kItemShowDetails);
    popupAppleHdl = typedItem<QComboBox>(kItemApplPopup);
    stMapFileNameHdl = typedItem<QLabel>(kItemMapFileName);
    stRemoteNameHdl = typedItem<QLabel>(kItemRemoteName);
    btShowRemotePictHdl = typedItem<QPushButton>(kItemShowRemotePict);
    createBevelAlignment(btShowRemotePictHdl, 5, 5);
    QWidget *icon = item(kItemApplIcon);
    userIconRect = icon ? icon->geometry() : QRect();
    popupViewByHdl = typedItem<QComboBox>(kItemViewByPopup);
    btUseGlobalActionHdl = typedItem<QPushButton>(kItemUseGlobal);
    createBevelAlignment(btUseGlobalActionHdl, 5, 5);
    btUseAppSpecificActionHdl = typedItem<QPushButton>(kItemUseOwnAction);
    createBevelAlignment(btUseAppSpecificActionHdl, 5, 5);
    theIconSuiteHdl = ICONsvg(":/cicn/140.svg");
    if (btShowRemotePictHdl)
        btShowRemotePictHdl->setIcon(theIconSuiteHdl);
    if (btUseGlobalActionHdl)
        btUseGlobalActionHdl->setIcon(ICONsvg(":/cicn/128.svg"));

    auto *painter = new HeaderPainter(dialog);
    for (int n : {kItemHeaderMarker, kItemHeaderTitle, kItemHeaderAction, kItemHeaderDetails})
        if (QWidget *header = item(n))
            header->installEventFilter(painter);

    for (QPushButton *b : {btEditHdl, btUseGlobalActionHdl, btUseAppSpecificActionHdl, btShowRemotePictHdl})
        if (b)
            b->setEnabled(false);
    applMenuHdl = popupAppleHdl;
    connectItems();
    REMPICTsetMainDialog(dialog);
    doUpdate();
    MAINupdateTitle();

    if (theConfigPrefs.mainWindowSize != 0) {
        int height, width;
        LAYOUTunpackSize(theConfigPrefs.mainWindowSize, &height, &width);
        doGrowMainDlogDetail(height, width);
    }
    return 0;
}

int getSizeOfTitleColumn(void)
{
    QFontMetrics fm(buttonList ? buttonList->font() : (mainDlog ? mainDlog->font() : QApplication::font()));
    int widest = 0;
    if (viewByButton) {
        for (int i = 0; i < numApplications && i < kMaxApplications; i++)
            widest = std::max(widest, fm.horizontalAdvance(DLGtext(theActionByApplList[i].name)));
    } else if (currentAppl) {
        for (const ActionRecord *a = currentAppl->first; a; a = a->next)
            widest = std::max(widest, fm.horizontalAdvance(DLGtext(a->buttonName)));
    }
    return widest + 6;
}

static int leftOf(int number)
{
    QWidget *w = item(number);
    return w ? w->geometry().left() : 0;
}

static void shiftLeft(int number, int d)
{
    if (QWidget *w = item(number))
        w->move(w->x() - d, w->y());
}

void createListArea(void)
{
    if (!mainDlog || !usrListHdl)
        return;
    if (!buttonList)
        buttonList = LISTcreateView(mainDlog);
    usrListRect = usrListHdl->geometry();
    theListOffsets[1] = (int16_t)(leftOf(kItemHeaderMarker) - usrListRect.left());
    theListOffsets[2] = (int16_t)(leftOf(kItemHeaderTitle) - usrListRect.left());
    theListOffsets[3] = (int16_t)(leftOf(kItemHeaderAction) - usrListRect.left());
    theListOffsets[4] = (int16_t)(leftOf(kItemHeaderDetails) - usrListRect.left());

    int w = getSizeOfTitleColumn();
    int d = LAYOUTfitTitleColumn(theListOffsets, w);
    if (w != 0) {
        if (QWidget *title = item(kItemHeaderTitle))
            title->resize(w + 1, title->height());
        shiftLeft(kItemHeaderAction, d);
        shiftLeft(kItemActionLabel, d);
        if (QWidget *details = item(kItemHeaderDetails)) {
            details->move(details->x() - d, details->y());
            details->resize(usrListRect.right() + 1 - details->x(), details->height());
        }
        shiftLeft(kItemDetailsLabel, d);
    }

    maxNumItems = viewByButton ? numApplications : std::max(numButtonsOnRemote, maxNumButtons);
    buttonListBounds = MacRect{0, 0, (int16_t)maxNumItems, 1};

    int rowHeight = MAINrowHeight();
    int frame = buttonList->frameWidth();
    int viewHeight = LAYOUTviewHeight(usrListRect.height() - 2 * frame, rowHeight);
    buttonList->setGeometry(usrListRect.left(), usrListRect.top(), usrListRect.width(), viewHeight + 2 * frame);
    int scrollBar = buttonList->verticalScrollBar()->sizeHint().width();
    buttonBoxRect.top = (int16_t)(usrListRect.top() + frame);
    buttonBoxRect.left = (int16_t)(usrListRect.left() + frame);
    buttonBoxRect.bottom = (int16_t)(buttonBoxRect.top + viewHeight);
    buttonBoxRect.right = (int16_t)(usrListRect.left() + usrListRect.width() - frame - scrollBar);
    LISTprepareView(rowHeight);
    LISTsetRowCount(maxNumItems);
    buttonList->show();
    buttonList->raise();
}

int doGrowMainDlog(int height, int width)
{
    if (height == laidOutHeight && width == laidOutWidth)
        return 0;
    theConfigPrefs.mainWindowSize = LAYOUTpackSize(height, width);
    prefsChanged = 1;
    doGrowMainDlogDetail(height, width);
    mainDlog->update();
    MAINrefillKeepingSelection();
    return 1;
}

void doGrowMainDlogDetail(int height, int width)
{
    if (!mainDlog)
        return;
    int dh = height - laidOutHeight;
    int dw = width - laidOutWidth;
    laidOutHeight = height;
    laidOutWidth = width;
    if (mainWindow && mainDlog->size() != QSize(width, height))
        sizeWindowFor(height, width);
    if (QWidget *bottom = item(kItemBottomLine))
        bottom->move(bottom->x(), bottom->y() + dh);
    for (int n : {kItemApplSettings, kItemList})
        if (QWidget *w = item(n))
            w->resize(w->width() + dw, w->height() + dh);
}

void closeMain(void)
{
    if (buttonList) {
        LISTsetViewNotifier(nullptr);
        buttonList = nullptr;
    }
    REMPICTsetMainDialog(nullptr);
    QMainWindow *window = mainWindow;
    mainWindow = nullptr;
    mainDlog = nullptr;
    usrPictHdl = nullptr;
    applSettingsHdl = buttonBoxContainerHdl = usrListHdl = nullptr;
    ckDisableHdl = ckShowDetailsHdl = nullptr;
    btEditHdl = btShowRemotePictHdl = btUseGlobalActionHdl = btUseAppSpecificActionHdl = nullptr;
    stButtonColumnLabelHdl = stMapFileNameHdl = stRemoteNameHdl = nullptr;
    popupAppleHdl = applMenuHdl = popupViewByHdl = nullptr;
    if (window) {
        MENUdetach(window);
        window->hide();
        window->deleteLater();
    }
}

void MAINreset(void)
{
    closeMain();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    const int16_t initial[6] = {4, 0, 149, 207, 265, 0};
    memcpy(theListOffsets, initial, sizeof theListOffsets);
    mainDlogLimitRect = MacRect{0, 0, 0, 0};
    buttonListBounds = buttonBoxRect = MacRect{0, 0, 0, 0};
    mainWindowRefCon = 0;
    designedHeight = designedWidth = laidOutHeight = laidOutWidth = 0;
}
