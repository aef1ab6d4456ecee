# Writes qbflv(1) and a page for each of its commands from their --help.
# Run with -DHELP2MAN=… -DGZIP=… -DCOMMAND=… -DFOLDER=….
get_filename_component(command_folder "${COMMAND}" DIRECTORY)

# What qbflv prints when called with these words.
function(ask answer)
  execute_process(COMMAND "${COMMAND}" ${ARGN} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
  set(${answer} "${text}" PARENT_SCOPE)
endfunction()

# make_page(NAME SEE_ALSO WORD…): the page NAME, from the help for these words.
function(make_page name see_also)
  ask(help ${ARGN} --help)
  string(REGEX MATCH "^[^\n]*[^.\n]" purpose "${help}")
  string(SUBSTRING "${purpose}" 0 1 initial)
  string(SUBSTRING "${purpose}" 1 -1 rest)
  string(TOLOWER "${initial}" initial)

  file(WRITE "${FOLDER}/see_also" "[see also]\n${see_also}\n")
  list(JOIN ARGN " " words)
  # The path is not quoted on its way through help2man.
  execute_process(
    COMMAND "${HELP2MAN}" --no-info --manual=qbflvplus "--version-string=${name} ${version}" "--name=${initial}${rest}"
      "--help-option=${words} --help" "--include=${FOLDER}/see_also" "--output=${FOLDER}/${name}.1" ./qbflv
    WORKING_DIRECTORY "${command_folder}"
    COMMAND_ERROR_IS_FATAL ANY)

  file(READ "${FOLDER}/${name}.1" page)
  # The day of the build says nothing about the page, and would make each build another.
  string(REGEX REPLACE "(\n\\.TH [^\n]* \"1\") \"[^\n\"]*\"" "\\1 \"\"" page "${page}")
  # Headings as other manual pages have them.
  string(REPLACE ".SS \"Subcommands:\"" ".SH COMMANDS" page "${page}")
  string(REPLACE ".SS \"Positionals:\"" ".SH ARGUMENTS" page "${page}")
  string(REPLACE ".SS \"Example:\"" ".SH EXAMPLE" page "${page}")
  string(REPLACE ".PP\nExit status: " ".SH \"EXIT STATUS\"\n" page "${page}")
  file(WRITE "${FOLDER}/${name}.1" "${page}")
  execute_process(COMMAND "${GZIP}" -9n "${FOLDER}/${name}.1" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}")
ask(version --version)
string(STRIP "${version}" version)
ask(help --help)
string(REGEX MATCH "\nSubcommands:\n(  [^\n]*\n)+" commands "${help}")
string(REGEX MATCHALL "\n  [a-z][a-z-]*" commands "${commands}")
list(TRANSFORM commands STRIP)
if(NOT commands)
  message(FATAL_ERROR "the help of ${COMMAND} names no command")
endif()

foreach(command IN LISTS commands)
  make_page("qbflv-${command}" ".BR qbflv (1)" "${command}")
endforeach()
set(pages ${commands})
list(TRANSFORM pages REPLACE ".+" ".BR qbflv-\\0 (1)")
list(JOIN pages ",\n" pages)
make_page(qbflv "${pages}")
file(REMOVE "${FOLDER}/see_also")
