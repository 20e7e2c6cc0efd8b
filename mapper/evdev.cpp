// Finds, grabs and reads an input event device; the records are cut from the byte stream as they
// come, so a read may end anywhere inside one (a pipe standing in for the device in tests).
#include "mapper/evdev.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

// One whole record: a key event is kept, SYN_DROPPED noted, everything else skipped.
static bool takeRecord(EVDdecoder *d, const unsigned char *bytes, std::vector<EVDkey> *out)
{
    struct input_event e;
    memcpy(&e, bytes, sizeof e);
    if (e.type == EV_SYN && e.code == SYN_DROPPED) {
        d->dropped++;
        return true;
    }
    if (e.type == EV_KEY && e.value >= 0 && e.value <= 2) {
        EVDkey key;
        key.code = e.code;
        key.value = e.value;
        out->push_back(key);
    }
    return false;
}

bool EVDfeed(EVDdecoder *d, const unsigned char *data, size_t size, std::vector<EVDkey> *out)
{
    const size_t record = sizeof(struct input_event);
    bool lost = false;
    size_t i = 0;
    if (d->partialLength > 0) {
        size_t take = std::min(record - d->partialLength, size);
        memcpy(d->partial + d->partialLength, data, take);
        d->partialLength += take;
        i = take;
        if (d->partialLength < record)
            return false;
        lost |= takeRecord(d, d->partial, out);
        d->partialLength = 0;
    }
    for (; size - i >= record; i += record)
        lost |= takeRecord(d, data + i, out);
    if (i < size) {
        d->partialLength = size - i;
        memcpy(d->partial, data + i, d->partialLength);
    }
    return lost;
}

std::string EVDdeviceName(int fd)
{
    char name[256];
    memset(name, 0, sizeof name);
    if (ioctl(fd, EVIOCGNAME(sizeof name - 1), name) < 0)
        return "";
    return name;
}

// The number of an "eventN" name, -1 for any other name.
static long eventNumber(const char *name)
{
    if (strncmp(name, "event", 5) != 0 || name[5] < '0' || name[5] > '9')
        return -1;
    char *end = nullptr;
    long n = strtol(name + 5, &end, 10);
    return *end == '\0' ? n : -1;
}

std::string EVDfind(const std::string &want, std::string *why)
{
    why->clear();
    if (!want.empty() && want[0] == '/')
        return want;
    DIR *dir = opendir(EVD_INPUT_FOLDER);
    if (!dir) {
        *why = std::string(EVD_INPUT_FOLDER) + " cannot be listed (" + strerror(errno) + ")";
        return "";
    }
    std::vector<long> numbers;
    while (struct dirent *e = readdir(dir)) {
        long n = eventNumber(e->d_name);
        if (n >= 0)
            numbers.push_back(n);
    }
    closedir(dir);
    std::sort(numbers.begin(), numbers.end());
    int unreadable = 0;
    for (long n : numbers) {
        std::string path = std::string(EVD_INPUT_FOLDER) + "/event" + std::to_string(n);
        int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) {
            unreadable++;
            continue;
        }
        std::string name = EVDdeviceName(fd);
        close(fd);
        if (name.find(want) != std::string::npos)
            return path;
    }
    if (numbers.empty())
        *why = std::string("no input device in ") + EVD_INPUT_FOLDER;
    else
        *why = "no input device named like \"" + want + "\" among " + std::to_string(numbers.size())
            + (unreadable ? " (" + std::to_string(unreadable) + " not readable)" : std::string());
    return "";
}

int EVDopen(EVDdevice *dev, const std::string &path, bool grab)
{
    EVDclose(dev);
    // A FIFO standing in for a device is opened for writing too, so that its writers may come
    // and go without an end of file.
    struct stat st;
    int flags = stat(path.c_str(), &st) == 0 && S_ISFIFO(st.st_mode) ? O_RDWR : O_RDONLY;
    int fd = open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return -errno;
    dev->path = path;
    dev->name = EVDdeviceName(fd);
    dev->fd = fd;
    dev->ownsFd = true;
    dev->decoder = EVDdecoder();
    if (grab && ioctl(fd, EVIOCGRAB, 1) == 0)
        dev->grabbed = true;
    return 0;
}

int EVDadopt(EVDdevice *dev, int fd)
{
    EVDclose(dev);
    if (fcntl(fd, F_GETFD) < 0)
        return -errno;
    int flags = fcntl(fd, F_GETFL);
    if (flags >= 0)
        fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    dev->path.clear();
    dev->name = EVDdeviceName(fd);
    dev->fd = fd;
    dev->ownsFd = false;
    dev->decoder = EVDdecoder();
    return 0;
}

void EVDclose(EVDdevice *dev)
{
    if (dev->fd >= 0 && dev->grabbed)
        ioctl(dev->fd, EVIOCGRAB, 0);
    if (dev->fd >= 0 && dev->ownsFd)
        close(dev->fd);
    dev->fd = -1;
    dev->grabbed = false;
    dev->decoder.partialLength = 0;
}

int EVDread(EVDdevice *dev, std::vector<EVDkey> *out, bool *lost)
{
    *lost = false;
    if (dev->fd < 0)
        return -1;
    unsigned char buffer[64 * sizeof(struct input_event)];
    for (;;) {
        ssize_t n = read(dev->fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return 1;
        if (n <= 0) {
            // End of file, or ENODEV when the device is unplugged.
            if (dev->ownsFd)
                EVDclose(dev);
            else
                dev->fd = -1;
            return -1;
        }
        *lost |= EVDfeed(&dev->decoder, buffer, (size_t)n, out);
        if ((size_t)n < sizeof buffer)
            return 1;
    }
}
