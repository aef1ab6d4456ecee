# What CPack makes of a build: a Debian package, or on Windows a .zip. scripts/package calls it.
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
  # The second of linking, which the linker would write into them, makes each build another.
  foreach(target qbflvplus qbflv)
    target_link_options(${target} PRIVATE LINKER:--no-insert-timestamp)
  endforeach()
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_PACKAGE_SECTION video)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # The library stands where the loader looks, which a trigger tells it. CPack would have scripts do that, which no clean
  # root folder can run; a name without a file keeps each of them out.
  set(control_folder "${PROJECT_BINARY_DIR}/debian")
  file(WRITE "${control_folder}/triggers" "activate-noawait ldconfig\n")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    "${control_folder}/triggers" "${control_folder}/none/postinst" "${control_folder}/none/postrm")
  set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"A dynamic library that a component-based streaming server loads to read
FLV (Flash Video) files. It hands out a file header, a header of each
stream and media packets in time order, from any point of the file.
.
With it come the command qbflv, which plays files through the library as
a server would, and the headers and CMake files that a server is built
with.")
endif()
include(CPack)
