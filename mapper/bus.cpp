// Handles the Mapper's bus object by hand, so that every argument is checked before use: wrong
// types, unknown buttons and oversized strings are logged and answered with an error.
#include "mapper/bus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QStringList>

#include "mapper/buscall.h"
#include "mapper/log.h"
#include "mapper/loop.h"

static const char *const kIntrospection
    = "  <interface name=\"" BUS_INTERFACE "\">\n"
      "    <method name=\"Press\"><arg name=\"button\" type=\"s\" direction=\"in\"/></method>\n"
      "    <method name=\"Release\"><arg name=\"button\" type=\"s\" direction=\"in\"/></method>\n"
      "    <method name=\"Reload\"/>\n"
      "    <method name=\"Quit\"/>\n"
      "    <method name=\"SetFrontApplication\">\n"
      "      <arg name=\"appId\" type=\"s\" direction=\"in\"/>\n"
      "      <arg name=\"windowClass\" type=\"s\" direction=\"in\"/>\n"
      "      <arg name=\"pid\" type=\"u\" direction=\"in\"/>\n"
      "    </method>\n"
      "    <property name=\"Input\" type=\"s\" access=\"read\"/>\n"
      "    <property name=\"Output\" type=\"s\" access=\"read\"/>\n"
      "    <property name=\"FrontApplication\" type=\"as\" access=\"read\"/>\n"
      "    <property name=\"Entry\" type=\"s\" access=\"read\"/>\n"
      "    <property name=\"Mapping\" type=\"s\" access=\"read\"/>\n"
      "    <property name=\"Remote\" type=\"s\" access=\"read\"/>\n"
      "  </interface>\n";

namespace {
class MapperObject : public QDBusVirtualObject {
public:
    explicit MapperObject(LOOPmapper *m)
        : mapper(m)
    {
    }
    QString introspect(const QString &) const override { return QString::fromLatin1(kIntrospection); }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    LOOPmapper *mapper;
    void refuse(
        const QDBusMessage &message, const QDBusConnection &connection, const char *error, const std::string &why);
    void methodCall(const QDBusMessage &message, const QDBusConnection &connection);
    void propertyCall(const BCLcall &call, const QDBusMessage &message, const QDBusConnection &connection);
};
} // namespace

static MapperObject *theObject;
static bool nameOwned;

void MapperObject::refuse(
    const QDBusMessage &message, const QDBusConnection &connection, const char *error, const std::string &why)
{
    char member[80];
    QByteArray m = message.member().toUtf8();
    LOGinfo("bus: %s from %s refused: %s", LOGsafe(m.constData(), (unsigned long)m.size(), member, sizeof member),
        message.service().toUtf8().constData(), why.c_str());
    connection.send(message.createErrorReply(QString::fromLatin1(error), QString::fromStdString(why)));
}

void MapperObject::methodCall(const QDBusMessage &message, const QDBusConnection &connection)
{
    BCLcall call = BCLread(message.interface(), message.member(), message.signature(), message.arguments());
    switch (call.kind) {
    case BCL_REFUSED:
        refuse(message, connection, call.error, call.why);
        return;
    case BCL_PRESS:
    case BCL_RELEASE:
        if ((call.kind == BCL_PRESS ? LOOPpress(mapper, call.text) : LOOPrelease(mapper, call.text)) != 0) {
            char safe[80];
            refuse(message, connection, "org.freedesktop.DBus.Error.InvalidArgs",
                std::string("no button named \"")
                    + LOGsafe(call.text.data(), (unsigned long)call.text.size(), safe, sizeof safe)
                    + "\" on the remote");
            return;
        }
        break;
    case BCL_RELOAD:
        LOOPreload(mapper, "bus Reload");
        break;
    case BCL_QUIT:
        connection.send(message.createReply());
        LOOPquit(mapper, "bus Quit");
        return;
    case BCL_SET_FRONT: {
        // All empty and no process: the shell reports that no window is in front.
        FRTwindow window;
        window.appId = call.text;
        window.windowClass = call.text2;
        window.pid = call.pid;
        window.none = call.text.empty() && call.text2.empty() && call.pid == 0;
        LOOPreportFront(mapper, window);
        break;
    }
    case BCL_GET:
    case BCL_GET_ALL:
        propertyCall(call, message, connection);
        return;
    case BCL_NOT_OURS:
        return;
    }
    connection.send(message.createReply());
}

static QVariant propertyValue(const LOOPstatus &status, const QString &name, bool *known)
{
    *known = true;
    if (name == QLatin1String("Input"))
        return QString::fromStdString(status.input);
    if (name == QLatin1String("Output"))
        return QString::fromStdString(status.output);
    if (name == QLatin1String("Entry"))
        return QString::fromStdString(status.entry);
    if (name == QLatin1String("Mapping"))
        return QString::fromStdString(status.mapping);
    if (name == QLatin1String("Remote"))
        return QString::fromStdString(status.remote);
    if (name == QLatin1String("FrontApplication")) {
        QStringList names;
        for (const std::string &n : status.front)
            names << QString::fromStdString(n);
        return names;
    }
    *known = false;
    return QVariant();
}

void MapperObject::propertyCall(const BCLcall &call, const QDBusMessage &message, const QDBusConnection &connection)
{
    LOOPstatus status = LOOPgetStatus(mapper);
    if (call.kind == BCL_GET) {
        bool known = false;
        QVariant value = propertyValue(status, QString::fromStdString(call.text), &known);
        connection.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
        return;
    }
    QVariantMap all;
    if (call.text == BCL_INTERFACE || call.text.empty()) {
        for (const char *n : { "Input", "Output", "FrontApplication", "Entry", "Mapping", "Remote" }) {
            bool known = false;
            all.insert(QString::fromLatin1(n), propertyValue(status, QString::fromLatin1(n), &known));
        }
    }
    connection.send(message.createReply(all));
}

bool MapperObject::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    if (message.type() != QDBusMessage::MethodCallMessage)
        return false;
    const QString interface = message.interface();
    if (!interface.isEmpty() && interface != QLatin1String(BUS_INTERFACE)
        && interface != QLatin1String("org.freedesktop.DBus.Properties"))
        return false;
    methodCall(message, connection);
    return true;
}

int BUSstart(LOOPmapper *m, std::string *why)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        *why = bus.lastError().message().toStdString();
        return BUS_NONE;
    }
    QDBusConnectionInterface *daemon = bus.interface();
    QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply = daemon->registerService(QStringLiteral(BUS_NAME),
        QDBusConnectionInterface::DontQueueService, QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid()) {
        *why = reply.error().message().toStdString();
        return BUS_NONE;
    }
    if (reply.value() != QDBusConnectionInterface::ServiceRegistered)
        return BUS_TAKEN;
    nameOwned = true;
    theObject = new MapperObject(m);
    if (!bus.registerVirtualObject(QStringLiteral(BUS_PATH), theObject, QDBusConnection::SingleNode))
        LOGinfo("bus: the object %s could not be registered", BUS_PATH);
    return BUS_OWNED;
}

void BUSflush(void)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    // A call answered by the bus daemon comes back only after everything sent before it left.
    QDBusMessage ping = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
    bus.call(ping, QDBus::Block, 2000);
}

void BUSstop(void)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (theObject) {
        bus.unregisterObject(QStringLiteral(BUS_PATH));
        delete theObject;
        theObject = nullptr;
    }
    if (nameOwned) {
        bus.interface()->unregisterService(QStringLiteral(BUS_NAME));
        nameOwned = false;
    }
}
