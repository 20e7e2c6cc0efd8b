// Shared set-up of the fuzz targets.
#include "fuzz_support.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/presenter.h"
#include "shell/files.h"

namespace {
class SilentPresenter : public Presenter {
public:
    int alert(int, const std::string &) override { return 1; }
    int promptForName(const std::string &, std::string &, int) override { return 0; }
    int question(int, const std::string &, int *) override { return 2; }
    bool chooseFile(const std::vector<std::string> &, std::string &) override { return false; }
};
} // namespace

static std::string prefsFolder;    // the private preferences folder
static std::string programPath;    // program path pointing at the built program folder
static SilentPresenter silent;     // answers every alert without showing it

void FUZZinit()
{
    if (!prefsFolder.empty())
        return;
    char pattern[] = "/tmp/vqx-fuzz-XXXXXX";
    std::string home = mkdtemp(pattern);
    setenv("XDG_CONFIG_HOME", home.c_str(), 1);
    prefsFolder = home + "/Orvenda VQX Preferences";
    mkdir(prefsFolder.c_str(), 0770);
    programPath = std::string(VQX_APPDIR) + "/vqx-map-editor";
    mainArgs0 = programPath.c_str();
    PRESset(&silent);
    int devnull = open("/dev/null", O_WRONLY);
    if (devnull >= 0) {
        dup2(devnull, 1);
        close(devnull);
    }
}

const std::string &FUZZprefsFolder()
{
    return prefsFolder;
}

void FUZZwriteFile(const char *name, const uint8_t *data, size_t size)
{
    std::string path = prefsFolder + "/" + name;
    FILE *f = fopen(path.c_str(), "wb");
    if (!f)
        abort();
    if (size)
        fwrite(data, 1, size, f);
    fclose(f);
}
