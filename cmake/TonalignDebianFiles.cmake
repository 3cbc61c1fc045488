# SPDX-License-Identifier: BSD-3-Clause
# Run by CPack when everything is in the folder that becomes a package: what Debian's policy wants in its own form.
if(NOT CPACK_GENERATOR STREQUAL DEB)
    return()
endif()
set(prefix ${CPACK_TEMPORARY_INSTALL_DIRECTORY}${CPACK_PACKAGING_INSTALL_PREFIX})
set(doc ${prefix}/share/doc/${CPACK_PACKAGE_NAME})

# The licence is part of `copyright`, in which an indented line with a full stop is an empty one.
file(READ ${CPACK_RESOURCE_FILE_LICENSE} licence)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]+)" holders "${licence}")
set(holders ${CMAKE_MATCH_1})
string(REGEX REPLACE "^.*Copyright \\(c\\) [^\n]+\n+" "" licence "${licence}")
string(STRIP "${licence}" licence)
string(REPLACE "\n\n" "\n.\n" licence "${licence}")
string(REPLACE "\n" "\n " licence "${licence}")
file(WRITE ${doc}/copyright
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: ${CPACK_PACKAGE_NAME}

Files: *
Copyright: ${holders}
License: BSD-3-Clause
 ${licence}
")
file(REMOVE ${doc}/LICENSE)

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
file(COPY_FILE ${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md ${doc}/changelog)
file(REMOVE ${doc}/CHANGELOG.md)
file(WRITE ${doc}/changelog.Debian
"${CPACK_PACKAGE_NAME} (${version}) unstable; urgency=medium

  * Packaged by the project itself; changelog.gz tells what changed.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")

file(GLOB pages ${prefix}/share/man/man1/*.1)
execute_process(COMMAND gzip -9n ${doc}/changelog ${doc}/changelog.Debian ${pages} COMMAND_ERROR_IS_FATAL ANY)

configure_file(${CMAKE_CURRENT_LIST_DIR}/../packaging/debian/lintian-overrides
    ${prefix}/share/lintian/overrides/${CPACK_PACKAGE_NAME} @ONLY)

# CPack strips programs, but neither libraries nor the compiler's mark.
file(GLOB_RECURSE objects ${prefix}/lib/*.a ${prefix}/lib/*.so ${prefix}/bin/*)
foreach(object IN LISTS objects)
    file(READ ${object} magic LIMIT 4 HEX)
    if(magic STREQUAL 7f454c46 OR magic STREQUAL 213c6172) # ELF or archive: no script
        execute_process(COMMAND_ERROR_IS_FATAL ANY
            COMMAND strip --strip-debug --remove-section=.comment --enable-deterministic-archives ${object})
    endif()
endforeach()

file(GLOB_RECURSE files LIST_DIRECTORIES false ${prefix}/share/*)
list(FILTER files EXCLUDE REGEX /completions/) # there are links among them
file(CHMOD ${files} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
file(GLOB programs ${prefix}/share/tonalign/report/check_run)
file(CHMOD ${programs} PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
