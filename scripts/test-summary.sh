#!/bin/sh
# Adds up the ctest results of the named build folders (their ctest.log) and
# prints one closing line: "N passed, M failed".
passed=0
failed=0
for dir in "$@"; do
  line=$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$dir/ctest.log" 2>/dev/null | tail -n 1)
  [ -n "$line" ] || continue
  f=$(echo "$line" | sed -E 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\1/')
  n=$(echo "$line" | sed -E 's/.* failed out of ([0-9]+).*/\1/')
  echo "$(basename "$dir"): $((n - f)) of $n ctest tests passed"
  passed=$((passed + n - f))
  failed=$((failed + f))
done
echo "$passed passed, $failed failed"
