#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmark need,
# running `apt-get update` once and only when something is missing.
# Usage: tools/install_deps.sh [test|bench]
set -euo pipefail

packages=(cmake g++ make binutils libgtest-dev libblas-dev)
if [ "${1:-test}" = bench ]; then
  packages+=(libopenblas0-pthread libfftw3-dev)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "missing packages: ${missing[*]} (install them as root)" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq "${missing[@]}"
