# Runs in CPack between installing and packing: adds what Debian wants of a package, and settles the files' modes and
# times.
set(tree "${CPACK_TEMPORARY_INSTALL_DIRECTORY}")

# The same sources make the same package: now is the second that SOURCE_DATE_EPOCH names, where the caller has set it.
string(TIMESTAMP seconds "%s" UTC)

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

# Whatever the umask of whoever makes the package.
execute_process(COMMAND chmod -R u=rwX,go=rX "${tree}" COMMAND_ERROR_IS_FATAL ANY)
file(GLOB_RECURSE paths LIST_DIRECTORIES true "${tree}/*")
execute_process(COMMAND touch --date=@${seconds} ${paths} COMMAND_ERROR_IS_FATAL ANY)
