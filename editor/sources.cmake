# Action editor (the windows of the edit dialog); its editing copies need no windows.
list(APPEND VQX_CORE_SOURCES
  editor/editrecords.cpp)
