#!/usr/bin/env bash
# Installs what building and testing Brisk needs on Debian 12 (run as root).
# Idempotent: packages already present are not touched and apt is not called.
set -euo pipefail

PACKAGES=(
    build-essential cmake pkg-config clang-format clang-tidy
    libtinyxml2-dev android-liblog-dev android-libutils-dev libsafec-dev
    libgtest-dev libgmock-dev libbenchmark-dev
)

missing=()
for pkg in "${PACKAGES[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$pkg")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
    echo "setup: missing packages: ${missing[*]}; run this script as root" >&2
    exit 1
fi

echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
