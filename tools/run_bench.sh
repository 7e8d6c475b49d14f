#!/usr/bin/env bash
# Builds the library and runs the side-by-side benchmark tav_bench.
# Extra arguments go to tav_bench (e.g. --quick, or family names).
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install_deps.sh bench
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DTAV_BUILD_TESTS=OFF >/dev/null
cmake --build build-bench -j "$(nproc)" --target tav_bench
./build-bench/bench/tav_bench "$@"
