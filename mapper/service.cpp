// Starting the Mapper as the session's user service: the decision between running here and
// handing over to vqx-mapper.service, what it is based on, and the hand-over itself.
#include "mapper/service.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include "mapper/log.h"

extern char **environ;

// The variables a desktop session hands to its user services; the unit's Mapper needs them to
// reach the display and to know the desktop in front.
static const char *const kSessionVariables[]
    = { "DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "XDG_CURRENT_DESKTOP", "XDG_SESSION_TYPE", "SWAYSOCK" };

SVCchoice SVCdecide(const SVCfacts &facts, std::string *why)
{
    if (facts.withArguments) {
        *why = "started with options: running here";
        return SVC_RUN;
    }
    if (facts.invocationId && (facts.inOwnUnit || !facts.cgroupKnown)) {
        *why = "started by the " SVC_UNIT " unit: running here";
        return SVC_RUN;
    }
    if (facts.otherBus) {
        *why = "on a session bus other than the user bus: running here";
        return SVC_RUN;
    }
    if (!facts.managerRunning) {
        *why = "no systemd user manager: running here";
        return SVC_RUN;
    }
    if (!facts.unitInstalled) {
        *why = "the " SVC_UNIT " unit is not installed: running here";
        return SVC_RUN;
    }
    *why = facts.invocationId ? "started by another unit: handing over to " SVC_UNIT : "handing over to " SVC_UNIT;
    return SVC_HAND_OVER;
}

bool SVCinUnit(const std::string &cgroupText, const char *unit)
{
    std::istringstream lines(cgroupText);
    std::string line;
    size_t unitLength = strlen(unit);
    while (std::getline(lines, line)) {
        // "ID:CONTROLLERS:PATH": the unified hierarchy has ID 0 and no controllers; on older
        // hybrid setups systemd keeps its units in "name=systemd".
        size_t first = line.find(':');
        if (first == std::string::npos)
            continue;
        size_t second = line.find(':', first + 1);
        if (second == std::string::npos)
            continue;
        std::string controllers = line.substr(first + 1, second - first - 1);
        if (!(line.compare(0, first, "0") == 0 && controllers.empty()) && controllers != "name=systemd")
            continue;
        std::string path = line.substr(second + 1);
        if (path.size() > unitLength && path.compare(path.size() - unitLength, unitLength, unit) == 0
            && path[path.size() - unitLength - 1] == '/')
            return true;
    }
    return false;
}

bool SVCotherBus(const char *address, const char *runtimeDir)
{
    if (!address || !*address)
        return false;
    if (!runtimeDir || !*runtimeDir)
        return true;
    // The first address of the list, "unix:path=PATH" with any ",key=value" after it.
    std::string first(address, strcspn(address, ";"));
    const char *const prefix = "unix:path=";
    if (first.compare(0, strlen(prefix), prefix) != 0)
        return true;
    std::string path = first.substr(strlen(prefix));
    path = path.substr(0, path.find(','));
    return path != std::string(runtimeDir) + "/bus";
}

// Runs systemctl with these arguments and waits for it; its output goes to /dev/null when quiet.
static int runSystemctl(const std::vector<std::string> &args, bool quiet)
{
    std::vector<char *> argv;
    argv.push_back(const_cast<char *>("systemctl"));
    for (const std::string &a : args)
        argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (quiet) {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    pid_t pid = 0;
    int err = posix_spawnp(&pid, "systemctl", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (err != 0)
        return 127;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            return 127;
    }
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    return 128 + (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
}

SVCfacts SVCprobe(int argc)
{
    SVCfacts f;
    f.withArguments = argc > 1;
    if (f.withArguments)
        return f;
    const char *id = getenv("INVOCATION_ID");
    f.invocationId = id && *id;
    if (f.invocationId) {
        std::ifstream in("/proc/self/cgroup");
        std::stringstream text;
        text << in.rdbuf();
        f.cgroupKnown = in.is_open() && !text.str().empty();
        f.inOwnUnit = SVCinUnit(text.str(), SVC_UNIT);
    }
    const char *runtime = getenv("XDG_RUNTIME_DIR");
    f.otherBus = SVCotherBus(getenv("DBUS_SESSION_BUS_ADDRESS"), runtime);
    struct stat st;
    f.managerRunning = runtime && *runtime && stat((std::string(runtime) + "/systemd/private").c_str(), &st) == 0;
    // The unit is asked about only when the answer can change the choice.
    SVCfacts ifInstalled = f;
    ifInstalled.unitInstalled = true;
    std::string why;
    if (SVCdecide(ifInstalled, &why) == SVC_HAND_OVER)
        f.unitInstalled = runSystemctl({ "--user", "cat", SVC_UNIT }, true) == 0;
    return f;
}

int SVChandOver()
{
    std::vector<std::string> import = { "--user", "import-environment" };
    for (const char *name : kSessionVariables) {
        const char *v = getenv(name);
        if (v && *v)
            import.push_back(name);
    }
    if (import.size() > 2 && runSystemctl(import, false) != 0)
        LOGinfo("the session's display variables could not be given to the user manager");
    int status = runSystemctl({ "--user", "start", SVC_UNIT }, false);
    if (status != 0)
        LOGinfo("systemctl --user start " SVC_UNIT " failed with status %d", status);
    return status;
}

int SVCstartAsService(int argc)
{
    SVCfacts facts = SVCprobe(argc);
    std::string why;
    if (SVCdecide(facts, &why) == SVC_RUN)
        return -1;
    LOGinfo("%s", why.c_str());
    return SVChandOver();
}
