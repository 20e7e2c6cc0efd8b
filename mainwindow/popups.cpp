// The main window's popups: item-numbered values, separators and enabling, and the application
// popup's two menus (applications with the fixed items, or the remote's buttons).
#include "mainwindow/popups.h"

#include <QComboBox>
#include <QLabel>
#include <QStandardItemModel>

#include "mainwindow/maindialog.h"
#include "mainwindow/rows.h"
#include "mapping/tokens.h"
#include "platform/dialogs.h"

int POPvalue(QComboBox *popup)
{
    return popup ? popup->currentIndex() + 1 : 0;
}

void POPsetValue(QComboBox *popup, int value)
{
    if (popup)
        popup->setCurrentIndex(value >= 1 && value <= popup->count() ? value - 1 : -1);
}

void POPappend(QComboBox *popup, const QString &text)
{
    if (!popup)
        return;
    if (text == "-")
        popup->insertSeparator(popup->count());
    else
        popup->addItem(text);
}

static QStandardItem *itemOf(QComboBox *popup, int item)
{
    auto *model = popup ? qobject_cast<QStandardItemModel *>(popup->model()) : nullptr;
    return model ? model->item(item - 1) : nullptr;
}

void POPsetItemEnabled(QComboBox *popup, int item, bool enabled)
{
    if (QStandardItem *entry = itemOf(popup, item))
        entry->setEnabled(enabled);
}

int POPitemEnabled(QComboBox *popup, int item)
{
    QStandardItem *entry = itemOf(popup, item);
    return entry && entry->isEnabled() ? 1 : 0;
}

int POPitemCount(QComboBox *popup)
{
    return popup ? popup->count() : 0;
}

void POPsetTitle(const QString &title)
{
    if (auto *label = mainDlog ? mainDlog->findChild<QLabel *>("popupTitle") : nullptr)
        label->setText(title);
    if (popupAppleHdl)
        popupAppleHdl->setAccessibleName(title);
}

void deletePopupMenus(void)
{
    for (int i = 0; i < countApplMenu && applMenuHdl && applMenuHdl->count() > 0; i++)
        applMenuHdl->removeItem(0);
}

void createApplMenu(void)
{
    int found = ROWSmapApplMenu();
    QComboBox *popup = applMenuHdl;
    for (int index : {37, 38})
        POPappend(popup, DLGtext(getstring(129, index)));
    POPappend(popup, "-");
    for (int index : {39, 40})
        POPappend(popup, DLGtext(getstring(129, index)));
    POPappend(popup, "-");
    POPsetItemEnabled(popup, kPopupGlobal, found & 1);
    POPsetItemEnabled(popup, kPopupDefault, found & 2);
    for (int i = kApplMenuFixedItems; i < countApplMenu; i++)
        POPappend(popup, DLGtext(theActionByApplList[menuToApplList[i]].name));
    POPsetItemEnabled(popup, kPopupNewAppl, true);
    POPsetTitle(DLGtext(getstring(129, 41)));
}

void createByButtonMenu(void)
{
    for (int i = 0; i < numButtonsOnRemote; i++)
        POPappend(applMenuHdl, DLGtext(theByButtonList[i]->name));
    countApplMenu = numButtonsOnRemote;
    POPsetTitle(DLGtext(getstring(129, 42)));
}
