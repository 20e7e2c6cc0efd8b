// The menu bar: menus 128 (Help), 129 (File), 130 (Edit), 131 (Options) and the submenus 143
// (remotes) and 144 (mappings), items numbered as in their resources with separators counted;
// enabling, check marks, Ctrl keys, the changed mark and the remote and mapping submenus.
#ifndef VQX_MAINWINDOW_MENUS_H
#define VQX_MAINWINDOW_MENUS_H

#include <cstdint>

class QAction;
class QMainWindow;
class QMenu;

enum {
    kMenuHelp = 128,
    kMenuFile = 129,
    kMenuEdit = 130,
    kMenuOptions = 131,
    kMenuRemotes = 143,
    kMenuMappings = 144
};

enum {
    kItemAbout = 1,                 // menu 128
    kItemClose = 1,                 // menu 129
    kItemSave = 2,
    kItemSaveAs = 3,
    kItemRevert = 4,
    kItemQuit = 6,
    kItemCut = 3,                   // menu 130
    kItemCopy = 4,
    kItemPaste = 5,
    kItemClear = 6,
    kItemNewAppl = 8,
    kItemRenameAppl = 9,
    kItemDeleteAppl = 10,
    kItemDeleteUnused = 12,
    kItemShowNotOnRemote = 1,       // menu 131
    kItemEventLog = 2,
    kItemQuitMapper = 3,
    kItemStartMapper = 4
};

extern int32_t fileChg;            // the mapping in memory differs from its file
extern QMenu *remoteMenuHdl;       // submenu 143
extern QMenu *mappingMenuHdl;      // submenu 144
extern int32_t currentRemoteIdx;   // checked item of 143, 0 = none
extern int32_t currentMappingIdx;  // checked item of 144, 0 = none

// Builds menus 128 to 131 from the resource file (the menu bar of resource 128); 0, or -1 when a
// menu is missing (that menu is left out).
int MENUinstallMenuBar(void);
// Puts the menus into the window's menu bar, and takes them out again.
void MENUattach(QMainWindow *window);
void MENUdetach(QMainWindow *window);
QMenu *GetMenuHandle(int menuId);
QAction *MENUitem(int menuId, int item);
int MENUitemCount(int menuId);
// Item 0 stands for the whole menu.
void EnableMenuItem(int menuId, int item);
void DisableMenuItem(int menuId, int item);
// 1 when the item can be chosen (it and its menu are enabled).
int MENUitemEnabled(int menuId, int item);
void CheckMenuItem(int menuId, int item, bool checked);
int MENUitemChecked(int menuId, int item);
// The text of an item (bytes as the files hold them).
const char *GetMenuItemText(int menuId, int item);
// The enabled item whose Ctrl shortcut is the letter: menu in the high 16 bits, item in the low;
// 0 when none.
long MenuKey(int ch);
void HiliteMenu(int menuId);
void DrawMenuBar(void);

void setFileChanged(int changed);
void activateEditMenu(int on);
void createRemoteMenu(void);
void createMappingMenu(void);

// Frees every menu, at shutdown; the menu bar is gone until MENUinstallMenuBar runs again.
void MENUremoveMenuBar(void);
// Menus removed, changed mark cleared (tests).
void MENUreset(void);

#endif
