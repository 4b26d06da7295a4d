#!/bin/sh
# Runs a command with one persistent wineserver for PREFIX, then stops it.
# Usage: wine-session.sh PREFIX ARCH COMMAND [ARGS...]   (ARCH: x86_64 or i686)
prefix=$1
arch=$2
shift 2
export WINEPREFIX="$prefix"
. "$(dirname "$0")/../cmake/wine-env.sh"
wine_env "$arch"
mkdir -p "$prefix"
"$server" -p </dev/null >/dev/null 2>&1 &
# Wine's own services (services.exe, winedevice.exe) outlive the program that
# started them and keep its output pipes open; start them here, detached from
# any pipe, so that the programs run later find them up.
"$loader" wineboot -i </dev/null >/dev/null 2>&1
"$@"
status=$?
"$server" -k </dev/null >/dev/null 2>&1
exit $status
