// The main window: dialog 130 inside a window that carries the menu bar, its items by number, the
// button list's area and column stops, the resize limits and the layout on resize.
#ifndef VQX_MAINWINDOW_MAINDIALOG_H
#define VQX_MAINWINDOW_MAINDIALOG_H

#include <QIcon>
#include <QRect>
#include <cstdint>

#include "mainwindow/layout.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QListView;
class QMainWindow;
class QPushButton;
class QWidget;

enum {
    kMainDialogID = 130,
    kItemPicture = 1,
    kItemBottomLine = 2,
    kItemApplSettings = 3,
    kItemListContainer = 4,
    kItemHeaderMarker = 5,
    kItemHeaderTitle = 6,
    kItemHeaderAction = 8,
    kItemList = 9,
    kItemDisable = 11,
    kItemEdit = 12,
    kItemActionLabel = 14,
    kItemTitleLabel = 15,
    kItemShowDetails = 17,
    kItemApplPopup = 18,
    kItemMapFileName = 19,
    kItemRemoteName = 20,
    kItemShowRemotePict = 21,
    kItemHeaderDetails = 23,
    kItemDetailsLabel = 24,
    kItemApplIcon = 25,
    kItemViewByPopup = 26,
    kItemUseGlobal = 27,
    kItemUseAppSpecific = 28
};

extern QWidget *mainDlog;                 // the dialog (content of the main window), null when none
extern QLabel *usrPictHdl;                // item 1: picture 134
extern QRect usrPictRect;
extern QWidget *applSettingsHdl;          // item 3: the group box
extern QWidget *buttonBoxContainerHdl;    // item 4
extern QWidget *usrListHdl;               // item 9: hosts the list
extern QRect usrListRect;
extern QCheckBox *ckDisableHdl;           // item 11
extern QPushButton *btEditHdl;            // item 12
extern QLabel *stButtonColumnLabelHdl;    // item 15
extern QRect stButtonColumnLabelRect;
extern QCheckBox *ckShowDetailsHdl;       // item 17
extern QComboBox *popupAppleHdl;          // item 18
extern QComboBox *applMenuHdl;            // its menu: the same popup
extern QLabel *stMapFileNameHdl;          // item 19
extern QLabel *stRemoteNameHdl;           // item 20
extern QPushButton *btShowRemotePictHdl;  // item 21
extern QRect userIconRect;                // item 25's rectangle
extern QComboBox *popupViewByHdl;         // item 26
extern QPushButton *btUseGlobalActionHdl; // item 27
extern QPushButton *btUseAppSpecificActionHdl; // item 28
extern MacRect mainDlogLimitRect;         // top/left: minimum height/width; bottom/right: maximum
extern QIcon theIconSuiteHdl;             // icon suite 140
extern QListView *buttonList;             // the list, null when none
extern int16_t theListOffsets[6];         // 4, then the four column stops from the list's left edge
extern MacRect buttonListBounds;          // 0, 0, rows, 1
extern MacRect buttonBoxRect;             // the list's view rectangle (rows only, whole rows)
extern int32_t mainWindowRefCon;          // 1: the list may draw as active

// The window around the dialog (carrying the menu bar), or null.
QMainWindow *MAINwindow(void);
int createMain(void);
void createBevelAlignment(QPushButton *control, int textOffset, int graphicOffset);
int getSizeOfTitleColumn(void);
void createListArea(void);
// The window's content was resized by the user to `size` (height, width); 0 when unchanged.
int doGrowMainDlog(int height, int width);
void doGrowMainDlogDetail(int height, int width);
void closeMain(void);
// The dialog's designed size, and the size its items are laid out for.
int MAINdesignedHeight(void);
int MAINdesignedWidth(void);
// The row height of the list.
int MAINrowHeight(void);
// Sets the window title from the mapping's name and its changed mark.
void MAINupdateTitle(void);
// Puts the window at the position saved in the preferences (not reported as a move of the user's).
void MAINplaceWindow(void);
// 1 when the window now stands elsewhere than where it was last placed or seen (a move of the
// user's), remembering the new place; else 0.
int MAINwindowMoved(void);

void MAINreset(void);

#endif
