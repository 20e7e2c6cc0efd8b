// The check's probes on what this machine has: receivers that are no receivers or may not be read,
// FIFOs and sockets standing in for sources, a probe that hangs cut off in time, the way the
// window in front is known chosen from the session's variables, and the report's lines.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "mapper/check.h"
#include "support/test_support.h"

namespace {
bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}
} // namespace

TEST(CheckChildTest, LinesOfAProbeComeBackWhole)
{
    CHKchild child = CHKstart("probe", 5000, []() {
        std::vector<CHKline> lines(2);
        lines[0].state = CHK_OK;
        lines[0].item = "first";
        lines[0].text = "with\ta tab\nand a line end";
        lines[1].state = CHK_NOT;
        lines[1].item = "second";
        lines[1].text = "broken";
        lines[1].fix = "mend it";
        return lines;
    });
    std::vector<CHKline> lines = CHKfinish(&child);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].state, CHK_OK);
    EXPECT_EQ(lines[0].item, "first");
    EXPECT_EQ(lines[0].text, "with a tab and a line end");
    EXPECT_EQ(lines[0].fix, "");
    EXPECT_EQ(lines[1].state, CHK_NOT);
    EXPECT_EQ(lines[1].fix, "mend it");
}

TEST(CheckChildTest, ProbeThatHangsIsCutOffWithANotLine)
{
    auto start = std::chrono::steady_clock::now();
    CHKchild child = CHKstart("slow server", 300, []() {
        for (;;)
            pause();
        return std::vector<CHKline>();
    });
    std::vector<CHKline> lines = CHKfinish(&child);
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].state, CHK_NOT);
    EXPECT_EQ(lines[0].item, "slow server");
    EXPECT_TRUE(contains(lines[0].text, "no answer")) << lines[0].text;
    EXPECT_LT(seconds, 10.0); // loosely: it did not wait for the probe
    // A probe that dies says nothing: that is a NOT line too.
    child = CHKstart("crash", 5000, []() -> std::vector<CHKline> { _exit(3); });
    lines = CHKfinish(&child);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].state, CHK_NOT);
}

TEST(CheckSourceTest, FifoAsReceiverIsReadableAndAMissingPathIsNot)
{
    TestFolder folder;
    std::string fifo = folder.file("lirc-fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    bool readable = false;
    CHKline l = CHKsource(fifo, folder.path, &readable);
    EXPECT_TRUE(readable);
    EXPECT_EQ(l.state, CHK_OK);
    EXPECT_TRUE(contains(l.text, "FIFO"));
    readable = false;
    l = CHKsource(folder.file("lirc9"), folder.path, &readable);
    EXPECT_FALSE(readable);
    EXPECT_EQ(l.state, CHK_NOT);
    EXPECT_FALSE(l.fix.empty());
    l = CHKsource("bluetooth", folder.path, &readable);
    EXPECT_EQ(l.state, CHK_NOT);
    EXPECT_TRUE(contains(l.fix, "INT USB"));
    l = CHKsource("lircd:" + folder.file("no-socket"), folder.path, &readable);
    EXPECT_FALSE(readable);
    EXPECT_EQ(l.state, CHK_NOT);
    EXPECT_TRUE(contains(l.fix, "lircd"));
    l = CHKsource("evdev:", folder.path, &readable);
    EXPECT_EQ(l.state, CHK_NOT);
}

TEST(CheckSourceTest, AutomaticChoiceWithoutReceiversIsNotReadable)
{
    TestFolder folder;
    bool any = true;
    std::vector<CHKline> lines = CHKreceivers(folder.path, &any);
    EXPECT_FALSE(any);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].state, CHK_NOT);
    EXPECT_TRUE(contains(lines[0].fix, "plug"));
    // A file named like a receiver that is none.
    writeFile(folder.file("lirc0"), "");
    lines = CHKreceivers(folder.path, &any);
    EXPECT_FALSE(any);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].item, "receiver " + folder.file("lirc0"));
    EXPECT_TRUE(contains(lines[0].text, "not an infrared receiver"));
    bool readable = true;
    CHKline l = CHKsource("USB IR Receiver", folder.path, &readable);
    if (CHKlircd("").state != CHK_OK) {
        EXPECT_FALSE(readable);
        EXPECT_EQ(l.state, CHK_NOT);
    }
}

TEST(CheckSourceTest, ReceiverThatMayNotBeReadGivesTheUdevRule)
{
    TestFolder folder;
    std::string node = folder.file("lirc0");
    if (mknod(node.c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0) {
        printf("skipped: no device node can be made here (%s)\n", strerror(errno));
        return;
    }
    openToEveryone(folder.path);
    // As an ordinary user: the node belongs to root and only root may open it.
    int status = runInChild(
        [&]() {
            bool any = false;
            std::vector<CHKline> lines = CHKreceivers(folder.path, &any);
            if (any || lines.size() != 1 || lines[0].state != CHK_NOT)
                return 1;
            if (!contains(lines[0].text, "permission denied"))
                return 2;
            return contains(lines[0].fix, "KERNEL==\"lirc[0-9]*\", TAG+=\"uaccess\"") ? 0 : 3;
        },
        true);
    EXPECT_EQ(status, 0);
}

TEST(CheckSourceTest, LircdSocketThatListensIsOkAndAMissingOneIsANote)
{
    TestFolder folder;
    std::string path = folder.file("lircd");
    EXPECT_EQ(CHKlircd(path).state, CHK_NOTE);
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    struct sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(fd, (struct sockaddr *)&address, sizeof address), 0);
    ASSERT_EQ(listen(fd, 4), 0);
    CHKline l = CHKlircd(path);
    EXPECT_EQ(l.state, CHK_OK);
    bool readable = false;
    EXPECT_EQ(CHKsource("lircd:" + path, folder.path, &readable).state, CHK_OK);
    EXPECT_TRUE(readable);
    close(fd);
}

TEST(CheckOutputTest, MissingUinputNamesTheModule)
{
    TestFolder folder;
    bool usable = true;
    CHKline l = CHKuinput(folder.file("uinput"), &usable);
    EXPECT_FALSE(usable);
    EXPECT_EQ(l.state, CHK_NOT);
    EXPECT_TRUE(contains(l.fix, "modprobe uinput"));
    writeFile(folder.file("uinput"), "");
    usable = false;
    EXPECT_EQ(CHKuinput(folder.file("uinput"), &usable).state, CHK_OK);
    EXPECT_TRUE(usable);
}

TEST(CheckFrontTest, WayOfKnowingTheFrontApplicationFollowsTheSession)
{
    EXPECT_EQ(CHKfrontKind("GNOME", "wayland-0", ":0"), CHK_FRONT_EXTENSION);
    EXPECT_EQ(CHKfrontKind("ubuntu:GNOME", nullptr, ":0"), CHK_FRONT_EXTENSION);
    EXPECT_EQ(CHKfrontKind("KDE", "wayland-0", nullptr), CHK_FRONT_EXTENSION);
    EXPECT_EQ(CHKfrontKind("sway", "wayland-1", nullptr), CHK_FRONT_WLROOTS);
    EXPECT_EQ(CHKfrontKind(nullptr, "wayland-1", ":0"), CHK_FRONT_WLROOTS);
    EXPECT_EQ(CHKfrontKind("XFCE", "", ":0"), CHK_FRONT_X11);
    EXPECT_EQ(CHKfrontKind(nullptr, nullptr, nullptr), CHK_FRONT_NONE);
    EXPECT_EQ(CHKfrontKind("", "", ""), CHK_FRONT_NONE);
}

TEST(CheckReportTest, LinesShowTheStateTheItemAndTheFix)
{
    CHKline l;
    l.state = CHK_NOT;
    l.item = "uinput";
    l.text = "/dev/uinput: permission denied";
    l.fix = "install the rule";
    EXPECT_EQ(CHKformat(l), "NOT  uinput: /dev/uinput: permission denied\n     fix: install the rule\n");
    l.state = CHK_OK;
    l.fix.clear();
    EXPECT_EQ(CHKformat(l), "OK   uinput: /dev/uinput: permission denied\n");
}

TEST(CheckReportTest, FilesMissingMeanAPressWouldNotWork)
{
    TempConfigHome home; // no preferences folder at all
    TestFolder dev;
    CHKoptions options;
    options.devDir = dev.path;
    options.timeoutMs = 3000;
    CHKreport report = CHKcollect(options);
    EXPECT_FALSE(report.mappingRead);
    EXPECT_FALSE(report.sourceReadable);
    bool filesLine = false;
    for (const CHKline &l : report.lines)
        if (l.item == "files" && l.state == CHK_NOT && contains(l.fix, "vqx-install-preferences"))
            filesLine = true;
    EXPECT_TRUE(filesLine);
    // With the files and a FIFO as the source, those two are fine.
    home.install(true);
    std::string fifo = dev.file("ir");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    options.input = fifo;
    report = CHKcollect(options);
    EXPECT_TRUE(report.mappingRead);
    EXPECT_TRUE(report.sourceReadable);
}
