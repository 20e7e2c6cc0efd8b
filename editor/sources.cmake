# Action editor (the windows of the edit dialog); its editing copies need no windows.
list(APPEND VQX_CORE_SOURCES
  editor/editrecords.cpp)
# The editor's entry points as the main window calls them (to be replaced by the editor's windows).
list(APPEND VQX_WINDOW_SOURCES
  editor/editdialog_hooks.cpp)
