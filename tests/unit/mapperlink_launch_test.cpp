// Starting applications: executables and ".desktop" entries really start, documents go to the
// document opener, the Mapper bundle is found beside the program, and failures are traced.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "mapperlink/launch.h"
#include "mapperlink/mapperapi.h"
#include "shell/files.h"
#include "unit/mapperlink_support.h"

using namespace mapperlinktest;
namespace fs = std::filesystem;

namespace {

// A temporary folder removed at the end of the test.
struct TempFolder {
    std::string path;
    TempFolder()
    {
        char pattern[] = "/tmp/vqx-launch-XXXXXX";
        path = mkdtemp(pattern);
    }
    ~TempFolder()
    {
        std::error_code ec;
        fs::remove_all(path, ec);
    }
};

// A temporary folder that is also the program's folder, and so its resources folder.
struct ProgramFolder : TempFolder {
    std::string program = path + "/vqx-map-editor";
    ProgramFolder() { mainArgs0 = program.c_str(); }
};

void writeExecutable(const std::string &path, const std::string &text)
{
    writeFile(path, text);
    chmod(path.c_str(), 0755);
}

FSSpec fsspecOf(const std::string &path)
{
    FSSpec target;
    snprintf(target.path, sizeof target.path, "%s", path.c_str());
    return target;
}

std::vector<std::string> documents; // paths handed to the recording document opener

int recordDocument(const char *path)
{
    documents.push_back(path);
    return 0;
}
} // namespace

TEST(Launching, ExecutableIsStartedDetached)
{
    TempFolder dir;
    std::string marker = dir.path + "/ran";
    writeExecutable(dir.path + "/tool", "#!/bin/sh\necho started > '" + marker + "'\n");
    FSSpec target = fsspecOf(dir.path + "/tool");
    ASSERT_EQ(SendFinderAELaunchApp(&target), 0);
    ASSERT_TRUE(waitFor([&] { return readFile(marker) == "started\n"; }, 10000));
}

TEST(Launching, DesktopEntryIsLaunchedByExecWithFieldCodesRemoved)
{
    TempFolder dir;
    std::string marker = dir.path + "/desktop ran";
    writeExecutable(dir.path + "/write-args", "#!/bin/sh\nprintf '%s|' \"$@\" > \"$1\"\n");
    // Not executable itself: the Exec line is what runs, with its field codes taken out.
    writeFile(dir.path + "/tool.desktop", "[Desktop Entry]\nType=Application\nName=Tool\n"
                                          "Exec=\"" + dir.path + "/write-args\" \"" + marker +
                                              "\" %U 100%% %f\n"
                                              "[Desktop Action other]\nExec=/bin/false\n");
    FSSpec target = fsspecOf(dir.path + "/tool.desktop");
    VQXLAUNCHsetDocumentOpener(recordDocument);
    documents.clear();
    ASSERT_EQ(SendFinderAELaunchApp(&target), 0);
    ASSERT_TRUE(waitFor([&] { return !readFile(marker).empty(); }, 10000));
    EXPECT_EQ(readFile(marker), marker + "|100%|");
    EXPECT_TRUE(documents.empty());
}

TEST(Launching, DesktopEntryWithoutExecFails)
{
    TempFolder dir;
    writeFile(dir.path + "/broken.desktop", "[Desktop Entry]\nType=Application\nName=Broken\n");
    FSSpec target = fsspecOf(dir.path + "/broken.desktop");
    EXPECT_EQ(SendFinderAELaunchApp(&target), kLaunchFailed);
}

TEST(Launching, LinkEntryOpensItsUrlAsDocument)
{
    TempFolder dir;
    writeFile(dir.path + "/site.desktop", "[Desktop Entry]\nType=Link\nURL=https://example.org/\n");
    VQXLAUNCHsetDocumentOpener(recordDocument);
    documents.clear();
    FSSpec target = fsspecOf(dir.path + "/site.desktop");
    EXPECT_EQ(SendFinderAELaunchApp(&target), 0);
    EXPECT_EQ(documents, std::vector<std::string>{"https://example.org/"});
}

TEST(Launching, OtherFilesGoToDocumentOpener)
{
    TempFolder dir;
    writeFile(dir.path + "/notes.txt", "hello\n");
    VQXLAUNCHsetDocumentOpener(recordDocument);
    documents.clear();
    FSSpec target = fsspecOf(dir.path + "/notes.txt");
    EXPECT_EQ(SendFinderAELaunchApp(&target), 0);
    FSSpec folder = fsspecOf(dir.path);
    EXPECT_EQ(SendFinderAELaunchApp(&folder), 0);
    EXPECT_EQ(documents, (std::vector<std::string>{dir.path + "/notes.txt", dir.path}));
}

TEST(Launching, ReplacedOpenerReceivesPath)
{
    VQXLAUNCHsetOpener(recordDocument);
    documents.clear();
    FSSpec target = fsspecOf("/nowhere/at/all");
    EXPECT_EQ(SendFinderAELaunchApp(&target), 0);
    EXPECT_EQ(documents, std::vector<std::string>{"/nowhere/at/all"});
    VQXLAUNCHsetOpener(nullptr);
    EXPECT_EQ(SendFinderAELaunchApp(&target), kLaunchFileNotFound);
}

TEST(Launching, MissingPathGivesNotFound)
{
    FSSpec target = fsspecOf("/nonexistent/vqx/app");
    EXPECT_EQ(SendFinderAELaunchApp(&target), -43);
    FSSpec empty = fsspecOf("");
    EXPECT_EQ(SendFinderAELaunchApp(&empty), -43);
}

TEST(Launching, LaunchEventStartsItsPath)
{
    TempFolder dir;
    std::string marker = dir.path + "/event";
    writeExecutable(dir.path + "/app", "#!/bin/sh\necho event > '" + marker + "'\n");
    static LaunchEvent action;
    memset(&action, 0, sizeof action);
    snprintf(action.path, sizeof action.path, "%s/app", dir.path.c_str());
    std::string out = captureOutput([] { EXPECT_EQ(VQXLAUNCHevent(nullptr, &action, 1), 0); });
    EXPECT_EQ(out, "");
    ASSERT_TRUE(waitFor([&] { return readFile(marker) == "event\n"; }, 10000));
}

TEST(Launching, LaunchEventWithMissingPathIsTraced)
{
    static LaunchEvent action;
    memset(&action, 0, sizeof action);
    strcpy(action.path, "/nonexistent/vqx/Player");
    std::string out = captureOutput([] { EXPECT_EQ(VQXLAUNCHevent(nullptr, &action, 1), -43); });
    EXPECT_EQ(out, "Orvenda VQX ERROR: unable to launch [/nonexistent/vqx/Player] (FSPathMakeRef returns -43)\n");
}

TEST(Launching, LaunchEventFailureOfOpenerIsTraced)
{
    TempFolder dir;
    writeFile(dir.path + "/doc", "x");
    static LaunchEvent action;
    memset(&action, 0, sizeof action);
    snprintf(action.path, sizeof action.path, "%s/doc", dir.path.c_str());
    VQXLAUNCHsetOpener([](const char *) { return -600; });
    std::string out = captureOutput([] { EXPECT_EQ(VQXLAUNCHevent(nullptr, &action, 1), -600); });
    EXPECT_EQ(out, "Orvenda VQX ERROR: Launch Failure--Error -600 for " + dir.path + "/doc\n");
}

TEST(Launching, ShowOSEventsTracesLaunch)
{
    static LaunchEvent action;
    memset(&action, 0, sizeof action);
    strcpy(action.path, "/nonexistent/Thing");
    showOSEvents = 1;
    std::string out = captureOutput([] { VQXLAUNCHevent(nullptr, &action, 1); });
    EXPECT_EQ(out.rfind("Launch: /nonexistent/Thing\n", 0), 0u) << out;
}

TEST(Launching, MapperBundleIsStartedFromResourcesFolder)
{
    ProgramFolder dir;
    std::string marker = dir.path + "/mapper";
    writeExecutable(dir.path + "/VQXMapperApplication.app", "#!/bin/sh\necho mapper > '" + marker + "'\n");
    std::string out = captureOutput([] { VQXLAUNCHapplication("VQXMapperApplication.app"); });
    EXPECT_EQ(out, "");
    ASSERT_TRUE(waitFor([&] { return readFile(marker) == "mapper\n"; }, 10000));
}

TEST(Launching, MissingBundleIsTraced)
{
    ProgramFolder dir;
    std::string out = captureOutput([] { VQXLAUNCHapplication("VQXMapperApplication.app"); });
    EXPECT_EQ(out, "Orvenda VQX ERROR: unable to launch [VQXMapperApplication.app] -- FSPathMakeRef returns -43\n");
}

TEST(Launching, BundleFailingToOpenIsTracedWithSixteenBitError)
{
    ProgramFolder dir;
    writeFile(dir.path + "/Other.app", "x");
    VQXLAUNCHsetOpener([](const char *) { return -70000; });
    std::string out = captureOutput([] { VQXLAUNCHapplication("Other.app"); });
    EXPECT_EQ(out, "Orvenda VQX ERROR: unable to launch [Other.app] -- error " + std::to_string((int16_t)-70000) + "\n");
}

TEST(Launching, NoProgramPathIsTraced)
{
    mainArgs0 = "";
    std::string out = captureOutput([] { VQXLAUNCHapplication("VQXMapperApplication.app"); });
    EXPECT_EQ(out, "Orvenda VQX ERROR: unable to launch [VQXMapperApplication.app] -- can't get local path\n");
}

TEST(Launching, MainBundleNeedsPreviousPathWithContentsResources)
{
    ProgramFolder dir;
    std::string out = captureOutput([] { VQXLAUNCHapplication("OrvendaVQX.app"); });
    EXPECT_EQ(out,
              "Orvenda VQX ERROR: unable to launch [OrvendaVQX.app] -- path doesn't contain '/Contents/Resources'\n");
    // After a call whose path ran through a bundle's resources, the bundle itself is opened.
    fs::create_directories(dir.path + "/OrvendaVQX.app/Contents/Resources");
    std::string inside = dir.path + "/OrvendaVQX.app/Contents/Resources/vqx-map-editor";
    mainArgs0 = inside.c_str();
    VQXLAUNCHsetOpener(recordDocument);
    documents.clear();
    VQXLAUNCHapplication("Missing.app");
    VQXLAUNCHapplication("OrvendaVQX.app");
    EXPECT_EQ(documents, std::vector<std::string>{dir.path + "/OrvendaVQX.app"});
}
