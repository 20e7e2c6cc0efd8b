// The window in front on wlroots compositors (sway, labwc, Hyprland, river): the toplevel that
// zwlr_foreign_toplevel_manager_v1 reports as activated, read without blocking on the display fd.
#include "mapper/frontsource.h"

#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"
#include <wayland-client.h>

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

class WlrSource;

// One toplevel: what the compositor has said since the last done, and what is in force.
struct Toplevel {
    WlrSource *source = nullptr;
    zwlr_foreign_toplevel_handle_v1 *handle = nullptr;
    std::string pendingAppId;
    bool pendingActivated = false;
    std::string appId;
    bool activated = false;
    uint64_t activatedAt = 0; // when it last became activated, to choose if several are
};

class WlrSource : public FRTsource {
public:
    ~WlrSource() override;
    std::string name() const override { return "Wayland zwlr_foreign_toplevel_manager_v1 on " + socket_; }
    int fd() const override { return wl_display_get_fd(display_); }
    int dispatch(FRTwindow *w) override;
    FRTwindow current() override { return front_; }

    bool open(const char *display, std::string *why);

    // Called from the listeners while events are dispatched.
    void addToplevel(zwlr_foreign_toplevel_handle_v1 *handle);
    void toplevelDone(Toplevel *t);
    void toplevelClosed(Toplevel *t);

    uint32_t managerName = 0;
    uint32_t managerVersion = 0;
    bool finished = false;

private:
    FRTwindow computeFront() const;
    int lose();

    wl_display *display_ = nullptr;
    wl_registry *registry_ = nullptr;
    zwlr_foreign_toplevel_manager_v1 *manager_ = nullptr;
    std::vector<std::unique_ptr<Toplevel>> toplevels_;
    std::string socket_;
    uint64_t activations_ = 0;
    bool lost_ = false;
    FRTwindow front_;
};

void registryGlobal(void *data, wl_registry *, uint32_t name, const char *interface, uint32_t version)
{
    WlrSource *source = static_cast<WlrSource *>(data);
    if (strcmp(interface, zwlr_foreign_toplevel_manager_v1_interface.name) == 0 && source->managerName == 0) {
        source->managerName = name;
        source->managerVersion = version;
    }
}

void registryGlobalRemove(void *, wl_registry *, uint32_t)
{
}

const wl_registry_listener registryListener = { registryGlobal, registryGlobalRemove };

// The state array holds 32-bit values of the state enum; only "activated" matters here.
bool holdsActivated(const wl_array *state)
{
    size_t count = state->size / sizeof(uint32_t);
    for (size_t i = 0; i < count; i++) {
        uint32_t value;
        memcpy(&value, static_cast<const char *>(state->data) + i * sizeof value, sizeof value);
        if (value == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED)
            return true;
    }
    return false;
}

void toplevelTitle(void *, zwlr_foreign_toplevel_handle_v1 *, const char *)
{
}

void toplevelAppId(void *data, zwlr_foreign_toplevel_handle_v1 *, const char *appId)
{
    static_cast<Toplevel *>(data)->pendingAppId = appId ? appId : "";
}

void toplevelOutputEnter(void *, zwlr_foreign_toplevel_handle_v1 *, wl_output *)
{
}
void toplevelOutputLeave(void *, zwlr_foreign_toplevel_handle_v1 *, wl_output *)
{
}

void toplevelState(void *data, zwlr_foreign_toplevel_handle_v1 *, wl_array *state)
{
    static_cast<Toplevel *>(data)->pendingActivated = holdsActivated(state);
}

void toplevelDone(void *data, zwlr_foreign_toplevel_handle_v1 *)
{
    Toplevel *t = static_cast<Toplevel *>(data);
    t->source->toplevelDone(t);
}

void toplevelClosed(void *data, zwlr_foreign_toplevel_handle_v1 *)
{
    Toplevel *t = static_cast<Toplevel *>(data);
    t->source->toplevelClosed(t);
}

void toplevelParent(void *, zwlr_foreign_toplevel_handle_v1 *, zwlr_foreign_toplevel_handle_v1 *)
{
}

const zwlr_foreign_toplevel_handle_v1_listener toplevelListener = {
    toplevelTitle,
    toplevelAppId,
    toplevelOutputEnter,
    toplevelOutputLeave,
    toplevelState,
    toplevelDone,
    toplevelClosed,
    toplevelParent,
};

void managerToplevel(void *data, zwlr_foreign_toplevel_manager_v1 *, zwlr_foreign_toplevel_handle_v1 *handle)
{
    static_cast<WlrSource *>(data)->addToplevel(handle);
}

void managerFinished(void *data, zwlr_foreign_toplevel_manager_v1 *)
{
    static_cast<WlrSource *>(data)->finished = true;
}

const zwlr_foreign_toplevel_manager_v1_listener managerListener = { managerToplevel, managerFinished };

WlrSource::~WlrSource()
{
    for (std::unique_ptr<Toplevel> &t : toplevels_)
        zwlr_foreign_toplevel_handle_v1_destroy(t->handle);
    toplevels_.clear();
    if (manager_)
        zwlr_foreign_toplevel_manager_v1_destroy(manager_);
    if (registry_)
        wl_registry_destroy(registry_);
    if (display_)
        wl_display_disconnect(display_);
}

bool WlrSource::open(const char *display, std::string *why)
{
    const char *socket = display ? display : getenv("WAYLAND_DISPLAY");
    socket_ = socket && *socket ? socket : "wayland-0";
    display_ = wl_display_connect(display);
    if (!display_) {
        *why = "cannot connect to the Wayland display " + socket_ + ": " + strerror(errno);
        return false;
    }
    registry_ = wl_display_get_registry(display_);
    wl_registry_add_listener(registry_, &registryListener, this);
    if (wl_display_roundtrip(display_) < 0) {
        *why = "the Wayland display " + socket_ + " closed the connection";
        return false;
    }
    if (managerName == 0) {
        *why = "the compositor does not offer zwlr_foreign_toplevel_manager_v1";
        return false;
    }
    uint32_t version = std::min<uint32_t>(managerVersion, 3);
    manager_ = static_cast<zwlr_foreign_toplevel_manager_v1 *>(
        wl_registry_bind(registry_, managerName, &zwlr_foreign_toplevel_manager_v1_interface, version));
    zwlr_foreign_toplevel_manager_v1_add_listener(manager_, &managerListener, this);
    // The first round trip brings the toplevels, the second everything each handle is told.
    if (wl_display_roundtrip(display_) < 0 || wl_display_roundtrip(display_) < 0) {
        *why = "the Wayland display " + socket_ + " closed the connection";
        return false;
    }
    front_ = computeFront();
    return true;
}

void WlrSource::addToplevel(zwlr_foreign_toplevel_handle_v1 *handle)
{
    std::unique_ptr<Toplevel> t(new Toplevel);
    t->source = this;
    t->handle = handle;
    zwlr_foreign_toplevel_handle_v1_add_listener(handle, &toplevelListener, t.get());
    toplevels_.push_back(std::move(t));
}

void WlrSource::toplevelDone(Toplevel *t)
{
    t->appId = t->pendingAppId;
    if (t->pendingActivated && !t->activated)
        t->activatedAt = ++activations_;
    t->activated = t->pendingActivated;
}

void WlrSource::toplevelClosed(Toplevel *t)
{
    zwlr_foreign_toplevel_handle_v1_destroy(t->handle);
    for (size_t i = 0; i < toplevels_.size(); i++) {
        if (toplevels_[i].get() == t) {
            toplevels_.erase(toplevels_.begin() + (long)i);
            break;
        }
    }
}

// The activated toplevel, the latest activated if the compositor has several (one per seat).
FRTwindow WlrSource::computeFront() const
{
    const Toplevel *best = nullptr;
    for (const std::unique_ptr<Toplevel> &t : toplevels_)
        if (t->activated && (!best || t->activatedAt > best->activatedAt))
            best = t.get();
    FRTwindow w;
    if (best) {
        w.appId = best->appId;
        w.none = false;
    }
    return w;
}

int WlrSource::lose()
{
    lost_ = true;
    return -1;
}

static bool sameWindow(const FRTwindow &a, const FRTwindow &b)
{
    return a.none == b.none && a.appId == b.appId && a.windowClass == b.windowClass && a.instance == b.instance
        && a.pid == b.pid;
}

int WlrSource::dispatch(FRTwindow *w)
{
    if (lost_)
        return -1;
    // Events already queued are handled first; then what the socket holds is read, if anything.
    while (wl_display_prepare_read(display_) != 0) {
        if (wl_display_dispatch_pending(display_) < 0)
            return lose();
    }
    if (wl_display_flush(display_) < 0 && errno != EAGAIN) {
        wl_display_cancel_read(display_);
        return lose();
    }
    pollfd p = { wl_display_get_fd(display_), POLLIN, 0 };
    int ready = poll(&p, 1, 0);
    if (ready > 0 && (p.revents & (POLLIN | POLLHUP | POLLERR))) {
        if (wl_display_read_events(display_) < 0)
            return lose();
    } else {
        wl_display_cancel_read(display_);
    }
    if (wl_display_dispatch_pending(display_) < 0)
        return lose();
    if (wl_display_flush(display_) < 0 && errno != EAGAIN)
        return lose();
    // A compositor that is done with the manager sends nothing more: the source is of no use.
    if (finished)
        return lose();
    // Only the state after the whole batch counts, so a toplevel closed and another activated in
    // one go is one change.
    FRTwindow now = computeFront();
    if (sameWindow(now, front_))
        return 0;
    front_ = now;
    *w = now;
    return 1;
}

} // namespace

FRTsource *FRTopenWlroots(const char *display, std::string *why)
{
    std::unique_ptr<WlrSource> source(new WlrSource);
    if (!source->open(display, why))
        return nullptr;
    return source.release();
}
