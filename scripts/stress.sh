#!/bin/bash
# Runs the thread-related test programs of one build many times and counts
# failures and hangs (runs that outlive the time limit and are killed).
# Usage: stress.sh BUILD_DIR RUNS [EMULATOR [ARGS...]]
#   stress.sh build/linux 200
#   stress.sh build/win64 200 cmake/wine-run.sh "$PWD/build/win64/wineprefix" x86_64
# STRESS_TIMEOUT  seconds one run may take (default 120)
# STRESS_JOBS     runs at a time (default 4: the programs mostly wait)
# Logs of failed and hung runs stay in BUILD_DIR/stress/. Exit status 1 if
# any run failed or hung.
set -u
dir=$1
runs=$2
shift 2
emulator=("$@")
limit=${STRESS_TIMEOUT:-120}
jobs=${STRESS_JOBS:-4}

# program and GoogleTest filter
programs=(
  "threadpool_test *"
  "frame_test Locker.*:Semaphore.*:Mutex1.*:Thread.*:ThreadGlobalVars.*"
  "variant_test FuncListTest.*"
)

suffix=""
[ -e "$dir/bin/threadpool_test.exe" ] && suffix=.exe
out=$dir/stress
rm -rf "$out"
mkdir -p "$out"

# One run; its status goes to a file, its output stays only if it failed.
run_once() {
  local name=$1 filter=$2 i=$3 log=$out/$1.$3.log
  timeout -k 10 "$limit" "${emulator[@]}" "$dir/bin/$name$suffix" "--gtest_filter=$filter" \
    >"$log" 2>&1 </dev/null
  local status=$?
  echo $status >"$out/$name.$i.status"
  [ $status -eq 0 ] && rm -f "$log"
}

bad=0
for entry in "${programs[@]}"; do
  name=${entry%% *}
  filter=${entry#* }
  if [ ! -e "$dir/bin/$name$suffix" ]; then
    echo "$name: missing in $dir/bin" >&2
    bad=1
    continue
  fi
  start=$SECONDS
  for i in $(seq 1 "$runs"); do
    while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do wait -n; done
    run_once "$name" "$filter" "$i" &
  done
  wait
  failures=0
  hangs=0
  for i in $(seq 1 "$runs"); do
    status=$(cat "$out/$name.$i.status")
    case $status in
      0) ;;
      124 | 137) hangs=$((hangs + 1))
                 echo "  $name run $i hung in: $(grep '^\[ RUN' "$out/$name.$i.log" | tail -n 1)" ;;
      *) failures=$((failures + 1)) ;;
    esac
  done
  rm -f "$out/$name".*.status
  echo "$(basename "$dir") $name: $runs runs, $failures failures, $hangs hangs ($((SECONDS - start)) s)"
  [ $((failures + hangs)) -eq 0 ] || bad=1
done
rmdir "$out" 2>/dev/null
exit $bad
