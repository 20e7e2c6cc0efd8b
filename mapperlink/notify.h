// The notification channel between the editor and the Mapper: (service, message) pairs carried as
// D-Bus signals on the session bus, and a fixed table of observers, each called for one service.
#ifndef VQX_MAPPERLINK_NOTIFY_H
#define VQX_MAPPERLINK_NOTIFY_H

#include <cstdint>

class QObject;
class QDBusConnection;
class QDBusMessage;

// The fixed name of every notification, and how it goes over the bus.
#define NOT_NAME "com.Orvenda.VQX.IAC.notification"
#define NOT_INTERFACE "com.Orvenda.VQX.IAC"
#define NOT_MEMBER "notification"
#define NOT_PATH "/com/Orvenda/VQX/IAC"

enum {
    kNOTarmedMarker = 0x4073A61C, // an observer record in use
    kNOTserviceLength = 11,       // characters of service kept in an observer record
    kNOTserviceBufferSize = 11,   // the service as handed to a callback, NUL included
    kNOTmessageBufferSize = 256   // the message as handed to a callback, NUL included
};

// Result codes.
enum {
    kNOTnoErr = 0,
    kNOTnotInitialised = 1, // also NOTinit's "already initialised"
    kNOTnoMemory = 2,
    kNOTnoSessionBus = 3, // NOTinit: the session bus cannot be reached
    kNOTnoFreeObserver = 6,
    kNOTbadHandle = 8,
    kNOTnoIdentity = 10,
    kNOTconversionFailed = -1
};

typedef void (*NOTcallbackProcPtr)(char *service, char *message, int32_t context);

// One observer, fields in this order.
struct NOTobserver {
    NOTcallbackProcPtr callback; // called as callback(service, message, context)
    uint32_t armed;              // kNOTarmedMarker while in use, 0 when free
    int32_t context;             // caller's word, passed back unchanged
    QObject *identity;           // the receiver object that stands for this observer on the bus
    char service[12];            // the service listened to, NUL-padded; empty = any service
};

extern int32_t myInit;              // 1 after a successful NOTinit
extern int32_t myNumObservers;      // capacity of the observer table
extern NOTobserver *myObservers;    // the observer table
extern QDBusConnection *myCenter;   // the session bus
extern QObject *myMasterPort;       // owner of the identity objects

int NOTinit(int32_t numObservers);
int NOTpost(const char *service, const char *message);
int NOTarmObserver(const char *service, NOTcallbackProcPtr callback, int32_t context, NOTobserver **handle);
int NOTdisarm(NOTobserver *handle);
int NOTunInit(void);

// Arrival of one notification at the observer whose identity is `observer`.
void NOTcallback(QObject *observer, const QDBusMessage &notification);

// Back to the state before NOTinit: every observer disarmed, the table freed (tests).
void NOTreset(void);

#endif
