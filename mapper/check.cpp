// The check's quick probes, made by this process itself: the receivers, the source chosen, the
// lircd socket, uinput, and the way the window in front would be known.
#include "mapper/check.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

// From the kernel's LIRC interface (linux/lirc.h), as the receiver code uses it.
#define CHK_LIRC_CAN_REC_MODE2 0x00040000
#define CHK_LIRC_GET_FEATURES _IOR('i', 0x00000000, unsigned int)

static const char kLircRule[] = "install the udev rule KERNEL==\"lirc[0-9]*\", TAG+=\"uaccess\" (for example in "
                                "/etc/udev/rules.d/70-orvenda-vqx.rules), then run \"sudo udevadm trigger\" "
                                "or plug the receiver in again";

static CHKline line(CHKstate state, const std::string &item, const std::string &text, const std::string &fix = "")
{
    CHKline l;
    l.state = state;
    l.item = item;
    l.text = text;
    l.fix = fix;
    return l;
}

// ---- receivers and sources ------------------------------------------------------------------------

// One /dev/lirc* device: opened, asked for its features and read once (each reader of a LIRC
// device has its own queue, so the read takes nothing from a running Mapper).
static CHKline probeLircDevice(const std::string &path, bool *readable)
{
    std::string item = "receiver " + path;
    int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        int err = errno;
        if (err == EACCES || err == EPERM)
            return line(CHK_NOT, item, "permission denied: this user may not read it", kLircRule);
        return line(CHK_NOT, item, std::string("cannot be opened: ") + strerror(err));
    }
    unsigned int features = 0;
    if (ioctl(fd, CHK_LIRC_GET_FEATURES, &features) != 0) {
        close(fd);
        return line(CHK_NOT, item, "is not an infrared receiver (it does not answer as a LIRC device)");
    }
    if (!(features & CHK_LIRC_CAN_REC_MODE2)) {
        close(fd);
        return line(CHK_NOT, item, "cannot give raw timings (a transmitter, or a receiver that decodes by itself)",
            "a receiver that decodes by itself is a keyboard to the kernel: use INT evdev:NAME");
    }
    char buffer[64];
    ssize_t n = read(fd, buffer, sizeof buffer);
    int err = errno;
    close(fd);
    if (n < 0 && err != EAGAIN && err != EWOULDBLOCK)
        return line(CHK_NOT, item, std::string("cannot be read: ") + strerror(err));
    *readable = true;
    return line(CHK_OK, item, "can be opened and read, raw timings supported");
}

std::vector<CHKline> CHKreceivers(const std::string &devDir, bool *readable)
{
    *readable = false;
    std::vector<CHKline> lines;
    std::vector<std::string> names;
    if (DIR *dir = opendir(devDir.c_str())) {
        while (struct dirent *e = readdir(dir))
            if (strncmp(e->d_name, "lirc", 4) == 0 && e->d_name[4] >= '0' && e->d_name[4] <= '9')
                names.push_back(e->d_name);
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    for (const std::string &name : names)
        lines.push_back(probeLircDevice(devDir + "/" + name, readable));
    if (names.empty())
        lines.push_back(line(CHK_NOT, "receivers", "no infrared receiver (no " + devDir + "/lirc* device)",
            "plug the USB receiver in; its kernel driver makes " + devDir
                + "/lirc0 (\"ir-keytable\" lists the receivers the kernel knows)"));
    return lines;
}

CHKline CHKlircd(const std::string &path)
{
    std::string socketPath = path.empty() ? "/var/run/lirc/lircd" : path;
    std::string item = "lircd " + socketPath;
    struct sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path)
        return line(CHK_NOT, item, "the path is too long for a socket");
    memcpy(address.sun_path, socketPath.c_str(), socketPath.size());
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return line(CHK_NOT, item, std::string("no socket: ") + strerror(errno));
    int status = connect(fd, (struct sockaddr *)&address, sizeof address);
    int err = errno;
    close(fd);
    if (status == 0)
        return line(CHK_OK, item, "lircd runs and takes connections");
    if (err == ENOENT || err == ECONNREFUSED)
        return line(CHK_NOTE, item, "lircd is not running (only needed with INT lircd)");
    return line(CHK_NOT, item, std::string("cannot be connected to: ") + strerror(err));
}

// A keyboard-like remote: the event device whose name contains `name`, or the node given.
static CHKline probeEvdev(const std::string &name, bool *readable)
{
    std::string item = "source evdev:" + name;
    if (name.empty())
        return line(CHK_NOT, item, "no device name after \"evdev:\"",
            "write INT evdev:NAME, NAME a part of the "
            "device's name (see \"libinput list-devices\")");
    std::vector<std::string> nodes;
    if (name[0] == '/') {
        nodes.push_back(name);
    } else if (DIR *dir = opendir("/dev/input")) {
        while (struct dirent *e = readdir(dir))
            if (strncmp(e->d_name, "event", 5) == 0)
                nodes.push_back(std::string("/dev/input/") + e->d_name);
        closedir(dir);
    }
    std::sort(nodes.begin(), nodes.end());
    std::string denied;
    for (const std::string &node : nodes) {
        int fd = open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) {
            if (errno == EACCES || errno == EPERM)
                denied = node;
            continue;
        }
        char deviceName[256] = "";
        bool named = ioctl(fd, EVIOCGNAME(sizeof deviceName - 1), deviceName) >= 0;
        close(fd);
        if (name[0] == '/' || (named && strstr(deviceName, name.c_str()))) {
            *readable = true;
            return line(CHK_OK, item, node + " (\"" + deviceName + "\") can be read");
        }
    }
    if (!denied.empty())
        return line(CHK_NOT, item, "no readable device named like " + name + "; " + denied + " may not be read",
            "a udev rule with TAG+=\"uaccess\" for the remote's event device lets the seat's user read it");
    return line(CHK_NOT, item, "no input device whose name contains " + name,
        "plug the remote's receiver in; \"libinput list-devices\" shows the names");
}

CHKline CHKsource(const std::string &input, const std::string &devDir, bool *readable)
{
    *readable = false;
    std::string item = "source \"" + input + "\"";
    if (input.empty() || input.compare(0, 3, "USB") == 0 || input == "lirc") {
        std::string first;
        if (DIR *dir = opendir(devDir.c_str())) {
            std::vector<std::string> names;
            while (struct dirent *e = readdir(dir))
                if (strncmp(e->d_name, "lirc", 4) == 0 && e->d_name[4] >= '0' && e->d_name[4] <= '9')
                    names.push_back(e->d_name);
            closedir(dir);
            std::sort(names.begin(), names.end());
            for (const std::string &n : names) {
                bool ok = false;
                probeLircDevice(devDir + "/" + n, &ok);
                if (ok) {
                    first = devDir + "/" + n;
                    break;
                }
            }
        }
        if (!first.empty()) {
            *readable = true;
            return line(CHK_OK, item, "automatic: the receiver " + first + " would be read");
        }
        if (CHKlircd("").state == CHK_OK) {
            *readable = true;
            return line(CHK_OK, item, "automatic: no raw receiver, lircd's button names would be read");
        }
        return line(CHK_NOT, item, "automatic: no receiver can be read now (the Mapper waits for one)",
            "see the receiver lines above");
    }
    if (input == "lircd" || input.compare(0, 6, "lircd:") == 0) {
        CHKline l = CHKlircd(input == "lircd" ? "" : input.substr(6));
        *readable = l.state == CHK_OK;
        l.item = item;
        if (!*readable) {
            l.state = CHK_NOT;
            l.fix = "start lircd (\"sudo systemctl start lircd\"), or use INT USB for the receiver itself";
        }
        return l;
    }
    if (input.compare(0, 6, "evdev:") == 0) {
        CHKline l = probeEvdev(input.substr(6), readable);
        l.item = item;
        return l;
    }
    if (input.compare(0, 3, "fd:") == 0)
        return line(CHK_NOTE, item, "a descriptor handed to the Mapper when it starts; nothing to check here");
    if (input[0] != '/')
        return line(CHK_NOT, item, "is not a source the Mapper knows",
            "write INT USB (the receiver), lirc, a device path, lircd or evdev:NAME in OrvendaVQX.cfg");
    struct stat st;
    if (stat(input.c_str(), &st) != 0)
        return line(CHK_NOT, item, std::string("is not there: ") + strerror(errno),
            "plug the receiver in, or name the right device (ls " + devDir + "/lirc*)");
    if (S_ISCHR(st.st_mode)) {
        CHKline l = probeLircDevice(input, readable);
        l.item = item;
        return l;
    }
    // A FIFO is opened as the Mapper opens it (reading and writing), but not read: what waits in
    // it belongs to the Mapper.
    int fd = open(input.c_str(), (S_ISFIFO(st.st_mode) ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return line(CHK_NOT, item, std::string("cannot be opened: ") + strerror(errno),
            "give this user read access to " + input);
    close(fd);
    *readable = true;
    return line(CHK_OK, item,
        S_ISFIFO(st.st_mode) ? "a FIFO that can be opened: timings written to it are read" : "can be opened");
}

CHKline CHKuinput(const std::string &path, bool *usable)
{
    *usable = false;
    int fd = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd >= 0) {
        close(fd);
        *usable = true;
        return line(CHK_OK, "uinput", path + " can be opened: keys and mouse work under X11 and Wayland");
    }
    int err = errno;
    if (err == EACCES || err == EPERM)
        return line(CHK_NOT, "uinput", path + ": permission denied",
            "install the udev rule KERNEL==\"uinput\", TAG+=\"uaccess\", then log in again");
    if (err == ENOENT || err == ENODEV || err == ENXIO)
        return line(CHK_NOT, "uinput", path + " is missing: the uinput module is not loaded",
            "sudo modprobe uinput (and add \"uinput\" to /etc/modules-load.d/ for the next boot)");
    return line(CHK_NOT, "uinput", path + ": " + strerror(err));
}

CHKfront CHKfrontKind(const char *currentDesktop, const char *waylandDisplay, const char *display)
{
    std::string desktop = currentDesktop ? currentDesktop : "";
    if (desktop.find("GNOME") != std::string::npos || desktop.find("KDE") != std::string::npos)
        return CHK_FRONT_EXTENSION;
    if (waylandDisplay && *waylandDisplay)
        return CHK_FRONT_WLROOTS;
    if (display && *display)
        return CHK_FRONT_X11;
    return CHK_FRONT_NONE;
}
