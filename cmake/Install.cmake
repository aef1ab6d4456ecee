# What `cmake --install` puts in place: the plug-in, the command, the interface headers, a package that other CMake
# projects find them by, and what to read.
include(CMakePackageConfigHelpers)

# A server loads the plug-in by its path, and the command looks for it there. On Windows the plug-in stands beside the
# command, and its import library among the libraries, for those who would rather link.
install(TARGETS qbflvplus
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(TARGETS qbflv RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(FILES
  "${PROJECT_SOURCE_DIR}/plugin/shell/host_interfaces.h"
  "${PROJECT_SOURCE_DIR}/plugin/util/com_ptr.h"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/qbflvplus")

if(WIN32)
  set(QBFLV_PLUGIN_FILE "${CMAKE_INSTALL_BINDIR}/qbflvplus.dll")
  # A folder of our own, unpacked anywhere: what to read stands at its top.
  set(QBFLV_TEXT_FOLDER ".")
  # What a host's program exports; the README refers to it by this path.
  install(FILES "${PROJECT_SOURCE_DIR}/host/heap_operators.def" DESTINATION host)
else()
  set(QBFLV_PLUGIN_FILE "${CMAKE_INSTALL_LIBDIR}/libqbflvplus.so")
  set(QBFLV_TEXT_FOLDER "${CMAKE_INSTALL_DOCDIR}")
endif()
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/README.md" DESTINATION "${QBFLV_TEXT_FOLDER}")
# The README refers to it by this path.
install(FILES "${PROJECT_SOURCE_DIR}/docs/host-guide.md" DESTINATION "${QBFLV_TEXT_FOLDER}/docs")

set(QBFLV_PACKAGE_FOLDER "${CMAKE_INSTALL_LIBDIR}/cmake/qbflvplus")
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/qbflvplusConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/qbflvplusConfig.cmake"
  INSTALL_DESTINATION "${QBFLV_PACKAGE_FOLDER}"
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR QBFLV_PLUGIN_FILE)
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/qbflvplusConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/qbflvplusConfig.cmake"
  "${PROJECT_BINARY_DIR}/qbflvplusConfigVersion.cmake"
  DESTINATION "${QBFLV_PACKAGE_FOLDER}")
