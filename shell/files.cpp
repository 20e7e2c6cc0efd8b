// Path routines over the program path and the preferences folder, opening working files (copied
// from the pristine set when missing), and the lists of mapping and remote files.
#include "shell/files.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include "shell/diagnostics.h"

const char *mainArgs0;          // the program's own path
char mapFileNames[20][256];     // mapping files found in the preferences folder
int32_t numberOfMappings;       // used entries of mapFileNames
char remFileNames[20][256];     // remote description files found there
int32_t numberOfRemotes;        // used entries of remFileNames
static char resourcesPath[1024]; // VQXFILESgetResourcesPath's result
static char setResourcesPath[1024]; // VQXFILESsetResourcesPath's result
static char resourcesFilePath[1024]; // VQXFILESpathToResourcesFile's result
static char picPath[1024];      // VQXFILEremNameToPicBundleName's result
static char specPath[1024];     // VQXFILESgetPathFromSpec's result
static char macSpecPath[1024];  // VQXFILESgetMacPathFromSpec's result

char *contentsMacOSToResources(char *path)
{
    char *marker = strstr(path, "OrvendaVQX.app/Contents/MacOS");
    if (marker) {
        char *macos = strstr(path, "MacOS");
        if (macos && (size_t)(macos - path) + sizeof "Resources" <= 1024)
            strcpy(macos, "Resources");
        return path;
    }
    char *contents = strstr(path, "/Contents/MacOS");
    if (contents) {
        *contents = '\0';
        char *slash = strrchr(path, '/');
        if (slash)
            *slash = '\0';
        return path;
    }
    char *slash = strrchr(path, '/');
    if (slash)
        *slash = '\0';
    return path;
}

int FindFolder(char *buffer)
{
    const char *config = getenv("XDG_CONFIG_HOME");
    const char *home = getenv("HOME");
    int n;
    if (config && config[0] == '/')
        n = snprintf(buffer, 1024, "%s", config);
    else if (home && home[0] == '/')
        n = snprintf(buffer, 1024, "%s/.config", home);
    else
        return -ENOENT;
    if (n < 0 || n >= 1024 - (int)sizeof "/" VQX_PREFS_FOLDER_NAME "/Manager Prefs")
        return -ENAMETOOLONG;
    while (n > 1 && buffer[n - 1] == '/')
        buffer[--n] = '\0';
    struct stat st;
    if (stat(buffer, &st) != 0) {
        // The user's configuration folder itself is made when missing, as the desktop expects.
        if (mkdir(buffer, 0700) != 0)
            return -errno;
    } else if (!S_ISDIR(st.st_mode)) {
        return -ENOTDIR;
    }
    return 0;
}

char *VQXFILESgetPrefsPath(char *buffer)
{
    if (FindFolder(buffer) != 0)
        return nullptr;
    size_t len = strlen(buffer);
    snprintf(buffer + len, 1024 - len, "%s%s", len > 1 ? "/" : "", VQX_PREFS_FOLDER_NAME);
    return buffer;
}

char *VQXFILESgetResourcesPath(void)
{
    if (!mainArgs0 || !mainArgs0[0])
        return nullptr;
    snprintf(resourcesPath, sizeof resourcesPath, "%s", mainArgs0);
    return contentsMacOSToResources(resourcesPath);
}

char *VQXFILESsetResourcesPath(void)
{
    char *path = VQXFILESgetResourcesPath();
    if (!path || chdir(path) != 0)
        return nullptr;
    if (!getcwd(setResourcesPath, sizeof setResourcesPath))
        return nullptr;
    return setResourcesPath;
}

char *VQXFILESpathToResourcesFile(const char *name)
{
    char *folder = VQXFILESgetResourcesPath();
    if (!folder)
        return (char *)name;
    snprintf(resourcesFilePath, sizeof resourcesFilePath, "%s/%s", folder, name);
    return resourcesFilePath;
}

// The resources folder from the program path, else the current directory.
static int installPath(char *buffer)
{
    char *folder = VQXFILESgetResourcesPath();
    if (folder) {
        snprintf(buffer, 1024, "%s", folder);
        return 0;
    }
    return getcwd(buffer, 1024) ? 0 : -1;
}

static int joinPath(char *buffer, size_t size, const char *folder, const char *name)
{
    int n = snprintf(buffer, size, "%s/%s", folder, name);
    return n < 0 || (size_t)n >= size ? -1 : 0;
}

static VQXFILESopenHook openHook; // tests only: serves working files from elsewhere

void VQXFILESsetOpenHookForTests(VQXFILESopenHook hook)
{
    openHook = hook;
}

FILE *VQXFILESopenPrefsFile(const char *name, const char *mode, int overwrite)
{
    char source[1024], prefs[1024], cwd[1024];
    // No name (a configuration without its MAP or REM line) would open the folder itself, which
    // reads as an empty file: it fails as a missing file does, and nothing is copied for it.
    if (!name || !name[0]) {
        BUGprintf("Orvenda VQX ERROR: VQXFILESopenPrefsFile(): unable to open prefs file %s", name ? name : "");
        return nullptr;
    }
    if (openHook && !overwrite)
        if (FILE *served = openHook(name, mode))
            return served;
    if (installPath(source) != 0) {
        BUGprintf("Orvenda VQX ERROR: VQXFILESopenPrefsFile(): unable to create install path (args[0]=[%s], "
                  "current path=[%s]",
                  mainArgs0 ? mainArgs0 : "", getcwd(cwd, sizeof cwd) ? cwd : "");
        return nullptr;
    }
    if (!VQXFILESgetPrefsPath(prefs)) {
        BUGprintf("Orvenda VQX ERROR: VQXFILESopenPrefsFile(): unable to get preferences path");
        return nullptr;
    }
    char from[1100], to[1100];
    if (joinPath(from, sizeof from, source, name) != 0 || joinPath(to, sizeof to, prefs, name) != 0) {
        BUGprintf("Orvenda VQX ERROR: VQXFILESopenPrefsFile(): unable to open prefs file %s", name);
        return nullptr;
    }
    if (overwrite || !VQXFILESfileExists(to)) {
        BUGprintf("copying from [%s] to [%s]", from, to);
        copy(to, from);
    }
    FILE *stream = fopen(to, mode);
    struct stat st;
    if (stream && fstat(fileno(stream), &st) == 0 && S_ISDIR(st.st_mode)) {
        fclose(stream); // a folder (".", "..", a folder of that name) is no working file
        stream = nullptr;
    }
    if (!stream)
        BUGprintf("Orvenda VQX ERROR: VQXFILESopenPrefsFile(): unable to open prefs file %s", name);
    return stream;
}

FILE *VQXFILESopenResourcesFile(const char *name, const char *mode)
{
    char source[1024], local[1024], cwd[1024];
    if (installPath(source) != 0) {
        BUGprintf("Orvenda VQX ERROR: VQXFILESopenLocalFile(): unable to create install path (args[0]=[%s], "
                  "current path=[%s]",
                  mainArgs0 ? mainArgs0 : "", getcwd(cwd, sizeof cwd) ? cwd : "");
        return nullptr;
    }
    if (installPath(local) != 0) {
        BUGprintf("Orvenda VQX ERROR: VQXFILESopenLocalFile(): unable to create local path (args[0]=[%s], "
                  "current path=[%s]",
                  mainArgs0 ? mainArgs0 : "", getcwd(cwd, sizeof cwd) ? cwd : "");
        return nullptr;
    }
    char from[1100], to[1100];
    joinPath(from, sizeof from, source, name);
    joinPath(to, sizeof to, local, name);
    if (!VQXFILESfileExists(to))
        copy(to, from);
    FILE *stream = fopen(to, mode);
    if (!stream)
        BUGprintf("Orvenda VQX ERROR: VQXFILESopenResourcesFile(): unable to open [%s] (mainArgs0=%s)", to,
                  mainArgs0 ? mainArgs0 : "");
    return stream;
}

int VQXFILESfileExistsInPrefs(const char *name)
{
    char prefs[1024], path[1100];
    if (!VQXFILESgetPrefsPath(prefs)) {
        BUGprintf("Orvenda VQX ERROR: VQXFILESopenPrefsFile(): unable to get preferences path");
        return 0;
    }
    if (joinPath(path, sizeof path, prefs, name) != 0)
        return 0;
    return VQXFILESfileExists(path);
}

int VQXFILESfileExists(const char *path)
{
    return access(path, F_OK) == 0 ? 1 : 0;
}

int VQXFILESprefsFolderExists(void)
{
    char prefs[1024];
    struct stat st;
    if (!VQXFILESgetPrefsPath(prefs))
        return 0;
    return stat(prefs, &st) == 0 && S_ISDIR(st.st_mode) ? 1 : 0;
}

void VQXFILESclearMapAndRemFileNames(void)
{
    numberOfRemotes = 0;
    numberOfMappings = 0;
}

void VQXFILESevaluateAsMapOrRemFileName(const char *name)
{
    size_t len = strlen(name);
    if (len < 5)
        return;
    const char *suffix = name + len - 4;
    if (strcmp(suffix, ".map") == 0 || strcmp(suffix, ".MAP") == 0) {
        if (numberOfMappings < 20)
            snprintf(mapFileNames[numberOfMappings++], 256, "%s", name);
    } else if (strcmp(suffix, ".rem") == 0 || strcmp(suffix, ".REM") == 0) {
        if (numberOfRemotes < 20)
            snprintf(remFileNames[numberOfRemotes++], 256, "%s", name);
    }
}

void VQXFILESgetPrefsFiles(void)
{
    char prefs[1024];
    if (!VQXFILESgetPrefsPath(prefs))
        return;
    DIR *dir = opendir(prefs);
    if (!dir)
        return;
    VQXFILESclearMapAndRemFileNames();
    while (struct dirent *entry = readdir(dir))
        VQXFILESevaluateAsMapOrRemFileName(entry->d_name);
    closedir(dir);
}

char *VQXFILEremNameToPicBundleName(const char *remName, const char *suffix)
{
    char *folder = VQXFILESgetResourcesPath();
    if (!folder)
        return nullptr;
    snprintf(picPath, sizeof picPath, "%s/%s", folder, remName);
    char *cut = strstr(picPath, ".REM");
    if (cut)
        *cut = '\0';
    cut = strstr(picPath, ".rem");
    if (cut)
        *cut = '\0';
    size_t len = strlen(picPath);
    snprintf(picPath + len, sizeof picPath - len, "%s", suffix);
    return picPath;
}

char *VQXFILESgetMapperApplicationPath(char *buffer)
{
    char *folder = VQXFILESgetResourcesPath();
    if (!folder) {
        BUGprintf("Orvenda VQX ERROR: unable to install Mapper as login item (can't get resources path)");
        buffer[0] = '\0';
        return buffer;
    }
    snprintf(buffer, 1024, "%s/%s", folder, VQX_MAPPER_BUNDLE_NAME);
    return buffer;
}

char *VQXFILESgetPathFromSpec(const FSSpec *fileSpec)
{
    specPath[0] = '\0';
    if (fileSpec->path[0] == '\0' || !VQXFILESfileExists(fileSpec->path))
        return specPath;
    if (fileSpec->path[0] == '/') {
        snprintf(specPath, sizeof specPath, "%s", fileSpec->path);
        return specPath;
    }
    char resolved[PATH_MAX];
    if (realpath(fileSpec->path, resolved) && strlen(resolved) < sizeof specPath)
        strcpy(specPath, resolved);
    return specPath;
}

int PathNameFromDirID(const char *folder, unsigned char *result)
{
    char resolved[PATH_MAX];
    result[0] = 0;
    if (!realpath(folder, resolved))
        return -errno;
    size_t len = strlen(resolved);
    bool root = len == 1;
    if (len + (root ? 0 : 1) > 255)
        return -ENAMETOOLONG;
    memcpy(result + 1, resolved, len);
    if (!root)
        result[1 + len++] = '/';
    result[0] = (unsigned char)len;
    return 0;
}

char *VQXFILESgetMacPathFromSpec(const FSSpec *fileSpec)
{
    char folder[1024];
    snprintf(folder, sizeof folder, "%s", fileSpec->path);
    char *slash = strrchr(folder, '/');
    const char *name = fileSpec->path;
    if (slash) {
        name = fileSpec->path + (slash - folder) + 1;
        slash[slash == folder ? 1 : 0] = '\0';
    } else {
        strcpy(folder, ".");
    }
    unsigned char pascal[256];
    macSpecPath[0] = '\0';
    if (PathNameFromDirID(folder, pascal) == 0) {
        memcpy(macSpecPath, pascal + 1, pascal[0]);
        macSpecPath[pascal[0]] = '\0';
    }
    size_t len = strlen(macSpecPath);
    snprintf(macSpecPath + len, sizeof macSpecPath - len, "%s", name);
    return macSpecPath;
}

// The name a process is known by: its command name, or the base name of its first argument
// when the command name was cut at 15 characters.
static bool processName(const char *pid, char *name, size_t size)
{
    char path[64];
    snprintf(path, sizeof path, "/proc/%s/comm", pid);
    FILE *f = fopen(path, "r");
    if (!f)
        return false;
    bool ok = fgets(name, (int)size, f) != nullptr;
    fclose(f);
    if (!ok)
        return false;
    name[strcspn(name, "\n")] = '\0';
    if (strlen(name) < 15)
        return true;
    snprintf(path, sizeof path, "/proc/%s/cmdline", pid);
    f = fopen(path, "r");
    if (!f)
        return true;
    char arg0[1024];
    size_t n = fread(arg0, 1, sizeof arg0 - 1, f);
    fclose(f);
    arg0[n] = '\0';
    const char *base = strrchr(arg0, '/');
    base = base ? base + 1 : arg0;
    if (strncmp(base, name, strlen(name)) == 0)
        snprintf(name, size, "%s", base);
    return true;
}

int VQXFILESisApplicationRunning(const char *name)
{
    DIR *proc = opendir("/proc");
    if (!proc) {
        BUGprintf("GetProcessInformation returned %d", -errno);
        return 0;
    }
    int running = 0;
    while (struct dirent *entry = readdir(proc)) {
        if (entry->d_name[0] < '0' || entry->d_name[0] > '9')
            continue;
        char processNameBuf[32];
        if (processName(entry->d_name, processNameBuf, sizeof processNameBuf) && strcmp(processNameBuf, name) == 0)
            running = 1;
    }
    closedir(proc);
    return running;
}
