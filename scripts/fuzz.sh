#!/usr/bin/env bash
# Builds the libFuzzer targets (fuzz/fuzz_*.cpp) with clang into build/fuzz
# and runs one of them, or replays the seed corpora of all of them.
#
# Usage:
#   scripts/fuzz.sh TARGET [SECONDS] [LIBFUZZER_OPTION...]
#       Fuzzes TARGET (e.g. fuzz_Renderer) for SECONDS (default 600). The
#       working corpus is build/fuzz/corpus/TARGET, started from the seed
#       corpus fuzz/corpus/TARGET (or fuzz/corpus/ without the fuzz_ prefix)
#       when there is one; inputs that crash or
#       break a rule are written to build/fuzz/artifacts/TARGET/. The last
#       lines of libFuzzer's report (executions, cov:, ft:) are printed.
#   scripts/fuzz.sh --replay
#       Builds every target and runs each once over its seed corpus, then a
#       short fixed-seed run of new inputs; fails when any input breaks.
#   scripts/fuzz.sh --list
#       Prints the targets.
#
# To add an input that found something to the seed corpus, copy the file
# from build/fuzz/artifacts/TARGET/ into fuzz/corpus/TARGET/.
# Needs clang with libFuzzer (Debian: clang, libclang-rt-14-dev), Qt 5.
# Set ZRNCORE_BUILD_ROOT to build elsewhere than build/.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1

root=${ZRNCORE_BUILD_ROOT:-build}
dir=$root/fuzz
mapfile -t targets < <(for f in fuzz/fuzz_*.cpp; do basename "$f" .cpp; done)

# The seed corpus of a target: fuzz/corpus/fuzz_Name or fuzz/corpus/Name.
seed_dir() {
  if [ -d "fuzz/corpus/$1" ]; then
    echo "fuzz/corpus/$1"
  else
    echo "fuzz/corpus/${1#fuzz_}"
  fi
}

if [ "${1:-}" = --list ]; then
  printf '%s\n' "${targets[@]}"
  exit 0
fi
if [ $# -lt 1 ]; then
  sed -n '2,20p' "$0" | sed 's/^# \{0,1\}//' >&2
  exit 2
fi

# Debug keeps the library's Q_ASSERTs live; -O1 keeps the fuzzers fast.
if ! cmake -S . -B "$dir" -DCMAKE_CXX_COMPILER=clang++ -DZRNCORE_QT_VERSION=5 -DCMAKE_BUILD_TYPE=Debug \
       -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" -DZRNCORE_BUILD_FUZZERS=ON -DZRNCORE_BUILD_TESTS=OFF \
       -DZRNCORE_BUILD_BENCHMARKS=OFF -DZRNCORE_BUILD_EXAMPLES=OFF >/dev/null; then
  echo "fuzz: configuring $dir failed" >&2
  exit 1
fi
jobs=$(nproc 2>/dev/null || echo 2)

if [ "$1" = --replay ]; then
  cmake --build "$dir" -j"$jobs" --target "${targets[@]}" >/dev/null || { echo "fuzz: build failed" >&2; exit 1; }
  failures=0
  for t in "${targets[@]}"; do
    seeds=$(seed_dir "$t")
    artifacts=$dir/artifacts/$t
    mkdir -p "$artifacts"
    count=0
    [ -d "$seeds" ] && count=$(find "$seeds" -type f | wc -l)
    if [ "$count" -gt 0 ]; then
      # -runs=0 with a folder runs each of its inputs once and stops.
      if "$dir/fuzz/$t" -runs=0 -artifact_prefix="$artifacts/" "$seeds" >"$dir/$t.replay.log" 2>&1; then
        echo "fuzz: $t: $count seed inputs replayed, none broke"
      else
        echo "fuzz: $t: a seed input broke (log: $dir/$t.replay.log)"
        tail -n 20 "$dir/$t.replay.log"
        failures=$((failures + 1))
      fi
    else
      echo "fuzz: $t: no seed corpus in $seeds"
    fi
    if "$dir/fuzz/$t" -seed=1 -runs=5000 -artifact_prefix="$artifacts/" >"$dir/$t.short.log" 2>&1; then
      echo "fuzz: $t: 5000 new inputs (seed 1), none broke"
    else
      echo "fuzz: $t: a new input broke (log: $dir/$t.short.log)"
      tail -n 20 "$dir/$t.short.log"
      failures=$((failures + 1))
    fi
  done
  [ "$failures" -eq 0 ]
  exit
fi

target=$1
seconds=${2:-600}
shift
[ $# -gt 0 ] && shift
if [ ! -f "fuzz/$target.cpp" ]; then
  echo "fuzz: no target $target (targets: ${targets[*]})" >&2
  exit 2
fi
cmake --build "$dir" --target "$target" -j"$jobs" >/dev/null || { echo "fuzz: build failed" >&2; exit 1; }
corpus=$dir/corpus/$target
artifacts=$dir/artifacts/$target
mkdir -p "$corpus" "$artifacts"
seeds=()
[ -d "$(seed_dir "$target")" ] && seeds=("$(seed_dir "$target")")
log=$dir/$target.log
echo "fuzz: $target for $seconds s, corpus $corpus, log $log"
"$dir/fuzz/$target" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$artifacts/" "$@" \
  "$corpus" "${seeds[@]}" >"$log" 2>&1
status=$?
grep -E '^#[0-9]+[[:space:]]+(DONE|INITED)|^stat::|ERROR|broken|SUMMARY' "$log" | tail -n 12
echo "fuzz: $target exited with $status; $(find "$artifacts" -type f | wc -l) artifacts in $artifacts"
exit $status
