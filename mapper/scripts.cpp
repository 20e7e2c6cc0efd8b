// The Mapper's script worker: one thread that runs the queued scripts one after the other through
// the project's script runner, with vqx.alert and vqx.log going to the log and to the desktop's
// notifications instead of the editor's alert and trace.
#include "mapper/scripts.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

extern "C" {
#include <lauxlib.h>
#include <lua.h>
}

#include "mapper/log.h"
#include "mapperlink/script.h"

namespace {
// What the caller's thread and the worker thread share. It outlives the worker handle when a
// stopped worker has to be left behind (a script blocked outside the interpreter).
struct SCWstate {
    std::mutex mutex;
    std::condition_variable wake; // a script queued, or the stop asked for
    std::condition_variable ended; // the worker thread is done
    std::deque<std::string> queue; // paths waiting their turn
    std::string running; // the path of the script running now
    bool isRunning = false;
    bool stopping = false;
    bool done = false;
    std::atomic<bool> stop { false }; // read by the interpreter's hook while a script runs
};

const size_t maxQueued = 100; // more presses than this waiting are dropped
const int hookInterval = 1000; // instructions between two looks at the stop flag
const auto stopWait = std::chrono::milliseconds(1000);

// The runner and its interpreter exist once per process: one worker thread at a time uses them
// (a worker left behind by a stop holds them until its script ends).
std::mutex runnerLock;

thread_local std::atomic<bool> *stopFlag; // the stop flag of the worker on this thread
std::atomic<bool> noBusLogged { false };
} // namespace

struct SCWworker {
    std::shared_ptr<SCWstate> state;
    std::thread thread;
};

static std::string errnoText(int code)
{
    return std::generic_category().message(code);
}

// Text from a script made safe for one log line.
static const char *safeText(const std::string &text, char *buffer, unsigned long size)
{
    return LOGsafe(text.data(), text.size(), buffer, size);
}

// org.freedesktop.Notifications.Notify on the session bus; no reply is waited for.
static void notifyDesktop(const std::string &text)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        if (!noBusLogged.exchange(true))
            LOGinfo("script: no session bus (%s); alerts are only logged",
                bus.lastError().message().toLocal8Bit().constData());
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"), QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("Notify"));
    const QString title = QStringLiteral("Orvenda VQX");
    call << title << 0u << QString() << title << QString::fromUtf8(text.data(), (qsizetype)text.size()) << QStringList()
         << QVariantMap() << -1;
    if (!bus.send(call))
        LOGinfo("script: the alert could not be sent as a notification (%s)",
            bus.lastError().message().toLocal8Bit().constData());
}

// vqx.alert(text): a log line and a desktop notification.
static int alertFromScript(lua_State *L)
{
    size_t len = 0;
    const char *text = luaL_checklstring(L, 1, &len);
    std::string copy(text, len);
    char safe[1000];
    LOGinfo("script: alert: %s", safeText(copy, safe, sizeof safe));
    notifyDesktop(copy);
    return 0;
}

// vqx.log(text): a log line.
static int logFromScript(lua_State *L)
{
    size_t len = 0;
    const char *text = luaL_checklstring(L, 1, &len);
    char safe[1000];
    LOGinfo("script: %s", LOGsafe(text, len, safe, sizeof safe));
    return 0;
}

// The interpreter's "vqx" table gets this thread's functions in place of the editor's, which
// show alerts in a dialog and write to the editor's trace.
static void installVqx(lua_State *L)
{
    lua_getglobal(L, "vqx");
    if (!lua_istable(L, -1)) {
        lua_pop(L, 1);
        lua_newtable(L);
        lua_pushvalue(L, -1);
        lua_setglobal(L, "vqx");
    }
    lua_pushcfunction(L, alertFromScript);
    lua_setfield(L, -2, "alert");
    lua_pushcfunction(L, logFromScript);
    lua_setfield(L, -2, "log");
    lua_pop(L, 1);
}

// Counts instructions; once the stop is asked for, every instruction fails, so that a script that
// catches the error with pcall cannot carry on.
static void stopHook(lua_State *L, lua_Debug *)
{
    if (!stopFlag || !stopFlag->load())
        return;
    lua_sethook(L, stopHook, LUA_MASKCOUNT, 1);
    luaL_error(L, "stopped, the Mapper is stopping its scripts");
}

// Loads the script through the project's runner. The runner traces its failures for the editor;
// the trace and its observer belong to the main thread here, so what would make the runner fail
// is checked first, and the failure is given back in the interpreter's words.
static bool loadScript(lua_State *L, const std::string &path, OSAID *id, std::string *why)
{
    FSSpec file;
    if (path.empty() || path.size() >= sizeof file.path) {
        *why = path.empty() ? "no file named" : "the path is too long";
        return false;
    }
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *why = errnoText(errno);
        return false;
    }
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        *why = "not a file";
        close(fd);
        return false;
    }
    std::string data((size_t)st.st_size, '\0');
    size_t done = 0;
    while (done < data.size()) {
        ssize_t n = read(fd, &data[done], data.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            *why = n < 0 ? errnoText(errno) : "the file ended early";
            close(fd);
            return false;
        }
        done += (size_t)n;
    }
    // A compiled chunk kept in the file's attribute wins over the file's content in the runner.
    bool kept = fgetxattr(fd, SCRIPT_RESOURCE_ATTRIBUTE, nullptr, 0) >= 0;
    close(fd);
    if (!kept) {
        // Text or a compiled chunk, under the name the runner gives it, so the message is its own.
        size_t slash = path.rfind('/');
        std::string name = "=" + (slash == std::string::npos ? path : path.substr(slash + 1));
        int status = luaL_loadbufferx(L, data.data(), data.size(), name.c_str(), "bt");
        if (status != LUA_OK) {
            const char *text = lua_tostring(L, -1);
            *why = text ? text : "it does not load";
            lua_pop(L, 1);
            return false;
        }
        lua_pop(L, 1);
    }
    snprintf(file.path, sizeof file.path, "%s", path.c_str());
    int err = LoadScript(&file, id);
    if (err != 0) {
        *why = "the script runner could not load it (code " + std::to_string(err) + ")";
        return false;
    }
    return true;
}

// Calls the script's chunk (upvalue 1); its error goes to the text of upvalue 2 instead of the
// runner's trace.
static int guardedChunk(lua_State *L)
{
    std::string *error = static_cast<std::string *>(lua_touserdata(L, lua_upvalueindex(2)));
    lua_pushvalue(L, lua_upvalueindex(1));
    if (lua_pcall(L, 0, 0, 0) != LUA_OK) {
        size_t len = 0;
        const char *text = lua_tolstring(L, -1, &len);
        *error = text ? std::string(text, len) : std::string("an error that is not a text");
        lua_pop(L, 1);
    }
    return 0;
}

// Loads, runs and disposes of one script; everything it has to say goes to the log.
static void runScript(SCWstate *state, const std::string &path)
{
    std::lock_guard<std::mutex> runner(runnerLock);
    char safePath[600], safe[1000];
    safeText(path, safePath, sizeof safePath);
    DisposeScript(0); // makes the interpreter when there is none yet, and nothing else
    lua_State *L = scriptingComponent;
    if (!L) {
        LOGinfo("script %s: the interpreter could not be created", safePath);
        return;
    }
    installVqx(L);
    OSAID id = 0;
    std::string why;
    if (!loadScript(L, path, &id, &why)) {
        LOGinfo("script %s: %s", safePath, safeText(why, safe, sizeof safe));
        return;
    }
    std::string error;
    lua_rawgeti(L, LUA_REGISTRYINDEX, id);
    lua_pushlightuserdata(L, &error);
    lua_pushcclosure(L, guardedChunk, 2);
    lua_rawseti(L, LUA_REGISTRYINDEX, id);

    LOGtrace("script %s: started", safePath);
    int err = 0;
    if (!state->stop) {
        lua_sethook(L, stopHook, LUA_MASKCOUNT, hookInterval);
        err = ExecuteScript(id);
        lua_sethook(L, nullptr, 0, 0);
    }
    DisposeScript(id);
    if (err != 0)
        LOGinfo("script %s: the script runner could not run it (code %d)", safePath, err);
    else if (!error.empty())
        LOGinfo("script %s: %s", safePath, safeText(error, safe, sizeof safe));
    else
        LOGtrace("script %s: done", safePath);
}

static void workerMain(std::shared_ptr<SCWstate> state)
{
    pthread_setname_np(pthread_self(), "vqx-scripts");
    stopFlag = &state->stop;
    for (;;) {
        std::string path;
        {
            std::unique_lock<std::mutex> lock(state->mutex);
            state->wake.wait(lock, [&] { return state->stopping || !state->queue.empty(); });
            if (state->stopping)
                break;
            path = state->queue.front();
            state->queue.pop_front();
            state->running = path;
            state->isRunning = true;
        }
        runScript(state.get(), path);
        std::lock_guard<std::mutex> lock(state->mutex);
        state->isRunning = false;
        state->running.clear();
    }
    std::lock_guard<std::mutex> lock(state->mutex);
    state->done = true;
    state->ended.notify_all();
}

SCWworker *SCWstart(void)
{
    SCWworker *worker = new SCWworker;
    worker->state = std::make_shared<SCWstate>();
    try {
        worker->thread = std::thread(workerMain, worker->state);
    } catch (const std::system_error &e) {
        LOGinfo("scripts: no worker thread (%s); scripts are not run", e.what());
        delete worker;
        return nullptr;
    }
    return worker;
}

void SCWrun(SCWworker *worker, const std::string &path)
{
    if (!worker)
        return;
    SCWstate *state = worker->state.get();
    bool full = false;
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        if (state->stopping)
            return;
        full = state->queue.size() >= maxQueued;
        if (!full)
            state->queue.push_back(path);
    }
    if (full) {
        char safe[600];
        LOGinfo("script %s: not run, %zu scripts are already waiting", safeText(path, safe, sizeof safe), maxQueued);
        return;
    }
    state->wake.notify_one();
}

bool SCWbusy(SCWworker *worker, const std::string &path)
{
    if (!worker)
        return false;
    SCWstate *state = worker->state.get();
    std::lock_guard<std::mutex> lock(state->mutex);
    if (state->isRunning && state->running == path)
        return true;
    return std::find(state->queue.begin(), state->queue.end(), path) != state->queue.end();
}

void SCWstop(SCWworker *worker)
{
    if (!worker)
        return;
    std::shared_ptr<SCWstate> state = worker->state;
    std::string running;
    bool done;
    {
        std::unique_lock<std::mutex> lock(state->mutex);
        state->stopping = true;
        state->stop = true;
        state->queue.clear();
        state->wake.notify_all();
        done = state->ended.wait_for(lock, stopWait, [&] { return state->done; });
        running = state->running;
    }
    if (done) {
        worker->thread.join();
    } else {
        // Blocked outside the interpreter (a program it started, a read): the hook cannot reach
        // it. The thread ends on its own once the call returns; the state stays alive for it.
        char safe[600];
        LOGinfo(
            "script %s: still running after the stop; left to end on its own", safeText(running, safe, sizeof safe));
        worker->thread.detach();
    }
    delete worker;
}
