# Mapper link: notification channel, Mapper control, starting applications, script runner.
list(APPEND VQX_CORE_SOURCES
  mapperlink/notify.cpp
  mapperlink/mapperapi.cpp
  mapperlink/launch.cpp
  mapperlink/script.cpp)
