#!/usr/bin/env bash
# Compares the names that LIBRARY exports (its defined dynamic symbols, C++
# names demangled) with LIST, one name a line ('#' starts a comment line).
# Prints the difference and fails when they differ: a new export, or a lost
# one, has to be written into LIST on purpose.
#
# usage: check_exports.sh LIBRARY LIST
set -euo pipefail
library=$1 list=$2

expected=$(grep -v -e '^#' -e '^$' "$list" | LC_ALL=C sort -u)
actual=$(nm -D --defined-only "$library" | awk '{ print $3 }' | c++filt | LC_ALL=C sort -u)
if [ "$expected" != "$actual" ]; then
  echo "FAIL $library exports another set of names than $list (- expected, + exported):" >&2
  diff -u <(echo "$expected") <(echo "$actual") | tail -n +3 >&2
  exit 1
fi
echo "ok   $(echo "$actual" | wc -l) exported names as listed"
