#!/usr/bin/env bash
# Builds the demo host and runs it. Arguments are passed on to the demo
# (try --help). Installs what is missing first (see scripts/deps.sh).
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/deps.sh cmake make g++ qtbase5-dev graphviz

dir=build/demo
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DZRNCORE_BUILD_TESTS=OFF \
  -DZRNCORE_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$dir" -j"$(nproc 2>/dev/null || echo 2)" --target zrn-demo
exec "$dir/examples/zrn-demo" "$@"
