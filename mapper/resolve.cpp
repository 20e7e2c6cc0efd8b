// Chooses the entry for the application in front and, for a pressed button, the action to perform:
// the entry's own, the global entry's, or nothing, with the reason for the log.
#include "mapper/resolve.h"

#include "mapping/mapfile.h"
#include "mapping/model.h"

// Names that never pick an entry: nothing, the global entry's name (its actions already apply to
// every application) and the default entry's reserved name (it is reached when nothing matches).
static bool matchesNothing(const std::string &name)
{
    return name.empty() || name == VQX_GLOBAL_APPL_NAME || name == VQX_DEFAULT_APPL_NAME;
}

// The first entry carrying the first front name that some entry carries, or -1.
static int namedEntry(const MTABtable &t, const std::vector<std::string> &frontNames)
{
    for (const std::string &name : frontNames) {
        if (matchesNothing(name))
            continue;
        for (size_t i = 0; i < t.entries.size(); i++)
            if ((int)i != t.globalEntry && t.entries[i].name == name)
                return (int)i;
    }
    return -1;
}

static bool validEntry(const MTABtable &t, int entry)
{
    return entry >= 0 && entry < (int)t.entries.size();
}

int RESentryFor(const MTABtable &t, const std::vector<std::string> &frontNames)
{
    int entry = namedEntry(t, frontNames);
    if (validEntry(t, entry) && !t.entries[(size_t)entry].disabled)
        return entry;
    if (validEntry(t, t.defaultEntry) && !t.entries[(size_t)t.defaultEntry].disabled)
        return t.defaultEntry;
    return -1;
}

bool RESeditorInFront(const MTABtable &t, const std::vector<std::string> &frontNames)
{
    bool editor = false;
    for (const std::string &name : frontNames)
        if (name == RES_EDITOR_NAME)
            editor = true;
    return editor && namedEntry(t, frontNames) < 0;
}

// The action entry has for button, or null.
static const MTABaction *actionOf(const MTABtable &t, int entry, int button)
{
    if (!validEntry(t, entry))
        return nullptr;
    const std::vector<int> &byButton = t.entries[(size_t)entry].actionByButton;
    if (button < 0 || button >= (int)byButton.size())
        return nullptr;
    int index = byButton[(size_t)button];
    if (index < 0 || index >= (int)t.actions.size())
        return nullptr;
    return &t.actions[(size_t)index];
}

static bool performable(const MTABaction &action)
{
    switch (action.type) {
    case kKeyEventType:
    case kAppleEventType:
    case kLaunchEventType:
    case kSysVolumeEventType:
    case kTextStringEventType:
    case kMouseEventType:
        return true;
    default:
        return false; // NO_ACTION, the never-written map switch, an empty record
    }
}

RESresult RESresolve(const MTABtable &t, const std::vector<std::string> &frontNames, int button)
{
    RESresult r { -1, nullptr, RES_UNMAPPED };
    if (RESeditorInFront(t, frontNames)) {
        r.why = RES_EDITOR;
        return r;
    }
    r.entry = RESentryFor(t, frontNames);
    const MTABaction *a = actionOf(t, r.entry, button);
    const MTABaction *g = actionOf(t, t.globalEntry, button);
    const MTABaction *chosen = nullptr;
    if (r.entry >= 0 && r.entry == t.globalEntry) {
        chosen = a;
        r.from = r.entry;
    } else if (g && !g->disabled && (!a || !a->override)) {
        chosen = g;
        r.from = t.globalEntry;
    } else if (a) {
        chosen = a;
        r.from = r.entry;
    } else if (g) {
        // The entry has nothing for the button and the global action is disabled.
        chosen = g;
        r.from = t.globalEntry;
    }
    if (!chosen) {
        r.why = RES_UNMAPPED;
    } else if (chosen->disabled) {
        r.why = RES_DISABLED;
    } else if (!performable(*chosen)) {
        r.why = RES_NO_ACTION;
    } else {
        r.action = chosen;
        r.why = r.from == r.entry ? RES_OWN : RES_GLOBAL;
    }
    return r;
}

const char *RESwhyName(RESwhy why)
{
    switch (why) {
    case RES_OWN:
        return "own";
    case RES_GLOBAL:
        return "global";
    case RES_DISABLED:
        return "disabled";
    case RES_NO_ACTION:
        return "no-action";
    case RES_UNMAPPED:
        return "unmapped";
    case RES_EDITOR:
        return "editor";
    }
    return "?";
}
