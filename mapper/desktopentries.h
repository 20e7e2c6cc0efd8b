// The installed desktop entries (.desktop files in the XDG data folders), read so that a window
// class can be turned into the id of the entry that launched it.
#ifndef VQX_MAPPER_DESKTOPENTRIES_H
#define VQX_MAPPER_DESKTOPENTRIES_H

#include <string>
#include <vector>

// One entry as it matters here: its id (the path below "applications" with '/' made '-' and
// ".desktop" taken off) and its StartupWMClass ("" when it has none).
struct DSEentry {
    std::string id;
    std::string wmClass;
};

// What one .desktop file says, read from its [Desktop Entry] group only.
struct DSEfile {
    std::string wmClass; // StartupWMClass
    bool hidden = false; // Hidden=true: the entry counts as deleted
};

// Every visible entry, one per id, in the order ids are looked up: folders in precedence order,
// files sorted by id within a folder. An id found in an earlier folder hides the same id later
// (a Hidden entry hides it too and is left out itself).
struct DSEindex {
    std::vector<std::string> folders; // the "applications" folders read, in precedence order
    std::vector<DSEentry> entries;
};

// The "applications" folders: $XDG_DATA_HOME (else ~/.local/share), then each of $XDG_DATA_DIRS
// (else /usr/local/share:/usr/share), each with "/applications" added; relative paths are left out.
std::vector<std::string> DSEfolders(void);
// Reads the entries of the folders given (and of their subfolders).
DSEindex DSEscan(const std::vector<std::string> &folders);
// Reads the keys that matter from a .desktop file's text.
DSEfile DSEparse(const std::string &text);
// The id of the entry for a window of that class and instance, "" when none fits. In this order:
// an entry whose StartupWMClass equals the class, then one whose StartupWMClass equals the
// instance; an entry whose id equals the class, then the instance; an entry whose id equals the
// class ignoring ASCII case, then the instance. Within each step the first entry in index order.
std::string DSEidForClass(const DSEindex &index, const std::string &windowClass, const std::string &instance);
// Adds inotify watches (to inotifyFd) on the folders given, their subfolders, and for a folder
// that does not exist yet its nearest existing parent, so that any change that can alter the
// index is seen. Adding a watch twice is harmless.
void DSEwatch(int inotifyFd, const std::vector<std::string> &folders);

#endif
