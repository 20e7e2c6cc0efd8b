// Without a session bus the editor works on without live button selection, and the trace says why.
// The check runs in a child copy of this test program whose bus address names no socket.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <cstdlib>
#include <string>

#include "mapperlink/mapperapi.h"
#include "mapperlink/notify.h"
#include "unit/mapperlink_support.h"

using namespace mapperlinktest;

static void checkWithoutBus()
{
    std::string out = captureOutput([] {
        EXPECT_EQ(NOTinit(1), 3);
        EXPECT_EQ(myInit, 0);
        EXPECT_EQ(MAPPERAPIinit(), 1); // arming refuses: the channel is not initialised
    });
    EXPECT_TRUE(contains(out, "Orvenda VQX ERROR: NOTinit: no D-Bus session bus (")) << out;
    EXPECT_TRUE(contains(out, "remote button presses will not select buttons")) << out;
    EXPECT_EQ(myObserver, nullptr);
    EXPECT_EQ(VQXAPIgetButtonState(), nullptr);
    EXPECT_EQ(recycleMapperConfiguration(), 0);
    EXPECT_EQ(NOTpost("command", "QUI"), 1);
    // Button presses still work when reported some other way.
    char service[] = "button", message[] = "DWN Play";
    myCallback(service, message, 0);
    EXPECT_STREQ(VQXAPIgetButtonState(), "Play");
}

TEST(MapperNoBus, EditorWorksOnWithoutSessionBusAndTraceSaysWhy)
{
    if (getenv("VQX_NOBUS_CHILD")) {
        checkWithoutBus();
        return;
    }
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("VQX_NOBUS_CHILD"), QStringLiteral("1"));
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent/vqx-no-bus"));
    child.setProcessEnvironment(env);
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--gtest_filter=MapperNoBus.EditorWorksOnWithoutSessionBusAndTraceSaysWhy")});
    ASSERT_TRUE(child.waitForFinished(30000));
    std::string out = child.readAll().toStdString();
    EXPECT_EQ(child.exitStatus(), QProcess::NormalExit) << out;
    EXPECT_EQ(child.exitCode(), 0) << out;
    EXPECT_TRUE(contains(out, "[  PASSED  ] 1 test")) << out;
}
