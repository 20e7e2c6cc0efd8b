// The remote description (.REM) reader: carrier frequency, bit time and the remote's buttons as
// command records packed back to back in the command buffer, with their length statistics.
#ifndef VQX_MAPPING_REMOTE_H
#define VQX_MAPPING_REMOTE_H

#include <cstdint>
#include <cstdio>

enum {
    kMaxCommandTokens = 99,     // a command holds 1 to 99 tokens
    kCommandNameSize = 36,      // name field of a command record
    kCommandFixedSize = 44,     // next, name and count
    kCommandSpareSize = 2,      // spare bytes behind the tokens
    kCommandOverhead = kCommandFixedSize + kCommandSpareSize // 46: size = 46 + 2 x count
};

struct RemoteParmsRecord {
    int32_t frequency; // carrier frequency (FRQ)
    int32_t bitTime;   // bit time (BIT)
};

// A command record as it lies in the command buffer: the fixed part is followed directly by
// `count` 16-bit tokens and two spare bytes. The link is the offset of the following record from
// the start of the buffer (0 for none: the first record is never anybody's successor), so that a
// record keeps its size of 46 + 2 x count bytes whatever the size of a pointer. Records sit at
// any even offset, so the struct is packed; read the tokens with CMDtoken.
#pragma pack(push, 1)
struct CommandRecord {
    uint32_t next;                // offset of the following record in cmdBuf; 0 = none
    char name[kCommandNameSize];  // button name, a token of at most 30 characters
    int32_t count;                // token count, 1 to 99
};
#pragma pack(pop)
static_assert(sizeof(CommandRecord) == kCommandFixedSize, "command record fixed part");

extern RemoteParmsRecord RemoteParms;
extern char *cmdBuf;                     // the command buffer (cmdBufMemory)
extern int32_t cmdBufLen;                // its size in bytes (cmdBufMemoryLen)
extern char *cmdAssemblyPtr;             // first free byte of the buffer
extern CommandRecord *lastCmd;           // last record stored, or none
extern int32_t maximumCommandLengthToken; // largest token count
extern int32_t minimumCommandLengthToken; // smallest token count (100 before any command)
extern int32_t averageCommandLengthToken; // (max + min) / 2
extern int32_t maximumCommandLengthBits;  // largest command length in bit times

int parseRemFile(const char *name);
int changeRemFile(const char *name);
void getCmdMemory(char **buffer, int32_t *length);
void evaluateRemSds(FILE *stream, char *token);
void assembleCommand(FILE *stream, char *tokenBuffer);
// record points at an assembled record (fixed part followed by its tokens); it is copied into the
// command buffer.
void addCommandToList(CommandRecord *record, int32_t count, int32_t bits);
void flushTokensToEOL(FILE *stream, char *buffer);

// Walking the command list in file order: the first record (none when no command is stored), the
// record after cmd (none after the last), and token i (0 <= i < count) of cmd.
CommandRecord *REMfirstCommand(void);
CommandRecord *REMnextCommand(const CommandRecord *cmd);
uint16_t CMDtoken(const CommandRecord *cmd, int i);
// Number of commands in the list.
int REMcommandCount(void);

// Forgets the command list and the statistics (tests).
void REMreset(void);

#endif
