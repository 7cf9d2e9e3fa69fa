#!/usr/bin/env bash
# Makes two Debian systems in folders, for packages that need others: WORK/bare, and WORK/tools, in which
# programs can be built. They are kept for the next time.
#   systems.sh WORK DEPENDENCIES
# Only apt reaches for a network, in the way that it always does on this machine, and only for what is not
# in its cache. Ends with status 77, and a line that tells why, where it gets nothing, or where
# a folder cannot be a system.
set -euo pipefail
work=$(readlink -f "$1")
dependencies=$2
in_root=$(dirname "$(readlink -f "$0")")/in_root.sh
suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
tools=(g++ gcc cmake make pkg-config)

skip() {
  echo "skipped: $*"
  exit 77
}

# apt, which knows what there is, but nothing of what this machine has installed.
apt_of_nothing() {
  "$@" -o Dir::Cache="$work/apt" -o Dir::Cache::archives="$work/apt/archives" \
    -o Dir::State::status="$work/apt/status" -o Dir::State::extended_states="$work/apt/extended_states"
}

# The packages that every system has; debootstrap wants the last one as well, where there is one.
basis() {
  apt_of_nothing apt-cache dumpavail | awk '
    /^Package:/ { name = $2 }
    /^Priority: required$|^Essential: yes$|^Package: usr-is-merged$/ { print name }' | sort -u
}

# Gets all packages into $work/apt/archives.
get_packages() {
  rm -rf "$work/apt"
  mkdir -p "$work/apt/archives/partial"
  : >"$work/apt/status"
  local names wanted cache
  names=$(basis)
  [ -n "$names" ] || { echo "E: apt has no lists of packages" && return 1; }
  wanted="$(paste -sd, <<<"$names"), apt, $(IFS=,; echo "${tools[*]}"), $dependencies"
  wanted=("$wanted" "Conflicts: usrmerge")
  local get=(apt_of_nothing apt-get satisfy -qq -y --no-install-recommends)
  "${get[@]}" --print-uris "${wanted[@]}" >"$work/uris" || {
    echo "error: no packages satisfy $dependencies" >&2
    exit 1
  }
  eval "$(apt-config shell cache Dir::Cache::archives/d)"
  awk '{print $2}' "$work/uris" | (cd "$cache" && xargs cp -t "$work/apt/archives") 2>/dev/null || true
  "${get[@]}" --download-only "${wanted[@]}" 2>&1
}

# A mirror with nothing else, which a system takes its packages from.
make_mirror() {
  local index
  index=main/binary-$(dpkg --print-architecture)
  rm -rf "$work/mirror"
  mkdir -p "$work/mirror/dists/$suite/$index"
  mv "$work/apt/archives" "$work/mirror/pool"
  cd "$work/mirror"
  dpkg-scanpackages --multiversion pool >"dists/$suite/$index/Packages" 2>"$work/scan.log"
  cd "dists/$suite"
  printf '%s\n' "Suite: $suite" "Codename: $suite" "Components: main" SHA256: \
    " $(sha256sum "$index/Packages" | cut -d' ' -f1) $(stat -c %s "$index/Packages") $index/Packages" >Release
}

# Installs packages in a system, from that mirror.
install_in() {
  local root=$1
  mv "$work/mirror" "$root"
  "$in_root" "$root" sh -c 'apt-get update -qq && apt-get satisfy -y -qq --no-install-recommends "$0"' "$2" \
    >"$root.log" 2>&1 || {
    cat "$root.log" >&2
    exit 1
  }
  mv "$root/mirror" "$work"
}

key="$dependencies, of $(sha256sum <"$0")"
[ "$(cat "$work/made" 2>/dev/null)" != "$key" ] || exit 0
rm -rf "$work/bare" "$work/tools" "$work/made"
mkdir -p "$work"
[ "$(id -u)" -eq 0 ] || skip "a system in a folder of its own needs root"
unshare --mount mount -t tmpfs none "$work" 2>/dev/null ||
  skip "a system in a folder of its own needs the right to mount"

get_packages >"$work/get.log" || { apt-get update -qq && get_packages; } >"$work/get.log" 2>&1 ||
  skip "apt gets no packages for a bare system: $(grep '^E:' "$work/get.log" | head -1)"
make_mirror
unshare --mount debootstrap --variant=minbase --no-check-gpg "$suite" "$work/bare" "file:$work/mirror" \
  >"$work/debootstrap.log" 2>&1 || skip "debootstrap: $(tail -1 "$work/debootstrap.log")"
"$in_root" "$work/bare" true || skip "what a system in a folder sees of this machine cannot be mounted"
echo "deb [trusted=yes] file:/mirror $suite main" >"$work/bare/etc/apt/sources.list"
echo force-unsafe-io >"$work/bare/etc/dpkg/dpkg.cfg.d/unsafe-io"
install_in "$work/bare" "$dependencies"
"$in_root" "$work/bare" useradd --create-home user
cp -a "$work/bare" "$work/tools"
install_in "$work/tools" "$(IFS=,; echo "${tools[*]}")"
rm -r "$work/mirror" "$work/apt"
echo "$key" >"$work/made"
