// Measures the real vqx-mapper: press latency (the last mark's sample written into the FIFO that
// stands in for the receiver, to the step the recording output writes, both on the monotonic
// clock), idle wake-ups, resident memory with the 20 x 99 mapping, and reload time after RLD.
//   mapper_measure MAPPER [FRAMES [IDLE_SECONDS]]   (run on a session bus: dbus-run-session)
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <string>
#include <vector>

#include "bench/bench_files.h"
#include "mapper/daemon.h"
#include "mapper/desktop.h"
#include "mapper/input.h"
#include "mapper/uinput.h"
#include "mapperlink/notify.h"
#include "shell/files.h"

static std::string work;

static void writeText(const std::string &path, const std::string &text)
{
    FILE *f = fopen(path.c_str(), "w");
    if (!f || fwrite(text.data(), 1, text.size(), f) != text.size()) {
        perror(path.c_str());
        exit(1);
    }
    fclose(f);
}

static std::string readText(const std::string &path)
{
    std::string text;
    FILE *f = fopen(path.c_str(), "r");
    if (!f)
        return text;
    char buffer[65536];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, f)) > 0)
        text.append(buffer, n);
    fclose(f);
    return text;
}

static int countOf(const std::string &text, const std::string &what)
{
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        n++;
    return n;
}

static bool waitFor(const std::string &path, const std::string &what, int count, int timeoutMs)
{
    for (int waited = 0; waited < timeoutMs * 10; waited++) {
        if (countOf(readText(path), what) >= count)
            return true;
        usleep(100);
    }
    return false;
}

// NEC-style frame of button b: header, 16 address bits, 8 command bits and their inverse, stop.
static std::vector<uint32_t> frameOf(int b)
{
    std::vector<uint32_t> d = { 9000, 4500 };
    uint32_t bits = 0x00FFu | ((uint32_t)b << 16) | ((uint32_t)(~b & 0xFF) << 24);
    for (int i = 0; i < 32; i++) {
        d.push_back(562);
        d.push_back((bits >> i) & 1 ? 1686 : 562);
    }
    d.push_back(562);
    return d; // ends with the last mark
}

static std::string remoteText()
{
    std::string rem = "FRQ 38000\nBIT 562\n";
    for (int b = 0; b < kButtons; b++) {
        std::vector<uint32_t> d = frameOf(b);
        d.push_back(40 * 562);
        rem += "CMD " + BENCHbuttonName(b);
        for (size_t i = 0; i < d.size(); i += 2) {
            char token[8];
            snprintf(token, sizeof token, " %02x%02x", d[i] / 562, d[i + 1] / 562);
            rem += token;
        }
        rem += "\n";
    }
    return rem;
}

static long statusField(pid_t pid, const char *task, const char *field)
{
    char path[128];
    snprintf(path, sizeof path, "/proc/%d/status", (int)pid);
    if (task)
        snprintf(path, sizeof path, "/proc/%d/task/%s/status", (int)pid, task);
    std::string text = readText(path);
    size_t at = text.find(field);
    return at == std::string::npos ? -1 : atol(text.c_str() + at + strlen(field));
}

static long voluntarySwitches(pid_t pid)
{
    char path[64];
    snprintf(path, sizeof path, "/proc/%d/task", (int)pid);
    long total = 0;
    DIR *dir = opendir(path);
    if (!dir)
        return -1;
    while (dirent *e = readdir(dir))
        if (e->d_name[0] != '.')
            total += statusField(pid, e->d_name, "voluntary_ctxt_switches:");
    closedir(dir);
    return total;
}

// Notes the clock when each step is handed over.
class TimingSink : public OUTsink {
public:
    int64_t lastPerformed = 0;
    long steps = 0;
    const char *name() const override { return "timing"; }
    void perform(const OUTstep &, int64_t) override
    {
        lastPerformed = DMNclock();
        steps++;
    }
    void releaseAll(int64_t) override { }
};

// Passes each step to a real output and notes when it has been handed over (the output's events
// written: to the uinput descriptor, or flushed to the X server).
class TimedSink : public OUTsink {
public:
    OUTsink *inner;
    int64_t lastPerformed = 0;
    long steps = 0;
    explicit TimedSink(OUTsink *o)
        : inner(o)
    {
    }
    const char *name() const override { return inner->name(); }
    void perform(const OUTstep &step, int64_t now) override
    {
        inner->perform(step, now);
        lastPerformed = DMNclock();
        steps++;
    }
    void releaseAll(int64_t now) override { inner->releaseAll(now); }
};

// Presses alternating between Button9 and Button19 (the global entry's Ctrl+Return, with nobody
// in front) fed in this process to a real output; the time from the last mark's sample to the
// key events written, per press.
static void measureOutput(const char *what, OUTsink *output, int frames, int drainFd)
{
    TimedSink sink(output);
    DMNdaemon daemon;
    DMNinit(&daemon, &sink);
    if (DMNload(&daemon, DMNclock(), "measure") != 0)
        return;
    std::vector<double> times;
    for (int i = 0; i < frames; i++) {
        std::vector<uint32_t> d = frameOf(i % 2 ? 19 : 9);
        int64_t t = DMNclock();
        DMNsample(&daemon, SMPsample { SMP_SPACE, 40000 }, t);
        for (size_t k = 0; k + 1 < d.size(); k++)
            DMNsample(&daemon, SMPsample { k % 2 == 0 ? SMP_PULSE : SMP_SPACE, d[k] }, t);
        long before = sink.steps;
        int64_t t0 = DMNclock();
        DMNsample(&daemon, SMPsample { SMP_PULSE, d.back() }, t0);
        if (sink.steps != before + 1) {
            fprintf(stderr, "%s: frame %d gave %ld steps\n", what, i, sink.steps - before);
            return;
        }
        times.push_back((double)(sink.lastPerformed - t0));
        char drain[65536];
        while (drainFd >= 0 && read(drainFd, drain, sizeof drain) > 0) { }
    }
    DMNreleaseAll(&daemon, DMNclock());
    std::sort(times.begin(), times.end());
    printf("last mark's sample to the key events written (%s, in process), %zu presses: median %.1f us, p99 %.1f "
           "us, max %.1f us\n",
        what, times.size(), times[times.size() / 2], times[times.size() * 99 / 100], times.back());
}

static void put(int fd, uint32_t word)
{
    if (write(fd, &word, 4) != 4) {
        perror("write");
        exit(1);
    }
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        fprintf(stderr, "usage: mapper_measure MAPPER [FRAMES [IDLE_SECONDS]]\n");
        return 2;
    }
    int frames = argc > 2 ? atoi(argv[2]) : 10000;
    int idleSeconds = argc > 3 ? atoi(argv[3]) : 30;
    char folder[] = "/tmp/vqx-measure-XXXXXX";
    work = mkdtemp(folder);
    std::string prefs = work + "/Orvenda VQX Preferences";
    mkdir(prefs.c_str(), 0700);
    writeText(prefs + "/go.lua", "print('go')\n");
    writeText(prefs + "/bench.REM", remoteText());
    writeText(prefs + "/bench.map", BENCHmapText(prefs + "/go.lua"));
    writeText(prefs + "/OrvendaVQX.cfg", "UI\nMAP bench.map\nREM bench.REM\nINT USB\nMEM 40000\n");
    std::string fifo = work + "/lirc0", record = work + "/record.log", log = work + "/mapper.log";
    mkfifo(fifo.c_str(), 0600);
    setenv("XDG_CONFIG_HOME", work.c_str(), 1);
    pid_t pid = fork();
    if (pid == 0) {
        int out = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(out, 2);
        execl(argv[1], argv[1], "--input", fifo.c_str(), "--record", record.c_str(), "--front", "Application 0",
            (char *)nullptr);
        _exit(127);
    }
    if (!waitFor(log, "reading raw timings", 1, 10000)) {
        fprintf(stderr, "the Mapper did not start:\n%s", readText(log).c_str());
        return 1;
    }
    sleep(2); // settled: the pages of the reading are given back a second after it
    printf("resident memory after start (20 x 99 mapping): %ld kB\n", statusField(pid, nullptr, "VmRSS:"));

    // In this process, the Mapper's own modules: a frame's words in a pipe, from the read that
    // returns its last mark to the step handed to the output.
    {
        int pipeFds[2];
        if (pipe(pipeFds) != 0)
            return 1;
        mainArgs0 = argv[1];
        TimingSink sink;
        DMNdaemon daemon;
        DMNinit(&daemon, &sink);
        if (DMNload(&daemon, DMNclock(), "measure") != 0)
            return 1;
        DMNsetFront(&daemon, { "Application 0" });
        INPdevice dev;
        INPadopt(&dev, pipeFds[0]);
        std::vector<double> inside;
        std::vector<SMPsample> samples;
        for (int i = 0; i < frames; i++) {
            std::vector<uint32_t> d = frameOf(i % 2 ? 10 : 0);
            put(pipeFds[1], 40000);
            for (size_t k = 0; k + 1 < d.size(); k++)
                put(pipeFds[1], k % 2 == 0 ? (0x01000000u | d[k]) : d[k]);
            samples.clear();
            INPread(&dev, &samples);
            for (const SMPsample &smp : samples)
                DMNsample(&daemon, smp, DMNclock());
            put(pipeFds[1], 0x01000000u | d.back());
            long before = sink.steps;
            int64_t t0 = DMNclock();
            samples.clear();
            INPread(&dev, &samples);
            for (const SMPsample &smp : samples)
                DMNsample(&daemon, smp, DMNclock());
            if (sink.steps != before + 1) {
                fprintf(stderr, "frame %d gave %ld steps in this process\n", i, sink.steps - before);
                return 1;
            }
            inside.push_back((double)(sink.lastPerformed - t0));
        }
        std::sort(inside.begin(), inside.end());
        printf("read of the last mark to the step handed to the output (in process), %zu presses: median %.1f us, "
               "p99 %.1f us, max %.1f us\n",
            inside.size(), inside[inside.size() / 2], inside[inside.size() * 99 / 100], inside.back());
        close(pipeFds[0]);
        close(pipeFds[1]);
    }

    // The real outputs in this process: the uinput device's events written to a pipe (the same
    // writes as to /dev/uinput), and XTest where there is an X server.
    {
        int pipeFds[2];
        if (pipe2(pipeFds, O_NONBLOCK) == 0) {
            OUTdesktop uinput(UINonDescriptor(pipeFds[1]), nullptr, nullptr, nullptr);
            measureOutput("uinput on a pipe", &uinput, frames, pipeFds[0]);
            close(pipeFds[0]);
            close(pipeFds[1]);
        }
        std::string why;
        if (getenv("DISPLAY")) {
            INJdevice *xtest = INJopenXTest(&why);
            if (xtest) {
                OUTdesktop desktop(xtest, nullptr, nullptr, nullptr);
                measureOutput("xtest, flushed to the X server", &desktop, frames, -1);
            } else {
                printf("xtest: %s\n", why.c_str());
            }
        } else {
            printf("xtest: no X server (run under xvfb-run)\n");
        }
    }

    // Idle: nothing arrives, nothing should wake the Mapper.
    long before = voluntarySwitches(pid);
    sleep((unsigned)idleSeconds);
    long after = voluntarySwitches(pid);
    printf("voluntary context switches over %d s idle (all threads): %ld\n", idleSeconds, after - before);

    // Press latency: presses alternate between two buttons, so that every frame is a new press.
    int fd = open(fifo.c_str(), O_WRONLY);
    std::vector<double> latencies;
    std::string recorded;
    for (int i = 0; i < frames; i++) {
        std::vector<uint32_t> d = frameOf(i % 2 ? 10 : 0);
        put(fd, 40000); // the gap before the frame (a space word)
        for (size_t k = 0; k + 1 < d.size(); k++)
            put(fd, k % 2 == 0 ? (0x01000000u | d[k]) : d[k]);
        usleep(300); // the Mapper has read everything but the last mark
        int64_t t0 = DMNclock();
        put(fd, 0x01000000u | d.back());
        // The step's line in the recording: "<ms>.<us> ..." on the same clock.
        for (int waited = 0;; waited++) {
            recorded = readText(record);
            if (countOf(recorded, "\n") > i)
                break;
            if (waited > 200000) {
                fprintf(stderr, "frame %d gave no step\n", i);
                return 1;
            }
            usleep(50);
        }
        size_t lineStart = recorded.rfind('\n', recorded.size() - 2);
        lineStart = lineStart == std::string::npos ? 0 : lineStart + 1;
        double ms = atof(recorded.c_str() + lineStart);
        latencies.push_back(ms * 1000.0 - (double)t0);
    }
    std::sort(latencies.begin(), latencies.end());
    if (!latencies.empty())
        printf("last mark written into the FIFO to the step recorded by the running Mapper, %zu presses: median %.0f "
               "us, p99 %.0f us, max %.0f us\n",
            latencies.size(), latencies[latencies.size() / 2], latencies[latencies.size() * 99 / 100],
            latencies.back());
    printf("resident memory after the presses: %ld kB\n", statusField(pid, nullptr, "VmRSS:"));

    // Reload: RLD, then the log's line for the new mapping in force.
    NOTinit(1);
    std::vector<double> reloads;
    for (int r = 0; r < 11; r++) {
        int64_t t0 = DMNclock();
        NOTpost("command", "RLD");
        if (!waitFor(log, "in force (RLD)", r + 1, 5000)) {
            fprintf(stderr, "no reload after RLD\n");
            return 1;
        }
        reloads.push_back((double)(DMNclock() - t0) / 1000.0);
    }
    std::sort(reloads.begin(), reloads.end());
    std::string text = readText(log);
    size_t at = text.rfind("in force (RLD) in ");
    printf("RLD to the new mapping in force (RLD posted to the line seen in the log, 0.1 ms polling): median %.1f ms; "
           "the Mapper's "
           "own figure for the last: %s",
        reloads[reloads.size() / 2],
        at == std::string::npos ? "none\n" : text.substr(at + 18, text.find('\n', at) - at - 17).c_str());
    sleep(2);
    printf("resident memory after the reloads: %ld kB\n", statusField(pid, nullptr, "VmRSS:"));
    kill(pid, SIGTERM);
    int status = 0;
    waitpid(pid, &status, 0);
    printf("exit status after SIGTERM: %d\n", WIFEXITED(status) ? WEXITSTATUS(status) : -1);

    // Repeats in real time: Button0 held for three seconds (NEC frames every 108 ms) gives the
    // global entry's mouse move at the press, 250 ms later and then every 50 ms; each step's
    // lateness against that schedule, counted from the press step.
    std::string hold;
    for (int f = 0; f < 28; f++) {
        std::vector<uint32_t> d = frameOf(0);
        uint32_t used = 0;
        for (size_t k = 0; k < d.size(); k++) {
            hold += (k % 2 == 0 ? "pulse " : "space ") + std::to_string(d[k]) + "\n";
            used += d[k];
        }
        hold += "space " + std::to_string(108000 - used) + "\n";
    }
    writeText(work + "/hold.txt", hold);
    std::string holdRecord = work + "/hold.rec";
    pid = fork();
    if (pid == 0) {
        int out = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(out, 2);
        execl(argv[1], argv[1], "--replay", (work + "/hold.txt").c_str(), "--record", holdRecord.c_str(), "--front",
            "Application 0", (char *)nullptr);
        _exit(127);
    }
    waitFor(log, "finished (", 1, 10000);
    usleep(400000);
    kill(pid, SIGTERM);
    waitpid(pid, &status, 0);
    std::vector<double> late;
    std::string steps = readText(holdRecord);
    double first = -1;
    int n = 0;
    for (size_t pos = 0; pos < steps.size(); n++) {
        double ms = atof(steps.c_str() + pos);
        if (first < 0)
            first = ms;
        else
            late.push_back(ms - first - (250.0 + 50.0 * (n - 1)));
        pos = steps.find('\n', pos);
        pos = pos == std::string::npos ? steps.size() : pos + 1;
    }
    std::vector<double> absolute;
    for (double l : late)
        absolute.push_back(l < 0 ? -l : l);
    std::sort(absolute.begin(), absolute.end());
    if (!absolute.empty())
        printf("repeats of a held button, %zu steps: off their schedule by median %.2f ms, at most %.2f ms\n",
            absolute.size(), absolute[absolute.size() / 2], absolute.back());
    std::string cmd = "rm -rf '" + work + "'";
    if (system(cmd.c_str()) != 0)
        return 1;
    return 0;
}
