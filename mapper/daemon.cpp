// Turns samples and named presses into button presses and releases, reports each to the editor,
// picks the action for the application in front, and keeps the repeat engine and decoder in step.
#include "mapper/daemon.h"

#include <climits>
#include <ctime>

#include "mapper/log.h"
#include "mapper/resolve.h"
#include "mapperlink/notify.h"

int64_t DMNclock(void)
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (int64_t)ts.tv_sec * 1000000 + ts.tv_nsec / 1000;
}

void DMNinit(DMNdaemon *d, OUTsink *sink)
{
    d->sink = sink;
    d->haveTable = false;
    d->held = -1;
    DECinit(&d->decoder, d->table, d->releaseAfterUs);
}

static const char *entryLabel(const MTABtable &t, int entry)
{
    if (entry < 0 || entry >= (int)t.entries.size())
        return "*GLOBAL*";
    const std::string &name = t.entries[(size_t)entry].name;
    return name.empty() ? "(unnamed default)" : name.c_str();
}

std::string DMNentryName(const DMNdaemon *d)
{
    if (!d->haveTable)
        return "";
    return entryLabel(d->table, RESentryFor(d->table, d->front));
}

// Tells the editor: "DWN <name>" or "UPP <name>" on service "button".
static void report(const char *what, const std::string &button)
{
    std::string message = std::string(what) + " " + button;
    NOTpost("button", message.c_str());
}

void DMNbuttonDown(DMNdaemon *d, int button, int64_t now)
{
    if (button < 0 || button >= (int)d->table.buttons.size())
        return;
    if (d->held >= 0)
        DMNbuttonUp(d, d->held, now);
    d->held = button;
    d->presses++;
    const std::string &name = d->table.buttons[(size_t)button].name;
    report("DWN", name);
    RESresult r = RESresolve(d->table, d->front, button);
    LOGtrace("press %s: entry %s, %s", name.c_str(), entryLabel(d->table, r.entry), RESwhyName(r.why));
    if (r.action)
        REPpress(&d->repeat, *r.action, now, d->sink);
}

void DMNbuttonUp(DMNdaemon *d, int button, int64_t now)
{
    if (button < 0 || button != d->held)
        return;
    REPrelease(&d->repeat, now, d->sink);
    d->held = -1;
    const std::string &name = d->table.buttons[(size_t)button].name;
    report("UPP", name);
    LOGtrace("release %s", name.c_str());
}

static void handleEvents(DMNdaemon *d, const std::vector<DECevent> &events)
{
    for (const DECevent &e : events) {
        if (e.kind == DECevent::PRESS) {
            LOGtrace("frame matched: %s", d->table.buttons[(size_t)e.button].name.c_str());
            DMNbuttonDown(d, e.button, e.time);
        } else {
            DMNbuttonUp(d, e.button, e.time);
        }
    }
}

void DMNsample(DMNdaemon *d, const SMPsample &sample, int64_t now)
{
    // Anything due before this edge happens first, at its own time.
    DMNexpire(d, now);
    std::vector<DECevent> events;
    // Silence as long as the release time, reported in one piece (a burst of samples read at
    // once), lets go of the held button as the deadline would have.
    if ((sample.kind == SMP_SPACE || sample.kind == SMP_TIMEOUT) && (int64_t)sample.value >= d->releaseAfterUs
        && DECheld(&d->decoder) >= 0)
        DECreleaseHeld(&d->decoder, now, &events);
    switch (sample.kind) {
    case SMP_PULSE:
    case SMP_SPACE:
        DECfeed(&d->decoder, sample.kind == SMP_PULSE, sample.value, now, &events);
        break;
    case SMP_FREQUENCY:
        if (DECcarrierHint(&d->decoder, sample.value))
            LOGinfo("input: the receiver measured a carrier of %u Hz, but the remote description says %d Hz",
                sample.value, (int)d->table.frequency);
        break;
    default:
        break;
    }
    handleEvents(d, events);
}

int DMNpressName(DMNdaemon *d, const std::string &button, int64_t now)
{
    int index = MTABbuttonIndex(d->table, button);
    if (index < 0)
        return -1;
    DMNexpire(d, now);
    // A press from the bus takes over from the receiver: the decoder forgets its held button.
    std::vector<DECevent> events;
    DECreleaseHeld(&d->decoder, now, &events);
    handleEvents(d, events);
    DMNbuttonDown(d, index, now);
    return 0;
}

int DMNreleaseName(DMNdaemon *d, const std::string &button, int64_t now)
{
    int index = MTABbuttonIndex(d->table, button);
    if (index < 0)
        return -1;
    DMNexpire(d, now);
    DMNbuttonUp(d, index, now);
    return 0;
}

void DMNsetFront(DMNdaemon *d, const std::vector<std::string> &names)
{
    if (names == d->front)
        return;
    d->front = names;
    std::string joined;
    for (const std::string &n : names)
        joined += (joined.empty() ? "" : ", ") + n;
    LOGtrace("front application: %s (entry %s)", joined.empty() ? "(none)" : joined.c_str(), DMNentryName(d).c_str());
}

int64_t DMNdeadline(const DMNdaemon *d)
{
    int64_t a = DECdeadline(&d->decoder);
    int64_t b = REPdeadline(&d->repeat);
    return a < b ? a : b;
}

void DMNexpire(DMNdaemon *d, int64_t now)
{
    for (;;) {
        int64_t decoderDue = DECdeadline(&d->decoder);
        int64_t repeatDue = REPdeadline(&d->repeat);
        if (decoderDue > now && repeatDue > now)
            return;
        if (repeatDue <= decoderDue) {
            REPexpire(&d->repeat, repeatDue, d->sink);
        } else {
            std::vector<DECevent> events;
            DECexpire(&d->decoder, decoderDue, &events);
            handleEvents(d, events);
        }
    }
}

void DMNreleaseAll(DMNdaemon *d, int64_t now)
{
    std::vector<DECevent> events;
    DECreleaseHeld(&d->decoder, now, &events);
    handleEvents(d, events);
    if (d->held >= 0)
        DMNbuttonUp(d, d->held, now);
    if (d->sink)
        d->sink->releaseAll(now);
}

bool DMNfilesChanged(const DMNdaemon *d)
{
    return !(LOADcurrentSignature(d->table) == d->signature);
}

int DMNload(DMNdaemon *d, int64_t now, const char *reason)
{
    // A held button ends before its action can change under it (and whether or not it does).
    DMNreleaseAll(d, now);
    int64_t started = DMNclock();
    LOADresult r = LOADread();
    bool usable = r.status == 0 && (r.alerts == 0 || !d->haveTable);
    if (!usable) {
        if (d->haveTable)
            LOGinfo("reload (%s) failed: %s; the mapping %s stays in force", reason, r.why.c_str(),
                d->table.mapName.c_str());
        else
            LOGinfo(
                "no mapping (%s): %s; presses are only reported until the files can be read", reason, r.why.c_str());
        // Remember what failed so that the same files are not read again and again.
        if (!d->haveTable)
            d->signature = r.signature;
        return -1;
    }
    if (r.alerts > 0)
        LOGinfo("the mapping was read with %d message(s); what could be read is in force", r.alerts);
    d->table = std::move(r.table);
    d->signature = r.signature;
    d->haveTable = true;
    DECinit(&d->decoder, d->table, d->releaseAfterUs);
    d->repeat = REPstate();
    LOGinfo("mapping %s with remote %s in force (%s) in %.2f ms: %zu buttons, %zu entries", d->table.mapName.c_str(),
        d->table.remName.c_str(), reason, (double)(DMNclock() - started) / 1000.0, d->table.buttons.size(),
        d->table.entries.size());
    return 0;
}
