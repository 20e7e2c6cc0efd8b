# Main window: the log layer of the event log and the button list's rows are windowless and live
# in the core library; the windows live in the window library, with the event loop that drives
# them.
list(APPEND VQX_CORE_SOURCES
  mainwindow/eventlog.cpp
  mainwindow/layout.cpp
  mainwindow/rows.cpp)
list(APPEND VQX_WINDOW_SOURCES
  mainwindow/remotepict.cpp
  mainwindow/maindialog.cpp
  mainwindow/buttonlist.cpp
  mainwindow/popups.cpp
  mainwindow/selection.cpp
  mainwindow/menus.cpp
  mainwindow/commands.cpp
  mainwindow/applcommands.cpp
  shell/eventloop.cpp
  shell/startup.cpp)
