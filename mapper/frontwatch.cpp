// Owns the front-application source and the watch on the desktop entries: their descriptors are
// read on the deciding thread, and each change becomes a new list of names for the daemon.
#include "mapper/frontwatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <QTimer>
#include <cstdlib>
#include <memory>

#include "mapper/desktopentries.h"
#include "mapper/front.h"
#include "mapper/log.h"

// Installing a package writes many desktop entries at once: they are read again once it settles.
static const int kEntriesSettleMs = 300;

struct FWTwatch {
    FWTsetFront setFront;
    std::unique_ptr<FRTsource> source;
    std::unique_ptr<QSocketNotifier> sourceNotifier;
    std::string sourceName = "none";
    DSEindex entries;
    int entriesWatch = -1;
    std::unique_ptr<QSocketNotifier> entriesNotifier;
    QTimer settle;
    FRTwindow window; // the last window reported, by the source or from outside
    bool haveWindow = false; // false while fixed names (or nothing) stand
    bool fromSource = false; // the last report came from the source
};

static void apply(FWTwatch *w, const FRTwindow &window, bool fromSource)
{
    w->window = window;
    w->haveWindow = true;
    w->fromSource = fromSource;
    w->setFront(FRTnames(window, &w->entries));
}

// The source is of no further use; it stays (silent) until the watch ends, since this may run
// inside its own notifier's signal.
static void stopSource(FWTwatch *w)
{
    if (w->sourceNotifier)
        w->sourceNotifier->setEnabled(false);
}

static void onSourceReadable(FWTwatch *w)
{
    FRTwindow window;
    int status = w->source->dispatch(&window);
    if (status > 0) {
        apply(w, window, true);
    } else if (status < 0) {
        LOGinfo("front application: the connection to %s is lost; the default entry applies until "
                "SetFrontApplication reports an application",
            w->sourceName.c_str());
        w->sourceName = "none (" + w->sourceName + " lost)";
        stopSource(w);
        // What the source said last is no longer known to hold; a report from outside still does.
        if (w->fromSource)
            apply(w, FRTwindow(), true);
    }
}

static void readEntries(FWTwatch *w)
{
    w->entries = DSEscan(DSEfolders());
    if (w->entriesWatch >= 0)
        DSEwatch(w->entriesWatch, w->entries.folders);
}

static void onEntriesSettled(FWTwatch *w)
{
    readEntries(w);
    LOGtrace("desktop entries read again: %zu", w->entries.entries.size());
    if (w->haveWindow)
        apply(w, w->window, w->fromSource);
}

static void onEntriesEvent(FWTwatch *w)
{
    char buffer[4096] __attribute__((aligned(__alignof__(struct inotify_event))));
    while (read(w->entriesWatch, buffer, sizeof buffer) > 0) { }
    w->settle.start();
}

static void watchEntries(FWTwatch *w)
{
    w->entriesWatch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    readEntries(w);
    if (w->entriesWatch < 0) {
        LOGinfo("desktop entries: their folders cannot be watched; new entries are seen after a restart");
        return;
    }
    w->settle.setSingleShot(true);
    w->settle.setInterval(kEntriesSettleMs);
    QObject::connect(&w->settle, &QTimer::timeout, [w]() { onEntriesSettled(w); });
    w->entriesNotifier.reset(new QSocketNotifier(w->entriesWatch, QSocketNotifier::Read));
    QObject::connect(w->entriesNotifier.get(), &QSocketNotifier::activated, [w]() { onEntriesEvent(w); });
}

static void useSource(FWTwatch *w, FRTsource *source)
{
    w->source.reset(source);
    w->sourceName = source->name();
    w->sourceNotifier.reset(new QSocketNotifier(source->fd(), QSocketNotifier::Read));
    QObject::connect(w->sourceNotifier.get(), &QSocketNotifier::activated, [w]() { onSourceReadable(w); });
    apply(w, source->current(), true);
    // Whatever came in while the window was read waits in the source's queue, not on its fd.
    onSourceReadable(w);
}

static void chooseSource(FWTwatch *w)
{
    const char *wayland = getenv("WAYLAND_DISPLAY");
    const char *x11 = getenv("DISPLAY");
    std::string why;
    if (wayland && wayland[0]) {
        FRTsource *source = FRTopenWlroots(nullptr, &why);
        if (source) {
            LOGinfo("front application: the compositor's activated toplevel (%s)", source->name().c_str());
            useSource(w, source);
        } else {
            LOGinfo("front application: not from the compositor (%s); on GNOME Shell and KDE Plasma the "
                    "desktop's extension reports it through SetFrontApplication",
                why.c_str());
        }
        return;
    }
    if (x11 && x11[0]) {
        FRTsource *source = FRTopenX11(nullptr, &why);
        if (source) {
            LOGinfo("front application: the X server's active window (%s)", source->name().c_str());
            useSource(w, source);
        } else {
            LOGinfo("front application: not from the X server (%s); the default entry applies until "
                    "SetFrontApplication reports an application",
                why.c_str());
        }
        return;
    }
    LOGinfo("front application: no display (neither WAYLAND_DISPLAY nor DISPLAY is set); the default entry "
            "applies until SetFrontApplication reports an application");
}

FWTwatch *FWTstart(const std::vector<std::string> &fixed, const FWTsetFront &setFront)
{
    FWTwatch *w = new FWTwatch;
    w->setFront = setFront;
    watchEntries(w);
    LOGtrace("desktop entries: %zu in %zu folders", w->entries.entries.size(), w->entries.folders.size());
    if (!fixed.empty()) {
        std::string joined;
        for (const std::string &n : fixed)
            joined += (joined.empty() ? "" : ", ") + n;
        LOGinfo("front application: fixed by --front (%s)", joined.c_str());
        w->sourceName = "--front";
        setFront(fixed);
        return w;
    }
    chooseSource(w);
    return w;
}

void FWTreport(FWTwatch *w, const FRTwindow &window)
{
    apply(w, window, false);
}

std::string FWTsourceName(const FWTwatch *w)
{
    return w->sourceName;
}

void FWTstop(FWTwatch *w)
{
    if (!w)
        return;
    w->sourceNotifier.reset();
    w->source.reset();
    w->entriesNotifier.reset();
    if (w->entriesWatch >= 0)
        close(w->entriesWatch);
    delete w;
}
