#!/usr/bin/env bash
# The example of the README runs and leaves the report that it promises.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
"$1" fans
diff - fans.csv <<'REPORT'
Fans

Fan Speed (units = RPM)
Fan  , Average
Front, 1200.50
Rear , 899.25 
REPORT
[ "$(ls -A)" = fans.csv ]
