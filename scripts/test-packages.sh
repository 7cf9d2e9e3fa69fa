#!/usr/bin/env bash
# Makes the Debian packages and tries them in a bare system: an ordinary user runs the command, programs
# are built against the headers, and when all is removed nothing is left. What debootstrap and apt
# bring is kept in build/test-packages for the next time.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
[ "$(id -u)" -eq 0 ] || {
  echo "skipped: a system in a folder of its own needs root"
  exit 0
}

scripts/make-packages.sh deb
packages=$PWD/build/packages
echo "== lintian"
lintian --allow-root --fail-on error --suppress-tags initial-upload-closes-no-bugs "$packages"/*.deb

work=$PWD/build/test-packages
mkdir -p "$work"
mirror=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' 'Created-By: Packages' |
  awk -v suite="$(. /etc/os-release && echo "$VERSION_CODENAME")" '$2 == suite {print $1; exit}')

# What the packages need of others, as apt reads it.
needed() {
  local package
  for package in "$packages"/*.deb; do dpkg-deb -f "$package" Depends; done | tr ',' '\n' |
    sed 's/^ *//' | grep -v -E 'tavrin|hostcommon|^$' | sort -u | paste -sd,
}

# Runs a command in a system, which sees processes and devices of this one as long as it runs.
in_root() {
  local root=$1
  shift
  unshare --mount sh -c 'mount -t proc proc "$0/proc" && mount --rbind /sys "$0/sys" &&
    mount --rbind /dev "$0/dev" && exec chroot "$0" "$@"' "$root" env -i \
    PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}

# Makes the bare system, then one with the tools that build programs, both with what the packages need.
make_roots() {
  local key
  key=$(needed)
  [ "$(cat "$work/made" 2>/dev/null)" != "$key" ] || return 0
  rm -rf "$work/bare" "$work/tools" "$work/made"
  debootstrap --variant=minbase "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$work/bare" \
    "${mirror:-http://deb.debian.org/debian}" >"$work/debootstrap.log"
  cp /etc/resolv.conf "$work/bare/etc/"
  in_root "$work/bare" apt-get satisfy -y -qq --no-install-recommends "$key" >"$work/bare.log" 2>&1
  in_root "$work/bare" useradd --create-home user
  cp -a "$work/bare" "$work/tools"
  in_root "$work/tools" apt-get install -y -qq --no-install-recommends g++ gcc cmake make pkg-config \
    >"$work/tools.log" 2>&1
  echo "$key" >"$work/made"
}

# All files but the ones in which dpkg and the loader keep what they know.
files_of() {
  find "$1" -xdev \( -path "$1/var/lib/dpkg" -o -path "$1/var/log" -o -path "$1/var/cache" \
    -o -path "$1/proc" -o -path "$1/sys" -o -path "$1/dev" -o -path "$1/tmp" -o -path "$1/home/user" \) \
    -prune -o -printf '%P\n' | sort
}

# Copies a system, installs the packages that are named by patterns, runs a script as an ordinary user,
# and removes them.
try() {
  local root=$work/try from=$1 script=$2
  shift 2
  rm -rf "$root"
  cp -a --reflink=auto "$work/$from" "$root"
  mkdir "$root/packages"
  (cd "$packages" && cp $* "$root/packages")  # their patterns are meant
  files_of "$root" >"$work/before"
  in_root "$root" sh -c 'dpkg -i /packages/*.deb' >"$work/dpkg.log" || {
    cat "$work/dpkg.log" >&2
    exit 1
  }
  echo "== as an ordinary user, in the $from system"
  cp "$script" "$root/home/user/script"
  cp tests/data/recorded.jsonl "$root/home/user/recorded.jsonl"
  in_root "$root" su user -c 'cd && sh -eux script'
  in_root "$root" sh -c 'dpkg --purge $(for one in /packages/*.deb; do dpkg-deb -f $one Package; done)' \
    >"$work/dpkg.log"
  files_of "$root" >"$work/after"
  diff "$work/before" "$work/after" || {
    echo "these are left" >&2
    exit 1
  }
  rm -rf "$root"
}

make_roots
try bare tests/packages/use.sh 'tavrin_*' 'tavrin-writers_*' 'libhostcommon*' 'libtavrin-reader*' \
  'tavrin-doc_*' 'python3-tavrin_*'
try tools tests/packages/build.sh 'tavrin-writers_*' 'libhostcommon*' 'libtavrin-*' 'tavrin_*'
echo "== nothing is left"
