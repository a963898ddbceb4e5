#!/usr/bin/env bash
# Builds the libFuzzer targets of tests/fuzz (clang, ASan+UBSan, in build/fuzz)
# and runs each for SECONDS (default 60) on its corpus, one after the other.
# Prints executions, coverage and findings per target; exits non-zero on any
# crash, leak, timeout, out-of-memory or sanitizer report, leaving the
# reproducer in build/fuzz/findings/<target>/ and the whole output beside it.
#
#   bash scripts/fuzz.sh [SECONDS]
#
# The working corpus of each target, build/fuzz/corpus/<target>/, starts from the
# seeds in the tree and keeps what the runs find, so that long runs build on each
# other; delete it to start afresh.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
if ! [[ "${seconds}" =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: bash scripts/fuzz.sh [SECONDS]   (seconds per target, default 60)" >&2
    exit 2
fi

bash scripts/setup.sh

jobs=$(nproc)
if [ "${jobs}" -gt 8 ]; then
    jobs=8
fi

echo "== fuzz build =="
CC=clang CXX=clang++ cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DBRISK_FUZZ=ON -DBRISK_BUILD_TESTS=OFF >/dev/null
cmake --build build/fuzz --target brisk_fuzz -j "${jobs}"

# target, its seeds and dictionary in tests/fuzz/ (corpus/KIND/, dict/KIND.dict),
# and files of the tree that seed it too.
targets=(
    "ConfigFileFuzz config etc/brisk_config_cust.xml"
    "ConfigCheckerFuzz config etc/brisk_config_cust.xml"
    "EntryPointFuzz calls"
    "ProbeMessageFuzz probe-message"
    "ProtocolFuzz protocol"
    "CtlCommandLineFuzz briskctl"
    "ScenarioFuzz scenario etc/examples/*.scenario"
    "BackendDescriptionFuzz backend-description"
    "KernelTreeFuzz kernel-tree"
)

# A crash, a leak, a timeout, running out of memory: each leaves an input behind.
is_finding() {
    case "$(basename "$1")" in
        crash-* | leak-* | timeout-* | oom-*) return 0 ;;
        *) return 1 ;;
    esac
}

# The value of libFuzzer's final statistic NAME in LOG.
final_stat() {
    sed -n "s/^stat::$1: *//p" "$2" | tail -n 1
}

echo "== fuzz: ${seconds} s per target =="
printf "%-20s %12s %10s %8s %8s %8s  %s\n" target executions "exec/s" cov features corpus findings
failed=()
for entry in "${targets[@]}"; do
    read -r name kind extra <<<"${entry}"
    corpus="build/fuzz/corpus/${name}"
    findings="build/fuzz/findings/${name}"
    log="${findings}/fuzz.log"
    mkdir -p "${corpus}"
    rm -rf "${findings}"
    mkdir -p "${findings}"
    # shellcheck disable=SC2086 # extra seeds are globs
    cp -n "tests/fuzz/corpus/${kind}"/* ${extra} "${corpus}/" 2>/dev/null || true
    dict=()
    if [ -f "tests/fuzz/dict/${kind}.dict" ]; then
        dict=("-dict=tests/fuzz/dict/${kind}.dict")
    fi
    status=0
    "build/fuzz/tests/fuzz/${name}" "${corpus}" "${dict[@]}" \
        -max_total_time="${seconds}" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="${findings}/" >"${log}" 2>&1 || status=$?

    found=0
    for file in "${findings}"/*; do
        if is_finding "${file}"; then
            found=$((found + 1))
        fi
    done
    if grep -qE "ERROR: (AddressSanitizer|LeakSanitizer|UndefinedBehaviorSanitizer|libFuzzer)|runtime error:" "${log}"; then
        found=$((found > 0 ? found : 1))
    fi
    cov=$(grep -oE "cov: [0-9]+ ft: [0-9]+" "${log}" | tail -n 1 || true)
    printf "%-20s %12s %10s %8s %8s %8s  %s\n" "${name}" \
        "$(final_stat number_of_executed_units "${log}")" "$(final_stat average_exec_per_sec "${log}")" \
        "$(awk '{print $2}' <<<"${cov}")" "$(awk '{print $4}' <<<"${cov}")" \
        "$(find "${corpus}" -type f | wc -l)" "${found}"
    if [ "${status}" -ne 0 ] || [ "${found}" -ne 0 ]; then
        failed+=("${name}")
        echo "-- ${name}: exit status ${status}; the report (whole output: ${log}):"
        grep -E -A 30 "ERROR:|runtime error:|SUMMARY:" "${log}" | head -n 60 || tail -n 30 "${log}"
        for file in "${findings}"/*; do
            if is_finding "${file}"; then
                echo "-- reproducer: ${file}"
                echo "   replay it: build/fuzz/tests/fuzz/${name} ${file}"
            fi
        done
    fi
done

if [ ${#failed[@]} -ne 0 ]; then
    echo "fuzz: findings in ${failed[*]}" >&2
    exit 1
fi
echo "fuzz: no findings"
