# shellcheck shell=bash
# SPDX-License-Identifier: BSD-3-Clause
# What the scripts beside this file share. Source it; it runs nothing by itself.

# What building and running the tests takes. The Python packages are for Debian's own /usr/bin/python3.
# shellcheck disable=SC2034 # for those who source this
readonly test_packages=(
    g++ cmake ninja-build libgtest-dev libgmock-dev pkgconf
    nifti-bin python3-nibabel python3-numpy # volumes as other programs read and write them
    python3-matplotlib python3-pil          # for the report's page
    scdoc groff-base                        # the manual pages, and a check of them
    pybind11-dev python3-dev                # the Python package
    strace                                  # to let calls fail
)
# And what the tests labelled slow take.
# shellcheck disable=SC2034
readonly slow_test_packages=(python3-pip python3-setuptools python3-wheel python3-selenium chromium chromium-driver fonts-dejavu-core
    snakemake python3-bids-validator mricron-data)

# announce TEXT...: says which step comes next.
announce()
{
    printf '\n==> %s\n' "$*"
}

# install_packages PACKAGE...: installs those of the Debian packages that are not there yet.
install_packages()
{
    local package status
    local missing=() as_root=()

    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        echo "This script installs what it needs with apt-get, which this system does not have." >&2
        return 1
    fi
    for package in "$@"; do
        status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null) || status=absent
        if [[ $status != installed ]]; then
            missing+=("$package")
        fi
    done
    if ((${#missing[@]} == 0)); then
        announce "Every Debian package needed is installed already: $*"
        return 0
    fi

    announce "Installing with apt-get: ${missing[*]}"
    if ((EUID != 0)); then
        if ! command -v sudo >/dev/null; then
            echo "Installing packages takes root or sudo, and neither is here." >&2
            echo "Have these installed, then start again: ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    # A new machine has no package lists and an older one has stale ones, so they are always fetched first.
    "${as_root[@]}" apt-get update -q -o DPkg::Lock::Timeout=300
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -q --yes -o DPkg::Lock::Timeout=300 --no-install-recommends "${missing[@]}"
}

# build PRESET [OPTION...]: configures a preset with CMake's options and builds it, in build-PRESET.
build()
{
    announce "Building the $1 preset in build-$1"
    cmake --preset "$@"
    cmake --build --preset "$1" --parallel "$(nproc)"
}
