// The infrared decoder: every frame of the remote is matched in parallel against the incoming
// marks and spaces; a frame counts the moment its last mark ends, unless a longer frame that
// begins the same way may still continue, in which case the next edge (or its absence) decides.
#include "mapper/decode.h"

#include <algorithm>
#include <cstdint>

static int64_t addSat(int64_t a, int64_t b)
{
    if (b > 0 && a > INT64_MAX - b)
        return INT64_MAX;
    if (b < 0 && a < INT64_MIN - b)
        return INT64_MIN;
    return a + b;
}

static int64_t tolerance(int64_t expected)
{
    return std::max<int64_t>(expected * 3 / 10, 100);
}

bool DECmatches(int64_t expected, int64_t actual)
{
    int64_t diff = actual > expected ? actual - expected : expected - actual;
    return diff <= tolerance(expected);
}

// The marks and spaces of a CMD line in µs, as the light does them: a zero-length duration
// joins its neighbours, leading spaces and the trailing gap are left out.
static DECframe buildFrame(const std::vector<uint16_t> &tokens, int64_t bit)
{
    DECframe f;
    bool lastIsMark = false;
    for (uint16_t token : tokens) {
        for (int half = 0; half < 2; half++) {
            bool mark = half == 0;
            int64_t units = mark ? (token >> 8) : (token & 0xFF);
            if (units == 0)
                continue;
            if (!f.durations.empty() && lastIsMark == mark)
                f.durations.back() += units * bit;
            else if (mark || !f.durations.empty()) {
                f.durations.push_back(units * bit);
                lastIsMark = mark;
            }
        }
    }
    if (!f.durations.empty() && !lastIsMark)
        f.durations.pop_back();
    for (size_t i = 0; i < f.durations.size(); i += 2)
        if (f.shortestMark == 0 || f.durations[i] < f.shortestMark)
            f.shortestMark = f.durations[i];
    return f;
}

void DECinit(DECdecoder *d, const MTABtable &table, int64_t releaseAfterUs)
{
    *d = DECdecoder();
    d->frequency = table.frequency;
    d->releaseAfter = std::max<int64_t>(releaseAfterUs, 0);
    d->frames.resize(table.buttons.size());
    if (table.keyCodes || table.bitTime <= 0)
        return; // a key-code remote, or no timing at all: nothing to match
    for (size_t i = 0; i < table.buttons.size(); i++)
        d->frames[i] = buildFrame(table.buttons[i].tokens, table.bitTime);
}

// A repeat burst is only looked for while a button is held whose frame has a first space.
static bool burstPossible(const DECdecoder *d)
{
    return d->held >= 0 && d->frames[(size_t)d->held].durations.size() >= 2;
}

static int candidateLength(const DECdecoder *d, const DECcandidate &c)
{
    return c.button >= 0 ? (int)d->frames[(size_t)c.button].durations.size() : 3;
}

// The duration a candidate expects at `index`. A repeat burst is the held frame's first mark,
// half its first space, then its shortest mark.
static int64_t expectedAt(const DECdecoder *d, const DECcandidate &c, int index)
{
    if (c.button >= 0)
        return d->frames[(size_t)c.button].durations[(size_t)index];
    const DECframe &f = d->frames[(size_t)d->held];
    if (index == 0)
        return f.durations[0];
    if (index == 1)
        return f.durations[1] / 2;
    return f.shortestMark;
}

static void recognise(DECdecoder *d, int button, int64_t now, std::vector<DECevent> *out)
{
    d->recognised++;
    if (d->held == button)
        return; // the same button again: it stays down
    if (d->held >= 0)
        out->push_back(DECevent { DECevent::RELEASE, d->held, now });
    out->push_back(DECevent { DECevent::PRESS, button, now });
    d->held = button;
    d->heldSince = now;
}

// Forgets repeat bursts being matched (the button they would hold is no longer down, or one came).
static void dropBursts(DECdecoder *d)
{
    std::vector<DECcandidate> frames;
    for (const DECcandidate &c : d->candidates)
        if (c.button >= 0)
            frames.push_back(c);
    d->candidates.swap(frames);
}

static int64_t releaseDeadline(const DECdecoder *d)
{
    if (d->held < 0)
        return INT64_MAX;
    return std::max(addSat(d->lastEdge, d->releaseAfter), d->heldSince);
}

// After a sample was matched: a complete frame is recognised (or kept pending while a longer
// frame with the same beginning is still alive), a complete repeat burst keeps the hold.
static void settle(DECdecoder *d, int64_t now, std::vector<DECevent> *out)
{
    int best = -1;
    bool burst = false;
    for (size_t i = 0; i < d->candidates.size(); i++) {
        const DECcandidate &c = d->candidates[i];
        if (c.matched < candidateLength(d, c))
            continue;
        if (c.button < 0) {
            burst = true;
            continue;
        }
        const DECcandidate *b = best >= 0 ? &d->candidates[(size_t)best] : nullptr;
        if (!b || c.matched > b->matched || (c.matched == b->matched && c.button < b->button))
            best = (int)i;
    }
    if (best < 0) {
        if (burst) {
            // The hold goes on; frames still being matched are left alone.
            d->repeats++;
            dropBursts(d);
        }
        return;
    }
    DECcandidate done = d->candidates[(size_t)best];
    std::vector<DECcandidate> alive;
    int64_t wait = -1;
    for (const DECcandidate &c : d->candidates) {
        if (c.matched >= candidateLength(d, c))
            continue;
        alive.push_back(c);
        if (c.matched == done.matched) {
            int64_t e = expectedAt(d, c, c.matched);
            wait = std::max(wait, addSat(e, tolerance(e) + 1));
        }
    }
    if (wait < 0) {
        d->candidates.clear();
        recognise(d, done.button, now, out);
        return;
    }
    d->candidates = alive;
    d->pending = done.button;
    d->pendingLength = done.matched;
    d->pendingDeadline = addSat(now, wait);
}

static void advance(DECdecoder *d, bool pulse, int64_t duration, int64_t now, std::vector<DECevent> *out)
{
    std::vector<DECcandidate> next;
    bool complete = false;
    for (const DECcandidate &c : d->candidates) {
        if (c.button < 0 && !burstPossible(d))
            continue;
        if ((c.matched % 2 == 0) != pulse || !DECmatches(expectedAt(d, c, c.matched), duration))
            continue;
        next.push_back(DECcandidate { c.button, c.matched + 1 });
        if (next.back().matched >= candidateLength(d, next.back()))
            complete = true;
    }
    // A mark that completed nothing may begin a frame (or, while a button is held, a repeat burst).
    if (pulse && !complete) {
        for (size_t b = 0; b < d->frames.size(); b++)
            if (!d->frames[b].durations.empty() && DECmatches(d->frames[b].durations[0], duration))
                next.push_back(DECcandidate { (int)b, 1 });
        if (burstPossible(d) && DECmatches(d->frames[(size_t)d->held].durations[0], duration))
            next.push_back(DECcandidate { -1, 1 });
    }
    d->candidates.swap(next);
    settle(d, now, out);
}

void DECfeed(DECdecoder *d, bool pulse, uint32_t durationUs, int64_t now, std::vector<DECevent> *out)
{
    DECexpire(d, now, out);
    d->lastEdge = now;
    if (d->pending >= 0) {
        // The edge after a complete frame: it goes on as the longer frame only when this space is
        // the longer frame's next space.
        bool extended = false;
        if (!pulse)
            for (const DECcandidate &c : d->candidates)
                if (c.matched == d->pendingLength && (c.button >= 0 || burstPossible(d))
                    && DECmatches(expectedAt(d, c, c.matched), durationUs))
                    extended = true;
        int button = d->pending;
        d->pending = -1;
        if (!extended) {
            d->candidates.clear();
            recognise(d, button, now, out);
            if (!pulse)
                return;
        }
    }
    advance(d, pulse, durationUs, now, out);
}

int64_t DECdeadline(const DECdecoder *d)
{
    int64_t deadline = releaseDeadline(d);
    if (d->pending >= 0)
        deadline = std::min(deadline, d->pendingDeadline);
    return deadline;
}

void DECexpire(DECdecoder *d, int64_t now, std::vector<DECevent> *out)
{
    for (;;) {
        int64_t release = releaseDeadline(d);
        int64_t pending = d->pending >= 0 ? d->pendingDeadline : INT64_MAX;
        if (d->pending >= 0 && pending <= release && pending <= now) {
            int button = d->pending;
            d->pending = -1;
            d->candidates.clear();
            recognise(d, button, pending, out);
        } else if (d->held >= 0 && release <= now) {
            out->push_back(DECevent { DECevent::RELEASE, d->held, release });
            d->held = -1;
            dropBursts(d);
        } else {
            return;
        }
    }
}

void DECreleaseHeld(DECdecoder *d, int64_t now, std::vector<DECevent> *out)
{
    if (d->held >= 0)
        out->push_back(DECevent { DECevent::RELEASE, d->held, now });
    d->held = -1;
    d->pending = -1;
    d->candidates.clear();
}

int DECheld(const DECdecoder *d)
{
    return d->held;
}

int DECcarrierHint(DECdecoder *d, uint32_t measuredHz)
{
    if (d->carrierHinted || d->frequency <= 0 || measuredHz == 0)
        return 0;
    int64_t diff = (int64_t)measuredHz - d->frequency;
    if (diff < 0)
        diff = -diff;
    if (diff * 10 <= (int64_t)d->frequency)
        return 0;
    d->carrierHinted = true;
    return 1;
}
