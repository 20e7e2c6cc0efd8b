// The window in front on an X server: _NET_ACTIVE_WINDOW on the root window, watched through
// PropertyNotify, and the class, application id and process id of the window it names. Uses xcb,
// whose errors come back as values: a window that is gone when asked about is simply no window.
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

#include "mapper/front.h"
#include "mapper/frontsource.h"

namespace {

const uint32_t kWindowEvents = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
// Property values longer than this (in 32-bit units) are not read in full; names are short.
const uint32_t kMaxPropertyLength = 1024;

bool sameWindow(const FRTwindow &a, const FRTwindow &b)
{
    return a.none == b.none && a.appId == b.appId && a.windowClass == b.windowClass && a.instance == b.instance
        && a.pid == b.pid;
}

class X11Front : public FRTsource {
public:
    xcb_connection_t *conn = nullptr;
    xcb_window_t root = 0;
    xcb_atom_t netActiveWindow = 0, gtkApplicationId = 0, netWmPid = 0;
    xcb_window_t watched = 0; // the active window whose own properties are watched
    FRTwindow last;
    std::string displayName;

    ~X11Front() override
    {
        if (conn)
            xcb_disconnect(conn);
    }
    std::string name() const override { return "X11 _NET_ACTIVE_WINDOW on " + displayName; }
    int fd() const override { return xcb_get_file_descriptor(conn); }
    int dispatch(FRTwindow *w) override;
    FRTwindow current() override;

    xcb_atom_t atom(const char *name);
    std::string property(xcb_get_property_cookie_t cookie, bool *gone);
    xcb_window_t activeWindow();
    void watch(xcb_window_t window);
    FRTwindow readWindow(xcb_window_t window);
    bool relevant(xcb_generic_event_t *event);
};

xcb_atom_t X11Front::atom(const char *name)
{
    xcb_intern_atom_reply_t *reply
        = xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 0, (uint16_t)strlen(name), name), nullptr);
    xcb_atom_t a = reply ? reply->atom : (xcb_atom_t)XCB_ATOM_NONE;
    free(reply);
    return a;
}

// The property's bytes ("" when it is not set); *gone is set when the window no longer exists.
std::string X11Front::property(xcb_get_property_cookie_t cookie, bool *gone)
{
    xcb_generic_error_t *error = nullptr;
    xcb_get_property_reply_t *reply = xcb_get_property_reply(conn, cookie, &error);
    std::string value;
    if (error) {
        if (error->error_code == XCB_WINDOW && gone)
            *gone = true;
        free(error);
    }
    if (reply) {
        int length = xcb_get_property_value_length(reply);
        if (length > 0)
            value.assign((const char *)xcb_get_property_value(reply), (size_t)length);
        if (reply->format == 32 && value.size() % 4 != 0)
            value.clear();
        free(reply);
    }
    return value;
}

xcb_window_t X11Front::activeWindow()
{
    xcb_get_property_cookie_t cookie = xcb_get_property(conn, 0, root, netActiveWindow, XCB_ATOM_WINDOW, 0, 1);
    std::string value = property(cookie, nullptr);
    if (value.size() < 4)
        return 0;
    uint32_t window;
    memcpy(&window, value.data(), 4);
    return window;
}

// Follows the active window's own property changes (a class or id set late) and its end; the
// window watched before is let go. Errors for a window already gone come back as events and are
// ignored there.
void X11Front::watch(xcb_window_t window)
{
    if (window == watched)
        return;
    if (watched) {
        const uint32_t none = 0;
        xcb_change_window_attributes(conn, watched, XCB_CW_EVENT_MASK, &none);
    }
    watched = window;
    if (window)
        xcb_change_window_attributes(conn, window, XCB_CW_EVENT_MASK, &kWindowEvents);
}

FRTwindow X11Front::readWindow(xcb_window_t window)
{
    FRTwindow w;
    if (!window)
        return w;
    // All three asked at once, then the answers collected: one round trip.
    xcb_get_property_cookie_t classCookie
        = xcb_get_property(conn, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, kMaxPropertyLength);
    xcb_get_property_cookie_t idCookie
        = xcb_get_property(conn, 0, window, gtkApplicationId, XCB_GET_PROPERTY_TYPE_ANY, 0, kMaxPropertyLength);
    xcb_get_property_cookie_t pidCookie = xcb_get_property(conn, 0, window, netWmPid, XCB_ATOM_CARDINAL, 0, 1);
    bool gone = false;
    std::string wmClass = property(classCookie, &gone);
    std::string appId = property(idCookie, &gone);
    std::string pid = property(pidCookie, &gone);
    if (gone)
        return w; // closed between the change and the question: nothing in front for now
    w.none = false;
    FRTsplitClass(wmClass, &w.instance, &w.windowClass);
    w.appId = appId.substr(0, appId.find('\0'));
    if (pid.size() >= 4)
        memcpy(&w.pid, pid.data(), 4);
    return w;
}

FRTwindow X11Front::current()
{
    // The window is watched before it is read, so that a change made in between is not missed.
    xcb_window_t window = activeWindow();
    watch(window);
    FRTwindow w = readWindow(window);
    if (w.none)
        watch(0);
    last = w;
    return w;
}

bool X11Front::relevant(xcb_generic_event_t *event)
{
    switch (event->response_type & 0x7f) {
    case XCB_PROPERTY_NOTIFY: {
        xcb_property_notify_event_t *e = (xcb_property_notify_event_t *)event;
        if (e->window == root)
            return e->atom == netActiveWindow;
        return e->window == watched
            && (e->atom == XCB_ATOM_WM_CLASS || e->atom == gtkApplicationId || e->atom == netWmPid);
    }
    case XCB_DESTROY_NOTIFY:
        return ((xcb_destroy_notify_event_t *)event)->window == watched;
    default:
        // Errors (response type 0) for windows gone before they could be watched or let go.
        return false;
    }
}

int X11Front::dispatch(FRTwindow *w)
{
    bool changed = false;
    // The first pass reads the socket; the reads of the window queue what came meanwhile, which
    // the later passes take (the descriptor says nothing more about those).
    for (int pass = 0; pass < 8; pass++) {
        bool again = false;
        while (xcb_generic_event_t *event = pass == 0 ? xcb_poll_for_event(conn) : xcb_poll_for_queued_event(conn)) {
            again = relevant(event) || again;
            free(event);
        }
        if (xcb_connection_has_error(conn))
            return -1;
        if (!again && pass > 0)
            break;
        if (again) {
            FRTwindow before = last;
            current();
            changed = changed || !sameWindow(before, last);
        }
    }
    if (xcb_connection_has_error(conn))
        return -1;
    if (!changed)
        return 0;
    *w = last;
    return 1;
}

} // namespace

FRTsource *FRTopenX11(const char *display, std::string *why)
{
    int screenNumber = 0;
    xcb_connection_t *conn = xcb_connect(display, &screenNumber);
    const char *shown = display ? display : getenv("DISPLAY");
    if (xcb_connection_has_error(conn)) {
        *why = std::string("cannot connect to the X server ") + (shown ? shown : "(DISPLAY is not set)");
        xcb_disconnect(conn);
        return nullptr;
    }
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(conn));
    for (int i = 0; i < screenNumber && it.rem; i++)
        xcb_screen_next(&it);
    if (!it.rem) {
        *why = "the X server has no such screen";
        xcb_disconnect(conn);
        return nullptr;
    }
    X11Front *source = new X11Front;
    source->conn = conn;
    source->root = it.data->root;
    source->displayName = shown ? shown : "";
    source->netActiveWindow = source->atom("_NET_ACTIVE_WINDOW");
    source->gtkApplicationId = source->atom("_GTK_APPLICATION_ID");
    source->netWmPid = source->atom("_NET_WM_PID");
    const uint32_t rootEvents = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_void_cookie_t cookie = xcb_change_window_attributes_checked(conn, source->root, XCB_CW_EVENT_MASK, &rootEvents);
    xcb_generic_error_t *error = xcb_request_check(conn, cookie);
    if (error || !source->netActiveWindow) {
        free(error);
        *why = "the root window's properties cannot be watched";
        delete source;
        return nullptr;
    }
    *why = source->name();
    return source;
}
