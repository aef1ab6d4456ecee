# The files that `cmake --install` installs: the plug-in, the command, the interface headers, a CMake package, and
# documents.
include(CMakePackageConfigHelpers)

# On Windows, the plug-in is in the folder of the command, and its import library in the library folder.
install(TARGETS qbflvplus
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
if(TARGET qbflv)
  install(TARGETS qbflv RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()
if(TARGET qbflvplus_watch)
  install(TARGETS qbflvplus_watch COMPONENT watch
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE EXCLUDE_FROM_ALL DESTINATION "${CMAKE_INSTALL_LIBDIR}")
  if(NOT WIN32)
    install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" COMPONENT watch
      DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/qbflvplus-watch")
  endif()
endif()
install(FILES
  "${PROJECT_SOURCE_DIR}/plugin/shell/host_interfaces.h"
  "${PROJECT_SOURCE_DIR}/plugin/shell/host_interfaces_c.h"
  "${PROJECT_SOURCE_DIR}/plugin/util/com_ptr.h"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/qbflvplus")

if(WIN32)
  set(QBFLV_PLUGIN_FILE "${CMAKE_INSTALL_BINDIR}/qbflvplus.dll")
  # The package is a folder of its own, with the documents at the top.
  set(QBFLV_TEXT_FOLDER ".")
else()
  set(QBFLV_PLUGIN_FILE "${CMAKE_INSTALL_LIBDIR}/libqbflvplus.so")
  set(QBFLV_TEXT_FOLDER "${CMAKE_INSTALL_DOCDIR}")
endif()
install(FILES
  "${PROJECT_SOURCE_DIR}/LICENSE"
  "${PROJECT_SOURCE_DIR}/README.md"
  "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
  "${PROJECT_SOURCE_DIR}/CONTRIBUTING.md"
  "${PROJECT_SOURCE_DIR}/SECURITY.md"
  DESTINATION "${QBFLV_TEXT_FOLDER}")
# The documents refer to each other, and to heap_operators.def, by these paths.
install(FILES "${PROJECT_SOURCE_DIR}/host/heap_operators.def" DESTINATION "${QBFLV_TEXT_FOLDER}/host")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs/" DESTINATION "${QBFLV_TEXT_FOLDER}/docs")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples/" DESTINATION "${QBFLV_TEXT_FOLDER}/examples")

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

# A pkg-config file for build systems other than CMake. Its paths are relative, so that the tree can be moved.
if(WIN32)
  set(QBFLV_PC_LIBS "")
else()
  set(QBFLV_PC_LIBS "-rdynamic -ldl")
endif()
set(QBFLV_PC_FOLDER "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH QBFLV_PC_PREFIX "/${QBFLV_PC_FOLDER}" "/")
string(REGEX REPLACE "/$" "" QBFLV_PC_PREFIX "${QBFLV_PC_PREFIX}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/qbflvplus.pc.in" "${PROJECT_BINARY_DIR}/qbflvplus.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/qbflvplus.pc" DESTINATION "${QBFLV_PC_FOLDER}")
