// Frames, repeat bursts and jitter made from a remote description, written as durations or as
// the replay text that `mode2` prints.
#include "mapper/synth.h"

#include <cmath>

std::vector<uint32_t> SYNframe(const MTABtable &t, int button)
{
    std::vector<uint32_t> out;
    if (t.bitTime <= 0 || button < 0 || (size_t)button >= t.buttons.size())
        return out;
    // Units first (marks at even positions), then µs, so that joined halves stay exact.
    std::vector<uint64_t> units;
    for (uint16_t token : t.buttons[(size_t)button].tokens) {
        uint64_t halves[2] = { (uint64_t)(token >> 8), (uint64_t)(token & 0xFF) };
        for (int h = 0; h < 2; h++) {
            if (halves[h] == 0)
                continue;
            bool mark = h == 0;
            if (!units.empty() && (units.size() % 2 == 1) == mark)
                units.back() += halves[h];
            else if (mark || !units.empty())
                units.push_back(halves[h]);
        }
    }
    for (uint64_t u : units) {
        uint64_t us = u * (uint64_t)t.bitTime;
        out.push_back(us > UINT32_MAX ? UINT32_MAX : (uint32_t)us);
    }
    return out;
}

std::vector<uint32_t> SYNrepeatBurst(const MTABtable &t, int button)
{
    std::vector<uint32_t> frame = SYNframe(t, button);
    std::vector<uint32_t> out;
    if (frame.size() < 2)
        return out;
    uint64_t total = 0, shortest = frame[0];
    for (size_t i = 0; i < frame.size(); i++) {
        total += frame[i];
        if (i % 2 == 0 && frame[i] < shortest)
            shortest = frame[i];
    }
    out.push_back(frame[0]);
    out.push_back(frame[1] / 2);
    out.push_back((uint32_t)shortest);
    uint64_t used = (uint64_t)out[0] + out[1] + out[2];
    uint64_t gap = total > used + frame.back() ? total - used : frame.back();
    out.push_back(gap > UINT32_MAX ? UINT32_MAX : (uint32_t)gap);
    return out;
}

void SYNjitter(std::vector<uint32_t> *durations, double fraction, uint32_t seed)
{
    // xorshift32: small, and the same sequence on every platform and library.
    uint32_t state = seed ? seed : 0x9E3779B9u;
    for (uint32_t &d : *durations) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        double r = ((double)state / 4294967295.0) * 2.0 - 1.0; // [-1, 1]
        double v = std::round((double)d * (1.0 + r * fraction));
        if (v < 1)
            v = 1;
        if (v > 4294967295.0)
            v = 4294967295.0;
        d = (uint32_t)v;
    }
}

std::string SYNtext(const std::vector<uint32_t> &durations)
{
    std::string text;
    for (size_t i = 0; i < durations.size(); i++) {
        text += i % 2 == 0 ? "pulse " : "space ";
        text += std::to_string(durations[i]);
        text += '\n';
    }
    return text;
}
