// Learning a remote from its presses: presses cut out of a receiver's marks and spaces, two
// agreeing presses per button, and the remote description written from their averages.
#ifndef VQX_MAPPER_LEARN_H
#define VQX_MAPPER_LEARN_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "mapper/samples.h"

// One press of a button as a source gives it: infrared timings, or a key code.
struct LRNpress {
    std::vector<uint32_t> durations; // µs: mark, space, ..., mark; the gap after it left out
    int keyCode = -1; // a key-code source's key (durations then empty)
    bool damaged = false; // the receiver lost samples during it
};

// Cuts a stream of samples into presses. A burst of marks and spaces ends at a space of at least
// endGap (or a timeout report); a burst that starts less than holdGap after the previous one is a
// repeat of a held button and is left out.
struct LRNsplitter {
    int64_t endGap = 15000;
    int64_t holdGap = 160000;
    std::vector<uint32_t> burst; // the burst under way (mark first), empty between bursts
    bool burstIsRepeat = false;
    bool burstDamaged = false;
    int64_t gap = INT64_MAX / 4; // silence since the last mark ended, from the spaces reported
    int64_t idle = 0; // wall-clock silence since the last sample, from LRNsilence
    double carrierSum = 0; // carrier reports seen, for the remote's FRQ
    long carrierCount = 0;
};

// Feeds one sample; a press it completes is appended to *out.
void LRNfeed(LRNsplitter *s, const SMPsample &sample, std::vector<LRNpress> *out);
// Tells the splitter that `us` microseconds passed since the last sample (receivers report a gap
// only when the next mark comes); a burst that has been silent long enough ends.
void LRNsilence(LRNsplitter *s, int64_t us, std::vector<LRNpress> *out);
// The end of the stream: the burst under way ends.
void LRNflush(LRNsplitter *s, std::vector<LRNpress> *out);
// The mean carrier reported so far, Hz (0 when the receiver reported none).
uint32_t LRNcarrier(const LRNsplitter *s);

// Where presses come from while learning. Another kind of receiver (key codes) only needs another
// implementation of this.
class LRNsource {
public:
    virtual ~LRNsource();
    // What is read, for the messages: "/dev/lirc0", "replay: presses.txt" ...
    virtual std::string name() const = 0;
    // Waits at most timeoutMs for a press. 1: *press filled; 0: none yet; -1: the source has ended
    // (*why says how).
    virtual int next(LRNpress *press, int timeoutMs, std::string *why) = 0;
    // Forgets presses that arrived while nobody was asking (a live receiver while a name is typed).
    virtual void discard() = 0;
    // The carrier measured so far, Hz, or 0.
    virtual uint32_t carrier() const = 0;
};

// Presses cut from replay samples, given in file order as a receiver would give them.
LRNsource *LRNreplaySource(const std::string &name, const std::vector<SMPsample> &samples);
// Presses from a raw-timing receiver: "" / "USB..." / "lirc" (the first /dev/lirc* that receives
// raw timings), a device or FIFO path, or fd:N. Null with *why when it cannot be had.
LRNsource *LRNopenReceiver(const std::string &input, std::string *why);
// Key codes from a remote that is a keyboard to the kernel ("evdev:NAME", an event node path after
// "evdev:", or "evdev:fd:N"): each key going down is one press. Null with *why.
LRNsource *LRNopenKeys(const std::string &input, std::string *why);

// A button recorded: its name and the average of its two agreeing presses.
struct LRNbutton {
    std::string name;
    std::vector<uint32_t> durations;
    int keyCode = -1;
};

// The learning session without the terminal: the buttons recorded, and the one being recorded.
struct LRNsession {
    std::vector<LRNbutton> buttons;
    std::string current; // the button being recorded; "" while a name is asked
    std::vector<LRNpress> takes; // its presses so far that no other press agreed with
};

enum { LRN_MAX_DURATIONS = 197 }; // 99 tokens hold 198 halves, the last being the gap
enum LRNverdict {
    LRN_AGAIN, // taken: press it again
    LRN_DIFFERENT, // differs from the earlier press(es): press it again
    LRN_REFUSED, // not usable (message says why): press it again
    LRN_RECORDED // two presses agree: the button is recorded
};

// "" when `name` can be a button's name (what the editor's readers take: 1 to 30 printable
// characters without blanks, not yet given), else why not.
std::string LRNcheckName(const LRNsession &s, const std::string &name);
// Starts recording the button `name` (checked with LRNcheckName).
void LRNbegin(LRNsession *s, const std::string &name);
// Takes a press of the current button; *message says what happened, for the user.
LRNverdict LRNtake(LRNsession *s, const LRNpress &press, std::string *message);
// What the user is asked now: "Name of button 3 (a blank line ends): " or
// "button 3: Play, press it again (2/2)".
std::string LRNprompt(const LRNsession &s);
// True when the two presses are the same signal within the decoder's tolerance.
bool LRNagree(const LRNpress &a, const LRNpress &b);

// The largest unit (µs) that keeps every duration within 10% of a whole number of units, and
// every count within 255. False when no unit keeps the counts within 255: *unit is then the
// largest that keeps the 10% (long durations are written over several tokens).
bool LRNchooseUnit(const std::vector<uint32_t> &durations, int32_t *unit);
// A frame's CMD tokens in `unit`: mark and space counts paired, a trailing gap added; a count over
// 255 goes on in the next token with the other half 0.
std::vector<uint16_t> LRNtokens(const std::vector<uint32_t> &durations, int32_t unit);
// The text of the remote description: FRQ (the measured carrier, else 38000), BIT and one CMD
// line per button; a key-code remote has FRQ 0, BIT 0 and one key code per CMD. "" with *why when
// a button cannot be written (over 99 tokens).
std::string LRNdescribe(const std::vector<LRNbutton> &buttons, uint32_t carrier, std::string *why);

// The terminal session of "vqx-mapper learn".
struct LRNoptions {
    std::string file; // NAME.REM, or a path
    std::string input; // --input; "" = the configuration's INT
    std::string replay; // --replay FILE
    bool force = false; // --force: an existing file may be replaced
};
// Where the file goes: a name without a folder into the preferences folder (".REM" added when it
// has no extension), a name with a folder as given.
std::string LRNtargetPath(const std::string &file);
// Runs the session with the questions on `out` and the answers from `in`; the exit status.
int LRNrun(const LRNoptions &options, FILE *in, FILE *out);
// The same with a source already open (taken over).
int LRNrunWith(const LRNoptions &options, LRNsource *source, FILE *in, FILE *out);

#endif
