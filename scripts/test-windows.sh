#!/usr/bin/env bash
# Builds for Windows with MinGW-w64 and runs the tests under Wine, in a Wine prefix of its own.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

scripts/build.sh windows

export WINEPREFIX=$PWD/build/windows/wine WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  echo "== making the Wine prefix"
  wineboot --init >/dev/null 2>&1
fi
# Keeps the services of Wine running. Otherwise the first program starts them, they hold its output
# open after it has ended, and whoever reads that output waits.
exec 3> >(exec wine cmd.exe >/dev/null 2>&1)
trap 'wineserver --kill || true' EXIT
wine cmd.exe /c exit >/dev/null 2>&1 3>&-

echo "== tests for Windows, under $(wine --version)"
ctest --preset windows -j "$(nproc)" 3>&-

echo "== the package"
cpack --config build/windows/CPackConfig.cmake -G ZIP -B build/windows/package >build/windows/cpack.log || {
  cat build/windows/cpack.log >&2
  exit 1
}
tests/packages/try_zip.sh build/windows/package/*.zip
