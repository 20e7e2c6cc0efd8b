// Measures how fast the real vqx-mapper follows the window in front on X11: the root window's
// _NET_ACTIVE_WINDOW changed (and seen done by the server) to the bus property FrontApplication
// showing the new window's class, over many switches between two windows.
//   front_measure MAPPER [SWITCHES]   (on a session bus and an X server: dbus-run-session, xvfb-run)
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QStringList>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

static double nowUs(void)
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1e6 + ts.tv_nsec / 1e3;
}

static xcb_atom_t atom(xcb_connection_t *c, const char *name)
{
    xcb_intern_atom_reply_t *r = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, (uint16_t)strlen(name), name), nullptr);
    xcb_atom_t a = r ? r->atom : XCB_ATOM_NONE;
    free(r);
    return a;
}

static QStringList frontApplication(void)
{
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("com.Orvenda.VQX.Mapper"),
        QStringLiteral("/com/Orvenda/VQX/Mapper"), QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    call << QStringLiteral("com.Orvenda.VQX.Mapper1") << QStringLiteral("FrontApplication");
    QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 1000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return QStringList();
    return reply.arguments()[0].value<QDBusVariant>().variant().toStringList();
}

static bool copyFile(const std::string &from, const std::string &to)
{
    FILE *in = fopen(from.c_str(), "rb"), *out = in ? fopen(to.c_str(), "wb") : nullptr;
    bool ok = in && out;
    char buffer[65536];
    size_t n;
    while (ok && (n = fread(buffer, 1, sizeof buffer, in)) > 0)
        ok = fwrite(buffer, 1, n, out) == n;
    if (in)
        fclose(in);
    if (out)
        fclose(out);
    return ok;
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        fprintf(stderr, "usage: front_measure MAPPER [SWITCHES]\n");
        return 2;
    }
    int switches = argc > 2 ? atoi(argv[2]) : 500;
    xcb_connection_t *c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        fprintf(stderr, "front_measure: no X server ($DISPLAY)\n");
        return 2;
    }
    xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    xcb_atom_t active = atom(c, "_NET_ACTIVE_WINDOW");
    const char *classes[2] = { "measure-a\0MeasureA", "measure-b\0MeasureB" };
    xcb_window_t windows[2];
    for (int i = 0; i < 2; i++) {
        windows[i] = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, windows[i], screen->root, 0, 0, 100, 100, 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
        xcb_change_property(
            c, XCB_PROP_MODE_REPLACE, windows[i], XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, 19, classes[i]);
        xcb_map_window(c, windows[i]);
    }
    xcb_flush(c);

    char folder[] = "/tmp/vqx-front-measure-XXXXXX";
    std::string work = mkdtemp(folder);
    std::string prefs = work + "/Orvenda VQX Preferences";
    mkdir(prefs.c_str(), 0700);
    std::string appDir = argv[1];
    appDir = appDir.substr(0, appDir.rfind('/') + 1);
    for (const char *f : { "OrvendaVQX.cfg", "OrvendaVQXM1.map", "OrvendaVQXM1A.REM" }) {
        if (!copyFile(appDir + f, prefs + "/" + f)) {
            fprintf(stderr, "front_measure: cannot copy %s%s\n", appDir.c_str(), f);
            return 1;
        }
    }
    setenv("XDG_CONFIG_HOME", work.c_str(), 1);
    std::string log = work + "/mapper.log";
    pid_t pid = fork();
    if (pid == 0) {
        freopen(log.c_str(), "w", stderr);
        execl(argv[1], argv[1], "--output", "record", "--record", (work + "/record.log").c_str(), (char *)nullptr);
        _exit(127);
    }
    // The Mapper is ready when its bus name is taken.
    for (int i = 0; i < 200
         && !QDBusConnection::sessionBus().interface()->isServiceRegistered(QStringLiteral("com.Orvenda.VQX.Mapper"));
         i++)
        usleep(50000);

    std::vector<double> latencies;
    int polls = 0;
    for (int i = 0; i < switches; i++) {
        int k = i % 2;
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, screen->root, active, XCB_ATOM_WINDOW, 32, 1, &windows[k]);
        // A round trip: once it returns, the server has made the change and sent PropertyNotify.
        free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        double t0 = nowUs();
        QString wanted = QString::fromLatin1(classes[k] + 10);
        bool seen = false;
        while (nowUs() - t0 < 2e6) {
            polls++;
            if (frontApplication().contains(wanted)) {
                seen = true;
                break;
            }
        }
        if (!seen) {
            fprintf(stderr, "front_measure: switch %d to %s not seen within 2 s\n", i, classes[k] + 10);
            kill(pid, SIGTERM);
            return 1;
        }
        latencies.push_back(nowUs() - t0);
    }
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    // One property read alone, for what the polling adds to each figure.
    double t0 = nowUs();
    for (int i = 0; i < 200; i++)
        frontApplication();
    double oneRead = (nowUs() - t0) / 200;
    std::sort(latencies.begin(), latencies.end());
    printf("window in front on X11 (_NET_ACTIVE_WINDOW changed) to FrontApplication showing it, %zu switches: "
           "median %.0f us, p99 %.0f us, max %.0f us (one property read takes %.0f us; %d reads)\n",
        latencies.size(), latencies[latencies.size() / 2], latencies[latencies.size() * 99 / 100], latencies.back(),
        oneRead, polls);
    xcb_disconnect(c);
    std::string cleanup = "rm -rf '" + work + "'";
    return system(cleanup.c_str()) == 0 ? 0 : 1;
}
