// Presses from a running lircd: its socket's lines ("code repeat button remote") parsed from any
// bytes, and the hold of a button while its repeat lines keep coming, on an explicit clock.
#ifndef VQX_MAPPER_LIRCD_H
#define VQX_MAPPER_LIRCD_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#define LRC_DEFAULT_SOCKET "/var/run/lirc/lircd"
#define LRC_MAX_LINE 512 // lircd's own lines are under 256 bytes; longer ones are refused

// One decoded press as lircd reports it.
struct LRCline {
    uint64_t code = 0; // the remote's code, hexadecimal on the wire
    uint32_t repeat = 0; // 0 for a new press, counting up while the button is held
    std::string button;
    std::string remote;
};

// The line reader: bytes in any pieces, a line at a time. Plain data, owned by the caller.
struct LRCparser {
    std::string partial; // a line not yet ended
    bool skipping = false; // the rest of a line that grew too long is skipped
    bool inReply = false; // between BEGIN and END of a reply or broadcast
    uint64_t refused = 0; // lines neither a press nor part of a reply (garbage, too long)
};

// One line without its end: true and *out filled when it is a press line.
bool LRCparseLine(const char *text, size_t length, LRCline *out);
// Feeds bytes; each complete press line is appended to *out. Replies (BEGIN ... END) are skipped,
// lines longer than LRC_MAX_LINE and lines that are not press lines are counted and skipped.
void LRCfeed(LRCparser *p, const char *data, size_t size, std::vector<LRCline> *out);

// What the hold decides: a button goes down or up at `time`.
struct LRCedge {
    bool down = false;
    std::string button;
    int64_t time = 0;
};

// The button lircd holds: down at its first line, up when no repeat line came for the release
// time, or when another button's line comes.
struct LRChold {
    int64_t releaseAfterUs = 160000;
    bool down = false;
    std::string button, remote;
    int64_t lastLine = 0; // when the last line of the held button came
};

// A line heard at `now` (due releases are handled first).
void LRChear(LRChold *h, const LRCline &line, int64_t now, std::vector<LRCedge> *out);
// When the held button is to go up; INT64_MAX when nothing is held.
int64_t LRCdeadline(const LRChold *h);
// Releases the held button when its time has come by `now`; the edge carries the deadline.
void LRCexpire(LRChold *h, int64_t now, std::vector<LRCedge> *out);
// Lets the held button go at once (lircd went away, the Mapper ends).
void LRCreleaseHeld(LRChold *h, int64_t now, std::vector<LRCedge> *out);

// Connects to lircd's socket at `path` (non-blocking, close-on-exec): the descriptor, or the
// negative errno (-ENAMETOOLONG for a path a socket address cannot hold).
int LRCconnect(const std::string &path);

#endif
