// Checks a call's interface, member, signature and arguments before anything acts on it: the
// signature must be exactly the method's, and every string must be at most BCL_MAX_ARGUMENT bytes.
#include "mapper/buscall.h"

static const char *const kInvalid = "org.freedesktop.DBus.Error.InvalidArgs";
static const char *const kProperties[] = { "Input", "Output", "FrontApplication", "Entry", "Mapping", "Remote" };

bool BCLisProperty(const std::string &name)
{
    for (const char *p : kProperties)
        if (name == p)
            return true;
    return false;
}

// Argument `index` as a string of at most BCL_MAX_ARGUMENT bytes.
static bool stringAt(const QList<QVariant> &args, int index, std::string *out)
{
    if (index >= args.size() || args[index].userType() != QMetaType::QString)
        return false;
    QByteArray bytes = args[index].toString().toUtf8();
    if (bytes.size() > BCL_MAX_ARGUMENT)
        return false;
    *out = bytes.toStdString();
    return true;
}

static BCLcall refused(const char *error, const char *why)
{
    BCLcall call;
    call.kind = BCL_REFUSED;
    call.error = error;
    call.why = why;
    return call;
}

static BCLcall propertyCall(const QString &member, const QString &signature, const QList<QVariant> &args)
{
    BCLcall call;
    std::string interface;
    if (member == QLatin1String("Get") && signature == QLatin1String("ss") && stringAt(args, 0, &interface)
        && stringAt(args, 1, &call.text)) {
        if ((interface != BCL_INTERFACE && !interface.empty()) || !BCLisProperty(call.text))
            return refused(kInvalid, "no such property");
        call.kind = BCL_GET;
        return call;
    }
    if (member == QLatin1String("GetAll") && signature == QLatin1String("s") && stringAt(args, 0, &interface)) {
        call.kind = BCL_GET_ALL;
        call.text = interface;
        return call;
    }
    if (member == QLatin1String("Set"))
        return refused("org.freedesktop.DBus.Error.PropertyReadOnly", "the properties are read-only");
    return refused(kInvalid, "malformed property call");
}

// SetFrontApplication's arguments. The pid is a u; a script engine that has only numbers (KWin's
// callDBus sends an int or a double) may send an i or a d instead, taken when it is a whole number
// that fits a pid.
static bool frontArguments(const QString &signature, const QList<QVariant> &args, BCLcall *call)
{
    if (signature.size() != 3 || !signature.startsWith(QLatin1String("ss")) || args.size() != 3
        || !stringAt(args, 0, &call->text) || !stringAt(args, 1, &call->text2))
        return false;
    QChar kind = signature[2];
    int type = args[2].userType();
    if (kind == QLatin1Char('u') && type == QMetaType::UInt) {
        call->pid = args[2].toUInt();
        return true;
    }
    if (kind == QLatin1Char('i') && type == QMetaType::Int && args[2].toInt() >= 0) {
        call->pid = (uint32_t)args[2].toInt();
        return true;
    }
    if (kind == QLatin1Char('d') && type == QMetaType::Double) {
        double d = args[2].toDouble();
        if (d >= 0 && d <= 4294967295.0 && d == (double)(uint32_t)d) {
            call->pid = (uint32_t)d;
            return true;
        }
    }
    return false;
}

BCLcall BCLread(const QString &interface, const QString &member, const QString &signature, const QList<QVariant> &args)
{
    if (interface == QLatin1String("org.freedesktop.DBus.Properties"))
        return propertyCall(member, signature, args);
    if (!interface.isEmpty() && interface != QLatin1String(BCL_INTERFACE)) {
        BCLcall call;
        call.kind = BCL_NOT_OURS;
        return call;
    }
    BCLcall call;
    if (member == QLatin1String("Press") || member == QLatin1String("Release")) {
        if (signature != QLatin1String("s") || !stringAt(args, 0, &call.text))
            return refused(kInvalid, "expects one button name (s) of at most 1024 bytes");
        call.kind = member == QLatin1String("Press") ? BCL_PRESS : BCL_RELEASE;
    } else if (member == QLatin1String("Reload") || member == QLatin1String("Quit")) {
        if (!signature.isEmpty())
            return refused(kInvalid, "takes no arguments");
        call.kind = member == QLatin1String("Reload") ? BCL_RELOAD : BCL_QUIT;
    } else if (member == QLatin1String("SetFrontApplication")) {
        if (!frontArguments(signature, args, &call))
            return refused(kInvalid, "expects (s appId, s windowClass, u pid)");
        call.kind = BCL_SET_FRONT;
    } else {
        return refused("org.freedesktop.DBus.Error.UnknownMethod", "no such method");
    }
    return call;
}
