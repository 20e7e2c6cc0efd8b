// Loading dialog layouts from the resource file and finding their items by number.
#include "platform/dialogs.h"

#include <QCoreApplication>
#include <QFile>
#include <QPointer>
#include <QStringDecoder>
#include <QUiLoader>
#include <QWidget>
#include <string>

#include "platform/resfile.h"

static QPointer<QUiLoader> loader; // the one loader of layouts, owned by the application

// Our layouts use only Qt's own widgets, so the loader is made while the plugin search path is
// empty: Designer plugins installed on the system (Qt Quick's pulls in QML and the network stack)
// would otherwise be loaded with it, costing start-up time and memory.
static QUiLoader &uiLoader()
{
    if (!loader) {
        const QStringList paths = QCoreApplication::libraryPaths();
        QCoreApplication::setLibraryPaths(QStringList());
        loader = new QUiLoader(QCoreApplication::instance());
        QCoreApplication::setLibraryPaths(paths);
    }
    return *loader;
}

QWidget *DLGload(const char *type, int id, QWidget *parent)
{
    QFile file(QString::fromStdString(RESpath(type, id, ".ui")));
    if (!file.open(QIODevice::ReadOnly))
        return nullptr;
    return uiLoader().load(&file, parent);
}

int DLGitemNumber(const QWidget *widget)
{
    QVariant value = widget->property("item");
    return value.isValid() ? value.toInt() : 0;
}

QWidget *DLGitem(QWidget *dialog, int item)
{
    if (!dialog)
        return nullptr;
    if (DLGitemNumber(dialog) == item)
        return dialog;
    const QList<QWidget *> children = dialog->findChildren<QWidget *>();
    for (QWidget *child : children)
        if (DLGitemNumber(child) == item)
            return child;
    return nullptr;
}

QString DLGtext(const std::string &bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8(QByteArray(bytes.data(), (qsizetype)bytes.size()));
    if (utf8.hasError())
        return QString::fromLatin1(bytes.data(), (qsizetype)bytes.size());
    return text;
}

QString DLGtext(const char *bytes)
{
    return DLGtext(std::string(bytes ? bytes : ""));
}

std::string DLGbytes(const QString &text)
{
    QByteArray bytes = text.toUtf8();
    return std::string(bytes.constData(), (size_t)bytes.size());
}
