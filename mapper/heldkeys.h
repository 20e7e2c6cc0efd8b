// The keys and pointer buttons the X output holds down, kept in a small file per X display, so
// that a Mapper started after one that died (SIGKILL, a crash) can let them go in the X server.
#ifndef VQX_MAPPER_HELDKEYS_H
#define VQX_MAPPER_HELDKEYS_H

#include <cstddef>
#include <set>
#include <string>

struct HLDlist {
    std::set<int> keys; // X key codes, 8-255
    std::set<int> buttons; // X pointer buttons, 1-31
    bool operator==(const HLDlist &other) const { return keys == other.keys && buttons == other.buttons; }
    bool empty() const { return keys.empty() && buttons.empty(); }
};

// The file for the X display `display` ("vqx-mapper-held-:1"), in $XDG_RUNTIME_DIR, else in
// /tmp/vqx-mapper-UID (made private to the user here); "" when no safe folder can be had.
std::string HLDpath(const char *display);
// The file's text: a comment line, then "key N" and "button N", one a line.
std::string HLDformat(const HLDlist &list, const char *display);
// Reads such a text; comments, blank lines, unknown words and values out of range are skipped.
// Returns the number of lines skipped that were neither comments nor blank.
int HLDparse(const char *text, size_t length, HLDlist *out);
// Writes the list to `path` (through a file renamed in place, so that a reader never sees half
// of it); an empty list removes the file. False when it cannot be written.
bool HLDsave(const std::string &path, const HLDlist &list, const char *display);
// Reads the file at `path` (at most its first 64 KB); an empty list when there is none.
HLDlist HLDload(const std::string &path);

#endif
