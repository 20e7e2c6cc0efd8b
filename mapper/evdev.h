// Remotes that are keyboards to the kernel: the /dev/input/event* device found by name or path,
// grabbed for the Mapper alone, and its input_event records decoded into key downs, repeats and ups.
// Usable from any command: find, open, read keys, close.
#ifndef VQX_MAPPER_EVDEV_H
#define VQX_MAPPER_EVDEV_H

#include <linux/input.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#define EVD_INPUT_FOLDER "/dev/input"

// One key event of the device.
struct EVDkey {
    int code = 0; // the Linux key code (KEY_*, BTN_*)
    int value = 0; // 1 down, 2 autorepeat, 0 up
};

// The record reader: bytes in any pieces, whole records out. Plain data, owned by the caller.
struct EVDdecoder {
    unsigned char partial[sizeof(struct input_event)];
    size_t partialLength = 0;
    uint64_t dropped = 0; // times the kernel said that events were lost (SYN_DROPPED)
};

// Feeds bytes; every key event (EV_KEY with value 0, 1 or 2) is appended to *out. Other events
// are skipped. Returns true when the kernel reported lost events in these bytes: what is held
// may have been let go unseen.
bool EVDfeed(EVDdecoder *d, const unsigned char *data, size_t size, std::vector<EVDkey> *out);

struct EVDdevice {
    std::string path; // the event node; empty for an inherited descriptor
    std::string name; // the device's name as the kernel gives it
    int fd = -1;
    bool ownsFd = true; // false for an inherited descriptor
    bool grabbed = false; // EVIOCGRAB held
    EVDdecoder decoder;
};

// The device's name (EVIOCGNAME), "" when the descriptor is no input device.
std::string EVDdeviceName(int fd);
// The event node for `want`: itself when it is a path, else the first /dev/input/event* (in
// number order) whose name contains `want`. "" when none; `why` says what was seen.
std::string EVDfind(const std::string &want, std::string *why);
// Opens the node for reading, non-blocking; with `grab`, takes the device for this descriptor
// alone (a node that cannot be grabbed, such as a FIFO, is read all the same). 0 or the negative
// errno.
int EVDopen(EVDdevice *dev, const std::string &path, bool grab);
// Reads from an inherited descriptor ("fd:N"), never grabbed or closed here.
int EVDadopt(EVDdevice *dev, int fd);
// Reads what is there. 1: read something or nothing was waiting; -1: the device is gone (end of
// file, unplugged) and has been closed. *lost is set when the kernel dropped events.
int EVDread(EVDdevice *dev, std::vector<EVDkey> *out, bool *lost);
// Lets the grab go and closes the device.
void EVDclose(EVDdevice *dev);

#endif
