// Calls a method of the Mapper's bus object with arguments of exactly the given types, for the
// whole-program tests (wrong types, oversized strings):
//   vqx-bus-call METHOD [s:TEXT | S:N (N bytes) | i:N | u:N | as:A,B]...
// Prints "ok" and the reply's arguments, or "error NAME: MESSAGE" (exit status 1).
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QStringList>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static QString describe(const QVariant &v)
{
    if (v.canConvert<QDBusVariant>())
        return describe(v.value<QDBusVariant>().variant());
    if (v.userType() == QMetaType::QStringList)
        return QStringLiteral("[") + v.toStringList().join(QStringLiteral(",")) + QStringLiteral("]");
    return v.toString();
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        fprintf(stderr, "usage: vqx-bus-call METHOD [ARG]...\n");
        return 2;
    }
    QString method = QString::fromLatin1(argv[1]);
    QString interface = QStringLiteral("com.Orvenda.VQX.Mapper1");
    int dot = method.lastIndexOf(QLatin1Char('.'));
    if (dot > 0) {
        interface = method.left(dot);
        method = method.mid(dot + 1);
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("com.Orvenda.VQX.Mapper"), QStringLiteral("/com/Orvenda/VQX/Mapper"), interface, method);
    QList<QVariant> args;
    for (int i = 2; i < argc; i++) {
        const char *a = argv[i];
        if (strncmp(a, "s:", 2) == 0)
            args << QString::fromUtf8(a + 2);
        else if (strncmp(a, "S:", 2) == 0)
            args << QString(atoi(a + 2), QLatin1Char('x'));
        else if (strncmp(a, "i:", 2) == 0)
            args << (int)strtol(a + 2, nullptr, 10);
        else if (strncmp(a, "u:", 2) == 0)
            args << (uint)strtoul(a + 2, nullptr, 10);
        else if (strncmp(a, "as:", 3) == 0)
            args << QString::fromUtf8(a + 3).split(QLatin1Char(','));
        else {
            fprintf(stderr, "vqx-bus-call: cannot read argument %s\n", a);
            return 2;
        }
    }
    call.setArguments(args);
    QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 10000);
    if (reply.type() == QDBusMessage::ErrorMessage) {
        printf("error %s: %s\n", reply.errorName().toUtf8().constData(), reply.errorMessage().toUtf8().constData());
        return 1;
    }
    QStringList parts;
    for (const QVariant &v : reply.arguments())
        parts << describe(v);
    printf("ok %s\n", parts.join(QLatin1Char(' ')).toUtf8().constData());
    return 0;
}
