# Generates and installs the completion scripts for bash, zsh and fish. The command prints them, so cross builds have
# none.
if(CMAKE_CROSSCOMPILING)
  return()
endif()

set(completion_folder "${PROJECT_BINARY_DIR}/completion")
# The paths at which each shell finds the scripts of installed packages.
set(bash_script bash-completion/completions/qbflv)
set(zsh_script zsh/vendor-completions/_qbflv)
set(fish_script fish/vendor_completions.d/qbflv.fish)
set(completion_scripts)
foreach(shell bash zsh fish)
  set(script "${completion_folder}/${${shell}_script}")
  get_filename_component(script_folder "${script}" DIRECTORY)
  file(MAKE_DIRECTORY "${script_folder}")
  add_custom_command(OUTPUT "${script}"
    COMMAND qbflv completion ${shell} > "${script}"
    DEPENDS qbflv
    COMMENT "Generating the completion script for ${shell}"
    VERBATIM)
  list(APPEND completion_scripts "${script}")
endforeach()
add_custom_target(qbflv_completion ALL DEPENDS ${completion_scripts})
# Uses a pattern instead of the file names, so that a build without this target can be installed, too.
install(DIRECTORY "${completion_folder}/" DESTINATION "${CMAKE_INSTALL_DATADIR}" FILES_MATCHING PATTERN "*qbflv*")
