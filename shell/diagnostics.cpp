// Trace printers and alerts. Traces go to the event log window when one is open, else to standard
// output; alerts and the fatal-style alerts go through the presenter as alert 129.
#include "shell/diagnostics.h"

#include <cstdio>
#include <cstring>
#include <string>

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

static BUGtraceObserver traceObserver; // sees every trace, for a program that judges them

BUGtraceObserver BUGsetTraceObserver(BUGtraceObserver observer)
{
    BUGtraceObserver old = traceObserver;
    traceObserver = observer;
    return old;
}

static int traceTo(const char *format, va_list args, int addNewline)
{
    if (traceObserver) {
        char line[1024];
        va_list copy;
        va_copy(copy, args);
        vsnprintf(line, sizeof line, format, copy);
        va_end(copy);
        traceObserver(line);
    }
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

int errormsg(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int result = showErrorAlert(format, args);
    va_end(args);
    return result;
}

// The second expansion of a fatal-style alert's text: every conversion the text brought in is
// expanded again, as the alerts always did, but with zero values (numbers 0, texts "(null)"), so
// that a "%n", "%s" or "%9$d" read from a damaged file can never reach memory it does not own.
static void expandAgain(const char *text, char *out, size_t size)
{
    size_t used = 0;
    auto append = [&](const char *piece, size_t len) {
        if (used + len >= size)
            len = size - 1 - used;
        memcpy(out + used, piece, len);
        used += len;
    };
    const char *p = text;
    while (*p && used + 1 < size) {
        if (*p != '%') {
            append(p++, 1);
            continue;
        }
        const char *start = p++;
        if (*p == '%') {
            append("%", 1);
            p++;
            continue;
        }
        std::string conv = "%";
        while (*p && strchr("0123456789$-+ #'.*", *p)) {
            if (*p != '$' && *p != '*')
                conv += *p;
            else if (*p == '$')
                conv = "%"; // a position: what came before it was the argument number
            p++;
        }
        while (*p && strchr("hlLqjzt", *p))
            p++;
        char conversion = *p ? *p++ : '\0';
        char piece[512];
        int n = -1;
        switch (conversion) {
        case 'd': case 'i': case 'o': case 'u': case 'x': case 'X': case 'c':
            n = snprintf(piece, sizeof piece, (conv + (conversion == 'c' ? 'd' : conversion)).c_str(), 0);
            break;
        case 'e': case 'E': case 'f': case 'F': case 'g': case 'G': case 'a': case 'A':
            n = snprintf(piece, sizeof piece, (conv + conversion).c_str(), 0.0);
            break;
        case 's':
            n = snprintf(piece, sizeof piece, (conv + 's').c_str(), "(null)");
            break;
        case 'p':
            n = snprintf(piece, sizeof piece, "(nil)");
            break;
        case 'n':
            n = 0;
            break;
        default: // not a conversion: the text stands as it is
            append(start, (size_t)(p - start));
            continue;
        }
        if (n > 0)
            append(piece, (size_t)n < sizeof piece ? (size_t)n : sizeof piece - 1);
    }
    out[used] = '\0';
}

// The fatal-style alerts: traced to the log window when it is open, then shown with the text
// expanded once more.
static int fatalAlert(char *buf, const char *format, va_list args)
{
    if (myEw) {
        va_list copy;
        va_copy(copy, args);
        EWWvprintf(myEw, format, copy);
        va_end(copy);
    }
    vsnprintf(buf, 1024, format, args);
    char expanded[1024];
    expandAgain(buf, expanded, sizeof expanded);
    return errormsg("%s", expanded);
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
