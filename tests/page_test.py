#!/usr/bin/python3
"""What is in the pages of the writer html: every point of a run that fits, and of one that does not
the bins of all levels, as they are computed here from the points that went in.

usage: page_test.py TAVRIN TESTS_FOLDER"""

import collections
import math
import os
import random
import re
import signal
import subprocess
import sys
import unittest

from command_support import STREAM, TESTS, TavrinTest, read
from page_reader import Page

sys.path.insert(0, os.path.join(TESTS, "pages"))
from page_runs import SECOND, Stream, cpus, hostile_run  # noqa: E402

ALL_KINDS = os.path.join(TESTS, "data", "stream-all-kinds.jsonl")
SEED = int(os.environ.get("TAVRIN_TEST_SEED", random.SystemRandom().randrange(1 << 31)))
REST = {"Busy", "Awake"}


def number_of(text):
    """A value of the export as the page has it; None for what it leaves out."""
    ends = re.fullmatch(r"(-?[\d.e+-]+) - (-?[\d.e+-]+|inf)", text)
    value = (float(ends[1]) + float(ends[2])) / 2 if ends else float(text)
    return value if math.isfinite(value) else None


def exported_points(lines, start):
    """The points of the export by series, each as often as it came."""
    points = collections.defaultdict(collections.Counter)
    for row in lines:
        if row["value"] is None:
            continue
        at, length = row["ticks"] - start, round((row["duration"] or 0) * 1e9)
        key = (row["metric"], row["entity"] or "", row["descriptor"] or "")
        text = str(row["value"])
        try:
            value = number_of(text)
        except ValueError:
            value = text
        if row["kind"] == "residency":
            ticks = round(value * 1e6)
            if ticks:
                points[key[:2]][at, length, row["descriptor"] or row["metric"], ticks] += 1
        elif value is not None:
            points[key][at, length, value] += 1
    return points


def page_points(page):
    points = collections.defaultdict(collections.Counter)
    for series in page.run["series"]:
        entity = page.entity(series)
        key = (series["metric"], entity["path"] if entity else "")
        for start, length, value in page.points(series):
            if isinstance(value, dict):
                for state, ticks in value.items():
                    if ticks and state not in REST:
                        points[key][start, length, state, ticks] += 1
            else:
                points[*key, series["descriptor"]][start, length, value] += 1
    return points


class Exact(TavrinTest):
    def page(self, source, *options):
        self.run_tavrin("report", "-w", "html", "-q", "-o", "run", *options, source)
        return Page(self.path("run.html"))

    def check(self, source):
        page = self.page(source)
        self.assertFalse(page.is_binned)
        done = self.run_tavrin("export", "-q", "--format", "jsonl", "-c",
                               "ticks,duration,kind,metric,entity,descriptor,value", source)
        facts = {fact["name"]: fact["value"] for fact in page.run["facts"]}
        # Numbers with all their digits, and those that JSON has no word for.
        lines = [eval(line, {"null": None}) for line in done.stdout.splitlines()]
        expected = exported_points(lines, int(facts["Collection start timestamp"]))
        found = page_points(page)
        self.assertEqual(set(found), set(expected))
        for key, points in expected.items():
            self.assertEqual(found[key], points, key)
        return page

    def test_all_kinds_of_values(self):
        page = self.check(ALL_KINDS)
        self.assertIn("18446744073709551615 events of buffer of CPU1 are lost",
                      page.run["warnings"])
        self.assertEqual(page.run["processes"],
                         [{"entity": -1, "pid": 42, "name": "workload", "fromSec": 5e-7,
                           "toSec": 4.5e-6}])
        self.assertEqual([table["title"] for table in page.run["tables"]][:3],
                         ["Energy", "Totals", "CPU C-State Summary: Residency (Percentage and Time)"])
        self.assertEqual(page.title, "lab-3, 2024-05-01 12:00:00")

    def test_a_recording_of_the_command(self):
        page = self.check(STREAM)
        tables = {table["title"]: table for table in page.run["tables"]}
        rates = tables["System Activity Summary: Average Rate and Total"]
        self.assertEqual([column["numeric"] for column in rates["columns"]], [False, True, True])
        self.assertIn("Interrupts", [row[0] for row in rates["rows"]])

    def test_a_kernel_recording(self):
        folder = os.environ.get("TAVRIN_TEST_DATA")
        if not folder:
            self.skipTest("TAVRIN_TEST_DATA is not set")
        page = self.check(os.path.join(folder, "sched_load.dat"))
        idle = {page.entity(series)["name"]: series for series in page.series(role="idle")}
        self.assertEqual(len(idle), 6)
        self.assertEqual({value for _, _, value in page.points(idle["CPU1"])}, {"Active", "state0"})


class Writer(TavrinTest):
    def page(self, source, *options, status=0):
        done = self.run_tavrin("report", "-w", "html", "-o", "run", *options, source, status=status)
        return Page(self.path("run.html" + (".incomplete" if status else ""))), done.stderr

    def test_hostile_texts(self):
        hostile_run(self.path("hostile.jsonl"))
        page, _ = self.page("hostile.jsonl")
        names = {entity["name"] for entity in page.run["entities"]}
        self.assertIn("</script><script>hacked=1</script>", names)
        self.assertIn("new\nline\ttab\ufffd", names)
        self.assertLess(max(map(len, names)), 300)
        self.assertEqual(page.title, page.run["title"])

    def test_long_texts(self):
        stream = Stream(1, hostName="h" * 1000000)
        metric = stream.metric(1, "m\0" + "x" * 1000000, "f", [[None, None]])
        stream.sample(metric, 0, [("a\0b" + "\u00e4" * 100000, None, None, 1)])
        stream.put(type="text", text="t" * 1000000)
        stream.write(self.path("long.jsonl"))
        page, _ = self.page("long.jsonl")
        (series,) = page.run["series"]
        self.assertTrue(series["metric"].startswith("m\ufffd"), series["metric"][:10])
        self.assertLess(len(series["metric"]), 300)
        self.assertEqual(page.states(series)[0][:4], "a\ufffdb\u00e4")
        self.assertLess(page.size, 600000)

    def test_warnings_of_what_is_missing(self):
        stream = Stream(30)
        metric = stream.metric(1, "Room", "room", [[None, None]])
        for at in range(30):
            if at not in (5, 6, 20):
                stream.sample(metric, at, [(float(at), None, None, 2 if at == 19 else 1)])
        stream.put(type="stop", timestamp=30 * SECOND, durationSec=30,
                   lostEvents=[{"source": "a buffer", "count": 3}])
        self.write("gaps.jsonl", "\n".join(stream.lines) + "\n")
        page, _ = self.page("gaps.jsonl")
        self.assertEqual(page.run["warnings"], [
            "3 events of a buffer are lost", "Room: 1 gap of 2.0 s in all",
            "1 interval of Room is longer than the usual 1.0 s: samples between are missing, "
            "counters go on over them"])

    def test_a_run_that_is_cut_short_is_kept_as_incomplete(self):
        lines = read(STREAM).splitlines()
        self.write("cut.jsonl", "\n".join(lines[:len(lines) * 3 // 4] + ["no record"]))
        page, _ = self.page("cut.jsonl", status=1)
        self.assertIn("The run is incomplete", page.run["warnings"][0])
        self.assertEqual([name for name in self.files() if name.endswith(".html")], [])

    def test_a_killed_run_leaves_the_last_page_alone(self):
        good, _ = self.page(STREAM)
        process = self.start("report", "-w", "html", "-o", "run", "-", stdin=subprocess.PIPE)
        process.stdin.write(read(STREAM)[:3000])
        process.stdin.flush()
        self.wait_for(lambda: any(name.startswith(".tavrin") for name in self.files()))
        process.send_signal(signal.SIGKILL)
        process.communicate()
        self.assertEqual(Page(self.path("run.html")).text, good.text)

    def test_tables_take_their_part_of_the_page_at_most(self):
        stream = Stream(1)
        columns = [stream.define("handle", name="<" * 150, fieldName="<" * 150) for _ in range(20)]
        for number in range(300):
            table = stream.define("table", container=1, number=number, title="T", shared=columns)
            stream.put(type="row", table=table, cells=["<" * 150] * 20)
        stream.write(self.path("tables.jsonl"))
        page, output = self.page("tables.jsonl")
        self.assertGreater(len(page.run["tables"]), 5)
        self.assertLess(page.size, 3000000 / 4 + 300000)
        self.assertTrue(any("no room" in line for line in page.run["warnings"]))

    def test_states_beyond_those_with_names_are_one(self):
        states, samples = 5000, 3
        stream = Stream(samples)
        cpu = cpus(stream, 1)[1][0]
        descriptors = [stream.define("descriptor", name=f"S{number}") for number in range(states)]
        idle = stream.metric(1, "CPU C-State", "core-cstate", [[cpu, one] for one in descriptors],
                             kind="residency", quantity=0)
        for at in range(samples):
            stream.sample(idle, at, [(1000 + at, cpu, one, 1) for one in descriptors])
        stream.write(self.path("states.jsonl"))
        page, _ = self.page("states.jsonl")
        (series,) = page.series(metric="CPU C-State")
        points = page.points(series)
        self.assertEqual(len(points), samples)
        for at, (_, _, ticks) in enumerate(points):
            named = sum(1 for name in ticks if name.startswith("S"))
            self.assertGreater(named, 1000)
            self.assertEqual(ticks["others"], (states - named) * (1000 + at))

    def test_few_series_of_many_are_shown(self):
        stream = Stream(2, processes=[{"pid": pid, "name": f"p{pid}", "start": 1, "end": 0}
                                      for pid in range(1, 20001)])
        package, all_cpus = cpus(stream, 2000)
        states = [stream.define("descriptor", name=name) for name in ("C1", "C6")]
        hertz = stream.define("quantity", kind="frequency", name="Frequency", units="MHz")
        joules = stream.define("quantity", kind="energy", name="Energy", units="mJ")
        idle = stream.metric(1, "CPU C-State", "core-cstate",
                             [[cpu, state] for cpu in all_cpus for state in states],
                             kind="residency", quantity=0)
        clocks = stream.metric(2, "CPU Frequency", "cpu-freq", [[cpu, None] for cpu in all_cpus],
                               quantity=hertz)
        energy = stream.metric(3, "Energy", "energy", [[package, None]], kind="delta",
                               quantity=joules)
        pid = stream.define("attribute", name="PID", values="int")
        name = stream.define("attribute", name="Process", values="string")
        time = stream.define("quantity", kind="other", name="CPU Time", units="ms")
        process = stream.metric(4, "Process CPU Time", "process", [[None, None]], kind="event",
                                quantity=time, valueGroup={"name": "Time", "attributes": [name, pid]})
        for at in range(2):
            stream.sample(idle, at, [(SECOND // 4 * (1 + number), cpu, state, 1)
                                     for cpu in all_cpus for number, state in enumerate(states)])
            stream.sample(clocks, at, [(1000.0 + number, cpu, None, 1)
                                       for number, cpu in enumerate(all_cpus)])
            stream.sample(energy, at, [(500.0, package, None, 1)])
            stream.put(type="sample", metric=process, time=at * SECOND, elements=[
                [1e7, None, None, SECOND, {"attributes": [[name, "kernel threads"]]}]] + [
                    [20001.0 - number, None, None, SECOND, {"attributes": [[pid, number]]}]
                    for number in range(1, 20001)])
        stream.write(self.path("many.jsonl"))
        page, _ = self.page("many.jsonl")
        self.check_many(page)

    def check_many(self, page):
        self.assertLessEqual(page.size, 3000000)
        self.assertLessEqual(len(page.run["series"]), 256)
        self.assertEqual(page.run["series"][0]["label"], "Package0 Energy")
        self.assertEqual(page.run["series"][0]["sum"], 1)
        single = [series for series in page.run["series"] if "aggregate" not in series]
        groups = {series["metric"]: series for series in page.run["series"] if "aggregate" in series}
        # So many processes have series of their own, and the others one.
        self.assertEqual(len(single) + sum(one["aggregate"] for one in groups.values()),
                         2 * 2000 + 1 + 16384 + 1)
        used = sum(series["sum"] for series in page.series(role="processTime"))
        self.assertAlmostEqual(used, 2 * (20000 * 20001 / 2 + 1e7) / 1000, 6)
        busiest = [page.entity(series)["name"] for series in single
                   if series["role"] == "processTime"]
        self.assertEqual(busiest[:2], ["kernel threads", "others"])
        self.assertEqual(busiest[2], "p1 (1)")
        self.assertAlmostEqual(groups["CPU Frequency"]["mean"], 2000, -2)
        self.assertEqual(page.run["processes"][0]["pid"], 1)
        self.assertEqual(len(page.run["processes"]), 1000)
        self.assertTrue(any("aggregate" in line for line in page.run["warnings"]))
        self.assertTrue(any("19000 processes" in line for line in page.run["warnings"]))


class Point:
    """What a series of the binned run is told in [start, end), in ticks."""

    def __init__(self, start, end, value):
        self.start, self.end, self.value = start, end, value


class NaiveBins:
    """The bins of a level, computed one by one."""

    def __init__(self, page, level):
        facts = page.run["data"]["levels"][level]
        self.width, self.count = round(facts["binSec"] * SECOND), facts["bins"]
        self.origin = round(page.run["data"].get("fromSec", 0) * SECOND)

    def parts(self, point):
        """(bin, ticks) for each bin that the point covers."""
        start = max(point.start, self.origin)
        while start < point.end:
            number = (start - self.origin) // self.width
            end = min(point.end, self.origin + (number + 1) * self.width)
            if number < self.count:
                yield number, end - start
            start = end


class BinnedRun:
    """A run of every kind of series with what goes into it, in the order of time."""

    def __init__(self, path, points):
        self.random = random.Random(SEED)
        self.points = collections.defaultdict(list)
        self.late = 0
        end, step = 0, 1000000
        stream = Stream(0)
        self.stream = stream
        self.cpus = cpus(stream, 2)[1]
        self.define(stream)
        for number in range(points):
            length = step + self.random.randrange(-step // 10, step // 10)
            self.sample(end, length, number, points)
            end += length if number % 997 else 3 * length
        stream.seconds = end / SECOND
        self.end = end
        for waiting in self.waiting.values():
            waiting.end = end
        stream.write(path)

    def define(self, stream):
        self.states = [stream.define("descriptor", name=name) for name in ("C1", "C6")]
        watts = stream.define("quantity", kind="power", name="Power", units="W")
        joules = stream.define("quantity", kind="energy", name="Energy", units="mJ", rate=watts,
                               rateFactor=0.001)
        celsius = stream.define("quantity", kind="temperature", name="Temperature", units="C")
        state = stream.define("quantity", kind="state", name="State")
        both = [[cpu, None] for cpu in self.cpus]
        self.energy = stream.metric(1, "Energy", "energy", both, kind="delta", quantity=joules)
        self.heat = stream.metric(2, "Heat", "thermal", both, quantity=celsius)
        self.idle = stream.metric(3, "CPU C-State", "core-cstate",
                                  [[cpu, one] for cpu in self.cpus for one in self.states],
                                  kind="residency", quantity=0)
        self.tasks = stream.metric(4, "Task", "sched", both, kind="transition", quantity=state)
        self.clocks = stream.metric(5, "Clock", "clk", both, kind="transition", quantity=celsius)
        self.events = stream.metric(6, "Event", "events", both, kind="event", quantity=state)
        self.waiting = {}

    def change(self, metric, cpu, start, value):
        """A value that lasts until the next one."""
        if (metric, cpu) in self.waiting:
            self.waiting[metric, cpu].end = start
        self.waiting[metric, cpu] = Point(start, start, value)
        self.points[metric, cpu].append(self.waiting[metric, cpu])

    def sample(self, start, length, number, points):
        told = collections.defaultdict(list)
        for cpu in self.cpus:
            draw = self.random.random
            energy, heat = round(draw() * 100, 3), 40 + math.sin(number / 500) * 20 + draw()
            ticks = [round(draw() * length / 2) for _ in self.states]
            told[self.energy].append([energy, cpu, None, length])
            told[self.heat].append([heat, cpu, None, length])
            told[self.idle] += [[one, cpu, state, length] for one, state in zip(ticks, self.states)]
            self.points[self.energy, cpu].append(Point(start, start + length, energy))
            self.points[self.heat, cpu].append(Point(start, start + length, heat))
            self.points[self.idle, cpu].append(Point(start, start + length, ticks))
            if draw() < 0.4:
                task = f"task {self.random.randrange(6 if cpu == self.cpus[0] else 30)}"
                told[self.tasks].append([task, cpu])
                self.change(self.tasks, cpu, start, task)
            if draw() < 0.2:
                clock = float(self.random.randrange(800, 4000))
                told[self.clocks].append([clock, cpu])
                self.change(self.clocks, cpu, start, clock)
            if draw() < 0.3:
                told[self.events].append(["wake", cpu])
                self.points[self.events, cpu].append(Point(start, start, "wake"))
        for metric, elements in told.items():
            self.stream.put(type="sample", metric=metric, time=start, elements=elements)


class Binned(TavrinTest):
    def setUp(self):
        super().setUp()
        print(f"TAVRIN_TEST_SEED={SEED}", file=sys.stderr)

    def series(self, page, metric, cpu):
        (found,) = [one for one in page.series(metric=metric) if page.entity(one)["name"] == cpu]
        return found

    def check_values(self, page, series, points, factor):
        data = series["data"]
        quantum = (data["scale"][1] - data["scale"][0]) / 65534 * 0.51 + 1e-9
        for level in range(len(page.run["data"]["levels"])):
            grid = NaiveBins(page, level)
            bins = collections.defaultdict(list)
            for point in points:
                value = point.value * factor(point)
                for number, ticks in grid.parts(point):
                    bins[number].append((value, ticks))
            found = page.value_bins(series, level)
            self.assertEqual({number for number, one in enumerate(found) if one}, set(bins))
            for number, values in bins.items():
                covered = sum(ticks for _, ticks in values)
                mean = sum(value * ticks for value, ticks in values) / covered
                for one, wanted in zip(found[number], (min(values)[0], mean, max(values)[0])):
                    self.assertAlmostEqual(one, wanted, delta=quantum)
                self.assertAlmostEqual(found[number][3], covered / grid.width, delta=0.0021)

    def check_states(self, page, series, points, parts):
        for level in range(len(page.run["data"]["levels"])):
            grid = NaiveBins(page, level)
            bins = collections.defaultdict(collections.Counter)
            for point in points:
                for number, ticks in grid.parts(point):
                    for state, share in parts(point).items():
                        bins[number][state] += share * ticks / grid.width
            for number, found in enumerate(page.state_bins(series, level)):
                wanted = bins[number]
                self.assertAlmostEqual(sum(found.values()), sum(wanted.values()), delta=2e-4)
                for state, share in found.items():
                    if len(wanted) <= 8:
                        self.assertAlmostEqual(share, wanted[state], delta=1e-5)
                    elif state != "OTHERS":
                        self.assertLessEqual(share, wanted[state] + 1e-5)

    def check_events(self, page, series, points):
        for level in range(len(page.run["data"]["levels"])):
            grid = NaiveBins(page, level)
            counts = collections.Counter((one.start - grid.origin) // grid.width for one in points)
            self.assertEqual([round(count) for count in page.event_bins(series, level)],
                             [counts[number] for number in range(grid.count)])

    def check(self, page, run):
        self.assertTrue(page.is_binned)
        self.assertGreater(len(page.run["data"]["levels"]), 1)
        for number, cpu in enumerate(run.cpus):
            name = f"CPU{number}"
            series = self.series(page, "Energy", name)
            self.check_values(page, series, run.points[run.energy, cpu],
                              lambda point: 1e-3 * SECOND / (point.end - point.start))
            self.assertAlmostEqual(series["sum"] * 1000, sum(
                point.value for point in run.points[run.energy, cpu]), 3)
            for metric, key in (("Heat", run.heat), ("Clock", run.clocks)):
                series = self.series(page, metric, name)
                points = [one for one in run.points[key, cpu] if one.end > one.start]
                self.check_values(page, series, points, lambda point: 1)
                values = [point.value for point in points]
                self.assertEqual([series["minimum"], series["maximum"], series["points"]],
                                 [min(values), max(values), len(values)])
            self.check_states(page, self.series(page, "Task", name), run.points[run.tasks, cpu],
                              lambda point: {point.value: 1})
            self.check_states(page, self.series(page, "CPU C-State", name),
                              run.points[run.idle, cpu], self.residency)
            self.check_events(page, self.series(page, "Event", name), run.points[run.events, cpu])

    @staticmethod
    def residency(point):
        length = point.end - point.start
        c1, c6 = (ticks / length for ticks in point.value)
        return {"C1": c1, "C6": c6, "Busy": 1 - c1 - c6}

    def page(self, source, room):
        """The page of the run, with so many bytes for what is of this run alone."""
        self.run_tavrin("report", "-w", "html", "-q", "-o", "empty", STREAM)
        frame = os.path.getsize(self.path("empty.html"))
        self.run_tavrin("report", "-w", "html", "-o", "run", "--page-size", str(frame + room), source)
        page = Page(self.path("run.html"))
        self.assertLessEqual(page.size, frame + room)
        return page

    def test_a_run_that_does_not_fit_when_it_ends(self):
        run = BinnedRun(self.path("run.jsonl"), 3000)
        self.check(self.page("run.jsonl", 100000), run)

    def test_an_aggregate_of_rates_is_the_sum_of_those_that_were_there(self):
        processes, per_step = 400, 4
        stream = Stream(3000 / 1000)
        time = stream.define("quantity", kind="other", name="CPU Time", units="ms")
        pid = stream.define("attribute", name="PID", values="int")
        used = stream.metric(1, "Process CPU Time", "process", [[None, None]], kind="event",
                             quantity=time, valueGroup={"name": "Time", "attributes": [pid]})
        step = SECOND // 1000
        draw = random.Random(SEED)
        for number in range(3000):
            # One after the other, and never all of them at once.
            there = [1 + (number * processes // 3000 + other) % processes
                     for other in range(per_step)]
            stream.put(type="sample", metric=used, time=number * step, elements=[
                [round(draw.random(), 6), None, None, step, {"attributes": [[pid, one]]}]
                for one in there])
        stream.write(self.path("processes.jsonl"))
        page = self.page("processes.jsonl", 200000)
        self.assertTrue(page.is_binned)
        (others,) = [one for one in page.run["series"] if "aggregate" in one]
        self.assertGreater(others["aggregate"], 100)
        for number, level in enumerate(page.run["data"]["levels"]):
            bins = page.value_bins(others, number)
            total = sum(one[1] * one[3] for one in bins if one) * level["binSec"]
            # The page tells shares of a processor, and their sum in seconds.
            self.assertAlmostEqual(total / 100 / others["sum"], 1, 2, number)
            self.assertLessEqual(max(one[1] for one in bins if one), 100.1 * per_step)

    def test_a_process_that_comes_late_and_uses_the_most_is_shown(self):
        stream = Stream(120)
        time = stream.define("quantity", kind="other", name="CPU Time", units="ms")
        pid = stream.define("attribute", name="PID", values="int")
        used = stream.metric(1, "Process CPU Time", "process", [[None, None]], kind="event",
                             quantity=time, valueGroup={"name": "Time", "attributes": [pid]})
        step = SECOND // 1000
        busiest = 100000
        for number in range(120000):
            there = [(1 + number // 10, 0.5)] + ([(busiest, 1.0)] if number >= 117000 else [])
            stream.put(type="sample", metric=used, time=number * step, elements=[
                [value, None, None, step, {"attributes": [[pid, one]]}] for one, value in there])
        stream.write(self.path("processes.jsonl"))
        page = self.page("processes.jsonl", 200000)
        self.assertTrue(page.is_binned)
        (shown,) = [one for one in page.series(role="processTime")
                    if "aggregate" not in one and page.entity(one)["name"] == f" ({busiest})"]
        self.assertAlmostEqual(shown["sum"], 3.0, 6)
        self.assertIs(page.series(role="processTime")[0], shown)
        self.assertAlmostEqual(sum(one["sum"] for one in page.series(role="processTime")), 63.0, 3)
        (others,) = [one for one in page.run["series"] if "aggregate" in one]
        bins = page.value_bins(others, 0)
        total = sum(one[1] * one[3] for one in bins if one) * page.run["data"]["levels"][0]["binSec"]
        self.assertAlmostEqual(total / 100 / others["sum"], 1, 2)

    def test_a_run_that_outgrows_the_memory_while_it_lasts(self):
        run = BinnedRun(self.path("run.jsonl"), 30000)
        self.check(self.page("run.jsonl", 60000), run)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
