#!/bin/sh
# Installs what the build needs on Debian (bookworm), as root, and fetches the
# minizip sources for the Windows builds. Does nothing that is already done.
#   install-deps.sh linux     Linux build only (demo)
#   install-deps.sh fuzz      Linux and the clang fuzz build
#   install-deps.sh bench     Linux and the benchmarks' baselines
#   install-deps.sh all       Linux, fuzz, Windows cross builds, 64-bit Wine and the
#                             private 32-bit Wine (tests)
set -eu
what=${1:-all}
here=$(cd "$(dirname "$0")/.." && pwd)

linux_pkgs="build-essential cmake ninja-build ccache pkg-config zlib1g-dev libminizip-dev libgtest-dev python3 universal-ctags zip unzip 7zip"
fuzz_pkgs="clang libclang-rt-14-dev"
bench_pkgs="libssl-dev"
cross_pkgs="g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix mingw-w64-tools libz-mingw-w64-dev wine wine64 dpkg-dev patchelf"
pkgs=$linux_pkgs
case $what in
  fuzz) pkgs="$pkgs $fuzz_pkgs" ;;
  bench) pkgs="$pkgs $bench_pkgs" ;;
  all) pkgs="$pkgs $fuzz_pkgs $cross_pkgs" ;;
esac

missing=""
for p in $pkgs; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done

sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo

need_src=no
[ "$what" = all ] && [ ! -f "$here/build/minizip-src/unzip.c" ] && need_src=yes

if [ -n "$missing" ]; then
  echo "install-deps: installing$missing"
  $sudo apt-get update -qq
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq \
    -o DPkg::Lock::Timeout=600 --no-install-recommends $pkgs >/dev/null
fi

# minizip's sources come from Debian's source package, through a private apt
# configuration made from the machine's own package sources.
if [ "$need_src" = yes ]; then
  apt_src=$here/build/apt-src
  codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
  "$here/scripts/private-apt.sh" "$apt_src" "$(dpkg --print-architecture)" deb-src "$codename"
  APT_CONFIG=$apt_src/apt.conf apt-get update -qq
  tmp=$(mktemp -d)
  (cd "$tmp" && APT_CONFIG=$apt_src/apt.conf apt-get source -qq minizip >/dev/null 2>&1) ||
    { echo "install-deps: apt-get source minizip failed" >&2; exit 1; }
  mkdir -p "$here/build"
  rm -rf "$here/build/minizip-src"
  mv "$tmp"/minizip-*/ "$here/build/minizip-src"
  rm -rf "$tmp"
fi

[ "$what" = all ] && "$here/scripts/setup-wine32.sh"
true
