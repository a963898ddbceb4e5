#!/usr/bin/env bash
# Installs the Debian packages named on the command line that are missing (run
# as root). Idempotent: when all are installed, apt is not called. A plan in
# which apt would remove an installed package (a package of another
# architecture taking the place of a native one, for instance) is refused, and
# nothing changes.
#   bash scripts/install-packages.sh PACKAGE[:ARCH] ...
set -euo pipefail

missing=()
for pkg in "$@"; do
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$pkg")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
    echo "install-packages: missing packages: ${missing[*]}; run this script as root" >&2
    exit 1
fi

echo "install-packages: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
plan=$(apt-get install -s --no-install-recommends "${missing[@]}")
if grep -q '^Remv ' <<<"${plan}"; then
    echo "install-packages: installing ${missing[*]} would remove installed packages;" \
        "nothing done:" >&2
    grep '^Remv ' <<<"${plan}" >&2
    exit 1
fi
apt-get install -y -qq --no-install-recommends "${missing[@]}"
