# SPDX-License-Identifier: BSD-3-Clause
# What `cmake --install` adds to the programs: the library, its headers, the CMake package and the pkg-config file.
# Everything installed finds the rest relative to itself, so that a prefix can be chosen late and moved.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tonalign)

install(TARGETS tonalign_library EXPORT tonalignTargets
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tonalign
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tonalign) # for a CMake that knows no file sets
install(EXPORT tonalignTargets NAMESPACE tonalign:: DESTINATION ${package_dir})

configure_package_config_file(cmake/tonalignConfig.cmake.in ${PROJECT_BINARY_DIR}/tonalignConfig.cmake
    INSTALL_DESTINATION ${package_dir}
    NO_SET_AND_CHECK_MACRO)
# As strict as the library's SOVERSION.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tonalignConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tonalignConfig.cmake ${PROJECT_BINARY_DIR}/tonalignConfigVersion.cmake
    DESTINATION ${package_dir})

file(RELATIVE_PATH PREFIX_FROM_PKGCONFIG ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
# A static library leaves its own needs to whoever links it.
if(BUILD_SHARED_LIBS)
    set(PRIVATE_LIBS ${OpenMP_CXX_FLAGS})
else()
    set(PUBLIC_LIBS ${OpenMP_CXX_FLAGS})
endif()
configure_file(cmake/tonalign.pc.in tonalign.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tonalign.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
