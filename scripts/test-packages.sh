#!/usr/bin/env bash
# Makes the packages, and again in another folder, which has to give the same bytes; tries Debian's in a
# bare system: an ordinary user runs the command, programs are built against the headers, newer
# packages take the place of older ones, and when all are removed nothing is left. The systems
# are kept in build/test-packages for the next time.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
packages=$PWD/build/packages
work=$PWD/build/test-packages
in_root=tests/packages/in_root.sh

step() { echo "== $SECONDS s: $*"; }

# What the packages need of others, as apt reads it.
needed() {
  local package
  for package in "$packages"/*.deb; do dpkg-deb -f "$package" Depends; done | tr ',' '\n' |
    sed 's/^ *//' | grep -v -E 'tavrin|hostcommon|^$' | sort -u | paste -sd,
}

# Whoever links the libraries depends on their packages.
check_shared_libraries() {
  local folder
  folder=$(mktemp -d)
  mkdir "$folder/debian"
  touch "$folder/debian/control"
  dpkg-deb -R "$packages"/libhostcommon*.deb "$folder/host"
  dpkg-deb -R "$packages"/tavrin_*.deb "$folder/command"
  (cd "$folder" && dpkg-shlibdeps -O -Shost command/usr/bin/tavrin) | grep -o 'libhostcommon[^,]*'
  rm -r "$folder"
}

# What systemd has to say about a unit, as far as it is here, with a program that is here.
check_unit() {
  command -v systemd-analyze >/dev/null || return 0
  sed 's|^ExecStart=[^ ]*|ExecStart=/bin/true|' "$1" >"$work/tavrin.service"
  systemd-analyze verify --man=no "$work/tavrin.service"
}

# Makes packages of the next revision, with nothing new in them.
make_newer() {
  local package folder
  rm -rf "$work/newer"
  mkdir "$work/newer"
  for package in "$packages"/*.deb; do
    folder=$work/newer/unpacked
    dpkg-deb -R "$package" "$folder"
    sed -i -E '/^(Version|Depends|Recommends|Suggests):/s/-1(\)|$)/-2\1/g' "$folder/DEBIAN/control"
    dpkg-deb -Zgzip -z1 -b "$folder" "$work/newer" >"$work/newer.log"
    rm -r "$folder"
  done
}

# All files but the ones in which dpkg and the loader keep what they know.
files_of() {
  find "$1" -xdev \( -path "$1/var/lib/dpkg" -o -path "$1/var/log" -o -path "$1/var/cache" \
    -o -path "$1/proc" -o -path "$1/sys" -o -path "$1/dev" -o -path "$1/tmp" -o -path "$1/home/user" \) \
    -prune -o -printf '%P\n' | sort
}

# Runs dpkg in the system of `try`; what it says is shown if it fails, or if it has a warning.
dpkg_in_root() {
  "$in_root" "$work/try" sh -c "dpkg $*" >"$work/dpkg.log" 2>&1 && ! grep -E '^dpkg: (warning|error)' "$work/dpkg.log" || {
    cat "$work/dpkg.log" >&2
    exit 1
  }
}

# Copies a system, installs the packages that are named by patterns, runs a script as an ordinary user,
# installs newer ones, and removes them.
try() {
  local root=$work/try from=$1 script=$2 config=etc/tavrin/record.toml
  shift 2
  step "as an ordinary user, in the $from system"
  rm -rf "$root"
  cp -a --reflink=auto "$work/$from" "$root"
  mkdir "$root/packages" "$root/newer"
  (cd "$packages" && cp $* "$root/packages")  # their patterns are meant
  (cd "$root/packages" && ls | sed 's/-1_/-2_/' | (cd "$work/newer" && xargs cp -t "$root/newer"))
  files_of "$root" >"$work/before"
  dpkg_in_root -i '/packages/*.deb'
  cp "$script" "$root/home/user/script"
  cp tests/data/recorded.jsonl "$root/home/user/recorded.jsonl"
  "$in_root" "$root" su user -c 'cd && sh -eux script'
  check_unit "$root/lib/systemd/system/tavrin.service"

  step "newer ones, and none"
  echo '# mine' >>"$root/$config"
  dpkg_in_root -i '/newer/*.deb'
  grep -qx '# mine' "$root/$config"
  "$in_root" "$root" su user -c 'tavrin list writers' >"$work/list.log"
  dpkg_in_root --remove '$(for one in /packages/*.deb; do dpkg-deb -f $one Package; done)'
  grep -qx '# mine' "$root/$config"
  dpkg_in_root --purge tavrin  # the others are gone
  files_of "$root" >"$work/after"
  diff "$work/before" "$work/after" || {
    echo "these are left" >&2
    exit 1
  }
  rm -rf "$root"
}

step "packages"
scripts/make-packages.sh deb tar
step "lintian"
lintian --allow-root --display-info --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs \
  "$packages"/*.deb | tee "$packages/lintian.log"
check_shared_libraries
step "packages of another folder"
mkdir -p "$work"
tests/packages/reproducible.sh deb tar

step "bare systems"
status=0
tests/packages/systems.sh "$work" "$(needed)" || status=$?
[ $status -ne 77 ] || exit 0
[ $status -eq 0 ] || exit $status
make_newer
try bare tests/packages/use.sh 'tavrin_*' 'tavrin-writers_*' 'libhostcommon*' 'libtavrin-reader*' \
  'tavrin-doc_*' 'python3-tavrin_*'
try tools tests/packages/build.sh 'tavrin-writers_*' 'libhostcommon*' 'libtavrin-*' 'tavrin_*'
step "nothing is left"
