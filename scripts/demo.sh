#!/usr/bin/env bash
# Builds the demo host and runs it: 300 frames of a small image pipeline,
# tables of frame times and the last frame's report; the last image (PNG),
# the graph (JSON), its pictures, the frame report and a trace of the run
# are written into build/demo/output. Arguments go to the demo (try --help), e.g.
#   scripts/demo.sh --frames 600 --size 640x480 --blur 6 --out /tmp/zrn
# Installs what is missing first (see scripts/deps.sh); Graphviz is only
# needed for the SVG drawings and may be left out.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/deps.sh cmake make g++ qtbase5-dev
if ! command -v dot >/dev/null 2>&1; then
  bash scripts/deps.sh graphviz ||
    echo "== going on without Graphviz: the demo will skip the .svg drawings"
fi

dir=build/demo
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DZRNCORE_BUILD_TESTS=OFF \
  -DZRNCORE_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$dir" -j"$(nproc 2>/dev/null || echo 2)" --target zrn-demo
# The default output folder comes first; an --out given here wins.
exec "$dir/examples/zrn-demo" --out "$dir/output" "$@"
