// The editor's main: its own path first, then the application object (the font configuration
// being read meanwhile), the presenter of its dialogs and the resource file beside it; the rest is
// start-up, the event loop and shutdown.
#include <QApplication>
#include <cstdio>
#include <string>
#include <unistd.h>

#include "platform/fonts.h"
#include "platform/qtpresenter.h"
#include "platform/resfile.h"
#include "shell/files.h"
#include "shell/startup.h"

// The absolute path of the running executable; argv[0] when the system cannot say.
static std::string programPath(const char *argv0)
{
    char exe[1024];
    ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n <= 0)
        return argv0 ? argv0 : "";
    exe[n] = '\0';
    return exe;
}

int main(int argc, char **argv)
{
    static std::string self = programPath(argc > 0 ? argv[0] : nullptr);
    mainArgs0 = self.c_str();
    // The font configuration is read meanwhile; the window's first text needs it.
    FONTSprepareInBackground();
    QApplication app(argc, argv);
    QApplication::setApplicationName("Orvenda VQX Map Editor");
    QApplication::setApplicationVersion("2.5.0");
    QApplication::setDesktopFileName("vqx-map-editor");
    QApplication::setQuitOnLastWindowClosed(false);
    static QtPresenter presenter;
    PRESset(&presenter);
    if (RESopenBesideProgram(mainArgs0) != 0)
        fprintf(stderr, "vqx-map-editor: the resource file %s is missing beside the program\n",
                VQX_RESOURCE_FILE_NAME);
    FONTSwaitUntilPrepared();
    return VQXMAINrun();
}
