#!/usr/bin/env bash
# Checks that every tracked .cpp and .h file is formatted as .clang-format
# says, changing nothing. Prints the offending lines and exits non-zero when
# a file needs formatting. To format a file: clang-format -i FILE.
# Usage: scripts/check-format.sh [FILE...]   (default: all tracked .cpp/.h)
set -euo pipefail
cd "$(dirname "$0")/.."

clang_format=${CLANG_FORMAT:-clang-format}
if ! command -v "$clang_format" >/dev/null; then
  echo "$clang_format not found (Debian: apt-get install clang-format)" >&2
  exit 2
fi

if [ $# -gt 0 ]; then
  files=("$@")
else
  mapfile -t files < <(git ls-files '*.cpp' '*.h')
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
