// Installation of the working files from the pristine set, the file copy, and all-or-nothing
// saving of a working file through a temporary file in the preferences folder.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "shell/diagnostics.h"
#include "shell/files.h"

// The files an installation places in the preferences folder.
InstallationFile installationFiles[7] = {
    {1, "OrvendaVQXM1.map"}, {1, "OrvendaVQXM1A.REM"}, {1, "OrvendaVQXM2.map"}, {1, "OrvendaVQXM2A.REM"},
    {1, "DeckSet.REM"},      {1, "OrvendaVQX.cfg"},    {1, "show.Welcome"},
};

void copy(const char *destination, const char *source)
{
    FILE *in = fopen(source, "rb");
    if (!in)
        return;
    FILE *out = fopen(destination, "wb");
    if (!out)
        return; // the source stays open, as it always did; it is reclaimed at exit
    char block[256];
    size_t n;
    while ((n = fread(block, 1, sizeof block, in)) > 0)
        fwrite(block, 1, n, out);
    fclose(in);
    fclose(out);
}

int VQXFILEScreatePrefsFolder(void)
{
    char prefs[1024];
    if (!VQXFILESgetPrefsPath(prefs)) {
        BUGprintf("Orvenda VQX ERROR: VQXFILESopenPrefsFile(): unable to get preferences path");
        return -1;
    }
    if (mkdir(prefs, 0770) != 0) {
        int err = errno;
        BUGprintf("Orvenda VQX ERROR: mkdir [%s] error %d", prefs, err);
        return -err;
    }
    chmod(prefs, 0770); // the mode is meant as given, whatever the umask says
    return 0;
}

int VQXFILEScfgFilePresentInBundle(void)
{
    char path[1024];
    snprintf(path, sizeof path, "%s", mainArgs0 ? mainArgs0 : "");
    char *slash = strrchr(path, '/');
    if (slash)
        *slash = '\0';
    contentsMacOSToResources(path);
    size_t len = strlen(path);
    snprintf(path + len, sizeof path - len, "/%s", "OrvendaVQX.cfg");
    if (VQXFILESfileExists(path))
        return 1;
    BUGprintf("CFG file [%s] missing", path);
    return 0;
}

static void moveFilesFromBundle(int overwrite)
{
    for (const InstallationFile &file : installationFiles) {
        FILE *stream = VQXFILESopenPrefsFile(file.name, "r", overwrite);
        if (stream)
            fclose(stream);
    }
}

void VQXFILESmoveFilesFromBundleAsNecessary(void)
{
    moveFilesFromBundle(0);
}

void VQXFILESmoveFilesFromBundleOverwrite(void)
{
    moveFilesFromBundle(1);
}

static int skipSync; // tests only: no fsync of saved files and their folder

void VQXFILESskipSyncForTests(int skip)
{
    skipSync = skip;
}

FILE *VQXFILESbeginSave(const char *name, VQXSAVE *save)
{
    save->stream = nullptr;
    save->tmpPath[0] = save->finalPath[0] = '\0';
    // Opening for writing has always copied the pristine file first when the working copy was
    // missing; the open does it here too, and its stream is not needed.
    FILE *working = VQXFILESopenPrefsFile(name, "r", 0);
    if (working)
        fclose(working);
    char prefs[1024];
    if (!VQXFILESgetPrefsPath(prefs))
        return nullptr;
    int n1 = snprintf(save->finalPath, sizeof save->finalPath, "%s/%s", prefs, name);
    int n2 = snprintf(save->tmpPath, sizeof save->tmpPath, "%s/.%s.XXXXXX", prefs, name);
    if (n1 < 0 || n2 < 0 || (size_t)n1 >= sizeof save->finalPath || (size_t)n2 >= sizeof save->tmpPath)
        return nullptr;
    int fd = mkstemp(save->tmpPath);
    if (fd < 0) {
        save->tmpPath[0] = '\0';
        return nullptr;
    }
    struct stat st;
    mode_t mode;
    if (stat(save->finalPath, &st) == 0) {
        mode = st.st_mode & 07777;
    } else {
        mode_t mask = umask(0);
        umask(mask);
        mode = 0666 & ~mask;
    }
    fchmod(fd, mode);
    save->stream = fdopen(fd, "w");
    if (!save->stream) {
        close(fd);
        unlink(save->tmpPath);
        save->tmpPath[0] = '\0';
    }
    return save->stream;
}

void VQXFILESabortSave(VQXSAVE *save)
{
    if (save->stream)
        fclose(save->stream);
    save->stream = nullptr;
    if (save->tmpPath[0])
        unlink(save->tmpPath);
    save->tmpPath[0] = '\0';
}

int VQXFILEScommitSave(VQXSAVE *save)
{
    int err = 0;
    if (ferror(save->stream))
        err = errno ? errno : EIO;
    if (!err && fflush(save->stream) != 0)
        err = errno;
    if (!err && !skipSync && fsync(fileno(save->stream)) != 0)
        err = errno;
    int closed = fclose(save->stream);
    save->stream = nullptr;
    if (!err && closed != 0)
        err = errno;
    if (!err && rename(save->tmpPath, save->finalPath) != 0)
        err = errno;
    if (err) {
        unlink(save->tmpPath);
        save->tmpPath[0] = '\0';
        return -err;
    }
    save->tmpPath[0] = '\0';
    char folder[1100];
    snprintf(folder, sizeof folder, "%s", save->finalPath);
    char *slash = strrchr(folder, '/');
    if (slash)
        *slash = '\0';
    int dir = skipSync ? -1 : open(folder, O_RDONLY | O_DIRECTORY);
    if (dir >= 0) {
        fsync(dir);
        close(dir);
    }
    return 0;
}
