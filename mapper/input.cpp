// Opens receivers and reads their sample words; a read splits at any byte, so partial words are
// kept until complete. The LIRC ioctls are used where the device supports them, never required.
#include "mapper/input.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

// From the kernel's LIRC interface (linux/lirc.h), kept here so that only these few are used.
#define VQX_LIRC_MODE2 0x00000004
#define VQX_LIRC_CAN_REC_MODE2 0x00040000
#define VQX_LIRC_GET_FEATURES _IOR('i', 0x00000000, unsigned int)
#define VQX_LIRC_SET_REC_MODE _IOW('i', 0x00000012, unsigned int)

int INPopen(INPdevice *dev, const std::string &path)
{
    INPclose(dev);
    struct stat st;
    if (stat(path.c_str(), &st) != 0)
        return -errno;
    // A FIFO opened for reading and writing never reports end of file when a writer goes, so a
    // test's or a bridge's writer may come and go like a receiver's bursts.
    int flags = S_ISFIFO(st.st_mode) ? O_RDWR : O_RDONLY;
    int fd = open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return -errno;
    if (S_ISCHR(st.st_mode)) {
        unsigned int features = 0;
        if (ioctl(fd, VQX_LIRC_GET_FEATURES, &features) == 0) {
            if (!(features & VQX_LIRC_CAN_REC_MODE2)) {
                close(fd);
                return -EOPNOTSUPP;
            }
            unsigned int mode = VQX_LIRC_MODE2;
            ioctl(fd, VQX_LIRC_SET_REC_MODE, &mode);
        }
    }
    dev->path = path;
    dev->fd = fd;
    dev->ownsFd = true;
    dev->partialLength = 0;
    return 0;
}

int INPadopt(INPdevice *dev, int fd)
{
    INPclose(dev);
    if (fcntl(fd, F_GETFD) < 0)
        return -errno;
    int flags = fcntl(fd, F_GETFL);
    if (flags >= 0)
        fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    dev->path.clear();
    dev->fd = fd;
    dev->ownsFd = false;
    dev->partialLength = 0;
    return 0;
}

void INPclose(INPdevice *dev)
{
    if (dev->fd >= 0 && dev->ownsFd)
        close(dev->fd);
    dev->fd = -1;
    dev->partialLength = 0;
}

int INPread(INPdevice *dev, std::vector<SMPsample> *out)
{
    if (dev->fd < 0)
        return -1;
    unsigned char buffer[4096];
    for (;;) {
        memcpy(buffer, dev->partial, (size_t)dev->partialLength);
        ssize_t n = read(dev->fd, buffer + dev->partialLength, sizeof buffer - (size_t)dev->partialLength);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return 1;
        if (n <= 0) {
            // End of file, or ENODEV when a receiver is unplugged.
            if (dev->ownsFd)
                INPclose(dev);
            else
                dev->fd = -1;
            return -1;
        }
        size_t total = (size_t)dev->partialLength + (size_t)n;
        size_t whole = total - total % 4;
        for (size_t i = 0; i < whole; i += 4) {
            uint32_t word;
            memcpy(&word, buffer + i, 4); // the kernel's words are in host order
            out->push_back(SMPfromWord(word));
        }
        dev->partialLength = (int)(total - whole);
        memcpy(dev->partial, buffer + whole, (size_t)dev->partialLength);
        if ((size_t)n < sizeof buffer - 4)
            return 1;
    }
}

bool INPisDevicePath(const std::string &path)
{
    return !path.empty() && path[0] == '/';
}

std::string INPfindReceiver(std::string *why)
{
    DIR *dir = opendir("/dev");
    if (!dir) {
        *why = "/dev cannot be listed";
        return "";
    }
    std::vector<std::string> names;
    while (struct dirent *e = readdir(dir))
        if (strncmp(e->d_name, "lirc", 4) == 0 && e->d_name[4] >= '0' && e->d_name[4] <= '9')
            names.push_back(e->d_name);
    closedir(dir);
    std::sort(names.begin(), names.end());
    why->clear();
    for (const std::string &name : names) {
        std::string path = "/dev/" + name;
        int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) {
            *why += path + ": " + strerror(errno) + "; ";
            continue;
        }
        unsigned int features = 0;
        bool raw = ioctl(fd, VQX_LIRC_GET_FEATURES, &features) == 0 && (features & VQX_LIRC_CAN_REC_MODE2);
        close(fd);
        if (raw)
            return path;
        *why += path + ": cannot receive raw timings; ";
    }
    if (names.empty())
        *why = "no /dev/lirc* device";
    return "";
}
