# Application shell: diagnostics and alerts, the editor's preferences, file locations.
list(APPEND VQX_CORE_SOURCES
  shell/diagnostics.cpp
  shell/questions.cpp
  shell/prefs.cpp
  shell/files.cpp
  shell/files_install.cpp)
