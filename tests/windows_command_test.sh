#!/usr/bin/env bash
# Runs tavrin.exe as its users do, and looks at what it prints, writes and returns.
#   windows_command_test.sh DATA_FOLDER COMMAND...
set -euo pipefail
data=$1
shift
tavrin=("$@")
export LC_ALL=C.UTF-8 # for the names of files
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

fail() {
  echo "error: $*" >&2
  ls -la >&2
  exit 1
}

echo "== every writer repeats the expected files"
"${tavrin[@]}" report -w all -o recorded "$data/recorded.jsonl" 2>log
[ -f recorded.csv ] || fail "there is no report"
for expected in "$data"/golden/*; do
  cmp "$expected" "${expected##*/}" || fail "the outputs differ"
done
grep -q "^tavrin: wrote .*recorded.csv" log || fail "the files are not listed: $(cat log)"
rm -- *

echo "== every plugin library beside the command takes part"
"${tavrin[@]}" report -w every -o every "$data/recorded.jsonl" 2>log
grep -q "warning" log && fail "it is not quiet: $(cat log)"
[ -s every.pftrace ] && [ -s every.csv ] || fail "something is missing"
rm -- *

echo "== names in any script"
mkdir Größe
cp "$data/recorded.jsonl" Größe/日本.jsonl
"${tavrin[@]}" report -o 'Größe/отчёт' 'Größe/日本.jsonl' 2>log
cmp "$data/golden/recorded.csv" Größe/отчёт.csv
grep -q "wrote Größe.отчёт.csv$" log || fail "the name is not told as it is: $(cat log)"

echo "== streams carry bytes as they are"
"${tavrin[@]}" report -o console - <"$data/recorded.jsonl" >printed 2>log
cmp "$data/golden/recorded.csv" console.csv
if grep -q $'\r' printed log; then fail "carriage returns are printed"; fi
grep -q "Summary: " printed || fail "nothing is printed"

echo "== list and exit statuses"
"${tavrin[@]}" list >listed
grep -q "^  sum  *BASE\.csv " listed || fail "the summary writer is not listed"
grep -q "^Of .*tavrin_exporters\.dll:" listed || fail "the exporters are not listed: $(cat listed)"
grep -q "live collection is available on Linux only" listed || fail "features are not explained"
for case in "2 record" "2 report --nonsense" "1 report no-such.jsonl" \
  "2 report -o folder/ $data/recorded.jsonl"; do
  read -r -a words <<<"$case"
  status=0
  "${tavrin[@]}" "${words[@]:1}" >log 2>&1 || status=$?
  [ "$status" = "${words[0]}" ] || fail "status $status instead of $case: $(cat log)"
done
