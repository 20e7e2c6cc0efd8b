// What the action editor uses of the main window: the selection it edits (currentAppl,
// currentButtonAction, tentativeOverride), the redraw of the edited row (updateCurrentButton) and
// the menu switches made while the editor is open (setFileChanged, activateEditMenu,
// enableSummaryMenus).
#ifndef VQX_EDITOR_MAINLINK_H
#define VQX_EDITOR_MAINLINK_H

#include "mainwindow/buttonlist.h"
#include "mainwindow/menus.h"
#include "mainwindow/rows.h"
#include "mainwindow/selection.h"

#endif
