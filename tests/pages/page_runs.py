"""Recorded streams from which the tests of the page are made: runs that are known to the last value,
and one whose names are hostile."""

import json

SECOND = 1000000000

HOSTILE = [
    '<img src=x onerror="hacked=1">', "</script><script>hacked=1</script>", "<!-- <script>",
    "\"'><svg onload=hacked=1>", "\u202egnp.exe\u2066\u200b", "\\u003cb\\u003e", "W" * 10000,
    "javascript:hacked=1", "&lt;b&gt;&amp;", "new\nline\ttab\u0007", "__proto__", "${hacked=1}",
]


class Stream:
    """Builds a recorded stream line by line."""

    def __init__(self, seconds, **system):
        self.lines, self.last_id, self.seconds = [], 0, seconds
        self.put(type="tavrin-stream", version=2)
        self.put(type="system", clockMHz=1000, startTimeNs=1795268467000000000,
                 **{"hostName": "machine", "osName": "Test OS", **system})

    def put(self, **record):
        self.lines.append(json.dumps(record))

    def define(self, record, **members):
        self.last_id += 1
        self.put(type=record, id=self.last_id, **members)
        return self.last_id

    def metric(self, container, name, feature, combinations, **members):
        made = self.define("metric", container=container, name=name, feature=feature,
                           combinations=combinations, **members)
        self.put(type="container", container=container, feature=feature, name=name, heading=name)
        return made

    def sample(self, metric, at, elements):
        """Elements are [value, entity, descriptor, seconds]."""
        self.put(type="sample", metric=metric, time=round(at * SECOND),
                 elements=[[value, entity, descriptor, round(length * SECOND)]
                           for value, entity, descriptor, length in elements])

    def write(self, path):
        self.put(type="stop", timestamp=round(self.seconds * SECOND), durationSec=self.seconds)
        with open(path, "w") as file:
            file.write("\n".join(self.lines) + "\n")


def cpus(stream, count):
    package = stream.define("entity", name="Package0", level="Package")
    cores = [stream.define("entity", name=f"Core{one}", level="Core", parent=package)
             for one in range(count)]
    return package, [stream.define("entity", name=f"CPU{one}", level="Thread", parent=core)
                     for one, core in enumerate(cores)]


def known_run(path):
    """Eight seconds of two CPUs. CPU0 is busy for four, then in C6; CPU1 is in C1. The package takes
    10 W, then 2 W; the air is at 20, 21 ... 27 degrees, with nothing known from 5 to 6. `make` uses
    250 ms in each of the first four seconds, `cc` 100 ms in each of eight; there are forty rails."""
    stream = Stream(8, processes=[
        {"pid": 10, "name": "make", "path": "/usr/bin/make", "start": 0, "end": 4 * SECOND},
        {"pid": 11, "name": "cc", "path": "/usr/bin/cc", "start": 0, "end": 0}])
    package, (cpu0, cpu1) = cpus(stream, 2)
    c1, c6 = (stream.define("descriptor", name=name) for name in ("C1", "C6"))
    watts = stream.define("quantity", kind="power", name="Power", units="W")
    joules = stream.define("quantity", kind="energy", name="Energy", units="J", rate=watts)
    celsius = stream.define("quantity", kind="temperature", name="Temperature", units="C")
    air = stream.define("descriptor", name="Air")
    idle = stream.metric(1, "CPU C-State", "core-cstate",
                         [[cpu, state] for cpu in (cpu0, cpu1) for state in (c1, c6)],
                         kind="residency", legacy="residency", quantity=0,
                         entityGroup={"name": "CPU"}, descriptorGroup={"name": "C-State"})
    energy = stream.metric(2, "Energy", "energy", [[package, None]], kind="delta", quantity=joules,
                           legacy="counter", entityGroup={"name": "Zone"})
    room = stream.metric(3, "Room", "room", [[None, air]], quantity=celsius, legacy="value")
    pid = stream.define("attribute", name="PID", values="int")
    milliseconds = stream.define("quantity", kind="other", name="CPU Time", units="ms")
    times = stream.metric(4, "Process CPU Time", "process", [[None, None]], kind="event",
                          quantity=milliseconds, valueGroup={"name": "Process", "attributes": [pid]})
    rails = [stream.define("entity", name=f"rail {one}", level="Regulator") for one in range(40)]
    volts = stream.define("quantity", kind="voltage", name="Voltage", units="V")
    voltage = stream.metric(5, "Voltage", "sensors", [[rail, None] for rail in rails],
                            quantity=volts, legacy="value", entityGroup={"name": "Rail"})
    for second in range(8):
        stream.sample(voltage, second, [(1.0 + at / 100, rail, None, 1)
                                        for at, rail in enumerate(rails)])
        for process, used in ((10, 250.0 if second < 4 else 0.0), (11, 100.0)):
            stream.put(type="sample", metric=times, time=second * SECOND, elements=[
                [used, None, None, SECOND, {"attributes": [[pid, process]]}]])
        asleep = SECOND if second >= 4 else 0
        stream.sample(idle, second, [(0, cpu0, c1, 1), (asleep, cpu0, c6, 1),
                                     (SECOND, cpu1, c1, 1), (0, cpu1, c6, 1)])
        stream.sample(energy, second, [(2.0 if asleep else 10.0, package, None, 1)])
        if second != 5:
            stream.sample(room, second, [(20.0 + second, None, air, 1)])
    stream.write(path)


def hostile_run(path):
    """Every name of the run is one of the hostile ones."""
    stream = Stream(2, hostName=HOSTILE[0], osName=HOSTILE[1], cpuModel=HOSTILE[6],
                    commandLine=HOSTILE[3],
                    processes=[{"pid": 10 + at, "name": name, "path": name, "start": 0,
                                "end": SECOND} for at, name in enumerate(HOSTILE)])
    entities = [stream.define("entity", name=name, level="Thread") for name in HOSTILE]
    states = [stream.define("descriptor", name=name, description=name) for name in HOSTILE]
    unit = stream.define("quantity", kind="other", name=HOSTILE[0], units='<b onclick="hacked=1">')
    idle = stream.metric(1, f"idle {HOSTILE[0]}", HOSTILE[1],
                         [[entity, state] for entity in entities for state in states],
                         kind="residency", legacy="residency", quantity=0,
                         entityGroup={"name": HOSTILE[3]}, descriptorGroup={"name": HOSTILE[0]})
    value = stream.metric(2, HOSTILE[1], HOSTILE[4], [[entity, None] for entity in entities],
                          quantity=unit, legacy="value", entityGroup={"name": HOSTILE[1]})
    part = SECOND // len(states)
    for at in range(2):
        stream.sample(idle, at, [(part, entity, state, 1) for entity in entities
                                 for state in states])
        stream.sample(value, at, [(float(at), entity, None, 1) for entity in entities])
    stream.put(type="text", kind="plain", text=HOSTILE[0])
    stream.write(path)


def long_run(path, points=400000):
    """So many points of 64 series, which do not fit into a page as they are."""
    series, period = 64, 0.01
    rounds = points // series
    stream = Stream(rounds * period)
    _, all_cpus = cpus(stream, series // 4)
    descriptors = [stream.define("descriptor", name=name) for name in ("C1", "C6")]
    celsius = stream.define("quantity", kind="temperature", name="Temperature", units="C")
    hertz = stream.define("quantity", kind="frequency", name="Frequency", units="MHz")
    idle = stream.metric(1, "CPU C-State", "core-cstate",
                         [[cpu, state] for cpu in all_cpus for state in descriptors],
                         kind="residency", legacy="residency", quantity=0)
    frequency = stream.metric(2, "CPU Frequency", "cpu-freq", [[cpu, None] for cpu in all_cpus],
                              quantity=hertz, legacy="value")
    heat = stream.metric(3, "Core Temperature", "thermal", [[cpu, None] for cpu in all_cpus],
                         quantity=celsius, legacy="value")
    ticks = round(period * SECOND)
    with open(path, "w") as file:
        for at in range(rounds):
            wave = (at * 2654435761 >> 7) % 1000
            stream.sample(idle, at * period, [
                (ticks * ((wave + 37 * cpu + 500 * state) % 1000) // 2000, cpu, one, period)
                for cpu in all_cpus for state, one in enumerate(descriptors)])
            stream.sample(frequency, at * period,
                          [(800.0 + (wave * cpu) % 3000, cpu, None, period) for cpu in all_cpus])
            stream.sample(heat, at * period,
                          [(40.0 + (wave + cpu) % 50, cpu, None, period) for cpu in all_cpus])
            if len(stream.lines) > 1000:
                file.write("\n".join(stream.lines) + "\n")
                stream.lines.clear()
        stream.put(type="stop", timestamp=round(stream.seconds * SECOND), durationSec=stream.seconds)
        file.write("\n".join(stream.lines) + "\n")
