# Configures a project that contains this one.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/use_tree.cmake")

run(ignored "${CMAKE_COMMAND}" -G Ninja -S "${CMAKE_CURRENT_LIST_DIR}/subproject" -B "${WORK_DIR}/build"
  ${CONSUMER_OPTIONS} "-DQBFLVPLUS_DIR=${PROJECT_DIR}")
