# Warnings and sanitizers for every target.
add_library(qbflv_compiler_options INTERFACE)

set(QBFLV_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wnon-virtual-dtor -Wcast-qual
  -Wformat=2)
if(QBFLV_WARNINGS_AS_ERRORS)
  list(APPEND QBFLV_WARNINGS -Werror)
endif()
target_compile_options(qbflv_compiler_options INTERFACE "$<$<COMPILE_LANGUAGE:CXX>:${QBFLV_WARNINGS}>")

# Disables the vptr check: an object behind an interface may belong to another library or not be a C++ object.
if(QBFLV_SANITIZE)
  target_compile_options(qbflv_compiler_options INTERFACE
    -fsanitize=${QBFLV_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer -fno-sanitize-recover=all
    $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>)
  target_link_options(qbflv_compiler_options INTERFACE -fsanitize=${QBFLV_SANITIZE})
  target_compile_definitions(qbflv_compiler_options INTERFACE QBFLV_SANITIZED=1)
endif()
