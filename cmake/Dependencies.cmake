# Every dependency comes from a Debian package that the project's scripts
# install; nothing is downloaded at build time.

find_package(Threads REQUIRED)

if(CMAKE_CROSSCOMPILING)
  # The cross compiler must not see /usr/include as a whole (it would take the
  # host's C library headers), so the header-only libraries are reached
  # through links in a private folder.
  set(QV_HOST_HEADERS ${CMAKE_BINARY_DIR}/host-headers)
  file(MAKE_DIRECTORY ${QV_HOST_HEADERS})
  foreach(dir nlohmann fmt)
    if(NOT EXISTS ${QV_HOST_HEADERS}/${dir})
      file(CREATE_LINK /usr/include/${dir} ${QV_HOST_HEADERS}/${dir} SYMBOLIC)
    endif()
  endforeach()
  add_library(qv_fmt INTERFACE)
  target_include_directories(qv_fmt SYSTEM INTERFACE ${QV_HOST_HEADERS})
  target_compile_definitions(qv_fmt INTERFACE FMT_HEADER_ONLY)
  add_library(qv_json INTERFACE)
  target_include_directories(qv_json SYSTEM INTERFACE ${QV_HOST_HEADERS})
else()
  find_package(fmt REQUIRED)
  find_package(nlohmann_json REQUIRED)
  add_library(qv_fmt INTERFACE)
  target_link_libraries(qv_fmt INTERFACE fmt::fmt)
  add_library(qv_json INTERFACE)
  target_link_libraries(qv_json INTERFACE nlohmann_json::nlohmann_json)
endif()

if(QV_BUILD_TESTS)
  # GoogleTest and GoogleMock from Debian's sources, built with the project's
  # own compiler and flags (sanitizers and the cross compiler included).
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endif()
