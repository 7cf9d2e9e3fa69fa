"""Prints the mean of each series of a result: python3 points.py run.ztbin"""
import sys

import tavrin

run = tavrin.open(*sys.argv[1:])
table = run.to_pandas()
print(table.groupby(["metric", "entity", "descriptor"])["value"].mean())
