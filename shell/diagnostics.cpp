// Trace printers and alerts. Traces go to the event log window when one is open, else to standard
// output; alerts and the fatal-style alerts go through the presenter as alert 129.
#include "shell/diagnostics.h"

#include <cstdio>
#include <cstring>

#include "mainwindow/eventlog.h"
#include "platform/presenter.h"

EWWINFO *myEw = nullptr;  // the open event log window, or none
char theText[256];        // shared scratch for alert and dialog texts
char messageLine[256];    // pre-formatted messages for errormsg
static char fatalbuf[1024]; // BUGfatal's own formatting buffer
static char alertbuf[1024]; // VQXALERTprintfFATAL's own formatting buffer

int BUGvprintf(const char *format, va_list args, int addNewline)
{
    int result = vprintf(format, args);
    if (addNewline)
        putchar('\n');
    fflush(stdout);
    return result;
}

static int traceTo(const char *format, va_list args, int addNewline)
{
    if (myEw)
        return EWWvprintf(myEw, format, args);
    return BUGvprintf(format, args, addNewline);
}

int BUGprintf(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int result = traceTo(format, args, 1);
    va_end(args);
    return result;
}

int BUGprintfNR(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int result = traceTo(format, args, 0);
    va_end(args);
    return result;
}

int BUGIACprintf(const char *tag, const char *format, ...)
{
    (void)tag;
    va_list args;
    va_start(args, format);
    int result = BUGvprintf(format, args, 1);
    va_end(args);
    return result;
}

int zprintf(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int result = BUGvprintf(format, args, 1);
    va_end(args);
    return result;
}

// Formats into theText (at most 254 characters), makes it length-prefixed and shows alert 129.
static int showErrorAlert(const char *format, va_list args)
{
    vsnprintf(theText, 255, format, args);
    size_t len = strlen(theText);
    memmove(theText + 1, theText, len);
    theText[0] = (char)len;
    std::string text(theText + 1, len);
    ParamText(text.c_str());
    return Alert(129);
}

#pragma GCC diagnostic ignored "-Wformat-extra-args"
#pragma GCC diagnostic ignored "-Wformat-security"

int errormsg(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int result = showErrorAlert(format, args);
    va_end(args);
    return result;
}

// The fatal-style alerts: traced to the log window when it is open, then shown with the expanded
// text used once more as errormsg's format (a "%" brought in by the arguments is expanded again).
static int fatalAlert(char *buf, const char *format, va_list args)
{
    if (myEw) {
        va_list copy;
        va_copy(copy, args);
        EWWvprintf(myEw, format, copy);
        va_end(copy);
    }
    vsnprintf(buf, 1024, format, args);
    // Zero arguments stand behind the text so that a conversion it brought in reads a zero
    // (or "(null)") instead of whatever happens to be on the stack.
    void *none = nullptr;
    return errormsg(buf, none, none, none, none, none, none, none, none);
}

int BUGfatal(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int result = fatalAlert(fatalbuf, format, args);
    va_end(args);
    return result;
}

int VQXALERTprintfFATAL(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int result = fatalAlert(alertbuf, format, args);
    va_end(args);
    return result;
}
