"""The examples do what they promise: a collector whose run comes out in all formats, and a writer in a
plugin library. Arguments: TAVRIN TESTS_FOLDER COLLECTOR COUNT_WRITER."""

import collections
import csv
import io
import json
import os
import subprocess
import sys
import unittest

from command_support import STREAM, TavrinTest, read

COLLECTOR, COUNT_WRITER = (os.path.abspath(path) for path in sys.argv[3:5])


class Examples(TavrinTest):
    def collect(self, *arguments):
        return subprocess.run([COLLECTOR, *arguments], cwd=self.folder, capture_output=True, text=True,
                              timeout=60)

    def exported(self, file):
        printed = self.run_tavrin("export", "--format", "jsonl", file).stdout
        return [json.loads(line) for line in printed.splitlines()]

    def test_a_collector_has_all_outputs(self):
        done = self.collect("load", "3")
        self.assertEqual(done.returncode, 0)
        self.assertNotIn("WARNING", done.stderr)
        files = {"load" + ending for ending in (
            ".csv", ".pwr", ".ztbin", ".ztjson", ".txt", "_trace.csv", "_phm.csv", "_phm_events.csv",
            "_phm_metadata.csv")}
        self.assertEqual(set(self.files()) - {"tree"}, files | {"Automation_Summary.csv"})
        points = self.exported("load.ztbin")
        self.assertEqual([(point["metric"], point["entity"]) for point in points],
                         [("Load", "Machine")] * 3)
        report = read(os.path.join(self.folder, "load.csv"))
        self.assertIn("Load Summary: Sampled Values", report)
        row = next(csv.reader(io.StringIO(report[report.index("\nMachine") + 1:])))
        self.assertAlmostEqual(float(row[2]), sum(point["value"] for point in points) / 3, delta=0.011)

    def test_a_collector_without_room_tells_so(self):
        done = self.collect("none/load", "3")
        self.assertEqual(done.returncode, 1)
        self.assertIn("cannot open the output of writer sum", done.stderr)
        for wrong in (["load"], ["load", "x"], ["load", "0"]):
            self.assertEqual(self.collect(*wrong).returncode, 2)

    def test_a_writer_in_a_plugin_library(self):
        self.run_tavrin("report", "--plugin", COUNT_WRITER, "-w", "count,bin", "-o", "run", STREAM)
        counts = collections.Counter(point["metric"] for point in self.exported("run.ztbin"))
        lines = read(os.path.join(self.folder, "run.count")).splitlines()
        written = {name: int(count) for count, name in (line.split("\t") for line in lines)}
        self.assertGreater(len(counts), 1)
        self.assertEqual(written, dict(counts))

    def test_a_writer_leaves_the_last_good_file_alone(self):
        self.write("run.count", "of an earlier run")
        self.write("faulty.jsonl", read(STREAM) + "nonsense\n")
        self.run_tavrin("report", "--plugin", COUNT_WRITER, "-w", "count", "-o", "run", "faulty.jsonl",
                        status=1)
        self.assertEqual(read(self.path("run.count")), "of an earlier run")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[5:], verbosity=2)
