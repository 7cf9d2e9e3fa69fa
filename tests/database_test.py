#!/usr/bin/python3
"""The database against other ways to the same figures: every point of several recordings against
`tavrin export`, and each query of its page against Python that computes the answer from there.

usage: database_test.py TAVRIN TESTS_FOLDER PAGE"""

import collections
import json
import math
import os
import random
import re
import sqlite3
import sys
import unittest

PAGE = os.path.abspath(sys.argv.pop())

from command_support import STREAM, TESTS, TavrinTest, read  # noqa: E402

ALL_KINDS = os.path.join(TESTS, "data", "stream-all-kinds.jsonl")
RECORDINGS = os.environ.get("TAVRIN_TEST_DATA")
COLUMNS = ("time", "ticks", "duration", "feature", "kind", "metric", "entity", "descriptor",
           "value", "unit", "attributes")
MS = 1000000  # ticks


def made_up_stream(seed):
    """A run of two packages of two CPUs, 40 intervals of about 100 ms, in which one is missing."""
    draw = random.Random(seed)
    lines = [
        {"type": "tavrin-stream", "version": 2},
        {"type": "system", "clockMHz": 1000, "startTimestamp": 7000 * MS},
        {"type": "quantity", "id": 1, "kind": "power", "name": "Power", "units": "W"},
        {"type": "quantity", "id": 2, "kind": "energy", "name": "Energy", "units": "mJ", "rate": 1,
         "rateFactor": 0.001},
        {"type": "quantity", "id": 3, "kind": "other", "name": "CPU Time", "units": "ms"},
        {"type": "quantity", "id": 4, "kind": "temperature", "name": "Temperature", "units": "C"},
        {"type": "quantity", "id": 5, "kind": "frequency", "name": "Frequency", "units": "MHz"},
        {"type": "attribute", "id": 6, "name": "Process", "values": "string"},
        {"type": "attribute", "id": 7, "name": "PID", "values": "int"},
        {"type": "descriptor", "id": 8, "name": "Value"},
        {"type": "descriptor", "id": 9, "name": "C2"},
        {"type": "descriptor", "id": 10, "name": "C6"},
        {"type": "descriptor", "id": 11, "name": "Busiest 1"},
        {"type": "descriptor", "id": 12, "name": "Busiest 2"},
        *[{"type": "entity", "id": 20 + n, "name": f"Package{n}", "level": "Package"}
          for n in range(2)],
        *[{"type": "entity", "id": 30 + n, "name": f"CPU{n}", "level": "Thread",
           "parent": 20 + n // 2} for n in range(4)],
    ]
    packages, cpus = (20, 21), (30, 31, 32, 33)
    kinds = {"Energy": ("delta", 2), "Package C-State": ("residency", 0),
             "CPU C-State": ("residency", 0), "CPU C-State Entries": ("delta", None), "Temperature": ("value", 4),
             "Process CPU Time": ("event", 3), "Process Energy (Model)": ("event", 2),
             "CPU Idle State": ("transition", None), "Running Task": ("transition", None),
             "CPU Frequency Changes": ("transition", 5)}
    metrics = {}
    for number, (name, (kind, quantity)) in enumerate(kinds.items()):
        metrics[name] = 40 + number
        extra = {} if quantity is None else {"quantity": quantity}
        lines.append({"type": "metric", "id": metrics[name], "container": number + 1, "name": name,
                      "feature": "core-cstate", "kind": kind, "entityGroup": {"name": "CPU"},
                      **extra})

    def sample(metric, time, elements):
        lines.append({"type": "sample", "metric": metrics[metric], "time": time,
                      "elements": elements})

    def states(metric, whose, values, begin, end):
        """Changes of a state that fill the time."""
        while begin < end:
            stop = min(end, begin + draw.randrange(1, 60) * MS)
            sample(metric, begin, [[draw.choice(values), whose, 8, stop - begin]])
            begin = stop

    begin = 7000 * MS
    for n in range(40):
        length = draw.randrange(90, 110) * MS
        if n != 17:
            sample("Energy", begin, [[draw.randrange(100, 9000) / 8, p, None, length]
                                     for p in packages])
            sample("Package C-State", begin, [[draw.randrange(length // 2), p, d, length]
                                              for p in packages for d in (9, 10)])
            sample("CPU C-State", begin, [[draw.randrange(length // 2), c, d, length]
                                          for c in cpus for d in (9, 10)])
            sample("CPU C-State Entries", begin, [[draw.randrange(50), c, d, length]
                                                  for c in cpus for d in (9, 10)])
            sample("Temperature", begin, [[draw.randrange(30000, 90000) / 1000, p]
                                          for p in packages])
        for metric, scale in (("Process CPU Time", 10), ("Process Energy (Model)", 500)):
            for rank in (11, 12):
                process, pid = draw.choice([("cc1plus", 70), ("cc1plus", 71), ("make", 60),
                                            ("idle", None)])
                attributes = [[6, process]] + ([] if pid is None else [[7, {"int": pid}]])
                sample(metric, begin, [[draw.random() * scale, None, rank, length,
                                        {"attributes": attributes}]])
        begin += length
    for cpu in cpus:
        states("CPU Idle State", cpu, ["Active", "C1", "C6"], 7000 * MS, begin)
        states("Running Task", cpu, ["idle", "make", "cc1plus"], 7000 * MS, begin)
        states("CPU Frequency Changes", cpu, [800.5, 1200.0, 1250.0, 3000.0], 7000 * MS, begin)
    lines.append({"type": "stop", "timestamp": begin, "durationSec": (begin - 7000 * MS) / 1e9,
                  "lostEvents": [{"source": "CPU0", "count": 0}, {"source": "CPU1", "count": 5}]})
    return "".join(json.dumps(line) + "\n" for line in lines)


def queries():
    """The statements of the page by their headings."""
    text = read(PAGE).split("\n## Queries\n")[1]
    for section in text.split("\n### ")[1:]:
        heading, rest = section.split("\n", 1)
        for block in re.findall(r"(?ms)^```sql\n(.*?)^```$", rest):
            yield heading, block


def totals(keys_and_values):
    sums = collections.defaultdict(float)
    for key, value in keys_and_values:
        sums[key] += value
    return dict(sums)


def overlap(a, b):
    return max(0, min(a["time"] + a["duration"], b["time"] + b["duration"]) -
               max(a["time"], b["time"]))


def kept(value):
    return str(value) if isinstance(value, int) and value >= 1 << 63 else value


class Answers:
    """What the queries should tell, from the lines of `tavrin export`."""

    def __init__(self, points, others, report):
        self.points, self.others, self.report = points, others, report
        self.by_metric = collections.defaultdict(list)
        for point in points:
            self.by_metric[point["metric"]].append(point)

    @staticmethod
    def name(point):
        return point["entity"].split("/")[-1]

    def processes(self, metric, scale):
        sums = totals(((p["attributes"]["Process"], p["attributes"].get("PID")), p["value"] / scale)
                      for p in self.by_metric[metric])
        return sorted(((*key, total) for key, total in sums.items()), key=lambda row: -row[2])[:10]

    def processor_time(self):
        return self.processes("Process CPU Time", 1)

    def energy(self):
        return self.processes("Process Energy (Model)", 1000)

    def deep_sleep(self):
        points = self.by_metric["Package C-State"]
        slept = totals(((self.name(p), p["descriptor"]), p["value"] / 1000) for p in points)
        known = totals(((self.name(p), p["descriptor"]), p["duration"]) for p in points)
        return [(*key, slept[key], 100 * slept[key] / known[key]) for key in sorted(slept)]

    def power(self):
        rows = []
        for zone in ("Package0", "Package1"):
            watts = sorted(p["value"] * 0.001 / p["duration"] for p in self.by_metric["Energy"]
                           if p["entity"] == zone)
            rows.append((zone, sum(watts) / len(watts), watts[math.ceil(0.95 * len(watts)) - 1],
                         watts[-1]))
        return rows

    def idle_states(self):
        points = self.by_metric["CPU Idle State"]
        spent = totals(((p["entity"], p["value"]), 1000 * p["duration"]) for p in points)
        whole = totals((p["entity"], 1000 * p["duration"]) for p in points)
        entries = collections.Counter((p["entity"], p["value"]) for p in points)
        keys = sorted(spent, key=lambda key: (key[0], -spent[key]))
        return [(key[0].split("/")[-1], key[1], entries[key], spent[key],
                 100 * spent[key] / whole[key[0]]) for key in keys]

    def frequencies(self):
        spent = totals(((p["entity"], int(p["value"] // 100) * 100), p["duration"])
                       for p in self.by_metric["CPU Frequency Changes"])
        return [(key[0].split("/")[-1], key[1], spent[key]) for key in sorted(spent)]

    def hottest(self):
        point = max(self.by_metric["Temperature"], key=lambda p: p["value"])
        return [(point["value"], "C", self.name(point), point["time"])]

    def wakeups(self):
        points = self.by_metric["CPU C-State Entries"]
        entries = totals((self.name(p), p["value"]) for p in points)
        seconds = totals((self.name(p), p["duration"]) for p in points if p["descriptor"] == "C2")
        return [(cpu, entries[cpu] / seconds[cpu]) for cpu in sorted(entries)]

    def awake(self):
        asleep = collections.defaultdict(float)
        for point in self.by_metric["Package C-State"]:
            interval = (point["entity"], point["time"], point["duration"])
            asleep[interval] += point["value"] / 1000 / point["duration"]
        ran = collections.defaultdict(float)
        for (package, time, duration), share in asleep.items():
            for task in self.by_metric["Running Task"]:
                if share < 0.5 and task["entity"].startswith(package) and task["value"] != "idle":
                    interval = {"time": time, "duration": duration}
                    ran[task["value"]] += 1000 * overlap(task, interval)
        return sorted(ran.items(), key=lambda row: -row[1])

    @staticmethod
    def mean_rates(points):
        found = collections.defaultdict(list)
        for p in points:
            key = (p["metric"], p["entity"], p["descriptor"])
            if p["kind"] == "residency":
                found[key, "%"].append(p["value"] / 10 / p["duration"])
            elif p["metric"] == "Energy":
                found[key, "W"].append(p["value"] * 0.001 / p["duration"])
        return {key: sum(rates) / len(rates) for key, rates in found.items()}

    def changes(self):
        before, after = self.mean_rates(self.others), self.mean_rates(self.points)
        rows = [(*series, before[series, unit], mean, unit,
                 100 * (mean / before[series, unit] - 1)) for (series, unit), mean in after.items()]
        return sorted(rows, key=lambda row: -abs(row[-1]))[:20]

    def busy(self):
        """As the report has it, which rounds."""
        table = self.report.split("CPU C-State Summary: Residency")[1].split("\n\n")[0]
        head, *rows = [[cell.strip() for cell in line.split(",")] for line in
                       table.splitlines()[1:-1]]
        return [(row[0], float(row[head.index("Busy (ms)")])) for row in rows]

    def gaps(self):
        rows, ends = [], {}
        for p in self.points:
            key = (p["metric"], p["entity"], p["descriptor"])
            if p["kind"] in ("transition", "event") or p["duration"] is None:
                continue
            if p["time"] > ends.get(key, p["time"]) + 0.001:
                rows.append((*key, ends[key], p["time"]))
            ends[key] = p["time"] + p["duration"]
        return rows


ANSWERS = {
    "Which process took the most processor time": Answers.processor_time,
    "Which process took the most energy": Answers.energy,
    "How long each package was in deep sleep": Answers.deep_sleep,
    "Mean, 95th percentile and highest power": Answers.power,
    "The states of each CPU, traced": Answers.idle_states,
    "How long each CPU ran at which frequency": Answers.frequencies,
    "The hottest zone, and when": Answers.hottest,
    "How often each CPU woke up": Answers.wakeups,
    "What ran while the package was not in deep sleep": Answers.awake,
    "What changed between two runs": Answers.changes,
    "Where samples are missing": Answers.gaps,
    "A cell of the report": Answers.busy,
    "What was lost": lambda answers: [("CPU1", 5)],
}


class Database(TavrinTest):
    def exported(self, recording):
        """Without the values that are not finite, which no writer gets to see."""
        def lines(*arguments):
            return self.run_tavrin("export", "-q", *arguments, recording).stdout.splitlines()

        values = lines("-c", "value")[1:]
        points = [json.loads(line) for line in lines("--format", "jsonl", "-c", ",".join(COLUMNS))]
        self.assertEqual(len(values), len(points))
        return [point for value, point in zip(values, points)
                if not re.search(r"\b(nan|inf)\b", value)]

    def database(self, recording, name="run"):
        self.run_tavrin("report", "-q", "-w", "sqlite", "-o", name, recording)
        database = sqlite3.connect(self.path(name + ".db"))
        self.addCleanup(database.close)
        self.assertEqual(database.execute("PRAGMA integrity_check").fetchall(), [("ok",)])
        return database

    def assert_rows(self, got, expected, what):
        self.assertEqual(len(got), len(expected), what)
        for row, wanted in zip(got, expected):
            self.assertEqual(len(row), len(wanted), what)
            for cell, value in zip(row, wanted):
                if isinstance(value, float):
                    self.assertAlmostEqual(cell, value, delta=1e-9 * max(1, abs(value)), msg=what)
                else:
                    self.assertEqual(cell, value, what)

    def assert_same_points(self, recording):
        expected = collections.defaultdict(list)
        for point in self.exported(recording):
            series = tuple(point[column] for column in ("feature", "metric", "entity", "descriptor",
                                                        "unit"))
            expected[series].append(
                (round(point["time"] * 1e9), point["ticks"],
                 None if point["duration"] is None else round(point["duration"] * 1e9),
                 kept(point["value"]), point["attributes"] or None))
        found = collections.defaultdict(list)
        for row in self.database(recording).execute(
                "SELECT feature, metric, path, descriptor, unit, seconds, "
                "time + (SELECT start_ticks FROM run), duration, value, attributes "
                "FROM measurement ORDER BY series, time, sequence"):
            *series, seconds, ticks, duration, value, attributes = row
            found[tuple(series)].append(
                (round(seconds * 1e9), ticks, None if duration is None else round(duration * 1e9),
                 value, None if attributes is None else json.loads(attributes)))
        for points in expected.values():
            points.sort(key=lambda point: point[0])  # stable
        self.assertEqual(found.keys(), expected.keys(), recording)
        for series, points in expected.items():
            self.assertEqual(found[series], points, (recording, series))

    def test_every_point_is_that_of_the_export(self):
        self.assert_same_points(STREAM)
        self.assert_same_points(ALL_KINDS)
        with open(self.path("made-up.jsonl"), "w") as file:
            file.write(made_up_stream(1))
        self.assert_same_points("made-up.jsonl")

    def test_every_point_of_real_recordings(self):
        if RECORDINGS is None:
            self.skipTest("TAVRIN_TEST_DATA names no folder of recordings")
        for name in ("sched_load.dat", "trace_idle.dat", "trace.dat", "trace_sched.txt"):
            self.assert_same_points(os.path.join(RECORDINGS, name))

    def test_the_queries_of_the_page(self):
        for name, seed in (("run", 1), ("other", 2)):
            with open(self.path(name + ".jsonl"), "w") as file:
                file.write(made_up_stream(seed))
        database = self.database("run.jsonl")
        self.database("other.jsonl", "other")
        self.run_tavrin("report", "-q", "-w", "sum", "-o", "run", "run.jsonl")
        answers = Answers(self.exported("run.jsonl"), self.exported("other.jsonl"),
                          self.report("run.csv"))
        os.chdir(self.folder)
        left = dict(ANSWERS)
        for heading, block in queries():
            for statement in filter(str.strip, block.split(";\n")):
                rows = database.execute(statement).fetchall()
            if heading == "A cell of the report":
                rows = [(label, round(value, 2)) for label, value in rows]
            expected = left.pop(heading)(answers)
            self.assertTrue(expected, heading)
            self.assert_rows(rows, expected, heading)
        self.assertFalse(left, "the page lacks these")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
