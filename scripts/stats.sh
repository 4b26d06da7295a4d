#!/bin/sh
# Prints the lines of tests against the lines of library code under kelm/
# (tests: *_test.cpp and testing/ helpers; code: every other .h and .cpp)
# and their ratio, which is kept at 0.35 or below. Then checks that no file
# of kelm/ includes itself through other files: exits 1 on an include cycle.
set -eu
cd "$(dirname "$0")/.."

tests=$(find kelm \( -name '*_test.cpp' -o -path '*/testing/*' \) -type f -exec cat {} + | wc -l)
code=$(find kelm \( -name '*.cpp' -o -name '*.h' \) ! -name '*_test.cpp' ! -path '*/testing/*' \
  -type f -exec cat {} + | wc -l)
echo "tests: $tests lines, library code: $code lines, ratio $(awk "BEGIN { printf \"%.2f\", $tests / $code }")"

# Every '#include "kelm/..."' of a library file as an edge for tsort, which
# reports a loop when the files cannot be put in include order.
edges=$(find kelm \( -name '*.cpp' -o -name '*.h' \) -type f | sort | while read -r file; do
  sed -n 's/^#include "\(kelm\/[^"]*\)".*/\1/p' "$file" | while read -r header; do
    echo "$header $file"
  done
done)
if loops=$(echo "$edges" | tsort 2>&1 >/dev/null); then
  echo "include cycles: none"
else
  echo "include cycles:"
  echo "$loops"
  exit 1
fi
