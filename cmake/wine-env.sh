# Sourced by the Wine helpers. wine_env ARCH (x86_64 or i686) exports a
# headless, quiet Wine environment for WINEPREFIX and sets `loader` and
# `server`.
# The 32-bit Wine is the private one that scripts/setup-wine32.sh unpacks into
# build/wine32 of the source tree; the installed 64-bit server serves its
# 32-bit processes, as Debian's own wine wrapper arranges it.
wine_env() {
  export WINEDEBUG=-all
  export WINEDLLOVERRIDES="mscoree=d;mshtml=d;winemenubuilder.exe=d"
  unset DISPLAY WAYLAND_DISPLAY
  server=/usr/lib/wine/wineserver64
  [ -x "$server" ] || server=/usr/lib/wine/wineserver
  [ -x "$server" ] || server=$(command -v wineserver)
  case $1 in
    x86_64) loader=/usr/lib/wine/wine64 ;;
    *)
      wine32_root=$(cd "$(dirname "$0")/.." && pwd)/build/wine32/root
      loader=$wine32_root/usr/lib/wine/wine
      export WINEARCH=win32 WINELOADER="$loader" WINESERVER="$server"
      export LD_LIBRARY_PATH="$wine32_root/lib/i386-linux-gnu:$wine32_root/usr/lib/i386-linux-gnu"
      # A prefix that 64-bit Wine made cannot serve 32-bit Wine: start afresh.
      if grep -qs '^#arch=win64' "$WINEPREFIX/system.reg"; then rm -rf "$WINEPREFIX"; fi
      ;;
  esac
}
