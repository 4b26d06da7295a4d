#!/bin/sh
# Builds every build type with both CMake generators for the three targets
# (library, tests and tools) and checks each library's export table (the
# `exports` test). Slow (two dozen builds): not part of CI.
# Usage: build-matrix.sh [TARGET...]   (win32 win64 linux; default all)
# TYPES and GENERATORS narrow the run, e.g. TYPES=Debug GENERATORS=Ninja.
# Results: build/matrix/<target>-<generator>-<type>, summary in build/matrix/summary.
set -u
here=$(cd "$(dirname "$0")/.." && pwd)
out=$here/build/matrix
jobs=${JOBS:-2}
mkdir -p "$out"
targets=${*:-win32 win64 linux}
launcher=""
command -v ccache >/dev/null && launcher="-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache"
status=0
for type in ${TYPES:-Release RelWithDebInfo MinSizeRel Debug}; do
  for target in $targets; do
    case $target in
      linux) cross="" ;;
      win64) cross="-DCMAKE_TOOLCHAIN_FILE=$here/cmake/toolchain-x86_64-w64-mingw32.cmake" ;;
      win32) cross="-DCMAKE_TOOLCHAIN_FILE=$here/cmake/toolchain-i686-w64-mingw32.cmake" ;;
      *) echo "unknown target $target" >&2; exit 2 ;;
    esac
    for gen in ${GENERATORS:-Ninja Unix_Makefiles}; do
      gen=$(echo "$gen" | tr _ " ")
      name=$target-$(echo "$gen" | tr -d ' ' | tr 'A-Z' 'a-z')-$(echo "$type" | tr 'A-Z' 'a-z')
      dir=$out/$name
      result=ok
      # shellcheck disable=SC2086
      if ! cmake -S "$here" -B "$dir" -G "$gen" -DCMAKE_BUILD_TYPE="$type" $launcher $cross \
             -DKELM_MINIZIP_SOURCE_DIR="$here/build/minizip-src" >"$dir.log" 2>&1 ||
         ! cmake --build "$dir" -j "$jobs" >>"$dir.log" 2>&1; then
        result="BUILD FAILED"
      else
        (cd "$dir" && ctest -R '^exports$' >>"$dir.log" 2>&1) || result="EXPORTS FAILED"
      fi
      [ "$result" = ok ] || status=1
      echo "$name: $result" | tee -a "$out/summary"
    done
  done
done
exit $status
