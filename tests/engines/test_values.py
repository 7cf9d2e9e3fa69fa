"""Every value of a recorded stream comes back from the engines, under the names that it had."""

import collections
import json
import os

import fleet
from command_support import TavrinTest
from engine import InfluxDB, VictoriaMetrics, needs
from line_protocol import points

DATA = os.path.join(os.path.dirname(__file__), "..", "data")
RECORDINGS = os.environ.get("TAVRIN_TEST_DATA", "")
START = fleet.START * 10**9
# Names as they are, and as they come back where that differs.
NAMES = {name: name for name in (
    "a,b", "a=b", "a b", "a,=, b", ' "quoted" ', "it's", "C:\\dir\\new", "\\first", "#1", "{x=\"y\"}",
    "a;b|c&d", "$HOME %d %s", "/dev/disk/by-id/x", "[0]", "ünïcödé €", "名前", "😀", "a\u00a0b",
    "a\u2028b", "\u200b", "null", "-1", "0", "1.5e3", "true", "<b>&amp;</b>")}
NAMES.update({"tab\tand\nline\r\nends": "tab and line  ends", "del\x7f": "del "})
# A backslash that the engines would take for an escape, or do not agree on.
BACKSLASHES = ("a\\,b", "a\\ b", "a\\=b", "a\\\\b", "last\\")


def hostile_stream():
    """A value for each name as that of an entity, of its parent and of a state. Returns the stream
    and what must come back: the values by (thread, package, nanoseconds)."""
    lines = [{"type": "tavrin-stream", "version": 2},
             {"type": "system", "clockMHz": 1000, "hostName": "host, with = all", "startTimeNs": START},
             {"type": "quantity", "id": 1, "kind": "energy", "name": "Energy", "units": "mJ"},
             {"type": "metric", "id": 2, "container": 1, "name": "Energy, \"of\" all = 1\\",
              "quantity": 1, "kind": "delta"},
             {"type": "metric", "id": 3, "container": 1, "name": "State", "kind": "transition"}]
    expected = {}
    for n, name in enumerate([*NAMES, *BACKSLASHES]):
        lines += [
            {"type": "entity", "id": 100 + 2 * n, "name": name, "level": "Package"},
            {"type": "entity", "id": 101 + 2 * n, "name": name, "level": "Thread",
             "parent": 100 + 2 * n},
            {"type": "sample", "metric": 2, "time": 10**6 * n + 3,
             "elements": [[0.1 * n + 1, 101 + 2 * n]]},
            {"type": "sample", "metric": 3, "time": 10**6 * n + 5,
             "elements": [[name, 101 + 2 * n]]}]
        expected[name] = (0.1 * n + 1) / 1000
    return "".join(json.dumps(line) + "\n" for line in lines), expected


class Values(TavrinTest):
    def engine(self, kind):
        engine = kind()
        self.addCleanup(engine.close)
        return engine

    def lines_of(self, source, text=None):
        base = self.path("run")
        fleet.tavrin("report", "-q", "-w", "lines", "--start-time", "2023-11-14T22:13:20Z", "-o",
                     base, source, text=text)
        return base + ".lp.gz"

    def send(self, engine, path):
        """The file as it is, in one piece."""
        with open(path, "rb") as file:
            status, answer = engine.post(file.read(), {"Content-Encoding": "gzip"})
        self.assertEqual((status, answer), (204, ""))

    def sources(self):
        """Recorded streams, with hostile names and of all kinds; a kernel's events where there are."""
        yield "-", hostile_stream()[0]
        for name in ("recorded.jsonl", "stream-all-kinds.jsonl"):
            yield os.path.join(DATA, name), None
        recording = os.path.join(RECORDINGS, "sched_load.dat")
        if os.path.exists(recording):
            yield recording, None

    @needs(InfluxDB, "lines")
    def test_influxdb(self):
        """Exactly, with nanoseconds."""
        for source, text in self.sources():
            with self.subTest(source):
                engine = self.engine(InfluxDB)
                path = self.lines_of(source, text)
                self.send(engine, path)
                expected = collections.defaultdict(list)  # few times have several values
                for *key, value in points(path):
                    expected[tuple(key)].append(value)
                found = engine.points()
                self.assertEqual(found.keys(), expected.keys())
                self.assertEqual([], [(key, value) for key, value in found.items()
                                      if value not in expected[key]])
                counted = engine.counters("pointsWrittenDropped", "writePointsDropped",
                                          "writePointsErr", "pointsWrittenFail", "writeError")
                self.assertEqual(set(counted.values()), {0}, counted)

    @needs(VictoriaMetrics, "lines")
    def test_victoria_metrics(self):
        """With milliseconds, and 14 digits of the largest values of the series; of points within one
        millisecond there is one."""
        for source, text in self.sources():
            with self.subTest(source):
                engine = self.engine(VictoriaMetrics)
                path = self.lines_of(source, text)
                self.send(engine, path)
                expected = collections.defaultdict(list)
                for measurement, tags, field, time, value in points(path):
                    expected[f"{measurement}_{field}", tags, time // 10**6].append(value)
                self.compare(engine.points(), expected)
                counted = engine.counters("vm_rows_ignored_total", "vm_rows_invalid_total",
                                          "vm_metrics_with_dropped_labels_total",
                                          "vm_too_long_label_values_total")
                self.assertEqual(set(counted.values()), {0}, counted)

    def compare(self, found, expected):
        self.assertEqual(found.keys(), expected.keys())
        largest = collections.defaultdict(float)
        for (name, tags, _), values in expected.items():
            largest[name, tags] = max(largest[name, tags], *map(abs, values))
        for key, value in found.items():
            error = min(abs(one - value) for one in expected[key])
            self.assertLessEqual(error, 1e-13 * largest[key[:2]], key)

    @needs(VictoriaMetrics, "lines")
    @needs(InfluxDB, "lines")
    def test_hostile_names(self):
        """The stream's own words against what both engines say."""
        text, expected = hostile_stream()
        path = self.lines_of("-", text)
        for kind in (VictoriaMetrics, InfluxDB):
            with self.subTest(kind.program):
                engine = self.engine(kind)
                self.send(engine, path)
                self.check_names(engine.points(), expected)

    def check_names(self, found, expected):
        values, states, backslashes = {}, set(), set()
        for (name, tags, *_), value in found.items():
            tags = dict(tags)
            self.assertEqual(tags["host"], "host, with = all")
            self.assertEqual(tags["package"], tags["thread"])
            if name.startswith("energy_of_all_1_joules"):
                values[tags["thread"]] = value
            else:
                self.assertTrue(name.startswith("state"), name)
                states.add(tags["state"])
        for name, shown in NAMES.items():
            self.assertAlmostEqual(values.pop(shown), expected[name], delta=1e-13, msg=name)
        self.assertEqual(states, {*NAMES.values(), *values})
        # Of the others each is there under some name of its own, with its value.
        self.assertEqual(len(values), len(BACKSLASHES))
        for value, name in zip(sorted(values.values()), BACKSLASHES):
            self.assertAlmostEqual(value, expected[name], delta=1e-13)
