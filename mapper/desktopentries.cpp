// Reads the desktop entries of the XDG data folders into an index from window class to entry id,
// and sets up the inotify watches that tell when the index must be read again.
#include "mapper/desktopentries.h"

#include <dirent.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>

// A .desktop file is a few kilobytes; only this much of one is read.
static const size_t kMaxFileBytes = 256 * 1024;
// Subfolders deeper than this are not read (and a symbolic link loop ends here).
static const int kMaxDepth = 6;

static void addFolderList(std::vector<std::string> *out, const char *list)
{
    std::string all = list;
    size_t start = 0;
    while (start <= all.size()) {
        size_t end = all.find(':', start);
        if (end == std::string::npos)
            end = all.size();
        std::string folder = all.substr(start, end - start);
        // Only absolute paths count; the rest is ignored as freedesktop says.
        if (!folder.empty() && folder[0] == '/') {
            while (folder.size() > 1 && folder.back() == '/')
                folder.pop_back();
            std::string apps = folder + "/applications";
            if (std::find(out->begin(), out->end(), apps) == out->end())
                out->push_back(apps);
        }
        start = end + 1;
    }
}

std::vector<std::string> DSEfolders(void)
{
    std::vector<std::string> folders;
    const char *dataHome = getenv("XDG_DATA_HOME");
    if (dataHome && dataHome[0] == '/') {
        addFolderList(&folders, dataHome);
    } else {
        const char *home = getenv("HOME");
        if (home && home[0] == '/')
            addFolderList(&folders, (std::string(home) + "/.local/share").c_str());
    }
    const char *dataDirs = getenv("XDG_DATA_DIRS");
    addFolderList(&folders, dataDirs && dataDirs[0] ? dataDirs : "/usr/local/share:/usr/share");
    return folders;
}

static std::string trim(const std::string &s)
{
    size_t a = s.find_first_not_of(" \t\r");
    if (a == std::string::npos)
        return "";
    size_t b = s.find_last_not_of(" \t\r");
    return s.substr(a, b - a + 1);
}

// A string value with the escapes desktop entries allow: \s \n \t \r \\.
static std::string unescape(const std::string &v)
{
    std::string out;
    for (size_t i = 0; i < v.size(); i++) {
        if (v[i] != '\\' || i + 1 == v.size()) {
            out += v[i];
            continue;
        }
        char c = v[++i];
        switch (c) {
        case 's':
            out += ' ';
            break;
        case 'n':
            out += '\n';
            break;
        case 't':
            out += '\t';
            break;
        case 'r':
            out += '\r';
            break;
        case '\\':
            out += '\\';
            break;
        default:
            out += '\\';
            out += c;
            break;
        }
    }
    return out;
}

DSEfile DSEparse(const std::string &text)
{
    DSEfile file;
    bool inMain = false, seenMain = false;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = trim(text.substr(start, end - start));
        start = end + 1;
        if (line.empty() || line[0] == '#')
            continue;
        if (line[0] == '[') {
            // Only the first [Desktop Entry] group is the entry; actions and others follow it.
            if (inMain)
                break;
            inMain = !seenMain && line == "[Desktop Entry]";
            seenMain = seenMain || inMain;
            continue;
        }
        if (!inMain)
            continue;
        size_t eq = line.find('=');
        if (eq == std::string::npos)
            continue;
        std::string key = trim(line.substr(0, eq));
        std::string value = trim(line.substr(eq + 1));
        if (key == "StartupWMClass")
            file.wmClass = unescape(value);
        else if (key == "Hidden")
            file.hidden = value == "true";
    }
    return file;
}

static bool readPrefix(const std::string &path, std::string *text)
{
    FILE *f = fopen(path.c_str(), "rb");
    if (!f)
        return false;
    text->resize(kMaxFileBytes);
    size_t n = fread(&(*text)[0], 1, kMaxFileBytes, f);
    fclose(f);
    text->resize(n);
    return true;
}

static bool endsWith(const std::string &s, const std::string &tail)
{
    return s.size() > tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

static bool isFolder(const std::string &path, const struct dirent *d)
{
    if (d->d_type == DT_DIR)
        return true;
    if (d->d_type != DT_UNKNOWN && d->d_type != DT_LNK)
        return false;
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The entries of one folder and its subfolders, as (id, file), prefix being the id's start
// ("kde4-" in applications/kde4).
static void scanFolder(const std::string &folder, const std::string &prefix, int depth,
    std::vector<std::pair<std::string, DSEfile>> *found)
{
    DIR *dir = opendir(folder.c_str());
    if (!dir)
        return;
    std::vector<std::string> names;
    while (struct dirent *d = readdir(dir)) {
        std::string name = d->d_name;
        if (name == "." || name == "..")
            continue;
        std::string path = folder + "/" + name;
        if (isFolder(path, d)) {
            if (depth < kMaxDepth)
                names.push_back(name + "/");
        } else if (endsWith(name, ".desktop")) {
            names.push_back(name);
        }
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    for (const std::string &name : names) {
        if (name.back() == '/') {
            std::string sub = name.substr(0, name.size() - 1);
            scanFolder(folder + "/" + sub, prefix + sub + "-", depth + 1, found);
            continue;
        }
        std::string text;
        if (!readPrefix(folder + "/" + name, &text))
            continue;
        found->push_back({ prefix + name.substr(0, name.size() - 8), DSEparse(text) });
    }
}

DSEindex DSEscan(const std::vector<std::string> &folders)
{
    DSEindex index;
    index.folders = folders;
    std::set<std::string> seen;
    for (const std::string &folder : folders) {
        std::vector<std::pair<std::string, DSEfile>> found;
        scanFolder(folder, "", 0, &found);
        std::sort(found.begin(), found.end(),
            [](const std::pair<std::string, DSEfile> &a, const std::pair<std::string, DSEfile> &b) {
                return a.first < b.first;
            });
        for (const auto &f : found) {
            if (!seen.insert(f.first).second)
                continue;
            if (!f.second.hidden)
                index.entries.push_back({ f.first, f.second.wmClass });
        }
    }
    return index;
}

static bool sameIgnoringCase(const std::string &a, const std::string &b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); i++) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z')
            x = (char)(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z')
            y = (char)(y - 'A' + 'a');
        if (x != y)
            return false;
    }
    return true;
}

std::string DSEidForClass(const DSEindex &index, const std::string &windowClass, const std::string &instance)
{
    const std::string *names[2] = { &windowClass, &instance };
    for (const std::string *n : names)
        if (!n->empty())
            for (const DSEentry &e : index.entries)
                if (e.wmClass == *n)
                    return e.id;
    for (const std::string *n : names)
        if (!n->empty())
            for (const DSEentry &e : index.entries)
                if (e.id == *n)
                    return e.id;
    for (const std::string *n : names)
        if (!n->empty())
            for (const DSEentry &e : index.entries)
                if (sameIgnoringCase(e.id, *n))
                    return e.id;
    return "";
}

static void watchTree(int fd, const std::string &folder, int depth)
{
    const uint32_t mask
        = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF;
    if (inotify_add_watch(fd, folder.c_str(), mask | IN_ONLYDIR) < 0)
        return;
    if (depth >= kMaxDepth)
        return;
    DIR *dir = opendir(folder.c_str());
    if (!dir)
        return;
    std::vector<std::string> subs;
    while (struct dirent *d = readdir(dir)) {
        std::string name = d->d_name;
        if (name != "." && name != ".." && isFolder(folder + "/" + name, d))
            subs.push_back(folder + "/" + name);
    }
    closedir(dir);
    for (const std::string &sub : subs)
        watchTree(fd, sub, depth + 1);
}

void DSEwatch(int inotifyFd, const std::vector<std::string> &folders)
{
    for (const std::string &folder : folders) {
        struct stat st;
        if (stat(folder.c_str(), &st) == 0) {
            watchTree(inotifyFd, folder, 0);
            continue;
        }
        // Not there yet: its creation is seen on the nearest parent that exists.
        std::string parent = folder;
        while (parent.size() > 1) {
            size_t slash = parent.rfind('/');
            parent = slash == 0 ? "/" : parent.substr(0, slash);
            if (stat(parent.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
                inotify_add_watch(inotifyFd, parent.c_str(), IN_CREATE | IN_MOVED_TO | IN_ONLYDIR);
                break;
            }
        }
    }
}
