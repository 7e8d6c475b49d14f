#!/usr/bin/env bash
# Builds the library and its tests twice, with extended-precision (long double)
# sums and with double sums, and runs the whole suite on each build.
# Usage: tools/run_tests.sh [--sanitize]
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install_deps.sh test

extra=()
suffix=""
if [ "${1:-}" = --sanitize ]; then
  extra=(-DTAV_SANITIZE=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo)
  suffix="-asan"
fi

jobs=$(nproc)
status=0
for sums in ON OFF; do
  dir="build-tests-$sums$suffix"
  echo "== TAV_EXTENDED_SUMS=$sums ($dir)"
  cmake -S . -B "$dir" -DTAV_EXTENDED_SUMS=$sums -DTAV_BUILD_BENCH=OFF "${extra[@]}" >/dev/null
  cmake --build "$dir" -j "$jobs"
  (cd "$dir" && ctest --output-on-failure -j "$jobs") || status=1
done
exit $status
