# Configures CPack, which scripts/package calls: Debian packages or, for Windows, .zip files.
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME qbflvplus)
set(CPACK_PACKAGE_VENDOR "qbflvplus authors")
set(CPACK_PACKAGE_CONTACT "qbflvplus authors <authors@qbflvplus.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/finish_package_tree.cmake")

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME "qbflvplus-${PROJECT_VERSION}-windows-x64")
  # A link time in the files would make every build different.
  foreach(target qbflvplus qbflvplus_watch qbflv)
    target_link_options(${target} PRIVATE LINKER:--no-insert-timestamp)
  endforeach()
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_PACKAGE_SECTION video)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # The library is in a folder of the dynamic loader, so the package triggers ldconfig. CPack would add maintainer
  # scripts for that, which need a shell in the target root. The names of files that do not exist suppress these
  # scripts.
  set(control_folder "${PROJECT_BINARY_DIR}/debian")
  file(WRITE "${control_folder}/triggers" "activate-noawait ldconfig\n")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    "${control_folder}/triggers" "${control_folder}/none/postinst" "${control_folder}/none/postrm")
  set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"A dynamic library that a component-based streaming server loads to read
FLV (Flash Video) files. It delivers a file header, a header of each
stream and media packets in time order, from any point of the file.
.
The package also contains the command qbflv, which plays files through
the library as a server does, and the headers and CMake files for
building a server.")
endif()
# The watch layer is a separate package with a separate configuration.
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};qbflvplus;Unspecified;/")
include(CPack)
configure_file("${CMAKE_CURRENT_LIST_DIR}/CPackWatchConfig.cmake.in" "${PROJECT_BINARY_DIR}/CPackWatchConfig.cmake" @ONLY)
