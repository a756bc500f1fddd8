#!/usr/bin/env bash
# Builds libZrnCore against Qt 5 and Qt 6 and runs every test of each build,
# then the packaging test (install, then build a consumer through CMake and
# through pkg-config) for each Qt, then the API docs build. Formatting
# (clang-format) and clang-tidy over the library are checked too.
# Installs what is missing first (see scripts/deps.sh).
# Prints PASS or FAIL for each step and a summary; exits non-zero on any FAIL.
# The build trees go to build/qt5 and build/qt6; set ZRNCORE_BUILD_ROOT to use
# another folder than build.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1

bash scripts/deps.sh cmake make g++ pkg-config qtbase5-dev qt6-base-dev \
  libgtest-dev libgmock-dev googletest libbenchmark-dev graphviz doxygen \
  clang-format clang-tidy || exit 1

jobs=$(nproc 2>/dev/null || echo 2)
root=${ZRNCORE_BUILD_ROOT:-build}
results=()
failures=0
record() { # record STATUS NAME
  results+=("$1  $2")
  [ "$1" = PASS ] || failures=$((failures + 1))
  echo "== $1  $2"
}

echo "== formatting (clang-format)"
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
  echo "== Qt $qt ($type): configure and build in $dir"
  if ! { cmake -S . -B "$dir" -DZRNCORE_QT_VERSION=$qt -DCMAKE_BUILD_TYPE=$type \
           -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >/dev/null \
         && cmake --build "$dir" -j"$jobs"; }; then
    record FAIL "Qt $qt: build"
    continue
  fi
  record PASS "Qt $qt: build"

  echo "== Qt $qt: tests"
  if ctest --test-dir "$dir" --output-on-failure -j"$jobs" --timeout 300; then
    record PASS "Qt $qt: ctest"
  else
    record FAIL "Qt $qt: ctest"
  fi

  echo "== Qt $qt: packaging"
  if bash scripts/packaging-test.sh "$qt" "$dir"; then
    record PASS "Qt $qt: packaging (install, find_package and pkg-config consumers)"
  else
    record FAIL "Qt $qt: packaging (install, find_package and pkg-config consumers)"
  fi
done

echo "== clang-tidy over the library"
if [ -f "$root/qt5/compile_commands.json" ] && bash scripts/tidy.sh "$root/qt5"; then
  record PASS "clang-tidy"
else
  record FAIL "clang-tidy"
fi

echo "== API docs (Doxygen, any warning fails)"
docs_dir=$root/qt6
[ -f "$docs_dir/CMakeCache.txt" ] || docs_dir=$root/qt5
if [ -f "$docs_dir/CMakeCache.txt" ] && cmake --build "$docs_dir" --target docs; then
  record PASS "API docs in $docs_dir/docs/html"
else
  record FAIL "API docs"
fi

echo
echo "== summary"
printf '%s\n' "${results[@]}"
if [ "$failures" -eq 0 ]; then
  echo "== all ${#results[@]} steps passed"
  exit 0
fi
echo "== $failures of ${#results[@]} steps FAILED"
exit 1
