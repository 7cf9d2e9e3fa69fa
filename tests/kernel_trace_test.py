#!/usr/bin/env python3
"""Recordings of kernel events, imported by the command: counts against those of other tools.

usage: kernel_trace_test.py TAVRIN TESTS

The project's own recordings are in TESTS/data/ftrace. Those of real machines are below the folder
that the environment variable TAVRIN_TEST_DATA names; without it, and without trace-cmd, what needs
them is skipped.
"""

import csv
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

TAVRIN = sys.argv[1]
OWN = os.path.join(sys.argv[2], "data", "ftrace")
REAL = os.environ.get("TAVRIN_TEST_DATA", "")


def report(file, *options):
    """Imports a file; returns its outputs as {ending: text}."""
    with tempfile.TemporaryDirectory() as folder:
        base = os.path.join(folder, "run")
        run = subprocess.run([TAVRIN, "report", "-o", base, *options, file], text=True,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        if run.returncode != 0:
            raise AssertionError(f"{file}: exit {run.returncode}\n{run.stderr}")
        outputs = {}
        for name in os.listdir(folder):
            with open(os.path.join(folder, name), "rb") as output:
                outputs[name.removeprefix("run")] = output.read().decode("utf-8", "replace")
        return outputs | {"log": run.stderr}


def table(summary, title):
    """The rows of a table of the summary report, as lists of cells, its headings first."""
    rows = []
    lines = iter(summary.splitlines())
    for line in lines:
        if line == title:
            break
    for line in lines:
        row = [cell.strip() for cell in next(csv.reader([line], skipinitialspace=True))]
        if rows and len(row) != len(rows[0]):
            break  # the note below
        rows.append(row)
    return rows


def counts(file):
    """Events by their names and CPUs, without zeros."""
    heading, *rows = table(report(file, "-w", "sum", "--events", "*")[".csv"],
                           "Recording Summary: Events")
    cpus = [name.removeprefix("CPU") for name in heading[3:]]
    return {row[0]: {cpu: int(count) for cpu, count in zip(cpus, row[3:]) if count != "0"}
            for row in rows}


@unittest.skipUnless(os.path.isdir(REAL), "TAVRIN_TEST_DATA names no recordings")
class RealRecordings(unittest.TestCase):
    def setUp(self):
        with open(os.path.join(REAL, "counts.json")) as file:
            self.expected = {name: known["per_cpu"] for name, known in json.load(file).items()}

    def test_have_the_events_that_others_counted(self):
        for name, expected in self.expected.items():
            with self.subTest(name):
                self.assertEqual(counts(os.path.join(REAL, name)), expected)

    @unittest.skipUnless(shutil.which("trace-cmd"), "trace-cmd is not installed")
    def test_what_trace_cmd_prints_has_the_events_that_it_counted(self):
        for options in ([], ["-t"], ["-l"]):
            for name, expected in self.expected.items():
                if not name.endswith(".dat"):
                    continue
                with self.subTest(name, options=options), tempfile.NamedTemporaryFile() as text:
                    subprocess.run(["trace-cmd", "report", *options, os.path.join(REAL, name)],
                                   stdout=text, stderr=subprocess.DEVNULL, check=True)
                    self.assertEqual(counts(text.name), expected)

    @unittest.skipUnless(shutil.which("trace-cmd"), "trace-cmd is not installed")
    def test_a_recording_and_its_text_have_the_same_tables(self):
        for name in self.expected:
            if not name.endswith(".dat"):
                continue
            with self.subTest(name), tempfile.NamedTemporaryFile() as text:
                file = os.path.join(REAL, name)
                subprocess.run(["trace-cmd", "report", "-t", file], stdout=text,
                               stderr=subprocess.DEVNULL, check=True)
                tables = [report(each, "-w", "sum")[".csv"] for each in (file, text.name)]
                known = [each[each.index("Summary:"):each.index("Recording Summary")]
                         for each in tables]
                self.assertEqual(*known)


RESIDENCY = "Summary: Residency (Percentage and Time)"

# Of each of the project's own recordings: some tables, as they are when one adds up by hand.
TABLES = {
    "cat-trace.txt": {
        f"CPU Idle State {RESIDENCY}": [
            ["all CPUs", "43.60", "0.00", "56.40", "3.78", "0.00", "4.89"],
            ["CPU0", "18.50", "0.00", "81.50", "1.11", "0.00", "4.89"],
            ["CPU1", "100.00", "0.00", "0.00", "2.67", "0.00", "0.00"]],  # then there is a loss
        "CPU Frequency Changes Summary: Values over Time": [
            ["CPU0", "1800.00", "2028.87", "2400.00", "2"],
            ["CPU1", "1800.00", "2029.66", "2400.00", "2"]],
        f"CPU Frequency Changes {RESIDENCY}": [
            ["all CPUs", "61.79", "38.21", "3.59", "2.22"],
            ["CPU0", "61.86", "38.14", "1.80", "1.11"],
            ["CPU1", "61.72", "38.28", "1.79", "1.11"]],
        "Running Task Summary: Counts": [
            ["all CPUs", "idle", "2", "5.01", "57.99"],
            ["all CPUs", "bash", "2", "3.63", "42.01"]],
        "Collection Summary: Lost Events": [["the recording (CPU1: 3)", "3"]]},
    "systrace.html": {
        f"CPU Idle State {RESIDENCY}": [["CPU3", "100.00", "0.00", "8.23", "0.00"]],
        "tracing_mark_write Summary: Counts": [
            ["CPU3", "B|2077|DrawFrame", "1"], ["CPU3", "E|2077", "1"]]},
    "trace-cmd-report.txt": {
        f"Regulator State {RESIDENCY}": [
            ["vdd core", "70.00", "0.00", "0.00", "30.00", "2.10", "0.00", "0.00", "0.90"]],
        "Zone Temperature Summary: Values over Time": [
            ["soc", "42.00", "42.00", "42.00", "1"]]},
}


class OwnRecordings(unittest.TestCase):
    def test_all_writers_take_them(self):
        self.assertEqual(sorted(os.listdir(OWN)), sorted(TABLES))
        for name, tables in TABLES.items():
            outputs = report(os.path.join(OWN, name), "-w", "all", "--events", "*")
            self.assertEqual(len(outputs), 11, outputs.keys())
            self.assertNotIn("left out", outputs["log"])
            for title, rows in tables.items():
                with self.subTest(name, title=title):
                    self.assertEqual(table(outputs[".csv"], title)[1:], rows)

    def test_tells_what_is_left_out(self):
        log = report(os.path.join(OWN, "cat-trace.txt"), "-w", "sum")["log"]
        self.assertIn("2 events of 2 names are left out: sched_wakeup_new (1), "
                      "tracing_mark_write (1); --events PATTERN makes metrics of them", log)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
