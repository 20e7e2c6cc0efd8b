// The script runner: loads a script file (a compiled Lua chunk kept in the file's extended
// attribute, a compiled chunk in the file, or Lua source), runs it and disposes of it.
#ifndef VQX_MAPPERLINK_SCRIPT_H
#define VQX_MAPPERLINK_SCRIPT_H

#include <cstdint>

#include "shell/files.h"

struct lua_State;

typedef int32_t OSAID; // a loaded script; 0 is the null script

// The extended attribute that plays the compiled-script resource 128 of a script file.
#define SCRIPT_RESOURCE_ATTRIBUTE "user.vqx.scpt.128"

// Result codes of the script component.
enum {
    kScriptNoMemory = -108,      // the interpreter ran out of memory
    kScriptCorruptData = -1702,  // not a compiled chunk this interpreter accepts
    kScriptInvalidID = -1751,    // no such loaded script
    kScriptRunError = -1753,     // the script stopped with an error
    kScriptNoComponent = -1762,  // the interpreter could not be created
    kScriptSyntaxError = -2740   // the source text does not compile
};

extern lua_State *scriptingComponent; // the interpreter, created on first use and kept

int LoadScript(const FSSpec *fileSpec, OSAID *scriptID);
int ExecuteScript(OSAID scriptID);
int DisposeScript(OSAID scriptID);
// Loads the compiled chunk of the resource attribute of the open file `resFile`, which it closes.
int LoadScriptFromResFile(int resFile, OSAID *scriptID);
int tryLoad(const char *data, long size, OSAID *scriptID);
int tryCompile(const char *data, long size, OSAID *scriptID);
int callback(void);

// Closes the interpreter and forgets every script (tests).
void SCRIPTreset(void);

#endif
