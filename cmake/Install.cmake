# What `cmake --install` puts in place: the plug-in, the command, the interface headers, and a package that other CMake
# projects find them by.
include(CMakePackageConfigHelpers)

# A server loads the plug-in by its path, and the command looks for it there.
install(TARGETS qbflvplus LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(TARGETS qbflv RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(FILES
  "${PROJECT_SOURCE_DIR}/plugin/shell/host_interfaces.h"
  "${PROJECT_SOURCE_DIR}/plugin/util/com_ptr.h"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/qbflvplus")

set(QBFLV_PACKAGE_FOLDER "${CMAKE_INSTALL_LIBDIR}/cmake/qbflvplus")
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/qbflvplusConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/qbflvplusConfig.cmake"
  INSTALL_DESTINATION "${QBFLV_PACKAGE_FOLDER}"
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/qbflvplusConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/qbflvplusConfig.cmake"
  "${PROJECT_BINARY_DIR}/qbflvplusConfigVersion.cmake"
  DESTINATION "${QBFLV_PACKAGE_FOLDER}")
