# Packs the Windows build, unpacks the .zip and uses what is in it.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/use_tree.cmake")

pack(package zip CPackConfig)
pack(watch_package zip CPackWatchConfig)
file(ARCHIVE_EXTRACT INPUT "${package}" DESTINATION "${WORK_DIR}/unpacked")

# All of it stands in one folder, named like the package.
get_filename_component(name "${package}" NAME_WLE)
set(tree "${WORK_DIR}/unpacked/${name}")
set(expected
  CHANGELOG.md
  CONTRIBUTING.md
  LICENSE
  README.md
  SECURITY.md
  bin/qbflv.exe
  bin/qbflvplus.dll
  docs/architecture.md
  docs/growth.svg
  docs/host-guide.md
  docs/page.png
  docs/performance.md
  docs/reliability.md
  docs/repair.md
  docs/server-cost.svg
  docs/server-memory.svg
  docs/server-seek.svg
  docs/serving.md
  examples/Makefile
  examples/host.c
  examples/host.py
  examples/objects.c
  examples/objects.h
  host/heap_operators.def
  include/qbflvplus/com_ptr.h
  include/qbflvplus/host_interfaces.h
  include/qbflvplus/host_interfaces_c.h
  lib/cmake/qbflvplus/qbflvplusConfig.cmake
  lib/cmake/qbflvplus/qbflvplusConfigVersion.cmake
  lib/libqbflvplus.dll.a
  lib/pkgconfig/qbflvplus.pc)
list_files(files "${tree}" "^$")
expect_equal("the files in ${package}" "${files}" "${expected}")

use_command("${tree}/bin/qbflv.exe")
get_filename_component(name "${watch_package}" NAME_WLE)
file(ARCHIVE_EXTRACT INPUT "${watch_package}" DESTINATION "${WORK_DIR}/unpacked")
file(COPY "${WORK_DIR}/unpacked/${name}/bin/qbflvplus_watch.dll" DESTINATION "${tree}/bin")
use_watch_layer("${tree}/bin/qbflv.exe")
# By its folder, since the cross-compiler looks for packages in its own root alone.
use_as_integrator(consumer.exe "-Dqbflvplus_DIR=${tree}/lib/cmake/qbflvplus")
