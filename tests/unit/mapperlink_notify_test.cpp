// The notification channel: initialisation and the observer table, posting and delivery over the
// session bus, filtering by service, and notifications that are not what the channel sends.
#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QObject>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "mapperlink/notify.h"
#include "unit/mapperlink_support.h"

using namespace mapperlinktest;

namespace {

struct Received {
    std::string service, message;
    int32_t context;
};
std::vector<Received> received; // what the recording callback was given, in order

void record(char *service, char *message, int32_t context)
{
    received.push_back({service, message, context});
}

bool receivedMessage(const std::string &message)
{
    for (const Received &r : received)
        if (r.message == message)
            return true;
    return false;
}

// The channel initialised on the private bus, with a table of `n` records.
void initChannel(int n)
{
    ASSERT_TRUE(usePrivateSessionBus());
    received.clear();
    ASSERT_EQ(NOTinit(n), 0);
}

// The channel with one record, armed for any service, recording with `context`.
void initWithAnyObserver(int32_t context = 0)
{
    initChannel(1);
    NOTobserver *any = nullptr;
    ASSERT_EQ(NOTarmObserver(nullptr, record, context, &any), 0);
}

// Sends a raw notification signal with any body from this process's bus connection.
void sendRaw(const QList<QVariant> &body)
{
    QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral(NOT_PATH), QStringLiteral(NOT_INTERFACE),
                                                     QStringLiteral(NOT_MEMBER));
    signal.setArguments(body);
    ASSERT_TRUE(QDBusConnection::sessionBus().send(signal));
}

QVariant stringDict(const QMap<QString, QString> &map)
{
    qDBusRegisterMetaType<QMap<QString, QString>>();
    return QVariant::fromValue(map);
}

// Sends `body`, then a good notification; what was traced until the good one arrived.
std::string traceOfRawNotification(const QList<QVariant> &body)
{
    static int serial = 0;
    std::string sentinel = "sentinel-" + std::to_string(++serial);
    return captureOutput([&] {
        sendRaw(body);
        NOTpost("test", sentinel.c_str());
        waitFor([&] { return receivedMessage(sentinel); });
    });
}
} // namespace

// Records every raw notification seen on a connection of its own.
class NotificationSpy : public QObject {
    Q_OBJECT
public:
    std::vector<QDBusMessage> seen;
    QDBusConnection bus;
    NotificationSpy()
        : bus(QDBusConnection::connectToBus(QString::fromLocal8Bit(getenv("DBUS_SESSION_BUS_ADDRESS")),
                                            QStringLiteral("spy")))
    {
        bus.connect(QString(), QString(), QStringLiteral(NOT_INTERFACE), QStringLiteral(NOT_MEMBER), this,
                    SLOT(notification(QDBusMessage)));
        QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                           QStringLiteral("/org/freedesktop/DBus"),
                                                           QStringLiteral("org.freedesktop.DBus"),
                                                           QStringLiteral("GetId"));
        bus.call(call); // the match is in force from here on
    }
    ~NotificationSpy() override { QDBusConnection::disconnectFromBus(QStringLiteral("spy")); }
    bool sawMessage(const QString &message) const
    {
        for (const QDBusMessage &m : seen)
            if (m.signature() == QLatin1String("sa{ss}") &&
                qdbus_cast<QMap<QString, QString>>(m.arguments().at(1)).value(QStringLiteral("message")) == message)
                return true;
        return false;
    }
public slots:
    void notification(const QDBusMessage &message) { seen.push_back(message); }
};

TEST(NotificationChannel, PostingBeforeInitReturnsOneAndSendsNothing)
{
    ASSERT_TRUE(usePrivateSessionBus());
    NotificationSpy spy;
    EXPECT_EQ(NOTpost("button", "DWN early"), 1);
    ASSERT_EQ(NOTinit(1), 0);
    ASSERT_EQ(NOTpost("button", "DWN later"), 0);
    ASSERT_TRUE(waitFor([&] { return spy.sawMessage(QStringLiteral("DWN later")); }));
    EXPECT_EQ(spy.seen.size(), 1u);
    EXPECT_FALSE(spy.sawMessage(QStringLiteral("DWN early")));
}

TEST(NotificationChannel, SignalCarriesServiceAsObjectAndStringDictionary)
{
    ASSERT_TRUE(usePrivateSessionBus());
    NotificationSpy spy;
    ASSERT_EQ(NOTinit(1), 0);
    ASSERT_EQ(NOTpost("command", "RLD"), 0);
    ASSERT_TRUE(waitFor([&] { return !spy.seen.empty(); }));
    const QDBusMessage &m = spy.seen.front();
    EXPECT_EQ(m.type(), QDBusMessage::SignalMessage);
    EXPECT_EQ(m.path(), QStringLiteral("/com/Orvenda/VQX/IAC"));
    EXPECT_EQ(m.interface(), QStringLiteral("com.Orvenda.VQX.IAC"));
    EXPECT_EQ(m.member(), QStringLiteral("notification"));
    EXPECT_EQ(m.signature(), QStringLiteral("sa{ss}"));
    ASSERT_EQ(m.arguments().size(), 2);
    EXPECT_EQ(m.arguments().at(0).toString(), QStringLiteral("command"));
    QMap<QString, QString> info = qdbus_cast<QMap<QString, QString>>(m.arguments().at(1));
    EXPECT_EQ(info.size(), 2);
    EXPECT_EQ(info.value(QStringLiteral("service")), QStringLiteral("command"));
    EXPECT_EQ(info.value(QStringLiteral("message")), QStringLiteral("RLD"));
}

TEST(NotificationChannel, EmptyServiceGoesAsEmptyObject)
{
    ASSERT_TRUE(usePrivateSessionBus());
    NotificationSpy spy;
    ASSERT_EQ(NOTinit(1), 0);
    ASSERT_EQ(NOTpost("", "hello"), 0);
    ASSERT_TRUE(waitFor([&] { return !spy.seen.empty(); }));
    EXPECT_EQ(spy.seen.front().arguments().at(0).toString(), QString());
}

TEST(NotificationChannel, PostedPairReachesArmedObserverWithContext)
{
    initChannel(1);
    NOTobserver *handle = nullptr;
    ASSERT_EQ(NOTarmObserver("button", record, 77, &handle), 0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle, &myObservers[0]);
    EXPECT_EQ(handle->armed, 0x4073A61Cu);
    EXPECT_STREQ(handle->service, "button");
    ASSERT_EQ(NOTpost("button", "DWN Play"), 0);
    ASSERT_TRUE(waitFor([] { return !received.empty(); }));
    EXPECT_EQ(received[0].service, "button");
    EXPECT_EQ(received[0].message, "DWN Play");
    EXPECT_EQ(received[0].context, 77);
}

TEST(NotificationChannel, ArmingSecondObserverOnTableOfOneReturnsSix)
{
    initChannel(1);
    NOTobserver *first = nullptr, *second = nullptr;
    ASSERT_EQ(NOTarmObserver("button", record, 0, &first), 0);
    EXPECT_EQ(NOTarmObserver("other", record, 0, &second), 6);
    EXPECT_EQ(second, nullptr);
}

TEST(NotificationChannel, OperationsBeforeInitReturnOne)
{
    NOTobserver *handle = nullptr;
    EXPECT_EQ(NOTarmObserver("button", record, 0, &handle), 1);
    EXPECT_EQ(NOTdisarm(handle), 1);
    EXPECT_EQ(NOTunInit(), 1);
}

TEST(NotificationChannel, SecondInitReturnsOneAllocatesNothingButTakesCapacity)
{
    initChannel(1);
    NOTobserver *table = myObservers;
    EXPECT_EQ(NOTinit(5), 1);
    EXPECT_EQ(myObservers, table);
    EXPECT_EQ(myNumObservers, 5);
    // The table still has one record: arming never reaches past it.
    NOTobserver *first = nullptr, *second = nullptr;
    EXPECT_EQ(NOTarmObserver("a", record, 0, &first), 0);
    EXPECT_EQ(NOTarmObserver("b", record, 0, &second), 6);
}

TEST(NotificationChannel, DisarmingFreeRecordReturnsEightArmedOneFreesIt)
{
    initChannel(2);
    EXPECT_EQ(NOTdisarm(&myObservers[1]), 8);
    EXPECT_EQ(NOTdisarm(nullptr), 8);
    NOTobserver *first = nullptr;
    ASSERT_EQ(NOTarmObserver("button", record, 0, &first), 0);
    ASSERT_EQ(first, &myObservers[0]);
    EXPECT_EQ(NOTdisarm(first), 0);
    EXPECT_EQ(myObservers[0].armed, 0u);
    EXPECT_EQ(NOTdisarm(first), 8);
    NOTobserver *again = nullptr;
    ASSERT_EQ(NOTarmObserver("other", record, 0, &again), 0);
    EXPECT_EQ(again, &myObservers[0]); // the freed record is the first free one again
}

TEST(NotificationChannel, DisarmedObserverIsNoLongerCalled)
{
    initChannel(2);
    NOTobserver *gone = nullptr, *kept = nullptr;
    ASSERT_EQ(NOTarmObserver("gone", record, 1, &gone), 0);
    ASSERT_EQ(NOTarmObserver("kept", record, 2, &kept), 0);
    ASSERT_EQ(NOTdisarm(gone), 0);
    NOTpost("gone", "one");
    NOTpost("kept", "two");
    ASSERT_TRUE(waitFor([] { return receivedMessage("two"); }));
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].context, 2);
}

TEST(NotificationChannel, UnInitDisarmsEveryArmedRecord)
{
    initChannel(3);
    NOTobserver *a = nullptr, *b = nullptr;
    ASSERT_EQ(NOTarmObserver("a", record, 0, &a), 0);
    ASSERT_EQ(NOTarmObserver("b", record, 0, &b), 0);
    EXPECT_EQ(NOTunInit(), 0);
    EXPECT_EQ(myObservers[0].armed, 0u);
    EXPECT_EQ(myObservers[1].armed, 0u);
    EXPECT_EQ(myInit, 1); // the channel stays initialised
    NOTpost("a", "x");
    syncWithBus();
    waitFor([] { return false; }, 200);
    EXPECT_TRUE(received.empty());
}

TEST(NotificationChannel, ObserverOfOneServiceIsNeverCalledForAnother)
{
    initChannel(3);
    NOTobserver *button = nullptr, *command = nullptr, *any = nullptr;
    ASSERT_EQ(NOTarmObserver("button", record, 1, &button), 0);
    ASSERT_EQ(NOTarmObserver("command", record, 2, &command), 0);
    ASSERT_EQ(NOTarmObserver(nullptr, record, 3, &any), 0);
    EXPECT_STREQ(any->service, "");
    NOTpost("command", "RLD");
    NOTpost("button", "DWN Play");
    NOTpost("buttons", "DWN Other");
    ASSERT_TRUE(waitFor([] { return received.size() >= 5; }));
    waitFor([] { return false; }, 200);
    ASSERT_EQ(received.size(), 5u);
    for (const Received &r : received) {
        if (r.context == 1)
            EXPECT_EQ(r.service, "button");
        else if (r.context == 2)
            EXPECT_EQ(r.service, "command");
        else
            EXPECT_EQ(r.context, 3);
    }
}

TEST(NotificationChannel, ServiceOfObserverKeepsElevenCharacters)
{
    initChannel(1);
    NOTobserver *handle = nullptr;
    ASSERT_EQ(NOTarmObserver("abcdefghijklmnop", record, 0, &handle), 0);
    EXPECT_STREQ(handle->service, "abcdefghijk");
    EXPECT_EQ(handle->service[11], '\0');
}

TEST(NotificationChannel, NonAsciiTextIsNotPosted)
{
    initChannel(1);
    std::string out = captureOutput([] {
        EXPECT_EQ(NOTpost("caf\xc3\xa9", "x"), -1);
        EXPECT_EQ(NOTpost("button", "DWN caf\xc3\xa9"), -1);
        EXPECT_EQ(NOTpost(nullptr, "x"), -1);
    });
    EXPECT_TRUE(contains(out, "CFStringCreateWithCString(service) returned NULL\n"));
    EXPECT_TRUE(contains(out, "CFStringCreateWithCString(message) returned NULL\n"));
}

TEST(NotificationChannel, DictionaryWithoutMessageIsTracedAndNotDelivered)
{
    initWithAnyObserver();
    std::string out = traceOfRawNotification({QStringLiteral("button"), stringDict({{"service", "button"}})});
    EXPECT_TRUE(contains(out, "Orvenda VQX ERROR: NOTdeliverInfoToObserverCallback: no message in dictionary\n"));
    ASSERT_EQ(received.size(), 1u); // the sentinel only
    EXPECT_EQ(received[0].service, "test");
}

TEST(NotificationChannel, DictionaryWithoutServiceIsTracedAndNotDelivered)
{
    initWithAnyObserver();
    std::string out = traceOfRawNotification({QStringLiteral("button"), stringDict({{"message", "DWN Play"}})});
    EXPECT_TRUE(contains(out, "Orvenda VQX ERROR: NOTdeliverInfoToObserverCallback: no service in dictionary\n"));
    EXPECT_EQ(received.size(), 1u);
}

TEST(NotificationChannel, EmptyDictionaryIsTracedAndNotDelivered)
{
    initWithAnyObserver();
    std::string out = traceOfRawNotification({QStringLiteral("button"), stringDict({})});
    EXPECT_TRUE(contains(out, "no service in dictionary"));
    EXPECT_EQ(received.size(), 1u);
}

TEST(NotificationChannel, VariantDictionaryIsTracedAndNotDelivered)
{
    initWithAnyObserver();
    QVariantMap variants{{"service", "button"}, {"message", "DWN Play"}};
    std::string out = traceOfRawNotification({QStringLiteral("button"), variants});
    EXPECT_TRUE(contains(out, "Orvenda VQX ERROR: NOTcallback: notification body (sa{sv}) is not (sa{ss})"));
    EXPECT_EQ(received.size(), 1u);
}

TEST(NotificationChannel, IntegerBodiesAreTracedAndNotDelivered)
{
    initWithAnyObserver();
    std::string out = traceOfRawNotification({42});
    EXPECT_TRUE(contains(out, "notification body (i) is not (sa{ss})"));
    qDBusRegisterMetaType<QMap<QString, int>>();
    QMap<QString, int> ints{{"service", 1}, {"message", 2}};
    out = traceOfRawNotification({QStringLiteral("button"), QVariant::fromValue(ints)});
    EXPECT_TRUE(contains(out, "notification body (sa{si}) is not (sa{ss})"));
    out = traceOfRawNotification({QStringLiteral("button"), 7});
    EXPECT_TRUE(contains(out, "notification body (si) is not (sa{ss})"));
    out = traceOfRawNotification({});
    EXPECT_TRUE(contains(out, "notification body () is not (sa{ss})"));
    out = traceOfRawNotification({7, stringDict({{"service", "button"}, {"message", "DWN Play"}})});
    EXPECT_TRUE(contains(out, "notification body (ia{ss}) is not (sa{ss})"));
    EXPECT_EQ(received.size(), 5u); // the sentinels only
}

TEST(NotificationChannel, TenThousandCharacterMessageIsTracedAsEmpty)
{
    initWithAnyObserver(5);
    QString huge(10000, QLatin1Char('x'));
    std::string out = traceOfRawNotification(
        {QStringLiteral("button"), stringDict({{"service", "button"}, {"message", huge}})});
    EXPECT_TRUE(contains(out, "Orvenda VQX ERROR: NOTdeliverInfoToObserverCallback: messageString empty\n"));
    ASSERT_EQ(received.size(), 2u);
    // It does not fit the 256-byte buffer: the callback is called all the same, with nothing.
    EXPECT_EQ(received[0].service, "button");
    EXPECT_EQ(received[0].message, "");
    EXPECT_EQ(received[0].context, 5);
}

TEST(NotificationChannel, MessageOf255CharactersFitsAnd256DoNot)
{
    initWithAnyObserver();
    std::string fits(255, 'm'), too(256, 'm');
    NOTpost("svc", fits.c_str());
    NOTpost("svc", too.c_str());
    ASSERT_TRUE(waitFor([] { return received.size() >= 2; }));
    EXPECT_EQ(received[0].message, fits);
    EXPECT_EQ(received[1].message, "");
}

TEST(NotificationChannel, ServiceLongerThanTenCharactersIsTracedAsEmpty)
{
    initWithAnyObserver();
    std::string out = captureOutput([] {
        NOTpost("abcdefghij", "ten");
        NOTpost("abcdefghijk", "eleven");
        waitFor([] { return received.size() >= 2; });
    });
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(received[0].service, "abcdefghij");
    EXPECT_EQ(received[1].service, "");
    EXPECT_EQ(received[1].message, "eleven");
    EXPECT_EQ(countOf(out, "Orvenda VQX ERROR: NOTdeliverInfoToObserverCallback: serviceString empty\n"), 1u);
}

TEST(NotificationChannel, NotificationForUnknownObserverIsTraced)
{
    initChannel(1);
    QObject stranger;
    QDBusMessage m = QDBusMessage::createSignal(QStringLiteral(NOT_PATH), QStringLiteral(NOT_INTERFACE),
                                                QStringLiteral(NOT_MEMBER));
    std::string out = captureOutput([&] { NOTcallback(&stranger, m); });
    EXPECT_EQ(out, "Orvenda VQX ERROR: NOTcallback() didn't match\n\n");
    QDBusMessage other = QDBusMessage::createSignal(QStringLiteral(NOT_PATH), QStringLiteral(NOT_INTERFACE),
                                                    QStringLiteral("other"));
    out = captureOutput([&] { NOTcallback(&stranger, other); });
    EXPECT_EQ(out, "Orvenda VQX ERROR: invalid name in NOTcallback\n\n");
    EXPECT_TRUE(received.empty());
}

TEST(NotificationChannel, CallbackMayDisarmItsOwnObserver)
{
    initChannel(1);
    static NOTobserver *self;
    ASSERT_EQ(NOTarmObserver(
                  "once",
                  [](char *service, char *message, int32_t context) {
                      record(service, message, context);
                      NOTdisarm(self);
                  },
                  0, &self),
              0);
    NOTpost("once", "first");
    NOTpost("once", "second");
    ASSERT_TRUE(waitFor([] { return !received.empty(); }));
    syncWithBus();
    waitFor([] { return false; }, 200);
    EXPECT_EQ(received.size(), 1u);
    EXPECT_EQ(myObservers[0].armed, 0u);
}

#include "mapperlink_notify_test.moc"
