# SPDX-License-Identifier: BSD-3-Clause
# What is installed beside programs and library (manual pages, completion, documents), and how CPack makes a tarball
# and a Debian package of it all. scripts/package runs it.
include(cmake/TonalignManPages.cmake)

set(completion_dir ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES completion/tonalign.bash DESTINATION ${completion_dir} RENAME tonalign)
# bash-completion looks for a file of the command's name.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/completion)
foreach(command IN ITEMS tonalign-header tonalign-average tonalign-from-nifti tonalign-report tonalign-to-nifti)
    file(CREATE_LINK tonalign ${PROJECT_BINARY_DIR}/completion/${command} SYMBOLIC)
    install(FILES ${PROJECT_BINARY_DIR}/completion/${command} DESTINATION ${completion_dir})
endforeach()

if(TONALIGN_BUILD_PYTHON)
    foreach(command IN ITEMS tonalign-nifti tonalign-study)
        file(CREATE_LINK tonalign ${PROJECT_BINARY_DIR}/completion/${command} SYMBOLIC)
        install(FILES ${PROJECT_BINARY_DIR}/completion/${command} DESTINATION ${completion_dir} COMPONENT python)
    endforeach()
endif()

# The documents keep the places that they have here, so that their links go on working.
install(FILES README.md CHANGELOG.md CITATION.cff LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR}
    FILES_MATCHING PATTERN *.md PATTERN *.png PATTERN *.svg PATTERN man EXCLUDE)

set(CPACK_GENERATOR TGZ DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VENDOR "tonalign maintainers")
# There is no address to write to; a domain that can belong to nobody says so.
set(CPACK_PACKAGE_CONTACT "tonalign maintainers <maintainers@tonalign.example>" CACHE STRING
    "Maintainer field of packages: name and e-mail address")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
"tonalign gives one three-dimensional medical image volume the grey-value
histogram of another, or a histogram from a text file. It ranks every voxel
of the foreground strictly, so that the result carries the target histogram
exactly, and is the same to the last bit on any number of threads. Volumes are
Analyze 7.5 pairs.
.
Further commands make a target from a group of volumes, show on one page how
runs went, and print and compare headers. The C++20 library that they are made
of comes along, with headers, a CMake package and a pkg-config file.")
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# The Python package goes into a Debian package of its own, for the interpreter that it was built with.
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};${PROJECT_NAME};Unspecified;/")
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/TonalignPythonPackage.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/TonalignDebianFiles.cmake)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/debian/postinst ${PROJECT_SOURCE_DIR}/packaging/debian/prerm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The report and the converters are Python, and their libraries are large: a computing node can do without them.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3:any")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "python3-matplotlib, python3-nibabel, python3-numpy, python3-pil")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3-tonalign, cmake, g++, pkgconf")
include(CPack)
