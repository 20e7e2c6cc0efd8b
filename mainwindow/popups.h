// The main window's popups: values and items by number (separators count), and the application
// and button menus of the application popup (item 18).
#ifndef VQX_MAINWINDOW_POPUPS_H
#define VQX_MAINWINDOW_POPUPS_H

class QComboBox;
class QString;

enum {
    kPopupGlobal = 1,
    kPopupDefault = 2,
    kPopupNewAppl = 4,
    kPopupDeleteAppl = 5,
    kPopupFirstAppl = 7
};

// The popup's value (its 1-based item), 0 when none is chosen.
int POPvalue(QComboBox *popup);
void POPsetValue(QComboBox *popup, int value);
// Appends an item ("-" appends a separator).
void POPappend(QComboBox *popup, const QString &text);
void POPsetItemEnabled(QComboBox *popup, int item, bool enabled);
int POPitemEnabled(QComboBox *popup, int item);
int POPitemCount(QComboBox *popup);
// The text next to the popup that names what it chooses.
void POPsetTitle(const QString &title);

void deletePopupMenus(void);
void createApplMenu(void);
void createByButtonMenu(void);

#endif
