// The held-keys file of the X output: where it lives, its text, and writing it so that a reader
// never finds it half written.
#include "mapper/heldkeys.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// A folder only this user can write to: the runtime folder, else one made here under /tmp.
static std::string privateFolder()
{
    const char *runtime = getenv("XDG_RUNTIME_DIR");
    struct stat st;
    if (runtime && runtime[0] == '/' && stat(runtime, &st) == 0 && S_ISDIR(st.st_mode))
        return runtime;
    std::string folder = "/tmp/vqx-mapper-" + std::to_string((unsigned long)getuid());
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        return "";
    // Someone else's folder or a link put there in its place is not used.
    if (lstat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != getuid() || (st.st_mode & 077) != 0)
        return "";
    return folder;
}

std::string HLDpath(const char *display)
{
    std::string folder = privateFolder();
    if (folder.empty())
        return "";
    // The display's name without its screen number (":1.0" is ":1"), and without characters that
    // have no place in a file name.
    std::string shown = display ? display : "";
    size_t colon = shown.rfind(':'), dot = shown.rfind('.');
    if (colon != std::string::npos && dot != std::string::npos && dot > colon + 1 && dot + 1 < shown.size()
        && shown.find_first_not_of("0123456789", dot + 1) == std::string::npos)
        shown.resize(dot);
    std::string name = "vqx-mapper-held-";
    for (size_t i = 0; i < shown.size() && name.size() < 200; i++) {
        char c = shown[i];
        bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ':' || c == '.'
            || c == '-' || c == '_';
        name += plain ? c : '_';
    }
    return folder + "/" + name;
}

std::string HLDformat(const HLDlist &list, const char *display)
{
    std::string text = "# vqx-mapper: held down on the X display ";
    text += display ? display : "";
    text += "\n";
    for (int k : list.keys)
        text += "key " + std::to_string(k) + "\n";
    for (int b : list.buttons)
        text += "button " + std::to_string(b) + "\n";
    return text;
}

// A whole decimal number from `text` within [low, high]; false otherwise.
static bool number(const std::string &text, int low, int high, int *out)
{
    if (text.empty() || text.size() > 4)
        return false;
    int value = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + (c - '0');
    }
    if (value < low || value > high)
        return false;
    *out = value;
    return true;
}

int HLDparse(const char *text, size_t length, HLDlist *out)
{
    int skipped = 0;
    size_t start = 0;
    while (start < length) {
        size_t end = start;
        while (end < length && text[end] != '\n')
            end++;
        std::string line(text + start, end - start);
        start = end + 1;
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t'))
            line.pop_back();
        if (line.empty() || line[0] == '#')
            continue;
        size_t space = line.find(' ');
        std::string word = line.substr(0, space);
        std::string value = space == std::string::npos ? "" : line.substr(space + 1);
        int n = 0;
        if (word == "key" && number(value, 8, 255, &n))
            out->keys.insert(n);
        else if (word == "button" && number(value, 1, 31, &n))
            out->buttons.insert(n);
        else
            skipped++;
    }
    return skipped;
}

bool HLDsave(const std::string &path, const HLDlist &list, const char *display)
{
    if (path.empty())
        return false;
    if (list.empty())
        return unlink(path.c_str()) == 0 || errno == ENOENT;
    std::string text = HLDformat(list, display);
    std::string temporary = path + ".new";
    int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0)
        return false;
    bool ok = write(fd, text.data(), text.size()) == (ssize_t)text.size();
    ok = close(fd) == 0 && ok;
    if (ok && rename(temporary.c_str(), path.c_str()) == 0)
        return true;
    unlink(temporary.c_str());
    return false;
}

HLDlist HLDload(const std::string &path)
{
    HLDlist list;
    if (path.empty())
        return list;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return list;
    std::string text;
    char buffer[4096];
    while (text.size() < 65536) {
        ssize_t n = read(fd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        text.append(buffer, (size_t)n);
    }
    close(fd);
    if (text.size() > 65536)
        text.resize(65536);
    HLDparse(text.data(), text.size(), &list);
    return list;
}
