// The Mapper's own lookup structure: the remote's buttons with their timings and every entry's
// action for every button, compiled once from the shared readers' model and never changed after.
#ifndef VQX_MAPPER_TABLE_H
#define VQX_MAPPER_TABLE_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

// One button's action in one entry, in plain values (the model's event record, flattened).
struct MTABaction {
    int32_t type = 0;         // the model's event type code (1 KEY ... 8 MOU); 0 = no action record
    int32_t delay = 0;        // repeat values, milliseconds (rate1 -1 / 0 have their special meanings)
    int32_t rate1 = 0;
    int32_t reps = 0;
    int32_t rate2 = 0;
    uint32_t message = 0;     // KEY: character and key code; MOU: kind and multipliers
    uint16_t modifiers = 0;   // KEY: modifier flags, or the media kind in bits 0-3
    std::string path;         // SCR and LAUNCH: the file
    int32_t volSubtype = 0;   // VOL: 1 SET, 2 CHG, 3 MUTE, 4 FADE
    int32_t volValue = 0;
    int32_t unMute = 0;
    int32_t fadeType = 0;
    std::string text;         // TXT: the converted text (escapes resolved)
    bool disabled = false;    // "DIS" on the action
    bool override = false;    // "OVR": the entry's own action instead of the global one
};

struct MTABentry {
    std::string name;                 // "*GLOBAL*", "// : default : \\", "" (unnamed default) or an application
    bool disabled = false;            // the whole entry is disabled
    std::vector<int> actionByButton;  // index into MTABtable::actions per remote button; -1 = none
};

struct MTABbutton {
    std::string name;             // the button's name as the remote description gives it
    std::vector<uint16_t> tokens; // CMD tokens: high byte a mark, low byte a space, in BIT units
};

struct MTABtable {
    std::string mapName;      // the mapping file in force
    std::string remName;      // the remote description in force
    std::string input;        // the configuration's INT value
    int32_t frequency = 0;    // FRQ, Hz (0 with BIT 0: a key-code remote)
    int32_t bitTime = 0;      // BIT, microseconds
    std::vector<MTABbutton> buttons;  // in remote order
    std::vector<MTABentry> entries;   // in mapping order
    std::vector<MTABaction> actions;  // every action of every entry
    int globalEntry = -1;     // index of "*GLOBAL*", or -1
    int defaultEntry = -1;    // index of the default entry, or -1
    bool keyCodes = false;    // a key-code remote: each button's one token is a Linux key code
    std::unordered_map<int, int> buttonByKey; // key-code remotes: key code -> first button with it
};

// Compiles the shared readers' model (the globals of mapping/model.h, mapping/remote.h and
// mapping/config.h, read and reconciled) into a table. Only reads the globals.
MTABtable MTABcompile(void);
// Only the remote description read: its frequency, bit time and buttons (no entries).
MTABtable MTABcompileRemote(void);
// Index of the button named `name`, or -1.
int MTABbuttonIndex(const MTABtable &table, const std::string &name);
// Index of the first button of a key-code remote whose token is the Linux key code `code`, or -1
// (always -1 for a remote of timings).
int MTABkeyButton(const MTABtable &table, int code);
// Index of the first entry named `name` exactly, or -1.
int MTABentryIndex(const MTABtable &table, const std::string &name);

#endif
