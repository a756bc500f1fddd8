#!/usr/bin/env bash
# Runs clang-tidy (checks in .clang-tidy) over the library's sources, or over
# the given files, with the compile commands of a build tree.
# Usage: scripts/tidy.sh BUILD_DIR [FILE...]
#   BUILD_DIR  configured with -DCMAKE_EXPORT_COMPILE_COMMANDS=ON; when its
#              compile_commands.json is missing, the tree is reconfigured so.
# Exits non-zero when clang-tidy reports any warning.
set -euo pipefail

if [ $# -lt 1 ]; then
  echo "usage: $0 BUILD_DIR [FILE...]" >&2
  exit 2
fi
mkdir -p "$1"
build=$(cd "$1" && pwd)
shift
# FILE arguments are taken relative to the current directory.
files=()
for f in "$@"; do files+=("$(realpath "$f")"); done
cd "$(dirname "$0")/.."
clang_tidy=${CLANG_TIDY:-clang-tidy}
if ! command -v "$clang_tidy" >/dev/null; then
  echo "$clang_tidy not found (Debian: apt-get install clang-tidy)" >&2
  exit 2
fi
if [ ! -f "$build/compile_commands.json" ]; then
  cmake -S . -B "$build" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >/dev/null
fi
# The generated headers (Version.h, zrncore_export.h) must exist.
cmake --build "$build" --target ZrnCore >/dev/null

[ ${#files[@]} -gt 0 ] || files=(src/Core/*.cpp)

log=$(mktemp)
trap 'rm -f "$log"' EXIT
status=0
for f in "${files[@]}"; do
  if ! "$clang_tidy" -p "$build" --quiet "$f" >>"$log" 2>/dev/null; then status=1; fi
done
warnings=$(grep -c ': warning: \|: error: ' "$log" || true)
cat "$log"
echo "clang-tidy: ${#files[@]} files, $warnings warnings"
[ "$status" -eq 0 ] && [ "$warnings" -eq 0 ]
