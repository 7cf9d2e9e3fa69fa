#!/usr/bin/python3
"""Results as inputs of the command: what a writer wrote goes into all of them once more. The same
bytes come back where the format carries everything; what it does not carry is named here.

usage: results_test.py TAVRIN TESTS_FOLDER"""

import os
import sys
import unittest

from command_support import STREAM, TESTS, TavrinTest, read

ALL_KINDS = os.path.join(TESTS, "data", "stream-all-kinds.jsonl")


class Results(TavrinTest):
    def path(self, name):
        return os.path.join(self.folder, name)

    def content(self, name):
        return read(self.path(name), "rb")

    def lines(self, name):
        return set(self.records(name).splitlines())

    def test_the_same_bytes_come_back(self):
        for stream in (STREAM, ALL_KINDS):
            self.run_tavrin("report", "-w", "bin,json,korvell", "-o", "run", stream)
            for ending in (".ztbin", ".ztjson"):
                self.run_tavrin("report", "-w", "bin,json", "-o", "again", "run" + ending)
                self.assertEqual(self.content("run" + ending), self.content("again" + ending), stream)
        self.run_tavrin("report", "-w", "korvell", "-o", "run", STREAM)
        self.run_tavrin("report", "-w", "korvell", "-o", "again", "run.pwr")
        self.assertEqual(self.records("again.pwr"), self.records("run.pwr"))

    def test_what_a_timeline_file_does_not_carry(self):
        # Of this one: quantities of attributes, which are part of the text then, the version of the
        # tool, and that a state was a handle and not a text.
        self.run_tavrin("report", "-w", "korvell", "-o", "run", ALL_KINDS)
        self.run_tavrin("report", "-w", "korvell", "-o", "again", "run.pwr")
        lost = self.lines("run.pwr") - self.lines("again.pwr")
        found = self.lines("again.pwr") - self.lines("run.pwr")
        self.assertEqual(len(lost), len(found), (lost, found))
        self.assertEqual({line.split("\t")[0] for line in lost} - {"", "data"}, set(), lost)

    def test_the_other_writers_get_the_same_points(self):
        self.run_tavrin("report", "-w", "all", "-o", "run", STREAM)
        points = self.run_tavrin("inspect", "--points", "run.ztbin").stdout.splitlines()
        for ending in (".ztbin", ".pwr"):
            self.run_tavrin("report", "-w", "all", "-o", "again", "run" + ending)
            again = self.run_tavrin("inspect", "--points", "again.ztbin").stdout.splitlines()
            self.assertEqual(sorted(again), sorted(points))
            summary = read(self.path("again.csv"))
            # The recording has nearly all residencies in remainders, which only streams carry.
            self.assertRegex(summary, r"CPU C-State Summary: Residency")
            self.assertRegex(summary, r"\nInterrupts      , .*321 ")
        self.run_tavrin("report", "-w", "bin", "-o", "again", "run.ztjson")
        again = self.run_tavrin("inspect", "--points", "again.ztbin").stdout.splitlines()
        self.assertEqual(sorted(line.split("\t")[5] for line in again),
                         sorted(line.split("\t")[5] for line in points))

    def test_the_content_decides_also_in_a_pipe(self):
        self.run_tavrin("report", "-w", "bin", "-o", "run", STREAM)
        os.rename(self.path("run.ztbin"), self.path("a.jsonl"))
        done = self.run_tavrin("report", "-w", "all", "-o", "named", "a.jsonl")
        self.assertEqual(done.stderr.count("warning: a.jsonl: a .ztbin file has no "), 1)
        with open(self.path("a.jsonl"), "rb") as piped:
            self.run_tavrin("report", "-w", "all", "-o", "piped", "-", stdin=piped)
        for ending in (".ztbin", ".ztjson", "_trace.csv", "_phm.csv", ".txt"):
            self.assertEqual(self.content("named" + ending), self.content("piped" + ending))

    def test_faults(self):
        self.run_tavrin("report", "-w", "bin", "-o", "run", STREAM)
        with open(self.path("run.ztbin"), "r+b") as file:
            file.truncate(4000)
        done = self.run_tavrin("report", "-o", "cut", "run.ztbin", status=1)
        self.assertRegex(done.stderr, r"error: run.ztbin: offset \d+: expected ")
        self.assertIn("CPU Time Summary", read(self.path("cut.csv.incomplete")))
        self.run_tavrin("report", "-o", "two", "run.ztbin", "other.ztbin", status=2)
        self.run_tavrin("report", "--clock", "0", "-o", "two", "run.ztbin", status=2)

    def test_a_continuous_run_and_its_clock(self):
        lines = read(STREAM).splitlines(keepends=True)
        samples = [n for n, line in enumerate(lines) if line.startswith('{"type":"sample"')]
        lines.insert(samples[len(samples) // 2], '{"type":"flush"}\n')
        with open(self.path("two.jsonl"), "w") as file:
            file.writelines(lines[:-1])  # one that was not over
        self.run_tavrin("report", "-w", "bin,json", "--continuous", "-o", "run", "two.jsonl")
        self.run_tavrin("report", "-w", "bin", "-o", "whole", STREAM)
        points = self.run_tavrin("inspect", "--points", "whole.ztbin").stdout
        for ending in (".ztbin", ".ztjson"):
            for files in (["run_0" + ending], ["run_1" + ending, "run_0" + ending]):
                done = self.run_tavrin("report", "-w", "bin", "-o", "again", *files)
                self.assertEqual(self.run_tavrin("inspect", "--points", "again.ztbin").stdout, points)
            self.assertIn("its clock is unknown and taken for 1000 MHz", done.stderr)
            done = self.run_tavrin("report", "--clock", "500", "-w", "json", "-o", "slow", *files)
            self.assertNotIn("--clock", done.stderr)
            self.assertIn('"x":247940,', read(self.path("slow.ztjson")))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
