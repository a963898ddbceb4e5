#!/usr/bin/env bash
# Builds the Debian packages the Debian way (dpkg-buildpackage from a clean copy
# of the tree), runs lintian (no error allowed), installs them on this machine
# with apt, checks them as a user would (briskd started as the unit starts it
# answers briskctl; the installed programs, man pages and completion are there;
# a host builds against the -dev package), then purges them and checks that
# nothing is left. Run as root; installs its tools first. Output: build/packages.
set -euo pipefail
cd "$(dirname "$0")/.."

PACKAGES=(libbrisk1 libbrisk-dev brisk-tools)
out=$PWD/build/packages
started=$SECONDS
phase() { echo "== $1 ($((SECONDS - started)) s) =="; }
fail() {
    echo "test-packages: $*" >&2
    exit 1
}

installed_ours() {
    local pkg
    for pkg in "${PACKAGES[@]}"; do
        if dpkg-query -W -f='${Status}' "${pkg}" 2>/dev/null | grep -q "installed"; then
            echo "${pkg}"
        fi
    done
}

purge() {
    local left
    left=$(installed_ours)
    if [ -n "${left}" ]; then
        # shellcheck disable=SC2086 # one word per package
        DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq ${left} >/dev/null
    fi
}

phase "setup"
bash scripts/setup.sh
bash scripts/install-packages.sh debhelper dpkg-dev lintian
[ "$(id -u)" -eq 0 ] || fail "run this script as root: it installs and removes packages"
# Packages left by an interrupted run are removed first.
purge

phase "dpkg-buildpackage (a copy of the tree in ${out})"
rm -rf "${out}"
mkdir -p "${out}/brisk"
git ls-files -co --exclude-standard | tar -cf - -T - | tar -xf - -C "${out}/brisk"
(cd "${out}/brisk" &&
    DEB_BUILD_OPTIONS="parallel=$(nproc) noautodbgsym" dpkg-buildpackage -us -uc -b \
        >"${out}/build.log" 2>&1) || {
    tail -40 "${out}/build.log"
    fail "dpkg-buildpackage failed (log: ${out}/build.log)"
}

phase "lintian"
changes=$(echo "${out}"/brisk_*.changes)
status=0
lintian --fail-on error "${changes}" >"${out}/lintian.log" 2>&1 || status=$?
grep -v "running with root privileges" "${out}/lintian.log" || true
[ "${status}" -eq 0 ] || fail "lintian reports errors"

phase "install"
trap purge EXIT
debs=()
for pkg in "${PACKAGES[@]}"; do
    debs+=("${out}/${pkg}_"*.deb)
done
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${debs[@]}" \
    >/dev/null
mapfile -t files < <(dpkg -L "${PACKAGES[@]}" | sort -u)

phase "briskd as its unit starts it"
unit=/lib/systemd/system/briskd.service
getent passwd brisk >/dev/null || fail "the package did not create the user brisk"
exec_start=$(sed -n 's/^ExecStart=//p' "${unit}")
[[ ${exec_start} == "/usr/sbin/briskd "* ]] || fail "the unit starts '${exec_start}'"
user=$(sed -n 's/^User=//p' "${unit}" "${unit}.d/"*.conf | tail -1)
[ "${user}" = brisk ] || fail "the unit runs briskd as '${user}', not brisk"
if command -v systemd-analyze >/dev/null; then
    systemd-analyze verify "${unit}" || fail "systemd-analyze verify ${unit} failed"
    systemd-analyze security --offline=yes "${unit}" | tail -1
fi
# The unit's command line with the administrator's options, on a socket of our
# own (a running systemd may have started the packaged daemon on the default).
BRISKD_OPTS=""
# shellcheck disable=SC1091
. /etc/default/briskd
run=$(mktemp -d /tmp/brisk-packages-XXXXXX)
trap 'purge; rm -rf "${run}"' EXIT
chown "${user}:" "${run}"
chmod 755 "${run}"
socket=${run}/briskd.sock
exec_start=${exec_start//\$BRISKD_OPTS/${BRISKD_OPTS}}
# shellcheck disable=SC2086 # the unit's words
set -- ${exec_start//\/run\/brisk\/briskd.sock/${socket}}
setpriv --reuid="${user}" --regid="${user}" --init-groups "$@" 2>"${run}/briskd.log" &
daemon=$!
for _ in $(seq 100); do
    [ -S "${socket}" ] && break
    sleep 0.1
done
answer=$(setpriv --reuid=nobody --regid=nogroup --clear-groups \
    briskctl --socket "${socket}" version) || {
    cat "${run}/briskd.log" >&2
    fail "briskctl version got no answer from the installed briskd"
}
[[ ${answer} == "version "* ]] || fail "briskctl version printed '${answer}'"
kill -TERM "${daemon}"
wait "${daemon}" || fail "briskd did not stop cleanly: $(cat "${run}/briskd.log")"
echo "briskctl ${answer#version } <- briskd (${user}) on ${socket}"

phase "the other installed files"
brisk-sim --check >/dev/null || fail "brisk-sim --check of the shipped configuration failed"
brisk-sim /usr/share/brisk/examples/tour.scenario >/dev/null || fail "brisk-sim tour failed"
for page in man1/briskctl.1 man1/brisk-sim.1 man8/briskd.8; do
    [ -f "/usr/share/man/${page}.gz" ] || fail "no man page ${page}"
done
for program in briskctl brisk-sim; do
    [ -f "/usr/share/bash-completion/completions/${program}" ] || fail "no completion for ${program}"
done
# shellcheck disable=SC2016 # expanded by the inner shell
completion=$(bash -c '. /usr/share/bash-completion/completions/briskctl
    COMP_WORDS=(briskctl get gpu_); COMP_CWORD=2; _briskctl; echo "${COMPREPLY[*]}"')
[ "${completion}" = "gpu_min gpu_max" ] || fail "briskctl get gpu_<TAB> offers '${completion}'"
# A host of the -dev package, with find_package and with pkg-config.
CXXFLAGS="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CXXFLAGS)"
LDFLAGS=$(dpkg-buildflags --get LDFLAGS)
export CXXFLAGS LDFLAGS
cmake -S tests/consumer -B "${run}/host" -DCMAKE_BUILD_TYPE=None >/dev/null
cmake --build "${run}/host" >/dev/null
"${run}/host/host" 2>/dev/null | grep -qx "event 0 set 0" || fail "the find_package host failed"
# shellcheck disable=SC2046,SC2086 # lists of words
g++ ${CXXFLAGS} tests/consumer/host.cpp -o "${run}/host-pc" $(pkg-config --cflags --libs brisk) \
    ${LDFLAGS}
"${run}/host-pc" 2>/dev/null | grep -qx "event 0 set 0" || fail "the pkg-config host failed"

phase "purge"
purge
left=()
for file in "${files[@]}"; do
    if [ -e "${file}" ] && [ ! -d "${file}" ]; then
        left+=("${file}")
    fi
done
for path in /etc/brisk /etc/default/briskd /lib/systemd/system/briskd.service.d /usr/share/brisk; do
    [ -e "${path}" ] && left+=("${path}")
done
[ ${#left[@]} -eq 0 ] || fail "purge left: ${left[*]}"
echo "purged; the system user brisk is kept, as Debian does for users a package made"
phase "packages built, checked and removed"
