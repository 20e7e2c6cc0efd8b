// The checks on calls to the Mapper's bus object: each method with its own signature, wrong
// types, oversized strings, unknown members, and the read-only properties.
#include <gtest/gtest.h>

#include <QStringList>

#include "mapper/buscall.h"

namespace {
BCLcall read(
    const char *member, const char *signature, const QList<QVariant> &args, const char *interface = BCL_INTERFACE)
{
    return BCLread(QString::fromLatin1(interface), QString::fromLatin1(member), QString::fromLatin1(signature), args);
}
const char *const kInvalid = "org.freedesktop.DBus.Error.InvalidArgs";
} // namespace

TEST(BusCallTest, PressAndReleaseTakeOneButtonName)
{
    BCLcall press = read("Press", "s", { QStringLiteral("Play") });
    EXPECT_EQ(press.kind, BCL_PRESS);
    EXPECT_EQ(press.text, "Play");
    EXPECT_EQ(read("Release", "s", { QStringLiteral("Play") }).kind, BCL_RELEASE);
    // No interface named: the object's own.
    EXPECT_EQ(read("Press", "s", { QStringLiteral("Play") }, "").kind, BCL_PRESS);
}

TEST(BusCallTest, WrongTypesAndCountsAreRefusedAsInvalidArguments)
{
    for (const BCLcall &call : { read("Press", "i", { 42 }), read("Press", "", {}),
             read("Press", "ss", { QStringLiteral("a"), QStringLiteral("b") }),
             read("Release", "as", { QStringList { QStringLiteral("Play") } }),
             read("Reload", "s", { QStringLiteral("now") }), read("Quit", "u", { 1u }),
             read("SetFrontApplication", "sss", { QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c") }),
             read("SetFrontApplication", "ssi", { QStringLiteral("a"), QStringLiteral("b"), -1 }),
             read("SetFrontApplication", "ssd", { QStringLiteral("a"), QStringLiteral("b"), 12.5 }),
             read("SetFrontApplication", "ssd", { QStringLiteral("a"), QStringLiteral("b"), -3.0 }),
             read("SetFrontApplication", "ssd", { QStringLiteral("a"), QStringLiteral("b"), 1e12 }),
             read("SetFrontApplication", "ssx", { QStringLiteral("a"), QStringLiteral("b"), 5LL }) }) {
        EXPECT_EQ(call.kind, BCL_REFUSED);
        EXPECT_STREQ(call.error, kInvalid);
        EXPECT_FALSE(call.why.empty());
    }
}

TEST(BusCallTest, AStringOverTheLimitIsRefusedWholeAndOneAtTheLimitIsTaken)
{
    QString limit(BCL_MAX_ARGUMENT, QLatin1Char('x'));
    EXPECT_EQ(read("Press", "s", { limit }).kind, BCL_PRESS);
    QString over(BCL_MAX_ARGUMENT + 1, QLatin1Char('x'));
    EXPECT_EQ(read("Press", "s", { over }).kind, BCL_REFUSED);
    QString megabyte(1 << 20, QLatin1Char('x'));
    EXPECT_EQ(read("SetFrontApplication", "ssu", { megabyte, QStringLiteral("b"), 1u }).kind, BCL_REFUSED);
    // Bytes count, not characters: 513 two-byte characters are 1026 bytes.
    QString wide(513, QChar(0xE9));
    EXPECT_EQ(read("Press", "s", { wide }).kind, BCL_REFUSED);
}

TEST(BusCallTest, SetFrontApplicationCarriesItsThreeArguments)
{
    BCLcall call
        = read("SetFrontApplication", "ssu", { QStringLiteral("org.gnome.Totem"), QStringLiteral("Totem"), 4242u });
    EXPECT_EQ(call.kind, BCL_SET_FRONT);
    EXPECT_EQ(call.text, "org.gnome.Totem");
    EXPECT_EQ(call.text2, "Totem");
    EXPECT_EQ(call.pid, 4242u);
}

TEST(BusCallTest, UnknownMembersAndOtherInterfaces)
{
    BCLcall unknown = read("Explode", "", {});
    EXPECT_EQ(unknown.kind, BCL_REFUSED);
    EXPECT_STREQ(unknown.error, "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(read("Press", "s", { QStringLiteral("Play") }, "org.example.Other").kind, BCL_NOT_OURS);
}

TEST(BusCallTest, PropertiesAreReadableByNameAndNeverWritable)
{
    const char *props = "org.freedesktop.DBus.Properties";
    BCLcall get = read("Get", "ss", { QStringLiteral(BCL_INTERFACE), QStringLiteral("Entry") }, props);
    EXPECT_EQ(get.kind, BCL_GET);
    EXPECT_EQ(get.text, "Entry");
    EXPECT_EQ(read("Get", "ss", { QStringLiteral(BCL_INTERFACE), QStringLiteral("Secret") }, props).kind, BCL_REFUSED);
    EXPECT_EQ(
        read("Get", "ss", { QStringLiteral("org.example.Other"), QStringLiteral("Entry") }, props).kind, BCL_REFUSED);
    EXPECT_EQ(read("GetAll", "s", { QStringLiteral(BCL_INTERFACE) }, props).kind, BCL_GET_ALL);
    BCLcall set
        = read("Set", "ssv", { QStringLiteral(BCL_INTERFACE), QStringLiteral("Entry"), QStringLiteral("x") }, props);
    EXPECT_EQ(set.kind, BCL_REFUSED);
    EXPECT_STREQ(set.error, "org.freedesktop.DBus.Error.PropertyReadOnly");
    for (const char *name : { "Input", "Output", "FrontApplication", "Entry", "Mapping", "Remote" })
        EXPECT_TRUE(BCLisProperty(name)) << name;
}

TEST(BusCallTest, SetFrontApplicationTakesAWholeNumberPidFromScriptEnginesThatHaveNoUnsigned)
{
    BCLcall asInt = read("SetFrontApplication", "ssi", { QStringLiteral("org.kde.dolphin"), QStringLiteral("dolphin"), 77 });
    EXPECT_EQ(asInt.kind, BCL_SET_FRONT);
    EXPECT_EQ(asInt.pid, 77u);
    BCLcall asDouble
        = read("SetFrontApplication", "ssd", { QStringLiteral("org.kde.dolphin"), QStringLiteral("dolphin"), 4242.0 });
    EXPECT_EQ(asDouble.kind, BCL_SET_FRONT);
    EXPECT_EQ(asDouble.pid, 4242u);
    EXPECT_EQ(asDouble.text2, "dolphin");
}
