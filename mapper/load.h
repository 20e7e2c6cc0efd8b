// Reading the three files for the Mapper: the configuration, the remote description and the
// mapping, with the editor's readers in the editor's order, compiled into the Mapper's table.
#ifndef VQX_MAPPER_LOAD_H
#define VQX_MAPPER_LOAD_H

#include <string>

#include "mapper/table.h"

// What identifies the files as read: a changed file changes it.
struct LOADsignature {
    std::string text; // name, inode, size and modification time of each file
    bool operator==(const LOADsignature &other) const { return text == other.text; }
};

struct LOADresult {
    int status = -1; // 0: read (perhaps with alerts); -1: a reader failed
    int alerts = 0; // messages the readers raised while reading
    std::string why; // the first message, or the failure
    MTABtable table; // the compiled mapping when status is 0
    LOADsignature signature;
};

// Reads everything from the preferences folder as the editor's start-up does and compiles it.
// The readers' messages go to the log, never to a dialog.
LOADresult LOADread(void);
// Reads one remote description of the preferences folder alone, with the editor's reader and a
// command buffer of the size a configuration without MEM gives (20000 bytes): its timings and
// buttons in the table, its messages counted (and logged) as LOADread counts them.
LOADresult LOADreadRemote(const char *name);
// The signature of the three files named by the configuration now on disk.
LOADsignature LOADcurrentSignature(const MTABtable &table);

#endif
