# Installs the build into a prefix of its own, and uses what is there.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/use_tree.cmake")

set(prefix "${WORK_DIR}/prefix")
run(ignored "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")
check_links("${prefix}/share/doc/qbflvplus")
use_command("${prefix}/bin/qbflv")
use_watch_layer("${prefix}/bin/qbflv")
use_as_integrator(consumer "-DCMAKE_PREFIX_PATH=${prefix}")
# The examples are built without sanitizers, which the library would miss.
if(NOT SANITIZED)
  use_examples("${prefix}" "${prefix}/share/doc/qbflvplus")
endif()
