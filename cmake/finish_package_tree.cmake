# CPack runs this between installing and packaging. Adds the files that Debian requires and sets file modes and times.
set(tree "${CPACK_TEMPORARY_INSTALL_DIRECTORY}")

# Uses SOURCE_DATE_EPOCH if it is set, so that packages are reproducible.
string(TIMESTAMP seconds "%s" UTC)

if(CPACK_GENERATOR STREQUAL "DEB")
  set(texts "${tree}/usr/share/doc/${CPACK_PACKAGE_NAME}")
  file(RENAME "${texts}/LICENSE" "${texts}/copyright")
  execute_process(COMMAND date --utc --rfc-email "--date=@${seconds}" OUTPUT_VARIABLE date
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  file(WRITE "${texts}/changelog"
"${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}. See the project's log for its changes.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  # The library has no version in its name: servers load it by its path, and no program links to it.
  string(REPLACE "-" "_" library "lib${CPACK_PACKAGE_NAME}")
  string(REPLACE "_" "-" library_package "${library}")
  set(overrides "${tree}/usr/share/lintian/overrides/${CPACK_PACKAGE_NAME}")
  file(WRITE "${overrides}"
"# A plug-in: servers load it by its path, and no program links to it.
${CPACK_PACKAGE_NAME}: package-name-doesnt-match-sonames ${library_package}
${CPACK_PACKAGE_NAME}: shared-library-lacks-version usr/lib/${library}.so ${library}.so
")
  if(EXISTS "${tree}/usr/lib/pkgconfig")
    file(APPEND "${overrides}"
"# It describes the plug-in in /usr/lib, for programs of this machine.
${CPACK_PACKAGE_NAME}: pkg-config-unavailable-for-cross-compilation
")
  endif()
  execute_process(COMMAND gzip -9nf "${texts}/changelog" COMMAND_ERROR_IS_FATAL ANY)
endif()

# Makes the file modes independent of the umask.
execute_process(COMMAND chmod -R u=rwX,go=rX "${tree}" COMMAND_ERROR_IS_FATAL ANY)
file(GLOB_RECURSE paths LIST_DIRECTORIES true "${tree}/*")
execute_process(COMMAND touch --date=@${seconds} ${paths} COMMAND_ERROR_IS_FATAL ANY)
