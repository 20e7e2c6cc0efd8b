// Shared set-up of the fuzz targets: a private preferences folder, a silent presenter, traces
// sent nowhere, and working files served from memory, so that a reader can be fed any bytes as
// one of its files without a file being written for each run (and saves skip their disk syncs).
#ifndef VQX_FUZZ_SUPPORT_H
#define VQX_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <string>

// Prepares the process once (idempotent): preferences folder, program path, presenter.
void FUZZinit();
// The preferences folder in use.
const std::string &FUZZprefsFolder();
// Writes the bytes as file `name` of the preferences folder.
void FUZZwriteFile(const char *name, const uint8_t *data, size_t size);
// From now on, opening working file `name` for reading gives a stream on these bytes (kept by the
// caller until the next call for the same name); at most four names.
void FUZZserveFile(const char *name, const uint8_t *data, size_t size);
// A descriptor kept open for the whole run, holding exactly these bytes, positioned at the start.
int FUZZkeptOpenFile(const uint8_t *data, size_t size);

#endif
