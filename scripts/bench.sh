#!/usr/bin/env bash
# Builds Brisk in Release with its benchmarks and runs them: the raw results go to
# build/bench/bench.json (Google Benchmark's JSON) and build/bench/bench.log, and
# a short table (build/bench/bench.md) is printed. Installs missing packages first.
# Extra arguments go to brisk_bench, e.g. --benchmark_filter=entry/ or --brisk_quick.
# Not part of the test command: benchmarks measure, they do not pass or fail.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

dir=build/bench
jobs=${BRISK_BENCH_JOBS:-2}
echo "== Release build with benchmarks (${dir}, -j${jobs}) =="
cmake -S . -B "${dir}" -DCMAKE_BUILD_TYPE=Release -DBRISK_BUILD_BENCH=ON \
    -DBRISK_BUILD_TESTS=OFF -DBRISK_BUILD_TOOLS=ON >/dev/null
cmake --build "${dir}" -j "${jobs}"

load_before=$(cut -d' ' -f1-3 /proc/loadavg)
echo "== running the benchmarks (a few minutes; load average ${load_before}) =="
"${dir}/bench/brisk_bench" \
    --benchmark_out="${dir}/bench.json" --benchmark_out_format=json "$@" >"${dir}/bench.log"
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

{
    "${dir}/bench/brisk_bench_table" "${dir}/bench.json"
    echo "Load average (1, 5, 15 min) before: ${load_before}; after: ${load_after}; $(nproc) CPUs."
} >"${dir}/bench.md"
cat "${dir}/bench.md"
echo
echo "Results: ${dir}/bench.json (raw), ${dir}/bench.log (console), ${dir}/bench.md (this table)"
