#!/usr/bin/env bash
# Installs what the build needs, builds the library and the village, and runs it.
# All arguments go to the village: try ./run.sh --help
set -euo pipefail
cd "$(dirname "$0")"
. cmake/install-packages.sh cmake ninja-build g++
cmake --preset release -DONDREL_TESTS=OFF -DONDREL_BENCHMARKS=OFF -B build/run >/dev/null
cmake --build build/run --target village >/dev/null
exec build/run/examples/village "$@"
