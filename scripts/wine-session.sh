#!/bin/sh
# Runs a command with one persistent wineserver for PREFIX, then stops it.
# Usage: wine-session.sh PREFIX COMMAND [ARGS...]
prefix=$1
shift
export WINEPREFIX="$prefix" WINEDEBUG=-all
unset DISPLAY
server=/usr/lib/wine/wineserver
[ -x "$server" ] || server=$(command -v wineserver)
mkdir -p "$prefix"
"$server" -p </dev/null >/dev/null 2>&1 &
# Wine's own services (services.exe, winedevice.exe) outlive the program that
# started them and keep its output pipes open; start them here, detached from
# any pipe, so that the programs run later find them up.
WINEDLLOVERRIDES="mscoree=d;mshtml=d;winemenubuilder.exe=d" /usr/lib/wine/wine64 wineboot -i \
  </dev/null >/dev/null 2>&1
"$@"
status=$?
"$server" -k </dev/null >/dev/null 2>&1
exit $status
