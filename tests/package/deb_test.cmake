# Packs the build, installs the .deb into a root folder where nothing else is, and uses what is there.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/use_tree.cmake")

foreach(tool dpkg dpkg-deb dpkg-shlibdeps file gzip readelf)
  find_program(${tool}_path ${tool})
  if(NOT ${tool}_path)
    message("This test is skipped: there is no ${tool}; scripts/setup package installs it")
    return()
  endif()
endforeach()
if(NOT MAN_PAGES)
  message("This test is skipped: the build was configured without help2man; scripts/setup package installs it")
  return()
endif()

pack(package deb CPackConfig)
pack(watch_package deb CPackWatchConfig)
find_program(lintian_path lintian)
if(lintian_path)
  run(ignored "${lintian_path}" --allow-root --fail-on error,warning "${package}" "${watch_package}")
endif()
run(ignored dpkg-deb --control "${package}" "${WORK_DIR}/control")
list_files(files "${WORK_DIR}/control" "^$")
# No script: there is nothing to run one with in a clean root.
expect_equal("the control files" "${files}" "control;md5sums;triggers")
run(version "${COMMAND}" --version)
run(field dpkg-deb --field "${package}" Version)
expect_equal("the package's version" "${field}" "${version}")
run(field dpkg-deb --field "${package}" Depends)
foreach(needed libc6 libstdc\\+\\+6 libfmt zlib1g)
  if(NOT field MATCHES "(^|, )${needed}[^,]* \\(>= ")
    message(FATAL_ERROR "the package depends on nothing like ${needed}: ${field}")
  endif()
endforeach()

set(root "${WORK_DIR}/root")
file(MAKE_DIRECTORY "${root}/var/lib/dpkg/info" "${root}/var/lib/dpkg/updates")
file(TOUCH "${root}/var/lib/dpkg/status")
run(user id -u)
if(user EQUAL 0)
  # What it depends on is the system's own, which this dpkg does not know of.
  run(ignored dpkg "--root=${root}" --log=/dev/null --force-depends --install "${package}")
  run(state dpkg-query "--admindir=${root}/var/lib/dpkg" --show "--showformat=\${db:Status-Status}" qbflvplus)
  expect_equal("the package's state" "${state}" installed)
else()
  # Installing hands the files over to root, which nobody else may do.
  run(ignored dpkg-deb --extract "${package}" "${root}")
endif()

set(expected
  bin/qbflv
  include/qbflvplus/com_ptr.h
  include/qbflvplus/host_interfaces.h
  include/qbflvplus/host_interfaces_c.h
  lib/cmake/qbflvplus/qbflvplusConfig.cmake
  lib/cmake/qbflvplus/qbflvplusConfigVersion.cmake
  lib/libqbflvplus.so
  lib/pkgconfig/qbflvplus.pc
  share/bash-completion/completions/qbflv
  share/doc/qbflvplus/CHANGELOG.md
  share/doc/qbflvplus/CONTRIBUTING.md
  share/doc/qbflvplus/README.md
  share/doc/qbflvplus/SECURITY.md
  share/doc/qbflvplus/changelog.gz
  share/doc/qbflvplus/copyright
  share/doc/qbflvplus/docs/architecture.md
  share/doc/qbflvplus/docs/growth.svg
  share/doc/qbflvplus/docs/host-guide.md
  share/doc/qbflvplus/docs/page.png
  share/doc/qbflvplus/docs/performance.md
  share/doc/qbflvplus/docs/reliability.md
  share/doc/qbflvplus/docs/repair.md
  share/doc/qbflvplus/docs/server-cost.svg
  share/doc/qbflvplus/docs/server-memory.svg
  share/doc/qbflvplus/docs/server-seek.svg
  share/doc/qbflvplus/docs/serving.md
  share/doc/qbflvplus/examples/Makefile
  share/doc/qbflvplus/examples/host.c
  share/doc/qbflvplus/examples/host.py
  share/doc/qbflvplus/examples/objects.c
  share/doc/qbflvplus/examples/objects.h
  share/doc/qbflvplus/host/heap_operators.def
  share/fish/vendor_completions.d/qbflv.fish
  share/lintian/overrides/qbflvplus
  share/man/man1/qbflv.1.gz
  share/zsh/vendor-completions/_qbflv)
set(command_page "^share/man/man1/qbflv-([a-z-]+)\\.1\\.gz$")
list_files(files "${root}/usr" "${command_page}")
expect_equal("the files in ${package}" "${files}" "${expected}")
foreach(binary bin/qbflv lib/libqbflvplus.so)
  run(sections readelf --wide --sections "${root}/usr/${binary}")
  if(sections MATCHES "\\.debug_info")
    message(FATAL_ERROR "${binary} is not stripped")
  endif()
endforeach()

check_links("${root}/usr/share/doc/qbflvplus")
use_command("${root}/usr/bin/qbflv")
run(ignored dpkg-deb --extract "${watch_package}" "${root}")
use_watch_layer("${root}/usr/bin/qbflv")
use_as_integrator(consumer "-DCMAKE_PREFIX_PATH=${root}/usr")
use_examples("${root}/usr" "${root}/usr/share/doc/qbflvplus")

# check_page(PAGE WORD…): it has every option that the help for these words has.
function(check_page page)
  run(text gzip -dc "${root}/usr/share/man/man1/${page}.1.gz")
  string(REPLACE "\\-" "-" text "${text}")
  run(help "${COMMAND}" ${ARGN} --help)
  string(REGEX MATCHALL "--[a-z][a-z-]+" options "${help}")
  foreach(wanted IN LISTS options ITEMS "--help")
    string(FIND "${text}" "${wanted}" place)
    if(place EQUAL -1)
      message(FATAL_ERROR "${page}(1) says nothing about ${wanted}")
    endif()
  endforeach()
endfunction()

# A page for the command, one for each of its commands, and none besides.
check_page(qbflv)
run(overview gzip -dc "${root}/usr/share/man/man1/qbflv.1.gz")
run(help "${COMMAND}" --help)
file(GLOB pages RELATIVE "${root}/usr" "${root}/usr/share/man/man1/qbflv-*.1.gz")
list(TRANSFORM pages REPLACE "${command_page}" "\\1" OUTPUT_VARIABLE commands)
foreach(command info packets remux)
  if(NOT command IN_LIST commands)
    message(FATAL_ERROR "there is no page for ${command}, but for ${commands}")
  endif()
endforeach()
string(REGEX REPLACE "^.*\nSubcommands:" "" listed "${help}")
string(REGEX MATCHALL "\n  [a-z-]+  " listed "${listed}")
list(LENGTH listed expected)
list(LENGTH commands count)
expect_equal("the number of commands that have pages (${commands})" "${count}" "${expected}")
foreach(command IN LISTS commands)
  check_page("qbflv-${command}" "${command}")
  if(NOT overview MATCHES "\n${command}\n" OR NOT overview MATCHES "\n\\.BR qbflv-${command} \\(1\\)")
    message(FATAL_ERROR "qbflv(1) does not name ${command}:\n${overview}")
  endif()
endforeach()
