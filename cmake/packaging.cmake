# Where a distribution has things, and the packages that CPack makes of them. The component "sdk" is
# the program alone, for the bin directory of an SDK; "distribution" is everything around it.

install(FILES completions/ztmake.bash RENAME ztmake
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT distribution)
install(FILES completions/_ztmake
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT distribution)
install(FILES completions/ztmake.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT distribution)
install(FILES schema/zelta-project-2009.xsd schema/zelta-project-2009-42.xsd
    DESTINATION ${CMAKE_INSTALL_DATADIR}/xml/ztmake COMPONENT distribution)
install(FILES README.md CHANGELOG.md docs/cookbook.md docs/project-file.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT distribution)
install(FILES docs/ci/Containerfile
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/ci COMPONENT distribution)
install(PROGRAMS docs/ci/build-firmware
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/ci COMPONENT distribution)

set(CPACK_GENERATOR TGZ DEB)
set(CPACK_PACKAGE_NAME ztmake)
set(CPACK_PACKAGE_VENDOR "Zelta")
set(CPACK_PACKAGE_CONTACT "Zelta SDK Team <sdk@zelta.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "build tool for Zelta firmware projects")
set(CPACK_PACKAGE_DESCRIPTION
"ztmake turns a project file and the source trees that it names into one
firmware file for every device model. It decides by modification times what
is out of date, and calls the programs of the Zelta embedded-device SDK.
.
These programs are not part of this package. ztmake starts those that lie
beside it, so they, or links to them, have to be in /usr/bin, too.")
set(CPACK_RESOURCE_FILE_README ${PROJECT_SOURCE_DIR}/README.md)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libxml2-utils, subversion")
# What only Debian has in a place or a form of its own.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian.cmake)

include(CPack)
