# Main window: the log layer of the event log is windowless and lives in the core library; the
# windows live in the window library.
list(APPEND VQX_CORE_SOURCES
  mainwindow/eventlog.cpp)
list(APPEND VQX_WINDOW_SOURCES
  mainwindow/remotepict.cpp)
