// Learning a remote without the terminal: cutting presses out of samples, pairing the two presses
// of a button, choosing the unit the durations are written in, and the remote description's text.
#include "mapper/learn.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "mapper/decode.h"

LRNsource::~LRNsource()
{
}

// ---- cutting presses out of samples -------------------------------------------------------------

static void endBurst(LRNsplitter *s, std::vector<LRNpress> *out)
{
    if (!s->burst.empty() && !s->burstIsRepeat) {
        LRNpress p;
        p.durations = s->burst;
        p.damaged = s->burstDamaged;
        out->push_back(p);
    }
    s->burst.clear();
    s->burstDamaged = false;
}

static int64_t addSat(int64_t a, int64_t b)
{
    const int64_t limit = INT64_MAX / 4;
    return a > limit - b ? limit : a + b;
}

void LRNfeed(LRNsplitter *s, const SMPsample &sample, std::vector<LRNpress> *out)
{
    switch (sample.kind) {
    case SMP_PULSE: {
        int64_t silence = std::max(s->gap, addSat(s->gap, s->idle));
        s->idle = 0;
        if (s->burst.empty()) {
            s->burstIsRepeat = silence < s->holdGap;
            s->burst.push_back(sample.value);
        } else if (s->burst.size() > LRN_MAX_DURATIONS) {
            // Longer than any remote description holds: kept only as "too long".
        } else if (s->gap == 0) {
            // Two marks in a row are one mark, as the light was on all along.
            s->burst.back() += sample.value;
        } else {
            s->burst.push_back((uint32_t)s->gap);
            s->burst.push_back(sample.value);
        }
        s->gap = 0;
        break;
    }
    case SMP_SPACE:
    case SMP_TIMEOUT:
        s->gap = addSat(s->gap, std::max<int64_t>(sample.value, s->idle));
        s->idle = 0;
        if (!s->burst.empty() && (s->gap >= s->endGap || sample.kind == SMP_TIMEOUT))
            endBurst(s, out);
        break;
    case SMP_FREQUENCY:
        s->carrierSum += sample.value;
        s->carrierCount++;
        break;
    case SMP_OVERFLOW:
        // The receiver dropped samples: the burst under way is not what the remote sent.
        if (!s->burst.empty())
            s->burstDamaged = true;
        break;
    case SMP_UNKNOWN:
        break;
    }
}

void LRNsilence(LRNsplitter *s, int64_t us, std::vector<LRNpress> *out)
{
    s->idle = std::max<int64_t>(us, 0);
    if (!s->burst.empty() && addSat(s->gap, s->idle) >= s->endGap)
        endBurst(s, out);
}

void LRNflush(LRNsplitter *s, std::vector<LRNpress> *out)
{
    endBurst(s, out);
    s->gap = INT64_MAX / 4;
}

uint32_t LRNcarrier(const LRNsplitter *s)
{
    if (s->carrierCount == 0)
        return 0;
    return (uint32_t)std::lround(s->carrierSum / (double)s->carrierCount);
}

// ---- the session --------------------------------------------------------------------------------

std::string LRNcheckName(const LRNsession &s, const std::string &name)
{
    if (name.empty())
        return "a button needs a name";
    if (name.size() > 30)
        return "a name has at most 30 characters";
    for (unsigned char c : name)
        if (c < 0x21 || c > 0x7E)
            return "a name is made of letters, digits and punctuation, without blanks (for example VolumeUp)";
    for (size_t i = 0; i < s.buttons.size(); i++)
        if (s.buttons[i].name == name)
            return "button " + std::to_string(i + 1) + " is already called " + name;
    return "";
}

void LRNbegin(LRNsession *s, const std::string &name)
{
    s->current = name;
    s->takes.clear();
}

bool LRNagree(const LRNpress &a, const LRNpress &b)
{
    if (a.keyCode >= 0 || b.keyCode >= 0)
        return a.keyCode == b.keyCode && a.durations.empty() && b.durations.empty();
    if (a.durations.empty() || a.durations.size() != b.durations.size())
        return false;
    // The average is what gets written: both presses must match it as the decoder matches.
    for (size_t i = 0; i < a.durations.size(); i++) {
        int64_t mean = ((int64_t)a.durations[i] + b.durations[i] + 1) / 2;
        if (!DECmatches(mean, a.durations[i]) || !DECmatches(mean, b.durations[i]))
            return false;
    }
    return true;
}

static LRNpress asPress(const LRNbutton &b)
{
    LRNpress p;
    p.durations = b.durations;
    p.keyCode = b.keyCode;
    return p;
}

LRNverdict LRNtake(LRNsession *s, const LRNpress &press, std::string *message)
{
    if (press.damaged) {
        *message = "the receiver lost part of that press; press it again";
        return LRN_REFUSED;
    }
    if (press.keyCode < 0 && press.durations.empty()) {
        *message = "nothing was received; press it again";
        return LRN_REFUSED;
    }
    if (press.durations.size() > LRN_MAX_DURATIONS) {
        *message = "that press is too long for a remote description (over " + std::to_string((int)LRN_MAX_DURATIONS)
            + " marks and spaces); press it again";
        return LRN_REFUSED;
    }
    if (!s->buttons.empty() && (s->buttons[0].keyCode >= 0) != (press.keyCode >= 0)) {
        *message = "that press is of another kind than the buttons before (key codes and infrared timings do "
                   "not mix in one remote); press it again";
        return LRN_REFUSED;
    }
    for (size_t i = s->takes.size(); i-- > 0;) {
        const LRNpress &earlier = s->takes[i];
        if (!LRNagree(earlier, press))
            continue;
        LRNbutton b;
        b.name = s->current;
        b.keyCode = press.keyCode;
        for (size_t k = 0; k < press.durations.size(); k++)
            b.durations.push_back((uint32_t)(((uint64_t)earlier.durations[k] + press.durations[k] + 1) / 2));
        for (const LRNbutton &other : s->buttons) {
            if (LRNagree(asPress(other), asPress(b))) {
                s->takes.clear();
                *message = "that is the signal of " + other.name
                    + " already: the two buttons could not be told apart; press the button for " + s->current
                    + " twice again";
                return LRN_REFUSED;
            }
        }
        s->buttons.push_back(b);
        s->takes.clear();
        s->current.clear();
        *message = "the two presses agree: " + b.name + " is recorded";
        return LRN_RECORDED;
    }
    s->takes.push_back(press);
    // A remote that flips a bit on every press (RC5, RC6) agrees with the press before the last one:
    // the last three are kept.
    if (s->takes.size() > 3)
        s->takes.erase(s->takes.begin());
    if (s->takes.size() == 1) {
        *message = "got it";
        return LRN_AGAIN;
    }
    *message = "that press differs from the one before; press it again";
    return LRN_DIFFERENT;
}

std::string LRNprompt(const LRNsession &s)
{
    std::string number = std::to_string(s.buttons.size() + 1);
    if (s.current.empty())
        return "Name of button " + number + " (a blank line ends): ";
    if (s.takes.empty())
        return "button " + number + ": " + s.current + ", press it (1/2)";
    return "button " + number + ": " + s.current + ", press it again (2/2)";
}

// ---- the unit and the tokens --------------------------------------------------------------------

static int64_t countOf(uint32_t duration, int64_t unit)
{
    int64_t n = ((int64_t)duration + unit / 2) / unit;
    return n < 1 ? 1 : n;
}

// True when d lies within 10% of a whole number (at least 1) of units.
static bool keepsTenPercent(uint32_t d, int64_t unit)
{
    int64_t error = countOf(d, unit) * unit - (int64_t)d;
    return (error < 0 ? -error : error) * 10 <= (int64_t)d;
}

bool LRNchooseUnit(const std::vector<uint32_t> &durations, int32_t *unit)
{
    // The shortest duration is one unit at most 10% too long, so no unit above 1.1 times it can
    // do. From there the unit goes down: where it misses a duration d, no unit down to the top of
    // the next range that suits d (1.1 d / n for the next count n) can do either, so it jumps
    // there. The first unit that keeps every duration is the largest. The count of the longest
    // duration only grows as the unit shrinks: if that unit gives a count over 255, none does better.
    if (durations.empty()) {
        *unit = 1;
        return true;
    }
    uint32_t shortest = *std::min_element(durations.begin(), durations.end());
    uint32_t longest = *std::max_element(durations.begin(), durations.end());
    int64_t u = std::max<int64_t>((int64_t)shortest * 11 / 10, 1);
    for (bool found = false; !found && u > 1;) {
        found = true;
        for (uint32_t d : durations) {
            if (keepsTenPercent(d, u))
                continue;
            int64_t n = ((int64_t)d * 9 + 10 * u - 1) / (10 * u); // the least count with n u >= 0.9 d
            u = std::max<int64_t>((int64_t)d * 11 / (10 * n), 1);
            found = false;
            break;
        }
    }
    *unit = (int32_t)u;
    return countOf(longest, u) <= 255;
}

std::vector<uint16_t> LRNtokens(const std::vector<uint32_t> &durations, int32_t unit)
{
    // Halves in order: mark, space, mark, ... ; a count over 255 is continued after a 0 in the
    // other half, which the light does not see.
    std::vector<int> halves;
    bool wantMark = true;
    auto put = [&](bool mark, int64_t count) {
        while (count > 0) {
            if (wantMark != mark) {
                halves.push_back(0);
                wantMark = !wantMark;
            }
            int64_t take = std::min<int64_t>(count, 255);
            halves.push_back((int)take);
            wantMark = !wantMark;
            count -= take;
        }
    };
    for (size_t i = 0; i < durations.size(); i++)
        put(i % 2 == 0, countOf(durations[i], unit));
    // The gap after the frame: about 20 ms, at most 255 units. The decoder does not wait for it.
    int64_t gap = (20000 + unit - 1) / unit;
    put(false, std::min<int64_t>(std::max<int64_t>(gap, 1), 255));
    std::vector<uint16_t> tokens;
    for (size_t i = 0; i + 1 < halves.size(); i += 2)
        tokens.push_back((uint16_t)((halves[i] << 8) | halves[i + 1]));
    return tokens;
}

std::string LRNdescribe(const std::vector<LRNbutton> &buttons, uint32_t carrier, std::string *why)
{
    bool keyCodes = !buttons.empty() && buttons[0].keyCode >= 0;
    std::string text;
    char line[64];
    if (keyCodes) {
        text = "FRQ 0\nBIT 0\n\n";
        for (const LRNbutton &b : buttons) {
            snprintf(line, sizeof line, " %04X\n", (unsigned)(b.keyCode & 0xFFFF));
            text += "CMD " + b.name + line;
        }
        return text;
    }
    std::vector<uint32_t> all;
    for (const LRNbutton &b : buttons)
        all.insert(all.end(), b.durations.begin(), b.durations.end());
    int32_t unit = 1;
    LRNchooseUnit(all, &unit);
    // The measured carrier to the nearest 100 Hz; receivers measure it only roughly.
    long frequency = carrier > 0 ? (long)((carrier + 50) / 100 * 100) : 38000;
    snprintf(line, sizeof line, "FRQ %ld\nBIT %d\n\n", frequency, (int)unit);
    text = line;
    for (const LRNbutton &b : buttons) {
        std::vector<uint16_t> tokens = LRNtokens(b.durations, unit);
        if (tokens.size() > 99) {
            *why = b.name + " needs " + std::to_string(tokens.size()) + " tokens at a unit of " + std::to_string(unit)
                + " µs; a button holds at most 99";
            return "";
        }
        text += "CMD " + b.name;
        for (uint16_t t : tokens) {
            snprintf(line, sizeof line, " %04X", (unsigned)t);
            text += line;
        }
        text += "\n";
    }
    return text;
}
