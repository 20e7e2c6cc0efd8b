// The lircd and evdev sources on the loop's thread: their descriptors and notifiers, lircd's
// reconnection with a back-off and a watch on its socket's folder, and the event device reopened
// when a device of the name wanted appears again.
#include "mapper/sources.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <QTimer>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <set>

#include "mapper/evdev.h"
#include "mapper/lircd.h"
#include "mapper/log.h"

static const int kFirstRetryMs = 250;
static const int kLongestRetryMs = 4000;

struct SRCsource {
    SRChooks hooks;
    bool lircd = false; // else evdev
    std::string wanted; // lircd's socket path, or the evdev name, node path or "fd:N"
    // A watch on the folder where the socket or the event node appears.
    int watchFd = -1;
    std::unique_ptr<QSocketNotifier> watchNotifier;
    QTimer retry; // the next attempt to connect or open
    int retryMs = kFirstRetryMs;
    bool waitingSaid = false; // "waiting for ..." is said once until the source is back
    std::unique_ptr<QSocketNotifier> readNotifier;
    // lircd
    int socketFd = -1;
    LRCparser parser;
    LRChold hold;
    std::set<std::string> unknownSaid; // button names already logged as unknown
    // evdev
    EVDdevice device;
    bool fromDescriptor = false;
    bool notKeyCodesSaid = false;
    std::set<int> unknownKeysSaid;
};

static std::string folderOf(const std::string &path)
{
    size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

static std::string baseOf(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

static std::string safe(const std::string &text)
{
    char buffer[80];
    return LOGsafe(text.data(), (unsigned long)text.size(), buffer, sizeof buffer);
}

// Stops reading; the notifier may be the one whose signal is running, so it goes when the loop
// is back.
static void stopReading(SRCsource *s)
{
    if (!s->readNotifier)
        return;
    s->readNotifier->setEnabled(false);
    s->readNotifier.release()->deleteLater();
}

static void retryLater(SRCsource *s, int ms)
{
    if (!s->retry.isActive() || s->retry.remainingTime() > ms)
        s->retry.start(ms);
}

// Calls `changed` when something happens in `folder`; the names are given one by one.
static void watchFolder(SRCsource *s, const std::string &folder, std::function<void(SRCsource *)> changed)
{
    s->watchFd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (s->watchFd < 0
        || inotify_add_watch(
               s->watchFd, folder.c_str(), IN_CREATE | IN_ATTRIB | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM)
            < 0) {
        LOGtrace("input: %s cannot be watched (%s); trying again now and then", folder.c_str(), strerror(errno));
        if (s->watchFd >= 0)
            close(s->watchFd);
        s->watchFd = -1;
        return;
    }
    s->watchNotifier.reset(new QSocketNotifier(s->watchFd, QSocketNotifier::Read));
    QObject::connect(s->watchNotifier.get(), &QSocketNotifier::activated, [s, changed]() { changed(s); });
}

// The names that came and went in the watched folder since the last look.
static void readFolderEvents(SRCsource *s, std::set<std::string> *came, std::set<std::string> *went)
{
    char buffer[4096] __attribute__((aligned(__alignof__(struct inotify_event))));
    for (;;) {
        ssize_t n = read(s->watchFd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        for (char *p = buffer; p < buffer + n;) {
            struct inotify_event *e = (struct inotify_event *)p;
            std::string name = e->len ? e->name : "";
            if (e->mask & (IN_DELETE | IN_MOVED_FROM))
                went->insert(name);
            else
                came->insert(name);
            p += sizeof(struct inotify_event) + e->len;
        }
    }
}

// ---- lircd --------------------------------------------------------------------------------------

static void applyEdges(SRCsource *s, const std::vector<LRCedge> &edges)
{
    DMNdaemon *d = s->hooks.daemon;
    for (const LRCedge &e : edges) {
        if (!e.down) {
            DMNreleaseName(d, e.button, e.time);
            continue;
        }
        if (DMNpressName(d, e.button, e.time) == 0)
            continue;
        if (s->unknownSaid.insert(e.button).second)
            LOGinfo("input: lircd's button %s is not a button of the remote %s; its presses are ignored",
                safe(e.button).c_str(), d->table.remName.c_str());
    }
    if (!edges.empty())
        s->hooks.reschedule();
}

static void lircdLost(SRCsource *s, const char *why)
{
    stopReading(s);
    close(s->socketFd);
    s->socketFd = -1;
    std::vector<LRCedge> edges;
    LRCreleaseHeld(&s->hold, DMNclock(), &edges);
    applyEdges(s, edges);
    LOGinfo("input: lircd at %s %s; reconnecting when it is back", s->wanted.c_str(), why);
    *s->hooks.inputName = "lircd:" + s->wanted + " (waiting)";
    s->waitingSaid = true;
    s->retryMs = kFirstRetryMs;
    retryLater(s, s->retryMs);
}

static void onLircdReadable(SRCsource *s)
{
    std::vector<LRCline> lines;
    char buffer[4096];
    const char *lost = nullptr;
    for (;;) {
        ssize_t n = read(s->socketFd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            break;
        if (n <= 0) {
            lost = n == 0 ? "closed the connection" : "broke the connection";
            break;
        }
        LRCfeed(&s->parser, buffer, (size_t)n, &lines);
    }
    int64_t now = DMNclock();
    std::vector<LRCedge> edges;
    for (const LRCline &line : lines) {
        LOGtrace("lircd: %s repeat %u from %s", safe(line.button).c_str(), line.repeat, safe(line.remote).c_str());
        LRChear(&s->hold, line, now, &edges);
    }
    applyEdges(s, edges);
    if (lost)
        lircdLost(s, lost);
}

static void lircdConnected(SRCsource *s, int fd)
{
    s->socketFd = fd;
    s->parser = LRCparser();
    s->waitingSaid = false;
    s->retryMs = kFirstRetryMs;
    s->retry.stop();
    *s->hooks.inputName = "lircd:" + s->wanted;
    LOGinfo("input: reading presses from lircd at %s", s->wanted.c_str());
    s->readNotifier.reset(new QSocketNotifier(fd, QSocketNotifier::Read));
    QObject::connect(s->readNotifier.get(), &QSocketNotifier::activated, [s]() { onLircdReadable(s); });
}

static void lircdTry(SRCsource *s)
{
    if (s->socketFd >= 0)
        return;
    int fd = LRCconnect(s->wanted);
    if (fd >= 0) {
        lircdConnected(s, fd);
        return;
    }
    if (!s->waitingSaid) {
        LOGinfo("input: lircd at %s cannot be reached (%s); waiting for it", s->wanted.c_str(), strerror(-fd));
        *s->hooks.inputName = "lircd:" + s->wanted + " (waiting)";
        s->waitingSaid = true;
    }
    if (fd == -ENAMETOOLONG)
        return; // no later attempt can succeed
    s->retryMs = s->retryMs * 2 > kLongestRetryMs ? kLongestRetryMs : s->retryMs * 2;
    retryLater(s, s->retryMs);
}

// lircd (re)creates its socket when it starts: a connection is tried soon after, as it may not
// listen yet when the file appears.
static void onSocketFolder(SRCsource *s)
{
    std::set<std::string> came, went;
    readFolderEvents(s, &came, &went);
    if (s->socketFd < 0 && came.count(baseOf(s->wanted))) {
        s->retryMs = kFirstRetryMs;
        retryLater(s, 50);
    }
}

// ---- evdev --------------------------------------------------------------------------------------

static void onKeys(SRCsource *s, const std::vector<EVDkey> &keys, bool lost)
{
    DMNdaemon *d = s->hooks.daemon;
    int64_t now = DMNclock();
    DMNexpire(d, now);
    if (lost && d->held >= 0) {
        LOGinfo("input: events of %s were lost; the button held is let go", s->device.name.c_str());
        DMNbuttonUp(d, d->held, now);
    }
    for (const EVDkey &key : keys) {
        int button = MTABkeyButton(d->table, key.code);
        LOGtrace("input: key %d %s%s", key.code,
            key.value == 1       ? "down"
                : key.value == 2 ? "repeat"
                                 : "up",
            button < 0 ? " (no button)" : "");
        if (button < 0) {
            if (key.value == 1 && d->table.keyCodes && s->unknownKeysSaid.insert(key.code).second)
                LOGinfo("input: key code %d is not a button of the remote %s; its presses are ignored", key.code,
                    d->table.remName.c_str());
            continue;
        }
        if (key.value == 1)
            DMNbuttonDown(d, button, now);
        else if (key.value == 0)
            DMNbuttonUp(d, button, now);
        // An autorepeat keeps the button down; one of a key no longer held presses nothing.
    }
    if (!keys.empty() && !d->table.keyCodes && !s->notKeyCodesSaid) {
        s->notKeyCodesSaid = true;
        LOGinfo("input: the remote %s is not a key-code remote (FRQ 0, BIT 0): the keys of %s press no button",
            d->table.remName.c_str(), s->device.name.c_str());
    }
    s->hooks.reschedule();
}

static void evdevGone(SRCsource *s)
{
    stopReading(s);
    EVDclose(&s->device);
    DMNreleaseAll(s->hooks.daemon, DMNclock());
    s->hooks.reschedule();
    if (s->fromDescriptor) {
        LOGinfo("input: evdev:%s closed", s->wanted.c_str());
        return;
    }
    LOGinfo(
        "input: %s is gone; waiting for a device of \"%s\" to come back", s->device.path.c_str(), s->wanted.c_str());
    *s->hooks.inputName = "evdev:" + s->wanted + " (waiting)";
    s->waitingSaid = true;
}

static void onDeviceReadable(SRCsource *s)
{
    std::vector<EVDkey> keys;
    bool lost = false;
    int status = EVDread(&s->device, &keys, &lost);
    if (!keys.empty() || lost)
        onKeys(s, keys, lost);
    if (status < 0)
        evdevGone(s);
}

static void startReadingDevice(SRCsource *s)
{
    s->readNotifier.reset(new QSocketNotifier(s->device.fd, QSocketNotifier::Read));
    QObject::connect(s->readNotifier.get(), &QSocketNotifier::activated, [s]() { onDeviceReadable(s); });
}

static void evdevTry(SRCsource *s)
{
    if (s->device.fd >= 0)
        return;
    std::string why;
    std::string path = EVDfind(s->wanted, &why);
    int err = path.empty() ? -ENODEV : EVDopen(&s->device, path, true);
    if (err != 0) {
        if (!s->waitingSaid)
            LOGinfo("input: evdev:%s cannot be opened (%s); waiting for it", s->wanted.c_str(),
                path.empty() ? why.c_str() : strerror(-err));
        *s->hooks.inputName = "evdev:" + s->wanted + " (waiting)";
        s->waitingSaid = true;
        if (s->watchFd < 0)
            retryLater(s, kLongestRetryMs); // nothing tells when it comes: look now and then
        return;
    }
    s->waitingSaid = false;
    *s->hooks.inputName = "evdev:" + path;
    std::string named = s->device.name.empty() ? "" : " (\"" + safe(s->device.name) + "\")";
    LOGinfo("input: reading keys from %s%s%s", path.c_str(), named.c_str(),
        s->device.grabbed ? ", grabbed" : ", not grabbed: its keys also reach the desktop");
    startReadingDevice(s);
}

static void onInputFolder(SRCsource *s)
{
    std::set<std::string> came, went;
    readFolderEvents(s, &came, &went);
    if (s->device.fd >= 0) {
        // A real device gives an error when unplugged; a FIFO standing in for one does not.
        if (went.count(baseOf(s->device.path)))
            evdevGone(s);
        return;
    }
    bool wantedPath = !s->wanted.empty() && s->wanted[0] == '/';
    for (const std::string &name : came)
        if (wantedPath ? name == baseOf(s->wanted) : name.compare(0, 5, "event") == 0) {
            evdevTry(s);
            return;
        }
}

// ---- the sources --------------------------------------------------------------------------------

bool SRCclaims(const std::string &source)
{
    return source == "lircd" || source.compare(0, 6, "lircd:") == 0 || source.compare(0, 6, "evdev:") == 0;
}

static SRCsource *makeSource(const SRChooks &hooks)
{
    SRCsource *s = new SRCsource;
    s->hooks = hooks;
    s->hold.releaseAfterUs = hooks.daemon->releaseAfterUs;
    s->retry.setSingleShot(true);
    s->retry.setTimerType(Qt::CoarseTimer);
    return s;
}

static SRCsource *startLircd(const std::string &path, const SRChooks &hooks, int connectedFd)
{
    SRCsource *s = makeSource(hooks);
    s->lircd = true;
    s->wanted = path;
    QObject::connect(&s->retry, &QTimer::timeout, [s]() { lircdTry(s); });
    watchFolder(s, folderOf(path), onSocketFolder);
    if (connectedFd >= 0)
        lircdConnected(s, connectedFd);
    else
        lircdTry(s);
    return s;
}

static SRCsource *startEvdev(const std::string &wanted, const SRChooks &hooks)
{
    SRCsource *s = makeSource(hooks);
    s->wanted = wanted;
    if (wanted.compare(0, 3, "fd:") == 0) {
        char *end = nullptr;
        long fd = strtol(wanted.c_str() + 3, &end, 10);
        s->fromDescriptor = true;
        if (end == wanted.c_str() + 3 || *end != '\0' || fd < 0 || fd > INT_MAX || EVDadopt(&s->device, (int)fd) != 0) {
            LOGinfo("input: evdev:%s is not an open descriptor", wanted.c_str());
            *hooks.inputName = "none";
            return s;
        }
        *hooks.inputName = "evdev:" + wanted;
        LOGinfo("input: reading keys from descriptor %ld", fd);
        startReadingDevice(s);
        return s;
    }
    QObject::connect(&s->retry, &QTimer::timeout, [s]() { evdevTry(s); });
    watchFolder(s, wanted[0] == '/' ? folderOf(wanted) : EVD_INPUT_FOLDER, onInputFolder);
    evdevTry(s);
    return s;
}

SRCsource *SRCstart(const std::string &source, const SRChooks &hooks)
{
    if (source.compare(0, 6, "evdev:") == 0) {
        std::string wanted = source.substr(6);
        if (wanted.empty()) {
            LOGinfo("input: \"evdev:\" needs a device name or an event node path");
            *hooks.inputName = "none";
            return nullptr;
        }
        return startEvdev(wanted, hooks);
    }
    std::string path = source.size() > 6 ? source.substr(6) : LRC_DEFAULT_SOCKET;
    return startLircd(path, hooks, -1);
}

SRCsource *SRCstartLircdIfRunning(const SRChooks &hooks)
{
    int fd = LRCconnect(LRC_DEFAULT_SOCKET);
    if (fd < 0)
        return nullptr;
    return startLircd(LRC_DEFAULT_SOCKET, hooks, fd);
}

int64_t SRCdeadline(const SRCsource *s)
{
    return s && s->lircd ? LRCdeadline(&s->hold) : INT64_MAX;
}

void SRCexpire(SRCsource *s, int64_t now)
{
    if (!s || !s->lircd)
        return;
    std::vector<LRCedge> edges;
    LRCexpire(&s->hold, now, &edges);
    applyEdges(s, edges);
}

void SRCstop(SRCsource *s)
{
    if (!s)
        return;
    s->readNotifier.reset();
    s->watchNotifier.reset();
    if (s->socketFd >= 0)
        close(s->socketFd);
    EVDclose(&s->device);
    if (s->watchFd >= 0)
        close(s->watchFd);
    delete s;
}
