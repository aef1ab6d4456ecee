# Holds the DLL to what it may export and import, and to its version resource.
# Run with -DOBJDUMP=… -DLIBRARY=….
execute_process(COMMAND "${OBJDUMP}" -p "${LIBRARY}" OUTPUT_VARIABLE tables COMMAND_ERROR_IS_FATAL ANY)

string(REGEX MATCH "\\[Ordinal/Name Pointer\\] Table([^A-Z]*\n?[^\n]*\\[ *[0-9]+\\] [^\n]*)+" exports "${tables}")
string(REGEX MATCHALL "\\[ *[0-9]+\\] [^\n]*" exports "${exports}")
list(TRANSFORM exports REPLACE "^.*\\] " "")
list(TRANSFORM exports STRIP)
if(NOT exports STREQUAL "CanUnload2;QBMCreateInstance")
  message(FATAL_ERROR "exported: ${exports}")
endif()

string(REGEX MATCHALL "DLL Name: [^\n]*" imports "${tables}")
list(TRANSFORM imports REPLACE "^DLL Name: " "")
list(TRANSFORM imports STRIP)
list(SORT imports)
if(NOT imports STREQUAL "KERNEL32.dll;USER32.dll;msvcrt.dll")
  message(FATAL_ERROR "imported from: ${imports}")
endif()
