// Fuzzes the reading of calls to the Mapper's bus object: any interface, member, signature and
// arguments of any type and size (as another program on the bus may send them).
#include <QStringList>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "mapper/buscall.h"

namespace {
// Reads the fuzzer's bytes front to back.
struct Bytes {
    const uint8_t *data;
    size_t size;
    uint8_t byte() { return size ? (size--, *data++) : 0; }
    QString text()
    {
        size_t want = byte();
        if (want == 255) // now and then a long one
            want = (size_t)byte() * 64;
        size_t n = want < size ? want : size;
        QString s = QString::fromUtf8((const char *)data, (qsizetype)n);
        data += n;
        size -= n;
        return s;
    }
};

const char *const kMembers[] = { "Press", "Release", "Reload", "Quit", "SetFrontApplication", "Get", "GetAll", "Set" };
const char *const kInterfaces[] = { "", BCL_INTERFACE, "org.freedesktop.DBus.Properties" };
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Bytes in { data, size };
    uint8_t choice = in.byte();
    QString interface = choice < 200 ? QString::fromLatin1(kInterfaces[choice % 3]) : in.text();
    choice = in.byte();
    QString member = choice < 200 ? QString::fromLatin1(kMembers[choice % 8]) : in.text();
    QString signature;
    QList<QVariant> args;
    int count = in.byte() % 5;
    for (int i = 0; i < count; i++) {
        switch (in.byte() % 5) {
        case 0:
            signature += QLatin1Char('s');
            args << in.text();
            break;
        case 1:
            signature += QLatin1Char('u');
            args << (uint)in.byte() * 16777619u;
            break;
        case 2:
            signature += QLatin1Char('i');
            args << -(int)in.byte();
            break;
        case 3:
            signature += QLatin1String("as");
            args << QStringList { in.text(), in.text() };
            break;
        default:
            signature += in.text(); // a signature that does not describe the arguments
            break;
        }
    }
    BCLcall call = BCLread(interface, member, signature, args);
    // Whatever is accepted is within bounds and of the method's own shape.
    if (call.text.size() > BCL_MAX_ARGUMENT || call.text2.size() > BCL_MAX_ARGUMENT)
        abort();
    if ((call.kind == BCL_PRESS || call.kind == BCL_RELEASE) && signature != QLatin1String("s"))
        abort();
    // SetFrontApplication's pid: a u, or a whole non-negative i or d from script engines.
    if (call.kind == BCL_SET_FRONT && signature != QLatin1String("ssu") && signature != QLatin1String("ssi")
        && signature != QLatin1String("ssd"))
        abort();
    if (call.kind == BCL_SET_FRONT && signature == QLatin1String("ssi") && args[2].toInt() < 0)
        abort();
    if (call.kind == BCL_GET && !BCLisProperty(call.text))
        abort();
    if (call.kind == BCL_REFUSED
        && (call.error == nullptr || strncmp(call.error, "org.freedesktop.DBus.Error.", 27) != 0))
        abort();
    return 0;
}
