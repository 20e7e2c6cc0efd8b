// One-line descriptions of actions for the button list ("category TAB details"), the names of
// the repeat settings, the name of a key, and the repeat preset tables.
#ifndef VQX_MAPPING_DESCRIBE_H
#define VQX_MAPPING_DESCRIBE_H

#include <cstdint>

#include "mapping/model.h"

// Columns of a repeat preset row.
enum {
    kRepeatDelay = 0,
    kRepeatReps = 1,
    kRepeatRate1 = 2,
    kRepeatRate2 = 3,
    kRepeatRate1Multiplier = 4,
    kRepeatRate2Multiplier = 5
};

// Row 0: no preset; rows 1-3: "Slow Repeat", "Accelerate Repeat", "Fast Repeat".
extern int32_t keyRepeatDefaults[4][6];   // keystroke, script and volume actions
extern int32_t mouseRepeatDefaults[4][6]; // mouse actions

// Each returns its own static buffer (valid until its next call) or a constant text.
const char *makeButtonText(const ActionRecord *action);
const char *makeKeyEventText(const KeyEvent *key);
const char *makeMouseEventText(const MouseEvent *mouse);
const char *makeAEEventText(const AppleEventEvent *script);
const char *makeLaunchEventText(const LaunchEvent *launch);
const char *makeStringEventText(const TextStringEvent *text);
const char *makeSysVolText(const SysVolumeEvent *vol);
const char *makeKeyEventRepeatText(const KeyEvent *key);
const char *makeMouseEventRepeatText(const MouseEvent *mouse);
const char *makeAEEventRepeatText(const AppleEventEvent *script);
const char *makeSysVolRepeatText(const SysVolumeEvent *vol);
const char *returnCharText(const KeyEvent *key);

// The preset tables back to their shipped values (tests).
void DESCreset(void);

#endif
