// The uinput way of injecting keys and pointer events: what the tests reach beyond INJopenUinput,
// the same event writer on any descriptor and the event node of a device made here.
#ifndef VQX_MAPPER_UINPUT_H
#define VQX_MAPPER_UINPUT_H

#include <string>

#include "mapper/inject.h"

// The name the uinput device carries (what `libinput list-devices` and xinput show).
extern const char UIN_DEVICE_NAME[];

// An injector writing the very input_event records a uinput device would receive to `fd` (a pipe
// in tests), without creating a device. The descriptor stays the caller's.
INJdevice *UINonDescriptor(int fd);

// The /dev/input/event* node of a device made by INJopenUinput; "" for any other injector or when
// the kernel does not tell it.
std::string UINdevnode(const INJdevice *device);

#endif
