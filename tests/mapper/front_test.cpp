// The names of the application in front: desktop entries read from temporary XDG data folders,
// executables read from /proc (one whose command name the kernel cuts), the order of precedence,
// and the entry a mapping read from files gives for those names.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "mapper/desktopentries.h"
#include "mapper/front.h"
#include "mapper/resolve.h"
#include "mapper/table.h"
#include "support/mapping_support.h"

namespace {

// Sets an environment variable for one scope and puts the old value back.
class EnvScope {
public:
    EnvScope(const char *name, const std::string &value)
        : name_(name)
    {
        const char *old = getenv(name);
        had_ = old != nullptr;
        if (old)
            old_ = old;
        setenv(name, value.c_str(), 1);
    }
    ~EnvScope()
    {
        if (had_)
            setenv(name_, old_.c_str(), 1);
        else
            unsetenv(name_);
    }

private:
    const char *name_;
    std::string old_;
    bool had_ = false;
};

void makeFolders(const std::string &path)
{
    for (size_t i = 1; i <= path.size(); i++)
        if (i == path.size() || path[i] == '/')
            mkdir(path.substr(0, i).c_str(), 0755);
}

void entry(const std::string &folder, const std::string &file, const std::string &text)
{
    makeFolders(folder + "/" + file.substr(0, file.rfind('/') == std::string::npos ? 0 : file.rfind('/')));
    writeFile(folder + "/" + file, text);
}

// Two data folders: a user's (home) and a system one (system), with entries that test each rule.
struct DataFolders {
    TestFolder folder;
    std::string home, system;
    DataFolders()
    {
        home = folder.file("home/applications");
        system = folder.file("system/applications");
        makeFolders(home);
        makeFolders(system);
        // Its class is nothing like its id.
        entry(system, "org.example.Viewer.desktop",
            "[Desktop Entry]\nType=Application\nName=Viewer\nExec=viewer\nStartupWMClass=pixview-main\n");
        // No StartupWMClass: found by its file name.
        entry(system, "firefox.desktop", "[Desktop Entry]\nType=Application\nName=Firefox\nExec=firefox %u\n");
        // In a subfolder: the id is kde4-okular.
        entry(system, "kde4/okular.desktop", "[Desktop Entry]\nName=Okular\nStartupWMClass=okular-kde4\n");
        // The user's copy of a system entry decides; the system's class is not seen.
        entry(system, "org.example.Editor.desktop", "[Desktop Entry]\nName=Editor\nStartupWMClass=old-editor\n");
        entry(home, "org.example.Editor.desktop", "[Desktop Entry]\nName=Editor\nStartupWMClass=new-editor\n");
        // Hidden in the user's folder: the system's entry counts as deleted.
        entry(system, "org.example.Gone.desktop", "[Desktop Entry]\nName=Gone\nStartupWMClass=gone-class\n");
        entry(home, "org.example.Gone.desktop", "[Desktop Entry]\nHidden=true\n");
        // A StartupWMClass outside the main group is not the entry's.
        entry(system, "org.example.Other.desktop",
            "[Desktop Action New]\nStartupWMClass=other-class\n[Desktop Entry]\nName=Other\n");
        // Not an entry at all.
        writeFile(system + "/notes.txt", "StartupWMClass=notes\n");
    }
};

// A copy of a program under a name longer than the kernel keeps as the command name, started
// with arguments; stopped and reaped by the destructor.
struct LongNamedProcess {
    std::string path;
    pid_t pid = -1;
    LongNamedProcess(const std::string &folder, const std::string &name)
    {
        path = folder + "/" + name;
        writeFile(path, readFile("/bin/sleep"));
        chmod(path.c_str(), 0755);
        pid = fork();
        if (pid == 0) {
            execl(path.c_str(), path.c_str(), "30", (char *)nullptr);
            _exit(127);
        }
        // Until the exec has happened the child is still this test program.
        char link[64], target[PATH_MAX];
        snprintf(link, sizeof link, "/proc/%d/exe", (int)pid);
        for (int i = 0; i < 2000; i++) {
            ssize_t n = readlink(link, target, sizeof target - 1);
            if (n > 0 && std::string(target, (size_t)n) == path)
                break;
            usleep(1000);
        }
    }
    ~LongNamedProcess()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }
};

const char *kLongName = "vqx-a-very-long-program-name";

FRTwindow window(const std::string &appId, const std::string &windowClass, const std::string &instance, uint32_t pid)
{
    FRTwindow w;
    w.appId = appId;
    w.windowClass = windowClass;
    w.instance = instance;
    w.pid = pid;
    w.none = false;
    return w;
}

} // namespace

TEST(FrontNamesTest, DataFoldersComeFromTheEnvironmentInOrder)
{
    {
        EnvScope home("XDG_DATA_HOME", "/data/home/");
        EnvScope dirs("XDG_DATA_DIRS", "/data/one:relative/ignored::/data/two/:/data/one");
        std::vector<std::string> want
            = { "/data/home/applications", "/data/one/applications", "/data/two/applications" };
        EXPECT_EQ(DSEfolders(), want);
    }
    {
        EnvScope user("HOME", "/home/someone");
        EnvScope home("XDG_DATA_HOME", "");
        EnvScope dirs("XDG_DATA_DIRS", "");
        std::vector<std::string> want
            = { "/home/someone/.local/share/applications", "/usr/local/share/applications", "/usr/share/applications" };
        EXPECT_EQ(DSEfolders(), want);
    }
}

TEST(FrontNamesTest, ADesktopEntryIsReadFromItsMainGroupOnly)
{
    DSEfile f = DSEparse("# comment\n[Desktop Entry]\n  StartupWMClass = My\\sApp \nHidden=false\n"
                         "[Desktop Action x]\nStartupWMClass=other\nHidden=true\n");
    EXPECT_EQ(f.wmClass, "My App");
    EXPECT_FALSE(f.hidden);
    EXPECT_TRUE(DSEparse("[Desktop Entry]\nHidden=true\n").hidden);
    EXPECT_EQ(DSEparse("StartupWMClass=before-any-group\n[Desktop Entry]\n").wmClass, "");
    // A localized key is another key.
    EXPECT_EQ(DSEparse("[Desktop Entry]\nStartupWMClass[de]=x\n").wmClass, "");
}

TEST(FrontNamesTest, AWindowClassGivesTheIdOfItsDesktopEntry)
{
    DataFolders data;
    DSEindex index = DSEscan({ data.home, data.system });
    // An id that differs from the class, through StartupWMClass.
    EXPECT_EQ(DSEidForClass(index, "pixview-main", ""), "org.example.Viewer");
    EXPECT_EQ(DSEidForClass(index, "PixView", "pixview-main"), "org.example.Viewer");
    // A subfolder's entry is named with a '-'.
    EXPECT_EQ(DSEidForClass(index, "okular-kde4", ""), "kde4-okular");
    // The file name, exactly or ignoring case.
    EXPECT_EQ(DSEidForClass(index, "firefox", ""), "firefox");
    EXPECT_EQ(DSEidForClass(index, "Firefox", "Navigator"), "firefox");
    // The user's entry hides the system's, and a hidden one hides it altogether.
    EXPECT_EQ(DSEidForClass(index, "new-editor", ""), "org.example.Editor");
    EXPECT_EQ(DSEidForClass(index, "old-editor", ""), "");
    EXPECT_EQ(DSEidForClass(index, "gone-class", ""), "");
    EXPECT_EQ(DSEidForClass(index, "other-class", ""), "");
    EXPECT_EQ(DSEidForClass(index, "notes", ""), "");
    EXPECT_EQ(DSEidForClass(index, "", ""), "");
    // StartupWMClass is compared exactly.
    EXPECT_EQ(DSEidForClass(index, "PIXVIEW-MAIN", ""), "");
}

TEST(FrontNamesTest, TheExecutableNameIsNotCutAtFifteenCharacters)
{
    TestFolder folder;
    LongNamedProcess process(folder.path, kLongName);
    ASSERT_GT(process.pid, 0);
    // The kernel's own name for it is cut.
    std::string comm = readFile("/proc/" + std::to_string(process.pid) + "/comm");
    ASSERT_EQ(comm, std::string(kLongName).substr(0, 15) + "\n");
    EXPECT_EQ(FRTexecutableName((uint32_t)process.pid), kLongName);
    EXPECT_EQ(FRTexecutableName(0), "");

    // Read by another user, the exe link is closed: the command name and first argument tell it.
    if (geteuid() != 0) {
        printf("skipped: reading another user's process needs root to switch users\n");
        return;
    }
    uint32_t pid = (uint32_t)process.pid;
    int result = runInChild(
        [pid]() {
            char target[PATH_MAX];
            std::string link = "/proc/" + std::to_string(pid) + "/exe";
            if (readlink(link.c_str(), target, sizeof target) >= 0)
                return 3; // the link is open after all: not the case tested
            return FRTexecutableName(pid) == kLongName ? 0 : 1;
        },
        true);
    EXPECT_EQ(result, 0);
}

TEST(FrontNamesTest, ACutCommandNameIsCompletedFromTheFirstArgumentOnly)
{
    EXPECT_EQ(FRTnameFromComm("vqx-a-very-long", "/opt/x/vqx-a-very-long-program-name"), kLongName);
    // A short command name is whole already.
    EXPECT_EQ(FRTnameFromComm("vlc", "/usr/bin/vlc-wrapper"), "vlc");
    // The first argument of another program (an interpreter's script, a renamed argv[0]).
    EXPECT_EQ(FRTnameFromComm("some-long-scrip", "python3"), "some-long-scrip");
    EXPECT_EQ(FRTnameFromComm("some-long-scrip", ""), "some-long-scrip");
}

TEST(FrontNamesTest, WmClassSplitsIntoInstanceAndClass)
{
    std::string instance, windowClass;
    FRTsplitClass(std::string("navigator\0Firefox\0", 18), &instance, &windowClass);
    EXPECT_EQ(instance, "navigator");
    EXPECT_EQ(windowClass, "Firefox");
    FRTsplitClass("only", &instance, &windowClass);
    EXPECT_EQ(instance, "only");
    EXPECT_EQ(windowClass, "");
}

TEST(FrontNamesTest, NamesComeInTheirOrderOfPrecedence)
{
    DataFolders data;
    DSEindex index = DSEscan({ data.home, data.system });
    TestFolder folder;
    LongNamedProcess process(folder.path, kLongName);
    uint32_t pid = (uint32_t)process.pid;

    // The window's own id, without ".desktop", before the entry its class would give.
    std::vector<std::string> want = { "org.gnome.Totem", kLongName, "pixview-main", "pix" };
    EXPECT_EQ(FRTnames(window("org.gnome.Totem.desktop", "pixview-main", "pix", pid), &index), want);
    // No id of its own: the entry found by class.
    want = { "org.example.Viewer", kLongName, "pixview-main", "pix" };
    EXPECT_EQ(FRTnames(window("", "pixview-main", "pix", pid), &index), want);
    // No entry at all: executable, class, instance; repeats left out.
    want = { kLongName, "Unknown", "unknown" };
    EXPECT_EQ(FRTnames(window("", "Unknown", "unknown", pid), &index), want);
    want = { "Same" };
    EXPECT_EQ(FRTnames(window("", "Same", "Same", 0), &index), want);
    // Without desktop entries the class stays a class.
    want = { "pixview-main" };
    EXPECT_EQ(FRTnames(window("", "pixview-main", "", 0), nullptr), want);
    // No window in front: no names.
    FRTwindow none;
    none.windowClass = "ignored";
    EXPECT_TRUE(FRTnames(none, &index).empty());
}

TEST(FrontNamesTest, TheNamesSelectTheMappingsEntryExactly)
{
    // Entries: 0 default, 1 global, 2 org.example.Viewer, 3 pixview-main, 4 firefox,
    // 5 the long-named program, 6 Unknown-Class.
    const char *map = "MAPVER 2\n\nDEFAULT\n\nACT Play KEY 00003100 0000 -1 -1 0 0 OVR\n"
                      "\nAPPL *GLOBAL*\n\nACT Play KEY 00003101 0000 -1 -1 0 0\n"
                      "\nAPPL org.example.Viewer\n\nACT Play KEY 00003102 0000 -1 -1 0 0 OVR\n"
                      "\nAPPL pixview-main\n\nACT Play KEY 00003103 0000 -1 -1 0 0 OVR\n"
                      "\nAPPL firefox\n\nACT Play KEY 00003104 0000 -1 -1 0 0 OVR\n"
                      "\nAPPL vqx-a-very-long-program-name\n\nACT Play KEY 00003105 0000 -1 -1 0 0 OVR\n"
                      "\nAPPL Unknown-Class\n\nACT Play KEY 00003106 0000 -1 -1 0 0 OVR\n";
    MTABtable t;
    {
        PresenterScope scope;
        MappingFiles files(map, "FRQ 38000\nBIT 560\nCMD Play 1008 0101 0103\n");
        ASSERT_EQ(readMapAndRemFiles(), 0);
        t = MTABcompile();
    }
    ASSERT_EQ(t.entries.size(), 7u);
    DataFolders data;
    DSEindex index = DSEscan({ data.home, data.system });
    TestFolder folder;
    LongNamedProcess process(folder.path, kLongName);
    uint32_t pid = (uint32_t)process.pid;

    auto entryFor = [&](const FRTwindow &w) { return RESentryFor(t, FRTnames(w, &index)); };
    // The desktop entry id wins over an entry named after the class.
    EXPECT_EQ(entryFor(window("", "pixview-main", "", 0)), 2);
    // Without the desktop entries the class is what matches.
    EXPECT_EQ(RESentryFor(t, FRTnames(window("", "pixview-main", "", 0), nullptr)), 3);
    // "Firefox" finds the entry firefox through firefox.desktop; a class alone does not.
    EXPECT_EQ(entryFor(window("", "Firefox", "Navigator", 0)), 4);
    EXPECT_EQ(RESentryFor(t, FRTnames(window("", "Firefox", "Navigator", 0), nullptr)), 0);
    // The executable before the class; the whole name, not the kernel's cut one.
    EXPECT_EQ(entryFor(window("", "Unknown-Class", "", pid)), 5);
    EXPECT_EQ(entryFor(window("", "Unknown-Class", "", 0)), 6);
    // Names are compared exactly: another case is another application.
    EXPECT_EQ(entryFor(window("", "unknown-class", "UNKNOWN-CLASS", 0)), 0);
    // Nothing in front: the default entry.
    EXPECT_EQ(entryFor(FRTwindow()), 0);
}
