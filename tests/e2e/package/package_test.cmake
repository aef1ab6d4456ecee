# Installs the build into a prefix of its own, and uses what is there: the command on a sample, and an integrator's
# project that finds the package. Run with cmake -P; the variables come from the CMakeLists.txt beside it.
set(prefix "${WORK_DIR}/prefix")
set(consumer_build "${WORK_DIR}/consumer")
file(REMOVE_RECURSE "${WORK_DIR}")

function(run result)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " line)
    message(FATAL_ERROR "${line}\nended with ${status}\n${output}${errors}")
  endif()
  set(${result} "${output}" PARENT_SCOPE)
endfunction()

run(ignored "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")

run(info "${prefix}/bin/qbflv" info --json "${SAMPLE}")
string(JSON streams LENGTH "${info}" streams)
if(NOT streams EQUAL 2)
  message(FATAL_ERROR "the installed command found ${streams} streams in ${SAMPLE}, not 2:\n${info}")
endif()

run(ignored "${CMAKE_COMMAND}" -G Ninja -S "${CONSUMER_DIR}" -B "${consumer_build}"
  "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
run(ignored "${CMAKE_COMMAND}" --build "${consumer_build}")
run(greeting "${consumer_build}/consumer")
if(NOT greeting STREQUAL "Quelbar FLV File Format Plugin\n")
  message(FATAL_ERROR "the integrator's project printed: ${greeting}")
endif()
