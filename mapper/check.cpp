// The check's quick probes (receivers, the source chosen, lircd, uinput, the files), the child
// processes that run the slow ones under a time limit, and the report with its verdict.
#include "mapper/check.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "mapper/load.h"
#include "shell/files.h"

// From the kernel's LIRC interface (linux/lirc.h), as the receiver code uses it.
#define CHK_LIRC_CAN_REC_MODE2 0x00040000
#define CHK_LIRC_GET_FEATURES _IOR('i', 0x00000000, unsigned int)

static const char kLircRule[] = "install the udev rule KERNEL==\"lirc[0-9]*\", TAG+=\"uaccess\" (for example in "
                                "/etc/udev/rules.d/70-orvenda-vqx.rules), then run \"sudo udevadm trigger\" "
                                "or plug the receiver in again";

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

// ---- receivers and sources ------------------------------------------------------------------------

// One /dev/lirc* device: opened, asked for its features and read once (each reader of a LIRC
// device has its own queue, so the read takes nothing from a running Mapper).
static CHKline probeLircDevice(const std::string &path, bool *readable)
{
    std::string item = "receiver " + path;
    int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        int err = errno;
        if (err == EACCES || err == EPERM)
            return line(CHK_NOT, item, "permission denied: this user may not read it", kLircRule);
        return line(CHK_NOT, item, std::string("cannot be opened: ") + strerror(err));
    }
    unsigned int features = 0;
    if (ioctl(fd, CHK_LIRC_GET_FEATURES, &features) != 0) {
        close(fd);
        return line(CHK_NOT, item, "is not an infrared receiver (it does not answer as a LIRC device)");
    }
    if (!(features & CHK_LIRC_CAN_REC_MODE2)) {
        close(fd);
        return line(CHK_NOT, item, "cannot give raw timings (a transmitter, or a receiver that decodes by itself)",
            "a receiver that decodes by itself is a keyboard to the kernel: use INT evdev:NAME");
    }
    char buffer[64];
    ssize_t n = read(fd, buffer, sizeof buffer);
    int err = errno;
    close(fd);
    if (n < 0 && err != EAGAIN && err != EWOULDBLOCK)
        return line(CHK_NOT, item, std::string("cannot be read: ") + strerror(err));
    *readable = true;
    return line(CHK_OK, item, "can be opened and read, raw timings supported");
}

std::vector<CHKline> CHKreceivers(const std::string &devDir, bool *readable)
{
    *readable = false;
    std::vector<CHKline> lines;
    std::vector<std::string> names;
    if (DIR *dir = opendir(devDir.c_str())) {
        while (struct dirent *e = readdir(dir))
            if (strncmp(e->d_name, "lirc", 4) == 0 && e->d_name[4] >= '0' && e->d_name[4] <= '9')
                names.push_back(e->d_name);
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    for (const std::string &name : names)
        lines.push_back(probeLircDevice(devDir + "/" + name, readable));
    if (names.empty())
        lines.push_back(line(CHK_NOT, "receivers", "no infrared receiver (no " + devDir + "/lirc* device)",
            "plug the USB receiver in; its kernel driver makes " + devDir
                + "/lirc0 (\"ir-keytable\" lists the receivers the kernel knows)"));
    return lines;
}

CHKline CHKlircd(const std::string &path)
{
    std::string socketPath = path.empty() ? "/var/run/lirc/lircd" : path;
    std::string item = "lircd " + socketPath;
    struct sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path)
        return line(CHK_NOT, item, "the path is too long for a socket");
    memcpy(address.sun_path, socketPath.c_str(), socketPath.size());
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return line(CHK_NOT, item, std::string("no socket: ") + strerror(errno));
    int status = connect(fd, (struct sockaddr *)&address, sizeof address);
    int err = errno;
    close(fd);
    if (status == 0)
        return line(CHK_OK, item, "lircd runs and takes connections");
    if (err == ENOENT || err == ECONNREFUSED)
        return line(CHK_NOTE, item, "lircd is not running (only needed with INT lircd)");
    return line(CHK_NOT, item, std::string("cannot be connected to: ") + strerror(err));
}

// A keyboard-like remote: the event device whose name contains `name`, or the node given.
static CHKline probeEvdev(const std::string &name, bool *readable)
{
    std::string item = "source evdev:" + name;
    if (name.empty())
        return line(CHK_NOT, item, "no device name after \"evdev:\"",
            "write INT evdev:NAME, NAME a part of the "
            "device's name (see \"libinput list-devices\")");
    std::vector<std::string> nodes;
    if (name[0] == '/') {
        nodes.push_back(name);
    } else if (DIR *dir = opendir("/dev/input")) {
        while (struct dirent *e = readdir(dir))
            if (strncmp(e->d_name, "event", 5) == 0)
                nodes.push_back(std::string("/dev/input/") + e->d_name);
        closedir(dir);
    }
    std::sort(nodes.begin(), nodes.end());
    std::string denied;
    for (const std::string &node : nodes) {
        int fd = open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) {
            if (errno == EACCES || errno == EPERM)
                denied = node;
            continue;
        }
        char deviceName[256] = "";
        bool named = ioctl(fd, EVIOCGNAME(sizeof deviceName - 1), deviceName) >= 0;
        close(fd);
        if (name[0] == '/' || (named && strstr(deviceName, name.c_str()))) {
            *readable = true;
            return line(CHK_OK, item, node + " (\"" + deviceName + "\") can be read");
        }
    }
    if (!denied.empty())
        return line(CHK_NOT, item, "no readable device named like " + name + "; " + denied + " may not be read",
            "a udev rule with TAG+=\"uaccess\" for the remote's event device lets the seat's user read it");
    return line(CHK_NOT, item, "no input device whose name contains " + name,
        "plug the remote's receiver in; \"libinput list-devices\" shows the names");
}

CHKline CHKsource(const std::string &input, const std::string &devDir, bool *readable)
{
    *readable = false;
    std::string item = "source \"" + input + "\"";
    if (input.empty() || input.compare(0, 3, "USB") == 0 || input == "lirc") {
        std::string first;
        if (DIR *dir = opendir(devDir.c_str())) {
            std::vector<std::string> names;
            while (struct dirent *e = readdir(dir))
                if (strncmp(e->d_name, "lirc", 4) == 0 && e->d_name[4] >= '0' && e->d_name[4] <= '9')
                    names.push_back(e->d_name);
            closedir(dir);
            std::sort(names.begin(), names.end());
            for (const std::string &n : names) {
                bool ok = false;
                probeLircDevice(devDir + "/" + n, &ok);
                if (ok) {
                    first = devDir + "/" + n;
                    break;
                }
            }
        }
        if (!first.empty()) {
            *readable = true;
            return line(CHK_OK, item, "automatic: the receiver " + first + " would be read");
        }
        if (CHKlircd("").state == CHK_OK) {
            *readable = true;
            return line(CHK_OK, item, "automatic: no raw receiver, lircd's button names would be read");
        }
        return line(CHK_NOT, item, "automatic: no receiver can be read now (the Mapper waits for one)",
            "see the receiver lines above");
    }
    if (input == "lircd" || input.compare(0, 6, "lircd:") == 0) {
        CHKline l = CHKlircd(input == "lircd" ? "" : input.substr(6));
        *readable = l.state == CHK_OK;
        l.item = item;
        if (!*readable) {
            l.state = CHK_NOT;
            l.fix = "start lircd (\"sudo systemctl start lircd\"), or use INT USB for the receiver itself";
        }
        return l;
    }
    if (input.compare(0, 6, "evdev:") == 0) {
        CHKline l = probeEvdev(input.substr(6), readable);
        l.item = item;
        return l;
    }
    if (input.compare(0, 3, "fd:") == 0)
        return line(CHK_NOTE, item, "a descriptor handed to the Mapper when it starts; nothing to check here");
    if (input[0] != '/')
        return line(CHK_NOT, item, "is not a source the Mapper knows",
            "write INT USB (the receiver), lirc, a device path, lircd or evdev:NAME in OrvendaVQX.cfg");
    struct stat st;
    if (stat(input.c_str(), &st) != 0)
        return line(CHK_NOT, item, std::string("is not there: ") + strerror(errno),
            "plug the receiver in, or name the right device (ls " + devDir + "/lirc*)");
    if (S_ISCHR(st.st_mode)) {
        CHKline l = probeLircDevice(input, readable);
        l.item = item;
        return l;
    }
    // A FIFO is opened as the Mapper opens it (reading and writing), but not read: what waits in
    // it belongs to the Mapper.
    int fd = open(input.c_str(), (S_ISFIFO(st.st_mode) ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return line(CHK_NOT, item, std::string("cannot be opened: ") + strerror(errno),
            "give this user read access to " + input);
    close(fd);
    *readable = true;
    return line(CHK_OK, item,
        S_ISFIFO(st.st_mode) ? "a FIFO that can be opened: timings written to it are read" : "can be opened");
}

CHKline CHKuinput(const std::string &path, bool *usable)
{
    *usable = false;
    int fd = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd >= 0) {
        close(fd);
        *usable = true;
        return line(CHK_OK, "uinput", path + " can be opened: keys and mouse work under X11 and Wayland");
    }
    int err = errno;
    if (err == EACCES || err == EPERM)
        return line(CHK_NOT, "uinput", path + ": permission denied",
            "install the udev rule KERNEL==\"uinput\", TAG+=\"uaccess\", then log in again");
    if (err == ENOENT || err == ENODEV || err == ENXIO)
        return line(CHK_NOT, "uinput", path + " is missing: the uinput module is not loaded",
            "sudo modprobe uinput (and add \"uinput\" to /etc/modules-load.d/ for the next boot)");
    return line(CHK_NOT, "uinput", path + ": " + strerror(err));
}

CHKfront CHKfrontKind(const char *currentDesktop, const char *waylandDisplay, const char *display)
{
    std::string desktop = currentDesktop ? currentDesktop : "";
    if (desktop.find("GNOME") != std::string::npos || desktop.find("KDE") != std::string::npos)
        return CHK_FRONT_EXTENSION;
    if (waylandDisplay && *waylandDisplay)
        return CHK_FRONT_WLROOTS;
    if (display && *display)
        return CHK_FRONT_X11;
    return CHK_FRONT_NONE;
}

// ---- probes in a child ----------------------------------------------------------------------------

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

// ---- the whole check ------------------------------------------------------------------------------

static void filesLines(CHKreport *report, std::string *input)
{
    char prefs[1024];
    std::string folder = VQXFILESgetPrefsPath(prefs);
    if (!VQXFILESprefsFolderExists()) {
        report->lines.push_back(line(CHK_NOT, "files", "the preferences folder " + folder + " is missing",
            "run vqx-install-preferences, or start the editor once"));
        return;
    }
    LOADresult r = LOADread();
    *input = r.table.input;
    std::string names = "OrvendaVQX.cfg, " + r.table.mapName + " and " + r.table.remName;
    if (r.status != 0) {
        report->lines.push_back(line(CHK_NOT, "files", "cannot be read: " + r.why,
            "open the editor to see what is wrong, or put the shipped files back with "
            "\"vqx-install-preferences --overwrite\""));
        return;
    }
    report->mappingRead = true;
    if (r.alerts > 0)
        report->lines.push_back(line(CHK_NOT, "files",
            names + " read with " + std::to_string(r.alerts) + " message(s), the first: " + r.why,
            "open the editor to see and mend what is wrong; what could be read is used meanwhile"));
    else
        report->lines.push_back(line(CHK_OK, "files", names + " read without a message"));
    size_t withTimings = 0;
    for (const MTABbutton &b : r.table.buttons)
        if (!b.tokens.empty())
            withTimings++;
    std::string item = "remote " + r.table.remName;
    if (r.table.frequency == 0 && r.table.bitTime == 0 && withTimings > 0)
        report->lines.push_back(line(CHK_OK, item,
            std::to_string(withTimings)
                + " buttons as key codes (for INT "
                  "evdev:NAME)"));
    else if (r.table.bitTime > 0 && withTimings > 0)
        report->lines.push_back(line(CHK_OK, item,
            std::to_string(withTimings) + " buttons with infrared timings (carrier " + std::to_string(r.table.frequency)
                + " Hz, unit " + std::to_string(r.table.bitTime) + " µs)"));
    else {
        report->mappingRead = false;
        report->lines.push_back(line(CHK_NOT, item, "has no button the Mapper can recognise",
            "learn your remote: vqx-mapper learn MyRemote.REM, then choose it in the editor"));
    }
}

CHKreport CHKcollect(const CHKoptions &options)
{
    CHKreport report;
    int t = options.timeoutMs;
    // The slow probes start first, side by side; their answers are collected in order below.
    std::vector<CHKchild> children;
    if (getenv("DISPLAY") && *getenv("DISPLAY"))
        children.push_back(CHKstart("xtest", t, CHKprobeXTest));
    children.push_back(CHKstart("sound", t, [t]() { return CHKprobeSound(t - 500); }));
    children.push_back(CHKstart("front application", t, CHKprobeFront));
    children.push_back(CHKstart("session bus", t, [t]() { return CHKprobeBus(t - 500); }));

    std::string input;
    filesLines(&report, &input);
    if (!options.input.empty())
        input = options.input;
    bool anyReceiver = false;
    std::vector<CHKline> receivers = CHKreceivers(options.devDir, &anyReceiver);
    bool automatic = input.empty() || input.compare(0, 3, "USB") == 0 || input == "lirc";
    // Without a receiver plugged in, that is only worth a note when the source is named otherwise.
    if (!automatic && !anyReceiver && receivers.size() == 1 && receivers[0].item == "receivers") {
        receivers[0].state = CHK_NOTE;
        receivers[0].fix.clear();
    }
    report.lines.insert(report.lines.end(), receivers.begin(), receivers.end());
    report.lines.push_back(CHKlircd(""));
    bool sourceOk = false;
    report.lines.push_back(CHKsource(input, options.devDir, &sourceOk));
    // The source chosen decides: a receiver found counts only when the choice is automatic.
    report.sourceReadable = sourceOk;

    bool uinput = false;
    report.lines.push_back(CHKuinput(options.devDir + "/uinput", &uinput));
    bool xtest = false;
    size_t next = 0;
    if (getenv("DISPLAY") && *getenv("DISPLAY")) {
        std::vector<CHKline> lines = CHKfinish(&children[next++]);
        for (const CHKline &l : lines)
            xtest = xtest || (l.item == "xtest" && l.state == CHK_OK);
        report.lines.insert(report.lines.end(), lines.begin(), lines.end());
    } else {
        report.lines.push_back(line(uinput ? CHK_NOTE : CHK_NOT, "xtest", "no X display ($DISPLAY is not set)",
            uinput ? "" : "only needed where uinput cannot be used: run the Mapper in an X11 session"));
    }
    report.outputAvailable = uinput || xtest;
    if (uinput)
        report.lines.push_back(line(CHK_OK, "output", "--output auto would use uinput"));
    else if (xtest)
        report.lines.push_back(line(CHK_OK, "output", "--output auto would use xtest, because uinput cannot be used"));
    else
        report.lines.push_back(line(CHK_NOT, "output", "no way to send keys, mouse clicks or text",
            "make uinput usable (see the uinput line), or run the Mapper in an X11 session"));
    for (; next < children.size(); next++) {
        std::vector<CHKline> lines = CHKfinish(&children[next]);
        report.lines.insert(report.lines.end(), lines.begin(), lines.end());
    }
    return report;
}

std::string CHKformat(const CHKline &l)
{
    const char *state = l.state == CHK_OK ? "OK  " : l.state == CHK_NOT ? "NOT " : "NOTE";
    std::string text = std::string(state) + " " + l.item + ": " + l.text + "\n";
    if (!l.fix.empty())
        text += "     fix: " + l.fix + "\n";
    return text;
}

int CHKrun(const CHKoptions &options, FILE *out)
{
    CHKreport report = CHKcollect(options);
    for (const CHKline &l : report.lines)
        fputs(CHKformat(l).c_str(), out);
    std::vector<std::string> missing;
    if (!report.sourceReadable)
        missing.push_back("no receiver or source can be read");
    if (!report.mappingRead)
        missing.push_back("the files cannot be used");
    if (!report.outputAvailable)
        missing.push_back("no output can send keys");
    if (missing.empty()) {
        fputs("Verdict: a press of the remote would work.\n", out);
        return 0;
    }
    std::string why;
    for (const std::string &m : missing)
        why += (why.empty() ? "" : "; ") + m;
    fprintf(out, "Verdict: a press of the remote would not work yet: %s.\n", why.c_str());
    return 1;
}
