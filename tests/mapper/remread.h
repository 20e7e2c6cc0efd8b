// Reads a remote description in the preferences folder with the editor's reader, counting every
// alert and error trace it raises, and gives its timings as the Mapper's table (tests and helpers).
#ifndef VQX_TESTS_REMREAD_H
#define VQX_TESTS_REMREAD_H

#include <string>

#include "mapper/load.h"
#include "mapper/table.h"

struct RemReadResult {
    int status = -1; // 0 when the reader took the file
    int alerts = 0; // alerts, questions and "Orvenda VQX ERROR" traces
    std::string first; // the first of them
    MTABtable table; // frequency, bit time and buttons as read
};

// `name` is a file of the preferences folder.
inline RemReadResult remRead(const char *name)
{
    LOADresult read = LOADreadRemote(name);
    RemReadResult result;
    result.status = read.status;
    result.alerts = read.alerts;
    result.first = read.why;
    result.table = read.table;
    return result;
}

#endif
