// The Mapper's event loop: one precise timer for whatever the daemon has due next, notifiers on
// the receiver, the folder watches and the signals, the replay of a timing file, and the
// editor's "command" notifications. Everything runs on this one thread.
#include "mapper/loop.h"

#include <malloc.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

#include "mapper/bus.h"
#include "mapper/daemon.h"
#include "mapper/desktop.h"
#include "mapper/frontwatch.h"
#include "mapper/input.h"
#include "mapper/log.h"
#include "mapper/record.h"
#include "mapper/replay.h"
#include "mapper/sources.h"
#include "mapperlink/notify.h"
#include "shell/files.h"

struct LOOPmapper {
    LOOPoptions options;
    DMNdaemon daemon;
    std::unique_ptr<OUTsink> sink;
    std::string outputName;
    int decideFd = -1; // a timer on the monotonic clock, set to whatever the daemon has due next
    std::unique_ptr<QSocketNotifier> decideNotifier;
    QTimer debounce; // a burst of file changes becomes one reload
    QTimer trim; // gives the pages of a reading back once the new mapping is in force
    QTimer replayTimer; // the next replayed sample
    INPdevice device;
    SRCsource *source = nullptr; // lircd or an event device, when one of those is the input
    std::string inputName; // what the Input property shows
    std::string devicePath; // the receiver wanted ("" = the first /dev/lirc* found)
    bool autoReceiver = false;
    std::unique_ptr<QSocketNotifier> deviceNotifier;
    int deviceWatch = -1; // inotify on the receiver's folder
    std::unique_ptr<QSocketNotifier> deviceWatchNotifier;
    int filesWatch = -1; // inotify on the preferences folder and its parent
    int prefsWatchId = -1;
    std::unique_ptr<QSocketNotifier> filesWatchNotifier;
    int signalFd = -1;
    std::unique_ptr<QSocketNotifier> signalNotifier;
    RPLfile replay;
    size_t replayNext = 0;
    int64_t replayClock = 0; // stream time of the next sample's end, relative to replayStart
    int64_t replayStart = 0;
    bool quitting = false;
    NOTobserver *observer = nullptr;
    FWTwatch *front = nullptr; // where the application in front comes from
};

static LOOPmapper *theMapper; // for the notification callback, which carries only a number

static int64_t now(void)
{
    return DMNclock();
}

static void schedule(LOOPmapper *m)
{
    int64_t due = DMNdeadline(&m->daemon);
    if (SRCdeadline(m->source) < due)
        due = SRCdeadline(m->source);
    if (m->replayNext < m->replay.samples.size() && !m->options.replayFast) {
        int64_t replayDue = m->replayStart + m->replayClock;
        if (replayDue < due)
            due = replayDue;
    }
    // An absolute time on the clock the daemon uses, to the microsecond; zero disarms it.
    struct itimerspec when = {};
    if (due != INT64_MAX) {
        if (due < 1)
            due = 1;
        when.it_value.tv_sec = (time_t)(due / 1000000);
        when.it_value.tv_nsec = (long)(due % 1000000) * 1000;
    }
    timerfd_settime(m->decideFd, TFD_TIMER_ABSTIME, &when, nullptr);
}

// Feeds the replayed samples whose time has come, each at its own time on the stream's clock.
static void replayDue(LOOPmapper *m, int64_t t)
{
    while (m->replayNext < m->replay.samples.size()) {
        const SMPsample &s = m->replay.samples[m->replayNext];
        int64_t end = m->replayStart + m->replayClock;
        if (end > t)
            break;
        DMNsample(&m->daemon, s, end);
        m->replayNext++;
        if (m->replayNext < m->replay.samples.size())
            m->replayClock += RPLduration(m->replay.samples[m->replayNext]);
        else
            LOGinfo("replay: %s finished (%zu samples)", m->options.replay.c_str(), m->replay.samples.size());
    }
}

static void onDecide(LOOPmapper *m)
{
    int64_t t = now();
    if (!m->options.replayFast)
        replayDue(m, t);
    SRCexpire(m->source, t);
    DMNexpire(&m->daemon, t);
    schedule(m);
}

// A large mapping's records take some megabytes of heap while read; they are given back a second
// after the mapping is in force, so that the trim (which takes longer than the reading) never
// delays the reload itself.
static void trimSoon(LOOPmapper *m)
{
    m->trim.start();
}

// ---- the receiver -------------------------------------------------------------------------------

static void watchDeviceFolder(LOOPmapper *m);

// Stops reading the receiver; the notifier may be the one whose signal is running, so it goes
// when the loop is back.
static void stopReading(LOOPmapper *m)
{
    if (!m->deviceNotifier)
        return;
    m->deviceNotifier->setEnabled(false);
    m->deviceNotifier.release()->deleteLater();
}

static void onDeviceReadable(LOOPmapper *m)
{
    std::vector<SMPsample> samples;
    int status = INPread(&m->device, &samples);
    int64_t t = now();
    for (const SMPsample &s : samples)
        DMNsample(&m->daemon, s, t);
    if (status < 0) {
        stopReading(m);
        DMNreleaseAll(&m->daemon, t);
        if (m->device.path.empty()) {
            LOGinfo("input: %s closed", m->inputName.c_str());
        } else {
            LOGinfo("input: %s is gone; waiting for it to come back", m->inputName.c_str());
            watchDeviceFolder(m);
        }
    }
    schedule(m);
}

static void startReading(LOOPmapper *m)
{
    m->deviceNotifier.reset(new QSocketNotifier(m->device.fd, QSocketNotifier::Read));
    QObject::connect(m->deviceNotifier.get(), &QSocketNotifier::activated, [m]() { onDeviceReadable(m); });
}

// Tries to open the receiver wanted; true when it is open.
static bool tryOpenDevice(LOOPmapper *m, bool quiet)
{
    std::string path = m->devicePath, why;
    if (m->autoReceiver) {
        path = INPfindReceiver(&why);
        if (path.empty()) {
            if (!quiet)
                LOGinfo("input: no receiver found (%s); waiting for one to be plugged in", why.c_str());
            m->inputName = "none";
            return false;
        }
    }
    int err = INPopen(&m->device, path);
    if (err != 0) {
        if (!quiet)
            LOGinfo("input: %s cannot be opened (%s); waiting for it", path.c_str(), strerror(-err));
        m->inputName = path + " (waiting)";
        return false;
    }
    m->inputName = path;
    LOGinfo("input: reading raw timings from %s", path.c_str());
    startReading(m);
    return true;
}

static void onDeviceFolderEvent(LOOPmapper *m)
{
    char buffer[4096] __attribute__((aligned(__alignof__(struct inotify_event))));
    bool relevant = false, removed = false;
    for (;;) {
        ssize_t n = read(m->deviceWatch, buffer, sizeof buffer);
        if (n <= 0)
            break;
        for (char *p = buffer; p < buffer + n;) {
            struct inotify_event *e = (struct inotify_event *)p;
            std::string name = e->len ? e->name : "";
            std::string wanted = m->devicePath.substr(m->devicePath.rfind('/') + 1);
            if (m->autoReceiver ? name.compare(0, 4, "lirc") == 0 : name == wanted) {
                relevant = true;
                if (e->mask & (IN_DELETE | IN_MOVED_FROM))
                    removed = true;
            }
            p += sizeof(struct inotify_event) + e->len;
        }
    }
    if (!relevant)
        return;
    if (m->device.fd >= 0) {
        // A FIFO standing in for a receiver gives no end of file when it is removed.
        if (removed && !m->autoReceiver) {
            stopReading(m);
            INPclose(&m->device);
            DMNreleaseAll(&m->daemon, now());
            LOGinfo("input: %s is gone; waiting for it to come back", m->inputName.c_str());
            m->inputName = m->devicePath + " (waiting)";
        }
        return;
    }
    tryOpenDevice(m, true);
}

static void watchDeviceFolder(LOOPmapper *m)
{
    if (m->deviceWatch >= 0)
        return;
    std::string folder = m->autoReceiver ? "/dev" : m->devicePath.substr(0, m->devicePath.rfind('/'));
    if (folder.empty())
        folder = "/";
    m->deviceWatch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m->deviceWatch < 0
        || inotify_add_watch(
               m->deviceWatch, folder.c_str(), IN_CREATE | IN_ATTRIB | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM)
            < 0) {
        LOGinfo("input: cannot watch %s for the receiver (%s)", folder.c_str(), strerror(errno));
        return;
    }
    m->deviceWatchNotifier.reset(new QSocketNotifier(m->deviceWatch, QSocketNotifier::Read));
    QObject::connect(m->deviceWatchNotifier.get(), &QSocketNotifier::activated, [m]() { onDeviceFolderEvent(m); });
}

static SRChooks sourceHooks(LOOPmapper *m)
{
    return SRChooks { &m->daemon, [m]() { schedule(m); }, &m->inputName };
}

static void startInput(LOOPmapper *m)
{
    std::string source = m->options.input.empty() ? m->daemon.table.input : m->options.input;
    if (source.empty() || source.compare(0, 3, "USB") == 0 || source == "lirc") {
        m->autoReceiver = true;
        // Automatic: a raw receiver first, else lircd when it runs.
        std::string why;
        if (source != "lirc" && INPfindReceiver(&why).empty())
            m->source = SRCstartLircdIfRunning(sourceHooks(m));
        if (m->source)
            return;
        tryOpenDevice(m, false);
        watchDeviceFolder(m);
    } else if (source.compare(0, 3, "fd:") == 0) {
        char *end = nullptr;
        long fd = strtol(source.c_str() + 3, &end, 10);
        if (end == source.c_str() + 3 || *end != '\0' || fd < 0 || fd > INT_MAX || INPadopt(&m->device, (int)fd) != 0) {
            LOGinfo("input: %s is not an open descriptor", source.c_str());
            m->inputName = "none";
            return;
        }
        m->inputName = source;
        LOGinfo("input: reading raw timings from descriptor %ld", fd);
        startReading(m);
    } else if (INPisDevicePath(source)) {
        m->devicePath = source;
        tryOpenDevice(m, false);
        watchDeviceFolder(m);
    } else if (SRCclaims(source)) {
        m->source = SRCstart(source, sourceHooks(m));
    } else {
        LOGinfo("input: the source \"%s\" is not known (USB, lirc, a device path, fd:N, lircd[:SOCKET], evdev:NAME)",
            source.c_str());
        m->inputName = "none";
    }
}

// ---- the preferences folder ---------------------------------------------------------------------

static void addPrefsWatch(LOOPmapper *m)
{
    char folder[1024];
    VQXFILESgetPrefsPath(folder);
    if (m->prefsWatchId < 0)
        m->prefsWatchId = inotify_add_watch(
            m->filesWatch, folder, IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE | IN_DELETE | IN_MOVED_FROM);
}

static void onFilesEvent(LOOPmapper *m)
{
    char buffer[4096] __attribute__((aligned(__alignof__(struct inotify_event))));
    while (read(m->filesWatch, buffer, sizeof buffer) > 0) { }
    addPrefsWatch(m); // the folder may have been created just now
    m->debounce.start();
}

static void onFilesSettled(LOOPmapper *m)
{
    if (m->daemon.haveTable && !DMNfilesChanged(&m->daemon))
        return;
    bool hadTable = m->daemon.haveTable;
    if (DMNload(&m->daemon, now(), "files changed") == 0) {
        trimSoon(m);
        if (!hadTable && m->inputName.empty())
            startInput(m);
    }
    schedule(m);
}

static void watchFiles(LOOPmapper *m)
{
    m->filesWatch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m->filesWatch < 0)
        return;
    char home[1024];
    if (FindFolder(home) == 0)
        inotify_add_watch(m->filesWatch, home, IN_CREATE | IN_MOVED_TO);
    addPrefsWatch(m);
    m->debounce.setSingleShot(true);
    m->debounce.setInterval(200);
    QObject::connect(&m->debounce, &QTimer::timeout, [m]() { onFilesSettled(m); });
    m->filesWatchNotifier.reset(new QSocketNotifier(m->filesWatch, QSocketNotifier::Read));
    QObject::connect(m->filesWatchNotifier.get(), &QSocketNotifier::activated, [m]() { onFilesEvent(m); });
}

// ---- signals and commands -----------------------------------------------------------------------

static void onSignal(LOOPmapper *m)
{
    struct signalfd_siginfo info;
    while (read(m->signalFd, &info, sizeof info) == (ssize_t)sizeof info) {
        if (info.ssi_signo == SIGHUP)
            LOOPreload(m, "SIGHUP");
        else
            LOOPquit(m, info.ssi_signo == SIGTERM ? "SIGTERM" : "SIGINT");
    }
}

static void watchSignals(LOOPmapper *m)
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    m->signalFd = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (m->signalFd < 0)
        return;
    m->signalNotifier.reset(new QSocketNotifier(m->signalFd, QSocketNotifier::Read));
    QObject::connect(m->signalNotifier.get(), &QSocketNotifier::activated, [m]() { onSignal(m); });
}

static void onCommand(char *service, char *message, int32_t)
{
    if (!theMapper || strcmp(service, "command") != 0)
        return;
    if (strncmp(message, "RLD", 3) == 0)
        LOOPreload(theMapper, "RLD");
    else if (strncmp(message, "QUI", 3) == 0)
        LOOPquit(theMapper, "QUI");
    else
        LOGtrace("command \"%.40s\" ignored", message);
}

// ---- what the bus asks --------------------------------------------------------------------------

int LOOPpress(LOOPmapper *m, const std::string &button)
{
    int result = DMNpressName(&m->daemon, button, now());
    schedule(m);
    return result;
}

int LOOPrelease(LOOPmapper *m, const std::string &button)
{
    int result = DMNreleaseName(&m->daemon, button, now());
    schedule(m);
    return result;
}

void LOOPreload(LOOPmapper *m, const char *reason)
{
    bool hadTable = m->daemon.haveTable;
    if (DMNload(&m->daemon, now(), reason) == 0) {
        trimSoon(m);
        if (!hadTable && m->inputName.empty())
            startInput(m);
    }
    schedule(m);
}

void LOOPquit(LOOPmapper *m, const char *reason)
{
    if (m->quitting)
        return;
    m->quitting = true;
    LOGinfo("quitting (%s): everything held is released", reason);
    DMNreleaseAll(&m->daemon, now());
    QCoreApplication::exit(0);
}

void LOOPsetFront(LOOPmapper *m, const std::vector<std::string> &names)
{
    DMNsetFront(&m->daemon, names);
}

void LOOPreportFront(LOOPmapper *m, const FRTwindow &window)
{
    if (m->front)
        FWTreport(m->front, window);
}

LOOPstatus LOOPgetStatus(LOOPmapper *m)
{
    LOOPstatus s;
    s.input = m->inputName;
    s.output = m->outputName;
    s.entry = DMNentryName(&m->daemon);
    s.mapping = m->daemon.haveTable ? m->daemon.table.mapName : "";
    s.remote = m->daemon.haveTable ? m->daemon.table.remName : "";
    s.front = m->daemon.front;
    return s;
}

// ---- replay -------------------------------------------------------------------------------------

// The whole file on the stream's own clock, as fast as the machine goes; then everything is let
// go and the Mapper ends.
static void replayFast(LOOPmapper *m)
{
    int64_t t = 0;
    for (const SMPsample &s : m->replay.samples) {
        t += RPLduration(s);
        DMNsample(&m->daemon, s, t);
    }
    // What is still due (the last release, repeats until it) happens on the same clock.
    for (int guard = 0; guard < 1000000; guard++) {
        int64_t due = DMNdeadline(&m->daemon);
        if (due == INT64_MAX)
            break;
        DMNexpire(&m->daemon, due);
    }
    LOGinfo("replay: %s finished (%zu samples, %ld presses)", m->options.replay.c_str(), m->replay.samples.size(),
        m->daemon.presses);
    LOOPquit(m, "end of replay");
}

static bool startReplay(LOOPmapper *m)
{
    std::string why;
    if (RPLload(m->options.replay, &m->replay, &why) != 0) {
        LOGinfo("replay: %s", why.c_str());
        return false;
    }
    m->inputName = "replay:" + m->options.replay;
    LOGinfo("input: replaying %s (%zu samples%s)", m->options.replay.c_str(), m->replay.samples.size(),
        m->options.replayFast ? ", on the file's own clock" : ", in real time");
    if (m->options.replayFast) {
        QTimer::singleShot(0, [m]() { replayFast(m); });
    } else {
        m->replayNext = 0;
        m->replayStart = now();
        m->replayClock = m->replay.samples.empty() ? 0 : RPLduration(m->replay.samples[0]);
        schedule(m);
    }
    return true;
}

// ---- start and end ------------------------------------------------------------------------------

static bool makeOutput(LOOPmapper *m)
{
    // --record alone asks for the recording output.
    if (m->options.output == "record" || (m->options.output.empty() && !m->options.record.empty())) {
        OUTrecord *record = new OUTrecord(m->options.record, m->options.replayFast);
        m->sink.reset(record);
        m->outputName = "record";
        if (!record->ok())
            return false;
        LOGinfo("output: record (every action is written to %s, not performed)",
            m->options.record.empty() ? "the log" : m->options.record.c_str());
        return true;
    }
    std::string want = m->options.output.empty() ? "auto" : m->options.output;
    if (want != "auto" && want != "uinput" && want != "xtest") {
        LOGinfo("output: \"%s\" is not a way of output (auto, uinput, xtest or record)", want.c_str());
        return false;
    }
    std::string why;
    OUTdesktop *desktop = DSKopen(want, &why);
    if (!desktop) {
        LOGinfo("output: %s cannot be used: %s", want.c_str(), why.c_str());
        return false;
    }
    m->sink.reset(desktop);
    m->outputName = desktop->name();
    LOGinfo("output: %s", why.c_str());
    return true;
}

int LOOPrun(const LOOPoptions &options)
{
    LOOPmapper *m = new LOOPmapper;
    theMapper = m;
    m->options = options;
    std::string why;
    int bus = BUSstart(m, &why);
    if (bus == BUS_TAKEN) {
        LOGinfo("already running: another Mapper owns %s in this session", BUS_NAME);
        theMapper = nullptr;
        delete m;
        return 0;
    }
    if (bus == BUS_NONE)
        LOGinfo(
            "bus: no session bus (%s); presses are not reported and the editor's commands not received", why.c_str());
    if (NOTinit(1) == kNOTnoErr)
        NOTarmObserver("command", onCommand, 0, &m->observer);
    int status = 0;
    if (!makeOutput(m)) {
        status = 2;
    } else {
        m->daemon.releaseAfterUs = options.releaseAfterMs * 1000;
        DMNinit(&m->daemon, m->sink.get());
        m->trim.setSingleShot(true);
        m->trim.setInterval(1000);
        QObject::connect(&m->trim, &QTimer::timeout, []() { malloc_trim(0); });
        DMNload(&m->daemon, now(), "start");
        trimSoon(m);
        m->front = FWTstart(options.front, [m](const std::vector<std::string> &names) { LOOPsetFront(m, names); });
        m->decideFd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
        m->decideNotifier.reset(new QSocketNotifier(m->decideFd, QSocketNotifier::Read));
        QObject::connect(m->decideNotifier.get(), &QSocketNotifier::activated, [m]() {
            uint64_t expirations;
            if (read(m->decideFd, &expirations, sizeof expirations) < 0) {
                // Nothing to read: the timer was set again before this wake-up was seen.
            }
            onDecide(m);
        });
        watchSignals(m);
        watchFiles(m);
        if (!options.replay.empty()) {
            if (!startReplay(m))
                status = 2;
        } else if (m->daemon.haveTable) {
            startInput(m);
        }
        if (status == 0)
            status = QCoreApplication::exec();
    }
    DMNreleaseAll(&m->daemon, now());
    if (m->observer)
        NOTdisarm(m->observer);
    BUSflush();
    BUSstop();
    FWTstop(m->front);
    m->front = nullptr;
    m->deviceNotifier.reset();
    INPclose(&m->device);
    SRCstop(m->source);
    m->deviceWatchNotifier.reset();
    m->filesWatchNotifier.reset();
    m->signalNotifier.reset();
    for (int fd : { m->deviceWatch, m->filesWatch, m->signalFd })
        if (fd >= 0)
            close(fd);
    theMapper = nullptr;
    delete m;
    return status;
}
