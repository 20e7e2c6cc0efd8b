// Each shipped mapping with its remote: read without any alert, written, read again into the
// same model, and written again byte for byte as the first time.
#include <gtest/gtest.h>

#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "mapping/reconcile.h"
#include "support/mapping_support.h"

namespace {

struct Shipped {
    const char *map;
    const char *rem;
};

class PristineMapping : public ::testing::TestWithParam<Shipped> { };

// The shipped files in a fresh preferences folder, the configuration naming the pair.
void useShipped(TempConfigHome &home, const Shipped &shipped)
{
    home.install(true);
    writeFile(home.prefsFolder() + "/" VQX_CONFIG_FILE_NAME,
        std::string("UI\nMAP ") + shipped.map + "\nREM " + shipped.rem + "\nINT USB\nMEM 20000\n");
    ASSERT_EQ(readGlobalConfiguration(), 0);
}

std::string replaceAll(std::string text, const std::string &from, const std::string &to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}
} // namespace

TEST_P(PristineMapping, ReadsCleanlyAndRoundTrips)
{
    PresenterScope scope;
    TempConfigHome home;
    ASSERT_NO_FATAL_FAILURE(useShipped(home, GetParam()));
    int result = -1;
    captureStdout([](void *p) { *static_cast<int *>(p) = readMapAndRemFiles(); }, &result);
    ASSERT_EQ(result, 0);
    EXPECT_TRUE(scope.presenter.shown.empty()) << scope.presenter.texts()[0];
    EXPECT_EQ(mapFileChanged, 0);
    EXPECT_EQ(mapfileVersion, 2);
    EXPECT_EQ(mapFileError, 0);
    ModelSnapshot first = snapshotModel();
    ASSERT_GE(first.appls.size(), 3u);
    EXPECT_STREQ(theGlobalAppl->name, "*GLOBAL*");
    EXPECT_EQ(theDefaultAppl, &theActionByApplList[0]);

    ASSERT_EQ(writeMapFile("roundtrip.map"), 0);
    std::string written = readFile(home.prefsFolder() + "/roundtrip.map");
    // The shipped file is in the writer's own layout, but for the DEFAULT line, which reads back
    // as a named entry.
    std::string original = readFile(appDir() + "/" + GetParam().map);
    EXPECT_EQ(written, replaceAll(original, "\nDEFAULT\n", "\nAPPL // : default : \\\n"));

    snprintf(mapFileName, sizeof mapFileName, "roundtrip.map");
    captureStdout([](void *p) { *static_cast<int *>(p) = readMapAndRemFiles(); }, &result);
    ASSERT_EQ(result, 0);
    EXPECT_TRUE(scope.presenter.shown.empty());
    EXPECT_EQ(mapFileChanged, 0);
    expectSameModel(first, snapshotModel());

    ASSERT_EQ(writeMapFile("roundtrip2.map"), 0);
    EXPECT_EQ(readFile(home.prefsFolder() + "/roundtrip2.map"), written);
}

TEST_P(PristineMapping, HasEveryButtonOfItsRemoteAfterReconciling)
{
    PresenterScope scope;
    TempConfigHome home;
    ASSERT_NO_FATAL_FAILURE(useShipped(home, GetParam()));
    captureStdout([](void *) { readMapAndRemFiles(); }, nullptr);
    if (checkForMissingButtons())
        addAllButtonsToMap();
    reorderAllButtons();
    EXPECT_EQ(checkForMissingButtons(), 0);
    for (int i = 0; i < numApplications; i++) {
        std::vector<std::string> names = buttonNames(&theActionByApplList[i]);
        std::vector<std::string> commands = commandNames();
        ASSERT_GE(names.size(), commands.size());
        names.resize(commands.size());
        EXPECT_EQ(names, commands) << theActionByApplList[i].name;
    }
    EXPECT_TRUE(scope.presenter.shown.empty());
}

INSTANTIATE_TEST_SUITE_P(Shipped, PristineMapping,
    ::testing::Values(
        Shipped { "OrvendaVQXM1.map", "OrvendaVQXM1A.REM" }, Shipped { "OrvendaVQXM2.map", "OrvendaVQXM2A.REM" }),
    [](const ::testing::TestParamInfo<Shipped> &param) { return std::string(param.param.map).substr(0, 12); });
