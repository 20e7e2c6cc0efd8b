// Converting lircd.conf remotes into remote descriptions (.REM text): each button's frame built as
// lircd would send it, a bit time that holds every duration, and what could not be converted.
#ifndef VQX_MAPPER_IMPORT_H
#define VQX_MAPPER_IMPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "mapper/lircdconf.h"

enum {
    IMP_MAX_BUTTONS = 50, // the editor lists at most 50 commands of a remote
    IMP_MAX_NAME = 30, // a button name is one token of at most 30 characters
    IMP_MAX_FILE_BASE = 28, // the configuration keeps 32 characters of a file name: 28 + ".REM"
    IMP_COMMAND_BUFFER = 20000 // the command buffer's size when the configuration gives none
};

// One converted remote, or the reason it was not.
struct IMPremote {
    std::string remoteName; // as lircd names it
    std::string fileName; // NAME.REM, made safe for a file name
    bool converted = false;
    std::string why; // when not converted
    int32_t frequency = 0; // FRQ, Hz
    int32_t bitTime = 0; // BIT, µs
    double worstError = 0; // largest relative error of a duration written in BIT units
    std::string encoding; // "space", "RC5", "RC6" or "raw"
    std::vector<std::string> buttons; // names written, in order
    std::vector<std::string> skipped; // "NAME: reason", buttons left out
    std::vector<std::string> notes; // what the user should know (repeat burst, ignored lines)
    std::string text; // the .REM file's content
};

// The durations in µs of one press of button `index` of remote `r` as lircd sends it: pulse
// first, same kinds joined, ending with the trailing gap (a space). Empty with *why set when the
// button cannot be sent (bad timings, unsupported encoding).
std::vector<uint32_t> IMPframe(const LCFremote &r, size_t index, std::string *why);
// lircd's repeat burst of remote `r` (pulse first, without the trailing gap), empty without one.
std::vector<uint32_t> IMPrepeatBurst(const LCFremote &r);
// The bit time (µs) that writes every duration as 1 to 255 units within 10% with the smallest
// largest error (ties: the larger bit time); 0 when there is none. *error gets that error.
int32_t IMPchooseBit(const std::vector<uint32_t> &durations, double *error);
// A file name for remote `name`: letters, digits, '.', '_', '+' and '-' are kept, every other byte
// (blank, '/', control, non-ASCII ...) becomes '_', a leading '.' too; at most 28 characters, then
// ".REM". An empty name gives "remote.REM".
std::string IMPfileName(const std::string &name);
// Whether `name` can be a button name: 1 to 30 printable ASCII characters without blanks.
bool IMPbuttonNameOk(const std::string &name);
// Converts every remote of the file, in order; file names are unique among them (a suffix _2,
// _3 ... is added, case ignored).
std::vector<IMPremote> IMPconvert(const LCFfile &file);

#endif
