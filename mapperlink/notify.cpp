// The notification channel over the D-Bus session bus: posting (service, message) pairs as signals
// with a body (s object, a{ss} userInfo) and delivering them, on the main loop, to armed observers.
#include "mapperlink/notify.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>
#include <cstdlib>
#include <cstring>

#include "shell/diagnostics.h"

typedef QMap<QString, QString> NOTuserInfo;

int32_t myInit;               // 1 after a successful NOTinit
int32_t myNumObservers;       // capacity of the observer table
NOTobserver *myObservers;     // the observer table, allocated once
QDBusConnection *myCenter;    // the session bus connection
QObject *myMasterPort;        // parent of every identity object

static QObject *deliveringTo; // the identity whose delivery is running, if any
static int32_t tableSize;     // records really allocated; a later capacity never reaches past them

// The records that may be used: the capacity, but never more than were allocated.
static int32_t usableRecords(void)
{
    return myObservers ? (myNumObservers < tableSize ? myNumObservers : tableSize) : 0;
}

// The receiver object of one observer: the bus calls its slot for every matching signal.
class NOTidentity : public QObject {
    Q_OBJECT
public:
    explicit NOTidentity(QObject *parent) : QObject(parent) {}
public slots:
    void notification(const QDBusMessage &message)
    {
        deliveringTo = this;
        NOTcallback(this, message);
        deliveringTo = nullptr;
    }
};

// A string from ASCII text; false for a null text or one with a byte outside ASCII.
static bool makeStringASCII(const char *text, QString *result)
{
    if (!text)
        return false;
    for (const unsigned char *p = (const unsigned char *)text; *p; p++)
        if (*p > 127)
            return false;
    *result = QString::fromLatin1(text);
    return true;
}

// The string as ASCII into a buffer of `size` bytes; empty when it does not fit or is not ASCII.
static void getStringASCII(const QString &text, char *buffer, int size)
{
    buffer[0] = '\0';
    if (text.size() >= size)
        return;
    for (QChar c : text)
        if (c.unicode() > 127 || c.unicode() == 0)
            return;
    memcpy(buffer, text.toLatin1().constData(), (size_t)text.size());
    buffer[text.size()] = '\0';
}

int NOTinit(int32_t numObservers)
{
    myNumObservers = numObservers; // before the test: a second call overwrites the capacity
    if (myInit)
        return kNOTnotInitialised;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        BUGprintf("Orvenda VQX ERROR: NOTinit: no D-Bus session bus (%s); the Mapper cannot be reached and "
                  "remote button presses will not select buttons",
                  bus.lastError().message().toLocal8Bit().constData());
        return kNOTnoSessionBus;
    }
    myObservers = numObservers > 0 ? (NOTobserver *)calloc((size_t)numObservers, sizeof(NOTobserver)) : nullptr;
    if (numObservers > 0 && !myObservers) {
        BUGprintf("NOTinit out of memory\n");
        return kNOTnoMemory;
    }
    tableSize = numObservers > 0 ? numObservers : 0;
    qDBusRegisterMetaType<NOTuserInfo>(); // so that the dictionary goes out as a{ss}
    myMasterPort = new QObject;
    myCenter = new QDBusConnection(bus);
    myInit = 1;
    return kNOTnoErr;
}

int NOTpost(const char *service, const char *message)
{
    QString object;
    makeStringASCII(service, &object); // empty when there is no service
    if (!myInit)
        return kNOTnotInitialised;
    QString serviceString, messageString;
    if (!makeStringASCII(service, &serviceString)) {
        BUGprintf("CFStringCreateWithCString(service) returned NULL\n");
        return kNOTconversionFailed;
    }
    if (!makeStringASCII(message, &messageString)) {
        BUGprintf("CFStringCreateWithCString(message) returned NULL\n");
        return kNOTconversionFailed;
    }
    NOTuserInfo userInfo;
    userInfo.insert(QStringLiteral("service"), serviceString);
    userInfo.insert(QStringLiteral("message"), messageString);
    QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral(NOT_PATH), QStringLiteral(NOT_INTERFACE),
                                                     QStringLiteral(NOT_MEMBER));
    signal << object << QVariant::fromValue(userInfo);
    if (!myCenter->send(signal)) {
        BUGprintf("Orvenda VQX ERROR: NOTpost: the notification could not be sent (%s)",
                  myCenter->lastError().message().toLocal8Bit().constData());
        return kNOTconversionFailed;
    }
    return kNOTnoErr;
}

// The match of one observer: the fixed interface and member, and the service as first argument.
static QStringList argumentMatch(const NOTobserver *record)
{
    QStringList match;
    if (record->service[0])
        match << QString::fromLatin1(record->service);
    return match;
}

static bool connectIdentity(const NOTobserver *record, bool on)
{
    const QString any;
    if (on)
        return myCenter->connect(any, any, QStringLiteral(NOT_INTERFACE), QStringLiteral(NOT_MEMBER),
                                 argumentMatch(record), any, record->identity, SLOT(notification(QDBusMessage)));
    return myCenter->disconnect(any, any, QStringLiteral(NOT_INTERFACE), QStringLiteral(NOT_MEMBER),
                                argumentMatch(record), any, record->identity, SLOT(notification(QDBusMessage)));
}

// Arms one record: identity, callback, context, service, registration with the bus.
static int armRecord(NOTobserver *record, const char *service, NOTcallbackProcPtr callback, int32_t context,
                     NOTobserver **handle)
{
    record->identity = new NOTidentity(myMasterPort);
    record->callback = callback;
    record->context = context;
    memset(record->service, 0, sizeof record->service);
    if (service)
        strncpy(record->service, service, kNOTserviceLength);
    if (!connectIdentity(record, true)) {
        BUGprintf("Orvenda VQX ERROR: __NOTarm(), observer is NULL");
        delete record->identity;
        record->identity = nullptr;
        return kNOTnoIdentity;
    }
    record->armed = kNOTarmedMarker;
    *handle = record;
    return kNOTnoErr;
}

int NOTarmObserver(const char *service, NOTcallbackProcPtr callback, int32_t context, NOTobserver **handle)
{
    if (!myInit)
        return kNOTnotInitialised;
    for (int32_t i = 0; i < usableRecords(); i++)
        if (myObservers[i].armed == 0)
            return armRecord(&myObservers[i], service, callback, context, handle);
    return kNOTnoFreeObserver;
}

// Takes the record off the bus and destroys its identity (later, when it is delivering right now).
static void disarmRecord(NOTobserver *record)
{
    if (record->identity) {
        connectIdentity(record, false);
        if (record->identity == deliveringTo)
            record->identity->deleteLater();
        else
            delete record->identity;
        record->identity = nullptr;
    }
    record->armed = 0;
}

// A handle is good when it points at a record of the table that is armed.
static bool isArmedRecord(const NOTobserver *handle)
{
    for (int32_t i = 0; i < usableRecords(); i++)
        if (&myObservers[i] == handle)
            return handle->armed == kNOTarmedMarker;
    return false;
}

int NOTdisarm(NOTobserver *handle)
{
    if (!myInit)
        return kNOTnotInitialised;
    if (!handle || !isArmedRecord(handle))
        return kNOTbadHandle;
    disarmRecord(handle);
    return kNOTnoErr;
}

int NOTunInit(void)
{
    if (!myInit)
        return kNOTnotInitialised;
    for (int32_t i = 0; i < usableRecords(); i++)
        if (myObservers[i].armed == kNOTarmedMarker)
            disarmRecord(&myObservers[i]);
    return kNOTnoErr;
}

// Takes "service" and "message" from the dictionary and calls the record's callback.
static void NOTdeliverInfoToObserverCallback(NOTobserver *record, const NOTuserInfo &userInfo)
{
    auto service = userInfo.constFind(QStringLiteral("service"));
    if (service == userInfo.constEnd()) {
        BUGprintf("Orvenda VQX ERROR: NOTdeliverInfoToObserverCallback: no service in dictionary\n");
        return;
    }
    auto message = userInfo.constFind(QStringLiteral("message"));
    if (message == userInfo.constEnd()) {
        BUGprintf("Orvenda VQX ERROR: NOTdeliverInfoToObserverCallback: no message in dictionary\n");
        return;
    }
    char serviceBuffer[kNOTserviceBufferSize];
    char messageBuffer[kNOTmessageBufferSize];
    getStringASCII(service.value(), serviceBuffer, sizeof serviceBuffer);
    getStringASCII(message.value(), messageBuffer, sizeof messageBuffer);
    if (!serviceBuffer[0])
        BUGprintf("Orvenda VQX ERROR: NOTdeliverInfoToObserverCallback: serviceString empty\n");
    if (!messageBuffer[0])
        BUGprintf("Orvenda VQX ERROR: NOTdeliverInfoToObserverCallback: messageString empty\n");
    if (record->callback)
        record->callback(serviceBuffer, messageBuffer, record->context);
}

void NOTcallback(QObject *observer, const QDBusMessage &notification)
{
    if (notification.interface() + QLatin1Char('.') + notification.member() != QLatin1String(NOT_NAME)) {
        BUGprintf("Orvenda VQX ERROR: invalid name in NOTcallback\n");
        return;
    }
    NOTobserver *record = nullptr;
    for (int32_t i = 0; i < usableRecords() && !record; i++)
        if (observer && myObservers[i].identity == observer)
            record = &myObservers[i];
    if (!record) {
        BUGprintf("Orvenda VQX ERROR: NOTcallback() didn't match\n");
        return;
    }
    // The body must be the object string and a dictionary of strings; anything else is refused
    // before it is looked at, so that no value of another type is ever read as a string.
    const QString signature = notification.signature();
    if (!signature.startsWith(QLatin1String("sa{ss}"))) {
        BUGprintf("Orvenda VQX ERROR: NOTcallback: notification body (%s) is not (sa{ss})",
                  signature.toLatin1().left(64).constData());
        return;
    }
    const QList<QVariant> arguments = notification.arguments();
    NOTdeliverInfoToObserverCallback(record, qdbus_cast<NOTuserInfo>(arguments.at(1)));
}

void NOTreset(void)
{
    if (myObservers) {
        for (int32_t i = 0; i < tableSize; i++)
            if (myObservers[i].identity)
                disarmRecord(&myObservers[i]);
        free(myObservers);
    }
    myObservers = nullptr;
    delete myMasterPort;
    myMasterPort = nullptr;
    delete myCenter;
    myCenter = nullptr;
    myInit = 0;
    myNumObservers = 0;
    tableSize = 0;
    deliveringTo = nullptr;
}

#include "notify.moc"
