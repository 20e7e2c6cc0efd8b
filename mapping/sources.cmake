# Configuration and mapping data: token reader, configuration file, remote description, the
# mapping model with its reader and writer, reconciliation, descriptions and volume units.
list(APPEND VQX_CORE_SOURCES
  mapping/tokens.cpp
  mapping/config.cpp
  mapping/alerttext.cpp
  mapping/remote.cpp
  mapping/model.cpp
  mapping/mapreader.cpp
  mapping/actionparse.cpp
  mapping/mapwriter.cpp
  mapping/reconcile.cpp
  mapping/describe.cpp
  mapping/volume.cpp)
