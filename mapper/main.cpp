// vqx-mapper: performs the remote's buttons for the application in front. Reads the options, sets
// the process up (signals, log, program path) and runs the loop.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <QCoreApplication>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "mapper/check.h"
#include "mapper/importcmd.h"
#include "mapper/learn.h"
#include "mapper/load.h"
#include "mapper/log.h"
#include "mapper/loop.h"
#include "mapper/service.h"
#include "mapper/synth.h"
#include "shell/files.h"

static const char *const kUsage
    = "Usage: vqx-mapper [OPTION]...\n"
      "       vqx-mapper learn NAME.REM [--input SOURCE | --replay FILE] [--force]\n"
      "       vqx-mapper check [--input SOURCE]\n"
      "       vqx-mapper import-lircd [--force] FILE [DIR]\n"
      "Performs the Orvenda VQX remote's buttons: for every press, the action that the mapping in\n"
      "\"~/.config/Orvenda VQX Preferences\" gives that button for the application in front.\n"
      "\n"
      "  --input SOURCE      where presses come from, instead of the configuration's INT line:\n"
      "                      \"USB\" (the first /dev/lirc* receiver, else lircd if it runs),\n"
      "                      \"lirc\" (the first /dev/lirc* receiver), a device or FIFO path giving\n"
      "                      LIRC mode2 sample words, fd:N (an open descriptor of such words),\n"
      "                      \"lircd\" or lircd:SOCKET (button names from a running lircd), or\n"
      "                      evdev:NAME (the input device whose name contains NAME, or an event\n"
      "                      node path or evdev:fd:N; grabbed, its key codes matched against a\n"
      "                      remote description of FRQ 0 and BIT 0)\n"
      "  --replay FILE       replay timings written as \"pulse N\" / \"space N\" lines (mode2, ir-ctl)\n"
      "                      in real time\n"
      "  --replay-fast       with --replay: as fast as possible on the file's own clock, then exit\n"
      "  --output NAME       how keys, mouse and text reach the desktop: auto (uinput where\n"
      "                      /dev/uinput can be opened, else XTest on X11), uinput, xtest; or\n"
      "                      record: every step written with its time, nothing performed\n"
      "  --record FILE       the recording output, appending each step to FILE\n"
      "  --front NAME        take NAME as the application in front (tests and demos); no window\n"
      "                      is watched (repeat the option for more names, in order of precedence)\n"
      "  --release-after MS  a held button goes up MS milliseconds after the last edge (160)\n"
      "  --verbose           trace every decision: frame matched, entry chosen, action done\n"
      "  --no-service        run here even where the vqx-mapper.service user unit could run it\n"
      "  --help              show this help and exit\n"
      "\n"
      "learn NAME.REM asks for the name of each button of a remote and records two presses of it from\n"
      "the receiver (or --input SOURCE, or the presses of a --replay FILE), then writes the remote\n"
      "description NAME.REM into the preferences folder (a name with a folder is taken as given);\n"
      "an existing file is only replaced with --force.\n"
      "check tells what works and what does not: receivers, the source chosen, the output, the sound\n"
      "server, the front application, the session bus and the files; status 0 when a press would work.\n"
      "import-lircd FILE [DIR] writes a remote description NAME.REM for every remote of the lircd.conf\n"
      "FILE into DIR (the preferences folder) and lists what was left out and why; an existing file is\n"
      "only replaced with --force.\n"
      "\n"
      "One Mapper runs per session: it owns com.Orvenda.VQX.Mapper on the session bus, and a second\n"
      "one started says \"already running\" and exits with status 0. The editor's \"command\"\n"
      "notifications RLD (reload) and QUI (quit) are obeyed, and so are SIGHUP (reload), SIGTERM and\n"
      "SIGINT (release everything and exit).\n"
      "\n"
      "The application in front comes from the compositor's activated toplevel when WAYLAND_DISPLAY\n"
      "is set (wlroots compositors; on GNOME Shell and KDE Plasma the desktop's extension reports it\n"
      "through the bus method SetFrontApplication), else from the X server's _NET_ACTIVE_WINDOW when\n"
      "DISPLAY is set. Its names, tried in this order against the mapping's entries: the desktop entry\n"
      "id (the window's own, or the entry in the XDG data folders whose StartupWMClass, else whose\n"
      "file name, matches the window class), the executable's name, the window class, the instance.\n"
      "\n"
      "Started with no options on the user bus of a systemd user manager that has the\n"
      "vqx-mapper.service unit, the Mapper starts that unit (\"systemctl --user start\n"
      "vqx-mapper.service\") and exits with systemctl's status.\n";

// "vqx-mapper frames BUTTON...": the timings of one press of each button of the remote in use, as
// replay text on standard output, each followed by a quarter second of silence.
static int printFrames(int argc, char **argv)
{
    LOADresult r = LOADread();
    if (r.status != 0) {
        fprintf(stderr, "vqx-mapper: the files cannot be read: %s\n", r.why.c_str());
        return 1;
    }
    for (int i = 2; i < argc; i++) {
        int button = MTABbuttonIndex(r.table, argv[i]);
        std::vector<uint32_t> frame = button >= 0 ? SYNframe(r.table, button) : std::vector<uint32_t>();
        if (frame.empty()) {
            fprintf(
                stderr, "vqx-mapper: the remote %s has no button %s with timings\n", r.table.remName.c_str(), argv[i]);
            return 2;
        }
        frame.back() = 250000;
        fputs(SYNtext(frame).c_str(), stdout);
    }
    return 0;
}

// The value of an option that takes one, or exits with a message.
static const char *value(int argc, char **argv, int *i)
{
    if (*i + 1 >= argc) {
        fprintf(stderr, "vqx-mapper: %s needs a value\n%s", argv[*i], kUsage);
        exit(2);
    }
    return argv[++*i];
}

// "vqx-mapper learn NAME.REM [--input SOURCE | --replay FILE] [--force]".
static int learn(int argc, char **argv)
{
    LRNoptions options;
    for (int i = 2; i < argc; i++) {
        if (strcmp(argv[i], "--input") == 0)
            options.input = value(argc, argv, &i);
        else if (strcmp(argv[i], "--replay") == 0)
            options.replay = value(argc, argv, &i);
        else if (strcmp(argv[i], "--force") == 0)
            options.force = true;
        else if (argv[i][0] != '-' && options.file.empty())
            options.file = argv[i];
        else {
            fprintf(stderr, "vqx-mapper: learn: unexpected %s\n%s", argv[i], kUsage);
            return 2;
        }
    }
    if (options.file.empty() || (!options.input.empty() && !options.replay.empty())) {
        fprintf(stderr, "vqx-mapper: learn takes a file name, and --input or --replay (not both)\n%s", kUsage);
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    return LRNrun(options, stdin, stdout);
}

// "vqx-mapper check [--input SOURCE]".
static int check(int argc, char **argv)
{
    CHKoptions options;
    for (int i = 2; i < argc; i++) {
        if (strcmp(argv[i], "--input") == 0)
            options.input = value(argc, argv, &i);
        else {
            fprintf(stderr, "vqx-mapper: check: unexpected %s\n%s", argv[i], kUsage);
            return 2;
        }
    }
    signal(SIGPIPE, SIG_IGN);
    return CHKrun(options, stdout);
}

int main(int argc, char **argv)
{
    LOOPoptions options;
    if (argc > 1 && strcmp(argv[1], "import-lircd") == 0)
        return IMPcommand(argc, argv);
    if (argc > 1
        && (strcmp(argv[1], "frames") == 0 || strcmp(argv[1], "learn") == 0 || strcmp(argv[1], "check") == 0)) {
        static char self[PATH_MAX];
        ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
        self[n > 0 ? n : 0] = '\0';
        mainArgs0 = n > 0 ? self : argv[0];
        if (strcmp(argv[1], "learn") == 0)
            return learn(argc, argv);
        if (strcmp(argv[1], "check") == 0)
            return check(argc, argv);
        return printFrames(argc, argv);
    }
    int handedOver = SVCstartAsService(argc);
    if (handedOver >= 0)
        return handedOver;
    for (int i = 1; i < argc; i++) {
        const char *a = argv[i];
        if (strcmp(a, "--help") == 0 || strcmp(a, "-h") == 0) {
            fputs(kUsage, stdout);
            return 0;
        } else if (strcmp(a, "--verbose") == 0 || strcmp(a, "-v") == 0) {
            LOGverbose = 1;
        } else if (strcmp(a, "--no-service") == 0) {
            // Already taken into account: any option keeps the Mapper here.
        } else if (strcmp(a, "--input") == 0) {
            options.input = value(argc, argv, &i);
        } else if (strcmp(a, "--replay") == 0) {
            options.replay = value(argc, argv, &i);
        } else if (strcmp(a, "--replay-fast") == 0) {
            options.replayFast = true;
        } else if (strcmp(a, "--output") == 0) {
            options.output = value(argc, argv, &i);
        } else if (strcmp(a, "--record") == 0) {
            options.record = value(argc, argv, &i);
        } else if (strcmp(a, "--front") == 0) {
            options.front.push_back(value(argc, argv, &i));
        } else if (strcmp(a, "--release-after") == 0) {
            char *end = nullptr;
            const char *v = value(argc, argv, &i);
            long ms = strtol(v, &end, 10);
            if (end == v || *end != '\0' || ms < 20 || ms > 5000) {
                fprintf(stderr, "vqx-mapper: --release-after takes 20 to 5000 milliseconds\n");
                return 2;
            }
            options.releaseAfterMs = ms;
        } else {
            fprintf(stderr, "vqx-mapper: unknown option %s\n%s", a, kUsage);
            return 2;
        }
    }
    if (options.replayFast && options.replay.empty()) {
        fprintf(stderr, "vqx-mapper: --replay-fast goes with --replay FILE\n");
        return 2;
    }
    // The signals are taken through a descriptor by the loop; blocked here, before any thread
    // starts, so that no thread receives them.
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    signal(SIGPIPE, SIG_IGN);
    // The shared readers trace to standard output: everything goes to the one log.
    dup2(STDERR_FILENO, STDOUT_FILENO);
    // The pristine files are found beside the program, wherever it was started from.
    static char self[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0)
        self[n] = '\0';
    mainArgs0 = n > 0 ? self : argv[0];
    QCoreApplication app(argc, argv);
    return LOOPrun(options);
}
