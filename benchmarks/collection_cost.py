#!/usr/bin/env python3
"""What live collection costs: tavrin with all features but tracing, against perf stat with 30 events,
both every 100 ms on the whole machine, at the same time.

  collection_cost.py [--tavrin PATH] [--seconds 20] [--writer sum]

Needs perf and the right to count system-wide. Prints the processor time of each as a share of one
core; exits with 1 when tavrin's is above 1 % or above 1.5 times that of perf."""

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
import time

MOST_SHARE = 0.01
MOST_RATIO = 1.5
# What every machine counts; events of the same name are counted on their own.
EVENTS = ["task-clock", "cpu-clock", "context-switches", "cpu-migrations", "page-faults",
          "major-faults", "minor-faults", "alignment-faults", "emulation-faults", "cgroup-switches"]
EVENT_COUNT = 30


def processor_time(pid):
    """Waits for the process; returns its exit status and its processor time in seconds."""
    _, status, usage = os.wait4(pid, 0)
    return os.waitstatus_to_exitcode(status), usage.ru_utime + usage.ru_stime


def start(command, folder):
    return subprocess.Popen(command, cwd=folder, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL).pid


def measure(arguments):
    events = ",".join((EVENTS * EVENT_COUNT)[:EVENT_COUNT])
    with tempfile.TemporaryDirectory() as folder:
        begin = time.monotonic()
        tavrin = start([arguments.tavrin, "record", "-w", arguments.writer, "-i", "100", "-d",
                        str(arguments.seconds), "-o", "run"], folder)
        perf = start(["perf", "stat", "-a", "-I", "100", "-x", ",", "-o", "perf.csv", "-e", events,
                      "sleep", str(arguments.seconds)], folder)
        times = {}
        for name, pid in (("tavrin", tavrin), ("perf", perf)):
            status, times[name] = processor_time(pid)
            if status != 0:
                sys.exit(f"error: {name} ended with status {status}")
        # The command that perf stat waits for takes no time to speak of.
        counted = open(os.path.join(folder, "perf.csv")).read().count("\n")
        if counted < EVENT_COUNT * arguments.seconds * 5:
            sys.exit(f"error: perf printed {counted} lines only")
        return times, time.monotonic() - begin


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--tavrin", default=shutil.which("tavrin"))
    parser.add_argument("--seconds", type=int, default=20)
    parser.add_argument("--writer", default="sum")
    arguments = parser.parse_args()
    if not arguments.tavrin:
        parser.error("where is tavrin? (--tavrin)")
    arguments.tavrin = os.path.abspath(arguments.tavrin)
    times, seconds = measure(arguments)
    share, ratio = times["tavrin"] / seconds, times["tavrin"] / times["perf"]
    print(f"tavrin {share:.2%} of a core (at most {MOST_SHARE:.0%}), perf "
          f"{times['perf'] / seconds:.2%}; tavrin/perf {ratio:.2f} (at most {MOST_RATIO})")
    return 0 if share <= MOST_SHARE and ratio <= MOST_RATIO else 1


if __name__ == "__main__":
    sys.exit(main())
