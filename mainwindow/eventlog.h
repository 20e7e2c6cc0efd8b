// The event log: up to two logs, each a ring of fixed-size text lines, handed to a viewer window
// on idle passes. The ring lives in the core library; the viewer (the window layer) registers its
// operations with EWWsetViewer so that the log works, windowless, without Qt Widgets.
#ifndef VQX_MAINWINDOW_EVENTLOG_H
#define VQX_MAINWINDOW_EVENTLOG_H

#include <cstdarg>

typedef const char *(*EWTextProc)(int line, void *data);

// One log, fields in the order of the log table.
struct EWWINFO {
    int inUse;        // 0/1
    char *bufferHdl;  // the line buffer
    char *buffer;     // the same buffer, "locked"
    void *window;     // the viewer window, or null
    int lineWidth;    // bytes per line slot, terminating zero included
    int numLines;     // number of line slots
    int linesWritten; // running count, never reset
    int linesHanded;  // lines handed to the window, running count
};

// Operations of the window layer; all may be left null (no window is then shown).
struct EWWviewerOps {
    void *(*createEW)(int resNum, EWTextProc proc, void *data);
    void (*changeEW)(void *window, int first, int count);
    void (*closeEW)(void *window);
    void (*selectEW)(void *window); // bring to front
};

extern EWWINFO EWINFO[2]; // the log table
extern int initComplete;  // EWWinit has run
extern int myResNum;      // window resource number given to EWWinit

void EWWsetViewer(const EWWviewerOps *ops);
void EWWinit(int resNum);
void EWWunInit(void);
EWWINFO *EWWcreate(int lines, int width);
void EWWunCreate(EWWINFO *entry);
int EWWvprintf(EWWINFO *entry, const char *format, va_list args);
int EWWprintf(EWWINFO *entry, const char *format, ...) __attribute__((format(printf, 2, 3)));
const char *maketext(int line, void *entry);
void EWWnullEvent(void);
void _EWWupdate(EWWINFO *entry);
int EWWcheckClose(void);
int isActiveEw(EWWINFO *entry);
EWWINFO *isEwWindow(void *window);

// Back to the state before EWWinit (tests).
void EWWreset(void);

#endif
