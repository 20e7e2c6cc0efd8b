// Sources of presses that are not raw timings: a running lircd ("lircd", "lircd:SOCKET") and a
// remote that is a keyboard to the kernel ("evdev:NAME", "evdev:/dev/input/eventN", "evdev:fd:N").
// Each keeps its descriptor, its watches and its reconnection on the loop's thread.
#ifndef VQX_MAPPER_SOURCES_H
#define VQX_MAPPER_SOURCES_H

#include <cstdint>
#include <functional>
#include <string>

#include "mapper/daemon.h"

struct SRCsource; // a running source, owned by whoever started it

// What a source needs of the loop that runs it.
struct SRChooks {
    DMNdaemon *daemon = nullptr; // presses and releases go here
    std::function<void()> reschedule; // something may be due sooner than the loop's timer says
    std::string *inputName = nullptr; // what the Input property shows, kept up to date
};

// True when `source` (an INT value or --input) names one of these sources.
bool SRCclaims(const std::string &source);
// Starts the source named; it waits, reconnects or reopens by itself from then on.
SRCsource *SRCstart(const std::string &source, const SRChooks &hooks);
// The lircd source on lircd's usual socket, when lircd runs now (its socket accepts); else null.
SRCsource *SRCstartLircdIfRunning(const SRChooks &hooks);
// The earliest time the source has something due (a release), INT64_MAX when nothing; null is
// no source.
int64_t SRCdeadline(const SRCsource *s);
// Does what is due by `now`.
void SRCexpire(SRCsource *s, int64_t now);
// Ends the source: its grab is let go, its descriptors closed. Null is fine.
void SRCstop(SRCsource *s);

#endif
