#!/usr/bin/env bash
# Configures and builds a preset. On a terminal one line shows how far it is; what the compiler
# complains of is shown in full. Prints nothing when there is nothing to build.
#   build.sh PRESET [TARGET...]
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

preset=$1
shift
folder=build/$preset
if [ ! -f "$folder/build.ninja" ]; then
  mkdir -p build
  cmake --preset "$preset" >"build/configure-$preset.log" 2>&1 || {
    cat "build/configure-$preset.log" >&2
    exit 1
  }
fi
if ninja -C "$folder" -n "$@" | grep -q 'no work to do'; then
  exit 0
fi

terminal=0
[ -t 2 ] && terminal=1
start=$SECONDS
NINJA_STATUS='[%f/%t] ' ninja -C "$folder" "$@" 2>&1 |
  awk -v terminal=$terminal -v columns="$(tput cols 2>/dev/null || echo 80)" -v name="$preset" '
    function clear() { if (shown) printf "\r\033[K"; shown = 0 }
    /^\[[0-9]+\/[0-9]+\] / {
      if (!terminal) next
      clear(); shown = 1
      printf "%s", substr("== building (" name ") " $0, 1, columns - 1); fflush()
      next
    }
    /^ninja: Entering directory|^-- / { next }
    { clear(); print; fflush() }
    END { clear() }' >&2
echo "== built ($preset) in $((SECONDS - start)) s" >&2
