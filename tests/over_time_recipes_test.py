#!/usr/bin/python3
"""Runs the Python of docs/formats/over-time.md, as it stands there, on the files of a small run.

usage: over_time_recipes_test.py TAVRIN PAGE

Exits with 77 where pandas is missing.
"""

import json
import os
import re
import subprocess
import sys
import tempfile

try:
    import pandas
except ImportError:
    print("skipped: the recipes need pandas (Debian: python3-pandas)")
    sys.exit(77)

TAVRIN, PAGE = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
MS = 1000000  # ticks

# Power is sampled every 100 ms; the temperature of 50 ms and the load of 100 ms come late.
STREAM = [
    {"type": "tavrin-stream", "version": 1},
    {"type": "system", "clockMHz": 1000},
    {"type": "quantity", "id": 1, "kind": "power", "name": "Power", "units": "W"},
    {"type": "attribute", "id": 2, "name": "Comm", "values": "string"},
    {"type": "entity", "id": 3, "name": "Package0", "level": "Package"},
    {"type": "entity", "id": 4, "name": "CPU0", "level": "Thread", "parent": 3,
     "attributes": [[2, "no; \\ one=two"]]},
    {"type": "metric", "id": 5, "container": 1, "name": "Power", "quantity": 1},
    {"type": "metric", "id": 6, "container": 1, "name": "Temperature"},
    {"type": "metric", "id": 7, "container": 1, "name": "Load"},
    {"type": "metric", "id": 8, "container": 1, "name": "Wakeups", "kind": "event"},
    *[{"type": "sample", "metric": 5, "time": 100 * n * MS, "elements": [[10 * (n + 1), 3]]}
      for n in range(4)],
    {"type": "sample", "metric": 8, "time": 150 * MS, "elements": [["a", 4], ["b", 4]]},
    {"type": "sample", "metric": 8, "time": 20 * MS, "elements": [["c"]]},
    {"type": "sample", "metric": 6, "time": 50 * MS, "elements": [[41.5, 3]]},
    {"type": "sample", "metric": 7, "time": 100 * MS, "elements": [[0.25, 4]]},
]
POWER = "Power - Package0 (W)"


def check_start(names):
    assert list(names["frame"].columns) == [
        names["time"], POWER, "Temperature - Package0", "Load - CPU0"]
    assert len(names["frame"]) == 6
    assert list(names["events"]["Value"]) == ["a", "b", "c"]


def check_sorting(names):
    assert list(names["events"]["Value"]) == ["c", "a", "b"]
    assert list(names["frame"][names["time"]]) == [0, 50e3, 100e3, 200e3, 300e3]
    assert list(names["frame"][POWER].dropna()) == [10, 20, 30, 40]
    assert names["frame"]["Load - CPU0"][2] == 0.25


def check_columns(names):
    assert list(names["watts"]) == [POWER]
    assert list(names["columns"]["Entity"]) == ["Package0", "Package0", "Package0/CPU0"]


def check_resampling(names):
    assert list(names["steady"][POWER]) == [10, 20, 30, 40]
    assert list(names["steady"]["Temperature - Package0"]) == [41.5] * 4


def check_joining(names):
    assert list(names["joined"][POWER]) == [10, 20, 20]
    assert list(names["events"]["Attribute Comm"].dropna()) == ["no; \\ one=two"] * 2


def check_integrating(names):
    assert abs(names["energy"][POWER] - 6.0) < 1e-9, names["energy"]


CHECKS = {
    None: check_start,
    "Sorting": check_sorting,
    "What the columns are": check_columns,
    "Resampling": check_resampling,
    "Joining events with samples": check_joining,
    "Integrating power": check_integrating,
}


def recipes():
    """The Python under each heading of the page that has some; None stands for its title."""
    with open(PAGE, encoding="utf-8") as page:
        title, *sections = re.split(r"(?m)^#{2,} ", page.read())
    for heading, text in [(None, title), *(section.split("\n", 1) for section in sections)]:
        blocks = re.findall(r"(?ms)^```python\n(.*?)^```$", text)
        if blocks:
            yield heading, "".join(blocks)


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    stream = "".join(json.dumps(record) + "\n" for record in STREAM)
    subprocess.run([TAVRIN, "report", "-q", "-w", "phm-csv", "-o", "run", "-"], input=stream,
                   text=True, check=True)
    names = {}
    for heading, code in recipes():
        exec(compile(code, str(heading), "exec"), names)
        CHECKS.pop(heading)(names)
    assert not CHECKS, f"the page lacks {list(CHECKS)}"
    os.chdir("/")
print("all recipes work")
