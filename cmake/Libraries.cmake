# The libraries of the host, the command and the tests. All are Debian packages. The plug-in itself needs none.
if(NOT (QBFLV_BUILD_COMMAND OR QBFLV_BUILD_TESTS OR QBFLV_BUILD_FUZZERS OR QBFLV_BUILD_BENCHMARKS OR QBFLV_BUILD_NGINX))
  return()
endif()
if(NOT CMAKE_CROSSCOMPILING)
  find_package(CLI11 REQUIRED)
  find_package(fmt REQUIRED)
  find_package(nlohmann_json REQUIRED)
  find_package(ZLIB REQUIRED)
  if(QBFLV_BUILD_TESTS)
    find_package(GTest REQUIRED)
    find_package(Threads REQUIRED)
  endif()
  return()
endif()

# Cross builds use the header-only libraries of this machine's packages. The compiler finds them through links in a
# folder of the build, because /usr/include also contains the headers of the native C library.
set(header_folder "${PROJECT_BINARY_DIR}/header-only")
file(MAKE_DIRECTORY "${header_folder}")
function(add_header_library target subfolder header)
  find_path(${subfolder}_INCLUDE_DIR ${subfolder}/${header} PATHS /usr/include REQUIRED NO_DEFAULT_PATH
    NO_CMAKE_FIND_ROOT_PATH)
  file(CREATE_LINK "${${subfolder}_INCLUDE_DIR}/${subfolder}" "${header_folder}/${subfolder}" SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE "${header_folder}")
endfunction()
add_header_library(CLI11::CLI11 CLI CLI.hpp)
add_header_library(nlohmann_json::nlohmann_json nlohmann json.hpp)
add_header_library(fmt::fmt fmt format.h)
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)

set(ZLIB_USE_STATIC_LIBS ON)
find_package(ZLIB REQUIRED)

if(QBFLV_BUILD_TESTS)
  find_path(googletest_SOURCE_DIR googletest/CMakeLists.txt PATHS /usr/src/googletest REQUIRED NO_DEFAULT_PATH
    NO_CMAKE_FIND_ROOT_PATH)
  set(INSTALL_GTEST OFF)
  add_subdirectory("${googletest_SOURCE_DIR}/googletest" googletest EXCLUDE_FROM_ALL)
  find_package(Threads REQUIRED)
endif()
