// Which action a press performs: the entry chosen for the application in front, and the choice
// between that entry's own action and the global entry's one for the pressed button.
#ifndef VQX_MAPPER_RESOLVE_H
#define VQX_MAPPER_RESOLVE_H

#include <string>
#include <vector>

#include "mapper/table.h"

// The editor's own executable, desktop entry id and window class.
#define RES_EDITOR_NAME "vqx-map-editor"

enum RESwhy {
    RES_OWN, // the entry's own action is performed (the global entry's own when it is the entry)
    RES_GLOBAL, // the global entry's action is performed in place of the entry's
    RES_DISABLED, // the action chosen carries the disable flag: nothing
    RES_NO_ACTION, // the action chosen is a NO_ACTION (or a type nothing performs): nothing
    RES_UNMAPPED, // neither the entry nor the global entry has an action for the button: nothing
    RES_EDITOR // the editor is in front with no entry of its own: the press is only reported
};

struct RESresult {
    int entry = -1; // the entry E the front application resolved to; -1 for none
    const MTABaction *action = nullptr; // what to perform (points into the table), null when nothing
    RESwhy why = RES_UNMAPPED;
    int from = -1; // the entry whose action the rule chose (even one that does nothing), or -1
};

// The entry E for the front application's names (in order of precedence): the first name some
// entry carries exactly; none, or E disabled: the default entry; if that is disabled too (or there
// is none): -1 (only the global entry applies). The global entry is never chosen by name, and empty
// names and the default entry's reserved name match nothing.
int RESentryFor(const MTABtable &t, const std::vector<std::string> &frontNames);
// True when one of the front names is the editor's and no entry carries any of the front names.
bool RESeditorInFront(const MTABtable &t, const std::vector<std::string> &frontNames);
// The action button (an index into t.buttons, -1 for a button the remote lacks) performs with
// that application in front. With the editor in front (RESeditorInFront) the entry is -1. The global
// entry's actions apply whether or not the entry itself is marked disabled: the editor offers no
// way to disable it and lists its actions as in force.
RESresult RESresolve(const MTABtable &t, const std::vector<std::string> &frontNames, int button);
// A short word for logs: "own", "global", "disabled", "no-action", "unmapped", "editor".
const char *RESwhyName(RESwhy why);

#endif
