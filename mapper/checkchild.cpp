// The check's probes that talk to servers (the X server, the sound server, the compositor, the
// session bus), each run in a child process of its own, which the check kills when it hangs.
#include <fcntl.h>
#include <poll.h>
#include <pulse/pulseaudio.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <memory>

#include "mapper/bus.h"
#include "mapper/check.h"
#include "mapper/frontsource.h"
#include "mapper/inject.h"

static CHKline line(CHKstate state, const std::string &item, const std::string &text, const std::string &fix = "")
{
    CHKline l;
    l.state = state;
    l.item = item;
    l.text = text;
    l.fix = fix;
    return l;
}

static long long monotonicUs()
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (long long)ts.tv_sec * 1000000 + ts.tv_nsec / 1000;
}

// ---- running a probe in a child -----------------------------------------------------------------

// Lines travel as four fields separated by tabs, one line each; tabs and line ends in the texts
// become blanks.
static std::string field(const std::string &s)
{
    std::string out = s;
    for (char &c : out)
        if (c == '\t' || c == '\n' || c == '\r')
            c = ' ';
    return out;
}

CHKchild CHKstart(const std::string &item, int timeoutMs, const std::function<std::vector<CHKline>()> &probe)
{
    CHKchild child;
    child.item = item;
    child.timeoutMs = timeoutMs;
    child.startUs = monotonicUs();
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        return child;
    fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0) {
        close(fds[0]);
        close(fds[1]);
        return child;
    }
    if (pid == 0) {
        close(fds[0]);
        // What the libraries say goes nowhere: the report is the child's only output.
        int null = open("/dev/null", O_RDWR | O_CLOEXEC);
        if (null >= 0) {
            dup2(null, STDOUT_FILENO);
            dup2(null, STDERR_FILENO);
        }
        std::string text;
        for (const CHKline &l : probe())
            text += std::to_string((int)l.state) + "\t" + field(l.item) + "\t" + field(l.text) + "\t" + field(l.fix)
                + "\n";
        size_t done = 0;
        while (done < text.size()) {
            ssize_t n = write(fds[1], text.data() + done, text.size() - done);
            if (n <= 0)
                break;
            done += (size_t)n;
        }
        _exit(0);
    }
    close(fds[1]);
    child.pid = pid;
    child.fd = fds[0];
    return child;
}

std::vector<CHKline> CHKfinish(CHKchild *child)
{
    std::vector<CHKline> lines;
    if (child->pid < 0)
        return { line(CHK_NOT, child->item, "could not be checked (no child process)") };
    std::string text;
    bool ended = false;
    for (;;) {
        long long left = child->startUs + (long long)child->timeoutMs * 1000 - monotonicUs();
        if (left <= 0)
            break;
        struct pollfd p = { child->fd, POLLIN, 0 };
        int n = poll(&p, 1, (int)((left + 999) / 1000));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        char buffer[4096];
        ssize_t got = read(child->fd, buffer, sizeof buffer);
        if (got <= 0) {
            ended = true;
            break;
        }
        if (text.size() < 65536)
            text.append(buffer, (size_t)got);
    }
    close(child->fd);
    child->fd = -1;
    if (!ended)
        kill(child->pid, SIGKILL);
    waitpid(child->pid, nullptr, 0);
    child->pid = -1;
    if (!ended) {
        lines.push_back(line(CHK_NOT, child->item,
            "gave no answer within " + std::to_string(child->timeoutMs / 1000.0).substr(0, 3) + " s"));
        return lines;
    }
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            break;
        std::string row = text.substr(start, end - start);
        start = end + 1;
        std::vector<std::string> parts;
        size_t a = 0;
        for (size_t b; (b = row.find('\t', a)) != std::string::npos; a = b + 1)
            parts.push_back(row.substr(a, b - a));
        parts.push_back(row.substr(a));
        if (parts.size() != 4 || parts[0].size() != 1 || parts[0][0] < '0' || parts[0][0] > '2')
            continue;
        lines.push_back(line((CHKstate)(parts[0][0] - '0'), parts[1], parts[2], parts[3]));
    }
    if (lines.empty())
        lines.push_back(line(CHK_NOT, child->item, "could not be checked (the probe ended without an answer)"));
    return lines;
}

// ---- the X server ------------------------------------------------------------------------------

std::vector<CHKline> CHKprobeXTest(void)
{
    std::string why;
    std::unique_ptr<INJdevice> device(INJopenXTest(&why));
    const char *display = getenv("DISPLAY");
    if (device)
        return { line(CHK_OK, "xtest",
            std::string("the X server of ") + (display ? display : "") + " takes key and mouse events through XTest") };
    return { line(CHK_NOT, "xtest", why, "only needed where uinput cannot be used") };
}

// ---- the sound server -----------------------------------------------------------------------------

namespace {
struct SoundAnswer {
    bool done = false;
    std::string server, sink, description;
    bool sinkFound = false;
};

void onServerInfo(pa_context *, const pa_server_info *info, void *data)
{
    SoundAnswer *a = static_cast<SoundAnswer *>(data);
    if (info) {
        a->server = std::string(info->server_name ? info->server_name : "a sound server") + " "
            + (info->server_version ? info->server_version : "");
        a->sink = info->default_sink_name ? info->default_sink_name : "";
    }
    a->done = true;
}

void onSinkInfo(pa_context *, const pa_sink_info *info, int eol, void *data)
{
    SoundAnswer *a = static_cast<SoundAnswer *>(data);
    if (info) {
        a->sinkFound = true;
        a->description = info->description ? info->description : "";
    }
    if (eol)
        a->done = true;
}

long long nowMs()
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}
} // namespace

std::vector<CHKline> CHKprobeSound(int timeoutMs)
{
    const char *fix = "start the sound server (PulseAudio, or PipeWire with pipewire-pulse) in this session; "
                      "until then volume actions do nothing";
    pa_mainloop *loop = pa_mainloop_new();
    pa_context *context = loop ? pa_context_new(pa_mainloop_get_api(loop), "vqx-mapper check") : nullptr;
    if (!context) {
        if (loop)
            pa_mainloop_free(loop);
        return { line(CHK_NOT, "sound", "libpulse cannot be set up") };
    }
    long long deadline = nowMs() + timeoutMs;
    std::vector<CHKline> result;
    if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        result.push_back(
            line(CHK_NOT, "sound", std::string("no sound server: ") + pa_strerror(pa_context_errno(context)), fix));
    } else {
        pa_context_state_t state;
        while ((state = pa_context_get_state(context)) != PA_CONTEXT_READY && state != PA_CONTEXT_FAILED
            && state != PA_CONTEXT_TERMINATED && nowMs() < deadline)
            pa_mainloop_iterate(loop, 1, nullptr);
        if (state != PA_CONTEXT_READY) {
            result.push_back(line(CHK_NOT, "sound",
                std::string("no sound server answers: ") + pa_strerror(pa_context_errno(context)), fix));
        } else {
            SoundAnswer answer;
            pa_operation *op = pa_context_get_server_info(context, onServerInfo, &answer);
            while (op && !answer.done && nowMs() < deadline)
                pa_mainloop_iterate(loop, 1, nullptr);
            if (op)
                pa_operation_unref(op);
            if (answer.sink.empty()) {
                result.push_back(
                    line(CHK_NOT, "sound", "connected to " + answer.server + ", but it has no default output",
                        "choose an output device in the desktop's sound settings"));
            } else {
                answer.done = false;
                op = pa_context_get_sink_info_by_name(context, answer.sink.c_str(), onSinkInfo, &answer);
                while (op && !answer.done && nowMs() < deadline)
                    pa_mainloop_iterate(loop, 1, nullptr);
                if (op)
                    pa_operation_unref(op);
                if (answer.sinkFound)
                    result.push_back(line(CHK_OK, "sound",
                        "connected to " + answer.server + "; the volume acts on " + answer.sink
                            + (answer.description.empty() ? "" : " (" + answer.description + ")")));
                else
                    result.push_back(line(CHK_NOT, "sound",
                        "connected to " + answer.server + ", but its default output " + answer.sink + " is not there",
                        "choose an output device in the desktop's sound settings"));
            }
        }
        pa_context_disconnect(context);
    }
    pa_context_unref(context);
    pa_mainloop_free(loop);
    return result;
}

// ---- the window in front --------------------------------------------------------------------------

std::vector<CHKline> CHKprobeFront(void)
{
    const char *desktop = getenv("XDG_CURRENT_DESKTOP");
    const char *item = "front application";
    std::string why;
    switch (CHKfrontKind(desktop, getenv("WAYLAND_DISPLAY"), getenv("DISPLAY"))) {
    case CHK_FRONT_EXTENSION:
        return { line(CHK_NOTE, item,
            std::string(desktop)
                + ": told by the desktop extension shipped with the program (GNOME Shell "
                  "extension or KWin script)",
            "make sure it is enabled (GNOME: the Extensions application; KDE: System Settings, KWin Scripts)") };
    case CHK_FRONT_WLROOTS: {
        std::unique_ptr<FRTsource> source(FRTopenWlroots(nullptr, &why));
        if (source)
            return { line(CHK_OK, item, "known through " + source->name()) };
        return { line(CHK_NOT, item, "the Wayland compositor does not tell it: " + why,
            "without it every press uses the default entry; sway, labwc, Hyprland and river tell it") };
    }
    case CHK_FRONT_X11: {
        std::unique_ptr<FRTsource> source(FRTopenX11(nullptr, &why));
        if (source)
            return { line(CHK_OK, item, "known through " + source->name()) };
        return { line(CHK_NOT, item, "the X server does not tell it: " + why,
            "without it every press uses the default entry; a window manager that sets _NET_ACTIVE_WINDOW "
            "tells it") };
    }
    case CHK_FRONT_NONE:
        break;
    }
    return { line(CHK_NOT, item, "no display in this session, so every press uses the default entry",
        "run the Mapper inside the desktop session (systemctl --user start vqx-mapper, or log in again)") };
}

// ---- the session bus and the Mapper ---------------------------------------------------------------

std::vector<CHKline> CHKprobeBus(int timeoutMs)
{
    int argc = 1;
    char name[] = "vqx-mapper-check";
    char *argv[] = { name, nullptr };
    // A process of its own (the check's child) has no application object yet; Qt's bus needs one.
    std::unique_ptr<QCoreApplication> app;
    if (!QCoreApplication::instance())
        app.reset(new QCoreApplication(argc, argv));
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return { line(CHK_NOT, "session bus", "not reachable: " + bus.lastError().message().toStdString(),
            "run check inside the desktop session (DBUS_SESSION_BUS_ADDRESS names its bus)") };
    std::vector<CHKline> lines;
    lines.push_back(line(CHK_OK, "session bus", "connected"));
    QDBusMessage ask = QDBusMessage::createMethodCall(
        "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner");
    ask << QString(BUS_NAME);
    QDBusMessage reply = bus.call(ask, QDBus::Block, timeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        lines.push_back(line(CHK_NOT, "Mapper", "the bus does not say whether it runs"));
        return lines;
    }
    if (!reply.arguments()[0].toBool()) {
        lines.push_back(line(CHK_NOT, "Mapper", "not running (nobody owns " BUS_NAME ")",
            "start it: systemctl --user start vqx-mapper, the editor's Start Mapper, or vqx-mapper &"));
        return lines;
    }
    std::string text = "running";
    ask = QDBusMessage::createMethodCall(
        "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetConnectionUnixProcessID");
    ask << QString(BUS_NAME);
    reply = bus.call(ask, QDBus::Block, timeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
        text += " (process " + std::to_string(reply.arguments()[0].toUInt()) + ")";
    for (const char *property : { "Input", "Output" }) {
        ask = QDBusMessage::createMethodCall(BUS_NAME, BUS_PATH, "org.freedesktop.DBus.Properties", "Get");
        ask << QString(BUS_INTERFACE) << QString(property);
        reply = bus.call(ask, QDBus::Block, timeoutMs);
        std::string value = "(no answer)";
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
            value = reply.arguments()[0].value<QDBusVariant>().variant().toString().toStdString();
        text += std::string(", ") + (property[0] == 'I' ? "input " : "output ") + value;
    }
    lines.push_back(line(CHK_OK, "Mapper", text));
    return lines;
}
