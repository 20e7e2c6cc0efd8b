// The mapping model: the application table, per-application singly linked lists of action
// records, and the event records they carry inline.
#ifndef VQX_MAPPING_MODEL_H
#define VQX_MAPPING_MODEL_H

#include <cstdint>

#include "shell/files.h"

enum {
    kKeyEventType = 1,       // "KEY"
    kAppleEventType = 2,     // "SCR", a script
    kLaunchEventType = 3,    // "LAUNCH"
    kMapSwitchEventType = 4, // "MAP", produced by no reader or writer
    kSysVolumeEventType = 5, // "VOL"
    kTextStringEventType = 6, // "TXT"
    kNoActionEventType = 7,  // "NO_ACTION"
    kMouseEventType = 8      // "MOU"
};

enum { kMaxApplications = 20 };

// Every event variant starts with these fields, in this order.
struct EventCommon {
    int32_t type;  // event type code
    char name[32]; // button name
    int32_t delay; // repeat: delay before the first repeat
    int32_t rate1; // repeat: first repeat rate
    int32_t reps;  // repeat: repeats at rate1
    int32_t rate2; // repeat: later repeat rate
};

struct KeyEvent {
    int32_t type;
    char name[32];
    int32_t delay, rate1, reps, rate2;
    uint32_t message;   // character code in bits 0-7, virtual key code in bits 8-15
    uint16_t modifiers; // 0x100 command, 0x200 shift, 0x800 option, 0x1000 control; bits 0-3 media
};

struct MouseEvent {
    int32_t type;
    char name[32];
    int32_t delay, rate1, reps, rate2;
    uint32_t message; // kind in bits 0-7, rate1 multiplier bits 8-11, rate2 multiplier bits 12-15
};

struct AppleEventEvent { // a script action
    int32_t type;
    char name[32];
    int32_t delay, rate1, reps, rate2;
    char path[1024]; // the script file's path
    FSSpec fileSpec; // the same file as a file specification, filled while reading
};

struct LaunchEvent {
    int32_t type;
    char name[32];
    int32_t delay, rate1, reps, rate2;
    char path[1024]; // application or document path
};

struct SysVolumeEvent {
    int32_t type;
    char name[32];
    int32_t delay, rate1, reps, rate2;
    char subtypeText[32]; // "SET", "CHG", "MUTE" or "FADE"
    int32_t subtype;      // 1 SET, 2 CHG, 3 MUTE, 4 FADE
    int32_t unMute;
    int32_t fadeType;
    int32_t value; // in system units
};

struct TextStringEvent {
    int32_t type;
    char name[32];
    int32_t delay, rate1, reps, rate2;
    char text[256];          // as written in the file, escapes included
    char convertedText[256]; // escapes resolved
};

enum {
    kSysVolSet = 1,
    kSysVolChg = 2,
    kSysVolMute = 3,
    kSysVolFade = 4
};

// The union of the variants; all of them begin with the common fields.
union EventRecord {
    EventCommon common;
    KeyEvent key;
    MouseEvent mouse;
    AppleEventEvent script;
    LaunchEvent launch;
    SysVolumeEvent sysVolume;
    TextStringEvent textString;
};

// One button's action within one application entry.
struct ActionRecord {
    ActionRecord *next;  // next action of the same application
    int32_t count;       // 1 whenever a record is made; carried by copies
    char *buttonName;    // the name field of this record's own event
    EventRecord *event;  // this record's own event
    int32_t spare;       // always 0
    int32_t disabled;    // "DIS" after the action
    int32_t override;    // "OVR": the application's own action is used instead of the global one
    EventRecord theEvent; // the action itself
};

struct ApplicationRecord {
    char name[32];       // "*GLOBAL*", "// : default : \\", or the application's name
    ActionRecord *first; // head of the action list
    ActionRecord *last;  // tail of the action list
    int32_t disabled;    // the whole application is disabled ("DIS" line)
};

extern ApplicationRecord theActionByApplList[kMaxApplications];
extern int32_t numApplications;
extern ApplicationRecord *theDefaultAppl;
extern ApplicationRecord *theGlobalAppl;
extern ApplicationRecord *theCurrentAppl;
extern int32_t numButtons;
extern int32_t maxNumButtons;
extern int32_t mapfileVersion;
extern int32_t mapFileError;
extern int32_t mapFileChanged;
extern int32_t showParsedCommands;

// A new action record from the heap: count 1, no next, flags and spare 0, the event zeroed and
// buttonName and event pointing into the record itself; none when memory runs out.
ActionRecord *MAPnewAction(void);
// Appends action to the application's list (numButtons and maxNumButtons follow).
void addActionToList(ApplicationRecord *appl, ActionRecord *action);
// A new independent copy of action, or none (fatal alert shown).
ActionRecord *copyAction(const ActionRecord *action);
// Adds an entry whose list copies source's (theDefaultAppl's when source is none); the new entry,
// or none when the table is full.
ApplicationRecord *createNewApplication(const char *name, const ApplicationRecord *source);
// Removes entry index and closes the gap; 0, or -1 for an index outside the table.
int deleteApplication(int index);
// Frees every action list; numApplications = 0, names stay in the slots.
void freeActionListMemory(void);
// Number of actions in the application's list (walking the next links).
int MAPlistLength(const ApplicationRecord *appl);

// The model back to its start-up state, every list freed (tests).
void MAPreset(void);

#endif
