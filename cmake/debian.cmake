# CPack runs this before it packs: the files as Debian's policy has them.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
    return()
endif()

function(compress file)
    execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# debian_documents(TOP PACKAGE) adds what each package has in its directory of documents.
function(debian_documents top package)
    set(doc ${top}/share/doc/${package})
    set(CPACK_PACKAGE_NAME ${package})
    configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/copyright ${doc}/copyright COPYONLY)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ${doc}/changelog.Debian @ONLY)
    compress(${doc}/changelog.Debian)
    file(CHMOD ${doc}/copyright ${doc}/changelog.Debian.gz
        PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endfunction()

# The time of the last commit, when scripts/package has said it.
string(TIMESTAMP debian_date "%a, %d %b %Y %H:%M:%S +0000" UTC)

set(top ${CPACK_TEMPORARY_DIRECTORY}/program${CPACK_PACKAGING_INSTALL_PREFIX})
if(NOT EXISTS ${top}/share/man/man1/ztmake.1)
    message(FATAL_ERROR "A package has a man page. Install pandoc, and configure again.")
endif()
file(MAKE_DIRECTORY ${top}/share/zsh/vendor-completions)
foreach(program ztmake ztproject)
    compress(${top}/share/man/man1/${program}.1)
    file(RENAME ${top}/share/zsh/site-functions/_${program}
        ${top}/share/zsh/vendor-completions/_${program})
endforeach()
file(REMOVE_RECURSE ${top}/share/zsh/site-functions)
file(RENAME ${top}/share/doc/ztmake/CHANGELOG.md ${top}/share/doc/ztmake/changelog)
compress(${top}/share/doc/ztmake/changelog)
debian_documents(${top} ztmake)

set(top ${CPACK_TEMPORARY_DIRECTORY}/samples${CPACK_PACKAGING_INSTALL_PREFIX})
if(EXISTS ${top})
    debian_documents(${top} ztmake-samples)
endif()
