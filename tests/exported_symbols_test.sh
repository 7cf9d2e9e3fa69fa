#!/usr/bin/env bash
# The plugin library exports its two entry points and nothing else.
set -euo pipefail
case $1 in
  *.dll)
    exported=$(x86_64-w64-mingw32-objdump -p "$1" |
      awk '/^\[Ordinal\/Name Pointer\] Table/ {names = 1; next} /^$/ {names = 0} names {print $NF}')
    ;;
  *) exported=$(nm --dynamic --defined-only "$1" | awk '{print $3}' | sort) ;;
esac
expected=$'createPlugins\ndestroyPlugins'
if [ "$exported" != "$expected" ]; then
  echo "exported are:" "$exported" >&2
  exit 1
fi
