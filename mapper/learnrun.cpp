// "vqx-mapper learn": the press sources (a replay file, a raw-timing receiver) and the terminal
// session that asks for the names, records the presses and writes the remote description.
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>

#include "mapper/input.h"
#include "mapper/learn.h"
#include "mapper/load.h"
#include "mapper/replay.h"
#include "shell/files.h"

// From the kernel's LIRC interface (linux/lirc.h): receivers that can measure the carrier do so
// only when asked.
#define LRN_LIRC_CAN_MEASURE_CARRIER 0x02000000
#define LRN_LIRC_GET_FEATURES _IOR('i', 0x00000000, unsigned int)
#define LRN_LIRC_SET_MEASURE_CARRIER_MODE _IOW('i', 0x0000001d, unsigned int)

static int64_t monotonicUs()
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (int64_t)ts.tv_sec * 1000000 + ts.tv_nsec / 1000;
}

// ---- sources ------------------------------------------------------------------------------------

namespace {

class ReplaySource : public LRNsource {
public:
    ReplaySource(const std::string &name, const std::vector<SMPsample> &samples)
        : name_(name)
    {
        std::vector<LRNpress> presses;
        for (const SMPsample &s : samples)
            LRNfeed(&splitter_, s, &presses);
        LRNflush(&splitter_, &presses);
        presses_.assign(presses.begin(), presses.end());
    }
    std::string name() const override { return "replay: " + name_; }
    int next(LRNpress *press, int, std::string *why) override
    {
        if (presses_.empty()) {
            *why = "the replay has no more presses";
            return -1;
        }
        *press = presses_.front();
        presses_.pop_front();
        return 1;
    }
    // The file's presses are given in order, whoever asked when.
    void discard() override { }
    uint32_t carrier() const override { return LRNcarrier(&splitter_); }

private:
    std::string name_;
    LRNsplitter splitter_;
    std::deque<LRNpress> presses_;
};

class ReceiverSource : public LRNsource {
public:
    ReceiverSource(const INPdevice &device, const std::string &name)
        : device_(device)
        , name_(name)
    {
        // The carrier is measured while learning only: measuring often switches the receiver to
        // its short-range sensor, so it is switched off again at the end.
        unsigned int features = 0;
        if (device_.ownsFd && ioctl(device_.fd, LRN_LIRC_GET_FEATURES, &features) == 0
            && (features & LRN_LIRC_CAN_MEASURE_CARRIER)) {
            unsigned int on = 1;
            measuring_ = ioctl(device_.fd, LRN_LIRC_SET_MEASURE_CARRIER_MODE, &on) == 0;
        }
    }
    ~ReceiverSource() override
    {
        if (measuring_ && device_.fd >= 0) {
            unsigned int off = 0;
            ioctl(device_.fd, LRN_LIRC_SET_MEASURE_CARRIER_MODE, &off);
        }
        INPclose(&device_);
    }
    std::string name() const override { return name_; }
    int next(LRNpress *press, int timeoutMs, std::string *why) override;
    void discard() override;
    uint32_t carrier() const override { return LRNcarrier(&splitter_); }

private:
    INPdevice device_;
    std::string name_;
    LRNsplitter splitter_;
    std::deque<LRNpress> presses_;
    int64_t lastSample_ = INT64_MIN / 4; // when the last sample was read; long ago at first
    bool gone_ = false;
    bool measuring_ = false; // the carrier measurement was switched on here
    int readWaiting();
};

// Reads what is waiting into the splitter; -1 when the receiver is gone.
int ReceiverSource::readWaiting()
{
    std::vector<SMPsample> samples;
    int status = INPread(&device_, &samples);
    if (!samples.empty()) {
        int64_t now = monotonicUs();
        // The wall clock's silence before these samples counts where no space reported it.
        std::vector<LRNpress> presses;
        LRNsilence(&splitter_, now - lastSample_, &presses);
        for (const SMPsample &s : samples)
            LRNfeed(&splitter_, s, &presses);
        presses_.insert(presses_.end(), presses.begin(), presses.end());
        lastSample_ = now;
    }
    return status;
}

int ReceiverSource::next(LRNpress *press, int timeoutMs, std::string *why)
{
    int64_t deadline = monotonicUs() + (int64_t)timeoutMs * 1000;
    for (;;) {
        if (!presses_.empty()) {
            *press = presses_.front();
            presses_.pop_front();
            return 1;
        }
        if (gone_) {
            *why = name_ + " is gone";
            return -1;
        }
        int64_t now = monotonicUs();
        if (now >= deadline)
            return 0;
        // While a burst is open, wake up soon enough to end it on the wall clock.
        int64_t wait = deadline - now;
        if (!splitter_.burst.empty())
            wait = std::min<int64_t>(wait, splitter_.endGap);
        struct pollfd p = { device_.fd, POLLIN, 0 };
        int n = poll(&p, 1, (int)((wait + 999) / 1000));
        if (n < 0 && errno != EINTR) {
            *why = name_ + ": " + strerror(errno);
            return -1;
        }
        if (n > 0) {
            if (readWaiting() < 0) {
                std::vector<LRNpress> presses;
                LRNflush(&splitter_, &presses);
                presses_.insert(presses_.end(), presses.begin(), presses.end());
                gone_ = true;
            }
        } else {
            std::vector<LRNpress> presses;
            LRNsilence(&splitter_, monotonicUs() - lastSample_, &presses);
            presses_.insert(presses_.end(), presses.begin(), presses.end());
        }
    }
}

void ReceiverSource::discard()
{
    if (!gone_ && readWaiting() < 0)
        gone_ = true;
    presses_.clear();
    // A press that began before now is not the one asked for: it ends as if it were a repeat.
    if (!splitter_.burst.empty())
        splitter_.burstIsRepeat = true;
}

} // namespace

LRNsource *LRNreplaySource(const std::string &name, const std::vector<SMPsample> &samples)
{
    return new ReplaySource(name, samples);
}

LRNsource *LRNopenReceiver(const std::string &input, std::string *why)
{
    INPdevice device;
    std::string path = input;
    if (input.compare(0, 6, "evdev:") == 0)
        return LRNopenKeys(input, why);
    if (input.empty() || input.compare(0, 3, "USB") == 0 || input == "lirc") {
        std::string found;
        path = INPfindReceiver(&found);
        if (path.empty()) {
            *why = "no receiver of raw infrared timings (" + found + ")";
            return nullptr;
        }
    } else if (input.compare(0, 3, "fd:") == 0) {
        char *end = nullptr;
        long fd = strtol(input.c_str() + 3, &end, 10);
        if (end == input.c_str() + 3 || *end != '\0' || fd < 0 || fd > INT_MAX || INPadopt(&device, (int)fd) != 0) {
            *why = input + " is not an open descriptor";
            return nullptr;
        }
        return new ReceiverSource(device, input);
    } else if (!INPisDevicePath(input)) {
        *why = "\"" + input
            + "\" gives no raw infrared timings to learn from; use --input /dev/lircN (or a FIFO, fd:N), evdev:NAME "
              "or --replay FILE";
        return nullptr;
    }
    int err = INPopen(&device, path);
    if (err != 0) {
        *why = path + ": " + strerror(-err);
        if (err == -EACCES)
            *why += " (the udev rule KERNEL==\"lirc[0-9]*\", TAG+=\"uaccess\" lets the seat's user read it)";
        return nullptr;
    }
    return new ReceiverSource(device, path);
}

// ---- the terminal session -----------------------------------------------------------------------

std::string LRNtargetPath(const std::string &file)
{
    if (file.find('/') != std::string::npos)
        return file;
    char prefs[1024];
    std::string name = file.find('.') == std::string::npos ? file + ".REM" : file;
    return std::string(VQXFILESgetPrefsPath(prefs)) + "/" + name;
}

static bool exists(const std::string &path)
{
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

// Writes the whole text beside the target, then puts it in place: renamed over an existing file
// with `force`, else linked so that a file that appeared meanwhile is never replaced.
static bool writeFile(const std::string &path, const std::string &text, bool force, std::string *why)
{
    std::string folder = path.substr(0, path.rfind('/') + 1);
    if (!folder.empty() && !exists(folder) && mkdir(folder.c_str(), 0755) != 0) {
        *why = folder + ": " + strerror(errno);
        return false;
    }
    std::string tmp = path + ".learn-" + std::to_string((long)getpid());
    int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0) {
        *why = tmp + ": " + strerror(errno);
        return false;
    }
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            *why = tmp + ": " + strerror(errno);
            close(fd);
            unlink(tmp.c_str());
            return false;
        }
        done += (size_t)n;
    }
    if (fsync(fd) != 0 || close(fd) != 0) {
        *why = tmp + ": " + strerror(errno);
        unlink(tmp.c_str());
        return false;
    }
    int status = force ? rename(tmp.c_str(), path.c_str()) : link(tmp.c_str(), path.c_str());
    int err = errno;
    if (!force || status != 0)
        unlink(tmp.c_str());
    if (status != 0) {
        *why = err == EEXIST ? path + " exists; --force replaces it" : path + ": " + strerror(err);
        return false;
    }
    return true;
}

static bool readLine(FILE *in, std::string *line)
{
    line->clear();
    int c;
    while ((c = getc(in)) != EOF && c != '\n')
        if (line->size() < 4096)
            *line += (char)c;
    return c != EOF || !line->empty();
}

// True when a line can be read from `in` without waiting.
static bool lineWaiting(FILE *in)
{
    struct pollfd p = { fileno(in), POLLIN, 0 };
    return poll(&p, 1, 0) > 0;
}

static std::string trimmed(const std::string &s)
{
    size_t a = s.find_first_not_of(" \t\r\n");
    if (a == std::string::npos)
        return "";
    size_t b = s.find_last_not_of(" \t\r\n");
    return s.substr(a, b - a + 1);
}

int LRNrunWith(const LRNoptions &options, LRNsource *source, FILE *in, FILE *out)
{
    std::unique_ptr<LRNsource> src(source);
    std::string path = LRNtargetPath(options.file);
    if (!options.force && exists(path)) {
        fprintf(out, "%s exists already; nothing recorded. Give another name, or add --force to replace it.\n",
            path.c_str());
        return 1;
    }
    fprintf(out,
        "Learning a remote from %s into %s.\nFor each button: type its name, then press that button on the "
        "remote twice.\nA blank name ends and writes the file.\n",
        src->name().c_str(), path.c_str());
    LRNsession session;
    std::string ended; // why the source stopped, if it did
    // At a terminal, a line typed while presses are awaited gives up the button; answers read
    // from a file are names only.
    bool typing = isatty(fileno(in));
    while (ended.empty()) {
        fputs(LRNprompt(session).c_str(), out);
        fflush(out);
        std::string line;
        if (!readLine(in, &line)) {
            fputs("\n", out);
            break;
        }

        // Answers read from a file or a pipe are shown, so that the transcript reads as a dialogue.
        if (!isatty(fileno(in)))
            fprintf(out, "%s\n", line.c_str());
        std::string name = trimmed(line);
        if (name.empty())
            break;
        std::string bad = LRNcheckName(session, name);
        if (!bad.empty()) {
            fprintf(out, "  %s\n", bad.c_str());
            continue;
        }
        LRNbegin(&session, name);
        src->discard();
        while (!session.current.empty()) {
            fprintf(out, "%s%s\n", LRNprompt(session).c_str(), typing ? " (Enter skips this button)" : "");
            fflush(out);
            LRNpress press;
            int r;
            bool skipped = false;
            while ((r = src->next(&press, 200, &ended)) == 0 && !(skipped = typing && lineWaiting(in))) { }
            if (skipped) {
                readLine(in, &line);
                fprintf(out, "  %s is skipped\n", session.current.c_str());
                LRNbegin(&session, "");
                break;
            }
            if (r < 0) {
                fprintf(out, "  %s; %s is not recorded\n", ended.c_str(), session.current.c_str());
                break;
            }
            std::string message;
            LRNtake(&session, press, &message);
            fprintf(out, "  %s\n", message.c_str());
        }
    }
    if (session.buttons.empty()) {
        fprintf(out, "No button was recorded; nothing written.\n");
        return 1;
    }
    std::string why;
    std::string text = LRNdescribe(session.buttons, src->carrier(), &why);
    if (text.empty() || !writeFile(path, text, options.force, &why)) {
        fprintf(out, "Nothing written: %s\n", why.c_str());
        return 1;
    }
    fprintf(
        out, "Wrote %s: %zu button%s.\n", path.c_str(), session.buttons.size(), session.buttons.size() == 1 ? "" : "s");
    std::string base = path.substr(path.rfind('/') + 1);
    if (base.size() > 32)
        fprintf(out, "Note: the configuration keeps names of at most 32 characters; rename the file to use it.\n");
    else
        fprintf(out, "To use it, choose %s as the remote in the editor (or write \"REM %s\" in OrvendaVQX.cfg).\n",
            base.c_str(), base.c_str());
    return ended.empty() ? 0 : 1;
}

int LRNrun(const LRNoptions &options, FILE *in, FILE *out)
{
    std::string path = LRNtargetPath(options.file);
    if (!options.force && exists(path)) {
        fprintf(out, "%s exists already; nothing recorded. Give another name, or add --force to replace it.\n",
            path.c_str());
        return 1;
    }
    LRNsource *source = nullptr;
    std::string why;
    if (!options.replay.empty()) {
        RPLfile file;
        if (RPLload(options.replay, &file, &why) != 0) {
            fprintf(out, "The replay cannot be read: %s\n", why.c_str());
            return 1;
        }
        source = LRNreplaySource(options.replay, file.samples);
    } else {
        std::string input = options.input;
        if (input.empty())
            input = LOADread().table.input; // the configuration's INT, as the Mapper takes it
        source = LRNopenReceiver(input, &why);
        if (!source) {
            fprintf(out, "No receiver to learn from: %s\n", why.c_str());
            return 1;
        }
    }
    return LRNrunWith(options, source, in, out);
}
