// The action editor's entry points as the main window needs them until the editor's windows
// exist: nothing is ever consumed and no editor opens. The editor replaces these routines.
#include "editor/editdialog.h"

#include <cstdio>
#include <string>
#include <vector>

#include "platform/presenter.h"

int doEditDialogEvent(QObject *, QEvent *)
{
    return 0;
}

int createEditDialog(int)
{
    return -1;
}

void stuffEditDialog(void)
{
}

void selectEditDialog(void)
{
}

void updateEditEntry(void)
{
}

void doEditDialogEditCommand(int)
{
}

char *mySelectFile(const char *const *filters, int count, char *result)
{
    static char chosen[1024];
    std::vector<std::string> types;
    for (int i = 0; i < count; i++)
        types.emplace_back(filters[i]);
    std::string path;
    if (!PRESget()->chooseFile(types, path))
        return nullptr;
    snprintf(chosen, sizeof chosen, "%s", path.c_str());
    if (result)
        snprintf(result, 1024, "%s", chosen);
    return chosen;
}
