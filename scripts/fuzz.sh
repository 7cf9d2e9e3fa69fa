#!/usr/bin/env bash
# Runs the fuzz targets, each for a minute, starting from fuzz/corpus/ and from files of the writers.
# A finding is kept in build/fuzz/found/: fix what it shows and add it to fuzz/corpus/TARGET/, which
# ./test runs.
#   fuzz.sh [SECONDS [TARGET...]]
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
seconds=${1:-60}
targets=("${@:2}")
[ ${#targets[@]} -gt 0 ] || targets=(config pwr recording stream sysfs trace_events ztbin ztjson)

scripts/install-packages.sh clang libclang-rt-14-dev
scripts/build.sh fuzz

work=$PWD/build/fuzz
mkdir -p "$work/found"
for target in "${targets[@]}"; do
  # Grows from run to run.
  mkdir -p "$work/seeds/$target"
done
tests=$PWD/tests/data
for target in pwr ztbin ztjson; do
  [ ! -d "$work/seeds/$target" ] || cp "$tests/golden/recorded.$target" "$work/seeds/$target"
done
[ ! -d "$work/seeds/stream" ] || cp "$tests"/*.jsonl "$work/seeds/stream"
[ ! -d "$work/seeds/ftrace" ] || cp "$tests"/ftrace/* "$work/seeds/ftrace"
[ ! -d "$work/seeds/config" ] || cp config/tavrin-output.toml "$work/seeds/config"

found=()
# The folders by their whole names: some targets change the current one.
for target in "${targets[@]}"; do
  echo "== $target, for $seconds s"
  "$work/bin/${target}_fuzz" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -verbosity=0 \
    -print_final_stats=1 -max_len=20000 -artifact_prefix="$work/found/$target-" \
    "$work/seeds/$target" "$PWD/fuzz/corpus/$target" >"$work/$target.log" 2>&1 || {
    cat "$work/$target.log"
    found+=("$target")
  }
  grep -E 'number_of_executed_units' "$work/$target.log" || true
done
[ ${#found[@]} -eq 0 ] || {
  echo "== FOUND something: ${found[*]}; the inputs are in build/fuzz/found" >&2
  exit 1
}
echo "== nothing found"
