# The Mapper: decoding the remote, choosing and repeating actions, its files, its bus object and
# its inputs and outputs. Everything but main.cpp goes into the library the tests link.
file(GLOB VQX_MAPPER_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/mapper/*.cpp)
list(REMOVE_ITEM VQX_MAPPER_SOURCES ${CMAKE_SOURCE_DIR}/mapper/main.cpp)
