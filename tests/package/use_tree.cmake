# What the package tests share: running things, comparing, and using what stands below a prefix as its users would.
# The variables come from the CMakeLists.txt beside it.

# run(RESULT COMMAND ARGUMENT…): what it wrote to standard output; whatever fails ends the test. Through files, since
# Wine's servers outlive the program that started them, and would keep a pipe open.
function(run result)
  execute_process(COMMAND ${ARGN}
    OUTPUT_FILE "${WORK_DIR}/output" ERROR_FILE "${WORK_DIR}/errors" RESULT_VARIABLE status)
  file(READ "${WORK_DIR}/output" output)
  file(READ "${WORK_DIR}/errors" errors)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " line)
    message(FATAL_ERROR "${line}\nended with ${status}\n${output}${errors}")
  endif()
  set(${result} "${output}" PARENT_SCOPE)
endfunction()

function(expect_equal what actual expected)
  if(NOT actual STREQUAL expected)
    message(FATAL_ERROR "${what}:\n${actual}\ninstead of:\n${expected}")
  endif()
endfunction()

# pack(RESULT EXTENSION CONFIGURATION): the path of the package that CPack makes of the build.
function(pack result extension configuration)
  set(folder "${WORK_DIR}/packages/${configuration}")
  run(ignored "${CMAKE_CPACK_COMMAND}" --config "${BUILD_DIR}/${configuration}.cmake" -B "${folder}")
  file(GLOB packages "${folder}/*.${extension}")
  list(LENGTH packages count)
  expect_equal("packages with the extension ${extension}" "${count}" 1)
  set(${result} "${packages}" PARENT_SCOPE)
endfunction()

# The files below a folder, without those whose paths match.
function(list_files result folder but_not)
  file(GLOB_RECURSE files RELATIVE "${folder}" "${folder}/*")
  list(FILTER files EXCLUDE REGEX "${but_not}")
  list(SORT files)
  set(${result} "${files}" PARENT_SCOPE)
endfunction()

# The command there does what the build's own does, on a file that has two streams.
function(use_command path)
  run(info ${EMULATOR} "${path}" info --json "${SAMPLE}")
  string(JSON streams LENGTH "${info}" streams)
  expect_equal("streams that ${path} finds" "${streams}" 2)
  foreach(words "info" "packets" "packets;--json;--host-io;queued")
    run(expected ${EMULATOR} "${COMMAND}" ${words} "${SAMPLE}")
    run(actual ${EMULATOR} "${path}" ${words} "${SAMPLE}")
    expect_equal("${path} ${words}" "${actual}" "${expected}")
  endforeach()
endfunction()

# The command there reports nothing under the watch layer.
function(use_watch_layer path)
  execute_process(COMMAND ${EMULATOR} "${path}" packets --watch --count "${SAMPLE}"
    OUTPUT_QUIET ERROR_FILE "${WORK_DIR}/watch" RESULT_VARIABLE status)
  file(READ "${WORK_DIR}/watch" report)
  if(NOT status EQUAL 0 OR NOT report MATCHES "684 packets.*violations: none")
    message(FATAL_ERROR "${path} --watch ended with ${status}\n${report}")
  endif()
endfunction()

# use_as_integrator(PROGRAM OPTION…): integrators' projects in C++ and in C find the package and load the plug-in.
function(use_as_integrator program)
  set(consumer_build "${WORK_DIR}/consumer")
  run(ignored "${CMAKE_COMMAND}" -G Ninja -S "${CONSUMER_DIR}" -B "${consumer_build}" ${CONSUMER_OPTIONS} ${ARGN})
  run(ignored "${CMAKE_COMMAND}" --build "${consumer_build}")
  run(greeting ${EMULATOR} "${consumer_build}/${program}")
  string(STRIP "${greeting}" greeting)
  expect_equal("the integrator's project printed" "${greeting}" "Quelbar FLV File Format Plugin")
  run(ignored "${CMAKE_COMMAND}" -G Ninja -S "${CONSUMER_DIR}" -B "${consumer_build}-c" -DLANGUAGE=C
    ${C_OPTIONS} ${ARGN})
  run(ignored "${CMAKE_COMMAND}" --build "${consumer_build}-c")
endfunction()

# use_examples(PREFIX DOCUMENTS): the hosts in other languages, built and run from copies as their users would, deliver
# the packets that the command delivers.
function(use_examples prefix documents)
  file(COPY "${documents}/examples" DESTINATION "${WORK_DIR}")
  run(packets "${COMMAND}" packets --json --host-stat no "${SAMPLE}")
  string(REGEX MATCHALL "crc32" packets "${packets}")
  list(LENGTH packets packets)
  file(GLOB_RECURSE pc_file "${prefix}/lib*/qbflvplus.pc")
  get_filename_component(pc_folder "${pc_file}" DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} "${pc_folder}")
  run(plugin pkg-config --variable=plugin qbflvplus)
  string(STRIP "${plugin}" plugin)
  run(played make -C "${WORK_DIR}/examples" run "FILE=${SAMPLE}")
  expect_packets("the example in C" "${played}" "${packets}")
  find_program(python_path python3 REQUIRED)
  run(played "${python_path}" "${WORK_DIR}/examples/host.py" "${plugin}" "${SAMPLE}")
  expect_packets("the example in Python" "${played}" "${packets}")
endfunction()
function(expect_packets what played packets)
  if(NOT played MATCHES "\n${packets} packets, .*\nfirst packet at 4000 ms\n")
    message(FATAL_ERROR "${what} did not play ${packets} packets, then from the key frame before 5 s:\n${played}")
  endif()
endfunction()

# The installed texts link only to what is installed.
function(check_links folder)
  file(GLOB_RECURSE texts "${folder}/*.md")
  foreach(text IN LISTS texts)
    file(READ "${text}" content)
    string(REGEX MATCHALL "\\]\\([A-Za-z./_-]+\\.[a-z]+\\)" links "${content}")
    get_filename_component(place "${text}" DIRECTORY)
    foreach(link IN LISTS links)
      string(REGEX REPLACE "^..|.$" "" link "${link}")
      if(NOT EXISTS "${place}/${link}")
        message(FATAL_ERROR "${text} refers to ${link}, which is not installed")
      endif()
    endforeach()
  endforeach()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
