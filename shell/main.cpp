// The editor's start-up. The steps that exist so far run in their order: program path, resource
// file, preferences folder check, event log, configuration, working file lists, preferences;
// then it reports what it loaded and shuts down in order.
#include <QApplication>
#include <cstdio>
#include <string>
#include <unistd.h>

#include "mainwindow/eventlog.h"
#include "mapping/config.h"
#include "platform/qtpresenter.h"
#include "platform/resfile.h"
#include "shell/diagnostics.h"
#include "shell/files.h"
#include "shell/prefs.h"

int done; // 0 while the event loop runs

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
    QApplication app(argc, argv);
    QApplication::setApplicationName("Orvenda VQX Map Editor");
    QApplication::setDesktopFileName("vqx-map-editor");
    static QtPresenter presenter;
    PRESset(&presenter);
    if (RESopenBesideProgram(mainArgs0) != 0)
        fprintf(stderr, "vqx-map-editor: the resource file %s is missing beside the program\n",
                VQX_RESOURCE_FILE_NAME);

    if (!VQXFILESprefsFolderExists())
        VQXALERTprintfFATAL("The Orvenda VQX Map Editor is missing the necessary configuration files.  Please re-install.");
    EWWinit(128);
    if (readGlobalConfiguration() != 0) {
        errormsg("Configuration files corrupted and/or missing; reinstall required");
        exit(0);
    }
    VQXFILESgetPrefsFiles();
    getPrefs();

    printf("configuration: mapping %s, remote %s, adapter %s, command buffer %d bytes\n", mapFileName,
           remFileName, adapterName, cmdBufMemoryLen);
    printf("preferences folder: %d mapping file(s), %d remote file(s)\n", numberOfMappings, numberOfRemotes);
    printf("main window at %d, %d\n", theConfigPrefs.mainTop, theConfigPrefs.mainLeft);

    EWWunInit();
    closePrefs();
    return 0;
}
