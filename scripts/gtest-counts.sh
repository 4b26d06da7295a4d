#!/bin/sh
# Prints the GoogleTest counts of each test program of a cross build from its
# last ctest log (the Windows builds run one CTest test per program).
# Usage: gtest-counts.sh BUILD_DIR
log=$1/Testing/Temporary/LastTest.log
echo "GoogleTest in $(basename "$1"):"
awk '
  function report() {
    if (name == "") return
    if (ran == "" && ok) return  # a check that is not a GoogleTest program
    if (ran == "") printf "  %-12s no result\n", name
    else printf "  %-12s %s ran, %s passed%s\n", name, ran, passed + 0, failed == "" ? "" : ", " failed " failed"
  }
  /^[0-9]+\/[0-9]+ Testing: / { report(); name = $3; ran = passed = failed = ""; ok = 0 }
  /^\[==========\] [0-9]+ tests? from .* ran/ { ran = $2 }
  /^\[  PASSED  \] [0-9]+ test/ { passed = $4 }
  /^\[  FAILED  \] [0-9]+ test/ { failed = $4 }
  /^Test Passed\./ { ok = 1 }
  END { report() }
' "$log"
