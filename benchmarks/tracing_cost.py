#!/usr/bin/env python3
"""What tracing the scheduler costs: two processes wake each other through pipes on one CPU, which
gives about 100,000 kernel events per second and more, while tavrin traces them into a writer.

  tracing_cost.py [--tavrin PATH] [--writer bin] [--seconds 10] [--rate EVENTS_PER_SECOND]

Needs root. Prints the processor time that tavrin took per 100,000 events as a share of one core,
what it lost, how late the sampling was, and how much slower the load ran; exits with 1 when the
share is above 15 % or an event was lost."""

import argparse
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

MOST_SHARE = 0.15


class Load:
    """Two processes on the last CPU that hand a byte to and fro, `rate` times a second at most."""

    def __init__(self, rate):
        self.children = []
        there, back, count = os.pipe(), os.pipe(), os.pipe()
        self.count = count
        for read_from, write_to, leads in ((back, there, True), (there, back, False)):
            pid = os.fork()
            if pid == 0:
                self.run(read_from[0], write_to[1], leads, rate)
            self.children.append(pid)

    def run(self, read_from, write_to, leads, rate):
        os.sched_setaffinity(0, {os.cpu_count() - 1})
        rounds = 0

        def stop(*_):
            if leads:
                os.write(self.count[1], str(rounds).encode())
            os._exit(0)

        signal.signal(signal.SIGTERM, stop)
        start = time.monotonic()
        if not leads:
            while True:
                os.write(write_to, os.read(read_from, 1))
        while True:
            os.write(write_to, b"x")
            os.read(read_from, 1)
            rounds += 1
            if rounds % 1000 == 0:
                # A round is two switches.
                ahead = rounds * 2 / rate - (time.monotonic() - start)
                if ahead > 0:
                    time.sleep(ahead)

    def stop(self):
        for pid in self.children:
            os.kill(pid, signal.SIGTERM)
        for pid in self.children:
            os.waitpid(pid, 0)
        return int(os.read(self.count[0], 100))


def rounds_alone(seconds, rate):
    load = Load(rate)
    time.sleep(seconds)
    return load.stop()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tavrin", default=os.path.join(os.path.dirname(__file__),
                                                         "../build/release/bin/tavrin"))
    parser.add_argument("--writer", default="bin")
    parser.add_argument("--features", default="default,sched-trace")
    parser.add_argument("--seconds", type=float, default=10)
    parser.add_argument("--rate", type=float, default=100_000, help="switches per second")
    options = parser.parse_args()

    alone = rounds_alone(3, options.rate) / 3
    with tempfile.TemporaryDirectory() as folder:
        load = Load(options.rate)
        started = time.monotonic()
        tool = subprocess.Popen(
            [options.tavrin, "record", "-f", options.features, "-w", options.writer,
             "-d", str(options.seconds), "-o", os.path.join(folder, "run")],
            stderr=subprocess.PIPE, text=True)
        output = tool.stderr.read()
        _, status, usage = os.wait4(tool.pid, 0)
        rounds = load.stop() / (time.monotonic() - started)
        print(output, end="")
        if status != 0:
            sys.exit(1)
    told = re.search(r"(\d+) kernel events, (\d+) lost", output)
    events, lost = int(told[1]), int(told[2])
    seconds = usage.ru_utime + usage.ru_stime
    share = seconds / (events / 100_000)
    print(f"events {events} ({events / options.seconds:.0f}/s), lost {lost}")
    print(f"processor time {seconds:.2f} s: {share:.1%} of a core at 100,000 events/s "
          f"(bound {MOST_SHARE:.0%})")
    print(f"the load made {rounds:.0f} rounds/s, {alone:.0f} alone")
    sys.exit(1 if share > MOST_SHARE or lost > 0 else 0)


if __name__ == "__main__":
    main()
