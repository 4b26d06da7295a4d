#!/bin/sh
# Runs a Windows program of the cross build under Wine, headless and quiet.
# Usage: wine-run.sh PREFIX ARCH PROGRAM [ARGS...]   (ARCH: x86_64 or i686)
# The runtime DLLs are copied beside the programs by the build, so no WINEPATH
# is needed. Standard input is closed: nothing may wait for a console.
prefix=$1
arch=$2
shift 2

export WINEPREFIX="$prefix"
. "$(dirname "$0")/wine-env.sh"
wine_env "$arch"

# A persistent server keeps later starts fast. The first run makes the prefix
# and starts Wine's services; both are detached from the caller's pipes,
# which they would otherwise hold open after the program has ended (parallel
# runs wait for the first).
mkdir -p "$(dirname "$prefix")"
"$server" -p30 </dev/null >/dev/null 2>&1 &
flock -o "$prefix.lock" "$loader" wineboot -i </dev/null >/dev/null 2>&1

exec "$loader" "$@" </dev/null
