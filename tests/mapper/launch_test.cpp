// The opener the Mapper's launch actions use: an executable started detached, a ".desktop" entry
// started by its Exec line, a document handed to the document opener, a missing path refused.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "mapperlink/launch.h"
#include "support/test_support.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

// Waits up to `limit` for the file to hold `text`.
bool waitForContent(const std::string &path, const std::string &text, std::chrono::milliseconds limit)
{
    Clock::time_point end = Clock::now() + limit;
    while (!(fileExists(path) && readFile(path) == text)) {
        if (Clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

std::vector<std::string> documentsOpened;
int recordDocument(const char *path)
{
    documentsOpened.push_back(path);
    return 0;
}

// Records what would go to the desktop's document handler for the lifetime of the object.
struct RecordDocuments {
    VQXLAUNCHopenProc previous;
    RecordDocuments()
    {
        documentsOpened.clear();
        previous = VQXLAUNCHsetDocumentOpener(recordDocument);
    }
    ~RecordDocuments() { VQXLAUNCHsetDocumentOpener(previous); }
};

} // namespace

TEST(LaunchTest, AnExecutableIsStartedDetachedAndRuns)
{
    TestFolder dir;
    std::string program = dir.file("slow-program"), marker = dir.file("marker");
    writeFile(program, "#!/bin/sh\nsleep 0.5\necho ran > '" + marker + "'\n");
    ASSERT_EQ(chmod(program.c_str(), 0755), 0);
    RecordDocuments documents;
    Clock::time_point t0 = Clock::now();
    int result = VQXLAUNCHopenPath(program.c_str());
    auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0);
    EXPECT_EQ(result, 0);
    // The call came back while the program still sleeps.
    EXPECT_LT(took.count(), 400);
    EXPECT_FALSE(fileExists(marker));
    EXPECT_TRUE(waitForContent(marker, "ran\n", std::chrono::seconds(5)));
    EXPECT_TRUE(documentsOpened.empty());
}

TEST(LaunchTest, ADesktopEntryIsStartedByItsExecLine)
{
    TestFolder dir;
    std::string entry = dir.file("writer.desktop"), marker = dir.file("marker");
    writeFile(entry,
        "[Desktop Entry]\nType=Application\nName=Writer\nExec=/bin/sh -c \"echo from the entry > '" + marker
            + "'\" %U\n[Desktop Action other]\nExec=/bin/false\n");
    RecordDocuments documents;
    EXPECT_EQ(VQXLAUNCHopenPath(entry.c_str()), 0);
    EXPECT_TRUE(waitForContent(marker, "from the entry\n", std::chrono::seconds(5)));
    EXPECT_TRUE(documentsOpened.empty());
}

TEST(LaunchTest, ADocumentGoesToTheDesktopsHandler)
{
    TestFolder dir;
    std::string document = dir.file("notes.txt");
    writeFile(document, "not a program\n");
    RecordDocuments documents;
    EXPECT_EQ(VQXLAUNCHopenPath(document.c_str()), 0);
    ASSERT_EQ(documentsOpened.size(), 1u);
    EXPECT_EQ(documentsOpened[0], document);
}

TEST(LaunchTest, AMissingPathIsAnError)
{
    TestFolder dir;
    std::string missing = dir.file("no-such-program");
    RecordDocuments documents;
    EXPECT_EQ(VQXLAUNCHopenPath(missing.c_str()), kLaunchFileNotFound);
    EXPECT_EQ(VQXLAUNCHopenPath(dir.file("gone.desktop").c_str()), kLaunchFileNotFound);
    EXPECT_TRUE(documentsOpened.empty());
}
