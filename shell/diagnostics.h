// Tracing and alerts: the trace printers, the modal error alert, the fatal-style alert and the
// three question dialogs. Every user-facing message of the editor passes through here.
#ifndef VQX_SHELL_DIAGNOSTICS_H
#define VQX_SHELL_DIAGNOSTICS_H

#include <cstdarg>

struct EWWINFO;

extern EWWINFO *myEw;        // the event log window opened from the menu, or none
extern char theText[256];    // alert text: at most 254 characters, then made length-prefixed
extern char messageLine[256]; // callers pre-format a message here before errormsg

int BUGprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));
int BUGprintfNR(const char *format, ...) __attribute__((format(printf, 1, 2)));
int BUGIACprintf(const char *tag, const char *format, ...) __attribute__((format(printf, 2, 3)));
int BUGvprintf(const char *format, va_list args, int addNewline);
int zprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));

// A routine shown the text of every trace made with BUGprintf or BUGprintfNR, before it is
// written; the previous one is returned (none: null).
typedef void (*BUGtraceObserver)(const char *text);
BUGtraceObserver BUGsetTraceObserver(BUGtraceObserver observer);

int errormsg(const char *format, ...) __attribute__((format(printf, 1, 2)));
int BUGfatal(const char *format, ...) __attribute__((format(printf, 1, 2)));
int VQXALERTprintfFATAL(const char *format, ...) __attribute__((format(printf, 1, 2)));

int promptForName(const char *prompt, char *name, int maxLen);
int ynmessage(const char *text);
int ynmessageDont(const char *text, int questionNumber);

// Forgets the remembered "don't ask again" answers and closes the trace's window link.
void DIAGreset(void);

#endif
