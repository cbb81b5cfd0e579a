# CPack runs this before it packs: the files as Debian's policy has them.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
    return()
endif()

set(share ${CPACK_TEMPORARY_DIRECTORY}${CPACK_PACKAGING_INSTALL_PREFIX}/share)
if(NOT EXISTS ${share}/man/man1/ztmake.1)
    message(FATAL_ERROR "A package has a man page. Install pandoc, and configure again.")
endif()

function(compress file)
    execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

compress(${share}/man/man1/ztmake.1)
file(MAKE_DIRECTORY ${share}/zsh/vendor-completions)
file(RENAME ${share}/zsh/site-functions/_ztmake ${share}/zsh/vendor-completions/_ztmake)
file(REMOVE_RECURSE ${share}/zsh/site-functions)

set(doc ${share}/doc/ztmake)
file(RENAME ${doc}/CHANGELOG.md ${doc}/changelog)
compress(${doc}/changelog)
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/copyright ${doc}/copyright COPYONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ${doc}/changelog.Debian @ONLY)
compress(${doc}/changelog.Debian)
file(CHMOD ${doc}/copyright ${doc}/changelog.Debian.gz
    PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
