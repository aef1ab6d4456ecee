# Compiles the plug-in and the host with -O3 and link-time optimisation in release builds: each packet passes through
# many small functions in many files.
include(CheckIPOSupported)
set(QBFLV_ACROSS_FILES OFF)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT WIN32 AND NOT QBFLV_SANITIZE)
  check_ipo_supported(RESULT QBFLV_ACROSS_FILES OUTPUT QBFLV_IPO_REFUSAL LANGUAGES CXX)
endif()

# qbflv_optimise(TARGET): sets the options. A static library also contains machine code, so that test programs link
# fast.
function(qbflv_optimise target)
  set(optimised "$<AND:$<COMPILE_LANGUAGE:CXX>,$<CONFIG:Release,RelWithDebInfo>>")
  target_compile_options(${target} PRIVATE "$<${optimised}:-O3>")
  if(NOT QBFLV_ACROSS_FILES)
    return()
  endif()
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "STATIC_LIBRARY")
    target_compile_options(${target} PRIVATE "$<${optimised}:-flto=auto;-ffat-lto-objects>")
  else()
    set_target_properties(${target} PROPERTIES
      INTERPROCEDURAL_OPTIMIZATION_RELEASE ON
      INTERPROCEDURAL_OPTIMIZATION_RELWITHDEBINFO ON)
  endif()
endfunction()
