// The script and launch pages: a path typed or chosen with Browse, the file chooser with its script
// filter, and Test, which runs the script or opens the application at once.
#include <QMimeDatabase>
#include <QMimeType>
#include <QString>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "editor/editdialog.h"
#include "editor/editstate.h"
#include "mapperlink/launch.h"
#include "mapperlink/script.h"
#include "mapping/describe.h"
#include "mapping/tokens.h"
#include "platform/presenter.h"
#include "shell/diagnostics.h"
#include "shell/files.h"

enum { kPathField = 12, kBrowseItem = 13, kScriptTestItem = 33, kLaunchTestItem = 14 };

void createEditDialogScript(void)
{
    if (EDITbuildPage(1322) != 0)
        return;
    etScriptnameHdl = EDITitem(kPathField);
    EDITfetchRepeatItems();
}

void createEditDialogLaunch(void)
{
    if (EDITbuildPage(1325) != 0)
        return;
    etLaunchNameHdl = EDITitem(kPathField);
}

void doDisplayScript(void)
{
    EDITsetText(etScriptnameHdl, theAppleEventEvent.path);
    displayEditDataRepeat(theAppleEventEvent.delay, theAppleEventEvent.rate1, theAppleEventEvent.reps,
        theAppleEventEvent.rate2, keyRepeatDefaults, 0, 0);
    showHideCustomRepeatScript();
}

void doDisplayLaunch(void)
{
    EDITsetText(etLaunchNameHdl, theLaunchEvent.path);
}

// Copies a field's text into a path of 1024 bytes.
static void takePath(QWidget *field, char *path)
{
    std::string text = EDITtext(field);
    snprintf(path, 1024, "%s", text.c_str());
}

void doProcessPrevHitScript(void)
{
    if (prevHitEdit == kPathField) {
        takePath(etScriptnameHdl, theAppleEventEvent.path);
    } else if (!EDITtakeRepeatField(prevHitEdit, &theAppleEventEvent.delay, &theAppleEventEvent.reps,
                   &theAppleEventEvent.rate1, &theAppleEventEvent.rate2)) {
        return;
    }
    displayEditData();
    keyEventChanged = 1;
}

void doProcessPrevHitLaunch(void)
{
    if (prevHitEdit != kPathField)
        return;
    takePath(etLaunchNameHdl, theLaunchEvent.path);
    displayEditData();
    keyEventChanged = 1;
}

// The file's content starts with a compiled Lua chunk's signature.
static bool isCompiledScript(const char *path)
{
    FILE *file = fopen(path, "rb");
    if (!file)
        return false;
    char head[4] = { 0, 0, 0, 0 };
    size_t got = fread(head, 1, sizeof head, file);
    fclose(file);
    return got == 4 && memcmp(head, "\x1bLua", 4) == 0;
}

static bool isTextFile(const char *path)
{
    QMimeDatabase mimes;
    QMimeType type = mimes.mimeTypeForFile(QString::fromLocal8Bit(path), QMimeDatabase::MatchContent);
    return type.inherits("text/plain");
}

int myFilterScripts(const char *itemType, const char *path)
{
    if (strcmp(itemType, "fsrf") == 0)
        return 0;
    if (strcmp(itemType, "fss ") != 0)
        return 1;
    struct stat st;
    bool exists = stat(path, &st) == 0;
    if (exists && S_ISDIR(st.st_mode))
        return 1;
    if (exists && (isCompiledScript(path) || isTextFile(path)))
        return 1;
    const char *slash = strrchr(path, '/');
    std::string name = slash ? slash + 1 : path;
    while (!name.empty() && name.back() == ' ')
        name.pop_back();
    return name.size() >= 5 && name.compare(name.size() - 5, 5, ".scpt") == 0 ? 1 : 0;
}

char *myGetPathFromSelection(const char *const *selection, int count)
{
    if (count != 1 || !selection || !selection[0] || !selection[0][0])
        return nullptr;
    FSSpec fileSpec;
    snprintf(fileSpec.path, sizeof fileSpec.path, "%s", selection[0]);
    return VQXFILESgetPathFromSpec(&fileSpec);
}

// The filter of the chooser being shown, for the chooser's own test of each file.
static int (*filterInUse)(const char *itemType, const char *path);

static int acceptedByFilter(const char *path)
{
    return filterInUse ? filterInUse("fss ", path) : 1;
}

char *mySelectFile(
    const char *const *filters, int count, char *result, int (*filter)(const char *itemType, const char *path))
{
    static char chosen[1024];
    if (result)
        result[0] = '\0';
    if (count <= 0)
        return nullptr;
    std::vector<std::string> types;
    for (int i = 0; i < count; i++)
        types.emplace_back(filters[i]);
    std::string path;
    filterInUse = filter;
    if (!PRESget()->chooseFilteredFile(types, path, filter ? acceptedByFilter : nullptr))
        return nullptr;
    const char *selection[1] = { path.c_str() };
    char *found = myGetPathFromSelection(selection, 1);
    if (found && filter && !filter("fss ", found)) {
        // A name typed into the chooser can still name a file the chooser did not show.
        errormsg(getstring(129, 49), found);
        return nullptr;
    }
    if (!found) {
        BUGprintf("Orvenda VQX ERROR: unable to find selected file");
        return nullptr;
    }
    snprintf(chosen, sizeof chosen, "%s", found);
    if (result)
        snprintf(result, sizeof chosen, "%s", chosen);
    return chosen;
}

char *mySelectFile(const char *const *filters, int count, char *result)
{
    return mySelectFile(filters, count, result, nullptr);
}

// A chosen path into a record's path field; Cancel leaves the record alone.
static int browseInto(const char *const *types, int count, int (*filter)(const char *, const char *), char *path)
{
    char chosen[1024];
    if (!mySelectFile(types, count, chosen, filter))
        return 0;
    snprintf(path, 1024, "%s", chosen);
    displayEditData();
    keyEventChanged = 1;
    return 1;
}

int doBrowseScript(void)
{
    static const char *const types[] = { "osas" };
    return browseInto(types, 1, myFilterScripts, theAppleEventEvent.path);
}

int doBrowseLaunch(void)
{
    static const char *const types[] = { ".app", "APPL" };
    return browseInto(types, 2, nullptr, theLaunchEvent.path);
}

// The path as a file reference: 0, -43 when nothing is there, else the negative errno.
static int pathMakeRef(const char *path)
{
    struct stat st;
    if (stat(path, &st) == 0)
        return 0;
    return (errno == ENOENT || errno == ENOTDIR) ? -43 : -errno;
}

// The file reference of an existing path: its absolute form.
static int makeSpec(const char *path, FSSpec *result)
{
    char resolved[PATH_MAX];
    if (!realpath(path, resolved))
        return (errno == ENOENT || errno == ENOTDIR) ? -43 : -errno;
    snprintf(result->path, sizeof result->path, "%s", resolved);
    return 0;
}

int doTestScript(void)
{
    const char *path = theAppleEventEvent.path;
    int err = pathMakeRef(path);
    if (err != 0) {
        errormsg("Unable to find [%s]", path);
        return err;
    }
    err = makeSpec(path, &theAppleEventEvent.fileSpec);
    if (err != 0) {
        errormsg("Unable to find [%s] (FSGetCatalogInfo returned %d)", path, err);
        return err;
    }
    OSAID scriptID = 0;
    err = LoadScript(&theAppleEventEvent.fileSpec, &scriptID);
    if (err != 0) {
        errormsg("LoadScript returned %d", err);
        return err;
    }
    err = ExecuteScript(scriptID);
    if (err != 0)
        errormsg("ExecuteScript returned %d", err);
    DisposeScript(scriptID);
    return err;
}

int doTestLaunch(void)
{
    FSSpec fileSpec;
    int err = pathMakeRef(theLaunchEvent.path);
    if (err == 0)
        err = makeSpec(theLaunchEvent.path, &fileSpec);
    if (err != 0) {
        errormsg(getstring(129, 32), err);
        return err;
    }
    err = SendFinderAELaunchApp(&fileSpec);
    if (err != 0)
        errormsg("SendFinderAELaunchApp returned %d", err);
    return err;
}

void doitemHitEditScript(int item)
{
    if (item == kBrowseItem)
        doBrowseScript();
    else if (item == kScriptTestItem)
        doTestScript();
    else
        EDITrepeatItemHit(item);
}

void doitemHitEditLaunch(int item)
{
    if (item == kBrowseItem)
        doBrowseLaunch();
    else if (item == kLaunchTestItem)
        doTestLaunch();
}
