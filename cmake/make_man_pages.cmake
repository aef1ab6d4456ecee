# Writes qbflv(1), and a page for each of its commands, from their --help.
# Run with -DHELP2MAN=… -DGZIP=… -DCOMMAND=… -DFOLDER=….
get_filename_component(command_folder "${COMMAND}" DIRECTORY)

# run_qbflv(RESULT ARGUMENT…): stores the output of qbflv in the variable RESULT.
function(run_qbflv result)
  execute_process(COMMAND "${COMMAND}" ${ARGN} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

# make_page(NAME SEE_ALSO WORD…): writes the page NAME from the output of qbflv WORD… --help.
function(make_page name see_also)
  run_qbflv(help ${ARGN} --help)
  string(REGEX MATCH "^[^\n]*[^.\n]" purpose "${help}")
  string(SUBSTRING "${purpose}" 0 1 initial)
  string(SUBSTRING "${purpose}" 1 -1 rest)
  string(TOLOWER "${initial}" initial)

  file(WRITE "${FOLDER}/see_also" "[see also]\n${see_also}\n")
  list(JOIN ARGN " " words)
  # Runs in the command's folder, because help2man does not quote the path.
  execute_process(
    COMMAND "${HELP2MAN}" --no-info --manual=qbflvplus "--version-string=${name} ${version}" "--name=${initial}${rest}"
      "--help-option=${words} --help" "--include=${FOLDER}/see_also" "--output=${FOLDER}/${name}.1" ./qbflv
    WORKING_DIRECTORY "${command_folder}"
    COMMAND_ERROR_IS_FATAL ANY)

  file(READ "${FOLDER}/${name}.1" page)
  # Removes the date of the build, which would make every build different.
  string(REGEX REPLACE "(\n\\.TH [^\n]* \"1\") \"[^\n\"]*\"" "\\1 \"\"" page "${page}")
  # Renames the headings to those of other manual pages.
  string(REPLACE ".SS \"Subcommands:\"" ".SH COMMANDS" page "${page}")
  string(REPLACE ".SS \"Positionals:\"" ".SH ARGUMENTS" page "${page}")
  string(REPLACE ".SS \"Example:\"" ".SH EXAMPLE" page "${page}")
  string(REPLACE ".PP\nExit status: " ".SH \"EXIT STATUS\"\n" page "${page}")
  file(WRITE "${FOLDER}/${name}.1" "${page}")
  execute_process(COMMAND "${GZIP}" -9n "${FOLDER}/${name}.1" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}")
run_qbflv(version --version)
string(STRIP "${version}" version)
run_qbflv(help --help)
string(REGEX MATCH "\nSubcommands:\n(  [^\n]*\n)+" commands "${help}")
string(REGEX MATCHALL "\n  [a-z][a-z-]*" commands "${commands}")
list(TRANSFORM commands STRIP)
if(NOT commands)
  message(FATAL_ERROR "${COMMAND} --help lists no command")
endif()

foreach(command IN LISTS commands)
  make_page("qbflv-${command}" ".BR qbflv (1)" "${command}")
endforeach()
set(pages ${commands})
list(TRANSFORM pages REPLACE ".+" ".BR qbflv-\\0 (1)")
list(JOIN pages ",\n" pages)
make_page(qbflv "${pages}")
file(REMOVE "${FOLDER}/see_also")
