// Saving a mapping is all or nothing even when the saving process is killed at any moment: the
// working file then reads without a single alert and holds either the old or the new mapping.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <random>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "support/mapping_support.h"

namespace {
// Reads the configuration and the mapping it names; true when that showed nothing.
bool readQuietly(PresenterScope &scope)
{
    scope.presenter.clear();
    int result = -1;
    captureStdout([](void *r) {
        *(int *)r = readGlobalConfiguration() == 0 && readMapAndRemFiles() == 0 ? 0 : -1;
    }, &result);
    return result == 0 && scope.presenter.shown.empty();
}
} // namespace

TEST(MappingCrashSafety, KilledSavesLeaveAReadableOldOrNewMapping)
{
    TempConfigHome config;
    config.install(true);
    PresenterScope scope;
    ASSERT_TRUE(readQuietly(scope));
    const std::string path = config.prefsFolder() + "/" + mapFileName;
    // The two contents a save can leave: as read (written once) and with the second entry's
    // disabled flag turned over.
    ASSERT_EQ(writeMapFile(mapFileName), 0);
    const std::string oldContent = readFile(path);
    theActionByApplList[2].disabled ^= 1;
    ASSERT_EQ(writeMapFile(mapFileName), 0);
    const std::string newContent = readFile(path);
    ASSERT_NE(oldContent, newContent);
    ASSERT_GT(oldContent.size(), 8000u);

    std::mt19937 random(4242);
    int completed = 0;
    for (int round = 0; round < 200; round++) {
        int progress[2];
        ASSERT_EQ(pipe(progress), 0);
        pid_t child = fork();
        if (child == 0) {
            close(progress[0]);
            for (;;) {
                theActionByApplList[2].disabled ^= 1;
                if (writeMapFile(mapFileName) == 0 && write(progress[1], "s", 1) != 1)
                    _exit(1);
            }
        }
        close(progress[1]);
        char done;
        for (int wait = (int)(random() % 3); wait > 0 && read(progress[0], &done, 1) == 1; wait--)
            completed++;
        usleep(random() % 3000);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(progress[0]);
        std::string now = readFile(path);
        ASSERT_TRUE(now == oldContent || now == newContent) << "round " << round << ": " << now.size() << " bytes";
        ASSERT_TRUE(readQuietly(scope)) << "round " << round;
        for (const auto &entry : std::filesystem::directory_iterator(config.prefsFolder()))
            if (entry.path().filename().string()[0] == '.')
                std::filesystem::remove(entry.path());
    }
    EXPECT_GE(completed, 100);
}
