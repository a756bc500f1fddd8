#!/usr/bin/env bash
# Checks that every .cpp and .h file of the sources is formatted as
# .clang-format says, changing nothing. Prints the offending lines and exits
# non-zero when a file needs formatting, or when it found no file to check
# (a check of nothing proves nothing). To format a file: clang-format -i FILE.
# Usage: scripts/check-format.sh [FILE...]
#   Without FILE: in a git checkout, the tracked .cpp/.h files; elsewhere (an
#   unpacked archive, a copy, a machine without git), the .cpp/.h files found
#   under the source folders listed below.
set -euo pipefail
cd "$(dirname "$0")/.."

# The folders that hold the project's C++ sources.
source_dirs=(bench examples fuzz include src tests)

clang_format=${CLANG_FORMAT:-clang-format}
if ! command -v "$clang_format" >/dev/null; then
  echo "$clang_format not found (Debian: apt-get install clang-format)" >&2
  exit 2
fi

if [ $# -gt 0 ]; then
  files=("$@")
elif command -v git >/dev/null && [ "$(git rev-parse --show-toplevel 2>/dev/null)" = "$(pwd -P)" ]; then
  echo "format: checking the files tracked by git"
  mapfile -t files < <(git ls-files '*.cpp' '*.h')
else
  echo "format: not a git checkout, checking the files under ${source_dirs[*]}"
  existing=()
  for d in "${source_dirs[@]}"; do [ -d "$d" ] && existing+=("$d"); done
  files=()
  if [ ${#existing[@]} -gt 0 ]; then
    mapfile -t files < <(find "${existing[@]}" -type f \( -name '*.cpp' -o -name '*.h' \) | LC_ALL=C sort)
  fi
fi

if [ ${#files[@]} -eq 0 ]; then
  echo "format: no .cpp or .h file found to check; FAIL" >&2
  exit 1
fi

bad=0
for f in "${files[@]}"; do
  if ! "$clang_format" --dry-run -Werror "$f" 2>/dev/null; then
    echo "needs formatting: $f"
    bad=$((bad + 1))
  fi
done
echo "format: $((${#files[@]} - bad)) files clean, $bad need formatting"
[ "$bad" -eq 0 ]
