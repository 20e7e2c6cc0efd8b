// Handles the Mapper's bus object by hand, so that every argument is checked before use: wrong
// types, unknown buttons and oversized strings are logged and answered with an error.
#include "mapper/bus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QStringList>

#include "mapper/front.h"
#include "mapper/log.h"
#include "mapper/loop.h"

static const int kMaxArgument = 1024; // longer strings are refused whole

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
    void propertyCall(const QDBusMessage &message, const QDBusConnection &connection);
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

// The argument at `index` as a string of at most kMaxArgument bytes; false otherwise.
static bool stringArgument(const QDBusMessage &message, int index, std::string *out)
{
    const QList<QVariant> args = message.arguments();
    if (index >= args.size() || args[index].userType() != QMetaType::QString)
        return false;
    QByteArray bytes = args[index].toString().toUtf8();
    if (bytes.size() > kMaxArgument)
        return false;
    *out = bytes.toStdString();
    return true;
}

void MapperObject::methodCall(const QDBusMessage &message, const QDBusConnection &connection)
{
    const QString member = message.member();
    const QString signature = message.signature();
    const char *invalid = "org.freedesktop.DBus.Error.InvalidArgs";
    if (member == QLatin1String("Press") || member == QLatin1String("Release")) {
        std::string button;
        if (signature != QLatin1String("s") || !stringArgument(message, 0, &button)) {
            refuse(message, connection, invalid, "expects one button name (s) of at most 1024 bytes");
            return;
        }
        int result = member == QLatin1String("Press") ? LOOPpress(mapper, button) : LOOPrelease(mapper, button);
        if (result != 0) {
            char safe[80];
            refuse(message, connection, invalid,
                std::string("no button named \"")
                    + LOGsafe(button.data(), (unsigned long)button.size(), safe, sizeof safe) + "\" on the remote");
            return;
        }
    } else if (member == QLatin1String("Reload") || member == QLatin1String("Quit")) {
        if (!signature.isEmpty()) {
            refuse(message, connection, invalid, "takes no arguments");
            return;
        }
        if (member == QLatin1String("Reload")) {
            LOOPreload(mapper, "bus Reload");
        } else {
            connection.send(message.createReply());
            LOOPquit(mapper, "bus Quit");
            return;
        }
    } else if (member == QLatin1String("SetFrontApplication")) {
        std::string appId, windowClass;
        const QList<QVariant> args = message.arguments();
        if (signature != QLatin1String("ssu") || !stringArgument(message, 0, &appId)
            || !stringArgument(message, 1, &windowClass)) {
            refuse(message, connection, invalid, "expects (s appId, s windowClass, u pid)");
            return;
        }
        LOOPsetFront(mapper, FRTnames(appId, windowClass, args[2].toUInt()));
    } else {
        refuse(message, connection, "org.freedesktop.DBus.Error.UnknownMethod", "no such method");
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

void MapperObject::propertyCall(const QDBusMessage &message, const QDBusConnection &connection)
{
    const QString member = message.member();
    const QString signature = message.signature();
    std::string interface, name;
    const char *invalid = "org.freedesktop.DBus.Error.InvalidArgs";
    LOOPstatus status = LOOPgetStatus(mapper);
    if (member == QLatin1String("Get") && signature == QLatin1String("ss") && stringArgument(message, 0, &interface)
        && stringArgument(message, 1, &name)) {
        bool known = false;
        QVariant value = propertyValue(status, QString::fromStdString(name), &known);
        if (!known || (interface != BUS_INTERFACE && !interface.empty())) {
            refuse(message, connection, invalid, "no such property");
            return;
        }
        connection.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
    } else if (member == QLatin1String("GetAll") && signature == QLatin1String("s")
        && stringArgument(message, 0, &interface)) {
        QVariantMap all;
        if (interface == BUS_INTERFACE || interface.empty()) {
            for (const char *n : { "Input", "Output", "FrontApplication", "Entry", "Mapping", "Remote" }) {
                bool known = false;
                all.insert(QString::fromLatin1(n), propertyValue(status, QString::fromLatin1(n), &known));
            }
        }
        connection.send(message.createReply(all));
    } else if (member == QLatin1String("Set")) {
        refuse(message, connection, "org.freedesktop.DBus.Error.PropertyReadOnly", "the properties are read-only");
    } else {
        refuse(message, connection, invalid, "malformed property call");
    }
}

bool MapperObject::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    if (message.type() != QDBusMessage::MethodCallMessage)
        return false;
    const QString interface = message.interface();
    if (interface == QLatin1String("org.freedesktop.DBus.Properties")) {
        propertyCall(message, connection);
        return true;
    }
    if (interface.isEmpty() || interface == QLatin1String(BUS_INTERFACE)) {
        methodCall(message, connection);
        return true;
    }
    return false;
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
