# Configuration and mapping data: token reader, configuration file, the mapping model.
list(APPEND VQX_CORE_SOURCES
  mapping/tokens.cpp
  mapping/config.cpp
  mapping/model.cpp)
