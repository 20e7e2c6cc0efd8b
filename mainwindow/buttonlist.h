// The button list in the window: its view, the row drawing with the column stops and marker
// icons, filling it for the current view, re-wording the selected row, the global icon.
#ifndef VQX_MAINWINDOW_BUTTONLIST_H
#define VQX_MAINWINDOW_BUTTONLIST_H

#include <QFontMetrics>
#include <QIcon>
#include <QString>
#include <cstdint>

class QListView;
class QPainter;
class QRect;
class QWidget;

extern QIcon theGlobeIconSuiteHdl;   // icon suite 128
extern QIcon theDisableIconSuiteHdl; // icon suite 129
extern QIcon theMissingIconSuiteHdl; // icon suite 130
extern int16_t gPixelDepth;          // the main screen's depth
extern uint8_t gIsColourDevice;      // 1 on a colour screen

int stuffMain(void);
void stuffButtonList(void);
void updateCurrentButton(void);
void drawGlobalIcon(void);
// The list's definition routine: initialise (load the marker icons, look at the screen), draw a
// row, or highlight a rectangle; other messages are ignored.
enum { kListInit = 0, kListDraw = 1, kListHilite = 2 };
void tabsLDEF(int message, bool select, const QRect &cellRect, int row, QPainter *painter, bool active);
// Draws one row; `active` selects the active or inactive look.
void DrawCell(QPainter *painter, bool select, const QRect &cellRect, int row, bool active);
void HiliteRect(QPainter *painter, const QRect &rect, bool active);
// The text shortened until it fits width with a space's width to spare, ending in an ellipsis.
QString AdjustStringWidth(const QString &text, int width, const QFontMetrics &metrics);
void doGetDepthAndDevice(void);

// The list's view (made once per dialog), its rows' height, and selecting a row in it.
QListView *LISTcreateView(QWidget *parent);
void LISTprepareView(int rowHeight);
void LSetSelect(int row);
void LClearSelect(void);
// The selected row of the view, or -1.
int LGetSelect(void);
// Refills the list and shows the selected row selected again (a resize, a new wording).
void MAINrefillKeepingSelection(void);

#endif
