// Injecting key and pointer events into the desktop: one interface, two ways (a uinput device,
// which works under X11 and Wayland alike, or XTest on X11). Codes are Linux input codes.
#ifndef VQX_MAPPER_INJECT_H
#define VQX_MAPPER_INJECT_H

#include <cstdint>
#include <string>

class INJdevice {
public:
    virtual ~INJdevice();
    // "uinput" or "xtest".
    virtual const char *name() const = 0;
    // Presses (down) or releases one key: a Linux KEY_* code. False when it cannot be sent.
    virtual bool key(int code, bool down) = 0;
    // Presses or releases a pointer button: BTN_LEFT or BTN_RIGHT.
    virtual bool button(int code, bool down) = 0;
    // Moves the pointer by dx, dy pixels.
    virtual bool move(int dx, int dy) = 0;
    // Makes the events given so far take effect together (a SYN_REPORT, or a flush to the server).
    virtual bool sync() = 0;
    // The step under way is over: whatever is down now stays down until a later step (a held
    // key). An injector whose keys would outlive the program notes them here.
    virtual void settled() { }
    // Types one character that no key of the active layout gives, by a way of its own (XTest maps
    // a spare key code to it for the moment); false where there is none.
    virtual bool typeUnmapped(uint32_t codepoint)
    {
        (void)codepoint;
        return false;
    }
};

// The uinput device "Orvenda VQX Mapper" (keys, relative axes, two buttons), or null with *why.
INJdevice *INJopenUinput(std::string *why);
// XTest on the X server of $DISPLAY, or null with *why.
INJdevice *INJopenXTest(std::string *why);

#endif
