// The application entry commands: new, rename, delete, and removing the actions of buttons that
// the remote does not have.
#ifndef VQX_MAINWINDOW_APPLCOMMANDS_H
#define VQX_MAINWINDOW_APPLCOMMANDS_H

#include <cstdint>

void doNewApplication(void);
// 0, -1 for a name that cannot be used, -2 for a duplicate.
int32_t doEditAppName(void);
int32_t doDeleteApp(void);
void doDeleteAllUnused(void);

#endif
