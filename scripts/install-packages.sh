#!/usr/bin/env bash
# Installs what a build needs and the named Debian packages, as far as they are missing. Prints nothing
# when none is.
set -euo pipefail

build=(g++ cmake ninja-build pkg-config rapidjson-dev libcli11-dev libtomlplusplus-dev libtracefs-dev
  libcurl4-openssl-dev libtraceevent-dev libzstd-dev zlib1g-dev libprotozero-dev libsqlite3-dev esbuild libjs-dygraphs
  libdeflate-dev
  prometheus-cpp-dev)
missing=()
for package in "${build[@]}" "$@"; do
  dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
    missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || {
    echo "error: these packages are missing, and only root can install them: ${missing[*]}" >&2
    exit 1
  }
  sudo=(sudo)
fi
echo "== installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
trap 'rm -f "$log"' EXIT
{
  "${sudo[@]}" apt-get update -qq
  "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
} >"$log" 2>&1 || {
  cat "$log" >&2
  exit 1
}
