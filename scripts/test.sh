#!/usr/bin/env bash
# Builds libZrnCore against Qt 5 and Qt 6 and runs every test of each build,
# then the packaging test (install, then build a consumer through CMake and
# through pkg-config) for each Qt, then the API docs build. Formatting
# (clang-format) and clang-tidy over the library are checked too. Then the
# checks of memory and threads: the whole suite under ASan+UBSan, the
# rendering tests and the demo under ThreadSanitizer (scripts/sanitize.sh),
# the Qt 6 unit tests under valgrind's memcheck (scripts/valgrind.sh), and
# every fuzz target over its seed corpus with clang's libFuzzer
# (scripts/fuzz.sh --replay).
# Installs what is missing first (see scripts/deps.sh).
# Prints PASS or FAIL for each step with its time and a summary; exits
# non-zero on any FAIL. The build trees go to build/qt5, build/qt6,
# build/asan, build/tsan and build/fuzz; set ZRNCORE_BUILD_ROOT to use
# another folder than build.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1

bash scripts/deps.sh cmake make g++ pkg-config qtbase5-dev qt6-base-dev \
  libgtest-dev libgmock-dev googletest libbenchmark-dev graphviz doxygen \
  clang-format clang-tidy valgrind clang libclang-rt-dev || exit 1

jobs=$(nproc 2>/dev/null || echo 2)
root=${ZRNCORE_BUILD_ROOT:-build}
results=()
failures=0
started=$SECONDS
step_start=$SECONDS
step() { # step TITLE: announce a step and start its clock
  step_start=$SECONDS
  echo "== $1"
}
record() { # record STATUS NAME: the step's result and the time since step()
  local line
  line="$1  $2 ($((SECONDS - step_start)) s)"
  results+=("$line")
  [ "$1" = PASS ] || failures=$((failures + 1))
  echo "== $line"
}

step "formatting (clang-format)"
if bash scripts/check-format.sh; then
  record PASS "formatting"
else
  record FAIL "formatting (fix with: clang-format -i FILE)"
fi

for qt in 5 6; do
  dir=$root/qt$qt
  # Qt 5 is built as Debug so that the library's Q_ASSERT checks are live.
  type=RelWithDebInfo
  [ "$qt" = 5 ] && type=Debug
  step "Qt $qt ($type): configure and build in $dir"
  if ! { cmake -S . -B "$dir" -DZRNCORE_QT_VERSION=$qt -DCMAKE_BUILD_TYPE=$type \
           -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >/dev/null \
         && cmake --build "$dir" -j"$jobs"; }; then
    record FAIL "Qt $qt: build"
    continue
  fi
  record PASS "Qt $qt: build"

  step "Qt $qt: tests"
  if ctest --test-dir "$dir" --output-on-failure -j"$jobs" --timeout 300; then
    record PASS "Qt $qt: ctest"
  else
    record FAIL "Qt $qt: ctest"
  fi

  step "Qt $qt: packaging"
  if bash scripts/packaging-test.sh "$qt" "$dir"; then
    record PASS "Qt $qt: packaging (install, find_package and pkg-config consumers)"
  else
    record FAIL "Qt $qt: packaging (install, find_package and pkg-config consumers)"
  fi
done

step "clang-tidy over the library"
if [ -f "$root/qt5/compile_commands.json" ] && bash scripts/tidy.sh "$root/qt5"; then
  record PASS "clang-tidy"
else
  record FAIL "clang-tidy"
fi

step "API docs (Doxygen, any warning fails)"
docs_dir=$root/qt6
[ -f "$docs_dir/CMakeCache.txt" ] || docs_dir=$root/qt5
if [ -f "$docs_dir/CMakeCache.txt" ] && cmake --build "$docs_dir" --target docs; then
  record PASS "API docs in $docs_dir/docs/html"
else
  record FAIL "API docs"
fi

step "ASan+UBSan (Qt 5 Debug, leaks checked): build and the whole ctest suite in $root/asan"
if bash scripts/sanitize.sh asan "$root/asan"; then
  record PASS "ASan+UBSan: ctest, no sanitizer report, no leak"
else
  record FAIL "ASan+UBSan: ctest or a sanitizer report (see above)"
fi

step "ThreadSanitizer: the rendering tests and the demo in $root/tsan"
if bash scripts/sanitize.sh tsan "$root/tsan"; then
  record PASS "ThreadSanitizer: rendering tests and demo, no report"
else
  record FAIL "ThreadSanitizer: a test or a report (see above)"
fi

step "valgrind memcheck over the Qt 6 unit tests"
if [ -d "$root/qt6/tests" ] && bash scripts/valgrind.sh "$root/qt6"; then
  record PASS "valgrind: Qt 6 unit tests, 0 errors, nothing definitely or indirectly lost"
else
  record FAIL "valgrind: an error, a leak or a failing test (see above)"
fi

step "fuzz targets over their seed corpora (clang, libFuzzer) in $root/fuzz"
if ZRNCORE_BUILD_ROOT=$root bash scripts/fuzz.sh --replay; then
  record PASS "fuzz: every seed corpus and a short run of each target"
else
  record FAIL "fuzz: an input broke a target (see above)"
fi

echo
echo "== summary ($((SECONDS - started)) s in all)"
printf '%s\n' "${results[@]}"
if [ "$failures" -eq 0 ]; then
  echo "== all ${#results[@]} steps passed"
  exit 0
fi
echo "== $failures of ${#results[@]} steps FAILED"
exit 1
