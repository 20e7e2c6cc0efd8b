// The menu bar from the menu resources: items numbered with separators counted, Ctrl shortcuts
// shown and found by MenuKey, enabling and check marks, and the two file submenus.
#include "mainwindow/menus.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <cctype>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "mainwindow/commands.h"
#include "mainwindow/maindialog.h"
#include "mainwindow/selection.h"
#include "mapping/config.h"
#include "platform/dialogs.h"
#include "platform/resfile.h"
#include "shell/diagnostics.h"
#include "shell/files.h"

int32_t fileChg;           // unsaved changes
QMenu *remoteMenuHdl;      // submenu 143
QMenu *mappingMenuHdl;     // submenu 144
int32_t currentRemoteIdx;  // checked remote
int32_t currentMappingIdx; // checked mapping

namespace {
struct Menu {
    QMenu *menu = nullptr;
    std::vector<QAction *> items;   // item n is items[n - 1]
    std::vector<std::string> texts; // the items' texts as bytes
    std::vector<char> keys;         // Ctrl letter per item, 0 = none
    int parentMenu = 0, parentItem = 0; // the item it opens from (submenus)
};
std::map<int, Menu> menus;          // by menu number
} // namespace

static void choose(int menuId, int item)
{
    // Carried out from the event loop once the menu has closed, as a menu selection always was.
    QMetaObject::invokeMethod(
        qApp, [menuId, item] {
            updateEntry();
            doMenuEvent(((long)menuId << 16) | item);
        },
        Qt::QueuedConnection);
}

static void appendItem(int menuId, const std::string &text, char key)
{
    Menu &m = menus[menuId];
    int item = (int)m.items.size() + 1;
    QAction *action;
    if (text == "-") {
        action = m.menu->addSeparator();
    } else {
        QString label = DLGtext(text);
        if (key)
            label += QString("\tCtrl+%1").arg(QChar(key));
        action = m.menu->addAction(label);
        QObject::connect(action, &QAction::triggered, action, [menuId, item] { choose(menuId, item); });
    }
    m.items.push_back(action);
    m.texts.push_back(text);
    m.keys.push_back(key);
}

// Loads menu `id` from its resource; 0, or -1 when it is missing.
static int loadMenu(int id)
{
    std::string data = RESload("MENU", id, ".txt");
    if (data.empty())
        return -1;
    Menu &m = menus[id];
    m.menu = new QMenu;
    m.menu->setObjectName(QString("menu%1").arg(id));
    bool titled = false;
    size_t pos = 0;
    while (pos < data.size()) {
        size_t end = data.find('\n', pos);
        if (end == std::string::npos)
            end = data.size();
        std::string line = data.substr(pos, end - pos);
        pos = end + 1;
        if (line.empty() || line[0] == '#')
            continue;
        std::vector<std::string> fields;
        size_t start = 0, tab;
        while ((tab = line.find('\t', start)) != std::string::npos) {
            fields.push_back(line.substr(start, tab - start));
            start = tab + 1;
        }
        fields.push_back(line.substr(start));
        if (!titled) {
            m.menu->setTitle(DLGtext(fields[0]));
            titled = true;
            continue;
        }
        char key = 0;
        int sub = 0;
        bool check = false;
        for (size_t i = 1; i < fields.size(); i++) {
            if (fields[i].size() == 1 && isalpha((unsigned char)fields[i][0]))
                key = (char)toupper((unsigned char)fields[i][0]);
            else if (fields[i].size() > 1 && fields[i][0] == '>')
                sub = atoi(fields[i].c_str() + 1);
            else if (fields[i] == "check")
                check = true;
        }
        appendItem(id, fields[0], key);
        QAction *action = m.items.back();
        action->setCheckable(check);
        if (sub) {
            menus[sub].parentMenu = id;
            menus[sub].parentItem = (int)m.items.size();
            action->setEnabled(false); // until the submenu is made
        }
    }
    return 0;
}

int MENUinstallMenuBar(void)
{
    int result = 0;
    for (int id : {kMenuHelp, kMenuFile, kMenuEdit, kMenuOptions})
        if (!menus.count(id) || !menus[id].menu)
            if (loadMenu(id) != 0)
                result = -1;
    DisableMenuItem(kMenuEdit, 1); // nothing to undo
    activateEditMenu(0);
    setFileChanged(fileChg);
    return result;
}

void MENUattach(QMainWindow *window)
{
    for (int id : {kMenuFile, kMenuEdit, kMenuOptions, kMenuHelp})
        if (QMenu *menu = GetMenuHandle(id))
            window->menuBar()->addMenu(menu);
}

void MENUdetach(QMainWindow *window)
{
    window->menuBar()->clear();
}

QMenu *GetMenuHandle(int menuId)
{
    auto it = menus.find(menuId);
    return it == menus.end() ? nullptr : it->second.menu;
}

QAction *MENUitem(int menuId, int item)
{
    auto it = menus.find(menuId);
    if (it == menus.end() || item < 1 || item > (int)it->second.items.size())
        return nullptr;
    return it->second.items[(size_t)item - 1];
}

int MENUitemCount(int menuId)
{
    auto it = menus.find(menuId);
    return it == menus.end() ? 0 : (int)it->second.items.size();
}

const char *GetMenuItemText(int menuId, int item)
{
    auto it = menus.find(menuId);
    if (it == menus.end() || item < 1 || item > (int)it->second.texts.size())
        return "";
    return it->second.texts[(size_t)item - 1].c_str();
}

static void setEnabled(int menuId, int item, bool on)
{
    if (item == 0) {
        if (QMenu *menu = GetMenuHandle(menuId))
            menu->menuAction()->setEnabled(on);
    } else if (QAction *action = MENUitem(menuId, item)) {
        action->setEnabled(on);
    }
}

void EnableMenuItem(int menuId, int item)
{
    setEnabled(menuId, item, true);
}

void DisableMenuItem(int menuId, int item)
{
    setEnabled(menuId, item, false);
}

int MENUitemEnabled(int menuId, int item)
{
    QMenu *menu = GetMenuHandle(menuId);
    QAction *action = MENUitem(menuId, item);
    if (!menu || !action || !menu->menuAction()->isEnabled() || !action->isEnabled() || action->isSeparator())
        return 0;
    const Menu &m = menus[menuId];
    return m.parentMenu ? MENUitemEnabled(m.parentMenu, m.parentItem) : 1;
}

void CheckMenuItem(int menuId, int item, bool checked)
{
    if (QAction *action = MENUitem(menuId, item)) {
        action->setCheckable(true);
        action->setChecked(checked);
    }
}

int MENUitemChecked(int menuId, int item)
{
    QAction *action = MENUitem(menuId, item);
    return action && action->isChecked() ? 1 : 0;
}

long MenuKey(int ch)
{
    ch = toupper(ch & 0xFF);
    if (!ch)
        return 0;
    for (auto &[id, m] : menus)
        for (size_t i = 0; i < m.keys.size(); i++)
            if (m.keys[i] == ch)
                return MENUitemEnabled(id, (int)i + 1) ? ((long)id << 16) | (long)(i + 1) : 0;
    return 0;
}

void HiliteMenu(int)
{
    // The menu bar shows no chosen title once a command runs.
}

void DrawMenuBar(void)
{
    // The menu bar follows every change at once.
}

void setFileChanged(int changed)
{
    fileChg = changed;
    setEnabled(kMenuFile, kItemSave, changed != 0);
    setEnabled(kMenuFile, kItemRevert, changed != 0);
    MAINupdateTitle();
}

void activateEditMenu(int on)
{
    for (int item = kItemCut; item <= kItemClear; item++)
        setEnabled(kMenuEdit, item, on != 0);
}

// Fills submenu `id` with the file names and checks the one in use; the checked index.
static int fillFileMenu(int id, QMenu **handle, const char (*names)[256], int count, const char *inUse,
                        int dialogItem, const char *missing)
{
    if (!*handle) {
        if (loadMenu(id) != 0) {
            errormsg("%s", missing);
            return 0;
        }
        *handle = menus[id].menu;
        Menu &m = menus[id];
        if (QAction *parent = MENUitem(m.parentMenu, m.parentItem)) {
            parent->setMenu(*handle);
            parent->setEnabled(true);
        }
    }
    Menu &m = menus[id];
    (*handle)->clear();
    m.items.clear();
    m.texts.clear();
    m.keys.clear();
    int checked = 0;
    for (int i = 0; i < count; i++) {
        appendItem(id, names[i], 0);
        m.items.back()->setCheckable(true);
        if (!checked && strcmp(names[i], inUse) == 0)
            checked = i + 1;
    }
    if (checked) {
        if (auto *label = qobject_cast<QLabel *>(DLGitem(mainDlog, dialogItem)))
            label->setText(DLGtext(names[checked - 1]));
        CheckMenuItem(id, checked, true);
    }
    return checked;
}

void createRemoteMenu(void)
{
    currentRemoteIdx = fillFileMenu(kMenuRemotes, &remoteMenuHdl, remFileNames, numberOfRemotes, remFileName,
                                    kItemRemoteName, "bad remote menu handle");
}

void createMappingMenu(void)
{
    currentMappingIdx = fillFileMenu(kMenuMappings, &mappingMenuHdl, mapFileNames, numberOfMappings, mapFileName,
                                     kItemMapFileName, "bad mapping menu handle");
}

void MENUremoveMenuBar(void)
{
    for (auto &[id, m] : menus)
        delete m.menu;
    menus.clear();
    remoteMenuHdl = mappingMenuHdl = nullptr;
}

void MENUreset(void)
{
    MENUremoveMenuBar();
    currentRemoteIdx = currentMappingIdx = 0;
    fileChg = 0;
}
