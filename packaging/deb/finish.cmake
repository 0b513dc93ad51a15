# Run by cpack on the staged files, before they are packed.
set(stage ${CPACK_TEMPORARY_DIRECTORY})
set(documents ${stage}/usr/share/doc/${CPACK_PACKAGE_NAME})

# Nobody's until the maintainer script gives it to the web server's group.
file(CHMOD ${stage}/var/packages/Lumetra/target/cgi-bin/transcoder.cgi
  PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE)

execute_process(
  COMMAND ${CPACK_DEB_FOLDER}/changelog
    "${CPACK_PACKAGE_NAME}" "${CPACK_DEBIAN_PACKAGE_RELEASE}" "${CPACK_PACKAGE_CONTACT}"
  INPUT_FILE ${documents}/CHANGELOG.md OUTPUT_FILE ${documents}/changelog.Debian
  COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${documents}/CHANGELOG.md ${documents}/changelog)
file(CHMOD ${documents}/changelog.Debian
  PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

file(GLOB pages ${stage}/usr/share/man/man*/*)
execute_process(COMMAND gzip -9n ${pages} ${documents}/changelog ${documents}/changelog.Debian
  COMMAND_ERROR_IS_FATAL ANY)
