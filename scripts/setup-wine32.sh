#!/bin/sh
# 32-bit Wine for the i686 tests, unpacked privately into build/wine32: the
# system's package architectures stay as they are. Costs nothing once done
# for the installed wine64 version.
#   setup-wine32.sh          set up (as root: installs qemu where needed)
#   setup-wine32.sh --runs   exit status 0 when the set-up runs 32-bit code
#
# The i386 packages wine32 and libwine of exactly the installed wine64
# version, with their dependencies, come through a private apt configuration
# made from the machine's own sources; each is unpacked with dpkg -x, the
# loader gets the private ld-linux.so.2 as its interpreter, and libwine's
# post-install step (Wine-builtin copies of the MinGW zlib1.dll) is done by
# hand. Where the kernel runs no 32-bit x86 code, qemu-user registered in
# binfmt_misc stands in.
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
dir=$here/build/wine32
root=$dir/root
ld32=$root/lib/ld-linux.so.2

runs() { [ -x "$ld32" ] && "$ld32" --help >/dev/null 2>&1; }

if [ "${1:-}" = --runs ]; then
  runs
  exit
fi

ver=$(dpkg-query -W -f='${Version}' wine64)
sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
. /etc/os-release

if [ "$(cat "$root/.wine-version" 2>/dev/null)" != "$ver" ]; then
  echo "setup-wine32: unpacking 32-bit Wine $ver into $dir"
  "$here/scripts/private-apt.sh" "$dir/apt" i386 deb \
    "$VERSION_CODENAME" "$VERSION_CODENAME-updates"
  export APT_CONFIG="$dir/apt/apt.conf"
  apt-get update -qq
  apt-get install -d -y -qq "wine32=$ver" "libwine=$ver" >/dev/null
  rm -rf "$root.new"
  mkdir -p "$root.new"
  # The archive folder keeps earlier downloads: unpack only the packages of
  # this set, named as apt names its files (an epoch's colon is %3a).
  apt-get install -s -qq "wine32=$ver" "libwine=$ver" |
    sed -n 's/^Inst \([^ ]*\) (\([^ ]*\) .*/\1_\2/p' | sed 's/:/%3a/' |
    while read -r name; do
      for deb in "$dir/apt/archives/${name}_"*.deb; do
        dpkg -x "$deb" "$root.new"
      done
    done
  unset APT_CONFIG
  wine=$root.new/usr/lib/i386-linux-gnu/wine
  for arch in i686:i386 x86_64:x86_64; do
    zlib=$root.new/usr/${arch%%:*}-w64-mingw32/lib/zlib1.dll
    {
      head -c 64 "$zlib"
      printf 'Wine builtin DLL'
      head -c 16 /dev/zero
      tail -c +97 "$zlib"
    } >"$wine/${arch#*:}-windows/zlib1.dll"
  done
  rm -rf "$root"
  mv "$root.new" "$root"
  patchelf --set-interpreter "$ld32" "$root/usr/lib/wine/wine"
  echo "$ver" >"$root/.wine-version"
fi

runs && exit 0

# No 32-bit x86 code natively: qemu-user from backports, registered for i386
# ELF files.
if ! command -v qemu-i386 >/dev/null 2>&1; then
  echo "setup-wine32: this kernel runs no 32-bit code; installing qemu-user"
  "$here/scripts/private-apt.sh" "$dir/backports" "$(dpkg --print-architecture)" deb \
    "$VERSION_CODENAME-backports"
  $sudo cp "$dir/backports/sources.list.d/machine.sources" \
    /etc/apt/sources.list.d/kelm-backports.sources
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq -o DPkg::Lock::Timeout=600 \
    -t "$VERSION_CODENAME-backports" qemu-user qemu-user-binfmt >/dev/null
fi
binfmt=/proc/sys/fs/binfmt_misc
[ -e "$binfmt/register" ] || $sudo mount -t binfmt_misc binfmt_misc "$binfmt" 2>/dev/null || true
if ! runs && [ -e "$binfmt/register" ] && [ ! -e "$binfmt/kelm-i386" ]; then
  magic='\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00'
  mask='\xff\xff\xff\xff\xff\xfe\xfe\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
  echo ":kelm-i386:M::$magic:$mask:$(command -v qemu-i386):F" | $sudo tee "$binfmt/register" >/dev/null || true
fi
runs || echo "setup-wine32: this machine runs 32-bit x86 code neither natively nor through qemu"
