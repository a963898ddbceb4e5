#!/usr/bin/env bash
# Cross-builds Brisk for AArch64 (libraries, host programs, tests) and runs the
# whole test suite under qemu-aarch64, the golden transcripts of brisk-sim
# included. Installs what it needs on Debian 12 (as root, once): the cross
# compiler, qemu-user, the arm64 architecture and the arm64 -dev packages, never
# replacing or removing a native package. Build folder: build/aarch64.
set -euo pipefail
cd "$(dirname "$0")/.."

NATIVE=(g++-aarch64-linux-gnu qemu-user)
TARGET=(android-liblog-dev android-libutils-dev libtinyxml2-dev libsafec-dev libgtest-dev libgmock-dev)
TARGET=("${TARGET[@]/%/:arm64}")
dir=build/aarch64
# Target libraries that apt cannot install for arm64 (see below).
libs=$PWD/build/aarch64-libs
jobs=$(nproc)
started=$SECONDS
phase() { echo "== $1 ($((SECONDS - started)) s) =="; }

installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"
}

missing_of() {
    local pkg
    for pkg in "$@"; do
        installed "$pkg" || echo "$pkg"
    done
}

need_root() {
    if [ "$(id -u)" -ne 0 ]; then
        echo "test-aarch64: $1; run this script as root" >&2
        exit 1
    fi
}

# Installs packages after apt's dry run shows that no installed package would be
# removed or replaced (an arm64 package that is not co-installable, such as
# p7zip-full:arm64, takes the place of the native one).
safe_install() {
    local plan
    plan=$(apt-get install -s --no-install-recommends "$@")
    if grep -q '^Remv ' <<<"${plan}"; then
        echo "test-aarch64: installing $* would remove installed packages; nothing done:" >&2
        grep '^Remv ' <<<"${plan}" >&2
        exit 1
    fi
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@"
}

phase "setup"
bash scripts/setup.sh
mapfile -t missing < <(missing_of "${NATIVE[@]}")
if [ ${#missing[@]} -gt 0 ]; then
    need_root "missing packages: ${missing[*]}"
    apt-get update -qq
    safe_install "${missing[@]}"
fi
added_arch=no
if ! dpkg --print-foreign-architectures | grep -qx arm64; then
    need_root "the arm64 architecture is not enabled"
    dpkg --add-architecture arm64
    added_arch=yes
fi
mapfile -t missing < <(missing_of "${TARGET[@]}")
if [ ${#missing[@]} -gt 0 ]; then
    need_root "missing packages: ${missing[*]}"
    # A list fetched before arm64 was enabled knows no arm64 package.
    if ! apt-cache show "${missing[0]}" >/dev/null 2>&1; then
        apt-get update -qq
    fi
    if ! (safe_install "${missing[@]}"); then
        # Leave the machine as it was: no architecture without packages.
        if [ "${added_arch}" = yes ]; then
            dpkg --remove-architecture arm64 && apt-get update -qq
        fi
        exit 1
    fi
fi

# Debian's arm64 libbacktrace (under libutils) needs 7z.so from p7zip-full.
# Installing p7zip-full:arm64 would replace the native p7zip-full, so its 7z.so
# is unpacked into a folder of the build instead, which the cross link and the
# emulator look into first.
if [ ! -f "${libs}/usr/lib/p7zip/7z.so" ]; then
    download=$(mktemp -d)
    trap 'rm -rf "${download}"' EXIT
    chmod 755 "${download}"
    (cd "${download}" && apt-get download -qq p7zip-full:arm64)
    mkdir -p "${libs}"
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
