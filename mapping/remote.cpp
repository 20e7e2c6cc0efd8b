// Reads a remote description file: FRQ and BIT lines into RemoteParms, each CMD line into a
// command record appended to the command buffer, and the length statistics of the commands.
#include "mapping/remote.h"

#include <cstdlib>
#include <cstring>

#include "mapping/alerttext.h"
#include "mapping/config.h"
#include "mapping/tokens.h"
#include "shell/diagnostics.h"
#include "shell/files.h"

RemoteParmsRecord RemoteParms;         // frequency and bit time of the current remote
char *cmdBuf;                          // the command buffer the records are packed into
int32_t cmdBufLen;                     // its size in bytes
char *cmdAssemblyPtr;                  // first free byte of cmdBuf
CommandRecord *lastCmd;                // last command stored, or none
int32_t maximumCommandLengthToken;     // largest token count of a command
int32_t minimumCommandLengthToken = 100; // smallest token count of a command
int32_t averageCommandLengthToken;     // (max + min) / 2, truncated
int32_t maximumCommandLengthBits;      // largest command length in bit times

// A command being assembled: the fixed part, room for the 100 tokens the loop counts to, and the
// spare bytes, contiguous so that the first 46 + 2 x count bytes are the record as stored.
struct AssembledCommand {
    CommandRecord head;
    uint16_t tokens[kMaxCommandTokens + 1];
    uint16_t spare;
};

void REMreset(void)
{
    RemoteParms.frequency = RemoteParms.bitTime = 0;
    cmdBuf = nullptr;
    cmdBufLen = 0;
    cmdAssemblyPtr = nullptr;
    lastCmd = nullptr;
    maximumCommandLengthToken = 0;
    minimumCommandLengthToken = 100;
    averageCommandLengthToken = 0;
    maximumCommandLengthBits = 0;
}

void getCmdMemory(char **buffer, int32_t *length)
{
    *buffer = cmdBufMemory;
    *length = cmdBufMemoryLen;
}

CommandRecord *REMfirstCommand(void)
{
    // A buffer handed out again by a later configuration read no longer holds this list.
    if (!lastCmd || !cmdBuf || cmdBuf != cmdBufMemory)
        return nullptr;
    return reinterpret_cast<CommandRecord *>(cmdBuf);
}

CommandRecord *REMnextCommand(const CommandRecord *cmd)
{
    if (!cmd || cmd->next == 0)
        return nullptr;
    return reinterpret_cast<CommandRecord *>(cmdBuf + cmd->next);
}

uint16_t CMDtoken(const CommandRecord *cmd, int i)
{
    uint16_t value;
    memcpy(&value, reinterpret_cast<const char *>(cmd) + kCommandFixedSize + 2 * i, sizeof value);
    return value;
}

int REMcommandCount(void)
{
    int n = 0;
    for (CommandRecord *cmd = REMfirstCommand(); cmd; cmd = REMnextCommand(cmd))
        n++;
    return n;
}

void flushTokensToEOL(FILE *stream, char *buffer)
{
    while (UTILgetSpaceDelimitedString(stream, buffer) >= 0)
        BUGprintf("%s, ", buffer);
}

void addCommandToList(CommandRecord *record, int32_t count, int32_t bits)
{
    int32_t size = kCommandOverhead + 2 * count;
    long room = cmdBuf ? (long)cmdBufLen - (long)(cmdAssemblyPtr - cmdBuf) : 0;
    if (size > room) {
        BUGprintf("Orvenda VQX ERROR: not enough room for commands");
        return;
    }
    if (count > maximumCommandLengthToken)
        maximumCommandLengthToken = count;
    if (count < minimumCommandLengthToken)
        minimumCommandLengthToken = count;
    if (bits > maximumCommandLengthBits)
        maximumCommandLengthBits = bits;
    record->count = count;
    record->next = 0;
    memcpy(cmdAssemblyPtr, record, (size_t)size);
    if (lastCmd)
        lastCmd->next = (uint32_t)(cmdAssemblyPtr - cmdBuf);
    lastCmd = reinterpret_cast<CommandRecord *>(cmdAssemblyPtr);
    cmdAssemblyPtr += size;
}

// "%x" of one token; 1 when it scanned. Values past 32 bits come back as out of range.
static int scanHexToken(const char *token, unsigned long *value)
{
    char *end;
    *value = strtoul(token, &end, 16);
    return end != token;
}

void assembleCommand(FILE *stream, char *tokenBuffer)
{
    AssembledCommand cmd;
    memset(&cmd, 0, sizeof cmd);
    if (UTILgetSpaceDelimitedString(stream, cmd.head.name) < 0) {
        // CMD alone on its line: no name, no tokens.
        cmd.head.name[0] = '\0';
        BUGprintf("Orvenda VQX ERROR: command in .REM file ended early");
        return;
    }
    int32_t count = 0;
    int32_t bits = 0;
    for (;;) {
        tokenBuffer[0] = '\0';
        if (UTILgetSpaceDelimitedString(stream, tokenBuffer) < 0) {
            if (count > 0)
                addCommandToList(&cmd.head, count, bits);
            else
                BUGprintf("Orvenda VQX ERROR: command in .REM file ended early");
            return;
        }
        unsigned long value;
        if (!scanHexToken(tokenBuffer, &value)) {
            BUGprintf("Orvenda VQX ERROR: non-numeric token [%s] in .REM file", tokenBuffer);
            return;
        }
        if (value > 65535) {
            BUGprintf("Orvenda VQX ERROR: token out of range [%s] in .REM file", tokenBuffer);
            return;
        }
        bits += (int32_t)((value >> 8) + (value & 255));
        cmd.tokens[count++] = (uint16_t)value;
        if (count >= kMaxCommandTokens + 1) {
            BUGprintf("Orvenda VQX ERROR: too many tokens in CMD in .REM file");
            return;
        }
    }
}

// FRQ and BIT: the next token must classify as a plain number; it is scanned with "%ld".
static void readRemoteNumber(FILE *stream, int32_t *dest, const char *failure)
{
    char value[32];
    value[0] = '\0';
    if (UTILgetSpaceDelimitedString(stream, value) == 1) {
        char *end;
        long number = strtol(value, &end, 10);
        if (end != value)
            *dest = (int32_t)number;
        return;
    }
    VQXALERTprintfFATAL(failure, MAPalertArg(value));
}

void evaluateRemSds(FILE *stream, char *token)
{
    if (strcmp(token, "FRQ") == 0) {
        readRemoteNumber(stream, &RemoteParms.frequency,
                         "Fatal error: invalid frequency [%s] in configuration file; cannot continue...");
    } else if (strcmp(token, "BIT") == 0) {
        readRemoteNumber(stream, &RemoteParms.bitTime,
                         "Fatal error: inval invalid bit-time [%s] in configuration file; cannot continue");
    } else if (strcmp(token, "CMD") == 0) {
        assembleCommand(stream, token);
    } else {
        BUGprintfNR("Orvenda VQX ERROR: unknown token [%s] in .REM file ( ", token);
        flushTokensToEOL(stream, token);
        BUGprintf(")");
    }
}

int parseRemFile(const char *name)
{
    maximumCommandLengthToken = 0;
    minimumCommandLengthToken = 100;
    maximumCommandLengthBits = 0;
    getCmdMemory(&cmdBuf, &cmdBufLen);
    lastCmd = nullptr;
    cmdAssemblyPtr = cmdBuf;
    FILE *stream = VQXFILESopenPrefsFile(name, "r", 0);
    if (!stream) {
        VQXALERTprintfFATAL("Remote description file %s cannot be opened; cannot continue...", MAPalertArg(name));
        return -1;
    }
    char token[32];
    int result;
    while ((result = UTILgetSpaceDelimitedString(stream, token)) != UTIL_EOF) {
        if (result != UTIL_EOL)
            evaluateRemSds(stream, token);
    }
    fclose(stream);
    averageCommandLengthToken = (maximumCommandLengthToken + minimumCommandLengthToken) / 2;
    return 0;
}

int changeRemFile(const char *name)
{
    snprintf(remFileName, sizeof remFileName, "%s", name);
    writeGlobalConfiguration();
    return parseRemFile(remFileName);
}
