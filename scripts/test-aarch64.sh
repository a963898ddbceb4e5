#!/usr/bin/env bash
# Cross-builds Brisk for AArch64 (libraries, host programs, tests) and runs the
# whole test suite under qemu-aarch64, the golden transcripts of brisk-sim
# included. Installs what it needs on Debian 12 (as root, once): the cross
# compiler, qemu-user, the arm64 architecture and the arm64 -dev packages, never
# replacing or removing a native package (scripts/install-packages.sh refuses
# such a plan). Build folder: build/aarch64.
set -euo pipefail
cd "$(dirname "$0")/.."

NATIVE=(g++-aarch64-linux-gnu qemu-user)
TARGET=(android-liblog-dev android-libutils-dev libtinyxml2-dev libsafec-dev libgtest-dev libgmock-dev
    libsystemd-dev)
TARGET=("${TARGET[@]/%/:arm64}")
dir=build/aarch64
# Target libraries that apt cannot install for arm64 (see below).
libs=$PWD/build/aarch64-libs
jobs=$(nproc)
started=$SECONDS
phase() { echo "== $1 ($((SECONDS - started)) s) =="; }

phase "setup"
bash scripts/setup.sh
bash scripts/install-packages.sh "${NATIVE[@]}"
added_arch=no
if ! dpkg --print-foreign-architectures | grep -qx arm64; then
    if [ "$(id -u)" -ne 0 ]; then
        echo "test-aarch64: the arm64 architecture is not enabled; run this script as root" >&2
        exit 1
    fi
    dpkg --add-architecture arm64
    added_arch=yes
fi
if ! bash scripts/install-packages.sh "${TARGET[@]}"; then
    # Leave the machine as it was: no architecture without packages.
    if [ "${added_arch}" = yes ]; then
        dpkg --remove-architecture arm64
        apt-get update -qq
    fi
    exit 1
fi

# Debian's arm64 libbacktrace (under libutils) needs 7z.so from p7zip-full.
# Installing p7zip-full:arm64 would replace the native p7zip-full, so its 7z.so
# is unpacked into a folder of the build instead, which the cross link and the
# emulator look into first.
if [ ! -f "${libs}/usr/lib/p7zip/7z.so" ]; then
    download=$(mktemp -d)
    trap 'rm -rf "${download}"' EXIT
    # apt fetches as its own user where it may write.
    chown _apt "${download}" 2>/dev/null || true
    (cd "${download}" && apt-get download -qq p7zip-full:arm64)
    dpkg-deb -x "${download}"/p7zip-full_*_arm64.deb "${download}/root"
    mkdir -p "${libs}/usr/lib/p7zip"
    cp "${download}/root/usr/lib/p7zip/7z.so" "${libs}/usr/lib/p7zip/"
fi

phase "cross-build (${dir}, -j${jobs})"
cmake -S . -B "${dir}" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_TOOLCHAIN_FILE="${PWD}/cmake/aarch64-linux-gnu.cmake" \
    -DBRISK_TARGET_LIB_DIRS="${libs}/usr/lib/p7zip" >/dev/null
cmake --build "${dir}" -j "${jobs}"

phase "tests under qemu-aarch64"
ctest --test-dir "${dir}" --output-on-failure -j "${jobs}"
phase "all AArch64 tests passed"
