// The output interface's shared parts: its destructor and the one-line description of a step.
#include "mapper/output.h"

#include <cstdio>

OUTsink::~OUTsink() = default;

std::string OUTdescribe(const OUTstep &step)
{
    char line[1200];
    const MTABaction *a = step.action;
    switch (step.kind) {
    case OUT_KEY_TAP:
    case OUT_KEY_DOWN:
    case OUT_KEY_UP:
        snprintf(line, sizeof line, "%s %08x %04x",
            step.kind == OUT_KEY_TAP        ? "KEY_TAP"
                : step.kind == OUT_KEY_DOWN ? "KEY_DOWN"
                                            : "KEY_UP",
            a ? (unsigned)a->message : 0u, a ? (unsigned)a->modifiers : 0u);
        break;
    case OUT_MOUSE:
        snprintf(line, sizeof line, "MOUSE %u %d", a ? (unsigned)(a->message & 0xFF) : 0u, (int)step.pixels);
        break;
    case OUT_TEXT:
        snprintf(line, sizeof line, "TEXT %zu", a ? a->text.size() : (size_t)0);
        break;
    case OUT_VOLUME:
        snprintf(line, sizeof line, "VOLUME %d %d %d %d", a ? (int)a->volSubtype : 0, a ? (int)a->volValue : 0,
            a ? (int)a->unMute : 0, a ? (int)a->fadeType : 0);
        break;
    case OUT_SCRIPT:
        snprintf(line, sizeof line, "SCRIPT %s", a ? a->path.c_str() : "");
        break;
    case OUT_LAUNCH:
        snprintf(line, sizeof line, "LAUNCH %s", a ? a->path.c_str() : "");
        break;
    default:
        snprintf(line, sizeof line, "STEP %d", (int)step.kind);
        break;
    }
    if (step.repeat > 0) {
        std::string out(line);
        return out + " repeat " + std::to_string(step.repeat);
    }
    return line;
}
