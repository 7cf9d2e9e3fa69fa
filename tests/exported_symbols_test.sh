#!/usr/bin/env bash
# The plugin library exports its two entry points and nothing else.
set -euo pipefail
exported=$(nm --dynamic --defined-only "$1" | awk '{print $3}' | sort)
expected=$'createPlugins\ndestroyPlugins'
if [ "$exported" != "$expected" ]; then
  echo "exported are:" "$exported" >&2
  exit 1
fi
