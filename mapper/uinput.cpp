// Keys and pointer events through a uinput device made with libevdev: "Orvenda VQX Mapper", with
// every key the key table can press, the two mouse buttons and the relative axes. It works under
// X11 and Wayland alike, since the compositor reads it like any keyboard and mouse.
#include "mapper/uinput.h"

#include <fcntl.h>
#include <linux/input.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>

#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>

#include "mapper/keymap.h"

const char UIN_DEVICE_NAME[] = "Orvenda VQX Mapper";

namespace {

class UinputDevice : public INJdevice {
public:
    // Writes to `fd`; owns `uidev` (and then closes fd) when given one.
    UinputDevice(int fd, libevdev_uinput *uidev)
        : fd_(fd)
        , uidev_(uidev)
    {
    }
    ~UinputDevice() override;
    const char *name() const override { return "uinput"; }
    bool key(int code, bool down) override;
    bool button(int code, bool down) override;
    bool move(int dx, int dy) override;
    bool sync() override;
    std::string devnode() const;

private:
    int fd_;
    libevdev_uinput *uidev_;
    std::set<int> down_; // keys and buttons pressed and not yet released
    bool press(int code, bool down);
};

} // namespace

// One input_event record, written whole. The kernel stamps the time of uinput events itself, so
// the time is left zero (as libevdev_uinput_write_event does).
static bool writeEvent(int fd, int type, int code, int value)
{
    struct input_event ev;
    memset(&ev, 0, sizeof ev);
    ev.type = (uint16_t)type;
    ev.code = (uint16_t)code;
    ev.value = value;
    ssize_t n;
    do
        n = write(fd, &ev, sizeof ev);
    while (n < 0 && errno == EINTR);
    return n == (ssize_t)sizeof ev;
}

UinputDevice::~UinputDevice()
{
    // Nothing stays pressed on the desktop after the device is gone.
    if (!down_.empty()) {
        std::set<int> held = down_;
        for (auto it = held.rbegin(); it != held.rend(); ++it)
            press(*it, false);
        sync();
    }
    if (uidev_) {
        libevdev_uinput_destroy(uidev_);
        close(fd_);
    }
}

bool UinputDevice::press(int code, bool down)
{
    if (code <= 0 || code > KEY_MAX)
        return false;
    if (down)
        down_.insert(code);
    else
        down_.erase(code);
    return writeEvent(fd_, EV_KEY, code, down ? 1 : 0);
}

bool UinputDevice::key(int code, bool down)
{
    return press(code, down);
}

bool UinputDevice::button(int code, bool down)
{
    if (code != BTN_LEFT && code != BTN_RIGHT)
        return false;
    return press(code, down);
}

bool UinputDevice::move(int dx, int dy)
{
    bool ok = true;
    if (dx)
        ok = writeEvent(fd_, EV_REL, REL_X, dx) && ok;
    if (dy)
        ok = writeEvent(fd_, EV_REL, REL_Y, dy) && ok;
    return ok;
}

bool UinputDevice::sync()
{
    return writeEvent(fd_, EV_SYN, SYN_REPORT, 0);
}

std::string UinputDevice::devnode() const
{
    const char *node = uidev_ ? libevdev_uinput_get_devnode(uidev_) : nullptr;
    return node ? node : "";
}

INJdevice *UINonDescriptor(int fd)
{
    return new UinputDevice(fd, nullptr);
}

std::string UINdevnode(const INJdevice *device)
{
    auto *uinput = dynamic_cast<const UinputDevice *>(device);
    return uinput ? uinput->devnode() : "";
}

// Every key a KEY action can press: the key table, the media keys and the modifiers (which the
// table holds as keys of their own).
static std::set<int> keysToEnable()
{
    std::set<int> keys;
    for (int vk = 0; vk < 128; vk++)
        if (KMAPkeyCode(vk))
            keys.insert(KMAPkeyCode(vk));
    for (int kind = 1; kind <= 4; kind++)
        keys.insert(KMAPmediaCode(kind));
    keys.insert(BTN_LEFT);
    keys.insert(BTN_RIGHT);
    return keys;
}

INJdevice *INJopenUinput(std::string *why)
{
    const char *path = "/dev/uinput";
    int fd = open(path, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        int err = errno;
        if (err == EACCES || err == EPERM)
            *why = std::string("permission denied: add the udev rule KERNEL==\"uinput\", TAG+=\"uaccess\" so that "
                               "the seat's user may open ")
                + path;
        else if (err == ENOENT || err == ENODEV || err == ENXIO)
            *why = std::string(path) + ": " + strerror(err) + " (the uinput module is not loaded: modprobe uinput)";
        else
            *why = std::string(path) + ": " + strerror(err);
        return nullptr;
    }
    libevdev *dev = libevdev_new();
    if (!dev) {
        close(fd);
        *why = "libevdev: out of memory";
        return nullptr;
    }
    libevdev_set_name(dev, UIN_DEVICE_NAME);
    libevdev_set_id_bustype(dev, BUS_VIRTUAL);
    libevdev_enable_event_type(dev, EV_KEY);
    for (int code : keysToEnable())
        libevdev_enable_event_code(dev, EV_KEY, (unsigned)code, nullptr);
    libevdev_enable_event_type(dev, EV_REL);
    libevdev_enable_event_code(dev, EV_REL, REL_X, nullptr);
    libevdev_enable_event_code(dev, EV_REL, REL_Y, nullptr);
    libevdev_uinput *uidev = nullptr;
    int rc = libevdev_uinput_create_from_device(dev, fd, &uidev);
    libevdev_free(dev);
    if (rc < 0) {
        close(fd);
        *why = std::string(path) + ": the device cannot be created: " + strerror(-rc);
        return nullptr;
    }
    return new UinputDevice(fd, uidev);
}
