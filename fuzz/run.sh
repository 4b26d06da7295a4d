#!/bin/sh
# Runs fuzz targets of a fuzz build, each for the given time, and prints one
# line per target: its executions and whether it found anything.
#   fuzz/run.sh <build dir> <seconds per target> [target ...]
# Without targets, every fuzz_* program of the build runs. Each target grows
# its working corpus in <build dir>/corpus/<target>, seeded from
# fuzz/corpus/<target>; a finding is written to <build dir>/artifacts/.
# FUZZ_FLAGS adds libFuzzer options (e.g. -runs=10000000 to count by runs).
set -u
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
build=$1
seconds=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
[ $# -gt 0 ] || set -- $(cd "$build/bin" && ls fuzz_*)
mkdir -p "$build/corpus" "$build/artifacts" "$build/logs"
failed=0
for target in "$@"; do
  log=$build/logs/$target.log
  dict=
  [ -f "$here/$target.dict" ] && dict=-dict=$here/$target.dict
  seeds=
  [ -d "$here/corpus/$target" ] && seeds=$here/corpus/$target
  mkdir -p "$build/corpus/$target"
  # -timeout: a single input running for 10 s counts as a hang.
  # shellcheck disable=SC2086
  "$build/bin/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$build/artifacts/$target-" $dict ${FUZZ_FLAGS:-} \
    "$build/corpus/$target" $seeds >"$log" 2>&1
  status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  if [ $status -eq 0 ]; then
    printf '%-22s %12s runs   ok\n' "$target" "$runs"
  else
    failed=1
    printf '%-22s %12s runs   FAILED (exit %s), see %s\n' "$target" "${runs:-?}" "$status" "$log"
    grep -m 3 -E 'ERROR|runtime error|broken:|SUMMARY' "$log" | sed 's/^/    /'
  fi
done
exit $failed
