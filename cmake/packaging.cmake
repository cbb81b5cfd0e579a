# Where a distribution has things, and the packages that CPack makes of them. The component "sdk" is
# the programs alone, for the bin directory of an SDK; "distribution" is everything around them;
# "samples" is the sample SDK and the sample projects, in a package of their own.

foreach(program ztmake ztproject)
    install(FILES completions/${program}.bash RENAME ${program}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT distribution)
    install(FILES completions/_${program}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT distribution)
    install(FILES completions/${program}.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT distribution)
endforeach()
install(FILES schema/zelta-project-2009.xsd schema/zelta-project-2009-42.xsd schema/catalog.xml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/xml/ztmake COMPONENT distribution)
# The README of the repository names what only a repository has.
install(FILES docs/installed.md RENAME README.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT distribution)
install(FILES CHANGELOG.md SECURITY.md docs/cookbook.md docs/project-file.md docs/editors.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT distribution)
install(FILES docs/ci/Containerfile docs/ci/gitlab-ci.yml docs/ci/github-workflow.yml
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/ci COMPONENT distribution)
install(PROGRAMS docs/ci/build-firmware
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/ci COMPONENT distribution)

# The sample SDK as it lies in the build directory, with its programs stripped as CPack does it.
if(TARGET sample_sdk)
    install(TARGETS ztlpp ztluac ztlupdate ztmake ztproject
        RUNTIME DESTINATION lib/ztmake/ZeltaSDK/sdk-1.0/bin COMPONENT samples EXCLUDE_FROM_ALL)
    install(DIRECTORY ${CMAKE_BINARY_DIR}/ZeltaSDK DESTINATION lib/ztmake
        USE_SOURCE_PERMISSIONS COMPONENT samples EXCLUDE_FROM_ALL
        REGEX "bin/(ztlpp|ztluac|ztlupdate|ztmake|ztproject|__pycache__)$" EXCLUDE)
    install(DIRECTORY examples/thermostat examples/hello-2009
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ztmake-samples/examples
        COMPONENT samples EXCLUDE_FROM_ALL
        REGEX "/(obj|firmware|mtd16[.][a-z]+)$" EXCLUDE)
    install(FILES examples/sdk/README.md
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ztmake-samples COMPONENT samples EXCLUDE_FROM_ALL)
endif()

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
beside it: an SDK has a ztmake of its own, or gets a copy of this one.
.
ztproject starts, checks and explains projects.")
set(CPACK_RESOURCE_FILE_README ${PROJECT_SOURCE_DIR}/README.md)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# The archive has everything below one directory; each Debian package has its own components.
set(CPACK_COMPONENTS_ALL sdk distribution)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENT_SDK_GROUP program)
set(CPACK_COMPONENT_DISTRIBUTION_GROUP program)
set(CPACK_COMPONENT_SAMPLES_GROUP samples)
if(TARGET sample_sdk)
    list(APPEND CPACK_COMPONENTS_ALL samples)
endif()

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME ztmake)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS xml-core)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS "libxml2-utils, subversion, ztmake-samples")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/cmake/debian/postinst ${PROJECT_SOURCE_DIR}/cmake/debian/prerm)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_SAMPLES_PACKAGE_NAME ztmake-samples)
set(CPACK_DEBIAN_SAMPLES_PACKAGE_DEPENDS
    "ztmake (= ${PROJECT_VERSION}-1), python3, lua5.1, qt6-l10n-tools")
set(CPACK_DEBIAN_SAMPLES_DESCRIPTION
"This package has the samples: a stand-in for a device SDK, with which ztmake
can be tried on any machine, with tools that do real work and kernels of
invented devices; and two projects.
.
Its directory is /usr/lib/ztmake/ZeltaSDK.")
# What only Debian has in a place or a form of its own.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian.cmake)

include(CPack)
