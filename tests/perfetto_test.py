#!/usr/bin/env python3
"""The Perfetto writer, driven by the command: recorded streams and recordings of kernel events become
traces, which a reader of their own checks (pftrace.py).

usage: perfetto_test.py TAVRIN TESTS

Recordings of real machines are below the folder that the environment variable TAVRIN_TEST_DATA names;
without it, and without protoc, what needs them is skipped.
"""

import collections
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

import pftrace

TAVRIN, DATA = os.path.abspath(sys.argv[1]), os.path.join(os.path.abspath(sys.argv[2]), "data")
REAL = os.environ.get("TAVRIN_TEST_DATA", "")
START = 1000


class Stream:
    """A recorded stream that is put together. Definitions return their ids."""

    def __init__(self, **system):
        self.lines = [{"type": "tavrin-stream", "version": 2},
                      {"type": "system", "clockMHz": 1000, "startTimestamp": START, **system}]
        self.ids = 0

    def define(self, record, **members):
        self.ids += 1
        self.lines.append({"type": record, "id": self.ids, **members})
        return self.ids

    def entity(self, name, level="Thing", **members):
        return self.define("entity", name=name, level=level, **members)

    def metric(self, name, kind="value", **members):
        return self.define("metric", container=1, name=name, feature="f", kind=kind, **members)

    def sample(self, metric, time, *elements):
        self.lines.append({"type": "sample", "metric": metric, "time": time, "elements": elements})

    def text(self):
        return "".join(json.dumps(line) + "\n" for line in self.lines)


class PerfettoTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.base = os.path.join(folder.name, "run")

    def report(self, source, *options, status=0, ending=""):
        """The trace of a file or a stream; `self.log` has what the command said."""
        text = source.text() if isinstance(source, Stream) else None
        done = subprocess.run(
            [TAVRIN, "report", "-w", "perfetto", "-o", self.base, *options,
             "-" if text else source], input=text, text=True, capture_output=True, timeout=300)
        self.assertEqual(done.returncode, status, done.stderr)
        self.log = done.stderr
        return pftrace.read(self.base + ".pftrace" + ending)

    def slices(self, trace, path):
        return [tuple(one[:3]) for one in trace.track(path, "slices").slices]

    def points(self, trace, path):
        return trace.track(path, "points").points

    def rounded(self, trace, path):
        return [(time, round(value, 6)) for time, value in self.points(trace, path)]


class KnownStream(PerfettoTest):
    def test_has_the_values_of_all_kinds(self):
        trace = self.report(os.path.join(DATA, "stream-all-kinds.jsonl"))
        self.assertEqual(trace.clocks, {5: 1000, 1: 1714557600000000000})
        cpu = "Package/Package0/CPU0/CPU C-State"
        # A residency of 250 of 1000 ticks; the last value is told at its end once more.
        self.assertEqual(self.points(trace, cpu + ": C6"), [(1000, 25), (2000, 0.3), (3000, 0.3)])
        self.assertEqual(self.points(trace, cpu + ": C0"), [(1000, 75), (2000, 75)])
        self.assertEqual(trace.track(cpu + ": C6", "points").counter,
                         {"unit": 0, "unit_name": "%"})
        # Without a length, ticks as nanoseconds.
        self.assertEqual(self.points(trace, cpu), [(1000, 1)])
        self.assertEqual(trace.track(cpu, "points").counter["unit"], 1)
        energy = [12.5, 5, -5, 2.0**64, -2**63, 2**63 - 1, 0, 5e-324, 2.225073858507201e-308, 1e308,
                  1.7976931348623157e308, 0.1, 123456789.12345679]
        self.assertEqual([value for _, value in self.points(trace, "Package Energy")], energy)
        self.assertEqual(self.slices(trace, "Package Energy"), [
            (3000, 4000, "idle"), (4000, 4000, "-3 - 4"),
            (4000, 6000, "0 - 18446744073709551615")])
        self.assertEqual(trace.track("workload").process,
                         {"pid": 42, "command": b"/bin/workload", "name": b"workload", "start": 1500})
        self.assertEqual(trace.track("workload/a) b (ü").thread["tid"], 43)
        self.assertEqual(self.slices(trace, "workload/Lifetime"), [
            (1500, 1700, "sh"), (1700, 1800, "unknown"), (1800, 5500, "workload")])
        self.assertNotIn("/sbin/init/Lifetime", trace.paths(), "lived all the time")
        run = trace.track("Run").instants
        self.assertEqual([(time, name) for time, name, _ in run],
                         [(1000, "Run"), (6000, "Lost events"), (6000, "Lost events")])
        self.assertEqual(run[0][2]["Host"], "lab-3")
        self.assertEqual(run[1][2], {"Source": "buffer of CPU1", "Count": 2**64 - 1})

    @unittest.skipUnless(shutil.which("protoc"), "protoc is not installed")
    def test_is_a_message_to_protoc(self):
        self.report(os.path.join(DATA, "recorded.jsonl"))
        with open(self.base + ".pftrace", "rb") as file:
            done = subprocess.run(["protoc", "--decode_raw"], stdin=file, capture_output=True)
        self.assertEqual((done.returncode, done.stderr), (0, b""))


class Counters(PerfettoTest):
    def setUp(self):
        super().setUp()
        self.stream = Stream()
        self.thing = self.stream.entity("A")

    def metric_of(self, name, quantity, **members):
        return self.stream.metric(name, quantity=self.stream.define("quantity", **quantity),
                                  **members)

    def test_have_units_and_rates(self):
        power = self.stream.define("quantity", kind="power", name="Power", units="W")
        energy = self.metric_of("Energy", {"kind": "energy", "name": "Energy", "units": "mJ",
                                           "rate": power, "rateFactor": 0.001}, kind="delta")
        self.stream.sample(energy, 1000, [500, self.thing, None, 250_000_000])
        self.stream.sample(energy, 250_001_000, [7, self.thing])
        self.stream.sample(energy, 250_001_000, [1e308, self.thing, None, 1])  # too much a second
        count = self.metric_of("Count", {"kind": "count", "name": "Count"}, kind="delta")
        self.stream.sample(count, 1000, [5, self.thing, None, 10], [5, self.thing])
        used = self.stream.metric("Used", "delta", quantity=0)
        self.stream.sample(used, 1000, [2.5, self.thing, None, 10])
        trace = self.report(self.stream)
        expected = {"W": [(1000, 2.0), (250_001_000, 2.0)], "mJ": [(250_001_000, 7)]}
        self.assertEqual({track.counter["unit_name"]: track.points
                          for track in trace.at("Thing/A/Energy")}, expected)
        self.assertIn("A value of Energy is left out of the Perfetto trace: it is not finite", self.log)
        self.assertEqual({track.counter["unit_name"]: track.counter["unit"]
                          for track in trace.at("Thing/A/Count")}, {"/s": 0, "": 2})
        # A time is a share of the time, as a residency is.
        self.assertEqual(self.rounded(trace, "Thing/A/Used"), [(1000, 25), (1010, 25)])

    def test_are_zero_in_a_gap(self):
        heat = self.metric_of("Heat", {"kind": "temperature", "name": "Temperature", "units": "C"})
        other = self.stream.entity("B")
        # The second begins late by a time that was rounded; behind the third one is missing.
        for time in (1000, 1104, 1200, 1400, 1500):
            self.stream.sample(heat, time, [time / 10, self.thing, None, 100],
                               [time / 20, other, None, 100])
        self.stream.sample(heat, 1600, [1, self.thing, None, 100])
        trace = self.report(self.stream)
        self.assertEqual(self.points(trace, "Thing/A/Heat"),
                         [(1000, 100), (1104, 110.4), (1200, 120), (1300, 0), (1400, 140),
                          (1500, 150), (1600, 1), (1700, 1)])
        self.assertEqual(self.points(trace, "Thing/B/Heat")[-2:], [(1500, 75), (1600, 75)])
        self.assertEqual(self.slices(trace, "No samples/Heat"), [(1300, 1400, "no samples")])

    def test_take_only_what_is_within_the_run_in_order_and_finite(self):
        heat = self.metric_of("Heat", {"kind": "temperature", "name": "T"})
        changes = self.stream.metric("Changes", "transition")
        for time, length in ((500, 100), (900, 200), (1100, 0), (1050, 0), (2**64 - 1, 0), (1200, 0)):
            for metric, value in ((heat, 7), (changes, "on")):
                self.stream.sample(metric, time, [value, self.thing, None, length])
        self.stream.sample(heat, 1300, [{"real": "nan"}, self.thing], [{"real": "inf"}, self.thing])
        trace = self.report(self.stream)
        self.assertEqual(self.points(trace, "Thing/A/Heat"), [(1000, 7), (1100, 7), (1200, 7)])
        self.assertEqual(self.slices(trace, "Thing/A/Changes"),
                         [(1000, 1100, "on"), (1100, 1200, "on"), (1200, 1200, "on")])
        for cause in ("is not within the run", "is before the last one"):
            self.assertIn(f"A value of Heat is left out of the Perfetto trace: it {cause}", self.log)

    def test_have_the_time_of_the_clock_that_the_run_has(self):
        for mhz, expected in ((1000, [1000, 3000]), (100, [10000, 30000]), (3000, [333, 1000])):
            with self.subTest(mhz):
                self.stream = Stream(clockMHz=mhz)
                metric = self.stream.metric("M")
                self.stream.sample(metric, 1000, [1])
                self.stream.sample(metric, 3000, [2])
                self.assertEqual([time for time, _ in self.points(self.report(self.stream), "M")],
                                 expected)


class States(PerfettoTest):
    def setUp(self):
        super().setUp()
        self.stream = Stream()
        self.disk = self.stream.entity("sda", "Disk")

    def test_are_slices_one_at_a_time(self):
        cases = [
            ("finished ones", [(1000, 100, "a"), (1100, 50, "b"), (1200, 1, "c")],
             [(1000, 1100, "a"), (1100, 1150, "b"), (1200, 1201, "c")]),
            ("that last until the next, or the end", [(1000, 0, "a"), (1200, 0, "b")],
             [(1000, 1200, "a"), (1200, 5000, "b")]),
            ("that overlap", [(1000, 500, "a"), (1200, 100, "b"), (1250, 0, "c"), (1250, 9, "d")],
             [(1000, 1200, "a"), (1200, 1250, "b"), (1250, 1250, "c"), (1250, 1259, "d")]),
            ("too early", [(1300, 10, "a"), (1200, 500, "b"), (1310, 1, "c")],
             [(1300, 1310, "a"), (1310, 1311, "c")]),
        ]
        metrics = {}
        for name, states, _ in cases:
            metrics[name] = self.stream.metric(name, "transition")
            for time, length, state in states:
                self.stream.sample(metrics[name], time, [state, self.disk, None, length])
        self.stream.lines.append({"type": "stop", "timestamp": 5000})
        trace = self.report(self.stream)
        for name, _, expected in cases:
            with self.subTest(name):
                self.assertEqual(self.slices(trace, "Disk/sda/" + name), expected)

    def test_of_samples_go_on_while_they_are_the_same(self):
        metric = self.stream.metric("State")
        for time, state in ((1000, "on"), (1100, "on"), (1200, "off"), (1400, "off")):
            self.stream.sample(metric, time, [state, self.disk, None, 100])
        trace = self.report(self.stream)
        self.assertEqual(self.slices(trace, "Disk/sda/State"),
                         [(1000, 1200, "on"), (1200, 1300, "off"), (1400, 1500, "off")])

    def test_of_a_run_that_was_cut_have_their_ends(self):
        metric = self.stream.metric("State", "transition")
        self.stream.sample(metric, 1000, ["on", self.disk])
        self.stream.sample(metric, 1200, ["off", self.disk])
        self.stream.lines.append("torn")
        trace = self.report(self.stream, status=1, ending=".incomplete")
        self.assertEqual(self.slices(trace, "Disk/sda/State"),
                         [(1000, 1200, "on"), (1200, 1200, "off")])
        self.assertFalse(os.path.exists(self.base + ".pftrace"))


class Events(PerfettoTest):
    def setUp(self):
        super().setUp()
        self.stream = Stream()
        kinds = {"Text": "string", "PID": "int", "TID": "int", "Real": "real", "More": "info"}
        self.ids = {name: self.stream.define("attribute", name=name, values=kind)
                    for name, kind in kinds.items()}

    def element(self, value, entity=None, duration=0, info=(), **attributes):
        told = [[self.ids[name], each] for name, each in attributes.items()]
        return [value, entity, None, duration, {"attributes": told, "info": list(info)}]

    def test_are_instants_with_their_fields(self):
        metric = self.stream.metric("Trips", "event")
        zone = self.stream.entity("soc", "Zone")
        more = [[self.ids["More"], {"uintRange": [1, 2]}], [self.ids["Text"], None]]
        self.stream.sample(metric, 1000, self.element("trip", zone, 7, more, Text="ü", PID=-1,
                                                      Real=0.5))
        self.stream.sample(metric, 1001, self.element(3, zone, Real={"real": "nan"}))
        self.stream.sample(metric, 1002, ["trip", zone])
        instants = self.report(self.stream).track("Zone/soc/Trips").instants
        self.assertEqual(instants, [
            (1000, "trip", {"Text": "ü", "PID": -1, "Real": 0.5, "More": "1 - 2",
                            "Duration (ns)": 7}),
            (1001, "Trips", {"Real": "nan", "Value": 3}), (1002, "trip", {})])

    def test_and_values_of_a_process_are_with_it(self):
        events = self.stream.metric("Process Events", "event")
        used = self.stream.metric("Time", "delta", quantity=0)
        self.stream.sample(events, 1000, self.element("fork", PID=20, TID=21))
        self.stream.sample(events, 1001, self.element("exit", TID=22, Text="nobody's"))
        milliseconds = self.stream.define("quantity", kind="other", name="Time", units="ms")
        told = {"name": "Process", "attributes": [self.ids["PID"]]}
        busy = self.stream.metric("Busy", "event", quantity=milliseconds, valueGroup=told)
        first, second = (self.stream.define("descriptor", name=f"Busiest {n}") for n in (1, 2))
        for time, rank in ((1000, first), (1100, second), (1300, first)):
            reading = self.element(time / 1e8, None, 100, Text="early", PID=7, TID=7)
            reading[2] = rank
            self.stream.sample(busy, time, reading, self.element(1, None, 100, Text="others"))
        self.stream.sample(busy, 1400, self.element(3, None, 100, PID=7, TID=8))
        self.stream.sample(used, 1000, self.element(5, None, 10, Text="late", PID=9),
                           self.element(6, None, 10, Text="early", PID=7),
                           self.element(7, None, 10, Text="others"))
        trace = self.report(self.stream)
        self.assertEqual(self.rounded(trace, "early/Time"), [(1000, 60), (1010, 60)])
        self.assertEqual(self.rounded(trace, "late/Time"), [(1000, 50), (1010, 50)])
        self.assertEqual(self.rounded(trace, "Time/others"), [(1000, 70), (1010, 70)])
        # The place of a process among the busiest makes no other series of it; nothing is missing.
        self.assertEqual(self.rounded(trace, "early/Busy"),
                         [(1000, 10), (1100, 11), (1200, 0), (1300, 13), (1400, 13)])
        self.assertEqual(len(self.points(trace, "Busy/others")), 5)
        self.assertNotIn("No samples", trace.paths())
        self.assertEqual(trace.track("early/Busy", "instants").instants,
                         [(1400, "Busy", {"PID": 7, "TID": 8, "Duration (ns)": 100, "Value": 3})])
        self.assertEqual(trace.track("Process Events").instants,
                         [(1001, "exit", {"TID": 22, "Text": "nobody's"})])
        process = next(track for track in trace.tracks.values()
                       if track.process and track.process["pid"] == 20)
        told = next(track for track in trace.tracks.values() if track.parent == process.uuid)
        self.assertEqual(told.instants, [(1000, "fork", {"PID": 20, "TID": 21})])
        self.assertLess(trace.track("early").rank, trace.track("late").rank)


class Order(PerfettoTest):
    def test_is_that_of_the_definitions(self):
        """Whatever the order of the samples."""
        stream = Stream()
        package = stream.entity("Package0", "Package")
        cpus = [stream.entity(f"CPU{n}", "Thread", parent=package) for n in range(11)]
        names = [stream.define("descriptor", name=name) for name in ("C1", "C10", "C2")]
        metrics = [stream.metric(name, combinations=[[cpu, each] for cpu in cpus for each in names])
                   for name in ("Zeta", "Alpha")]
        for metric in reversed(metrics):
            for cpu in reversed(cpus):
                for name in reversed(names):
                    stream.sample(metric, 2000, [1, cpu, name])
        stream.sample(metrics[0], 2000, [1, package, names[0]])
        trace = self.report(stream)

        def below(parent):
            tracks = [track for track in trace.tracks.values()
                      if track.parent == parent.uuid and parent.uuid]
            return [track.name for track in sorted(tracks, key=lambda track: track.rank)]

        self.assertEqual(below(trace.track("Package/Package0")),
                         ["Zeta: C1"] + [f"CPU{n}" for n in range(11)])
        self.assertEqual(below(trace.track("Package/Package0/CPU10")),
                         [f"{metric}: {name}" for metric in ("Zeta", "Alpha")
                          for name in ("C1", "C10", "C2")])


class HostileTexts(PerfettoTest):
    def test_are_valid_and_short(self):
        names = ["", "\0", "\u2028\u202e<script>", "e" * 999 + "ü", "x" * 1_000_000, "a/b", "\x7f\r\n"]
        stream = Stream(hostName="h" * 100_000)
        shown = []
        for n, name in enumerate(names):
            shown.append(name if len(name.encode()) <= 1000
                         else pftrace.text(name.encode()[:999] + b"\xef\xbf\xbd"[:0]))
            attribute = stream.define("attribute", name=name, values="string")
            unit = stream.define("quantity", name=name, kind="other", units=name)
            metric = stream.metric(f"M{n}", "event", quantity=unit)
            stream.sample(metric, 1000, [name, stream.entity(f"E{n}" + name, name), None, 0,
                                         {"attributes": [[attribute, name]]}])
            stream.sample(stream.metric("N" + name, quantity=unit), 1000, [1])
        trace = self.report(stream)
        told = [track.instants[0] for track in trace.tracks.values()
                if track.name.startswith("M") and track.instants]
        for name, (_, shown, annotations) in zip(names, told, strict=True):
            cut = name.encode()[:1000].decode("utf-8", "ignore")
            for text in (shown, *annotations, *annotations.values()):
                self.assertTrue(text.startswith(cut) and len(text) <= len(cut) + 3, text[:50])
        self.assertLess(os.path.getsize(self.base + ".pftrace"), 50_000)

    def test_that_are_too_many_begin_anew(self):
        """More names than are kept: sequences clear their states, and numbers are not given again."""
        stream = Stream()
        thing, other = stream.entity("A"), stream.entity("B")
        metric = stream.metric("Events", "event")
        stream.sample(metric, 1000, ["first", other])
        for n in range(40_000):
            stream.sample(metric, 1000 + n, [f"event {n}", thing])
        stream.sample(metric, 50_000, ["first", other], ["event 39999", other])
        trace = self.report(stream)
        many = trace.track("Thing/A/Events")
        self.assertEqual([name for _, name, _ in many.instants],
                         [f"event {n}" for n in range(40_000)])
        self.assertEqual([name for _, name, _ in trace.track("Thing/B/Events").instants],
                         ["first", "first", "event 39999"])
        self.assertGreaterEqual(trace.sequences[many.uuid].cleared, 3)


def kernel_counts(trace):
    return collections.Counter((name, cpu) for cpu, events in trace.kernel.items()
                               for _, name, _ in events)


class KernelEvents(PerfettoTest):
    def test_are_told_in_bundles(self):
        trace = self.report(os.path.join(DATA, "ftrace", "cat-trace.txt"))
        self.assertGreater(len(trace.kernel[0]), 2)
        self.check_lanes(trace)

    def check_lanes(self, trace):
        """The lanes of the kernel say the same as the slices of the metrics."""
        for cpu, events in trace.kernel.items():
            path = next(path for path in trace.paths() if path.endswith(f"/CPU{cpu}"))
            switches = [event for event in events if event[1] == "sched_switch"]
            for before, after in zip(switches, switches[1:]):
                self.assertEqual(before[2]["next_pid"], after[2]["prev_pid"])
                self.assertEqual(before[2]["next_comm"], after[2]["prev_comm"])
            if not switches or trace.lost[cpu]:
                continue
            slices = trace.track(path + "/Running Task", "slices").slices
            self.assertEqual(
                [(time, event["next_comm"] if event["next_pid"] else "idle")
                 for time, _, event in switches], [(one[0], one[2]) for one in slices])

    def test_have_gaps_and_numbers_of_states(self):
        stream = Stream()
        cpu = stream.entity("CPU1", "Thread")
        tid = stream.define("attribute", name="TID", values="int")
        pid = stream.define("attribute", name="PID", values="int")
        task = {"attributes": [[pid, 70], [tid, 71]]}
        running, idle, frequency = (stream.metric(name, "transition", **more) for name, more in (
            ("Running Task", {}), ("CPU Idle State", {"finiteSet": ["Active", "POLL", "C6"]}),
            ("CPU Frequency Changes", {})))
        stream.sample(running, 1000, ["worker", cpu, None, 100, task])
        stream.sample(running, 1100, ["idle", cpu, None, 10])
        stream.sample(running, 1200, ["worker", cpu, None, 100, task])
        for time, state in ((1000, "C6"), (1050, "Active"), (1060, "POLL"), (1200, "state9"),
                            (1210, "odd")):
            stream.sample(idle, time, [state, cpu, None, 10 if time != 1000 else 50])
        stream.sample(frequency, 1000, [1800.5, cpu, None, 300])
        stream.sample(running, 1300, ["nobody", cpu, None, 10], ["far", stream.entity(
            "CPU1024", "Thread"), None, 10, task])
        trace = self.report(stream)
        self.assertEqual(
            [(time, event["prev_pid"], event["prev_comm"], event["prev_state"], event["next_pid"],
              event["next_comm"]) for time, name, event in trace.kernel[1] if name == "sched_switch"],
            [(1000, 0, "swapper/1", 0, 71, "worker"), (1100, 71, "worker", 1, 0, "swapper/1"),
             (1110, 0, "swapper/1", 0, 0, "swapper/1"), (1200, 0, "swapper/1", 0, 71, "worker"),
             (1300, 71, "worker", 1, 0, "swapper/1")])
        self.assertEqual(
            [(time, event["state"]) for time, name, event in trace.kernel[1] if name == "cpu_idle"],
            [(1000, 1), (1050, pftrace.NOT_IDLE), (1060, 0), (1070, pftrace.NOT_IDLE), (1200, 9),
             (1210, pftrace.NOT_IDLE)])
        self.assertEqual(
            [(time, event["state"]) for time, name, event in trace.kernel[1]
             if name == "cpu_frequency"], [(1000, 1800500), (1300, 0)])
        self.assertEqual(trace.lost[1], 2)
        self.assertEqual(list(trace.kernel), [1])
        thread = next(track for track in trace.tracks.values() if track.thread)
        self.assertEqual((thread.thread["pid"], thread.thread["tid"]), (70, 71))

    @unittest.skipUnless(os.path.isdir(REAL), "TAVRIN_TEST_DATA names no recordings")
    def test_of_real_recordings_are_as_many_as_others_counted(self):
        with open(os.path.join(REAL, "counts.json")) as file:
            known = json.load(file)
        for name, recording in known.items():
            with self.subTest(name):
                trace = self.report(os.path.join(REAL, name), "--events", "*")
                found = kernel_counts(trace)
                for event in ("sched_switch", "cpu_idle"):
                    for cpu, count in recording["per_cpu"].get(event, {}).items():
                        self.assertEqual(found[event, int(cpu)], count, (event, cpu))
                # These are told of any CPU by any other.
                self.assertEqual(sum(count for (event, _), count in found.items()
                                     if event == "cpu_frequency"),
                                 recording["events"].get("cpu_frequency", 0))
                self.check_lanes(trace)
                others = set(recording["events"]) - {"sched_switch", "cpu_idle", "cpu_frequency",
                                                     "cdev_update", "thermal_temperature"}
                for event in others:
                    self.assertEqual(
                        sum(len(track.instants) for track in trace.tracks.values()
                            if track.name == event), recording["events"][event])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
