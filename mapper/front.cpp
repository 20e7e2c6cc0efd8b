// Builds the front application's list of names from what a window system or a desktop shell
// reports, with the executable's name read from /proc and the entry id from the desktop entries.
#include "mapper/front.h"

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>

#include "mapper/desktopentries.h"

// The kernel keeps a process's command name in 16 bytes, the last one its end.
static const size_t kCommLength = 15;

static std::string readSmallFile(const char *path)
{
    FILE *f = fopen(path, "rb");
    if (!f)
        return "";
    char buffer[4096];
    size_t n = fread(buffer, 1, sizeof buffer, f);
    fclose(f);
    return std::string(buffer, n);
}

static std::string baseName(const std::string &path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string FRTnameFromComm(const std::string &comm, const std::string &argv0)
{
    if (comm.size() < kCommLength)
        return comm;
    std::string first = baseName(argv0);
    if (first.size() > comm.size() && first.compare(0, comm.size(), comm) == 0)
        return first;
    return comm;
}

std::string FRTexecutableName(uint32_t pid)
{
    if (pid == 0)
        return "";
    char path[64], target[PATH_MAX];
    snprintf(path, sizeof path, "/proc/%u/exe", (unsigned)pid);
    ssize_t n = readlink(path, target, sizeof target - 1);
    if (n > 0) {
        target[n] = '\0';
        // A replaced executable reads "/usr/bin/name (deleted)".
        char *deleted = strstr(target, " (deleted)");
        if (deleted && deleted[10] == '\0')
            *deleted = '\0';
        return baseName(target);
    }
    // Another user's process: its exe link is closed to us, its comm and cmdline are not.
    snprintf(path, sizeof path, "/proc/%u/comm", (unsigned)pid);
    std::string comm = readSmallFile(path);
    comm = comm.substr(0, comm.find('\n'));
    if (comm.empty())
        return "";
    snprintf(path, sizeof path, "/proc/%u/cmdline", (unsigned)pid);
    std::string cmdline = readSmallFile(path);
    return FRTnameFromComm(comm, cmdline.substr(0, cmdline.find('\0')));
}

void FRTsplitClass(const std::string &property, std::string *instance, std::string *windowClass)
{
    size_t end = property.find('\0');
    *instance = property.substr(0, end);
    windowClass->clear();
    if (end == std::string::npos)
        return;
    std::string rest = property.substr(end + 1);
    *windowClass = rest.substr(0, rest.find('\0'));
}

static void addName(std::vector<std::string> *names, const std::string &name)
{
    if (name.empty())
        return;
    for (const std::string &n : *names)
        if (n == name)
            return;
    names->push_back(name);
}

std::vector<std::string> FRTnames(const FRTwindow &w, const DSEindex *entries)
{
    std::vector<std::string> names;
    if (w.none)
        return names;
    std::string id = w.appId;
    const std::string suffix = ".desktop";
    if (id.size() > suffix.size() && id.compare(id.size() - suffix.size(), suffix.size(), suffix) == 0)
        id.resize(id.size() - suffix.size());
    if (id.empty() && entries)
        id = DSEidForClass(*entries, w.windowClass, w.instance);
    addName(&names, id);
    addName(&names, FRTexecutableName(w.pid));
    addName(&names, w.windowClass);
    addName(&names, w.instance);
    return names;
}

FRTsource::~FRTsource() {}
