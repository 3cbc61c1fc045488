# SPDX-License-Identifier: BSD-3-Clause
# Manual pages, one from each docs/man/<command>.1.scd. Only packagers need scdoc: without it all else is built.
find_program(SCDOC_PROGRAM scdoc)
if(NOT SCDOC_PROGRAM)
    message(STATUS "No manual pages will be made: scdoc was not found")
    return()
endif()

file(GLOB man_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.1.scd)
set(man_pages "")
foreach(source IN LISTS man_sources)
    cmake_path(GET source STEM LAST_ONLY page)
    configure_file(${source} docs/man/${page}.scd @ONLY)
    set(result ${PROJECT_BINARY_DIR}/docs/man/${page})
    add_custom_command(OUTPUT ${result}
        COMMAND ${SCDOC_PROGRAM} < ${result}.scd > ${result}
        DEPENDS ${result}.scd
        COMMENT "Making the manual page ${page}"
        VERBATIM)
    list(APPEND man_pages ${result})
endforeach()
add_custom_target(tonalign_man_pages ALL DEPENDS ${man_pages})
# The Python package brings its commands' pages along.
list(FILTER man_pages EXCLUDE REGEX "tonalign-(nifti|study)")
install(FILES ${man_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
if(TONALIGN_BUILD_PYTHON)
    install(FILES ${PROJECT_BINARY_DIR}/docs/man/tonalign-nifti.1 ${PROJECT_BINARY_DIR}/docs/man/tonalign-study.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT python)
endif()
