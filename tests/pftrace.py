"""Reads Perfetto traces as docs/formats/perfetto.md describes them, independently of the writer, and
holds them to what a viewer relies on beyond the syntax."""

import collections
import struct

# Numbers of fields, as the public descriptions of the format have them.
PACKET = {1: "ftrace_events", 6: "clock_snapshot", 8: "timestamp", 10: "sequence", 11: "track_event",
          12: "interned", 13: "flags", 59: "defaults", 60: "track_descriptor", 87: "first"}
DEFAULTS = {58: "clock", 11: "track_event"}
CLOCKS = {1: "clocks", 2: "primary"}
CLOCK = {1: "id", 2: "timestamp"}
TRACK = {1: "uuid", 2: "name", 3: "process", 4: "thread", 5: "parent", 8: "counter", 11: "ordering",
         12: "rank", 15: "merge", 19: "process_ordering"}
PROCESS = {1: "pid", 2: "command", 6: "name", 7: "start"}
THREAD = {1: "pid", 2: "tid", 5: "name"}
COUNTER = {3: "unit", 6: "unit_name"}
INTERNED = {2: "events", 3: "annotations"}
NAME = {1: "iid", 2: "name"}
EVENT = {4: "annotations", 9: "type", 10: "name_iid", 30: "whole", 44: "real"}
ANNOTATION = {1: "name_iid", 3: "uint", 4: "int", 5: "real", 6: "text"}
BUNDLE = {1: "cpu", 2: "events", 3: "lost", 5: "clock"}
KERNEL = {1: "timestamp", 2: "pid", 4: "sched_switch", 11: "cpu_frequency", 13: "cpu_idle"}
SWITCH = {1: "prev_comm", 2: "prev_pid", 4: "prev_state", 5: "next_comm", 6: "next_pid"}
POWER = {1: "state", 2: "cpu"}

CLEARED, NEEDS_STATE = 1, 2
BEGIN, END, INSTANT, COUNT = 1, 2, 3, 4
MONOTONIC_RAW = 5
NOT_IDLE = 0xFFFFFFFF


def varint(data, at):
    value = shift = 0
    while True:
        byte = data[at]
        at += 1
        value |= (byte & 0x7F) << shift
        if byte < 0x80:
            if value >= 1 << 64:
                raise ValueError("a number of more than 64 bits")
            return value, at
        shift += 7


def fields(data):
    """Yields (number, value) of a message: ints, floats of 64 bits, bytes."""
    at = 0
    while at < len(data):
        tag, at = varint(data, at)
        kind = tag & 7
        if kind == 0:
            value, at = varint(data, at)
        elif kind == 1:
            value, at = struct.unpack_from("<d", data, at)[0], at + 8
        elif kind == 2:
            size, at = varint(data, at)
            if at + size > len(data):
                raise ValueError("a field is longer than what it is in")
            value, at = data[at:at + size], at + size
        else:
            raise ValueError(f"wire type {kind}")
        yield tag >> 3, value


def message(data, names, repeated=()):
    """The fields by their names; every one must be known, and there once unless it is repeated."""
    found = {name: [] for name in repeated}
    for number, value in fields(data):
        name = names[number]
        if name in repeated:
            found[name].append(value)
        elif name in found:
            raise ValueError(f"{name} twice")
        else:
            found[name] = value
    return found


def text(value):
    return bytes(value).decode("utf-8", "strict")


def signed(value):
    return value - (1 << 64) if value >= 1 << 63 else value


class Track:
    def __init__(self, descriptor):
        self.uuid = descriptor["uuid"]
        self.name = text(descriptor.get("name", b""))
        self.parent = descriptor.get("parent", 0)
        self.rank = signed(descriptor["rank"])
        self.counter = self.process = self.thread = None
        if "counter" in descriptor:
            self.counter = message(descriptor["counter"], COUNTER)
            self.counter["unit_name"] = text(self.counter.get("unit_name", b""))
        if "process" in descriptor:
            self.process = message(descriptor["process"], PROCESS)
        if "thread" in descriptor:
            self.thread = message(descriptor["thread"], THREAD)
        self.points = []  # (time, value) of a counter
        self.slices = []  # [begin, end, name, annotations]
        self.instants = []  # (time, name, annotations)
        self.open = []


class Sequence:
    def __init__(self):
        self.names = {"events": {}, "annotations": {}}
        self.is_valid = False
        self.time = 0
        self.track = None
        self.clock = None
        self.cleared = 0


class Trace:
    """All of a trace, after the checks: `tracks` by their numbers, `kernel` events by their CPU."""

    def __init__(self, data):
        self.tracks = {}
        self.sequences = collections.defaultdict(Sequence)
        self.clocks = {}
        self.kernel = collections.defaultdict(list)  # cpu: (time, name, fields)
        self.lost = collections.Counter()  # cpu: bundles behind a gap
        self.packets = 0
        self.all_names = {"events": {}, "annotations": {}}
        for number, packet in fields(memoryview(data)):
            if number != 1:
                raise ValueError(f"field {number} between the packets")
            self.add(message(packet, PACKET))
            self.packets += 1
        for track in self.tracks.values():
            if track.open:
                raise ValueError(f"{track.name} has slices without an end")

    def add(self, packet):
        sequence = self.sequences[packet["sequence"]]
        flags = packet.get("flags", 0)
        if packet.get("first", 0) != (1 if sequence.cleared == 0 and flags & CLEARED else 0):
            raise ValueError("the first packet of a sequence has to say so, and no other")
        if flags & CLEARED:
            sequence.names = {"events": {}, "annotations": {}}
            sequence.is_valid = True
            sequence.cleared += 1
        if not sequence.is_valid:
            raise ValueError("the state of a sequence is not cleared at its start")
        if "clock_snapshot" in packet:
            if self.packets != 0:
                raise ValueError("the clock has to be declared first")
            self.read_clocks(packet["clock_snapshot"])
        elif not self.clocks:
            raise ValueError("no clock is declared")
        if "defaults" in packet:
            defaults = message(packet["defaults"], DEFAULTS)
            sequence.clock = defaults["clock"]
            sequence.track = message(defaults["track_event"], {11: "uuid"})["uuid"]
        if "interned" in packet:
            self.read_names(sequence, packet["interned"])
        if "track_descriptor" in packet:
            self.describe(message(packet["track_descriptor"], TRACK))
        if "track_event" in packet:
            if not flags & NEEDS_STATE:
                raise ValueError("an event that does not say that it needs state")
            self.read_event(sequence, packet["timestamp"], packet["track_event"])
        if "ftrace_events" in packet:
            self.read_bundle(sequence, packet["ftrace_events"])

    def read_clocks(self, data):
        snapshot = message(data, CLOCKS, ["clocks"])
        clocks = [message(clock, CLOCK) for clock in snapshot["clocks"]]
        self.clocks = {clock["id"]: clock["timestamp"] for clock in clocks}
        if snapshot["primary"] not in self.clocks:
            raise ValueError("the clock of the trace is not declared")
        self.primary = snapshot["primary"]

    def read_names(self, sequence, data):
        for number, value in fields(data):
            kind = INTERNED[number]
            entry = message(value, NAME)
            name = text(entry.get("name", b""))
            if entry["iid"] == 0 or entry["iid"] in sequence.names[kind]:
                raise ValueError(f"number {entry['iid']} of a name is told again")
            if self.all_names[kind].setdefault(entry["iid"], name) != name:
                raise ValueError(f"number {entry['iid']} stands for two names")
            sequence.names[kind][entry["iid"]] = name

    def describe(self, descriptor):
        track = Track(descriptor)
        if track.parent and track.parent not in self.tracks:
            raise ValueError(f"the parent of {track.name} is not described")
        if descriptor["ordering"] != 3 or descriptor["merge"] != 2:
            raise ValueError(f"{track.name} is not in order")
        before = self.tracks.get(track.uuid)
        if before is None:
            self.tracks[track.uuid] = track
            return
        if track.process is None and track.thread is None or before.parent != track.parent:
            raise ValueError(f"{track.name} is described twice")
        before.name, before.process, before.thread = track.name, track.process, track.thread

    def read_event(self, sequence, time, data):
        event = message(data, EVENT, ["annotations"])
        if time < sequence.time:
            raise ValueError("the times of a sequence do not ascend")
        if time >= 1 << 63 or sequence.clock != self.primary:
            raise ValueError("a time that is not one of the clock of the trace")
        sequence.time = time
        track = self.tracks[sequence.track]
        if (event["type"] == COUNT) != (track.counter is not None):
            raise ValueError(f"{track.name} has an event of another kind")
        if event["type"] == COUNT:
            whole = "whole" in event
            track.points.append((time, signed(event["whole"]) if whole else event["real"]))
        elif event["type"] == END:
            track.open.pop()[1] = time
        else:
            name = sequence.names["events"][event["name_iid"]]
            told = dict(self.annotation(sequence, one) for one in event["annotations"])
            if event["type"] == INSTANT:
                track.instants.append((time, name, told))
            else:
                track.open.append([time, None, name, told])
                track.slices.append(track.open[-1])

    @staticmethod
    def annotation(sequence, data):
        one = message(data, ANNOTATION)
        name = sequence.names["annotations"][one.pop("name_iid")]
        (kind, value), = one.items()
        return name, {"int": lambda: signed(value), "text": lambda: text(value)}.get(
            kind, lambda: value)()

    def read_bundle(self, sequence, data):
        bundle = message(data, BUNDLE, ["events"])
        if bundle["clock"] != 4 or self.primary != MONOTONIC_RAW:
            raise ValueError("a bundle of another clock")
        cpu = bundle["cpu"]
        self.lost[cpu] += bundle.get("lost", 0)
        for data in bundle["events"]:
            event = message(data, KERNEL)
            name, = set(event) - {"timestamp", "pid"}
            if event["timestamp"] < sequence.time:
                raise ValueError("the times of a CPU do not ascend")
            sequence.time = event["timestamp"]
            details = message(event[name], SWITCH if name == "sched_switch" else POWER)
            for comm in ("prev_comm", "next_comm"):
                if comm in details:
                    details[comm] = text(details[comm])
            self.kernel[cpu].append((event["timestamp"], name, details))

    def path(self, track):
        """The names of the track and of those above it, joined by "/"."""
        names = [track.name]
        while track.parent:
            track = self.tracks[track.parent]
            names.insert(0, track.name)
        return "/".join(names)

    def paths(self):
        return [self.path(track) for track in self.tracks.values()]

    def at(self, path):
        """The tracks of a path: those of one series have one name."""
        return [track for track in self.tracks.values() if self.path(track) == path]

    def track(self, path, kind=None):
        """The one of a path, of those that have any of `kind` ("points", "slices", "instants")."""
        found = [track for track in self.at(path) if kind is None or getattr(track, kind)]
        if len(found) != 1:
            raise LookupError(f"{len(found)} tracks {path} with {kind} among {sorted(self.paths())}")
        return found[0]


def read(path):
    with open(path, "rb") as file:
        return Trace(file.read())
