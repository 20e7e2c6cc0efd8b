// The script runner over an embedded Lua 5.4 interpreter: a compiled script is a Lua binary chunk,
// source is Lua text, a script ID is a registry reference to the loaded chunk.
#include "mapperlink/script.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}

#include "mapperlink/mapperapi.h"
#include "shell/diagnostics.h"

lua_State *scriptingComponent; // the interpreter, once made

static std::set<OSAID> liveScripts;          // IDs that hold a chunk or a result value now
static std::string chunkName = "=script";    // name the interpreter gives in its messages
static std::string loadMessage, compileMessage; // the interpreter's words on the last failures

// vqx.alert(text): shows the text to the user as an alert.
static int vqxAlert(lua_State *L)
{
    errormsg("%s", luaL_checkstring(L, 1));
    return 0;
}

// vqx.log(text): writes the text to the trace.
static int vqxLog(lua_State *L)
{
    BUGprintf("%s", luaL_checkstring(L, 1));
    return 0;
}

// A script that asks to end the process would end the editor with it: refused as an error.
static int refuseExit(lua_State *L)
{
    return luaL_error(L, "os.exit is not available to scripts run by the editor");
}

// The interpreter with the standard libraries and the "vqx" table.
static lua_State *OpenDefaultComponent(void)
{
    lua_State *L = luaL_newstate();
    if (!L)
        return nullptr;
    luaL_openlibs(L);
    static const luaL_Reg vqx[] = {{"alert", vqxAlert}, {"log", vqxLog}, {nullptr, nullptr}};
    luaL_newlib(L, vqx);
    lua_setglobal(L, "vqx");
    lua_getglobal(L, "os");
    lua_pushcfunction(L, refuseExit);
    lua_setfield(L, -2, "exit");
    lua_pop(L, 1);
    return L;
}

static void openComponent(void)
{
    if (scriptingComponent)
        return;
    scriptingComponent = OpenDefaultComponent();
    if (!scriptingComponent)
        BUGprintf("Orvenda VQX ERROR: OpenDefaultComponent() ERROR, returned NULL");
}

static int osaDispose(OSAID scriptID)
{
    if (!scriptingComponent)
        return kScriptNoComponent;
    if (!liveScripts.erase(scriptID))
        return kScriptInvalidID;
    luaL_unref(scriptingComponent, LUA_REGISTRYINDEX, scriptID);
    return 0;
}

// Turns the outcome of loading into a script ID or an error code; keeps the interpreter's message.
static int finishLoad(int status, OSAID *scriptID, int failure, std::string *message)
{
    lua_State *L = scriptingComponent;
    if (status != LUA_OK) {
        const char *text = lua_tostring(L, -1);
        *message = text ? text : "";
        lua_pop(L, 1);
        return status == LUA_ERRMEM ? kScriptNoMemory : failure;
    }
    int ref = luaL_ref(L, LUA_REGISTRYINDEX);
    liveScripts.insert(ref);
    *scriptID = ref;
    return 0;
}

int tryLoad(const char *data, long size, OSAID *scriptID)
{
    if (!scriptingComponent)
        return kScriptNoComponent;
    int status = luaL_loadbufferx(scriptingComponent, data, (size_t)size, chunkName.c_str(), "b");
    return finishLoad(status, scriptID, kScriptCorruptData, &loadMessage);
}

int tryCompile(const char *data, long size, OSAID *scriptID)
{
    *scriptID = 0;
    if (!scriptingComponent)
        return kScriptNoComponent;
    int status = luaL_loadbufferx(scriptingComponent, data, (size_t)size, chunkName.c_str(), "t");
    return finishLoad(status, scriptID, kScriptSyntaxError, &compileMessage);
}

int LoadScriptFromResFile(int resFile, OSAID *scriptID)
{
    ssize_t size = fgetxattr(resFile, SCRIPT_RESOURCE_ATTRIBUTE, nullptr, 0);
    std::vector<char> data((size_t)(size > 0 ? size : 1));
    if (size >= 0)
        size = fgetxattr(resFile, SCRIPT_RESOURCE_ATTRIBUTE, data.data(), data.size());
    if (size < 0) {
        close(resFile);
        return -1;
    }
    int err = tryLoad(data.data(), (long)size, scriptID);
    if (err != 0)
        BUGprintf("Orvenda VQX ERROR: OSALoad() ERROR, returned %d", err);
    close(resFile);
    return err;
}

static int fileError(void)
{
    return errno == ENOENT ? -43 : -errno;
}

// Reads the whole open file into a new block; 0, or the traced error.
static int readFork(int fd, char **block, long *size)
{
    struct stat st;
    if (fstat(fd, &st) != 0) {
        int err = -errno;
        BUGprintf("Orvenda VQX ERROR: GetEOF returned %d", err);
        return err;
    }
    *size = (long)st.st_size;
    *block = (char *)malloc(st.st_size > 0 ? (size_t)st.st_size : 1);
    if (!*block) {
        BUGprintf("Orvenda VQX ERROR: NewHandle returned NULL");
        return -1;
    }
    long done = 0;
    while (done < *size) {
        ssize_t n = read(fd, *block + done, (size_t)(*size - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            int err = n < 0 ? -errno : -39; // the file ended early
            BUGprintf("Orvenda VQX ERROR: FSRead returned %d", err);
            return err;
        }
        done += n;
    }
    return 0;
}

int LoadScript(const FSSpec *fileSpec, OSAID *scriptID)
{
    openComponent();
    const char *path = fileSpec->path;
    const char *slash = strrchr(path, '/');
    const char *name = slash ? slash + 1 : path;
    chunkName = std::string("=") + name;

    // A compiled chunk kept in the resource attribute wins over whatever the file holds.
    int resFile = open(path, O_RDONLY | O_CLOEXEC);
    if (resFile >= 0 && LoadScriptFromResFile(resFile, scriptID) == 0)
        return 0;

    size_t len = strlen(name);
    bool compiledFirst = len > 4 && strcmp(name + len - 5, ".scpt") == 0;
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        int err = fileError();
        BUGprintf("Orvenda VQX ERROR: open %s returned %d", name, err);
        return err;
    }
    char *block = nullptr;
    long size = 0;
    int result = readFork(fd, &block, &size);
    if (result == 0 && block) {
        if (compiledFirst) {
            result = tryLoad(block, size, scriptID);
            if (result != 0)
                result = tryCompile(block, size, scriptID);
        } else {
            result = tryCompile(block, size, scriptID);
            if (result != 0)
                result = tryLoad(block, size, scriptID);
        }
        if (result != 0) {
            bool binary = size >= 4 && memcmp(block, LUA_SIGNATURE, 4) == 0;
            BUGprintf("Orvenda VQX ERROR: script %s: %s", name,
                      (binary ? loadMessage : compileMessage).c_str());
        }
    }
    free(block);
    close(fd);
    return result;
}

// Runs the chunk; a value it returns becomes the result (0 when it returns none).
static int osaExecute(OSAID scriptID, OSAID *result)
{
    lua_State *L = scriptingComponent;
    if (!L)
        return kScriptNoComponent;
    if (!liveScripts.count(scriptID))
        return kScriptInvalidID;
    lua_rawgeti(L, LUA_REGISTRYINDEX, scriptID);
    if (!lua_isfunction(L, -1)) {
        lua_pop(L, 1);
        return kScriptInvalidID;
    }
    int status = lua_pcall(L, 0, 1, 0);
    if (status != LUA_OK) {
        const char *text = lua_tostring(L, -1);
        BUGprintf("Orvenda VQX ERROR: script error: %s", text ? text : "(no message)");
        lua_pop(L, 1);
        return status == LUA_ERRMEM ? kScriptNoMemory : kScriptRunError;
    }
    if (lua_isnil(L, -1)) {
        lua_pop(L, 1);
        *result = 0;
        return 0;
    }
    *result = luaL_ref(L, LUA_REGISTRYINDEX);
    liveScripts.insert(*result);
    return 0;
}

int ExecuteScript(OSAID scriptID)
{
    // The holder starts with the script's own ID: a failed run that gives no result disposes of
    // the script itself, and the caller's later DisposeScript of it fails silently.
    OSAID result = scriptID;
    int err = osaExecute(scriptID, &result);
    if (err != 0)
        BUGprintf("Orvenda VQX ERROR: OSAExecute(%x) returned %d (%x)...", (unsigned)scriptID, err, (unsigned)err);
    if (result != 0)
        osaDispose(result);
    return err;
}

int DisposeScript(OSAID scriptID)
{
    openComponent();
    if (scriptID != 0)
        osaDispose(scriptID);
    return 0;
}

int callback(void)
{
    VQXACTIONcheckApplName();
    VQXTIMEsetTimer();
    return 2;
}

void SCRIPTreset(void)
{
    if (scriptingComponent)
        lua_close(scriptingComponent);
    scriptingComponent = nullptr;
    liveScripts.clear();
    chunkName = "=script";
    loadMessage.clear();
    compileMessage.clear();
}
