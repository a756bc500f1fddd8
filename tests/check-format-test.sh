#!/usr/bin/env bash
# Checks scripts/check-format.sh itself, in copies of the sources that are
# not git checkouts (as on a machine without git, or an unpacked archive):
#   1. a clean copy: every .cpp/.h file is found and checked, and it passes;
#   2. the same copy with one badly formatted file: it fails and names it;
#   3. a copy without sources: it checks nothing, and so it fails.
# Usage: tests/check-format-test.sh SOURCE_DIR
set -uo pipefail
src=${1:?usage: $0 SOURCE_DIR}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

dirs=(bench examples fuzz include src tests)
copy=$work/copy
mkdir -p "$copy/scripts"
cp "$src/.clang-format" "$copy/"
cp "$src/scripts/check-format.sh" "$copy/scripts/"
for d in "${dirs[@]}"; do cp -r "$src/$d" "$copy/"; done
expected=$(cd "$copy" && find "${dirs[@]}" -type f \( -name '*.cpp' -o -name '*.h' \) | wc -l)
[ "$expected" -gt 0 ] || fail "the copy holds no .cpp or .h file"

# 1. A clean copy passes, having checked every file.
out=$(bash "$copy/scripts/check-format.sh" 2>&1)
status=$?
echo "$out" | tail -n 3
[ "$status" -eq 0 ] || fail "clean copy: exit status $status, expected 0"
grep -qx "format: not a git checkout, checking the files under ${dirs[*]}" <<<"$out" \
  || fail "clean copy: did not say that it searched the source folders"
grep -qx "format: $expected files clean, 0 need formatting" <<<"$out" \
  || fail "clean copy: expected 'format: $expected files clean, 0 need formatting'"

# 2. One badly formatted file fails the check, and is named.
printf 'int  main( ) {return 0 ;}\n' >"$copy/src/BadlyFormatted.cpp"
out=$(bash "$copy/scripts/check-format.sh" 2>&1)
status=$?
echo "$out" | tail -n 2
[ "$status" -ne 0 ] || fail "badly formatted file: exit status 0, expected a failure"
grep -qx "needs formatting: src/BadlyFormatted.cpp" <<<"$out" \
  || fail "badly formatted file: not named"
grep -qx "format: $expected files clean, 1 need formatting" <<<"$out" \
  || fail "badly formatted file: expected 'format: $expected files clean, 1 need formatting'"

# 3. Nothing to check is a failure, not a pass.
empty=$work/empty
mkdir -p "$empty/scripts" "$empty/src"
cp "$src/.clang-format" "$empty/"
cp "$src/scripts/check-format.sh" "$empty/scripts/"
out=$(bash "$empty/scripts/check-format.sh" 2>&1)
status=$?
echo "$out" | tail -n 1
[ "$status" -eq 1 ] || fail "no sources: exit status $status, expected 1"
grep -qx "format: no .cpp or .h file found to check; FAIL" <<<"$out" \
  || fail "no sources: did not say that it found nothing"

if [ "$failures" -eq 0 ]; then
  echo "check-format.sh: all 3 cases behave"
  exit 0
fi
echo "check-format.sh: $failures checks failed"
exit 1
