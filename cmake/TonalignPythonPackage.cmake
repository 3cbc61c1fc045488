# SPDX-License-Identifier: BSD-3-Clause
# Read by CPack: `cpack -G DEB -D TONALIGN_PYTHON=ON` makes python3-tonalign in place of tonalign.
if(NOT TONALIGN_PYTHON)
    return()
endif()
list(GET CPACK_INSTALL_CMAKE_PROJECTS 0 build)
set(CPACK_INSTALL_CMAKE_PROJECTS "${build};${CPACK_PACKAGE_NAME};python;/")
set(CPACK_PACKAGE_NAME python3-tonalign)
set(CPACK_DEBIAN_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "")
set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3 (>= 3.11), python3 (<< 3.12), python3-numpy")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "python3-nibabel")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3-matplotlib, python3-nipype, snakemake, tonalign")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CPACK_PACKAGE_DESCRIPTION_SUMMARY} (Python)")
set(CPACK_PACKAGE_DESCRIPTION
"tonalign gives the foreground of a three-dimensional scan the grey-value
histogram of a target exactly, and is the same to the last bit on any number of
threads. This package has its functions for NumPy arrays and nibabel images,
with brain masks, the command tonalign-nifti, and tonalign-study, which takes
whole datasets through Snakemake.")
