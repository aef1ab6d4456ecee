# Runs in CPack between installing and packing: adds what Debian wants of a package, and settles the files' times.
set(tree "${CPACK_TEMPORARY_INSTALL_DIRECTORY}")

# The same sources make the same package: its files are as old as the last change to the sources, where the caller says
# when that was.
string(TIMESTAMP seconds "%s" UTC)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  set(seconds "$ENV{SOURCE_DATE_EPOCH}")
endif()

if(CPACK_GENERATOR STREQUAL "DEB")
  set(texts "${tree}/usr/share/doc/${CPACK_PACKAGE_NAME}")
  file(RENAME "${texts}/LICENSE" "${texts}/copyright")
  execute_process(COMMAND date --utc --rfc-email "--date=@${seconds}" OUTPUT_VARIABLE date
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  file(WRITE "${texts}/changelog"
"${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}; the project's log says what is in it.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  execute_process(COMMAND gzip -9nf "${texts}/changelog" COMMAND_ERROR_IS_FATAL ANY)
endif()

file(GLOB_RECURSE paths LIST_DIRECTORIES true "${tree}/*")
execute_process(COMMAND touch --date=@${seconds} ${paths} COMMAND_ERROR_IS_FATAL ANY)
