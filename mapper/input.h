// Receivers of raw infrared timings: a /dev/lirc* device in mode2, or any descriptor that yields
// the same 32-bit sample words (a pipe or FIFO in tests). Reading, finding and reopening.
#ifndef VQX_MAPPER_INPUT_H
#define VQX_MAPPER_INPUT_H

#include <string>
#include <vector>

#include "mapper/samples.h"

struct INPdevice {
    std::string path; // the device or FIFO path; empty for an inherited descriptor
    int fd = -1; // open descriptor, or -1
    bool ownsFd = true; // false for an inherited descriptor, which is never reopened
    unsigned char partial[4] = { 0, 0, 0, 0 }; // bytes of a sample word not yet complete
    int partialLength = 0;
};

// Opens path for reading samples (a FIFO is opened so that writers may come and go); sets the
// device to mode2 when it is a LIRC device. 0, or the negative errno.
int INPopen(INPdevice *dev, const std::string &path);
// Uses an inherited descriptor ("fd:N").
int INPadopt(INPdevice *dev, int fd);
// Reads what is there into *out. 1: read something or nothing was waiting; -1: the receiver is
// gone (end of file, unplugged) and has been closed.
int INPread(INPdevice *dev, std::vector<SMPsample> *out);
void INPclose(INPdevice *dev);
// The first /dev/lirc* device that can receive raw timings ("" when none); `why` says what was
// found and refused.
std::string INPfindReceiver(std::string *why);
// True when `path` names a LIRC raw-timing device, a FIFO or another character device (not a
// keyword such as "lircd" or "evdev:").
bool INPisDevicePath(const std::string &path);

#endif
