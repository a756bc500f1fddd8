#!/usr/bin/env bash
# Builds the library and its tests with gcov instrumentation, runs the whole
# ctest suite, and prints the line and branch coverage of src/Core (gcovr;
# branches that only throw, and branches the compiler proves unreachable,
# are left out). An HTML report per file goes to BUILD_DIR/html/index.html.
#
# Usage: scripts/coverage.sh [BUILD_DIR]    (default build/coverage)
#
# The build is Qt 5 without Q_ASSERT, as a release build ships, at -O0: a
# failing assertion's branch is reached only by the death tests, whose
# children abort before they can write coverage data, so counting those
# branches would measure the test harness rather than the tests.
# Needs gcovr (Debian: apt-get install gcovr; installed here when run as
# root). Set ZRNCORE_BUILD_ROOT to build elsewhere than build/.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1

bash scripts/deps.sh gcovr || exit 1
root=${ZRNCORE_BUILD_ROOT:-build}
dir=${1:-$root/coverage}
jobs=$(nproc 2>/dev/null || echo 2)

if ! cmake -S . -B "$dir" -DZRNCORE_QT_VERSION=5 -DCMAKE_BUILD_TYPE=RelWithDebInfo \
       -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O0 -g -DNDEBUG" -DCMAKE_CXX_FLAGS="--coverage" \
       -DCMAKE_EXE_LINKER_FLAGS="--coverage" -DCMAKE_SHARED_LINKER_FLAGS="--coverage" \
       -DZRNCORE_BUILD_BENCHMARKS=OFF -DZRNCORE_BUILD_TESTS=ON -DZRNCORE_BUILD_EXAMPLES=ON >/dev/null; then
  echo "coverage: configuring $dir failed" >&2
  exit 1
fi
cmake --build "$dir" -j"$jobs" >/dev/null || { echo "coverage: build failed" >&2; exit 1; }
find "$dir" -name '*.gcda' -delete
status=0
ctest --test-dir "$dir" -j"$jobs" --timeout 600 >"$dir/ctest.log" 2>&1 || status=1
tail -n 3 "$dir/ctest.log"

mkdir -p "$dir/html"
gcovr --root . --object-directory "$dir" --filter 'src/Core/' \
  --exclude-throw-branches --exclude-unreachable-branches \
  --txt - --print-summary --html-details "$dir/html/index.html" || status=1
gcovr --root . --object-directory "$dir" --filter 'src/Core/' \
  --exclude-throw-branches --exclude-unreachable-branches --branches --txt - | tail -n +4 || status=1
exit $status
