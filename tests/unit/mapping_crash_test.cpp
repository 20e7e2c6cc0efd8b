// Saving a mapping is all or nothing even when the saving process is killed at any moment: the
// working file then reads without a single alert and holds either the old or the new mapping.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

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

    int completed = killWhileSaving(200, 4242, config.prefsFolder(), [] {
        theActionByApplList[2].disabled ^= 1;
        return writeMapFile(mapFileName) == 0;
    }, [&](int round) {
        std::string now = readFile(path);
        EXPECT_TRUE(now == oldContent || now == newContent) << "round " << round << ": " << now.size() << " bytes";
        EXPECT_TRUE(readQuietly(scope)) << "round " << round;
    });
    EXPECT_GE(completed, 100);
}
