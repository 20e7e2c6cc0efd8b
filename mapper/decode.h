// Turns raw infrared timings (marks and spaces in microseconds) into presses and releases of the
// remote's buttons, by matching them against the frames of the remote description.
#ifndef VQX_MAPPER_DECODE_H
#define VQX_MAPPER_DECODE_H

#include <cstdint>
#include <vector>

#include "mapper/table.h"

struct DECevent {
    enum Kind { PRESS, RELEASE } kind;
    int button; // index into MTABtable::buttons
    int64_t time; // the moment it happened (microseconds of the caller's clock)
};

// One button's frame in microseconds: mark, space, mark, ... ending with the last mark (the gap
// after it is not part of what is matched).
struct DECframe {
    std::vector<int64_t> durations;
    int64_t shortestMark = 0;
};

// A frame being matched: `matched` durations of button `button`'s frame agree so far.
// Button -1 is a repeat burst of the held button.
struct DECcandidate {
    int button;
    int matched;
};

// Everything the decoder knows; plain data, owned by the caller, filled by DECinit.
struct DECdecoder {
    std::vector<DECframe> frames; // per remote button; empty when it cannot be decoded
    int32_t frequency = 0; // FRQ of the remote, Hz
    int64_t releaseAfter = 160000; // µs of silence after the last edge that end a hold
    std::vector<DECcandidate> candidates; // frames (and a repeat burst) matched so far
    int pending = -1; // a complete frame that a longer one may still extend
    int pendingLength = 0; // durations of the pending frame
    int64_t pendingDeadline = 0; // when the longer one can no longer continue
    int held = -1; // the button down, or -1
    int64_t heldSince = 0; // when it was pressed
    int64_t lastEdge = 0; // end of the last pulse or space fed
    bool carrierHinted = false;
    uint64_t repeats = 0; // repeat bursts recognised while a button was held
    uint64_t recognised = 0; // frames recognised, those that keep a hold included
};

// Prepares d for the remote of `table` (its frames are copied: the table may go away). A key-code
// remote (FRQ 0 and BIT 0), or one without a positive BIT, decodes nothing.
void DECinit(DECdecoder *d, const MTABtable &table, int64_t releaseAfterUs = 160000);
// One duration (a pulse when `pulse`, else a space) ending at time `now`, the moment of this edge.
// Deadlines that fell due up to `now` are handled first. Events are appended to *out.
void DECfeed(DECdecoder *d, bool pulse, uint32_t durationUs, int64_t now, std::vector<DECevent> *out);
// The next time DECexpire must be called, INT64_MAX if none.
int64_t DECdeadline(const DECdecoder *d);
// Handles every deadline up to `now`: a complete frame nothing extended is pressed, a hold that
// saw no edge for the release time is released. Events carry the deadline's time.
void DECexpire(DECdecoder *d, int64_t now, std::vector<DECevent> *out);
// Releases the held button at once (reload, quit) and forgets any frame half received.
void DECreleaseHeld(DECdecoder *d, int64_t now, std::vector<DECevent> *out);
// Index of the held button or -1.
int DECheld(const DECdecoder *d);
// 1 the first time a measured carrier differs from the remote's FRQ by over 10%, else 0.
int DECcarrierHint(DECdecoder *d, uint32_t measuredHz);
// Whether the duration `actual` matches `expected`: within max(30% of expected, 100 µs).
bool DECmatches(int64_t expected, int64_t actual);

#endif
