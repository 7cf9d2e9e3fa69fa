#!/usr/bin/env bash
# Makes packages of a release build, in build/packages: .deb for this Debian, .tar.zst, and .zip for Windows
# where its compiler is installed. The same commit gives the same bytes, in whichever folder it is.
#   make-packages.sh [deb|tar|zip...]
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
umask 022

kinds=("$@")
if [ ${#kinds[@]} -eq 0 ]; then
  kinds=(deb tar)
  if command -v x86_64-w64-mingw32-g++-posix >/dev/null; then
    kinds+=(zip)
  else
    echo "== no .zip: g++-mingw-w64-x86-64-posix is not installed" >&2
  fi
fi

# All files are as old as the last change.
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null ||
  stat -c %Y hostcommon/Version.h)}
export SOURCE_DATE_EPOCH TZ=UTC

packages=$PWD/build/packages
mkdir -p "$packages"

# package PRESET GENERATOR ENDING OPTION...
package() {
  local preset=$1 generator=$2 ending=$3
  local log=$packages/$preset-$ending.log
  rm -f "$packages"/*."$ending"
  {
    cmake --preset "$preset" "${@:4}" && cmake --build "build/$preset" &&
      cpack --config "build/$preset/CPackConfig.cmake" -G "$generator" -B "$packages/work"
  } >"$log" 2>&1 || {
    cat "$log" >&2
    exit 1
  }
  mv "$packages"/work/*."$ending" "$packages"
  rm -r "$packages/work"
}

# CPack packs files in the order in which the folder has them, with the user that it is.
sort_archive() {
  local folder
  folder=$(mktemp -d)
  tar --zstd -xf "$1" -C "$folder"
  tar -C "$folder" --sort=name --mtime="@$SOURCE_DATE_EPOCH" --owner=0 --group=0 --numeric-owner \
    --mode=go-w --format=gnu -cf - "$(ls "$folder")" | zstd -19 -q -T1 -f -o "$1"
  rm -r "$folder"
}

sort_zip() {
  python3 - "$1" "$SOURCE_DATE_EPOCH" <<'END'
import sys, time, zipfile
path, date = sys.argv[1], time.gmtime(int(sys.argv[2]))[:6]
with zipfile.ZipFile(path) as package:
    files = sorted((file.filename, file.external_attr, package.read(file)) for file in package.infolist())
with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as package:
    for name, attributes, content in files:
        file = zipfile.ZipInfo(name, date)
        file.external_attr = attributes
        package.writestr(file, content, zipfile.ZIP_DEFLATED, 9)
END
}

for kind in "${kinds[@]}"; do
  case $kind in
    deb)
      # A system's libraries are found without being told where they are.
      package package DEB deb -DPW_DEBIAN=ON -DCMAKE_SKIP_INSTALL_RPATH=ON -DCMAKE_INSTALL_PREFIX=/usr \
        -DCMAKE_INSTALL_SYSCONFDIR=/etc -DPW_UNIT_FOLDER=/lib/systemd/system \
        -DCMAKE_INSTALL_LIBDIR="lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)"
      ;;
    tar)
      package package TZST tar.zst -DPW_DEBIAN=OFF -DCMAKE_SKIP_INSTALL_RPATH=OFF \
        -DCMAKE_INSTALL_PREFIX=/usr/local \
        -DCMAKE_INSTALL_SYSCONFDIR=etc -DPW_UNIT_FOLDER=lib/systemd/system -DCMAKE_INSTALL_LIBDIR=lib
      sort_archive "$packages"/*.tar.zst
      ;;
    zip)
      package windows-package ZIP zip
      sort_zip "$packages"/*.zip
      ;;
    *)
      sed -n '2,5s/^# \?//p' "$0" >&2
      exit 2
      ;;
  esac
done
ls -l "$packages"/*.deb "$packages"/*.tar.zst "$packages"/*.zip 2>/dev/null || true
