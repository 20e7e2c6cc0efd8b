# The thin layer that stands in for the toolbox: presenter, resource file, font configuration, and (in the window
# library) dialogs built from the resource file's layouts.
list(APPEND VQX_CORE_SOURCES
  platform/fonts.cpp
  platform/keys.cpp
  platform/presenter.cpp
  platform/resfile.cpp)
list(APPEND VQX_WINDOW_SOURCES
  platform/dialogs.cpp
  platform/icons.cpp
  platform/qtpresenter.cpp)
# Pictures (.pic): checked and drawn into a plain pixel buffer, without Qt.
list(APPEND VQX_CORE_SOURCES
  platform/pict.cpp)
