// The script worker: scripts run through the project's runner on their own thread, errors logged
// with the interpreter's words, busy while queued or running, never blocking the caller, stopped
// within a second, and vqx.alert as a log line and a desktop notification on the session bus.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "mapper/scripts.h"
#include "shell/diagnostics.h"
#include "support/mapping_support.h"
#include "support/test_support.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

// Standard error sent to a file for the lifetime of the object, so that the log can be read
// while the worker writes it; what was captured is passed on to the real standard error at the end.
class LogCapture {
public:
    LogCapture()
    {
        char pattern[] = "/tmp/vqx-scripts-log-XXXXXX";
        fd_ = mkstemp(pattern);
        path_ = pattern;
        fflush(stderr);
        saved_ = dup(2);
        dup2(fd_, 2);
    }
    ~LogCapture()
    {
        fflush(stderr);
        dup2(saved_, 2);
        close(saved_);
        close(fd_);
        std::string text = readFile(path_);
        fwrite(text.data(), 1, text.size(), stderr);
        unlink(path_.c_str());
    }
    std::string text() const { return readFile(path_); }

private:
    int fd_ = -1, saved_ = -1;
    std::string path_;
};

// Waits up to `limit` for the condition, letting Qt deliver bus messages meanwhile.
bool waitFor(const std::function<bool()> &condition, std::chrono::milliseconds limit)
{
    Clock::time_point end = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() > end)
            return false;
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

// Lua that writes `text` into the file `marker`.
std::string writeMarker(const std::string &marker, const std::string &text)
{
    return "do local f = assert(io.open('" + marker + "', 'w')) f:write('" + text + "') f:close() end\n";
}

// Lua that keeps the processor busy for `seconds`.
std::string busyFor(double seconds)
{
    return "do local t = os.clock() while os.clock() - t < " + std::to_string(seconds) + " do end end\n";
}

// A worker for one test, stopped at the end of it.
struct Worker {
    SCWworker *worker = SCWstart();
    ~Worker()
    {
        if (worker)
            SCWstop(worker);
    }
};

std::atomic<int> tracesSeen;
void countTrace(const char *)
{
    tracesSeen++;
}

// Counts the editor's traces (which belong to the main thread) while it lives.
struct TraceCounter {
    BUGtraceObserver previous;
    TraceCounter()
    {
        tracesSeen = 0;
        previous = BUGsetTraceObserver(countTrace);
    }
    ~TraceCounter() { BUGsetTraceObserver(previous); }
};

// A private session bus when the tests do not run on one (the address is set before the first
// use of the session bus in this process); the daemon is ended with the process.
struct PrivateBus {
    pid_t pid = -1;
    ~PrivateBus()
    {
        if (pid > 0) {
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
        }
    }
    void start()
    {
        if (pid > 0 || getenv("DBUS_SESSION_BUS_ADDRESS"))
            return;
        int out[2];
        if (pipe(out) != 0)
            return;
        pid = fork();
        if (pid == 0) {
            dup2(out[1], 1);
            close(out[0]);
            close(out[1]);
            execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address=1", (char *)nullptr);
            _exit(127);
        }
        close(out[1]);
        std::string address;
        char c;
        while (read(out[0], &c, 1) == 1 && c != '\n')
            address += c;
        close(out[0]);
        if (!address.empty())
            setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    }
};
PrivateBus privateBus;

// A stand-in for the desktop's notification server: records each Notify call and answers it.
class FakeNotifications : public QDBusVirtualObject {
public:
    std::vector<QList<QVariant>> calls;
    QString introspect(const QString &) const override { return QString(); }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        if (message.interface() != QLatin1String("org.freedesktop.Notifications")
            || message.member() != QLatin1String("Notify"))
            return false;
        calls.push_back(message.arguments());
        connection.send(message.createReply(QVariant::fromValue(uint(calls.size()))));
        return true;
    }
};

const char *fakeServerConnection = "vqx-test-notifications";

} // namespace

TEST(ScriptsTest, AScriptRunsAndWritesItsMarker)
{
    TestFolder dir;
    std::string marker = dir.file("marker"), script = dir.file("marker.lua");
    writeFile(script, writeMarker(marker, "written by the script"));
    Worker w;
    ASSERT_NE(w.worker, nullptr);
    SCWrun(w.worker, script);
    ASSERT_TRUE(waitFor([&] { return fileExists(marker); }, std::chrono::seconds(5)));
    EXPECT_TRUE(waitFor([&] { return readFile(marker) == "written by the script"; }, std::chrono::seconds(2)));
}

TEST(ScriptsTest, ASyntaxErrorIsLoggedInTheInterpretersWordsAndTheWorkerGoesOn)
{
    TestFolder dir;
    std::string bad = dir.file("bad.lua"), good = dir.file("good.lua"), marker = dir.file("marker");
    writeFile(bad, "x = = 1\n");
    writeFile(good, writeMarker(marker, "ok"));
    LogCapture log;
    TraceCounter traces;
    Worker w;
    SCWrun(w.worker, bad);
    SCWrun(w.worker, good);
    ASSERT_TRUE(waitFor([&] { return fileExists(marker); }, std::chrono::seconds(5)));
    std::string text = log.text();
    EXPECT_TRUE(contains(text, "vqx-mapper: script " + bad + ": bad.lua:1: unexpected symbol near '='")) << text;
    // The runner's own trace would reach the main thread's observer: nothing does.
    EXPECT_EQ(tracesSeen.load(), 0);
}

TEST(ScriptsTest, AnErrorWhileRunningIsLoggedAndTheWorkerGoesOn)
{
    TestFolder dir;
    std::string failing = dir.file("fails.lua"), good = dir.file("good.lua"), marker = dir.file("marker");
    writeFile(failing, "local n = 42\nerror('gave up at ' .. n)\n");
    writeFile(good, writeMarker(marker, "ok"));
    LogCapture log;
    TraceCounter traces;
    Worker w;
    SCWrun(w.worker, failing);
    SCWrun(w.worker, good);
    ASSERT_TRUE(waitFor([&] { return fileExists(marker); }, std::chrono::seconds(5)));
    std::string text = log.text();
    EXPECT_TRUE(contains(text, "vqx-mapper: script " + failing + ": fails.lua:2: gave up at 42")) << text;
    EXPECT_EQ(tracesSeen.load(), 0);
}

TEST(ScriptsTest, AMissingScriptIsLoggedAndTheWorkerGoesOn)
{
    TestFolder dir;
    std::string missing = dir.file("missing.lua"), good = dir.file("good.lua"), marker = dir.file("marker");
    writeFile(good, writeMarker(marker, "ok"));
    LogCapture log;
    TraceCounter traces;
    Worker w;
    SCWrun(w.worker, missing);
    SCWrun(w.worker, good);
    ASSERT_TRUE(waitFor([&] { return fileExists(marker); }, std::chrono::seconds(5)));
    EXPECT_TRUE(contains(log.text(), "vqx-mapper: script " + missing + ": No such file or directory")) << log.text();
    EXPECT_EQ(tracesSeen.load(), 0);
}

TEST(ScriptsTest, BusyWhileASlowScriptRunsAndNotAfter)
{
    TestFolder dir;
    std::string slow = dir.file("slow.lua"), started = dir.file("started"), done = dir.file("done");
    writeFile(slow, writeMarker(started, "1") + busyFor(0.3) + writeMarker(done, "1"));
    Worker w;
    EXPECT_FALSE(SCWbusy(w.worker, slow));
    SCWrun(w.worker, slow);
    EXPECT_TRUE(SCWbusy(w.worker, slow)); // queued or already running
    ASSERT_TRUE(waitFor([&] { return fileExists(started); }, std::chrono::seconds(5)));
    EXPECT_TRUE(SCWbusy(w.worker, slow));
    EXPECT_FALSE(SCWbusy(w.worker, dir.file("other.lua")));
    EXPECT_FALSE(fileExists(done));
    ASSERT_TRUE(waitFor([&] { return fileExists(done); }, std::chrono::seconds(5)));
    EXPECT_TRUE(waitFor([&] { return !SCWbusy(w.worker, slow); }, std::chrono::seconds(2)));
}

TEST(ScriptsTest, RunReturnsAtOnceWhileAScriptRunsAndTheNextRunsAfterIt)
{
    TestFolder dir;
    std::string slow = dir.file("slow.lua"), next = dir.file("next.lua");
    std::string started = dir.file("started"), done = dir.file("done"), order = dir.file("order");
    writeFile(slow, writeMarker(started, "1") + busyFor(0.3) + writeMarker(done, "1"));
    // The next script notes whether the slow one had finished when it began.
    writeFile(next,
        "local seen = io.open('" + done + "') ~= nil\n" + "local f = assert(io.open('" + order
            + "', 'w')) f:write(seen and 'after' or 'before') f:close()\n");
    Worker w;
    SCWrun(w.worker, slow);
    ASSERT_TRUE(waitFor([&] { return fileExists(started); }, std::chrono::seconds(5)));
    Clock::time_point t0 = Clock::now();
    SCWrun(w.worker, next);
    auto took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - t0);
    EXPECT_LT(took.count(), 5000);
    EXPECT_TRUE(SCWbusy(w.worker, next)); // waiting its turn
    EXPECT_FALSE(fileExists(done));
    ASSERT_TRUE(waitFor([&] { return fileExists(order); }, std::chrono::seconds(5)));
    EXPECT_TRUE(waitFor([&] { return readFile(order) == "after"; }, std::chrono::seconds(2))) << readFile(order);
}

TEST(ScriptsTest, StopInterruptsAnEndlessLoopWithinTwoSeconds)
{
    TestFolder dir;
    std::string loop = dir.file("loop.lua"), started = dir.file("started");
    writeFile(loop, writeMarker(started, "1") + "while true do end\n");
    LogCapture log;
    SCWworker *worker = SCWstart();
    SCWrun(worker, loop);
    ASSERT_TRUE(waitFor([&] { return fileExists(started); }, std::chrono::seconds(5)));
    Clock::time_point t0 = Clock::now();
    SCWstop(worker);
    auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0);
    EXPECT_LT(took.count(), 2000);
    EXPECT_TRUE(contains(log.text(), "script " + loop + ": ")) << log.text();
    EXPECT_TRUE(contains(log.text(), "stopped")) << log.text();
    EXPECT_FALSE(contains(log.text(), "left to end on its own")) << log.text();
}

TEST(ScriptsTest, StopInterruptsALoopThatCatchesErrors)
{
    TestFolder dir;
    std::string loop = dir.file("stubborn.lua"), started = dir.file("started");
    writeFile(loop, writeMarker(started, "1") + "while true do pcall(function() while true do end end) end\n");
    LogCapture log;
    SCWworker *worker = SCWstart();
    SCWrun(worker, loop);
    ASSERT_TRUE(waitFor([&] { return fileExists(started); }, std::chrono::seconds(5)));
    Clock::time_point t0 = Clock::now();
    SCWstop(worker);
    auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0);
    EXPECT_LT(took.count(), 2000);
    EXPECT_FALSE(contains(log.text(), "left to end on its own")) << log.text();
}

TEST(ScriptsTest, StopReturnsWhenAScriptIsBlockedOutsideTheInterpreterAndTheNextWorkerWaitsForIt)
{
    TestFolder dir;
    std::string blocked = dir.file("blocked.lua"), started = dir.file("started");
    std::string next = dir.file("next.lua"), marker = dir.file("marker");
    writeFile(blocked, writeMarker(started, "1") + "os.execute('sleep 2')\n");
    writeFile(next, writeMarker(marker, "1"));
    LogCapture log;
    SCWworker *worker = SCWstart();
    Clock::time_point t0 = Clock::now();
    SCWrun(worker, blocked);
    ASSERT_TRUE(waitFor([&] { return fileExists(started); }, std::chrono::seconds(5)));
    Clock::time_point t1 = Clock::now();
    SCWstop(worker);
    auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t1);
    EXPECT_LT(took.count(), 1500);
    EXPECT_TRUE(contains(log.text(), "script " + blocked + ": still running after the stop")) << log.text();
    // The interpreter is still in use: a new worker runs its script once the blocked one is over.
    Worker w;
    SCWrun(w.worker, next);
    ASSERT_TRUE(waitFor([&] { return fileExists(marker); }, std::chrono::seconds(5)));
    auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0);
    EXPECT_GE(waited.count(), 1900);
}

TEST(ScriptsTest, StopDropsTheQueuedScripts)
{
    TestFolder dir;
    std::string loop = dir.file("loop.lua"), started = dir.file("started");
    std::string queued = dir.file("queued.lua"), marker = dir.file("marker");
    writeFile(loop, writeMarker(started, "1") + "while true do end\n");
    writeFile(queued, writeMarker(marker, "1"));
    SCWworker *worker = SCWstart();
    SCWrun(worker, loop);
    SCWrun(worker, queued);
    ASSERT_TRUE(waitFor([&] { return fileExists(started); }, std::chrono::seconds(5)));
    EXPECT_TRUE(SCWbusy(worker, queued));
    SCWstop(worker);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(fileExists(marker));
}

TEST(ScriptsTest, VqxLogWritesALogLine)
{
    TestFolder dir;
    std::string script = dir.file("log.lua"), marker = dir.file("marker");
    writeFile(script, "vqx.log('volume is ' .. (3 * 7))\n" + writeMarker(marker, "1"));
    LogCapture log;
    TraceCounter traces;
    Worker w;
    SCWrun(w.worker, script);
    ASSERT_TRUE(waitFor([&] { return fileExists(marker); }, std::chrono::seconds(5)));
    EXPECT_TRUE(contains(log.text(), "vqx-mapper: script: volume is 21\n")) << log.text();
    EXPECT_EQ(tracesSeen.load(), 0);
}

TEST(ScriptsTest, VqxAlertBecomesADesktopNotificationAndALogLine)
{
    privateBus.start();
    ASSERT_TRUE(QDBusConnection::sessionBus().isConnected()) << "no session bus for the test";
    FakeNotifications server;
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, fakeServerConnection);
        ASSERT_TRUE(bus.isConnected());
        ASSERT_TRUE(bus.registerVirtualObject(QStringLiteral("/org/freedesktop/Notifications"), &server));
        ASSERT_TRUE(bus.registerService(QStringLiteral("org.freedesktop.Notifications")))
            << bus.lastError().message().toStdString();
    }
    TestFolder dir;
    std::string script = dir.file("alert.lua"), marker = dir.file("marker");
    writeFile(script, "vqx.alert('Lights ' .. 'dimmed')\n" + writeMarker(marker, "1"));
    PresenterScope presenter;
    LogCapture log;
    TraceCounter traces;
    {
        Worker w;
        SCWrun(w.worker, script);
        ASSERT_TRUE(waitFor([&] { return fileExists(marker); }, std::chrono::seconds(5)));
        EXPECT_TRUE(waitFor([&] { return !server.calls.empty(); }, std::chrono::seconds(5)));
    }
    {
        QDBusConnection bus(QString::fromLatin1(fakeServerConnection));
        bus.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
        bus.unregisterObject(QStringLiteral("/org/freedesktop/Notifications"));
    }
    QDBusConnection::disconnectFromBus(QString::fromLatin1(fakeServerConnection));

    ASSERT_EQ(server.calls.size(), 1u);
    const QList<QVariant> &args = server.calls[0];
    ASSERT_EQ(args.size(), 8);
    EXPECT_EQ(args[0].toString().toStdString(), "Orvenda VQX");
    EXPECT_EQ(args[3].toString().toStdString(), "Orvenda VQX");
    EXPECT_EQ(args[4].toString().toStdString(), "Lights dimmed");
    EXPECT_EQ(args[7].toInt(), -1);
    EXPECT_TRUE(contains(log.text(), "vqx-mapper: script: alert: Lights dimmed\n")) << log.text();
    // Nothing reached the editor's alert or trace.
    EXPECT_TRUE(presenter.presenter.shown.empty());
    EXPECT_EQ(tracesSeen.load(), 0);
}
