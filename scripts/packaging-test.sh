#!/usr/bin/env bash
# Checks that an installed libZrnCore can be used from outside the project.
# Usage: scripts/packaging-test.sh QTVERSION BUILD_DIR
#   QTVERSION  5 or 6, the Qt the build in BUILD_DIR was configured with
#   BUILD_DIR  a configured and built tree of this project
# Installs BUILD_DIR into a temporary prefix, checks the installed files, then
# builds and runs tests/packaging/consumer twice: through find_package(ZrnCore)
# and through a plain g++ command with `pkg-config --cflags --libs ZrnCore`.
# Prints one PASS or FAIL line per check; exits non-zero when any failed.
# Set ZRNCORE_PACKAGING_KEEP=1 to keep the temporary directory for a look.
set -uo pipefail

if [ $# -ne 2 ] || ! [[ "$1" =~ ^[56]$ ]]; then
  echo "usage: $0 QTVERSION(5|6) BUILD_DIR" >&2
  exit 2
fi
qt=$1
if [ ! -f "$2/CMakeCache.txt" ]; then
  echo "$2 is not a configured build tree" >&2
  exit 2
fi
build=$(cd "$2" && pwd)
cd "$(dirname "$0")/.." || exit 2
built_qt=$(sed -n 's/^ZRNCORE_QT_VERSION:[A-Z]*=//p' "$build/CMakeCache.txt")
if [ "$built_qt" != "$qt" ]; then
  echo "$build was configured with Qt '$built_qt', not Qt $qt" >&2
  exit 2
fi

version=$(sed -n 's/^project(ZrnCore VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
major_minor=${version%.*}
work=$(mktemp -d "${TMPDIR:-/tmp}/zrn-packaging.XXXXXX")
if [ -n "${ZRNCORE_PACKAGING_KEEP:-}" ]; then
  echo "keeping $work"
else
  trap 'rm -rf "$work"' EXIT
fi
prefix=$work/prefix
log=$work/log
passed=0
failed=0

pass() { echo "PASS  packaging Qt $qt: $1"; passed=$((passed + 1)); }
fail() {
  echo "FAIL  packaging Qt $qt: $1"
  failed=$((failed + 1))
  if [ -s "$log" ]; then sed 's/^/      | /' "$log" | tail -n 40; fi
}
# check NAME COMMAND...: runs COMMAND with its output in $log, reports it.
check() {
  local name=$1
  shift
  if "$@" >"$log" 2>&1; then pass "$name"; else fail "$name"; fi
}

# ---------------------------------------------------------------- install
if ! cmake --install "$build" --prefix "$prefix" >"$log" 2>&1; then
  fail "cmake --install into a temporary prefix"
  echo "packaging Qt $qt: $passed passed, $((failed)) failed"
  exit 1
fi
pass "cmake --install into a temporary prefix"

libdir=$(dirname "$(find "$prefix" -name "libZrnCore.so.$version" | head -n 1)")
pcfile=$(find "$prefix" -name ZrnCore.pc | head -n 1)
installed_files() {
  local missing=0 f
  for f in "$libdir/libZrnCore.so" "$libdir/libZrnCore.so.$major_minor" "$libdir/libZrnCore.so.$version" \
      "$libdir/libZrnCoreQt.so.$version" "$prefix/include/ZrnCore/zrncoreqt_export.h" \
      "$prefix/include/ZrnCore/zrncore_export.h" "$prefix/include/ZrnCore/Version.h"; do
    [ -e "$f" ] || { echo "missing: ${f#"$prefix"/}"; missing=1; }
  done
  for f in include/ZrnCore/*.h; do
    [ -f "$prefix/$f" ] || { echo "missing: $f"; missing=1; }
  done
  for f in ZrnCoreConfig.cmake ZrnCoreConfigVersion.cmake ZrnCoreTargets.cmake; do
    [ -n "$(find "$prefix" -path "*/cmake/ZrnCore/$f")" ] || { echo "missing: cmake/ZrnCore/$f"; missing=1; }
  done
  [ -n "$pcfile" ] || { echo "missing: ZrnCore.pc"; missing=1; }
  [ "$(readlink "$libdir/libZrnCore.so")" = "libZrnCore.so.$major_minor" ] \
    || { echo "libZrnCore.so does not point at libZrnCore.so.$major_minor"; missing=1; }
  grep -q "ZRNCORE_VERSION_STRING \"$version\"" "$prefix/include/ZrnCore/Version.h" \
    || { echo "Version.h does not say $version"; missing=1; }
  grep -q "find_dependency(Qt$qt COMPONENTS Core)" "$(find "$prefix" -name ZrnCoreConfig.cmake)" \
    || { echo "ZrnCoreConfig.cmake does not find Qt$qt Core"; missing=1; }
  grep -qx "Requires: Qt${qt}Core" "$pcfile" || { echo "ZrnCore.pc does not require Qt${qt}Core"; missing=1; }
  return $missing
}
check "library links, headers, CMake package and ZrnCore.pc are installed" installed_files

# The installed libraries export their interface only: never the private
# Impl of a class, and the Internal test hooks (ZRNCORE_TEST_EXPORT) only
# from a build with tests or fuzz targets.
exports_interface_only() {
  command -v nm >/dev/null || { echo "nm not found (Debian: binutils)"; return 1; }
  local symbols bad=0
  symbols=$(nm -D --defined-only -C "$libdir/libZrnCore.so.$version" "$libdir/libZrnCoreQt.so.$version") || return 1
  if grep -E '::Impl(::|\b)' <<<"$symbols"; then bad=1; fi
  if grep -q '^ZRNCORE_BUILD_TESTS:BOOL=OFF' "$build/CMakeCache.txt" \
      && ! grep -q '^ZRNCORE_BUILD_FUZZERS:BOOL=ON' "$build/CMakeCache.txt"; then
    if grep -E 'Zrn::Internal::' <<<"$symbols"; then bad=1; fi
  fi
  return $bad
}
check "the installed libraries export no Impl and, without tests, no test hook" exports_interface_only

expected="^zrn-consumer: ZrnCore $version, Qt $qt\.[0-9]+\.[0-9]+, 21 -> 42\$"
# run_consumer BINARY: runs it and matches its one line against $expected.
run_consumer() {
  local out
  out=$(LD_LIBRARY_PATH="$libdir" "$1") || { echo "$out"; return 1; }
  echo "$out"
  [[ "$out" =~ $expected ]]
}

# ---------------------------------------------------------------- find_package
consumer_cmake() {
  cmake -S tests/packaging/consumer -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release \
    && cmake --build "$work/cmake" \
    && run_consumer "$work/cmake/zrn-consumer"
}
check "consumer built with find_package(ZrnCore) runs and prints the expected line" consumer_cmake

# ---------------------------------------------------------------- pkg-config
consumer_pkgconfig() {
  local flags
  flags=$(PKG_CONFIG_PATH="$(dirname "$pcfile")" pkg-config --cflags --libs ZrnCore) || return 1
  echo "pkg-config --cflags --libs ZrnCore: $flags"
  # shellcheck disable=SC2086 # the flags are meant to split
  g++ -std=c++17 -fPIC tests/packaging/consumer/main.cpp $flags -o "$work/zrn-consumer-pc" \
    && run_consumer "$work/zrn-consumer-pc"
}
check "consumer built with g++ and pkg-config runs and prints the expected line" consumer_pkgconfig

# ---------------------------------------------------------------- Qt mismatch
# A consumer on the other Qt major version must be refused by
# find_package(ZrnCore) with a message naming both, and no build files.
other=$((qt == 5 ? 6 : 5))
consumer_other_qt() {
  if cmake -S tests/packaging/qt-mismatch -B "$work/mismatch" -DCMAKE_PREFIX_PATH="$prefix" -DQT_MAJOR="$other"; then
    echo "configuring a Qt $other consumer succeeded"
    return 1
  fi
  [ ! -e "$work/mismatch/Makefile" ] && [ ! -e "$work/mismatch/build.ninja" ] \
    || { echo "build files were written"; return 1; }
  tr '\n' ' ' <"$log" | tr -s ' ' | grep -q "ZrnCore was built with Qt $qt, but this project uses Qt $other\." \
    || { echo "the message naming both Qt versions is missing"; return 1; }
}
if [ -n "$(find /usr/lib /usr/local/lib /usr/lib64 -path "*/cmake/Qt$other/Qt${other}Config.cmake" 2>/dev/null | head -n 1)" ]; then
  check "a Qt $other consumer is refused by find_package(ZrnCore) with a clear message" consumer_other_qt
else
  echo "SKIP  packaging Qt $qt: no Qt $other installed for the mismatch check"
fi

echo "packaging Qt $qt: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
