// The global configuration file "OrvendaVQX.cfg", shared with the Mapper: the current mapping and
// remote description, the adapter, the command buffer's size and a debug switch.
#ifndef VQX_MAPPING_CONFIG_H
#define VQX_MAPPING_CONFIG_H

#include <cstdint>
#include <cstdio>

#define VQX_CONFIG_FILE_NAME "OrvendaVQX.cfg"

// The names hold up to 32 characters as read, plus the terminating zero.
extern char mapFileName[33];
extern char remFileName[33];
extern char adapterName[33];
extern int32_t cmdBufMemoryLen;
extern int32_t cfgFormatVersion;
extern int32_t debugToFile;
extern char *cmdBufMemory;

int readGlobalConfiguration(void);
void readCfgItem(FILE *stream, char *keyword);
int writeGlobalConfiguration(void);

// Back to the values before any read, the command buffer freed (tests).
void CFGreset(void);

#endif
