#!/usr/bin/env bash
# Installs what building and testing Brisk needs on Debian 12 (run as root).
# Idempotent: packages already present are not touched and apt is not called.
set -euo pipefail

PACKAGES=(
    build-essential cmake pkg-config clang-format clang-tidy scdoc
    libtinyxml2-dev android-liblog-dev android-libutils-dev libsafec-dev
    libgtest-dev libgmock-dev libbenchmark-dev
)

bash "$(dirname "$0")/install-packages.sh" "${PACKAGES[@]}"
