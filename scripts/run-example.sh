#!/usr/bin/env bash
# The main job: installs what is missing (Debian 12, as root), builds brisk-sim
# and replays the main example scenario against the service on the simulated
# device, printing its transcript on standard output. Build messages go to
# standard error.
#   bash scripts/run-example.sh [SCENARIO]     (default: etc/examples/tour.scenario)
set -euo pipefail
cd "$(dirname "$0")/.."

scenario=${1:-etc/examples/tour.scenario}

bash scripts/setup.sh >&2
cmake -S . -B build/plain -DCMAKE_BUILD_TYPE=RelWithDebInfo >&2
cmake --build build/plain --target brisk-sim -j "$(nproc)" >&2
exec build/plain/tools/brisk-sim/brisk-sim --config etc/brisk_config_cust.xml "$scenario"
