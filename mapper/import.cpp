// lircd.conf remotes as remote descriptions: frames are built the way lircd's transmitter builds
// them (header, lead, pre_data, data, post_data, trail, foot; space or bi-phase bits), then written
// as CMD tokens in one bit time chosen for the whole remote.
#include "mapper/import.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

#include "mapper/decode.h"
#include "mapping/remote.h"

namespace {

// Collects pulses and spaces as lircd's send buffer does: durations of one kind join, a space
// before the first pulse is dropped, zero durations vanish.
struct Sender {
    std::vector<uint64_t> out;
    uint64_t pendingPulse = 0, pendingSpace = 0;
    void pulse(uint64_t d)
    {
        if (d == 0)
            return;
        if (pendingPulse > 0) {
            pendingPulse += d;
            return;
        }
        if (pendingSpace > 0)
            out.push_back(pendingSpace);
        pendingSpace = 0;
        pendingPulse = d;
    }
    void space(uint64_t d)
    {
        if (d == 0 || (out.empty() && pendingPulse == 0))
            return;
        if (pendingSpace > 0) {
            pendingSpace += d;
            return;
        }
        if (pendingPulse > 0)
            out.push_back(pendingPulse);
        pendingPulse = 0;
        pendingSpace = d;
    }
    // The frame, ending with a pulse.
    std::vector<uint64_t> finish()
    {
        if (pendingPulse > 0)
            out.push_back(pendingPulse);
        pendingPulse = pendingSpace = 0;
        return out;
    }
};

uint64_t mask(int bits)
{
    return bits >= 64 ? ~(uint64_t)0 : (((uint64_t)1 << bits) - 1);
}

uint64_t reverse(uint64_t data, int bits)
{
    uint64_t out = 0;
    for (int i = 0; i < bits; i++, data >>= 1)
        out = (out << 1) | (data & 1);
    return out;
}

// The remote as lircd holds it after reading: REVERSE applied to the values, values cut to their
// bit counts, toggle_bit turned into toggle_bit_mask, RC6's trailer bit found from the toggle bit.
struct Resolved {
    LCFremote r;
    int allBits = 0;
};

Resolved resolve(const LCFremote &in)
{
    Resolved x { in, in.preDataBits + in.bits + in.postDataBits };
    LCFremote &r = x.r;
    if (x.allBits > 64)
        return x;
    r.preData &= mask(r.preDataBits);
    r.postData &= mask(r.postDataBits);
    for (LCFcode &c : r.codes)
        for (uint64_t &v : c.codes)
            v &= mask(r.bits);
    if (r.flags & LCF_REVERSE) {
        r.preData = reverse(r.preData, r.preDataBits);
        r.postData = reverse(r.postData, r.postDataBits);
        for (LCFcode &c : r.codes)
            for (uint64_t &v : c.codes)
                v = reverse(v, r.bits);
    }
    if (r.toggleBit > 0 && r.toggleBit <= x.allBits) {
        uint64_t bit = (uint64_t)1 << (x.allBits - r.toggleBit);
        if ((r.flags & LCF_RC6) && r.rc6Mask == 0)
            r.rc6Mask = bit;
        if (r.toggleBitMask == 0)
            r.toggleBitMask = bit;
    }
    return x;
}

int bitsSet(uint64_t v)
{
    int n = 0;
    for (; v; v &= v - 1)
        n++;
    return n;
}

// `bits` bits of `data`, first bit sent the highest, `done` bits of the frame already sent. The
// toggle bit goes out in its first state, 0.
void sendData(const Resolved &x, Sender *s, uint64_t data, int bits, int done)
{
    const LCFremote &r = x.r;
    bool biphase = (r.flags & (LCF_RC5 | LCF_RC6)) != 0;
    bool spaceFirst = (r.flags & LCF_SPACE_FIRST) != 0;
    data = reverse(data, bits);
    int shift = x.allBits - 1 - done;
    for (int i = 0; i < bits; i++, shift--, data >>= 1) {
        uint64_t m = shift >= 0 && shift < 64 ? (uint64_t)1 << shift : 0;
        if (r.toggleBitMask && (m & r.toggleBitMask) && bitsSet(r.toggleBitMask) == 1)
            data &= ~(uint64_t)1;
        bool twice = (m & r.rc6Mask) != 0;
        if (data & 1) {
            if (biphase || spaceFirst) {
                s->space(twice && biphase ? 2ull * r.sone : r.sone);
                s->pulse(twice && biphase ? 2ull * r.pone : r.pone);
            } else {
                s->pulse(r.pone);
                s->space(r.sone);
            }
        } else if (twice) {
            s->pulse(2ull * r.pzero);
            s->space(2ull * r.szero);
        } else if (spaceFirst) {
            s->space(r.szero);
            s->pulse(r.pzero);
        } else {
            s->pulse(r.pzero);
            s->space(r.szero);
        }
    }
}

void sendCode(const Resolved &x, Sender *s, uint64_t code)
{
    const LCFremote &r = x.r;
    if (r.phead && r.shead) {
        s->pulse(r.phead);
        s->space(r.shead);
    }
    s->pulse(r.plead);
    if (r.preDataBits > 0) {
        sendData(x, s, r.preData, r.preDataBits, 0);
        if (r.preP && r.preS) {
            s->pulse(r.preP);
            s->space(r.preS);
        }
    }
    sendData(x, s, code, r.bits, r.preDataBits);
    if (r.postDataBits > 0) {
        if (r.postP && r.postS) {
            s->pulse(r.postP);
            s->space(r.postS);
        }
        sendData(x, s, r.postData, r.postDataBits, r.preDataBits + r.bits);
    }
    s->pulse(r.ptrail);
    if (r.pfoot && r.sfoot) {
        s->space(r.sfoot);
        s->pulse(r.pfoot);
    }
}

// Why the encoding of `r` cannot be converted, or "".
std::string unsupported(const LCFremote &r)
{
    uint32_t p = r.flags & LCF_PROTOCOLS;
    if (p & (LCF_RCMM | LCF_XMP | LCF_GRUNDIG | LCF_BO | LCF_SERIAL))
        return LCFflagNames(p) + " encoding not supported";
    if (p & LCF_RAW_CODES)
        return "";
    if (r.bits <= 0)
        return "no bits per code";
    if (r.preDataBits + r.bits + r.postDataBits > 64)
        return "more than 64 bits per frame";
    if ((r.pone == 0 && r.sone == 0) || (r.pzero == 0 && r.szero == 0))
        return "no timings for the bits (codes for a receiver that decodes them itself)";
    return "";
}

uint64_t sum(const std::vector<uint64_t> &v)
{
    uint64_t s = 0;
    for (uint64_t d : v)
        s += d;
    return s;
}

// The trailing gap after a frame lasting `length` µs.
uint64_t trailingGap(const LCFremote &r, uint64_t length)
{
    uint64_t gap = r.gap;
    if ((r.flags & LCF_CONST_LENGTH) && gap > length)
        gap -= length;
    return gap > 0 ? gap : 100000;
}

std::vector<uint32_t> narrow(const std::vector<uint64_t> &v)
{
    std::vector<uint32_t> out;
    for (uint64_t d : v)
        out.push_back(d > UINT32_MAX ? UINT32_MAX : (uint32_t)d);
    return out;
}

std::string lower(std::string s)
{
    for (char &c : s)
        if (c >= 'A' && c <= 'Z')
            c = (char)(c - 'A' + 'a');
    return s;
}

struct Candidate {
    std::string name;
    std::vector<uint32_t> frame; // with the trailing gap
};

// The CMD line of a frame in units of `bit`; the trailing gap is clamped to 1..255 units.
std::string commandLine(const Candidate &c, int32_t bit)
{
    std::string line = "CMD " + c.name;
    std::vector<unsigned> units;
    for (size_t i = 0; i < c.frame.size(); i++) {
        long u = std::lround((double)c.frame[i] / bit);
        if (i + 1 == c.frame.size())
            u = std::min(255L, std::max(1L, u));
        units.push_back((unsigned)u);
    }
    for (size_t i = 0; i + 1 < units.size(); i += 2) {
        char token[8];
        snprintf(token, sizeof token, " %02X%02X", units[i] & 0xFF, units[i + 1] & 0xFF);
        line += token;
    }
    return line + "\n";
}

std::string joinUs(const std::vector<uint32_t> &v)
{
    std::string s;
    for (uint32_t d : v)
        s += (s.empty() ? "" : " ") + std::to_string(d);
    return s;
}

// A note when the remote's repeat burst is not what the Mapper takes for one while a button is
// held (the first mark of the frame, half its first space, its shortest mark).
void noteRepeat(const LCFremote &r, const std::vector<uint32_t> &frame, IMPremote *out)
{
    std::vector<uint32_t> burst = IMPrepeatBurst(r);
    if (burst.empty() || frame.size() < 3)
        return;
    uint32_t shortest = frame[0];
    for (size_t i = 0; i + 1 < frame.size(); i += 2)
        shortest = std::min(shortest, frame[i]);
    bool same = burst.size() == 3 && DECmatches(frame[0], burst[0]) && DECmatches(frame[1] / 2, burst[1])
        && DECmatches(shortest, burst[2]);
    if (same)
        out->notes.push_back("its repeat burst (" + joinUs(burst) + " us) keeps a held button down");
    else
        out->notes.push_back("its repeat burst (" + joinUs(burst)
            + " us) is not the form the Mapper follows: a held button goes up after its first frame");
}

} // namespace

std::vector<uint32_t> IMPframe(const LCFremote &r, size_t index, std::string *why)
{
    std::string reason = unsupported(r);
    std::vector<uint64_t> frame;
    if (reason.empty() && (r.flags & LCF_RAW_CODES)) {
        if (index >= r.rawCodes.size())
            reason = "no such button";
        else {
            const LCFraw &c = r.rawCodes[index];
            if (c.durations.empty() || c.durations.size() % 2 == 0)
                reason = "an even number of durations (a raw code ends with a pulse)";
            else if (std::find(c.durations.begin(), c.durations.end(), 0u) != c.durations.end())
                reason = "a duration of 0";
            else
                frame.assign(c.durations.begin(), c.durations.end());
        }
    } else if (reason.empty()) {
        if (index >= r.codes.size())
            reason = "no such button";
        else if (r.codes[index].codes.size() != 1)
            reason = "a sequence of " + std::to_string(r.codes[index].codes.size()) + " codes per press not supported";
        else {
            Resolved x = resolve(r);
            Sender s;
            sendCode(x, &s, x.r.codes[index].codes[0]);
            frame = s.finish();
            if (frame.empty())
                reason = "no pulse in the frame";
        }
    }
    if (!reason.empty()) {
        if (why)
            *why = reason;
        return {};
    }
    frame.push_back(trailingGap(r, sum(frame)));
    return narrow(frame);
}

std::vector<uint32_t> IMPrepeatBurst(const LCFremote &r)
{
    if (r.prepeat == 0 || r.srepeat == 0 || (r.flags & LCF_RAW_CODES))
        return {};
    Sender s;
    if ((r.flags & LCF_REPEAT_HEADER) && r.phead && r.shead) {
        s.pulse(r.phead);
        s.space(r.shead);
    }
    s.pulse(r.plead);
    s.pulse(r.prepeat);
    s.space(r.srepeat);
    s.pulse(r.ptrail);
    return narrow(s.finish());
}

int32_t IMPchooseBit(const std::vector<uint32_t> &durations, double *error)
{
    std::set<uint32_t> distinct;
    for (uint32_t d : durations)
        if (d > 0)
            distinct.insert(d);
    if (error)
        *error = 0;
    if (distinct.empty())
        return 0;
    uint32_t shortest = *distinct.begin(), longest = *distinct.rbegin();
    // 255 units must reach the longest; the shortest needs at least one unit within 10%.
    int64_t lo = std::max<int64_t>(1, (int64_t)(longest / 255.5));
    int64_t hi = std::min<int64_t>(65535, (int64_t)(shortest / 0.9) + 1);
    int32_t best = 0;
    double bestError = 1;
    for (int64_t bit = lo; bit <= hi; bit++) {
        double worst = 0;
        for (uint32_t d : distinct) {
            int64_t units = std::llround((double)d / (double)bit);
            if (units < 1 || units > 255) {
                worst = 1;
                break;
            }
            worst = std::max(worst, std::fabs((double)(units * bit) - d) / d);
            if (worst > 0.1)
                break;
        }
        if (worst <= 0.1 && worst <= bestError + 1e-9) {
            best = (int32_t)bit;
            bestError = worst;
        }
    }
    if (error && best)
        *error = bestError;
    return best;
}

std::string IMPfileName(const std::string &name)
{
    std::string base;
    for (char c : name) {
        bool keep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_'
            || c == '+' || c == '-';
        base += keep ? c : '_';
    }
    if (!base.empty() && base[0] == '.')
        base[0] = '_';
    if (base.size() > IMP_MAX_FILE_BASE)
        base.resize(IMP_MAX_FILE_BASE);
    if (base.empty())
        base = "remote";
    return base + ".REM";
}

bool IMPbuttonNameOk(const std::string &name)
{
    if (name.empty() || name.size() > IMP_MAX_NAME)
        return false;
    for (char c : name)
        if (c <= ' ' || c > '~')
            return false;
    return true;
}

static IMPremote convertOne(const LCFremote &r)
{
    IMPremote out;
    out.remoteName = r.name;
    out.fileName = IMPfileName(r.name);
    uint32_t p = r.flags & LCF_PROTOCOLS;
    out.encoding = (p & LCF_RAW_CODES) ? "raw" : (p & LCF_RC5) ? "RC5" : (p & LCF_RC6) ? "RC6" : "space";
    out.frequency = r.frequency > 0 && r.frequency <= INT32_MAX ? (int32_t)r.frequency : 38000;
    for (const std::string &i : r.ignored)
        out.notes.push_back("ignored " + i);
    if (!r.errors.empty()) {
        out.why = "lircd would not read it: " + r.errors[0];
        return out;
    }
    if (!(out.why = unsupported(r)).empty())
        return out;
    bool raw = (p & LCF_RAW_CODES) != 0;
    size_t count = raw ? r.rawCodes.size() : r.codes.size();
    if (count == 0) {
        out.why = "no codes";
        return out;
    }
    std::vector<Candidate> kept;
    for (size_t i = 0; i < count; i++) {
        const std::string &name = raw ? r.rawCodes[i].name : r.codes[i].name;
        std::string why;
        if (!IMPbuttonNameOk(name)) {
            why = name.size() > IMP_MAX_NAME ? "a name longer than 30 characters"
                                             : "a name with characters outside printable ASCII";
        } else {
            // lircd takes any of several codes of one name for that button; so does a remote
            // description with several CMD lines of that name.
            std::vector<uint32_t> frame = IMPframe(r, i, &why);
            bool again = false;
            for (const Candidate &c : kept)
                again = again || (c.name == name && c.frame == frame);
            if (!frame.empty() && frame.size() > 2 * kMaxCommandTokens)
                why = std::to_string(frame.size() - 1) + " durations: more than 99 tokens";
            else if (again)
                why = "the same frame as an earlier code of this name";
            else if (!frame.empty())
                kept.push_back(Candidate { name, frame });
        }
        if (!why.empty())
            out.skipped.push_back(name + ": " + why);
    }
    // One bit time for the whole remote; a button whose extreme duration rules every bit time out
    // is left out, unless every button has it.
    while (!kept.empty()) {
        std::vector<uint32_t> all;
        for (const Candidate &c : kept)
            all.insert(all.end(), c.frame.begin(), c.frame.end() - 1);
        out.bitTime = IMPchooseBit(all, &out.worstError);
        if (out.bitTime > 0)
            break;
        uint32_t longest = *std::max_element(all.begin(), all.end());
        uint32_t shortest = *std::min_element(all.begin(), all.end());
        bool mark = false;
        std::vector<Candidate> rest;
        for (const Candidate &c : kept) {
            auto at = std::find(c.frame.begin(), c.frame.end() - 1, longest);
            if (at == c.frame.end() - 1)
                rest.push_back(c);
            else
                mark = mark || (at - c.frame.begin()) % 2 == 0;
        }
        std::string why = std::string("a duration too long for a ") + (mark ? "mark" : "space") + " ("
            + std::to_string(longest) + " us beside " + std::to_string(shortest)
            + " us: no bit time keeps both within 255 units and 10%)";
        if (rest.empty()) {
            out.why = why;
            for (const Candidate &c : kept)
                out.skipped.push_back(c.name + ": " + why);
            kept.clear();
            out.buttons.clear();
            return out;
        }
        for (const Candidate &c : kept)
            if (std::find(c.frame.begin(), c.frame.end() - 1, longest) != c.frame.end() - 1)
                out.skipped.push_back(c.name + ": " + why);
        kept.swap(rest);
    }
    std::string text = "FRQ " + std::to_string(out.frequency) + "\nBIT " + std::to_string(out.bitTime) + "\n\n";
    int used = 0;
    for (const Candidate &c : kept) {
        int size = kCommandOverhead + 2 * (int)(c.frame.size() / 2);
        if (out.buttons.size() >= IMP_MAX_BUTTONS)
            out.skipped.push_back(c.name + ": the editor lists at most 50 commands");
        else if (used + size > IMP_COMMAND_BUFFER)
            out.skipped.push_back(c.name + ": the command buffer (20000 bytes) is full");
        else {
            used += size;
            text += commandLine(c, out.bitTime);
            out.buttons.push_back(c.name);
        }
    }
    if (out.buttons.empty()) {
        out.why = out.skipped.empty() ? "no codes" : "no button could be converted (" + out.skipped[0] + ")";
        return out;
    }
    noteRepeat(r, kept[0].frame, &out);
    out.text = text;
    out.converted = true;
    return out;
}

std::vector<IMPremote> IMPconvert(const LCFfile &file)
{
    std::vector<IMPremote> out;
    std::set<std::string> names;
    for (const LCFremote &r : file.remotes) {
        IMPremote one = convertOne(r);
        std::string base = one.fileName.substr(0, one.fileName.size() - 4);
        for (int n = 2; !names.insert(lower(one.fileName)).second; n++) {
            std::string suffix = "_" + std::to_string(n);
            one.fileName = base.substr(0, IMP_MAX_FILE_BASE - suffix.size()) + suffix + ".REM";
        }
        out.push_back(one);
    }
    return out;
}
