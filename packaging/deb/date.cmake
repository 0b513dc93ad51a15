# Run by cpack: the newest release's day is the date of every file.
file(STRINGS ${CPACK_DEB_FOLDER}/../../CHANGELOG.md releases REGEX "^## \\[[0-9]")
list(GET releases 0 release)
string(REGEX REPLACE ".* - " "" day ${release})
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND date -u -d ${day} +%s OUTPUT_VARIABLE seconds
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{SOURCE_DATE_EPOCH} ${seconds})
endif()
