// Access to the resource file: registration, raw resources and string lists. A string list is a
// text resource "STR#/<id>.txt" of lines "<index><TAB><text>"; lines starting with '#' are notes.
#include "platform/resfile.h"

#include <QByteArray>
#include <QFile>
#include <QResource>
#include <QString>
#include <cstring>
#include <map>

static std::map<int, std::map<int, std::string>> stringLists; // parsed lists, by list id

int RESopen(const char *path)
{
    stringLists.clear();
    return QResource::registerResource(QString::fromLocal8Bit(path)) ? 0 : -1;
}

int RESopenBesideProgram(const char *programPath)
{
    std::string path = programPath ? programPath : "";
    size_t slash = path.rfind('/');
    std::string folder = slash == std::string::npos ? "." : path.substr(0, slash);
    return RESopen((folder + "/" VQX_RESOURCE_FILE_NAME).c_str());
}

std::string RESpath(const char *type, int id, const char *suffix)
{
    return std::string(":/") + type + "/" + std::to_string(id) + suffix;
}

int RESexists(const char *type, int id, const char *suffix)
{
    return QFile::exists(QString::fromStdString(RESpath(type, id, suffix))) ? 1 : 0;
}

std::string RESload(const char *type, int id, const char *suffix)
{
    QFile file(QString::fromStdString(RESpath(type, id, suffix)));
    if (!file.open(QIODevice::ReadOnly))
        return std::string();
    QByteArray bytes = file.readAll();
    return std::string(bytes.constData(), (size_t)bytes.size());
}

static const std::map<int, std::string> &stringList(int listId)
{
    auto found = stringLists.find(listId);
    if (found != stringLists.end())
        return found->second;
    std::map<int, std::string> &list = stringLists[listId];
    std::string text = RESload("STR#", listId, ".txt");
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(pos, end - pos);
        pos = end + 1;
        size_t tab = line.find('\t');
        if (line.empty() || line[0] == '#' || tab == std::string::npos)
            continue;
        list[atoi(line.substr(0, tab).c_str())] = line.substr(tab + 1);
    }
    return list;
}

void GetIndString(unsigned char *result, int listId, int index)
{
    result[0] = 0;
    const std::map<int, std::string> &list = stringList(listId);
    auto found = list.find(index);
    if (found == list.end())
        return;
    size_t len = found->second.size() > 255 ? 255 : found->second.size();
    memcpy(result + 1, found->second.data(), len);
    result[0] = (unsigned char)len;
}
