#!/usr/bin/env bash
# Configures and builds a preset. Prints nothing when there is nothing to build.
#   build.sh PRESET [TARGET...]
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

preset=$1
shift
folder=build/$preset
if [ ! -f "$folder/build.ninja" ]; then
  echo "== configuring ($preset)" >&2
  cmake --preset "$preset" >&2
fi
if ! ninja -C "$folder" -n "$@" | grep -q 'no work to do'; then
  echo "== building ($preset)" >&2
  ninja -C "$folder" "$@" >&2
fi
