// Starting applications and opening documents: executables detached, ".desktop" entries by their
// Exec line, everything else through xdg-open; the Mapper bundle and launch actions on top.
#include "mapperlink/launch.h"

#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "mapperlink/mapperapi.h"
#include "shell/diagnostics.h"

static VQXLAUNCHopenProc opener = VQXLAUNCHopenPath;             // used by SendFinderAELaunchApp
static VQXLAUNCHopenProc documentOpener = VQXLAUNCHopenDocument; // for what is not a program
static char launchPath[1024]; // VQXLAUNCHapplication's path, kept from one call to the next

// The code for a path that cannot be looked at: "not found", or the negative errno.
static int pathError(void)
{
    return errno == ENOENT ? kLaunchFileNotFound : -errno;
}

// Programs start in the user's home folder, as they do from the desktop.
static QString startFolder(void)
{
    const char *home = getenv("HOME");
    return home && home[0] ? QString::fromLocal8Bit(home) : QStringLiteral("/");
}

static int startProgram(const QString &program, const QStringList &arguments, const QString &folder)
{
    return QProcess::startDetached(program, arguments, folder) ? 0 : kLaunchFailed;
}

int VQXLAUNCHopenDocument(const char *path)
{
    return startProgram(QStringLiteral("xdg-open"), {QString::fromLocal8Bit(path)}, startFolder());
}

// The value of a desktop entry string with its escapes resolved.
static QString unescapeValue(const QString &value)
{
    QString result;
    for (int i = 0; i < value.size(); i++) {
        QChar c = value.at(i);
        if (c == QLatin1Char('\\') && i + 1 < value.size()) {
            QChar next = value.at(++i);
            if (next == QLatin1Char('s'))
                c = QLatin1Char(' ');
            else if (next == QLatin1Char('n'))
                c = QLatin1Char('\n');
            else if (next == QLatin1Char('t'))
                c = QLatin1Char('\t');
            else if (next == QLatin1Char('r'))
                c = QLatin1Char('\r');
            else
                c = next;
        }
        result += c;
    }
    return result;
}

// Splits an Exec line into words: blanks separate, double quotes group, a backslash inside quotes
// takes the next character literally.
static QStringList splitExec(const QString &line)
{
    QStringList words;
    QString word;
    bool inWord = false, quoted = false;
    for (int i = 0; i < line.size(); i++) {
        QChar c = line.at(i);
        if (quoted) {
            if (c == QLatin1Char('\\') && i + 1 < line.size())
                word += line.at(++i);
            else if (c == QLatin1Char('"'))
                quoted = false;
            else
                word += c;
        } else if (c == QLatin1Char('"')) {
            quoted = inWord = true;
        } else if (c.isSpace()) {
            if (inWord)
                words << word;
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord)
        words << word;
    return words;
}

// Removes the field codes (%f %F %u %U %d %D %n %N %i %c %k %v %m and any other) from the words,
// "%%" becoming "%"; a word that held nothing but field codes goes altogether.
static QStringList removeFieldCodes(const QStringList &words)
{
    QStringList result;
    for (const QString &word : words) {
        QString kept;
        bool hadCode = false;
        for (int i = 0; i < word.size(); i++) {
            if (word.at(i) != QLatin1Char('%') || i + 1 >= word.size()) {
                kept += word.at(i);
                continue;
            }
            QChar code = word.at(++i);
            if (code == QLatin1Char('%'))
                kept += code;
            else
                hadCode = true;
        }
        if (!(hadCode && kept.isEmpty()))
            result << kept;
    }
    return result;
}

// The keys of the "[Desktop Entry]" group that a launch needs.
struct DesktopEntry {
    QString type, exec, path, url;
};

static bool readDesktopEntry(const char *file, DesktopEntry *entry)
{
    QFile in(QString::fromLocal8Bit(file));
    if (!in.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    bool inGroup = false;
    while (!in.atEnd()) {
        QString line = QString::fromUtf8(in.readLine()).trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inGroup = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        int equals = line.indexOf(QLatin1Char('='));
        if (!inGroup || line.startsWith(QLatin1Char('#')) || equals <= 0)
            continue;
        QString key = line.left(equals).trimmed();
        QString value = unescapeValue(line.mid(equals + 1).trimmed());
        if (key == QLatin1String("Type"))
            entry->type = value;
        else if (key == QLatin1String("Exec"))
            entry->exec = value;
        else if (key == QLatin1String("Path"))
            entry->path = value;
        else if (key == QLatin1String("URL"))
            entry->url = value;
    }
    return true;
}

int VQXLAUNCHdesktopEntry(const char *path)
{
    DesktopEntry entry;
    if (!readDesktopEntry(path, &entry))
        return pathError();
    if (entry.type == QLatin1String("Link") && !entry.url.isEmpty())
        return documentOpener(entry.url.toLocal8Bit().constData());
    QStringList words = removeFieldCodes(splitExec(entry.exec));
    if (words.isEmpty())
        return kLaunchFailed;
    QString program = words.takeFirst();
    return startProgram(program, words, entry.path.isEmpty() ? startFolder() : entry.path);
}

int VQXLAUNCHopenPath(const char *path)
{
    struct stat st;
    if (stat(path, &st) != 0)
        return pathError();
    size_t len = strlen(path);
    if (S_ISREG(st.st_mode) && len > 8 && strcmp(path + len - 8, ".desktop") == 0)
        return VQXLAUNCHdesktopEntry(path);
    if (S_ISREG(st.st_mode) && access(path, X_OK) == 0)
        return startProgram(QString::fromLocal8Bit(path), {}, startFolder());
    return documentOpener(path);
}

VQXLAUNCHopenProc VQXLAUNCHsetOpener(VQXLAUNCHopenProc proc)
{
    VQXLAUNCHopenProc previous = opener;
    opener = proc ? proc : VQXLAUNCHopenPath;
    return previous;
}

VQXLAUNCHopenProc VQXLAUNCHsetDocumentOpener(VQXLAUNCHopenProc proc)
{
    VQXLAUNCHopenProc previous = documentOpener;
    documentOpener = proc ? proc : VQXLAUNCHopenDocument;
    return previous;
}

int SendFinderAELaunchApp(const FSSpec *fileSpec)
{
    if (!fileSpec || !fileSpec->path[0])
        return kLaunchFileNotFound;
    char path[sizeof fileSpec->path];
    snprintf(path, sizeof path, "%.*s", (int)sizeof path - 1, fileSpec->path);
    return opener(path);
}

// The file specification of an existing path: the path made absolute, links kept as they are (a
// linked ".desktop" entry or program is opened under its own name); 0 or a negative code.
static int makeSpec(const char *path, FSSpec *spec)
{
    char folder[PATH_MAX] = "";
    if (path[0] != '/' && !getcwd(folder, sizeof folder))
        return -errno;
    int n = snprintf(spec->path, sizeof spec->path, "%s%s%s", folder, folder[0] ? "/" : "", path);
    return n < 0 || (size_t)n >= sizeof spec->path ? -ENAMETOOLONG : 0;
}

void VQXLAUNCHapplication(const char *name)
{
    char *folder = VQXFILESgetResourcesPath();
    if (!folder) {
        BUGprintf("Orvenda VQX ERROR: unable to launch [%s] -- can't get local path", name);
        return;
    }
    if (strcmp(name, "OrvendaVQX.app") != 0) {
        snprintf(launchPath, sizeof launchPath, "%s/%s", folder, name);
    } else {
        // Cuts the previous call's path back to the bundle; only right after an earlier call.
        char *resources = strstr(launchPath, "/Contents/Resources");
        if (!resources) {
            BUGprintf("Orvenda VQX ERROR: unable to launch [%s] -- path doesn't contain '/Contents/Resources'", name);
            return;
        }
        *resources = '\0';
    }
    struct stat st;
    if (stat(launchPath, &st) != 0) {
        BUGprintf("Orvenda VQX ERROR: unable to launch [%s] -- FSPathMakeRef returns %d", name, pathError());
        return;
    }
    FSSpec spec;
    int err = makeSpec(launchPath, &spec);
    if (err != 0) {
        BUGprintf("Orvenda VQX ERROR: unable to launch [%s] -- FSGetCatalogInfo returned %d", name, err);
        return;
    }
    err = SendFinderAELaunchApp(&spec);
    if (err != 0)
        BUGprintf("Orvenda VQX ERROR: unable to launch [%s] -- error %d", name, (int16_t)err);
}

int VQXLAUNCHevent(void *context, LaunchEvent *launchAction, int enabled)
{
    (void)context;
    if (!enabled || !launchAction || !launchAction->path[0])
        return -1;
    char path[sizeof launchAction->path];
    snprintf(path, sizeof path, "%.*s", (int)sizeof path - 1, launchAction->path);
    if (showOSEvents)
        BUGIACprintf("LAUNCH", "Launch: %s", path);
    struct stat st;
    if (stat(path, &st) != 0) {
        int err = pathError();
        BUGprintf("Orvenda VQX ERROR: unable to launch [%s] (FSPathMakeRef returns %d)", path, err);
        return err;
    }
    FSSpec spec;
    int err = makeSpec(path, &spec);
    if (err != 0) {
        BUGprintf("Orvenda VQX ERROR: unable to launch [%s] (FSGetCatalogInfo returned %d)", path, err);
        return err;
    }
    err = SendFinderAELaunchApp(&spec);
    if (err != 0)
        BUGprintf("Orvenda VQX ERROR: Launch Failure--Error %d for %s", err, path);
    return err;
}

void VQXLAUNCHreset(void)
{
    opener = VQXLAUNCHopenPath;
    documentOpener = VQXLAUNCHopenDocument;
    memset(launchPath, 0, sizeof launchPath);
}
