// Reading one call to the Mapper's bus object: which request it is and its checked arguments, or
// why it is refused. No bus here, so that every shape of message can be tried in tests.
#ifndef VQX_MAPPER_BUSCALL_H
#define VQX_MAPPER_BUSCALL_H

#include <QList>
#include <QString>
#include <QVariant>
#include <cstdint>
#include <string>

enum { BCL_MAX_ARGUMENT = 1024 }; // bytes of a string argument; longer ones are refused whole

enum BCLkind {
    BCL_PRESS, // text: the button
    BCL_RELEASE, // text: the button
    BCL_RELOAD,
    BCL_QUIT,
    BCL_SET_FRONT, // text: app id, text2: window class, pid
    BCL_GET, // text: the property
    BCL_GET_ALL,
    BCL_REFUSED, // error and why say what to answer
    BCL_NOT_OURS // an interface this object does not handle
};

struct BCLcall {
    BCLkind kind = BCL_REFUSED;
    std::string text, text2;
    uint32_t pid = 0;
    const char *error = ""; // the bus error name of a refusal
    std::string why; // the refusal's message
};

#define BCL_INTERFACE "com.Orvenda.VQX.Mapper1"

// The request a method call makes of the object.
BCLcall BCLread(const QString &interface, const QString &member, const QString &signature, const QList<QVariant> &args);
// True for the name of one of the object's properties.
bool BCLisProperty(const std::string &name);

#endif
