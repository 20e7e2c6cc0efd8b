// The window layer of the event log: a general viewer of fixed-width text lines with a vertical
// scroll bar, pulling each line's text through a callback, that follows new lines unless the user
// has scrolled away from the end.
#ifndef VQX_MAINWINDOW_EVENTLOG_VIEW_H
#define VQX_MAINWINDOW_EVENTLOG_VIEW_H

#include "mainwindow/eventlog.h"

class QWidget;
class QEvent;
class QObject;
class QScrollBar;

struct EWRect {
    short top, left, bottom, right;
};

// One viewer, fields in the order of the viewer record.
struct EWRecord {
    QWidget *window;          // the window
    EWRect textRect;          // text area
    EWRect sbarRect;          // scroll bar area
    void *scrollRgn;          // region used while scrolling (unused: the platform scrolls by repainting)
    QScrollBar *sbar;         // the vertical scroll bar
    EWTextProc textProc;      // a line's text by number
    void *textData;           // the callback's data (the log entry)
    EWRecord **handle;        // the record's own handle
    int firstLine;            // first available line number
    int numLines;             // number of available lines
    int topLine;              // top line shown
    int rowsFit;              // rows that fit in the text area
    int rowsDrawn;            // rows drawn (at most rowsFit)
    int charsPerRow;          // characters per row
    int firstBaseline;        // baseline of the first row
    int textLeft;             // left edge of the text
    int rowHeight;            // row height
    int charWidth;            // character width
    int scrolledAway;         // the user moved the view up: new lines do not move it
    int hold;                 // a second hold flag, tested with the first
    int scrollActions;        // scroll action counter
    int sbarEnabled;          // the scroll bar is enabled
    void *scrollProc;         // scroll action procedure reference
};

enum { kEWDownArrow = 21, kEWUpArrow = 20, kEWPageUp = 22, kEWPageDown = 23, kEWThumb = 129 };

QWidget *createEW(int resNum, EWTextProc proc, void *data);
void changeEW(QWidget *window, int first, int count);
void closeEW(QWidget *window);
void doUpdateEW(QWidget *window);
void doActivateEW(QWidget *window, int active);
void initEW(EWRecord *record);
void rePaintEW(EWRecord *record);
void paintLines(EWRecord *record, int firstRow, int count);
void sbaraction(EWRecord *record, int part);
// A click on the scroll bar's thumb released at `value` (0..100).
void doThumbEW(EWRecord *record, int value);
// The window was resized to width x height (the grow box).
void doGrowEW(EWRecord *record, int width, int height);
EWRecord *EWrecord(QWidget *window);

// Events for log windows: 1 when handled.
int EWWnonNullEvent(QObject *target, QEvent *event);
// The close box of a window: 1 when it was a log window (closed set to 1 when it was closed).
int EWWtrackGoAway(QWidget *window, int *closed);

// Registers this viewer with the log layer.
void EWWinstallViewer(void);

#endif
