// Key and pointer events through the X server's XTest extension, for X sessions where no uinput
// device can be made. X key codes are the Linux codes + 8 (the evdev key codes of X servers).
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XKBstr.h>
#include <X11/extensions/XTest.h>
#include <linux/input-event-codes.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "mapper/heldkeys.h"
#include "mapper/inject.h"
#include "mapper/log.h"

namespace {

// Time a remapped spare key keeps its character after it was typed: a client reads the changed
// keymap only when it handles the key event, so the old mapping is put back once it had the time
// (put back at once, the client finds the key empty again and types nothing).
const int64_t kRestoreAfterUs = 150 * 1000;
// Spare key codes bound at most at once; the oldest is put back first when all are taken.
const size_t kMaxSpares = 8;

int64_t monotonicUs()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (int64_t)ts.tv_sec * 1000000 + ts.tv_nsec / 1000;
}

class XTestDevice : public INJdevice {
public:
    XTestDevice(Display *dpy, Display *restoreDpy);
    ~XTestDevice() override;
    const char *name() const override { return "xtest"; }
    bool key(int code, bool down) override;
    bool button(int code, bool down) override;
    bool move(int dx, int dy) override;
    bool sync() override;
    bool typeUnmapped(uint32_t codepoint) override;
    void settled() override;
    // Lets go of what a Mapper before this one left down on this display, as its file says.
    void releaseLeftOver();
    bool dead = false; // the connection to the X server is lost
    bool restorerDead = false; // the put-back thread's connection is lost (used on that thread)

private:
    struct Spare {
        KeySym sym = NoSymbol;
        int64_t typedAt = 0;
    };
    Display *dpy_; // this thread's connection
    std::set<int> keysDown_; // X key codes pressed
    std::set<unsigned> buttonsDown_;
    // The X server keeps keys pressed through XTest down when the client dies without letting
    // them go, so what stays held is written to a file that the next Mapper reads at start.
    std::string display_;
    std::string heldPath_;
    HLDlist heldSaved_; // what the file says now
    bool heldFailed_ = false; // the file could not be written (said once)
    // Spare key codes bound to a character for now, put back on a thread of its own with its own
    // connection, so that a key is put back on time whatever the Mapper does meanwhile.
    Display *restoreDpy_; // null: put back on later calls here instead
    std::mutex mutex_; // guards spares_ and stopping_, and keeps mapping changes in order
    std::condition_variable wake_;
    bool stopping_ = false;
    std::map<KeyCode, Spare> spares_;
    std::thread restorer_;
    void restoreLoop();
    void restoreDue(Display *dpy, int64_t now, bool all);
    void unbind(Display *dpy, KeyCode code);
    KeyCode freeSpare();
};

// Errors of requests to these connections (a key code out of range, a mapping refused) are logged
// and do not end the program; those of other connections go to the handler before.
Display *theDisplay = nullptr;
Display *theRestoreDisplay = nullptr;
XErrorHandler thePreviousHandler = nullptr;

int onError(Display *dpy, XErrorEvent *error)
{
    if (dpy && (dpy == theDisplay || dpy == theRestoreDisplay)) {
        LOGinfo("xtest: the X server refused a request (error %d, request %d.%d)", error->error_code,
            error->request_code, error->minor_code);
        return 0;
    }
    return thePreviousHandler ? thePreviousHandler(dpy, error) : 0;
}

// A lost X server makes the device useless, not the Mapper end.
void onConnectionLost(Display *, void *device)
{
    static_cast<XTestDevice *>(device)->dead = true;
    LOGinfo("xtest: the connection to the X server is lost");
}

void onRestorerConnectionLost(Display *, void *device)
{
    static_cast<XTestDevice *>(device)->restorerDead = true;
}

// Whether key codes are the evdev ones: two keys whose code differs in the older key code sets.
bool evdevKeycodes(Display *dpy, std::string *why)
{
    int opcode, event, error, major = XkbMajorVersion, minor = XkbMinorVersion;
    if (!XkbQueryExtension(dpy, &opcode, &event, &error, &major, &minor)) {
        *why = "the X server has no XKB extension, so its key codes cannot be checked";
        return false;
    }
    XkbDescPtr desc = XkbGetMap(dpy, 0, XkbUseCoreKbd);
    if (desc && XkbGetNames(dpy, XkbKeyNamesMask, desc) != Success) {
        XkbFreeKeyboard(desc, 0, True);
        desc = nullptr;
    }
    if (!desc || !desc->names || !desc->names->keys) {
        if (desc)
            XkbFreeKeyboard(desc, 0, True);
        *why = "the X server does not name its key codes (no XKB)";
        return false;
    }
    auto nameOf = [&](int code) {
        if (code < desc->min_key_code || code > desc->max_key_code)
            return std::string();
        return std::string(desc->names->keys[code].name, strnlen(desc->names->keys[code].name, XkbKeyNameLength));
    };
    std::string a = nameOf(38), up = nameOf(111);
    XkbFreeKeyboard(desc, 0, True);
    if (a == "AC01" && up == "UP")
        return true;
    *why = "the X server's key codes are not the evdev ones (key code 38 is \"" + a + "\", 111 is \"" + up
        + "\"; expected AC01 and UP)";
    return false;
}

XTestDevice::XTestDevice(Display *dpy, Display *restoreDpy)
    : dpy_(dpy)
    , display_(DisplayString(dpy))
    , heldPath_(HLDpath(DisplayString(dpy)))
    , restoreDpy_(restoreDpy)
{
    if (restoreDpy_) {
        XSetIOErrorExitHandler(restoreDpy_, onRestorerConnectionLost, this);
        restorer_ = std::thread([this]() { restoreLoop(); });
    }
}

XTestDevice::~XTestDevice()
{
    if (restorer_.joinable()) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        restorer_.join();
    }
    if (!dead) {
        for (auto it = keysDown_.rbegin(); it != keysDown_.rend(); ++it)
            XTestFakeKeyEvent(dpy_, (unsigned)*it, False, CurrentTime);
        for (unsigned b : buttonsDown_)
            XTestFakeButtonEvent(dpy_, b, False, CurrentTime);
        XSync(dpy_, False);
        restoreDue(dpy_, 0, true);
        XSync(dpy_, False);
        if (!heldSaved_.empty())
            HLDsave(heldPath_, HLDlist(), display_.c_str());
    }
    if (theDisplay == dpy_) {
        XSetErrorHandler(thePreviousHandler);
        theDisplay = nullptr;
        theRestoreDisplay = nullptr;
    }
    if (restoreDpy_)
        XCloseDisplay(restoreDpy_);
    XCloseDisplay(dpy_);
}

// The put-back thread: sleeps until the oldest spare key is due, puts it back, and so on.
void XTestDevice::restoreLoop()
{
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_ && !restorerDead) {
        int64_t due = INT64_MAX;
        for (auto &s : spares_)
            due = std::min(due, s.second.typedAt + kRestoreAfterUs);
        int64_t now = monotonicUs();
        if (due == INT64_MAX)
            wake_.wait(lock);
        else if (now < due)
            wake_.wait_for(lock, std::chrono::microseconds(due - now));
        else
            restoreDue(restoreDpy_, now, false);
    }
}

bool XTestDevice::key(int code, bool down)
{
    if (dead || code <= 0 || code + 8 > 255)
        return false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        int64_t now = monotonicUs();
        // A spare key bound for a character comes here too when the layout was read meanwhile.
        auto spare = spares_.find((KeyCode)(code + 8));
        if (spare != spares_.end())
            spare->second.typedAt = now;
        if (!restoreDpy_)
            restoreDue(dpy_, now, false);
    }
    XTestFakeKeyEvent(dpy_, (unsigned)(code + 8), down ? True : False, CurrentTime);
    if (down)
        keysDown_.insert(code + 8);
    else
        keysDown_.erase(code + 8);
    return !dead;
}

bool XTestDevice::button(int code, bool down)
{
    unsigned b = code == BTN_LEFT ? 1 : code == BTN_MIDDLE ? 2 : code == BTN_RIGHT ? 3 : 0;
    if (dead || b == 0)
        return false;
    XTestFakeButtonEvent(dpy_, b, down ? True : False, CurrentTime);
    if (down)
        buttonsDown_.insert(b);
    else
        buttonsDown_.erase(b);
    return !dead;
}

bool XTestDevice::move(int dx, int dy)
{
    if (dead)
        return false;
    XTestFakeRelativeMotionEvent(dpy_, dx, dy, CurrentTime);
    return !dead;
}

bool XTestDevice::sync()
{
    if (dead)
        return false;
    if (!restoreDpy_) {
        std::lock_guard<std::mutex> lock(mutex_);
        restoreDue(dpy_, monotonicUs(), false);
    }
    XFlush(dpy_);
    return !dead;
}

// Only a change of what is held is written: a tap goes down and up within one step.
void XTestDevice::settled()
{
    HLDlist now;
    now.keys.insert(keysDown_.begin(), keysDown_.end());
    now.buttons.insert(buttonsDown_.begin(), buttonsDown_.end());
    if (dead || now == heldSaved_)
        return;
    if (HLDsave(heldPath_, now, display_.c_str())) {
        heldSaved_ = now;
        heldFailed_ = false;
    } else if (!heldFailed_) {
        heldFailed_ = true;
        LOGinfo("xtest: %s cannot be written; keys held when the Mapper dies stay down",
            heldPath_.empty() ? "the held-keys file" : heldPath_.c_str());
    }
}

void XTestDevice::releaseLeftOver()
{
    HLDlist left = HLDload(heldPath_);
    if (left.empty())
        return;
    // Keys first, in the reverse order of their codes (modifiers have the lower ones), then
    // buttons; releasing what is no longer down changes nothing in the server.
    for (auto it = left.keys.rbegin(); it != left.keys.rend(); ++it)
        XTestFakeKeyEvent(dpy_, (unsigned)*it, False, CurrentTime);
    for (int b : left.buttons)
        XTestFakeButtonEvent(dpy_, (unsigned)b, False, CurrentTime);
    XSync(dpy_, False);
    HLDsave(heldPath_, HLDlist(), display_.c_str());
    std::string codes;
    for (int k : left.keys)
        codes += " " + std::to_string(k);
    for (int b : left.buttons)
        codes += " button" + std::to_string(b);
    LOGinfo("xtest: released what a Mapper before this one left held down on %s (X codes%s)", display_.c_str(),
        codes.c_str());
}

// Gives a spare key code its empty mapping back (the mutex held).
void XTestDevice::unbind(Display *dpy, KeyCode code)
{
    KeySym none = NoSymbol;
    XChangeKeyboardMapping(dpy, code, 1, &none, 1);
    spares_.erase(code);
}

// Puts back the spare keys typed long enough ago, all of them when `all` (the mutex held).
void XTestDevice::restoreDue(Display *dpy, int64_t now, bool all)
{
    bool changed = false;
    for (auto it = spares_.begin(); it != spares_.end();) {
        auto next = std::next(it);
        if (all || now - it->second.typedAt >= kRestoreAfterUs) {
            unbind(dpy, it->first);
            changed = true;
        }
        it = next;
    }
    // Waits for the server, so that a key code given out again is bound after it was put back.
    if (changed)
        XSync(dpy, False);
}

// A key code with no keysym at all, not already bound for a character (the mutex held).
KeyCode XTestDevice::freeSpare()
{
    int min = 0, max = 0;
    XDisplayKeycodes(dpy_, &min, &max);
    int perCode = 0;
    KeySym *syms = XGetKeyboardMapping(dpy_, (KeyCode)min, max - min + 1, &perCode);
    if (!syms)
        return 0;
    KeyCode found = 0;
    // From the top: the highest codes are the ones no keyboard has.
    for (int code = max; code >= min && !found; code--) {
        if (spares_.count((KeyCode)code))
            continue;
        bool empty = true;
        for (int i = 0; i < perCode && empty; i++)
            empty = syms[(code - min) * perCode + i] == NoSymbol;
        if (empty)
            found = (KeyCode)code;
    }
    XFree(syms);
    return found;
}

bool XTestDevice::typeUnmapped(uint32_t codepoint)
{
    if (dead || codepoint < 0x20 || (codepoint >= 0x7F && codepoint < 0xA0) || codepoint > 0x10FFFF)
        return false;
    // Latin-1 characters have keysyms of their own value, the others the Unicode ones.
    KeySym sym = codepoint < 0x100 ? (KeySym)codepoint : (KeySym)(0x1000000 + codepoint);
    std::lock_guard<std::mutex> lock(mutex_);
    int64_t now = monotonicUs();
    if (!restoreDpy_)
        restoreDue(dpy_, now, false);
    KeyCode code = 0;
    for (auto &s : spares_)
        if (s.second.sym == sym)
            code = s.first;
    if (!code) {
        if (spares_.size() >= kMaxSpares) {
            // All in use: the oldest goes back once the server has passed on its key event.
            auto oldest = spares_.begin();
            for (auto it = spares_.begin(); it != spares_.end(); ++it)
                if (it->second.typedAt < oldest->second.typedAt)
                    oldest = it;
            XSync(dpy_, False);
            unbind(dpy_, oldest->first);
        }
        code = freeSpare();
        if (!code) {
            LOGinfo("xtest: no spare key code to type U+%04X", (unsigned)codepoint);
            return false;
        }
        // The keysym on its first two levels, so that a held Shift does not change it.
        KeySym both[2] = { sym, sym };
        XChangeKeyboardMapping(dpy_, code, 2, both, 1);
        XSync(dpy_, False);
    }
    spares_[code] = Spare { sym, now };
    XTestFakeKeyEvent(dpy_, code, True, CurrentTime);
    XTestFakeKeyEvent(dpy_, code, False, CurrentTime);
    XSync(dpy_, False);
    wake_.notify_all();
    return !dead;
}

} // namespace

INJdevice *INJopenXTest(std::string *why)
{
    const char *name = getenv("DISPLAY");
    if (!name || !*name) {
        *why = "no X display ($DISPLAY is not set)";
        return nullptr;
    }
    // Two connections on two threads (the events here, the put-back of spare keys on the other);
    // libX11 1.8 sets up its locks by itself, older ones need this before the first connection.
    XInitThreads();
    Display *dpy = XOpenDisplay(nullptr);
    if (!dpy) {
        *why = std::string("the X display ") + name + " cannot be opened";
        return nullptr;
    }
    int event, error, major, minor;
    if (!XTestQueryExtension(dpy, &event, &error, &major, &minor)) {
        XCloseDisplay(dpy);
        *why = std::string("the X server of ") + name + " has no XTest extension";
        return nullptr;
    }
    if (!evdevKeycodes(dpy, why)) {
        XCloseDisplay(dpy);
        return nullptr;
    }
    Display *restoreDpy = XOpenDisplay(nullptr);
    if (!restoreDpy)
        LOGinfo("xtest: no second connection to %s; spare keys are put back on the next event", name);
    if (!theDisplay) {
        theDisplay = dpy;
        theRestoreDisplay = restoreDpy;
        thePreviousHandler = XSetErrorHandler(onError);
    }
    // Events sent while another client grabs the server still arrive, in order.
    XTestGrabControl(dpy, True);
    if (restoreDpy)
        XTestGrabControl(restoreDpy, True);
    XTestDevice *device = new XTestDevice(dpy, restoreDpy);
    XSetIOErrorExitHandler(dpy, onConnectionLost, device);
    device->releaseLeftOver();
    return device;
}
