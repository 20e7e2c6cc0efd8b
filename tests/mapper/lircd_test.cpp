// lircd's socket lines read from bytes in any pieces (good lines, replies, garbage, overlong lines)
// and the hold of a button while its repeat lines come, on an explicit clock.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "mapper/lircd.h"
#include "support/test_support.h"

namespace {

std::vector<LRCline> feedAll(LRCparser *p, const std::string &bytes)
{
    std::vector<LRCline> out;
    LRCfeed(p, bytes.data(), bytes.size(), &out);
    return out;
}

std::string describe(const std::vector<LRCedge> &edges)
{
    std::string s;
    for (const LRCedge &e : edges)
        s += (e.down ? "down " : "up ") + e.button + "@" + std::to_string(e.time / 1000) + " ";
    return s;
}

LRCline line(const char *button, uint32_t repeat, const char *remote = "vqx")
{
    LRCline l;
    l.button = button;
    l.repeat = repeat;
    l.remote = remote;
    return l;
}

} // namespace

TEST(LircdLineTest, ReadsCodeRepeatButtonAndRemote)
{
    LRCline l;
    std::string text = "0000000000f40bf0 1a KEY_VOLUMEUP Samsung_BN59";
    ASSERT_TRUE(LRCparseLine(text.data(), text.size(), &l));
    EXPECT_EQ(l.code, 0xf40bf0u);
    EXPECT_EQ(l.repeat, 0x1au);
    EXPECT_EQ(l.button, "KEY_VOLUMEUP");
    EXPECT_EQ(l.remote, "Samsung_BN59");
}

TEST(LircdLineTest, RefusesLinesThatAreNotPresses)
{
    const char *bad[] = {
        "",
        "0000000000000009 00 Play",
        "0000000000000009 00 Play vqx extra",
        "zz00000000000009 00 Play vqx",
        "0000000000000009 0g Play vqx",
        "00000000000000090 00 Play vqx", // 17 digits: more than 64 bits
        "0000000000000009 123456789 Play vqx",
        "-1 00 Play vqx",
        "0000000000000009 00 Pl\x01y vqx",
    };
    for (const char *text : bad) {
        LRCline l;
        EXPECT_FALSE(LRCparseLine(text, strlen(text), &l)) << text;
    }
}

TEST(LircdLineTest, LinesSplitAnywhereComeOutWhole)
{
    std::string stream = "0000000000000002 00 Menu vqx\n0000000000000009 00 Play vqx\r\n0000000000000009 01 Play vqx\n";
    for (size_t cut = 0; cut <= stream.size(); cut++) {
        LRCparser p;
        std::vector<LRCline> got = feedAll(&p, stream.substr(0, cut));
        std::vector<LRCline> rest = feedAll(&p, stream.substr(cut));
        got.insert(got.end(), rest.begin(), rest.end());
        ASSERT_EQ(got.size(), 3u) << "cut at " << cut;
        EXPECT_EQ(got[0].button, "Menu");
        EXPECT_EQ(got[1].button, "Play");
        EXPECT_EQ(got[1].remote, "vqx");
        EXPECT_EQ(got[2].repeat, 1u);
        EXPECT_EQ(p.refused, 0u);
    }
}

TEST(LircdLineTest, ByteByByteGivesTheSameLines)
{
    LRCparser p;
    std::string stream = "00000000000000a1 00 Up vqx\n00000000000000a1 01 Up vqx\n";
    std::vector<LRCline> got;
    for (char c : stream)
        LRCfeed(&p, &c, 1, &got);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].code, 0xa1u);
    EXPECT_EQ(got[1].repeat, 1u);
}

TEST(LircdLineTest, RepliesAndBroadcastsAreSkipped)
{
    LRCparser p;
    std::vector<LRCline> got = feedAll(&p,
        "BEGIN\nSIGHUP\nEND\n0000000000000009 00 Play vqx\nBEGIN\nLIST\nSUCCESS\nDATA\n1\n"
        "0000000000000002 00 Menu vqx\nEND\n0000000000000002 00 Menu vqx\n");
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].button, "Play");
    EXPECT_EQ(got[1].button, "Menu");
    EXPECT_EQ(p.refused, 0u);
}

TEST(LircdLineTest, GarbageIsCountedAndTheNextGoodLineStillRead)
{
    LRCparser p;
    std::vector<LRCline> got = feedAll(&p, "hello\n\x01\x02\xff\n\n0000000000000009 00 Play vqx\n");
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].button, "Play");
    EXPECT_EQ(p.refused, 2u);
}

TEST(LircdLineTest, AnOverlongLineIsRefusedWithoutKeepingItsBytes)
{
    LRCparser p;
    std::string huge(100000, 'x');
    std::vector<LRCline> got;
    // A megabyte in pieces never grows the kept partial line past the limit.
    for (int i = 0; i < 10; i++) {
        LRCfeed(&p, huge.data(), huge.size(), &got);
        EXPECT_LE(p.partial.size(), (size_t)LRC_MAX_LINE);
    }
    std::string tail = " 00 Play vqx\n0000000000000009 00 Play vqx\n";
    LRCfeed(&p, tail.data(), tail.size(), &got);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].code, 9u);
    EXPECT_EQ(p.refused, 1u);
    // A line just at the limit is still read.
    std::string name(LRC_MAX_LINE - 24, 'b');
    std::string atLimit = "0000000000000009 00 " + name + " vqx";
    ASSERT_EQ(atLimit.size(), (size_t)LRC_MAX_LINE);
    got.clear();
    LRCfeed(&p, (atLimit + "\n").data(), atLimit.size() + 1, &got);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].button, name);
}

TEST(LircdHoldTest, RepeatLinesKeepOneButtonDownUntilTheyStop)
{
    LRChold h;
    std::vector<LRCedge> edges;
    LRChear(&h, line("Play", 0), 1000000, &edges);
    for (int i = 1; i <= 5; i++)
        LRChear(&h, line("Play", (uint32_t)i), 1000000 + i * 108000, &edges);
    EXPECT_EQ(describe(edges), "down Play@1000 ");
    EXPECT_EQ(LRCdeadline(&h), 1000000 + 5 * 108000 + 160000);
    LRCexpire(&h, LRCdeadline(&h) - 1, &edges);
    EXPECT_EQ(edges.size(), 1u);
    LRCexpire(&h, 3000000, &edges);
    // The release carries the moment it was due, not the moment it was noticed.
    EXPECT_EQ(describe(edges), "down Play@1000 up Play@1700 ");
    EXPECT_EQ(LRCdeadline(&h), INT64_MAX);
}

TEST(LircdHoldTest, AnotherButtonReleasesTheFirst)
{
    LRChold h;
    std::vector<LRCedge> edges;
    LRChear(&h, line("Play", 0), 0, &edges);
    LRChear(&h, line("Menu", 1), 50000, &edges); // a repeat of another button is a press of it
    LRChear(&h, line("Menu", 0, "other"), 90000, &edges); // the same name from another remote too
    EXPECT_EQ(describe(edges), "down Play@0 up Play@50 down Menu@50 up Menu@90 down Menu@90 ");
}

TEST(LircdHoldTest, ANewFirstLineOfTheSameButtonIsANewPress)
{
    LRChold h;
    std::vector<LRCedge> edges;
    LRChear(&h, line("Play", 0), 0, &edges);
    LRChear(&h, line("Play", 0), 100000, &edges);
    EXPECT_EQ(describe(edges), "down Play@0 up Play@100 down Play@100 ");
}

TEST(LircdHoldTest, RepeatsAfterTheReleaseTimePressAgain)
{
    LRChold h;
    h.releaseAfterUs = 200000;
    std::vector<LRCedge> edges;
    LRChear(&h, line("Up", 0), 0, &edges);
    LRChear(&h, line("Up", 1), 150000, &edges);
    LRChear(&h, line("Up", 2), 500000, &edges); // the gap let it go at 350 ms
    EXPECT_EQ(describe(edges), "down Up@0 up Up@350 down Up@500 ");
}

TEST(LircdHoldTest, ReleaseHeldLetsGoOnceAndNothingIsLeftDue)
{
    LRChold h;
    std::vector<LRCedge> edges;
    LRCreleaseHeld(&h, 5, &edges);
    EXPECT_TRUE(edges.empty());
    LRChear(&h, line("Back", 0), 10000, &edges);
    LRCreleaseHeld(&h, 20000, &edges);
    LRCreleaseHeld(&h, 30000, &edges);
    EXPECT_EQ(describe(edges), "down Back@10 up Back@20 ");
    EXPECT_EQ(LRCdeadline(&h), INT64_MAX);
}

TEST(LircdConnectTest, ConnectsToAListeningSocketAndReportsAMissingOne)
{
    TestFolder dir;
    std::string path = dir.file("lircd");
    EXPECT_EQ(LRCconnect(path), -ENOENT);
    EXPECT_EQ(LRCconnect(std::string(200, 'x')), -ENAMETOOLONG);
    int server = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(server, 0);
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    ASSERT_EQ(bind(server, (struct sockaddr *)&address, sizeof address), 0);
    // Bound but not listening yet, as lircd is for a moment while it starts.
    EXPECT_EQ(LRCconnect(path), -ECONNREFUSED);
    ASSERT_EQ(listen(server, 4), 0);
    int fd = LRCconnect(path);
    ASSERT_GE(fd, 0);
    int peer = accept(server, nullptr, nullptr);
    ASSERT_GE(peer, 0);
    const char text[] = "0000000000000009 00 Play vqx\n";
    ASSERT_EQ(write(peer, text, sizeof text - 1), (ssize_t)(sizeof text - 1));
    char buffer[64];
    ssize_t n = -1;
    for (int i = 0; i < 1000 && n < 0; i++) {
        n = read(fd, buffer, sizeof buffer);
        if (n < 0)
            usleep(1000);
    }
    ASSERT_EQ(n, (ssize_t)(sizeof text - 1));
    LRCparser p;
    std::vector<LRCline> got;
    LRCfeed(&p, buffer, (size_t)n, &got);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].button, "Play");
    close(peer);
    close(fd);
    close(server);
}
