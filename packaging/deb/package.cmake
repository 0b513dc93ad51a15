# `cpack --preset deb` packs what is installed, and what only the package has, as
# lumetra-transcoder_VERSION_ARCHITECTURE.deb; two builds of the same sources give the same bytes.

set(CPACK_GENERATOR DEB)
set(CPACK_SET_DESTDIR ON)  # the paths are absolute
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_CMAKE_PROJECTS
  "${CMAKE_BINARY_DIR};${PROJECT_NAME};ALL;/;${CMAKE_BINARY_DIR};${PROJECT_NAME};deb;/")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/date.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/finish.cmake)
set(CPACK_DEB_FOLDER ${CMAKE_CURRENT_LIST_DIR})  # for these two

set(CPACK_PACKAGE_NAME ${PACKAGE})
set(CPACK_PACKAGE_CONTACT "Lumetra transcoder maintainers <maintainers@lumetra-transcoder.example>"
  CACHE STRING "Who answers for the package: name and address")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "streaming program of a home media server")
set(CPACK_PACKAGE_DESCRIPTION
"A web server starts the program once per request. It plays the items of a
media database: audio files and internet radio stations as MP3, WAV or PCM
with DLNA headers, Matroska videos as an MPEG transport stream.
.
A timer keeps the database in step with the folders that
/etc/default/lumetra-index names.")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)  # adds to the following
set(CPACK_DEBIAN_PACKAGE_DEPENDS "adduser, ffmpeg (>= 7:5.0)")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "lighttpd | nginx | apache2 | httpd-cgi, ca-certificates")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "fcgiwrap, postgresql")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_LIST_DIR}/conffiles
  ${CMAKE_CURRENT_LIST_DIR}/postinst
  ${CMAKE_CURRENT_LIST_DIR}/prerm
  ${CMAKE_CURRENT_LIST_DIR}/postrm)
include(CPack)
