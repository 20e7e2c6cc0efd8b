// The log layer of the event log: two rings of fixed-size lines, handed to their viewer windows
// on idle passes. The viewer itself is the window layer's, reached through EWWsetViewer.
#include "mainwindow/eventlog.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "shell/diagnostics.h"

EWWINFO EWINFO[2];           // the two logs
int initComplete;            // EWWinit has run
int myResNum;                // the viewer window's resource number
static EWWviewerOps viewer;  // the window layer's operations (all null: no windows)

void EWWsetViewer(const EWWviewerOps *ops)
{
    viewer = ops ? *ops : EWWviewerOps{};
}

void EWWreset(void)
{
    for (EWWINFO &entry : EWINFO) {
        if (entry.inUse && entry.window && viewer.closeEW)
            viewer.closeEW(entry.window);
        free(entry.bufferHdl);
    }
    memset(EWINFO, 0, sizeof EWINFO);
    initComplete = 0;
    myResNum = 0;
}

void EWWinit(int resNum)
{
    if (initComplete)
        return;
    memset(EWINFO, 0, sizeof EWINFO);
    myResNum = resNum;
    initComplete = 1;
}

void EWWunInit(void)
{
    for (EWWINFO &entry : EWINFO)
        if (entry.inUse)
            EWWunCreate(&entry);
}

EWWINFO *EWWcreate(int lines, int width)
{
    if (!initComplete) {
        BUGprintf("Orvenda VQX ERROR: EWWcreate() called before EWWinit()");
        return nullptr;
    }
    EWWINFO *entry = nullptr;
    for (EWWINFO &candidate : EWINFO)
        if (!candidate.inUse) {
            entry = &candidate;
            break;
        }
    if (!entry || lines <= 0 || width <= 0)
        return nullptr;
    char *buffer = (char *)calloc((size_t)lines, (size_t)width);
    if (!buffer)
        return nullptr;
    *entry = EWWINFO{};
    entry->bufferHdl = buffer;
    entry->buffer = buffer;
    entry->inUse = 1;
    entry->lineWidth = width;
    entry->numLines = lines;
    if (viewer.createEW) {
        entry->window = viewer.createEW(myResNum, maketext, entry);
        if (entry->window && viewer.changeEW)
            viewer.changeEW(entry->window, 0, 0);
        if (entry->window && viewer.selectEW)
            viewer.selectEW(entry->window);
    }
    return entry;
}

void EWWunCreate(EWWINFO *entry)
{
    if (!initComplete) {
        BUGprintf("Orvenda VQX ERROR: EWWunCreate() called before EWWinit()");
        return;
    }
    if (entry != &EWINFO[0] && entry != &EWINFO[1]) {
        BUGprintf("Orvenda VQX ERROR: EWWunCreate() called with invalid event window");
        return;
    }
    if (!entry->inUse) {
        BUGprintf("Orvenda VQX ERROR: EWWunCreate() for a not-in-use ewinfo");
        return;
    }
    if (entry->window && viewer.closeEW)
        viewer.closeEW(entry->window);
    free(entry->bufferHdl);
    *entry = EWWINFO{};
}

int EWWvprintf(EWWINFO *entry, const char *format, va_list args)
{
    if (!initComplete)
        return -2;
    if (!isActiveEw(entry))
        return -1;
    if ((entry->linesWritten + 1) % entry->numLines == entry->linesHanded)
        return -3;
    char *slot = entry->buffer + (size_t)(entry->linesWritten % entry->numLines) * (size_t)entry->lineWidth;
    vsnprintf(slot, (size_t)entry->lineWidth, format, args);
    entry->linesWritten++;
    return 0;
}

int EWWprintf(EWWINFO *entry, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int result = EWWvprintf(entry, format, args);
    va_end(args);
    return result;
}

const char *maketext(int line, void *data)
{
    EWWINFO *entry = (EWWINFO *)data;
    if (line < 0 || !entry || !entry->buffer)
        return "";
    return entry->buffer + (size_t)(line % entry->numLines) * (size_t)entry->lineWidth;
}

void _EWWupdate(EWWINFO *entry)
{
    if (!entry->window || entry->linesWritten <= entry->linesHanded)
        return;
    int first = 0, count = entry->linesWritten;
    if (entry->linesWritten > entry->numLines) {
        first = entry->linesWritten - entry->numLines;
        count = entry->numLines;
    }
    entry->linesHanded = entry->linesWritten;
    if (viewer.changeEW)
        viewer.changeEW(entry->window, first, count);
}

void EWWnullEvent(void)
{
    if (!initComplete) {
        BUGprintf("Orvenda VQX ERROR: EWWnullEvent() called before EWWinit()");
        return;
    }
    for (EWWINFO &entry : EWINFO)
        if (entry.inUse)
            _EWWupdate(&entry);
}

int EWWcheckClose(void)
{
    if (!initComplete) {
        BUGprintf("Orvenda VQX ERROR: EWWcheckClose() called before EWWinit()");
        return 0;
    }
    return 0;
}

int isActiveEw(EWWINFO *entry)
{
    return (entry == &EWINFO[0] || entry == &EWINFO[1]) && entry->inUse ? 1 : 0;
}

EWWINFO *isEwWindow(void *window)
{
    if (!window)
        return nullptr;
    for (EWWINFO &entry : EWINFO)
        if (entry.window == window)
            return &entry;
    return nullptr;
}
