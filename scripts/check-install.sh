#!/usr/bin/env bash
# Checks an install as a platform engineer uses one: installs BUILD_DIR (default
# build/plain) into a temporary prefix given only at install time, then builds
# and runs a small host twice, with find_package (the README's lines, both
# orders of the two targets) and with pkg-config, under Debian's default
# compiler and linker flags and without LD_LIBRARY_PATH. Also checks that the
# installed files point into the prefix and not at the source or build tree,
# and, where systemd is installed, that the installed unit passes
# 'systemd-analyze verify' and rates 3.0 or better in 'systemd-analyze security'.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build/plain}
prefix=$(mktemp -d /tmp/brisk-prefix-XXXXXX)
work=$(mktemp -d /tmp/brisk-host-XXXXXX)
trap 'rm -rf "${prefix}" "${work}"' EXIT
fail() {
    echo "check-install: $*" >&2
    exit 1
}

cmake --install "${build}" --prefix "${prefix}" >/dev/null
pcfile=$(find "${prefix}" -name brisk.pc)
[ -n "${pcfile}" ] || fail "no brisk.pc installed"

# Debian's defaults: dpkg-buildflags, and GCC's own --as-needed.
CXXFLAGS="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CXXFLAGS)"
LDFLAGS=$(dpkg-buildflags --get LDFLAGS)
export CXXFLAGS LDFLAGS
unset LD_LIBRARY_PATH

# The configuration found must be the install's own, unless an administrator's
# /etc/brisk/ one takes precedence on this machine.
expected_config="${prefix}/share/brisk/xml/brisk_config_cust.xml"
if [ -r /etc/brisk/xml/brisk_config_cust.xml ]; then
    expected_config=/etc/brisk/xml/brisk_config_cust.xml
fi
run_host() {
    local out
    out=$("$1" 2>"${work}/log") || fail "$1 failed: ${out}$(cat "${work}/log")"
    grep -qx "config ${expected_config}" <<<"${out}" || fail "$1 read another configuration: ${out}"
    grep -qx "event 0 set 0" <<<"${out}" || fail "$1: ${out}"
}

cmake -S tests/consumer -B "${work}/cmake" -DCMAKE_BUILD_TYPE=None \
    -DCMAKE_PREFIX_PATH="${prefix}" >/dev/null
cmake --build "${work}/cmake" -j "$(nproc)" >/dev/null
run_host "${work}/cmake/host"
run_host "${work}/cmake/host-reversed"

# shellcheck disable=SC2086 # the flags are lists of words
g++ ${CXXFLAGS} -std=c++17 tests/consumer/host.cpp -o "${work}/host-pc" \
    $(PKG_CONFIG_PATH="$(dirname "${pcfile}")" pkg-config --cflags --libs brisk) ${LDFLAGS}
run_host "${work}/host-pc"

# Nothing installed names the source tree, the build tree or the configured prefix.
unit=$(find "${prefix}" -name briskd.service)
grep -qx "ExecStart=${prefix}/sbin/briskd .*" "${unit}" || fail "the unit does not start ${prefix}/sbin/briskd"
if grep -rlI -e "${PWD}" -e /usr/local "${prefix}"; then
    fail "installed files above name the source tree or /usr/local"
fi
"${prefix}/bin/brisk-sim" --help | grep -qx "  ${expected_config}" ||
    fail "the installed brisk-sim does not default to ${expected_config}"

# The installed unit, as systemd would read it (its man pages found in the prefix).
max_exposure=3.0
if command -v systemd-analyze >/dev/null; then
    MANPATH="${prefix}/share/man:" systemd-analyze verify "${unit}" >"${work}/verify" 2>&1 ||
        fail "systemd-analyze verify ${unit}: $(cat "${work}/verify")"
    exposure=$(systemd-analyze security --offline=yes "${unit}" 2>/dev/null |
        sed -n 's/^.*Overall exposure level for [^:]*: \([0-9.]*\).*$/\1/p')
    [ -n "${exposure}" ] || fail "systemd-analyze security gave no rating for ${unit}"
    awk -v e="${exposure}" -v m="${max_exposure}" 'BEGIN { exit !(e <= m) }' ||
        fail "the unit rates ${exposure} in systemd-analyze security (at most ${max_exposure} wanted)"
    echo "check-install: the unit passes systemd-analyze verify; security exposure ${exposure}"
fi
echo "check-install: hosts built with find_package and pkg-config run from ${prefix}"
