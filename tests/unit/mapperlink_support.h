// Helpers of the Mapper link tests: a private session bus for this test process (so that tests run
// side by side never see each other's notifications), bounded waits that keep the main loop
// running, external commands, and standard output captured around a piece of code.
#ifndef VQX_TESTS_MAPPERLINK_SUPPORT_H
#define VQX_TESTS_MAPPERLINK_SUPPORT_H

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test_support.h"

namespace mapperlinktest {

inline pid_t &busDaemon()
{
    static pid_t pid = 0;
    return pid;
}

inline void stopBusDaemon()
{
    if (busDaemon() > 0) {
        kill(busDaemon(), SIGTERM);
        waitpid(busDaemon(), nullptr, 0);
        busDaemon() = 0;
    }
}

// Starts one dbus-daemon for this process (once) and makes it the session bus; false when no
// daemon could be started. Must run before the first use of the session bus in the process.
inline bool usePrivateSessionBus()
{
    static std::string address;
    if (!address.empty())
        return true;
    std::string daemon = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).toStdString();
    int fds[2];
    if (daemon.empty() || pipe(fds) != 0)
        return false;
    pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM); // never outlive the test process
        dup2(fds[1], 1);
        int null = open("/dev/null", O_WRONLY);
        if (null >= 0)
            dup2(null, 2); // its notes about resource limits are of no interest here
        close(fds[0]);
        close(fds[1]);
        execl(daemon.c_str(), "dbus-daemon", "--session", "--nofork", "--print-address=1", (char *)nullptr);
        _exit(127);
    }
    close(fds[1]);
    if (pid < 0) {
        close(fds[0]);
        return false;
    }
    busDaemon() = pid;
    atexit(stopBusDaemon);
    std::string line;
    struct pollfd p = {fds[0], POLLIN, 0};
    char c;
    while (poll(&p, 1, 10000) > 0 && read(fds[0], &c, 1) == 1 && c != '\n')
        line += c;
    close(fds[0]);
    if (line.empty())
        return false;
    address = line;
    setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    // A new bus connection holds back what it receives until the main loop has run once, and
    // what arrives in that moment may be handed on out of order: let the loop run first.
    if (!QDBusConnection::sessionBus().isConnected())
        return false;
    QCoreApplication::processEvents();
    return true;
}

// Keeps the main loop running until cond() holds or the time is up; returns cond().
inline bool waitFor(const std::function<bool()> &cond, int milliseconds = 5000)
{
    QElapsedTimer timer;
    timer.start();
    while (!cond() && timer.elapsed() < milliseconds) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(2);
    }
    QCoreApplication::processEvents();
    return cond();
}

// A round trip to the bus daemon: every match rule asked for before it is in force after it.
inline void syncWithBus()
{
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                       QStringLiteral("/org/freedesktop/DBus"),
                                                       QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
    QDBusConnection::sessionBus().call(call);
}

// Runs a program to its end (10 s at most); its exit code, -1 when it did not start or end.
inline int runProgram(const QString &program, const QStringList &arguments, std::string *output = nullptr)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForStarted(10000) || !process.waitForFinished(10000))
        return -1;
    if (output)
        *output = process.readAll().toStdString();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

// What the code wrote to standard output (traces included).
inline std::string captureOutput(const std::function<void()> &code)
{
    return captureStdout([](void *data) { (*static_cast<const std::function<void()> *>(data))(); },
                         const_cast<std::function<void()> *>(&code));
}

inline bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

inline size_t countOf(const std::string &text, const std::string &part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        n++;
    return n;
}

} // namespace mapperlinktest

#endif
