# Packs the Windows build, unpacks the .zip and uses what is in it.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/use_tree.cmake")

pack(package zip)
file(ARCHIVE_EXTRACT INPUT "${package}" DESTINATION "${WORK_DIR}/unpacked")

# All of it stands in one folder, named like the package.
get_filename_component(name "${package}" NAME_WLE)
set(tree "${WORK_DIR}/unpacked/${name}")
set(expected
  LICENSE
  README.md
  bin/qbflv.exe
  bin/qbflvplus.dll
  docs/host-guide.md
  host/heap_operators.def
  include/qbflvplus/com_ptr.h
  include/qbflvplus/host_interfaces.h
  lib/cmake/qbflvplus/qbflvplusConfig.cmake
  lib/cmake/qbflvplus/qbflvplusConfigVersion.cmake
  lib/libqbflvplus.dll.a)
list_files(files "${tree}" "^$")
expect_equal("the files in ${package}" "${files}" "${expected}")

use_command("${tree}/bin/qbflv.exe")
# By its folder, since the cross-compiler looks for packages in its own root alone.
use_as_integrator(consumer.exe "-Dqbflvplus_DIR=${tree}/lib/cmake/qbflvplus")
