#!/bin/sh
# Installs what the build needs on Debian (bookworm), as root, and fetches the
# minizip sources for the Windows builds. Does nothing that is already done.
#   install-deps.sh linux     Linux build only (demo)
#   install-deps.sh fuzz      Linux and the clang fuzz build
#   install-deps.sh bench     Linux and the benchmarks' baselines
#   install-deps.sh all       Linux, fuzz, Windows cross builds and Wine (tests)
set -eu
what=${1:-all}
here=$(cd "$(dirname "$0")/.." && pwd)

linux_pkgs="build-essential cmake ninja-build ccache pkg-config zlib1g-dev libminizip-dev libgtest-dev"
fuzz_pkgs="clang libclang-rt-14-dev"
bench_pkgs="libssl-dev"
cross_pkgs="g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix mingw-w64-tools libz-mingw-w64-dev wine wine64 dpkg-dev"
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
if [ "$what" = all ] && [ ! -f "$here/build/minizip-src/unzip.c" ]; then
  need_src=yes
  # minizip's sources come from Debian's source package.
  if ! grep -rqs "deb-src" /etc/apt/sources.list /etc/apt/sources.list.d/ ; then
    $sudo tee /etc/apt/sources.list.d/kelm-deb-src.sources >/dev/null <<'SRC'
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: bookworm
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SRC
    missing="$missing (deb-src)"
  fi
fi

if [ -n "$missing" ]; then
  echo "install-deps: installing$missing"
  $sudo apt-get update -qq
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends $pkgs >/dev/null
fi

if [ "$need_src" = yes ]; then
  tmp=$(mktemp -d)
  (cd "$tmp" && apt-get source -qq minizip >/dev/null 2>&1) || {
    $sudo apt-get update -qq
    (cd "$tmp" && apt-get source -qq minizip >/dev/null)
  }
  mkdir -p "$here/build"
  rm -rf "$here/build/minizip-src"
  mv "$tmp"/minizip-*/ "$here/build/minizip-src"
  rm -rf "$tmp"
fi
