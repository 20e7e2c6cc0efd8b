// The uinput injector: the exact input_event records it writes for keystrokes, media keys, mouse
// moves and clicks (read back from a pipe), its release of held keys, and the real device where
// /dev/uinput can be opened.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <libevdev/libevdev.h>

#include "mapper/desktop.h"
#include "mapper/keymap.h"
#include "mapper/uinput.h"

namespace {

struct Ev {
    int type;
    int code;
    int value;
};

bool operator==(const Ev &a, const Ev &b)
{
    return a.type == b.type && a.code == b.code && a.value == b.value;
}

void PrintTo(const Ev &e, std::ostream *os)
{
    *os << "{" << e.type << ", " << e.code << ", " << e.value << "}";
}

const Ev kSyn = { EV_SYN, SYN_REPORT, 0 };

Ev keyEv(int code, int value)
{
    return { EV_KEY, code, value };
}

class UinputTest : public ::testing::Test {
protected:
    int readEnd_ = -1;
    int writeEnd_ = -1;

    void SetUp() override
    {
        int fds[2];
        ASSERT_EQ(pipe2(fds, O_CLOEXEC), 0);
        readEnd_ = fds[0];
        writeEnd_ = fds[1];
        ASSERT_EQ(fcntl(readEnd_, F_SETFL, O_NONBLOCK), 0);
    }

    void TearDown() override
    {
        if (readEnd_ >= 0)
            close(readEnd_);
        if (writeEnd_ >= 0)
            close(writeEnd_);
    }

    // Every record written so far (types, codes and values; the times are the kernel's business).
    std::vector<Ev> written()
    {
        std::vector<Ev> out;
        struct input_event ev;
        for (;;) {
            ssize_t n = read(readEnd_, &ev, sizeof ev);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            EXPECT_EQ(n, (ssize_t)sizeof ev) << "a partial input_event record";
            if (n != (ssize_t)sizeof ev)
                break;
            out.push_back({ ev.type, ev.code, ev.value });
        }
        return out;
    }
};

MTABaction keyAction(uint32_t message, uint16_t modifiers, int32_t rate1)
{
    MTABaction a;
    a.type = 1;
    a.rate1 = rate1;
    a.message = message;
    a.modifiers = modifiers;
    return a;
}

MTABaction mouseAction(uint32_t kind)
{
    MTABaction a;
    a.type = 8;
    a.rate1 = 0;
    a.message = kind;
    return a;
}

OUTstep stepOf(OUTkind kind, const MTABaction &a, int32_t pixels = 0)
{
    OUTstep s;
    s.kind = kind;
    s.action = &a;
    s.pixels = pixels;
    return s;
}

TEST_F(UinputTest, KeystrokeWithCtrlShiftPressesModifiersFirstAndReleasesThemLast)
{
    OUTdesktop out(UINonDescriptor(writeEnd_), nullptr, nullptr, nullptr);
    EXPECT_STREQ(out.name(), "uinput");
    MTABaction a = keyAction(0x0B00, 0x1200, -1); // B with Ctrl+Shift
    out.perform(stepOf(OUT_KEY_TAP, a), 0);
    std::vector<Ev> want = { keyEv(KEY_LEFTCTRL, 1), keyEv(KEY_LEFTSHIFT, 1), keyEv(KEY_B, 1), kSyn, keyEv(KEY_B, 0),
        keyEv(KEY_LEFTSHIFT, 0), keyEv(KEY_LEFTCTRL, 0), kSyn };
    EXPECT_EQ(written(), want);
}

TEST_F(UinputTest, MediaKindOneTapsVolumeUpAlone)
{
    OUTdesktop out(UINonDescriptor(writeEnd_), nullptr, nullptr, nullptr);
    MTABaction a = keyAction(0x0B00, 0x0001, -1);
    out.perform(stepOf(OUT_KEY_TAP, a), 0);
    std::vector<Ev> want = { keyEv(KEY_VOLUMEUP, 1), kSyn, keyEv(KEY_VOLUMEUP, 0), kSyn };
    EXPECT_EQ(written(), want);
}

TEST_F(UinputTest, MouseUpMovesMinusYByThePixelsOfTheStep)
{
    OUTdesktop out(UINonDescriptor(writeEnd_), nullptr, nullptr, nullptr);
    MTABaction up = mouseAction(1);
    out.perform(stepOf(OUT_MOUSE, up, 20), 0);
    MTABaction right = mouseAction(4);
    out.perform(stepOf(OUT_MOUSE, right, 8), 0);
    std::vector<Ev> want = { { EV_REL, REL_Y, -20 }, kSyn, { EV_REL, REL_X, 8 }, kSyn };
    EXPECT_EQ(written(), want);
}

TEST_F(UinputTest, LeftDoubleClickIsTwoSeparateClicksOfTheLeftButton)
{
    OUTdesktop out(UINonDescriptor(writeEnd_), nullptr, nullptr, nullptr);
    MTABaction a = mouseAction(7);
    out.perform(stepOf(OUT_MOUSE, a, 4), 0);
    std::vector<Ev> want
        = { keyEv(BTN_LEFT, 1), kSyn, keyEv(BTN_LEFT, 0), kSyn, keyEv(BTN_LEFT, 1), kSyn, keyEv(BTN_LEFT, 0), kSyn };
    EXPECT_EQ(written(), want);
}

TEST_F(UinputTest, SystemRepeatHoldsTheKeyUntilReleaseAll)
{
    auto *out = new OUTdesktop(UINonDescriptor(writeEnd_), nullptr, nullptr, nullptr);
    MTABaction a = keyAction(0x7A10, 0x0800, 0); // Alt+F1, held
    out->perform(stepOf(OUT_KEY_DOWN, a), 0);
    std::vector<Ev> down = { keyEv(KEY_LEFTALT, 1), keyEv(KEY_F1, 1), kSyn };
    EXPECT_EQ(written(), down);
    out->releaseAll(0);
    std::vector<Ev> released = { keyEv(KEY_F1, 0), keyEv(KEY_LEFTALT, 0), kSyn };
    EXPECT_EQ(written(), released);
    delete out; // nothing left down: nothing more written
    EXPECT_EQ(written(), std::vector<Ev>());
}

TEST_F(UinputTest, DeviceReleasesWhatIsStillDownWhenDestroyed)
{
    INJdevice *dev = UINonDescriptor(writeEnd_);
    EXPECT_TRUE(dev->key(KEY_A, true));
    EXPECT_TRUE(dev->button(BTN_RIGHT, true));
    EXPECT_TRUE(dev->key(KEY_LEFTSHIFT, true));
    EXPECT_TRUE(dev->key(KEY_LEFTSHIFT, false));
    EXPECT_TRUE(dev->sync());
    written();
    delete dev;
    std::vector<Ev> want = { keyEv(BTN_RIGHT, 0), keyEv(KEY_A, 0), kSyn };
    EXPECT_EQ(written(), want);
    // The descriptor stays the caller's.
    EXPECT_NE(fcntl(writeEnd_, F_GETFD), -1);
}

TEST_F(UinputTest, MoveWritesOnlyTheAxesThatMove)
{
    std::unique_ptr<INJdevice> dev(UINonDescriptor(writeEnd_));
    EXPECT_TRUE(dev->move(0, 0));
    EXPECT_TRUE(dev->move(3, 0));
    EXPECT_TRUE(dev->move(0, 5));
    EXPECT_TRUE(dev->move(-7, -2));
    std::vector<Ev> want = { { EV_REL, REL_X, 3 }, { EV_REL, REL_Y, 5 }, { EV_REL, REL_X, -7 }, { EV_REL, REL_Y, -2 } };
    EXPECT_EQ(written(), want);
}

TEST_F(UinputTest, OnlyMouseButtonsAreButtonsAndOnlyKeyCodesAreKeys)
{
    std::unique_ptr<INJdevice> dev(UINonDescriptor(writeEnd_));
    EXPECT_FALSE(dev->button(KEY_A, true));
    EXPECT_FALSE(dev->button(BTN_MIDDLE, true));
    EXPECT_FALSE(dev->key(0, true));
    EXPECT_FALSE(dev->key(KEY_MAX + 1, true));
    EXPECT_FALSE(dev->typeUnmapped(0x20AC));
    EXPECT_EQ(written(), std::vector<Ev>());
}

TEST_F(UinputTest, WriteThatFailsIsReportedAsNotSent)
{
    int readOnly = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(readOnly, 0);
    {
        std::unique_ptr<INJdevice> dev(UINonDescriptor(readOnly));
        EXPECT_FALSE(dev->key(KEY_A, true));
        EXPECT_FALSE(dev->move(1, 1));
        EXPECT_FALSE(dev->sync());
    }
    close(readOnly);
}

// errno of opening /dev/uinput here, 0 when it opens.
int uinputOpenError()
{
    int fd = open("/dev/uinput", O_RDWR | O_CLOEXEC);
    if (fd < 0)
        return errno;
    close(fd);
    return 0;
}

TEST_F(UinputTest, OpeningWithoutUsableUinputGivesNullAndTheReason)
{
    int err = uinputOpenError();
    if (err == 0)
        GTEST_SKIP() << "/dev/uinput can be opened on this machine";
    std::string why;
    INJdevice *dev = INJopenUinput(&why);
    EXPECT_EQ(dev, nullptr);
    delete dev;
    EXPECT_FALSE(why.empty());
    if (err == ENOENT) {
        EXPECT_NE(why.find("/dev/uinput: No such file or directory"), std::string::npos) << why;
    }
    if (err == EACCES || err == EPERM) {
        EXPECT_NE(why.find("permission denied"), std::string::npos) << why;
    }
}

// The EV_KEY and EV_REL events of the node, until `count` of them came or a second passed.
std::vector<Ev> readNode(libevdev *node, int fd, size_t count)
{
    std::vector<Ev> got;
    while (got.size() < count) {
        struct input_event ev;
        int rc = libevdev_next_event(node, LIBEVDEV_READ_FLAG_NORMAL, &ev);
        if (rc == LIBEVDEV_READ_STATUS_SUCCESS) {
            if (ev.type == EV_KEY || ev.type == EV_REL)
                got.push_back({ ev.type, ev.code, ev.value });
        } else if (rc == -EAGAIN) {
            struct pollfd p = { fd, POLLIN, 0 };
            if (poll(&p, 1, 1000) <= 0)
                break;
        } else if (rc != LIBEVDEV_READ_STATUS_SYNC) {
            break;
        }
    }
    return got;
}

TEST_F(UinputTest, RealDeviceCarriesItsKeysAndDeliversThemToItsEventNode)
{
    int err = uinputOpenError();
    if (err != 0)
        GTEST_SKIP() << "no /dev/uinput on this machine (" << strerror(err) << ")";
    std::string why;
    std::unique_ptr<INJdevice> dev(INJopenUinput(&why));
    ASSERT_NE(dev, nullptr) << why;
    EXPECT_STREQ(dev->name(), "uinput");
    std::string path = UINdevnode(dev.get());
    ASSERT_FALSE(path.empty());
    int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(fd, 0) << path << ": " << strerror(errno);
    libevdev *node = nullptr;
    ASSERT_EQ(libevdev_new_from_fd(fd, &node), 0);
    EXPECT_STREQ(libevdev_get_name(node), "Orvenda VQX Mapper");
    for (int vk = 0; vk < 128; vk++) {
        if (KMAPkeyCode(vk)) {
            EXPECT_TRUE(libevdev_has_event_code(node, EV_KEY, (unsigned)KMAPkeyCode(vk))) << "vk " << vk;
        }
    }
    for (int code : { KEY_VOLUMEUP, KEY_VOLUMEDOWN, KEY_MUTE, KEY_EJECTCD, BTN_LEFT, BTN_RIGHT })
        EXPECT_TRUE(libevdev_has_event_code(node, EV_KEY, (unsigned)code)) << code;
    EXPECT_TRUE(libevdev_has_event_code(node, EV_REL, REL_X));
    EXPECT_TRUE(libevdev_has_event_code(node, EV_REL, REL_Y));

    EXPECT_TRUE(dev->key(KEY_B, true));
    EXPECT_TRUE(dev->sync());
    EXPECT_TRUE(dev->key(KEY_B, false));
    EXPECT_TRUE(dev->move(0, -5));
    EXPECT_TRUE(dev->sync());
    std::vector<Ev> want = { keyEv(KEY_B, 1), keyEv(KEY_B, 0), { EV_REL, REL_Y, -5 } };
    EXPECT_EQ(readNode(node, fd, want.size()), want);
    libevdev_free(node);
    close(fd);
}

} // namespace
