#!/usr/bin/env bash
# Installs what building and testing Brisk needs on Debian 12 (run as root).
# Idempotent: packages already present are not touched and apt is not called.
set -euo pipefail

PACKAGES=(
    build-essential cmake pkg-config clang-format clang-tidy scdoc librsvg2-bin
    libtinyxml2-dev android-liblog-dev android-libutils-dev libsafec-dev
    libgtest-dev libgmock-dev libbenchmark-dev libsystemd-dev
    # The fuzz targets: clang with libFuzzer and the sanitizer runtimes, and the
    # symbolizer that puts file and line into their reports.
    clang libclang-rt-14-dev llvm
)

bash "$(dirname "$0")/install-packages.sh" "${PACKAGES[@]}"
