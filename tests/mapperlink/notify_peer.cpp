// A second process on the session bus, playing the Mapper for the notification tests: it listens
// to one service, prints what it receives, answers each message on another service, and also posts
// a message on a third service that nobody listening to the answers may receive.
//   vqx-notify-peer LISTEN REPLY COUNT   (ends with status 0 after COUNT messages)
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "mapperlink/notify.h"

static const char *replyService; // where the answers go
static int wanted;               // messages to receive before ending
static int got;                  // messages received so far

// A round trip to the bus daemon: everything sent before it has been handled by the daemon.
static void syncWithBus()
{
    QDBusConnection::sessionBus().call(QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId")));
}

static void answer(char *service, char *message, int32_t context)
{
    printf("got %s %s %d\n", service, message, (int)context);
    fflush(stdout);
    NOTpost("noise", message);
    std::string echo = std::string("ECHO ") + message;
    NOTpost(replyService, echo.c_str());
    if (++got == wanted) {
        syncWithBus();
        QCoreApplication::exit(0);
    }
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 4) {
        fprintf(stderr, "usage: vqx-notify-peer LISTEN REPLY COUNT\n");
        return 64;
    }
    replyService = argv[2];
    wanted = atoi(argv[3]);
    if (NOTinit(1) != 0)
        return 2;
    NOTobserver *observer = nullptr;
    if (NOTarmObserver(argv[1], answer, 42, &observer) != 0)
        return 3;
    syncWithBus(); // the observer's match is in force before anyone hears that we are ready
    NOTpost(replyService, "READY");
    QTimer::singleShot(20000, [] { QCoreApplication::exit(4); });
    return app.exec();
}
