"""Each query of the Grafana dashboard, against what a recording of ours holds."""

import collections
import json
import math
import os
import re
import socket

import fleet
from command_support import TESTS, TavrinTest, read
from engine import VictoriaMetrics, needs

DASHBOARD = os.path.join(TESTS, "..", "docs", "fleet", "grafana-dashboard.json")
WINDOW = 3600  # seconds, more than the recording took
CPU = "sys/devices/system/cpu/"
ZONE = "sys/class/powercap/intel-rapl:0"
BUSY = ("user", "nice", "system", "irq", "softirq", "steal")


def machine(step):
    """A machine's files after so many steps, all counters of which go up."""
    files = {CPU + "online": "0-1\n",
             "proc/stat": "cpu  0 0 0 0\n" + "".join(
                 f"cpu{n} {10 + step * (n + 1)} 0 {5 + step} {100 + 3 * step} 0 0 {step} 0 0 0\n"
                 for n in range(2)) + "intr 5 1\nctxt 7\nprocesses 3\n",
             "sys/class/thermal/thermal_zone0/temp": f"{40000 + 500 * (step % 5)}\n"}
    for n in range(2):
        cpu = f"{CPU}cpu{n}/"
        files.update({cpu + "topology/core_id": f"{n}\n", cpu + "topology/physical_package_id": "0\n",
                      cpu + "thermal_throttle/core_throttle_count": f"{step * n}\n",
                      cpu + "thermal_throttle/package_throttle_count": f"{step}\n"})
        for state, name in enumerate(("POLL", "C1", "C6")):
            files.update({f"{cpu}cpuidle/state{state}/name": name + "\n",
                          f"{cpu}cpuidle/state{state}/time": f"{1000 * step * (state + n)}\n",
                          f"{cpu}cpuidle/state{state}/usage": f"{step}\n",
                          f"{cpu}cpuidle/state{state}/latency": f"{10 * state}\n",
                          f"{cpu}cpuidle/state{state}/residency": f"{20 * state}\n"})
    for zone, name, power in ((ZONE, "package-0", 9), (ZONE + ":0", "core", 5)):
        files.update({f"{zone}/name": name + "\n", f"{zone}/energy_uj": f"{step * power * 10**5}\n",
                      f"{zone}/max_energy_range_uj": "262143328850\n"})
    return files


class Totals:
    """What a recorded stream holds: sums and maxima of values by metric, entity and descriptor."""

    def __init__(self, stream):
        self.sums, self.most = collections.defaultdict(float), collections.defaultdict(float)
        names = {}
        for record in map(json.loads, stream.splitlines()):
            if "id" in record and "name" in record:
                names[record["id"]] = record["name"]
            if record["type"] != "sample":
                continue
            for value, entity, descriptor, *_ in record["elements"]:
                key = names[record["metric"]], names[entity], names[descriptor]
                self.sums[key] += value
                self.most[key] = max(self.most[key], value)

    def sum(self, metric, entity=None, descriptors=None):
        return sum(value for (of, whose, what), value in self.sums.items()
                   if of == metric and entity in (None, whose)
                   and (descriptors is None or what in descriptors))


def host_of(stream, name, share):
    """The stream as of a host of that name, with the first part of its samples."""
    lines = stream.splitlines()
    samples = [n for n, line in enumerate(lines) if line.startswith('{"type":"sample"')]
    left_out = set(samples[int(len(samples) * share):])
    text = "".join(line + "\n" for n, line in enumerate(lines) if n not in left_out)
    return re.sub(r'"hostName":"[^"]*"', f'"hostName":"{name}"', text, count=1)


@needs(VictoriaMetrics, "lines", "ship")
class Dashboard(TavrinTest):
    def setUp(self):
        super().setUp()
        stream = self.record()
        hosts = {name: host_of(stream, name, share) for name, share in (("alpha", 1), ("beta", 0.5))}
        self.totals = {name: Totals(text) for name, text in hosts.items()}
        os.mkdir(self.path("queue"))
        for name, text in hosts.items():
            fleet.write_lines(self.path("queue/" + name), text)
        self.engine = VictoriaMetrics()
        self.addCleanup(self.engine.close)
        fleet.tavrin("ship", "-q", "--hold", "100ms", "--to", self.engine.write_url,
                     self.path("queue"))
        self.end = json.loads(re.search(r'"startTimeNs":(\d+)', stream)[1]) / 1e9 + WINDOW / 2

    def record(self):
        """A few seconds of a machine whose files change."""
        self.write_tree(machine(0))
        recording = self.start("record", "--sysroot", "tree", "-f", "core-cstate,cpu-time,thermal,"
                               "energy,throttle", "-i", "50ms", "-d", "3s", "-w", "raw", "-o", "run",
                               "--capture", "run.jsonl")
        step = 0
        while recording.poll() is None:
            step += 1
            self.update_tree(machine(step))
        self.assertEqual(recording.returncode, 0, recording.communicate()[1])
        recording.communicate()
        return read(self.path("run.jsonl"))

    def update_tree(self, files):
        """In place: no file is ever empty."""
        for path, text in files.items():
            with open(self.path("tree/" + path), "r+") as file:
                file.write(text)

    def ask(self, title, query=0):
        """The answer of a panel's query, by the first label's value."""
        with open(DASHBOARD) as file:
            panels = {panel["title"]: panel for panel in json.load(file)["panels"]}
        self.asked.add((title, query))
        text = panels[title]["targets"][query]["expr"]
        for name, value in (("$__interval_ms", f"{WINDOW * 1000}"), ("$__interval", f"{WINDOW}s"),
                            ("$__range", f"{WINDOW}s"), ("$host", ".+")):
            text = text.replace(name, value)
        return {next(iter(labels.values())): value
                for labels, value in self.engine.query(text, self.end)}

    def check(self, title, expected, query=0):
        found = self.ask(title, query)
        self.assertEqual(found.keys(), expected.keys(), title)
        for name, value in expected.items():
            self.assertTrue(math.isclose(found[name], value, rel_tol=1e-9, abs_tol=1e-12),
                            f"{title}: {name} is {found[name]}, not {value}")

    def by_host(self, figure):
        figures = {host: figure(totals) for host, totals in self.totals.items()}
        self.assertGreater(min(figures.values()), 0)
        return figures

    def test_every_query(self):
        self.asked = set()
        energy = self.by_host(lambda totals: totals.sum("Energy", "package-0") / 1000)
        self.check("Power", {host: joules / WINDOW for host, joules in energy.items()})
        self.check("Energy", energy)
        states = ("POLL", "C1", "C6")
        self.check("C-state residency", {state.lower(): sum(
            totals.sum("CPU C-State", None, (state,)) / 1e9 for totals in self.totals.values())
            / WINDOW / 4 for state in states})
        self.check("Busiest hosts", self.by_host(
            lambda totals: totals.sum("CPU Time", None, BUSY) / totals.sum("CPU Time")))
        self.check("Temperatures", self.by_host(
            lambda totals: max(value for key, value in totals.most.items()
                               if key[0] == "Temperature")))
        self.check("Throttling", self.by_host(lambda totals: totals.sum("Thermal Throttling")))
        self.check_shipping()
        self.check_all_were_asked()

    def check_shipping(self):
        """The shipper's own figures, under the name of this host."""
        host = socket.gethostname()
        (_, lags, _), = self.engine.export("tavrin_ship_lag_seconds", start=0, end=self.end)
        self.check("Lag of shipping", {host: max(lags)})
        for query in range(3):
            self.check("Losses of shipping", {host: 0}, query)

    def check_all_were_asked(self):
        with open(DASHBOARD) as file:
            panels = json.load(file)["panels"]
        self.assertEqual(self.asked, {(panel["title"], number) for panel in panels
                                      for number in range(len(panel["targets"]))})

    def test_variable(self):
        """The hosts to choose from."""
        names = json.loads(self.engine.ask("/api/v1/label/host/values", start=0, end=self.end))
        self.assertEqual(set(names["data"]), {"alpha", "beta", socket.gethostname()})
