// Sources that tell the Mapper which window is in front: the X server's active window, or a
// wlroots compositor's activated toplevel. Each is read on the deciding thread through its fd.
#ifndef VQX_MAPPER_FRONTSOURCE_H
#define VQX_MAPPER_FRONTSOURCE_H

#include <cstdint>
#include <string>

// What a source knows of the window in front; empty strings and pid 0 where it does not know.
struct FRTwindow {
    std::string appId; // _GTK_APPLICATION_ID or the Wayland app_id
    std::string windowClass; // WM_CLASS class part
    std::string instance; // WM_CLASS instance part
    uint32_t pid = 0; // _NET_WM_PID, or the client's process
    bool none = true; // true when no window is in front (the desktop, or nothing known)
};

class FRTsource {
public:
    virtual ~FRTsource();
    // A short description for the log and the bus: "X11 _NET_ACTIVE_WINDOW on :1", ...
    virtual std::string name() const = 0;
    // The descriptor to watch for reading; dispatch() is called when it is readable.
    virtual int fd() const = 0;
    // Handles what is waiting on fd(). 1: the window in front changed and *w holds it; 0: nothing
    // that matters changed; -1: the connection is lost (the source is of no further use).
    virtual int dispatch(FRTwindow *w) = 0;
    // The window in front right now, as last known (asked once after opening).
    virtual FRTwindow current() = 0;
};

// The X server's active window (display: as XOpenDisplay takes it; null = $DISPLAY), or null
// with *why.
FRTsource *FRTopenX11(const char *display, std::string *why);
// The activated toplevel of a wlroots compositor (display: a Wayland socket name; null =
// $WAYLAND_DISPLAY), or null with *why (for example, a compositor without the protocol).
FRTsource *FRTopenWlroots(const char *display, std::string *why);

#endif
