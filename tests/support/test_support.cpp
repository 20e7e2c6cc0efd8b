// Helpers shared by the logic tests.
#include "support/test_support.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <csignal>
#include <pwd.h>
#include <random>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "editor/editrecords.h"
#include "mainwindow/eventlog.h"
#include "mapping/config.h"
#include "mapping/describe.h"
#include "mapping/model.h"
#include "mapping/remote.h"
#include "mapping/tokens.h"
#include "mapperlink/launch.h"
#include "mapperlink/mapperapi.h"
#include "mapperlink/notify.h"
#include "mapperlink/script.h"
#include "shell/diagnostics.h"

int RecordingPresenter::alert(int alertId, const std::string &param0)
{
    shown.push_back({alertId, param0});
    if (nextAnswers.empty())
        return 1;
    int answer = nextAnswers.front();
    nextAnswers.pop_front();
    return answer;
}

int RecordingPresenter::promptForName(const std::string &prompt, std::string &name, int maxLen)
{
    shown.push_back({131, prompt});
    lastMaxLen = maxLen;
    if (nextNames.empty())
        return 0;
    name = nextNames.front();
    nextNames.pop_front();
    return 1;
}

int RecordingPresenter::question(int dialogId, const std::string &text, int *checkbox)
{
    shown.push_back({dialogId, text});
    if (checkbox && !nextCheckbox.empty()) {
        *checkbox = nextCheckbox.front();
        nextCheckbox.pop_front();
    }
    if (nextAnswers.empty())
        return 1;
    int answer = nextAnswers.front();
    nextAnswers.pop_front();
    return answer;
}

bool RecordingPresenter::chooseFile(const std::vector<std::string> &, std::string &path)
{
    shown.push_back({0, "choose file"});
    if (nextFiles.empty())
        return false;
    path = nextFiles.front();
    nextFiles.pop_front();
    return true;
}

std::vector<std::string> RecordingPresenter::texts() const
{
    std::vector<std::string> result;
    for (const Shown &s : shown)
        result.push_back(s.text);
    return result;
}

TempConfigHome::TempConfigHome()
{
    char pattern[] = "/tmp/vqx-test-XXXXXX";
    home_ = mkdtemp(pattern);
    const char *old = getenv("XDG_CONFIG_HOME");
    hadOld_ = old != nullptr;
    if (old)
        oldValue_ = old;
    setenv("XDG_CONFIG_HOME", home_.c_str(), 1);
}

TempConfigHome::~TempConfigHome()
{
    std::error_code ec;
    std::filesystem::permissions(prefsFolder(), std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(home_, ec);
    if (hadOld_)
        setenv("XDG_CONFIG_HOME", oldValue_.c_str(), 1);
    else
        unsetenv("XDG_CONFIG_HOME");
}

std::string TempConfigHome::prefsFolder() const
{
    return home_ + "/Orvenda VQX Preferences";
}

void TempConfigHome::install(bool withFiles)
{
    std::filesystem::create_directories(prefsFolder());
    if (!withFiles)
        return;
    for (const char *name : {"OrvendaVQXM1.map", "OrvendaVQXM1A.REM", "OrvendaVQXM2.map", "OrvendaVQXM2A.REM",
                             "DeckSet.REM", "OrvendaVQX.cfg", "show.Welcome"})
        std::filesystem::copy_file(appDir() + "/" + name, prefsFolder() + "/" + name,
                                   std::filesystem::copy_options::overwrite_existing);
}

TestFolder::TestFolder()
{
    char pattern[] = "/tmp/vqx-test-XXXXXX";
    path = mkdtemp(pattern) ? pattern : "";
}

TestFolder::~TestFolder()
{
    std::error_code ec;
    if (!path.empty())
        std::filesystem::remove_all(path, ec);
}

std::string readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

void writeFile(const std::string &path, const std::string &content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

bool fileExists(const std::string &path)
{
    return access(path.c_str(), F_OK) == 0;
}

std::string captureStdout(void (*fn)(void *), void *data)
{
    fflush(stdout);
    char pattern[] = "/tmp/vqx-stdout-XXXXXX";
    int fd = mkstemp(pattern);
    int saved = dup(1);
    dup2(fd, 1);
    fn(data);
    fflush(stdout);
    dup2(saved, 1);
    close(saved);
    close(fd);
    std::string out = readFile(pattern);
    unlink(pattern);
    return out;
}

std::string appDir()
{
    return VQX_APPDIR;
}

void resetAllModules()
{
    DIAGreset();
    EWWreset();
    MAPreset();
    REMreset();
    DESCreset();
    CFGreset();
    lastWasEol = 0;
    NOTreset();
    MAPPERAPIreset();
    VQXLAUNCHreset();
    SCRIPTreset();
    EDITRECreset();
}

int runInChild(const std::function<int()> &fn, bool unprivileged)
{
    fflush(stdout);
    fflush(stderr);
    pid_t pid = fork();
    if (pid == 0) {
        if (unprivileged && geteuid() == 0) {
            struct passwd *nobody = getpwnam("nobody");
            uid_t uid = nobody ? nobody->pw_uid : 65534;
            gid_t gid = nobody ? nobody->pw_gid : 65534;
            if (setgid(gid) != 0 || setuid(uid) != 0)
                _exit(250);
        }
        int result = fn();
        fflush(stdout);
        _exit(result & 0xFF);
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid)
        return 999;
    if (WIFSIGNALED(status))
        return 1000 + WTERMSIG(status);
    return WEXITSTATUS(status);
}

void openToEveryone(const std::string &folder)
{
    chmod(folder.c_str(), 0777);
}

int killWhileSaving(int rounds, unsigned seed, const std::string &folder, const std::function<bool()> &save,
                    const std::function<void(int round)> &check)
{
    std::mt19937 random(seed);
    int completed = 0;
    for (int round = 0; round < rounds; round++) {
        int progress[2];
        if (pipe(progress) != 0)
            return -1;
        pid_t child = fork();
        if (child == 0) {
            close(progress[0]);
            for (;;)
                if (save() && write(progress[1], "s", 1) != 1)
                    _exit(1);
        }
        close(progress[1]);
        char token;
        for (int wait = (int)(random() % 3); wait > 0 && read(progress[0], &token, 1) == 1; wait--)
            completed++;
        usleep(random() % 4000);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(progress[0]);
        check(round);
        for (const auto &entry : std::filesystem::directory_iterator(folder))
            if (entry.path().filename().string()[0] == '.')
                std::filesystem::remove(entry.path());
    }
    return completed;
}
