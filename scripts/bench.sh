#!/usr/bin/env bash
# Builds libZrnCore in Release and runs its benchmarks, then writes the
# results into docs/:
#   docs/performance-results.md   the results tables (markdown); the same
#                                 tables replace the block between the
#                                 results markers in docs/performance.md
#   docs/performance-frames.png   ns per pass against N for the floor, the
#                                 compiled frame and the literal frame
# The raw Google Benchmark output (JSON) stays in the build tree.
# Installs what is missing first (see scripts/deps.sh).
#
# Usage: scripts/bench.sh [--quick]
#   --quick   every benchmark with a short minimum time (a trial run; the
#             figures are noisier)
# Environment:
#   ZRNCORE_BENCH_QT        Qt major version to build against (default 6)
#   ZRNCORE_BENCH_DIR       build tree (default build/bench)
#   ZRNCORE_BENCH_FILTER    a --benchmark_filter regex passed to every program
set -euo pipefail
cd "$(dirname "$0")/.."

qt=${ZRNCORE_BENCH_QT:-6}
dir=${ZRNCORE_BENCH_DIR:-build/bench}
min_time=0.5
[ "${1:-}" = --quick ] && min_time=0.05

qt_package=qt6-base-dev
[ "$qt" = 5 ] && qt_package=qtbase5-dev
bash scripts/deps.sh cmake make g++ pkg-config "$qt_package" libbenchmark-dev gnuplot-nox python3

programs=(bench_Renderer bench_Graph bench_Walkers bench_GraphvizDump)
# Configured with tests so that the library exports the renderer's internal
# hooks, which give the literal frame; only the benchmarks are built.
echo "== building $dir (Release, Qt $qt)"
cmake -S . -B "$dir" -DZRNCORE_QT_VERSION="$qt" -DCMAKE_BUILD_TYPE=Release \
  -DZRNCORE_BUILD_TESTS=ON -DZRNCORE_BUILD_EXAMPLES=OFF -DZRNCORE_BUILD_BENCHMARKS=ON >/dev/null
cmake --build "$dir" -j"$(nproc 2>/dev/null || echo 2)" --target "${programs[@]}"

out=$dir/bench-results
mkdir -p "$out"
filter=()
[ -n "${ZRNCORE_BENCH_FILTER:-}" ] && filter=(--benchmark_filter="$ZRNCORE_BENCH_FILTER")
for program in "${programs[@]}"; do
  echo "== running $program"
  "$dir/bench/$program" --benchmark_min_time="$min_time" "${filter[@]}" \
    --benchmark_out="$out/$program.json" --benchmark_out_format=json
done

# The graph builds once more with glibc's allocator keeping the memory that
# a destroyed graph gives back (no trimming, large blocks from the heap):
# every build then reuses memory already mapped, at any size, instead of
# paying the system's first touch of each fresh page. Both runs are reported.
if [ -z "${ZRNCORE_BENCH_FILTER:-}" ]; then
  echo "== running bench_Graph's builds again, the allocator keeping freed memory"
  GLIBC_TUNABLES=glibc.malloc.trim_threshold=1073741824:glibc.malloc.mmap_threshold=33554432 \
    "$dir/bench/bench_Graph" --benchmark_min_time="$min_time" --benchmark_filter=BM_BuildLayered \
    --benchmark_out="$out/kept-memory_bench_Graph.json" --benchmark_out_format=json
fi

echo "== writing docs/performance-results.md and docs/performance-frames.png"
python3 scripts/bench-report.py "$out" docs "Qt $qt, Release, --benchmark_min_time=$min_time"
gnuplot "$out/frames.gp"
echo "== done"
