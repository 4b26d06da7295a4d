#!/bin/sh
# Lines of tests against lines of library code under DIR (default kelm).
# Tests: *_test.cpp and everything in the areas' testing/ folders; code: the
# other *.cpp and *.h files.
dir=${1:-kelm}
lines() { xargs -r cat | wc -l; }
tests=$(find "$dir" -type f \( -name '*_test.cpp' -o -path '*/testing/*' \) | lines)
code=$(find "$dir" -type f \( -name '*.cpp' -o -name '*.h' \) ! -name '*_test.cpp' ! -path '*/testing/*' | lines)
awk -v t="$tests" -v c="$code" 'BEGIN { printf "tests %d lines, code %d lines: ratio %.2f\n", t, c, c ? t / c : 0 }'
