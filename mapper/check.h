// "vqx-mapper check": what works for the remote and what does not, one line per item with a fix
// where there is one. Probes that talk to servers run in child processes with a time limit.
#ifndef VQX_MAPPER_CHECK_H
#define VQX_MAPPER_CHECK_H

#include <sys/types.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

enum CHKstate { CHK_OK, CHK_NOT, CHK_NOTE };

struct CHKline {
    CHKstate state = CHK_NOTE;
    std::string item; // "receiver /dev/lirc0", "output", "sound" ...
    std::string text; // what was found, in words
    std::string fix; // what to do about it; "" when nothing is to be done
};

struct CHKoptions {
    std::string input; // --input: instead of the configuration's INT
    int timeoutMs = 2500; // the longest a probe may take
    std::string devDir = "/dev"; // where receivers are looked for (tests)
};

// ---- probes ---------------------------------------------------------------------------------------

// Every /dev/lirc* in devDir: opened, read, raw timings supported; *readable tells whether one
// can be used. The flags of the probes are always set, true or false.
std::vector<CHKline> CHKreceivers(const std::string &devDir, bool *readable);
// The source `input` (INT or --input) names, and whether it is there to read from.
CHKline CHKsource(const std::string &input, const std::string &devDir, bool *readable);
// A lircd socket (path "" for /var/run/lirc/lircd): connected, CHK_OK; not running, CHK_NOTE.
CHKline CHKlircd(const std::string &path);
// /dev/uinput: can it be opened for writing?
CHKline CHKuinput(const std::string &path, bool *usable);

// Which way the window in front is known, from the session's variables.
enum CHKfront { CHK_FRONT_EXTENSION, CHK_FRONT_WLROOTS, CHK_FRONT_X11, CHK_FRONT_NONE };
CHKfront CHKfrontKind(const char *currentDesktop, const char *waylandDisplay, const char *display);

// The probes run in a child process (each returns its lines; see CHKstart).
std::vector<CHKline> CHKprobeXTest(void);
std::vector<CHKline> CHKprobeSound(int timeoutMs);
std::vector<CHKline> CHKprobeFront(void);
std::vector<CHKline> CHKprobeBus(int timeoutMs);

// ---- running probes in a child -------------------------------------------------------------------

struct CHKchild {
    pid_t pid = -1;
    int fd = -1; // the read end of the child's pipe
    std::string item; // named in the line given when the child does not answer
    int timeoutMs = 0;
    long long startUs = 0;
};
// Forks a child that runs `probe` and sends its lines back.
CHKchild CHKstart(const std::string &item, int timeoutMs, const std::function<std::vector<CHKline>()> &probe);
// The child's lines; a CHK_NOT line for the item when it gives no answer in time (it is then
// killed) or ends without one.
std::vector<CHKline> CHKfinish(CHKchild *child);

// ---- the whole check ------------------------------------------------------------------------------

struct CHKreport {
    std::vector<CHKline> lines;
    bool sourceReadable = false; // a receiver or the source chosen can be read
    bool mappingRead = false; // the files read and the remote has buttons to match
    bool outputAvailable = false; // uinput or XTest can send keys
};
CHKreport CHKcollect(const CHKoptions &options);
// "OK   item: text" and, when there is a fix, an indented line "     fix: ...".
std::string CHKformat(const CHKline &line);
// Prints the report and the verdict; 0 when a press would work, else 1.
int CHKrun(const CHKoptions &options, FILE *out);

#endif
