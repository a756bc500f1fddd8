#!/usr/bin/env bash
# Runs every unit-test binary of a build (BUILD_DIR/tests/tst_*) under
# valgrind's memcheck, two at a time. A binary fails on a failing test, on
# any memcheck error, and on any definitely or indirectly lost block; blocks
# still reachable at exit, or possibly lost inside Qt's own global state,
# are not counted. scripts/valgrind.supp suppresses what is provably
# outside the library (each entry says what and why).
#
# Usage: scripts/valgrind.sh BUILD_DIR
#   BUILD_DIR  a built tree; test.sh passes build/qt6 (RelWithDebInfo:
#              optimised code is faster under memcheck; the Debug tree's
#              Q_ASSERTs run under ASan).
#
# Left out under valgrind (ctest runs them natively and under ASan), by the
# gtest filter in VALGRIND_FILTER below, because they are the slowest under
# memcheck (one seeded replay took 34 s, one 100,000-node walk 11 s, all the
# other tests together about 2 minutes):
#   *.Seeded*            the seeded pseudo-random replays of the fuzz
#                        targets and differential tests (thousands of
#                        generated inputs); their fixed inputs and seed
#                        corpora still run;
#   *.Variations*        the document fuzzer's seeded variations of its
#                        corpus, likewise;
#   *HundredThousand*    the graphs of 100,000 nodes or passes, which check
#                        that deep graphs do not exhaust the stack.
# Qt's regular expressions run without their JIT (QT_ENABLE_REGEXP_JIT=0):
# the JIT's generated code reads 16 bytes at a time, past the ends of the
# strings it matches, which memcheck reports as invalid reads and jumps on
# uninitialised values in code it cannot name.
# Logs: BUILD_DIR/valgrind/<binary>.log.
set -uo pipefail

if [ $# -ne 1 ] || [ ! -d "$1/tests" ]; then
  echo "usage: $0 BUILD_DIR   (a built tree with a tests folder)" >&2
  exit 2
fi
dir=$(cd "$1" && pwd)
cd "$(dirname "$0")/.." || exit 1
if ! command -v valgrind >/dev/null; then
  echo "valgrind not found (Debian: apt-get install valgrind)" >&2
  exit 2
fi

logs=$dir/valgrind
rm -rf "$logs"
mkdir -p "$logs"
mapfile -t binaries < <(find "$dir/tests" -maxdepth 1 -type f -name 'tst_*' -perm -u+x | LC_ALL=C sort)
if [ ${#binaries[@]} -eq 0 ]; then
  echo "valgrind: no test binary in $dir/tests" >&2
  exit 1
fi

run_one() { # run_one BINARY LOG_DIR
  local name log
  name=$(basename "$1")
  log=$2/$name.log
  # 99: a memcheck error or a definite/indirect leak; anything else non-zero
  # is the test binary's own failure.
  valgrind --tool=memcheck --error-exitcode=99 --leak-check=full --suppressions=scripts/valgrind.supp \
    --show-leak-kinds=definite,indirect --errors-for-leak-kinds=definite,indirect \
    --num-callers=30 \
    "$1" --gtest_brief=1 --gtest_filter="-$VALGRIND_FILTER" >"$log" 2>&1
  local status=$?
  local summary
  summary=$(grep -m1 -o 'ERROR SUMMARY: [0-9]* errors' "$log")
  if [ "$status" -eq 0 ]; then
    echo "valgrind: PASS $name ($summary)"
  else
    echo "valgrind: FAIL $name (exit $status, ${summary:-no summary}; log: $log)"
  fi
  return "$status"
}
export -f run_one
export VALGRIND_FILTER='*.Seeded*:*.Variations*:*HundredThousand*'
export QT_ENABLE_REGEXP_JIT=0

status=0
printf '%s\n' "${binaries[@]}" | xargs -P 2 -I{} bash -c 'run_one "$1" "$2"' _ {} "$logs" || status=1
failed=$(grep -l 'FAILED\|ERROR SUMMARY: [1-9]\|definitely lost: [1-9]\|indirectly lost: [1-9]' "$logs"/*.log 2>/dev/null)
if [ -n "$failed" ]; then
  status=1
  for f in $failed; do
    echo "---- $f"
    grep -B2 -A25 -m3 'Invalid\|uninitialised\|Syscall param\|Mismatched\|definitely lost in\|indirectly lost in\|FAILED' "$f" | head -n 60
  done
fi
echo "valgrind: ${#binaries[@]} test binaries, $([ "$status" -eq 0 ] && echo "no error, no definite or indirect leak" || echo "FAILURES above")"
exit $status
