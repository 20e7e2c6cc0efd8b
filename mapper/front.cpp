// Builds the front application's list of names from what a window system or a desktop shell
// reports, with the executable's name read from /proc.
#include "mapper/front.h"
#include "mapper/frontsource.h"

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>

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
        const char *base = strrchr(target, '/');
        return base ? base + 1 : target;
    }
    snprintf(path, sizeof path, "/proc/%u/comm", (unsigned)pid);
    FILE *f = fopen(path, "r");
    if (!f)
        return "";
    char comm[64] = "";
    if (!fgets(comm, sizeof comm, f))
        comm[0] = '\0';
    fclose(f);
    comm[strcspn(comm, "\n")] = '\0';
    return comm;
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

std::vector<std::string> FRTnames(const std::string &appId, const std::string &windowClass, uint32_t pid)
{
    std::vector<std::string> names;
    std::string id = appId;
    const std::string suffix = ".desktop";
    if (id.size() > suffix.size() && id.compare(id.size() - suffix.size(), suffix.size(), suffix) == 0)
        id.resize(id.size() - suffix.size());
    addName(&names, id);
    addName(&names, FRTexecutableName(pid));
    addName(&names, windowClass);
    return names;
}

FRTsource::~FRTsource() {}
