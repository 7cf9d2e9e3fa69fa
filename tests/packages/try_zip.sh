#!/usr/bin/env bash
# Unpacks a package for Windows in a folder with a blank in its name and uses it there, in the Wine prefix
# of the environment. What it needs of the compiler has to be in it, and so have the licences.
#   try_zip.sh PACKAGE.zip
set -euo pipefail
package=$(readlink -f "$1")
stream=$(dirname "$(readlink -f "$0")")/../data/recorded.jsonl
folder="$(mktemp -d)/unpacked here"
trap 'rm -r "${folder%/*}"' EXIT
mkdir "$folder"
cp "$stream" "${folder%/*}"
cd "$folder"
cmake -E tar xf "$package"
package=$(echo "$PWD"/tavrin-*)
echo "== $(find "$package" -type f | wc -l) files in ${package##*/}"
grep 'not yet licensed' "$package/share/doc/tavrin/copyright"
grep -m 1 'GCC RUNTIME LIBRARY EXCEPTION' "$package/share/doc/tavrin/copyright"
grep -m 1 'GNU GENERAL PUBLIC LICENSE' "$package/share/doc/tavrin/copyright"

tavrin() { env -u WINEPATH wine "$package/bin/tavrin.exe" "$@" 3>&-; }
cd ..
tavrin --help | grep -A 1 '^Usage'
tavrin list writers | grep '^Of .*tavrin_.*dll'
tavrin report -w sum,bin,html -o run recorded.jsonl
tavrin inspect run.ztbin
test -s run.csv
test -s run.html
