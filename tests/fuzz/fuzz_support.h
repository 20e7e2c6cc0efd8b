// Shared set-up of the fuzz targets: a private preferences folder, a silent presenter, and
// traces sent nowhere, so that a reader can be fed any bytes as one of its files.
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

#endif
