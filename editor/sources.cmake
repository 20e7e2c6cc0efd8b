# Action editor: its editing copies need no windows; the dialog and its pages are windows.
list(APPEND VQX_CORE_SOURCES
  editor/editrecords.cpp)
list(APPEND VQX_WINDOW_SOURCES
  editor/editdialog.cpp
  editor/editevents.cpp
  editor/edititems.cpp
  editor/editrepeat.cpp
  editor/editkeystroke.cpp
  editor/editmouse.cpp
  editor/editfiles.cpp
  editor/editsysvol.cpp
  editor/edittext.cpp)
