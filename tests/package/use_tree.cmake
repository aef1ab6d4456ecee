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

# pack(RESULT EXTENSION): the path of the package that CPack makes of the build.
function(pack result extension)
  run(ignored "${CMAKE_CPACK_COMMAND}" --config "${BUILD_DIR}/CPackConfig.cmake" -B "${WORK_DIR}/packages")
  file(GLOB packages "${WORK_DIR}/packages/*.${extension}")
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

# use_as_integrator(PROGRAM OPTION…): an integrator's project finds the package and loads the plug-in.
function(use_as_integrator program)
  set(consumer_build "${WORK_DIR}/consumer")
  run(ignored "${CMAKE_COMMAND}" -G Ninja -S "${CONSUMER_DIR}" -B "${consumer_build}" ${CONSUMER_OPTIONS} ${ARGN})
  run(ignored "${CMAKE_COMMAND}" --build "${consumer_build}")
  run(greeting ${EMULATOR} "${consumer_build}/${program}")
  string(STRIP "${greeting}" greeting)
  expect_equal("the integrator's project printed" "${greeting}" "Quelbar FLV File Format Plugin")
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
