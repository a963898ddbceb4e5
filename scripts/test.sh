#!/usr/bin/env bash
# Builds Brisk and runs every gate and test: the format check over every C++
# source, a plain build with warnings as errors, clang-tidy over the library and
# the tools, the suite, and an install of it used by small hosts
# (scripts/check-install.sh); the whole suite again under AddressSanitizer with
# UndefinedBehaviorSanitizer; the threaded parts under ThreadSanitizer; every
# libFuzzer target for 15 seconds (scripts/fuzz.sh, clang). Installs missing
# packages first. Build folders: build/<kind>.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

# Parallel jobs: the machine's cores, at most 8 (more only adds memory pressure
# on shared machines without speeding up a tree of this size).
jobs=$(nproc)
if [ "${jobs}" -gt 8 ]; then
    jobs=8
fi

echo "== format =="
git ls-files -z -- '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror
echo "format: clean"

build() {
    local kind=$1
    shift
    echo "== ${kind} build =="
    cmake -S . -B "build/${kind}" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
    cmake --build "build/${kind}" -j "${jobs}"
}

run_tests() {
    local kind=$1
    echo "== ${kind} tests =="
    ctest --test-dir "build/${kind}" --output-on-failure -j "${jobs}"
}

# clang-tidy (.clang-tidy) over every library and tool source of the plain
# build's compilation database; headers of those folders are checked with them.
tidy() {
    echo "== clang-tidy =="
    local sources="$(pwd)/(config|freq|platform|probe|sched|server|tools)/"
    if command -v run-clang-tidy >/dev/null; then
        run-clang-tidy -p build/plain -j "${jobs}" -quiet "${sources}" >build/plain/tidy.log 2>&1 ||
            { grep -E "(warning|error):" build/plain/tidy.log | grep -v "warnings generated" || cat build/plain/tidy.log; return 1; }
    else
        python3 -c 'import json,sys; [print(e["file"]) for e in json.load(open(sys.argv[1]))]' \
            build/plain/compile_commands.json | grep -E "${sources}" |
            xargs -P "${jobs}" -n 4 clang-tidy -p build/plain --quiet
    fi
    echo "clang-tidy: clean"
}

build plain -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
tidy
run_tests plain
echo "== install check =="
bash scripts/check-install.sh build/plain
build asan -DBRISK_SANITIZE=address
run_tests asan
build tsan -DBRISK_SANITIZE=thread -DBRISK_BUILD_TOOLS=OFF -DBRISK_THREADED_TESTS_ONLY=ON
run_tests tsan
# A short run of every fuzz target on its corpus: a finding fails the run and
# leaves its reproducer in build/fuzz/findings/ (docs/developing.md, Fuzzing).
bash scripts/fuzz.sh 15
echo "== all gates and test runs passed =="
