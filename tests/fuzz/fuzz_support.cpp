// Shared set-up of the fuzz targets.
#include "fuzz_support.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
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

// Freed memory is held back from reuse for the last 32 MB of frees rather than 256 MB: a use after
// free within a run is still caught, and a run no longer walks into fresh pages on every allocation.
extern "C" const char *__asan_default_options()
{
    return "quarantine_size_mb=32";
}

static std::string prefsFolder; // the private preferences folder
static std::string programPath; // program path pointing at the built program folder
static SilentPresenter silent; // answers every alert without showing it

namespace {
struct Served {
    std::string name;
    const uint8_t *data = nullptr;
    size_t size = 0;
};
} // namespace
static Served served[4]; // working files read from memory
static int keptOpen = -1; // FUZZkeptOpenFile's descriptor

static FILE *openServed(const char *name, const char *mode)
{
    if (strcmp(mode, "r") != 0)
        return nullptr;
    for (Served &file : served)
        if (!file.name.empty() && file.name == name) {
            // A stream on no bytes at all reads as an empty file.
            static const uint8_t none = 0;
            FILE *stream = fmemopen((void *)(file.size ? file.data : &none), file.size, "r");
            if (!stream)
                abort();
            return stream;
        }
    return nullptr;
}

void FUZZinit()
{
    if (!prefsFolder.empty())
        return;
    // The files that are still written (the saves of the writers) go to memory too, where there is
    // a memory file system.
    char shm[] = "/dev/shm/vqx-fuzz-XXXXXX";
    char tmp[] = "/tmp/vqx-fuzz-XXXXXX";
    const char *made = mkdtemp(shm);
    if (!made)
        made = mkdtemp(tmp);
    if (!made)
        abort();
    std::string home = made;
    setenv("XDG_CONFIG_HOME", home.c_str(), 1);
    prefsFolder = home + "/Orvenda VQX Preferences";
    mkdir(prefsFolder.c_str(), 0770);
    programPath = std::string(VQX_APPDIR) + "/vqx-map-editor";
    mainArgs0 = programPath.c_str();
    PRESset(&silent);
    VQXFILESsetOpenHookForTests(openServed);
    VQXFILESskipSyncForTests(1);
    // Traces are still formatted, then dropped without a system call each (every trace flushes).
    int devnull = open("/dev/null", O_WRONLY);
    if (devnull >= 0) {
        dup2(devnull, 1);
        close(devnull);
    }
    cookie_io_functions_t discard = {};
    discard.write = [](void *, const char *, size_t size) -> ssize_t { return (ssize_t)size; };
    if (FILE *nowhere = fopencookie(nullptr, "w", discard))
        stdout = nowhere;
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

void FUZZserveFile(const char *name, const uint8_t *data, size_t size)
{
    for (Served &file : served)
        if (file.name.empty() || file.name == name) {
            file.name = name;
            file.data = data;
            file.size = size;
            return;
        }
    abort();
}

int FUZZkeptOpenFile(const uint8_t *data, size_t size)
{
    if (keptOpen < 0)
        keptOpen = memfd_create("fuzz-input", 0);
    if (keptOpen < 0 || ftruncate(keptOpen, 0) != 0 || (size && pwrite(keptOpen, data, size, 0) != (ssize_t)size)
        || lseek(keptOpen, 0, SEEK_SET) != 0)
        abort();
    return keptOpen;
}
