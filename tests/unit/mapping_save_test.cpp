// Saving a mapping is all or nothing: a save that cannot be completed leaves the old file as it
// was, leaves no temporary file behind and keeps the model marked as changed.
#include <gtest/gtest.h>

#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "mapping/mapfile.h"
#include "support/mapping_support.h"

namespace {

// Files of the folder whose names start with a dot followed by name (the save's temporary files).
int temporaryFiles(const std::string &folder, const std::string &name)
{
    int n = 0;
    DIR *dir = opendir(folder.c_str());
    if (!dir)
        return -1;
    std::string prefix = "." + name + ".";
    while (dirent *entry = readdir(dir))
        if (std::string(entry->d_name).rfind(prefix, 0) == 0)
            n++;
    closedir(dir);
    return n;
}

bool canCreateFileIn(const std::string &folder)
{
    std::string probe = folder + "/probe";
    int fd = open(probe.c_str(), O_CREAT | O_WRONLY, 0644);
    if (fd < 0)
        return false;
    close(fd);
    unlink(probe.c_str());
    return true;
}

// The mapping of the test, with actions enough to make the file size bytes or more.
std::string mappingText(size_t size)
{
    std::string text = "MAPVER 2\nAPPL *GLOBAL*\n";
    for (int i = 0; text.size() < size; i++)
        text += "ACT Button" + std::to_string(i) + " KEY 0000240d 0000 -1 -1 -1 -1 OVR\n";
    return text;
}

// Saves in a child process whose files may not grow past limit bytes. Bit 0 of the result: the
// save did not return -1; bit 1: mapFileChanged was cleared; bit 2: an alert was shown.
int saveUnderSizeLimit(const char *name, rlim_t limit)
{
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit rl = { limit, limit };
        setrlimit(RLIMIT_FSIZE, &rl);
        RecordingPresenter silent;
        PRESset(&silent);
        int result = writeMapFile(name);
        _exit((result == -1 ? 0 : 1) | (mapFileChanged == 1 ? 0 : 2) | (silent.shown.empty() ? 0 : 4));
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100;
}

void expectFailedSaveUnderSizeLimit(size_t fileSize)
{
    PresenterScope scope;
    MappingFiles files(mappingText(fileSize));
    ASSERT_EQ(parseMapFile("test.map"), 0);
    std::string before = readFile(files.path("test.map"));
    mapFileChanged = 1;
    EXPECT_EQ(saveUnderSizeLimit("test.map", 10), 0);
    EXPECT_EQ(readFile(files.path("test.map")), before);
    EXPECT_EQ(temporaryFiles(files.home.prefsFolder(), "test.map"), 0);
    EXPECT_EQ(mapFileChanged, 1);
}
} // namespace

TEST(MappingSave, ReadOnlyFolderFailsAndKeepsTheOldFile)
{
    PresenterScope scope;
    MappingFiles files(mappingText(300));
    ASSERT_EQ(parseMapFile("test.map"), 0);
    std::string before = readFile(files.path("test.map"));
    mapFileChanged = 1;
    std::string folder = files.home.prefsFolder();
    ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
    if (canCreateFileIn(folder)) {
        // Permissions do not bind this user (root): a size limit makes the writes fail instead.
        chmod(folder.c_str(), 0755);
        EXPECT_EQ(saveUnderSizeLimit("test.map", 10), 0);
    } else {
        EXPECT_EQ(writeMapFile("test.map"), -1);
        chmod(folder.c_str(), 0755);
        EXPECT_EQ(scope.presenter.texts(), std::vector<std::string> { "unable to open test.map for writing" });
    }
    EXPECT_EQ(readFile(files.path("test.map")), before);
    EXPECT_EQ(temporaryFiles(folder, "test.map"), 0);
    EXPECT_EQ(mapFileChanged, 1);
}

TEST(MappingSave, WriteFailingAtTheFinalFlushKeepsTheOldFile)
{
    expectFailedSaveUnderSizeLimit(300);
}

TEST(MappingSave, WriteFailingWhileWritingKeepsTheOldFile)
{
    expectFailedSaveUnderSizeLimit(20000);
}

TEST(MappingSave, SaveThatCannotStartShowsTheAlert)
{
    PresenterScope scope;
    MappingFiles files(mappingText(100));
    ASSERT_EQ(parseMapFile("test.map"), 0);
    mapFileChanged = 1;
    EXPECT_EQ(writeMapFile("no such folder/out.map"), -1);
    EXPECT_EQ(
        scope.presenter.texts(), std::vector<std::string> { "unable to open no such folder/out.map for writing" });
    EXPECT_EQ(mapFileChanged, 1);
}

TEST(MappingSave, SuccessfulSaveReplacesTheFileAndClearsTheChangeMark)
{
    PresenterScope scope;
    MappingFiles files(mappingText(100));
    ASSERT_EQ(parseMapFile("test.map"), 0);
    theGlobalAppl->disabled = 1;
    mapFileChanged = 1;
    EXPECT_EQ(writeMapFile("test.map"), 0);
    EXPECT_EQ(mapFileChanged, 0);
    EXPECT_EQ(temporaryFiles(files.home.prefsFolder(), "test.map"), 0);
    EXPECT_EQ(readFile(files.path("test.map")).rfind("MAPVER 2\n\nAPPL *GLOBAL*\n\nDIS\nACT Button0 ", 0), 0u);
    EXPECT_TRUE(scope.presenter.shown.empty());
}
