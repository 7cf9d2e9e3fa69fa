#!/usr/bin/python3
"""The files of the writer "lines" with a reader of their own, made from docs/formats/lines.md: every
value of several recordings against `tavrin export`, the options, and what is told.

usage: lines_test.py TAVRIN TESTS_FOLDER"""

import collections
import gzip
import json
import math
import os
import re
import unittest

from command_support import STREAM, TESTS, TavrinTest, read

ALL_KINDS = os.path.join(TESTS, "data", "stream-all-kinds.jsonl")
RECORDINGS = os.environ.get("TAVRIN_TEST_DATA")
RANGE = re.compile(r"(-?[\d.einf+]+) - (-?[\d.einf+]+)")
SCALES = {"ms": ("seconds", 1e-3), "us": ("seconds", 1e-6), "mJ": ("joules", 1e-3), "W": ("watts", 1),
          "MHz": ("hertz", 1e6), "C": ("celsius", 1), "%": ("percent", 1), "B": ("bytes", 1),
          "count": ("", 1), "": ("", 1), None: ("", 1)}
HOSTILE = ["a,b=c d", "two  blanks", "\"quoted\"", "back\\slash", "\\", "ends in\\", "tab\tfeed\nbell\x07",
           "", "1st", "grün 温度", "\u007f", "=,= ", "\\,\\=\\ \\\\", "#comment", "'", "${x}", "time"]


def parts(text, separator):
    """The text divided at each separator that no backslash stands before."""
    return re.split(r"(?<!\\)" + separator, text)


def unescaped(text):
    return re.sub(r"\\([, =])", r"\1", text)


def points_of(path):
    """Of a file: the measurement, the tags, the field, the time in nanoseconds and the number."""
    with gzip.open(path) as file:
        text = file.read().decode()
    assert text == "" or text.endswith("\n")
    for line in text.split("\n")[:-1]:
        head, fields, time = parts(line, " ")
        measurement, *tags = parts(head, ",")
        pairs = [parts(tag, "=") for tag in tags]
        names = [measurement, *(key for key, _ in pairs), *(f.split("=")[0] for f in fields.split(","))]
        assert all(re.fullmatch("[a-z_][a-z0-9_]*", name) for name in names), line
        assert all(value and not value.endswith("\\") for _, value in pairs), line
        assert len({key for key, _ in pairs}) == len(pairs), line
        for field in fields.split(","):
            name, number = field.split("=")
            yield (measurement, tuple((key, unescaped(value)) for key, value in pairs), name,
                   int(time), float(number))


def plain(text):
    name = re.sub("[^a-z0-9]+", "_", re.sub("[A-Z]", lambda found: found[0].lower(), text)).strip("_")
    return "_" + name if name[:1].isdigit() else name or "unnamed"


def spelled(text):
    text = re.sub(r"[\x00-\x1f\x7f]", " ", text)
    return re.sub(r"\\(?=[\\, =]|$)", "/", text) or "(none)"


class Expectation:
    """The points that a recording should become: its definitions tell the levels of entities and
    what is a number, `tavrin export` the values."""

    def __init__(self, records):
        self.entities, self.descriptors = {None: []}, collections.defaultdict(set)
        self.host, self.start, self.start_ns = "", 0, 0
        self.times = set()  # attributes that are ticks
        names, chains = {}, {}
        for record in records:
            kind = record["type"]
            if kind == "system":
                self.host = record.get("hostName", "")
                self.start = record.get("startTimestamp", 0)
                self.start_ns = record.get("startTimeNs", 0)
            elif kind == "entity":
                chains[record["id"]] = chains.get(record.get("parent"), []) + [
                    (record.get("level", ""), record["name"])]
                chain = chains[record["id"]]
                self.entities["/".join(name for _, name in chain)] = chain
            elif kind == "attribute" and record.get("quantity") == 0:
                self.times.add(record["name"])
            elif kind == "descriptor":
                names[record["id"]] = record["name"]
            elif kind == "metric":
                self.descriptors[record["name"]] |= {
                    descriptor for _, descriptor in record.get("combinations", [])}

    def tags(self, entity):
        tags = {}
        for level, name in self.entities[entity]:
            key = plain(level) if level else "entity"
            key = "entity_" + key if key in ("host", "state", "time", "process") else key
            tags[key] = tags[key] + "/" + name if key in tags else name
        return [("host", spelled(self.host)), *((key, spelled(name)) for key, name in tags.items())]

    def of(self, point):
        unit, scale = SCALES[point["unit"]]
        name = plain(point["metric"])
        measurement = name if not unit or name.endswith("_" + unit) else f"{name}_{unit}"
        field = "value" if point["descriptor"] is None else plain(point["descriptor"])
        field = "time_" if field == "time" else field
        tags, numbers, value = self.tags(point["entity"]), [], point["value"]
        time = self.start_ns + point["ticks"] - self.start
        if isinstance(value, str) and (found := RANGE.fullmatch(value)):
            numbers += [(f"{field}_{end}", float(number) * scale)
                        for end, number in zip(("first", "last"), found.groups())]
        elif isinstance(value, str):
            tags.append(("state", spelled(value)))
            numbers.append((field if len(self.descriptors[point["metric"]]) > 1 else "value", 1))
        elif value is not None:
            numbers.append((field, value * scale))
        for attribute, its in (point["attributes"] or {}).items():
            if isinstance(its, str):
                tags.append((plain(attribute), spelled(its)))
            elif attribute in self.times:
                numbers.append((f"{plain(attribute)}_seconds", its / 1e9))
            elif its is not None:
                numbers.append((plain(attribute), its))
        # The export calls a handle of nothing "".
        if value in (None, "") or not all(math.isfinite(number) for _, number in numbers):
            return []  # no writer gets to see it
        return [(measurement, tuple(tags), name, time, number) for name, number in numbers]


def hostile_stream():
    """Each hostile name once as everything that has a name."""
    lines = [{"type": "tavrin-stream", "version": 2},
             {"type": "system", "clockMHz": 1000, "startTimestamp": 17, "hostName": HOSTILE[0],
              "startTimeNs": 1795268467443586815},
             {"type": "attribute", "id": 1, "name": "Why, so", "values": "string"}]
    for number, name in enumerate(HOSTILE):
        base = 10 * number + 10
        lines += [
            {"type": "entity", "id": base, "name": name, "level": "Bus" if number % 2 else name},
            {"type": "entity", "id": base + 1, "name": name, "level": "Bus", "parent": base},
            {"type": "descriptor", "id": base + 2, "name": name or "an empty one is null there"},
            {"type": "metric", "id": base + 3, "container": 1, "name": f"{number} {name}",
             "feature": "f", "kind": "event", "combinations": [[base + 1, base + 2]]},
            {"type": "sample", "metric": base + 3, "time": 17 + number * 1000003,
             "elements": [[number / 7, base + 1, base + 2]]},
            {"type": "sample", "metric": base + 3, "time": 19 + number * 1000003, "elements": [
                [name + "!", base + 1, base + 2, 0, {"attributes": [[1, name]]}]]}]
    lines.append({"type": "stop", "timestamp": 99999999, "durationSec": 0.1})
    return lines


class Lines(TavrinTest):
    def report(self, *arguments, status=0):
        return self.run_tavrin("report", "-w", "lines", "-o", "run", *arguments, status=status)

    def exported(self, recording):
        """What is not finite is null."""
        columns = "time,ticks,metric,entity,descriptor,value,unit,attributes"
        found = self.run_tavrin("export", "-q", "--format", "jsonl", "-c", columns, recording)
        for line in found.stdout.splitlines():
            yield json.loads(line)

    def assert_same_points(self, recording, expectation, *options):
        self.report(*options, recording)
        wanted = collections.Counter()
        numbers = collections.defaultdict(list)
        for point in self.exported(recording):
            for *key, number in expectation.of(point):
                wanted[tuple(key)] += 1
                numbers[tuple(key)].append(number)
        found = collections.Counter()
        for *key, number in points_of(self.path("run.lp.gz")):
            key = tuple(key)
            found[key] += 1
            self.assertTrue(any(math.isclose(number, one, rel_tol=1e-14) for one in numbers[key]),
                            (key, number, numbers[key]))
        self.assertEqual(found, wanted)
        self.assertGreater(len(found), 10)

    def test_every_value_is_that_of_the_export(self):
        for path in (STREAM, ALL_KINDS):
            with self.subTest(path):
                records = [json.loads(line) for line in read(path).splitlines()]
                self.assert_same_points(path, Expectation(records))

    def test_hostile_names(self):
        records = hostile_stream()
        self.write("hostile.jsonl", "".join(json.dumps(record) + "\n" for record in records))
        self.assert_same_points("hostile.jsonl", Expectation(records))

    def test_every_value_of_real_recordings(self):
        if RECORDINGS is None:
            self.skipTest("TAVRIN_TEST_DATA names no folder of recordings")
        for name in ("sched_load.dat", "trace_idle.dat"):
            with self.subTest(name):
                path = os.path.join(RECORDINGS, name)
                expectation = Expectation([])
                expectation.host = ""
                expectation.start_ns = 1500000000 * 10**9
                points = list(self.exported(path))
                expectation.start = points[0]["ticks"] - round(points[0]["time"] * 1e9)
                expectation.entities |= {point["entity"]: [("Thread", point["entity"])]
                                         for point in points if point["entity"]}
                self.assert_same_points(path, expectation, "--start-time", "1500000000")

    def test_a_recording_without_a_time_of_day(self):
        self.write("run.jsonl", '{"type":"tavrin-stream","version":2}\n'
                   '{"type":"system","clockMHz":1000,"startTimestamp":5}\n'
                   '{"type":"metric","id":1,"container":1,"name":"It","kind":"value"}\n'
                   '{"type":"sample","metric":1,"time":6,"elements":[1]}\n'
                   '{"type":"stop","timestamp":9,"durationSec":0.1}\n')
        done = self.report("run.jsonl", status=1)
        self.assertIn("give its start as --start-time 2026-11-22T19:00:00Z", done.stderr)
        self.assertIn("the output of writer lines is incomplete", done.stderr)
        self.assertEqual(self.files(), ["run.jsonl"])
        second = 1795374000
        for text, start in (("2026-11-22T19:00:00Z", second * 10**9),
                            ("2026-11-22 19:00Z", second * 10**9),
                            ("2026-11-22T20:30:00.25+01:30", second * 10**9 + 25 * 10**7),
                            ("2026-11-22T11:00:00.000000001-0800", second * 10**9 + 1),
                            (f"{second}", second * 10**9), (f"{second}.5", second * 10**9 + 5 * 10**8),
                            ("1970-01-01T00:00:01Z", 10**9), ("2000-02-29T00:00:00Z", 951782400 * 10**9)):
            with self.subTest(text):
                self.report("--start-time", text, "run.jsonl")
                self.assertEqual([point[3] for point in points_of(self.path("run.lp.gz"))], [start + 1])
        for text in ("", "yesterday", "2026-11-22", "2026-11-22T19:00:00", "2026-11-31T00:00:00Z",
                     "2026-11-22T24:00:00Z", "2026-11-22T19:00:00Z ", "-5", "0", "1e9", "9999999999999",
                     "1969-12-31T23:59:59Z", "2026-11-22T19:00:00.1234567891Z", "2300-01-01T00:00:00Z"):
            with self.subTest(text):
                done = self.report("--start-time", text, "run.jsonl", status=2)
                self.assertIn("is not a time such as 2026-11-22T19:00:00Z", done.stderr)

    def test_numbered_files_have_the_points_of_the_whole_run(self):
        self.report(ALL_KINDS)
        whole = list(points_of(self.path("run.lp.gz")))
        self.report("--continuous", ALL_KINDS)
        names = [name for name in self.files() if "_" in name]
        self.assertEqual(names, ["run_0.lp.gz"], "the flush stands behind the last point")
        self.assertEqual([point for name in names for point in points_of(self.path(name))], whole)

    def test_options_without_the_writer(self):
        done = self.run_tavrin("report", "-o", "run", "--series-limit", "5", "--start-time", "5", STREAM)
        for option in ("--series-limit", "--start-time"):
            self.assertIn(f"{option} has no effect: the writer 'lines' is not chosen", done.stderr)
        self.report("--series-limit", "0", STREAM, status=2)
        done = self.report("--series-limit", "3", STREAM)
        self.assertIn("The lines have 3 series, as many as --series-limit allows", done.stderr)
        series = {(*point[:3],) for point in points_of(self.path("run.lp.gz"))}
        self.assertEqual(len(series), 3)
        left_out = int(re.search(r"Lines: (\d+) values of further series are left out", done.stderr)[1])
        written = sum(1 for _ in points_of(self.path("run.lp.gz")))
        self.assertEqual(written + left_out, len(list(self.exported(STREAM))))


if __name__ == "__main__":
    unittest.main(argv=["lines_test.py"])
