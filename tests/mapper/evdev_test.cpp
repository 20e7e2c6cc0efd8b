// Input event records through a pipe (downs, autorepeats, ups, records split across reads, lost
// events), finding and grabbing event devices where this machine has them, and the key-code
// remote's lookup from a key code to its button.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "mapper/decode.h"
#include "mapper/evdev.h"
#include "mapper/table.h"
#include "mapping/reconcile.h"
#include "support/mapping_support.h"

namespace {

std::string record(int type, int code, int value)
{
    struct input_event e;
    memset(&e, 0, sizeof e);
    e.time.tv_sec = 1700000000;
    e.time.tv_usec = 123456;
    e.type = (uint16_t)type;
    e.code = (uint16_t)code;
    e.value = value;
    return std::string((const char *)&e, sizeof e);
}

// A key as a keyboard sends it: the scan code (EV_MSC), the key, and the report's end.
std::string key(int code, int value)
{
    return record(EV_MSC, MSC_SCAN, 0xc00cd) + record(EV_KEY, code, value) + record(EV_SYN, SYN_REPORT, 0);
}

std::string describe(const std::vector<EVDkey> &keys)
{
    std::string s;
    for (const EVDkey &k : keys)
        s += std::to_string(k.code) + ":" + std::to_string(k.value) + " ";
    return s;
}

class Pipe {
public:
    int fds[2] = { -1, -1 };
    Pipe() { EXPECT_EQ(pipe(fds), 0); }
    ~Pipe()
    {
        for (int fd : fds)
            if (fd >= 0)
                close(fd);
    }
    void put(const std::string &bytes) { ASSERT_EQ(write(fds[1], bytes.data(), bytes.size()), (ssize_t)bytes.size()); }
};

} // namespace

TEST(EvdevRecordTest, DownRepeatAndUpComeThroughAPipe)
{
    Pipe p;
    EVDdevice dev;
    ASSERT_EQ(EVDadopt(&dev, p.fds[0]), 0);
    p.put(key(KEY_PLAYPAUSE, 1) + key(KEY_PLAYPAUSE, 2) + key(KEY_PLAYPAUSE, 2) + key(KEY_PLAYPAUSE, 0));
    std::vector<EVDkey> keys;
    bool lost = true;
    EXPECT_EQ(EVDread(&dev, &keys, &lost), 1);
    EXPECT_FALSE(lost);
    EXPECT_EQ(describe(keys), "164:1 164:2 164:2 164:0 ");
    // Nothing waiting: still there, nothing read.
    keys.clear();
    EXPECT_EQ(EVDread(&dev, &keys, &lost), 1);
    EXPECT_TRUE(keys.empty());
    // The writer goes: the descriptor is given up, not closed (it is not the device's own).
    close(p.fds[1]);
    p.fds[1] = -1;
    EXPECT_EQ(EVDread(&dev, &keys, &lost), -1);
    EXPECT_EQ(dev.fd, -1);
    EXPECT_EQ(fcntl(p.fds[0], F_GETFD), 0) << "the inherited descriptor was closed";
}

TEST(EvdevRecordTest, RecordsSplitAtEveryByteComeOutWhole)
{
    std::string stream = key(KEY_UP, 1) + key(KEY_UP, 0) + key(KEY_ENTER, 1) + key(KEY_ENTER, 0);
    for (size_t cut = 0; cut <= stream.size(); cut += 5) {
        Pipe p;
        EVDdevice dev;
        ASSERT_EQ(EVDadopt(&dev, p.fds[0]), 0);
        std::vector<EVDkey> keys;
        bool lost = false;
        p.put(stream.substr(0, cut));
        ASSERT_EQ(EVDread(&dev, &keys, &lost), 1);
        p.put(stream.substr(cut));
        ASSERT_EQ(EVDread(&dev, &keys, &lost), 1);
        ASSERT_EQ(describe(keys), "103:1 103:0 28:1 28:0 ") << "cut at " << cut;
        EXPECT_EQ(dev.decoder.partialLength, 0u);
    }
}

TEST(EvdevRecordTest, DecoderKeepsOnlyKeysAndSaysWhenEventsWereLost)
{
    EVDdecoder d;
    std::vector<EVDkey> keys;
    std::string bytes = record(EV_REL, REL_X, 5) + record(EV_KEY, KEY_A, 7) + record(EV_KEY, KEY_B, -1)
        + record(EV_KEY, BTN_LEFT, 1) + record(EV_LED, LED_NUML, 1);
    EXPECT_FALSE(EVDfeed(&d, (const unsigned char *)bytes.data(), bytes.size(), &keys));
    EXPECT_EQ(describe(keys), "272:1 ");
    std::string dropped = record(EV_SYN, SYN_DROPPED, 0) + record(EV_KEY, KEY_MUTE, 0);
    keys.clear();
    EXPECT_TRUE(EVDfeed(&d, (const unsigned char *)dropped.data(), dropped.size(), &keys));
    EXPECT_EQ(d.dropped, 1u);
    EXPECT_EQ(describe(keys), "113:0 ");
}

TEST(EvdevRecordTest, OneByteAtATime)
{
    EVDdecoder d;
    std::vector<EVDkey> keys;
    std::string bytes = key(KEY_VOLUMEUP, 1) + key(KEY_VOLUMEUP, 0);
    for (char c : bytes)
        EVDfeed(&d, (const unsigned char *)&c, 1, &keys);
    EXPECT_EQ(describe(keys), "115:1 115:0 ");
}

TEST(EvdevDeviceTest, AFifoPathIsReadUngrabbedAndAnAbsentNameIsExplained)
{
    TestFolder dir;
    std::string fifo = dir.file("event7");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string why;
    EXPECT_EQ(EVDfind(fifo, &why), fifo);
    EVDdevice dev;
    ASSERT_EQ(EVDopen(&dev, fifo, true), 0);
    EXPECT_FALSE(dev.grabbed);
    EXPECT_EQ(dev.name, "");
    int writer = open(fifo.c_str(), O_WRONLY);
    ASSERT_GE(writer, 0);
    std::string bytes = key(KEY_MENU, 1);
    ASSERT_EQ(write(writer, bytes.data(), bytes.size()), (ssize_t)bytes.size());
    close(writer); // a writer that goes is no end: the FIFO stands in for a device
    std::vector<EVDkey> keys;
    bool lost = false;
    EXPECT_EQ(EVDread(&dev, &keys, &lost), 1);
    EXPECT_EQ(describe(keys), "139:1 ");
    EVDclose(&dev);
    EXPECT_EQ(dev.fd, -1);
    EXPECT_EQ(EVDopen(&dev, dir.file("missing"), true), -ENOENT);

    EXPECT_EQ(EVDfind("No Such Remote 4711", &why), "");
    EXPECT_FALSE(why.empty());
}

TEST(EvdevDeviceTest, AGrabKeepsTheDeviceFromASecondGrabUntilClosed)
{
    std::string path;
    DIR *dirp = opendir(EVD_INPUT_FOLDER);
    if (dirp) {
        while (struct dirent *e = readdir(dirp)) {
            std::string candidate = std::string(EVD_INPUT_FOLDER) + "/" + e->d_name;
            if (strncmp(e->d_name, "event", 5) == 0 && access(candidate.c_str(), R_OK) == 0) {
                path = candidate;
                break;
            }
        }
        closedir(dirp);
    }
    if (path.empty())
        GTEST_SKIP() << "no readable event device in " EVD_INPUT_FOLDER " on this machine: grabbing is not tried";
    EVDdevice first, second;
    ASSERT_EQ(EVDopen(&first, path, true), 0);
    ASSERT_TRUE(first.grabbed) << path;
    EXPECT_FALSE(first.name.empty());
    std::string why;
    EXPECT_FALSE(EVDfind(first.name, &why).empty()) << why;
    ASSERT_EQ(EVDopen(&second, path, true), 0);
    EXPECT_FALSE(second.grabbed) << "a second grab of a grabbed device succeeded";
    EVDclose(&first);
    EVDclose(&second);
    ASSERT_EQ(EVDopen(&second, path, true), 0);
    EXPECT_TRUE(second.grabbed) << "the grab was not let go by the close";
    EVDclose(&second);
}

namespace {

void readAsTheEditorStarts()
{
    ASSERT_EQ(readMapAndRemFiles(), 0);
    if (checkForMissingButtons()) {
        addAllButtonsToMap();
        reorderAllButtons();
    }
}

} // namespace

TEST(KeyCodeRemoteTest, KeyCodesLookUpTheFirstButtonWithTheCode)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n\nDEFAULT\n\nAPPL *GLOBAL*\n",
        "FRQ 0\nBIT 0\n"
        "CMD Play 00a4\n"
        "CMD Menu 008b\n"
        "CMD Again 00a4\n"
        "CMD Two 0067 006c\n"
        "CMD Power 0074\n");
    readAsTheEditorStarts();
    MTABtable t = MTABcompile();
    ASSERT_TRUE(t.keyCodes);
    ASSERT_EQ(t.buttons.size(), 5u);
    EXPECT_EQ(MTABkeyButton(t, KEY_PLAYPAUSE), MTABbuttonIndex(t, "Play"));
    EXPECT_EQ(MTABkeyButton(t, KEY_MENU), MTABbuttonIndex(t, "Menu"));
    EXPECT_EQ(MTABkeyButton(t, KEY_POWER), MTABbuttonIndex(t, "Power"));
    EXPECT_EQ(MTABkeyButton(t, KEY_UP), -1) << "a button of two tokens is no key";
    EXPECT_EQ(MTABkeyButton(t, KEY_A), -1);
    EXPECT_EQ(MTABkeyButton(t, -1), -1);

    // The timing decoder has nothing to match for such a remote, whatever it is fed.
    DECdecoder d;
    DECinit(&d, t);
    std::vector<DECevent> events;
    for (int i = 0; i < 200; i++)
        DECfeed(&d, i % 2 == 0, (uint32_t)(0xa4 + i % 3), (int64_t)i * 1000, &events);
    DECexpire(&d, 10000000, &events);
    EXPECT_TRUE(events.empty());
}

TEST(KeyCodeRemoteTest, ARemoteOfTimingsHasNoKeyCodes)
{
    PresenterScope scope;
    MappingFiles files("MAPVER 2\n\nDEFAULT\n\nAPPL *GLOBAL*\n", "FRQ 38000\nBIT 562\nCMD Play 00a4\n");
    readAsTheEditorStarts();
    MTABtable t = MTABcompile();
    EXPECT_FALSE(t.keyCodes);
    EXPECT_EQ(MTABkeyButton(t, 0xa4), -1);
}
