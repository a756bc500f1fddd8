#!/usr/bin/env bash
# Builds the library and its tests with a sanitizer and runs them; fails on
# a failing test and on any sanitizer report, including reports from child
# processes and from programs whose exit status a test does not check
# (every report is written to a file under BUILD_DIR/sanitizer-reports).
#
# Usage: scripts/sanitize.sh asan|tsan [BUILD_DIR]
#   asan  AddressSanitizer with leak checking and UndefinedBehaviorSanitizer,
#         every error fatal (-fno-sanitize-recover=all); Qt 5, Debug (so the
#         library's Q_ASSERTs are live) at -O1. Runs the whole ctest suite;
#         tst_GraphDocumentFuzzReplay apart, with scripts/lsan.supp (a leak
#         inside Qt 5's JSON parser, see there).
#         Default BUILD_DIR: build/asan.
#   tsan  ThreadSanitizer; Qt 5, Debug at -O1. Runs the rendering tests
#         (tests/tst_Render*.cpp: the renderer's frames, passes that finish
#         on threads of their own) and the demo, whose blur pass works on a
#         worker thread, for 8 frames. Default BUILD_DIR: build/tsan.
# The benchmarks are not built: they replace malloc to count allocations,
# which a sanitizer must own, and the tests reach the same library code.
# Compiler: g++ (CXX to choose another). Set ZRNCORE_BUILD_ROOT to build
# elsewhere than build/.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1

mode=${1:-}
root=${ZRNCORE_BUILD_ROOT:-build}
case "$mode" in
  asan) flags="-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer" ;;
  tsan) flags="-fsanitize=thread" ;;
  *)
    echo "usage: $0 asan|tsan [BUILD_DIR]" >&2
    exit 2
    ;;
esac
dir=${2:-$root/$mode}
jobs=$(nproc 2>/dev/null || echo 2)

if ! cmake -S . -B "$dir" -DZRNCORE_QT_VERSION=5 -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" \
       -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" -DCMAKE_SHARED_LINKER_FLAGS="$flags" \
       -DZRNCORE_BUILD_BENCHMARKS=OFF -DZRNCORE_BUILD_TESTS=ON -DZRNCORE_BUILD_EXAMPLES=ON >/dev/null; then
  echo "$mode: configuring $dir failed" >&2
  exit 1
fi

reports=$(cd "$dir" && pwd)/sanitizer-reports
rm -rf "$reports"
mkdir -p "$reports"
# Reports go to files (the process id is appended to each name).
export ASAN_OPTIONS="detect_leaks=1:halt_on_error=1:log_path=$reports/asan"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1:log_path=$reports/ubsan"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:log_path=$reports/tsan"

status=0
if [ "$mode" = asan ]; then
  if ! cmake --build "$dir" -j"$jobs"; then
    echo "asan: build failed" >&2
    exit 1
  fi
  # The document fuzzer's replay feeds thousands of broken JSON documents,
  # on some of which Qt 5's parser leaks blocks of its own: that binary runs
  # apart, with scripts/lsan.supp and the full unwinder that its pattern
  # needs (see that file). That unwinder makes it slow (about a minute), so
  # it runs beside the rest of the suite, which has no suppression.
  replay=tst_GraphDocumentFuzzReplay
  replay_log=$dir/$replay.log
  ASAN_OPTIONS="$ASAN_OPTIONS:fast_unwind_on_malloc=0:malloc_context_size=24" \
    LSAN_OPTIONS="suppressions=$PWD/scripts/lsan.supp:print_suppressions=0" \
    "$dir/tests/$replay" --gtest_brief=1 >"$replay_log" 2>&1 &
  replay_pid=$!
  ctest --test-dir "$dir" --output-on-failure -j"$jobs" --timeout 600 -E '^GraphDocumentFuzzReplay\.' || status=1
  if wait "$replay_pid"; then
    echo "asan: $replay passed with scripts/lsan.supp ($(grep -m1 -o '[0-9]* tests\? from [0-9]* test suites\? ran' "$replay_log"))"
  else
    echo "asan: $replay FAILED (log: $replay_log)"
    tail -n 30 "$replay_log"
    status=1
  fi
else
  mapfile -t tests < <(for f in tests/tst_Render*.cpp; do basename "$f" .cpp; done)
  if ! cmake --build "$dir" -j"$jobs" --target ZrnCore zrn-demo "${tests[@]}"; then
    echo "tsan: build failed" >&2
    exit 1
  fi
  for t in "${tests[@]}"; do
    if "$dir/tests/$t" --gtest_brief=1 >"$dir/$t.log" 2>&1; then
      echo "tsan: $t passed ($(grep -m1 -o '[0-9]* tests\? from [0-9]* test suites\? ran' "$dir/$t.log"))"
    else
      echo "tsan: $t FAILED (log: $dir/$t.log)"
      tail -n 30 "$dir/$t.log"
      status=1
    fi
  done
  out=$dir/demo-output
  rm -rf "$out"
  if "$dir/examples/zrn-demo" --frames 8 --size 64x48 --blur 2 --out "$out" >"$dir/demo.log" 2>&1; then
    echo "tsan: zrn-demo rendered 8 frames"
  else
    echo "tsan: zrn-demo FAILED (log: $dir/demo.log)"
    tail -n 30 "$dir/demo.log"
    status=1
  fi
fi

found=$(find "$reports" -type f | wc -l)
if [ "$found" -gt 0 ]; then
  echo "$mode: $found sanitizer reports in $reports:"
  for f in "$reports"/*; do
    echo "---- $f"
    head -n 40 "$f"
  done
  status=1
else
  echo "$mode: no sanitizer report"
fi
exit $status
