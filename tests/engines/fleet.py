"""Simulated hosts: one recorded stream, replayed with other names and other times."""

import functools
import gzip
import json
import os
import random
import signal
import subprocess

import engine

TAVRIN = os.environ["TAVRIN_COMMAND"]
CPUS, STATES = 8, ("POLL", "C1", "C1E", "C3", "C6", "C7s", "C8", "C10")
SERIES = CPUS * len(STATES)
RATE = 10  # samples a second
INTERVAL = 10**9 // RATE  # ticks of a clock of 1000 MHz
BEGIN = 5_000_000_000  # the clock's ticks at the start of a stream
START = 1_700_000_000  # seconds since 1970
NAME = "cpu_c_state_seconds"
SELECTION = '{__name__=~"' + NAME + '_.+"}'


def definitions():
    """What the samples of `body` point to."""
    cpus = [[{"type": "entity", "id": 100 + n, "name": f"Core{n}", "level": "Core", "parent": 10},
             {"type": "entity", "id": 200 + n, "name": f"CPU{n}", "level": "Thread",
              "parent": 100 + n}] for n in range(CPUS)]
    return [{"type": "entity", "id": 10, "name": "Package0", "level": "Package"},
            *(record for pair in cpus for record in pair),
            *({"type": "descriptor", "id": 300 + n, "name": name}
              for n, name in enumerate(STATES)),
            {"type": "metric", "id": 20, "container": 1, "name": "CPU C-State",
             "feature": "core-cstate", "kind": "residency", "quantity": 0}]


def residencies(draw):
    """Ticks in each state within an interval, most of them in one or two."""
    left, ticks = INTERVAL, [0] * len(STATES)
    for state in draw.sample(range(len(STATES)), 3):
        ticks[state] = draw.randrange(left)
        left -= ticks[state]
    return ticks


@functools.cache
def body(seconds, seed=14):
    """The samples as text, and the sum of all values in seconds."""
    draw = random.Random(seed)
    lines, total = [], 0
    for n in range(seconds * RATE):
        elements = []
        for cpu in range(CPUS):
            ticks = residencies(draw)
            total += sum(ticks)
            elements += [[value, 200 + cpu, 300 + state, INTERVAL]
                         for state, value in enumerate(ticks)]
        lines.append(json.dumps({"type": "sample", "metric": 20, "time": BEGIN + n * INTERVAL,
                                 "elements": elements}, separators=(",", ":")))
    return "\n".join(lines) + "\n", total / 1e9


def stream(host, seconds, shift=0):
    """The recorded stream of a host whose clock is `shift` nanoseconds late."""
    head = [{"type": "tavrin-stream", "version": 2},
            {"type": "system", "clockMHz": 1000, "hostName": host, "startTimestamp": BEGIN,
             "startTimeNs": START * 10**9 + shift}, *definitions()]
    return "".join(json.dumps(line) + "\n" for line in head) + body(seconds)[0]


def tavrin(*arguments, text=None, **options):
    """Runs the command to its end, which must be a good one."""
    done = subprocess.run([TAVRIN, *arguments], input=text, text=True, capture_output=True,
                          timeout=engine.DEADLINE * 3, **options)
    assert done.returncode == 0, f"tavrin {' '.join(arguments)}: {done.stderr}"
    return done.stdout


def write_lines(base, text, *options):
    """The lines of a stream: BASE.lp.gz."""
    tavrin("report", "-q", "-w", "lines", *options, "-o", base, "-", text=text)
    return base + ".lp.gz"


def shift_of(host):
    return host * 7_000_123


def multiply(path, folder, hosts, parts):
    """Files of further hosts, made of one that the writer has written: `parts` of each, all of them
    in the order in which they would have come. Returns the number of points."""
    with gzip.open(path, "rb") as file:
        lines = [line.rsplit(b" ", 1) for line in file.read().splitlines()]
    fields = sum(head.count(b",", head.rindex(b" ")) + 1 for head, _ in lines)
    lines = [(head.replace(b",host=host0,", b",host=host%d,"), int(time)) for head, time in lines]
    size = -(-len(lines) // parts)
    for part in range(parts):
        piece = lines[part * size:(part + 1) * size]
        for host in range(hosts):
            shift = shift_of(host)
            text = b"".join([b"%b %d\n" % (head % host, time + shift) for head, time in piece])
            with open(os.path.join(folder, f"host{host}_{part}.lp.gz"), "wb") as file:
                file.write(gzip.compress(text, 1))
    return fields * hosts


class Shipper:
    """`tavrin ship` of a folder, started and killed any number of times."""

    def __init__(self, folder, url, *options):
        self.command = [TAVRIN, "ship", "--to", url, *options, folder]
        self.log = open(os.path.join(os.path.dirname(folder), "ship.log"), "w+")
        self.process = None
        self.start()

    def start(self):
        self.process = engine.start(self.command, stdout=self.log, stderr=self.log)

    def ended(self):
        return self.process.poll() is not None

    def kill(self):
        self.process.kill()
        self.process.wait()

    def end(self):
        """As Ctrl-C does; returns its exit status."""
        self.process.send_signal(signal.SIGINT)
        return self.finish()

    def finish(self, seconds=engine.DEADLINE * 3):
        """Waits until it has sent everything; returns its exit status."""
        return self.process.wait(timeout=seconds)

    def words(self):
        """What all of them have printed."""
        self.log.seek(0)
        return self.log.read()

    def close(self):
        if not self.ended():
            self.kill()
        self.log.close()
