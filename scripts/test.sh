#!/usr/bin/env bash
# Builds Brisk and runs every test: a plain build, the whole suite again under
# AddressSanitizer with UndefinedBehaviorSanitizer, and the threaded parts under
# ThreadSanitizer; the plain build is also installed into a temporary prefix and
# used by small hosts (scripts/check-install.sh). Installs missing packages
# first. Build folders: build/<kind>.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

jobs=$(nproc)
run_suite() {
    local kind=$1
    shift
    echo "== ${kind} build =="
    cmake -S . -B "build/${kind}" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
    cmake --build "build/${kind}" -j "${jobs}"
    echo "== ${kind} tests =="
    ctest --test-dir "build/${kind}" --output-on-failure -j "${jobs}"
}

run_suite plain
echo "== install check =="
bash scripts/check-install.sh build/plain
run_suite asan -DBRISK_SANITIZE=address
run_suite tsan -DBRISK_SANITIZE=thread -DBRISK_BUILD_TOOLS=OFF -DBRISK_THREADED_TESTS_ONLY=ON
echo "== all test runs passed =="
