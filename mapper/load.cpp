// Reads the configuration, remote description and mapping with the shared readers, catching every
// message they raise, then brings the mapping in line with the remote and compiles the table.
#include "mapper/load.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "mapper/log.h"
#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "mapping/model.h"
#include "mapping/reconcile.h"
#include "mapping/remote.h"
#include "mapping/tokens.h"
#include "platform/presenter.h"
#include "shell/diagnostics.h"
#include "shell/files.h"

namespace {
// Sends the readers' alerts and questions to the log and counts them; questions take the answer
// that changes nothing.
class LogPresenter : public Presenter {
public:
    int count = 0;
    std::string first;
    int alert(int alertId, const std::string &param0) override
    {
        note(param0);
        (void)alertId;
        return 1;
    }
    int promptForName(const std::string &prompt, std::string &, int) override
    {
        note(prompt);
        return 0;
    }
    int question(int, const std::string &text, int *) override
    {
        note(text);
        return 2;
    }
    bool chooseFile(const std::vector<std::string> &, std::string &) override { return false; }
    // A message counts; it is logged unless it is a trace, which the log has already.
    void note(const std::string &text, bool logIt = true)
    {
        if (count++ == 0)
            first = text;
        if (logIt)
            LOGinfo("files: %s", text.c_str());
    }
};
LogPresenter *reading; // the presenter of the read under way, which also counts error traces

// The readers' error traces ("Orvenda VQX ERROR: ...", an unknown word in a file ...) count as
// messages: a file that only traces them is damaged all the same.
void noteTrace(const char *text)
{
    if (reading && strncmp(text, "Orvenda VQX ERROR", 17) == 0)
        reading->note(text, false);
}
} // namespace

static void addFile(std::string *text, const char *name)
{
    char prefs[1024];
    std::string path = std::string(VQXFILESgetPrefsPath(prefs)) + "/" + name;
    struct stat st;
    char line[1400];
    if (name[0] != '\0' && stat(path.c_str(), &st) == 0)
        snprintf(line, sizeof line, "%s:%lu:%lld:%lld.%09ld;", name, (unsigned long)st.st_ino, (long long)st.st_size,
            (long long)st.st_mtim.tv_sec, st.st_mtim.tv_nsec);
    else
        snprintf(line, sizeof line, "%s:-;", name);
    *text += line;
}

LOADsignature LOADcurrentSignature(const MTABtable &table)
{
    LOADsignature signature;
    addFile(&signature.text, VQX_CONFIG_FILE_NAME);
    addFile(&signature.text, table.mapName.c_str());
    addFile(&signature.text, table.remName.c_str());
    return signature;
}

LOADresult LOADread(void)
{
    LOADresult result;
    LogPresenter presenter;
    Presenter *previous = PRESset(&presenter);
    reading = &presenter;
    BUGtraceObserver previousObserver = BUGsetTraceObserver(noteTrace);
    // The model and the names start empty, as in a fresh editor.
    MAPreset();
    REMreset();
    CFGreset();
    MAPforgetScriptChecks();
    int status = -1;
    if (!VQXFILESprefsFolderExists()) {
        presenter.first = "the preferences folder is missing (run vqx-install-preferences)";
        LOGinfo("files: %s", presenter.first.c_str());
    } else if (readGlobalConfiguration() == 0 && readMapAndRemFiles() == 0) {
        if (checkForMissingButtons()) {
            addAllButtonsToMap();
            reorderAllButtons();
        }
        result.table = MTABcompile();
        status = 0;
    }
    BUGsetTraceObserver(previousObserver);
    reading = nullptr;
    PRESset(previous);
    result.status = status;
    result.alerts = presenter.count;
    result.why = presenter.first;
    if (status != 0 && result.why.empty())
        result.why = "the files could not be read";
    result.table.mapName = mapFileName;
    result.table.remName = remFileName;
    result.table.input = adapterName;
    result.signature = LOADcurrentSignature(result.table);
    // The model is not needed once compiled: free it so that nothing refers to it by accident.
    MAPreset();
    REMreset();
    return result;
}

LOADresult LOADreadRemote(const char *name)
{
    LOADresult result;
    LogPresenter presenter;
    Presenter *previous = PRESset(&presenter);
    reading = &presenter;
    BUGtraceObserver previousObserver = BUGsetTraceObserver(noteTrace);
    free(cmdBufMemory);
    cmdBufMemoryLen = 20000;
    cmdBufMemory = static_cast<char *>(malloc((size_t)cmdBufMemoryLen));
    REMreset();
    lastWasEol = 0;
    result.status = parseRemFile(name) == 0 ? 0 : -1;
    result.table = MTABcompileRemote();
    BUGsetTraceObserver(previousObserver);
    reading = nullptr;
    PRESset(previous);
    result.alerts = presenter.count;
    result.why = presenter.first;
    if (result.status != 0 && result.why.empty())
        result.why = "the remote description could not be read";
    REMreset();
    return result;
}
