// Dialog layouts from the resource file and their items by number: a numbered item is a widget
// carrying its number in the dynamic property "item".
#ifndef VQX_PLATFORM_DIALOGS_H
#define VQX_PLATFORM_DIALOGS_H

#include <QString>

class QWidget;

// Loads layout `id` of `type` ("DLOG" or "ALRT") from the resource file; null when it is missing.
QWidget *DLGload(const char *type, int id, QWidget *parent);
// The item numbered `item` among the widget's descendants, or null.
QWidget *DLGitem(QWidget *dialog, int item);
// The number an item carries, or 0.
int DLGitemNumber(const QWidget *widget);
// Text of the resource file's bytes: UTF-8 when valid, else Latin-1, as the files hold 8-bit text.
QString DLGtext(const char *bytes);
QString DLGtext(const std::string &bytes);
// The reverse, for text typed into a field: the bytes to store (UTF-8).
std::string DLGbytes(const QString &text);

#endif
