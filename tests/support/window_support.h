// Helpers for the window tests: the program path and resource file as the program has them, and
// answering a modal dialog that is about to open.
#ifndef VQX_TESTS_WINDOW_SUPPORT_H
#define VQX_TESTS_WINDOW_SUPPORT_H

#include <functional>

class QWidget;

// Points the program path into the build's program folder and registers the resource file.
void WINTESTinit();
// Runs fn with the next modal dialog once it is shown (polled from the event loop).
void WINTESTwhenModal(std::function<void(QWidget *)> fn);

#endif
