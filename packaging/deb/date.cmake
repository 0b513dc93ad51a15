# Run by cpack: the day of the release is the date of every file.
string(REPLACE . "\\." version ${CPACK_PACKAGE_VERSION})
file(STRINGS ${CPACK_DEB_FOLDER}/../../CHANGELOG.md release REGEX "^## \\[${version}\\] - ")
if(NOT release)
  message(FATAL_ERROR "CHANGELOG.md does not tell of the release ${CPACK_PACKAGE_VERSION}")
endif()
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  string(REGEX REPLACE ".* - " "" day ${release})
  execute_process(COMMAND date -u -d ${day} +%s OUTPUT_VARIABLE seconds
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{SOURCE_DATE_EPOCH} ${seconds})
endif()
