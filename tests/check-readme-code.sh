#!/usr/bin/env bash
# Checks that every ```cpp block of the README is compiled code: each block
# must appear verbatim in one of the given source files, either as it stands
# or with every non-empty line indented by four more spaces (code taken from
# inside main()). Registered as a ctest; the examples it names run as tests
# of their own.
# Usage: tests/check-readme-code.sh README.md SOURCE...
set -uo pipefail

readme=$1
shift
sources=()
for f in "$@"; do sources+=("$(cat "$f")"); done

blocks=0
missing=0
block=""
inside=0
lineno=0
start=0
check_block() {
  local indented="" line found=0 src
  while IFS= read -r line; do
    if [ -n "$line" ]; then indented+="    $line"$'\n'; else indented+=$'\n'; fi
  done <<<"${block%$'\n'}"
  indented=${indented%$'\n'}
  for src in "${sources[@]}"; do
    if [[ "$src" == *"${block%$'\n'}"* || "$src" == *"$indented"* ]]; then found=1; break; fi
  done
  blocks=$((blocks + 1))
  if [ $found -eq 0 ]; then
    echo "FAIL  README.md:$start: this cpp block is in none of the examples:"
    printf '%s' "$block" | sed 's/^/      | /'
    missing=$((missing + 1))
  fi
}
while IFS= read -r line || [ -n "$line" ]; do
  lineno=$((lineno + 1))
  if [ $inside -eq 0 ] && [ "$line" = '```cpp' ]; then
    inside=1; block=""; start=$lineno
  elif [ $inside -eq 1 ] && [ "$line" = '```' ]; then
    inside=0; check_block
  elif [ $inside -eq 1 ]; then
    block+="$line"$'\n'
  fi
done <"$readme"

if [ $inside -eq 1 ]; then
  echo "FAIL  README.md:$start: cpp block never closed"
  exit 1
fi
if [ $blocks -eq 0 ]; then
  echo "FAIL  README.md has no cpp block to check"
  exit 1
fi
echo "README cpp blocks: $((blocks - missing)) found in the examples, $missing missing"
[ $missing -eq 0 ]
