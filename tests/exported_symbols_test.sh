#!/usr/bin/env bash
# Each plugin library exports its two entry points and nothing else.
set -euo pipefail
expected=$'createPlugins\ndestroyPlugins'
for library in "$@"; do
  case $library in
    *.dll)
      exported=$(x86_64-w64-mingw32-objdump -p "$library" |
        awk '/^\[Ordinal\/Name Pointer\] Table/ {names = 1; next} /^$/ {names = 0} names {print $NF}')
      ;;
    *) exported=$(nm --dynamic --defined-only "$library" | awk '{print $3}' | sort) ;;
  esac
  if [ "$exported" != "$expected" ]; then
    echo "${library##*/} exports:" "$exported" >&2
    exit 1
  fi
done
