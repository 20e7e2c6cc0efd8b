// The check's probes that talk to servers (the X server, the sound server, the compositor, the
// session bus). Each runs in a child process of its own, which the check kills when it hangs.
#include <pulse/pulseaudio.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
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
    QCoreApplication app(argc, argv);
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
