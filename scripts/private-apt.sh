#!/bin/sh
# Prepares an apt configuration of its own in DIR, for downloads that must not
# touch the system's package state: its own lists, cache and empty dpkg
# status, and a source file made from the machine's configured `deb` entries
# of the distribution's main suite (one-line and deb822 formats): the same
# URIs, components and keyring, with the given type (deb or deb-src),
# architecture and suites. No host name is written here, so any mirror works.
# The machine's apt.conf.d settings (proxies and the like) still apply.
# Usage: private-apt.sh DIR ARCH TYPE SUITE...
#   then APT_CONFIG=DIR/apt.conf apt-get update / install -d / source ...
set -eu
dir=$1 arch=$2 type=$3
shift 3
mkdir -p "$dir/lists/partial" "$dir/archives/partial" "$dir/sources.list.d" "$dir/preferences.d"
: >"$dir/sources.list"
: >"$dir/preferences"
[ -f "$dir/status" ] || : >"$dir/status"

eval "$(apt-config shell list Dir::Etc::sourcelist/f parts Dir::Etc::sourceparts/d)"
files=""
[ -f "$list" ] && files=$list
for f in "$parts"*.list "$parts"*.sources; do
  [ -f "$f" ] && files="$files $f"
done

codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
# shellcheck disable=SC2086
awk -v type="$type" -v arch="$arch" -v suites="$*" -v codename="$codename" '
  function emit(uris, s, comps, key) {
    if (uris == "" || index(" " s " ", " " codename " ") == 0) return
    print "Types: " type
    print "URIs: " uris
    print "Suites: " suites
    if (comps != "") print "Components: " comps
    if (key != "") print "Signed-By:" key
    if (type == "deb") print "Architectures: " arch
    print ""
  }
  function flush() {
    if (st_types ~ /(^| )deb( |$)/ && tolower(st_enabled) != "no")
      emit(st_uris, st_suites, st_comps, st_key)
    st_types = st_uris = st_suites = st_comps = st_key = st_enabled = field = ""
  }
  FNR == 1 { flush(); deb822 = FILENAME ~ /\.sources$/ }
  # One-line format: deb [ options ] uri suite component...
  !deb822 {
    sub(/#.*/, "")
    if ($1 != "deb") next
    line = $0
    sub(/^[ \t]*deb[ \t]+/, "", line)
    key = ""
    if (substr(line, 1, 1) == "[") {
      opts = substr(line, 2, index(line, "]") - 2)
      line = substr(line, index(line, "]") + 1)
      n = split(opts, o, /[ \t]+/)
      for (i = 1; i <= n; i++)
        if (o[i] ~ /^signed-by=/) key = " " substr(o[i], 11)
    }
    n = split(line, w, /[ \t]+/)
    j = 0
    for (i = 1; i <= n; i++) if (w[i] != "") v[++j] = w[i]
    comps = ""
    for (i = 3; i <= j; i++) comps = comps (i > 3 ? " " : "") v[i]
    emit(v[1], v[2], comps, key)
    next
  }
  # deb822: stanzas of "Field: value" with indented continuation lines.
  /^[ \t]*$/ { flush(); next }
  /^#/ { next }
  /^[ \t]/ { if (field == "signed-by") st_key = st_key "\n" $0; next }
  {
    field = tolower(substr($0, 1, index($0, ":") - 1))
    value = substr($0, index($0, ":") + 1)
    sub(/^[ \t]+/, "", value)
    sub(/[ \t]+$/, "", value)
    if (field == "types") st_types = value
    else if (field == "uris") st_uris = value
    else if (field == "suites") st_suites = value
    else if (field == "components") st_comps = value
    else if (field == "enabled") st_enabled = value
    else if (field == "signed-by") st_key = (value == "" ? "" : " " value)
  }
  END { flush() }
' $files >"$dir/sources.list.d/machine.sources"

if ! grep -q '^Types:' "$dir/sources.list.d/machine.sources"; then
  echo "private-apt: no configured deb entry serves $codename" >&2
  exit 1
fi

cat >"$dir/apt.conf" <<EOF
APT::Architecture "$arch";
APT::Architectures { "$arch"; };
APT::Install-Recommends "false";
APT::Install-Suggests "false";
Dir::State "$dir";
Dir::State::lists "$dir/lists";
Dir::State::status "$dir/status";
Dir::Cache "$dir";
Dir::Cache::archives "$dir/archives";
Dir::Etc::sourcelist "$dir/sources.list";
Dir::Etc::sourceparts "$dir/sources.list.d";
Dir::Etc::preferences "$dir/preferences";
Dir::Etc::preferencesparts "$dir/preferences.d";
Debug::NoLocking "true";
EOF
