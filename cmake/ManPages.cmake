# Generates the manual pages from the command's help if help2man is installed. Cross builds have none.
find_program(QBFLV_HELP2MAN help2man)
find_program(QBFLV_GZIP gzip)
mark_as_advanced(QBFLV_HELP2MAN QBFLV_GZIP)
if(CMAKE_CROSSCOMPILING OR NOT QBFLV_HELP2MAN OR NOT QBFLV_GZIP)
  return()
endif()

# The number of pages depends on the command's help. This page always exists.
set(man_folder "${PROJECT_BINARY_DIR}/man1")
add_custom_command(OUTPUT "${man_folder}/qbflv.1.gz"
  COMMAND "${CMAKE_COMMAND}" "-DHELP2MAN=${QBFLV_HELP2MAN}" "-DGZIP=${QBFLV_GZIP}" "-DCOMMAND=$<TARGET_FILE:qbflv>"
    "-DFOLDER=${man_folder}" -P "${CMAKE_CURRENT_LIST_DIR}/make_man_pages.cmake"
  DEPENDS qbflv "${CMAKE_CURRENT_LIST_DIR}/make_man_pages.cmake"
  COMMENT "Generating the manual pages"
  VERBATIM)
add_custom_target(qbflv_man_pages ALL DEPENDS "${man_folder}/qbflv.1.gz")
# Uses a pattern instead of the file names, so that a build without this target can be installed, too.
install(DIRECTORY "${man_folder}/" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" FILES_MATCHING PATTERN "*.1.gz")
