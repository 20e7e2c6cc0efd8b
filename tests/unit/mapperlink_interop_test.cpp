// The notification channel with programs we did not write: gdbus and dbus-send play the Mapper
// reporting button presses, dbus-monitor watches what the editor sends.
#include <gtest/gtest.h>

#include <QProcess>
#include <string>

#include "mapperlink/mapperapi.h"
#include "mapperlink/notify.h"
#include "unit/mapperlink_support.h"

using namespace mapperlinktest;

namespace {

int gdbusEmit(const char *service, const char *message)
{
    QString dict = QStringLiteral("{'service': '%1', 'message': '%2'}").arg(service, message);
    return runProgram(QStringLiteral("gdbus"),
                      {"emit", "--session", "--object-path", "/com/Orvenda/VQX/IAC", "--signal",
                       "com.Orvenda.VQX.IAC.notification", QStringLiteral("'%1'").arg(service), dict});
}

int dbusSend(const char *service, const char *message)
{
    return runProgram(QStringLiteral("dbus-send"),
                      {"--session", "--type=signal", "/com/Orvenda/VQX/IAC", "com.Orvenda.VQX.IAC.notification",
                       QStringLiteral("string:%1").arg(service),
                       QStringLiteral("dict:string:string:service,%1,message,%2").arg(service, message)});
}

// The editor's link, armed, with the match in force at the bus.
void armEditor()
{
    ASSERT_TRUE(usePrivateSessionBus());
    ASSERT_EQ(MAPPERAPIinit(), 0);
    syncWithBus();
}

// dbus-monitor watching the notification interface; started and ready, or failed.
struct Monitor {
    QProcess process;
    std::string text;
    bool start()
    {
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral("dbus-monitor"),
                      {"--session", "type='signal',interface='com.Orvenda.VQX.IAC'"});
        if (!process.waitForStarted(10000))
            return false;
        // It reports taking and losing its unique name once it has become a monitor.
        return waitFor([this] { return contains(read(), "NameLost"); }, 10000);
    }
    const std::string &read()
    {
        text += process.readAll().toStdString();
        return text;
    }
    ~Monitor()
    {
        process.kill();
        process.waitForFinished(5000);
    }
};
} // namespace

TEST(MapperInterop, GdbusEmitDwnPlayThenUppChangesHeldButton)
{
    armEditor();
    ASSERT_EQ(gdbusEmit("button", "DWN Play"), 0);
    ASSERT_TRUE(waitFor([] { return VQXAPIgetButtonState() != nullptr; }));
    EXPECT_STREQ(VQXAPIgetButtonState(), "Play");
    ASSERT_EQ(gdbusEmit("button", "UPP"), 0);
    EXPECT_TRUE(waitFor([] { return VQXAPIgetButtonState() == nullptr; }));
}

TEST(MapperInterop, DbusSendDwnPlayThenUppChangesHeldButton)
{
    armEditor();
    ASSERT_EQ(dbusSend("button", "DWN Play"), 0);
    ASSERT_TRUE(waitFor([] { return VQXAPIgetButtonState() != nullptr; }));
    EXPECT_STREQ(VQXAPIgetButtonState(), "Play");
    ASSERT_EQ(dbusSend("button", "UPP"), 0);
    EXPECT_TRUE(waitFor([] { return VQXAPIgetButtonState() == nullptr; }));
}

TEST(MapperInterop, ForeignSignalForAnotherServiceIsNotSeen)
{
    armEditor();
    ASSERT_EQ(dbusSend("command", "DWN Wrong"), 0);
    ASSERT_EQ(dbusSend("button", "DWN Right"), 0);
    ASSERT_TRUE(waitFor([] { return VQXAPIgetButtonState() != nullptr; }));
    EXPECT_STREQ(VQXAPIgetButtonState(), "Right");
}

TEST(MapperInterop, GdbusVariantDictionaryIsTracedAndChangesNothing)
{
    armEditor();
    std::string out = captureOutput([] {
        runProgram(QStringLiteral("gdbus"),
                   {"emit", "--session", "--object-path", "/com/Orvenda/VQX/IAC", "--signal",
                    "com.Orvenda.VQX.IAC.notification", "'button'",
                    "{'service': <'button'>, 'message': <'DWN Play'>}"});
        dbusSend("button", "DWN Later");
        waitFor([] { return VQXAPIgetButtonState() != nullptr; });
    });
    EXPECT_TRUE(contains(out, "notification body (sa{sv}) is not (sa{ss})"));
    ASSERT_NE(VQXAPIgetButtonState(), nullptr);
    EXPECT_STREQ(VQXAPIgetButtonState(), "Later");
}

TEST(MapperInterop, DbusMonitorSeesExactlyOneRldWithStringDictionary)
{
    ASSERT_TRUE(usePrivateSessionBus());
    ASSERT_EQ(NOTinit(1), 0);
    Monitor monitor;
    ASSERT_TRUE(monitor.start());
    size_t before = monitor.read().size();
    ASSERT_EQ(recycleMapperConfiguration(), 0);
    NOTpost("command", "END"); // anything posted twice would show before this one
    ASSERT_TRUE(waitFor([&] { return contains(monitor.read(), "string \"END\""); }, 10000));
    std::string seen = monitor.read().substr(before);
    EXPECT_EQ(countOf(seen, "string \"RLD\""), 1u) << seen;
    EXPECT_EQ(countOf(seen, "member=notification"), 2u) << seen;
    // The body of the first signal: the object, then a dictionary whose values are plain strings.
    size_t at = seen.find("member=notification");
    ASSERT_NE(at, std::string::npos);
    size_t lineStart = seen.rfind('\n', at) == std::string::npos ? 0 : seen.rfind('\n', at) + 1;
    std::string first = seen.substr(lineStart, seen.find("member=notification", at + 1) - lineStart);
    EXPECT_TRUE(contains(first, "path=/com/Orvenda/VQX/IAC; interface=com.Orvenda.VQX.IAC; member=notification"));
    std::string body = first.substr(first.find('\n') + 1);
    std::string expected = "   string \"command\"\n"
                           "   array [\n"
                           "      dict entry(\n"
                           "         string \"message\"\n"
                           "         string \"RLD\"\n"
                           "      )\n"
                           "      dict entry(\n"
                           "         string \"service\"\n"
                           "         string \"command\"\n"
                           "      )\n"
                           "   ]\n";
    EXPECT_EQ(body.substr(0, expected.size()), expected) << first;
    EXPECT_FALSE(contains(first, "variant"));
}
