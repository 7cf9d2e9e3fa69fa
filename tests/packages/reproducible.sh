#!/usr/bin/env bash
# Makes packages a second time, in another folder and by somebody else, and compares them with those in
# build/packages byte by byte.
#   reproducible.sh KIND...     the kinds of scripts/make-packages.sh
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../.."
packages=$PWD/build/packages
elsewhere=$PWD/build/test-packages/somebody-elses-folder/tavrin
trap 'rm -rf "${elsewhere%/*}"' EXIT
rm -rf "${elsewhere%/*}"

# What is here, committed or not, with nothing that was built.
(
  umask 077
  git clone -q . "$elsewhere"
  git ls-files -z -co --exclude-standard | tar --null -T - -c --ignore-failed-read |
    tar -x --no-same-permissions -C "$elsewhere"
)

# A compiler's cache would hand out what was built here.
(
  cd "$elsewhere"
  umask 077
  env -u SOURCE_DATE_EPOCH CCACHE_DISABLE=1 HOME="${elsewhere%/*}" USER=somebody LOGNAME=somebody \
    HOSTNAME=elsewhere TZ=Pacific/Auckland LC_ALL=C scripts/make-packages.sh "$@" >make.log 2>&1 || {
    cat make.log >&2
    exit 1
  }
)

# Prints what there is in a package: its files with their sums, and how they are listed.
contents() {
  local folder
  folder=$(mktemp -d)
  case $1 in
    *.deb) dpkg-deb -c "$1" && dpkg-deb -R "$1" "$folder" ;;
    *.tar.zst) tar --zstd -tvf "$1" && tar --zstd -xf "$1" -C "$folder" ;;
    *.zip) (cd "$folder" && cmake -E tar tvf "$1" && cmake -E tar xf "$1") ;;
  esac
  (cd "$folder" && find . -type f -print0 | sort -z | xargs -0 sha256sum)
  rm -r "$folder"
}

compared=0
differs=0
for kind in "$@"; do
  [ "$kind" != tar ] || kind=tar.zst
  for package in "$packages"/*."$kind"; do
    again=$elsewhere/build/packages/${package##*/}
    compared=$((compared + 1))
    cmp -s "$package" "$again" && continue
    differs=1
    echo "error: ${package##*/} is another one when it is made elsewhere:" >&2
    diff <(contents "$package") <(contents "$again") >&2 || true
  done
done
echo "== $compared packages compared with those of another folder"
[ $differs = 0 ]
