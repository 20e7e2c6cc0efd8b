// "vqx-mapper learn" from a remote that is a keyboard to the kernel: each key going down is one
// press carrying its Linux key code; autorepeats and key ups are left out.
#include <poll.h>
#include <time.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <deque>

#include "mapper/evdev.h"
#include "mapper/learn.h"

namespace {

class KeySource : public LRNsource {
public:
    KeySource(const EVDdevice &device, const std::string &name)
        : device_(device)
        , name_(name)
    {
    }
    ~KeySource() override { EVDclose(&device_); }
    std::string name() const override { return name_; }
    int next(LRNpress *press, int timeoutMs, std::string *why) override;
    void discard() override;
    uint32_t carrier() const override { return 0; }

private:
    int readWaiting(void);
    EVDdevice device_;
    std::string name_;
    std::deque<int> downs_; // key codes pressed and not yet asked for
    bool gone_ = false;
};

int KeySource::readWaiting(void)
{
    std::vector<EVDkey> keys;
    bool lost = false;
    int status = EVDread(&device_, &keys, &lost);
    for (const EVDkey &k : keys)
        if (k.value == 1)
            downs_.push_back(k.code);
    return status;
}

int KeySource::next(LRNpress *press, int timeoutMs, std::string *why)
{
    struct timespec start;
    clock_gettime(CLOCK_MONOTONIC, &start);
    for (;;) {
        if (!downs_.empty()) {
            *press = LRNpress();
            press->keyCode = downs_.front();
            downs_.pop_front();
            return 1;
        }
        if (gone_) {
            *why = name_ + " is gone";
            return -1;
        }
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        long elapsed = (now.tv_sec - start.tv_sec) * 1000 + (now.tv_nsec - start.tv_nsec) / 1000000;
        if (elapsed >= timeoutMs)
            return 0;
        struct pollfd p = { device_.fd, POLLIN, 0 };
        int n = poll(&p, 1, (int)(timeoutMs - elapsed));
        if (n < 0 && errno != EINTR) {
            *why = name_ + ": " + strerror(errno);
            return -1;
        }
        if (n > 0 && readWaiting() < 0)
            gone_ = true;
    }
}

void KeySource::discard()
{
    if (!gone_ && readWaiting() < 0)
        gone_ = true;
    downs_.clear();
}

} // namespace

LRNsource *LRNopenKeys(const std::string &input, std::string *why)
{
    std::string wanted = input.substr(6); // after "evdev:"
    EVDdevice device;
    if (wanted.compare(0, 3, "fd:") == 0) {
        char *end = nullptr;
        long fd = strtol(wanted.c_str() + 3, &end, 10);
        if (end == wanted.c_str() + 3 || *end != '\0' || fd < 0 || fd > INT_MAX || EVDadopt(&device, (int)fd) != 0) {
            *why = input + " is not an open descriptor";
            return nullptr;
        }
        return new KeySource(device, input);
    }
    std::string seen;
    std::string path = EVDfind(wanted, &seen);
    if (path.empty()) {
        *why = "no input device named like \"" + wanted + "\" (" + seen + ")";
        return nullptr;
    }
    // Grabbed while learning, so that the presses do not also reach the desktop.
    int err = EVDopen(&device, path, true);
    if (err != 0) {
        *why = path + ": " + strerror(-err);
        return nullptr;
    }
    return new KeySource(device, "evdev:" + path);
}
