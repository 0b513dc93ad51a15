# Run by cpack on the staged files, before they are packed.
set(stage ${CPACK_TEMPORARY_DIRECTORY})
set(documents ${stage}/usr/share/doc/${CPACK_PACKAGE_NAME})

# Nobody's until the maintainer script gives it to the web server's group.
file(CHMOD ${stage}/var/packages/Lumetra/target/cgi-bin/transcoder.cgi
  PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE)

# deb-changelog(5), of the packaging; beside it stands the one of the system.
execute_process(COMMAND date -u -R -d @$ENV{SOURCE_DATE_EPOCH} OUTPUT_VARIABLE date
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
file(WRITE ${documents}/changelog.Debian
  "${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable;"
  " urgency=medium\n\n  * New release: see changelog.gz.\n\n"
  " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
file(CHMOD ${documents}/changelog.Debian
  PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
file(RENAME ${documents}/CHANGELOG.md ${documents}/changelog)

file(GLOB pages ${stage}/usr/share/man/man*/*)
execute_process(COMMAND gzip -9n ${pages} ${documents}/changelog ${documents}/changelog.Debian
  COMMAND_ERROR_IS_FATAL ANY)
