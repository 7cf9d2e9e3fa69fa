"""Prints the mean of each series of a result: python3 points.py run.ztbin"""
import sys

import tavrin

try:
    run = tavrin.open(*sys.argv[1:])
    table = run.to_pandas()
except tavrin.Error as fault:
    sys.exit(str(fault))
print(table.groupby(["metric", "entity", "descriptor"])["value"].mean())
