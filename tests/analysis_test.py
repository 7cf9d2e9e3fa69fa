#!/usr/bin/python3
"""Runs the commands that answer from recordings: export and compare.

usage: analysis_test.py TAVRIN TESTS_FOLDER [Analysis.TEST...]
"""

import csv
import io
import json
import subprocess
import sys
import unittest

from command_support import STREAM, TAVRIN, TavrinTest, read

# A CPU that sleeps 'sleep' of a second, takes 'energy' mJ, and is 'degrees' hot, on machine 'host'.
RUN = """{"type":"tavrin-stream","version":2}
{"type":"system","clockMHz":1000,"hostName":"%(host)s","startTimestamp":%(start)d}
{"type":"quantity","id":1,"kind":"power","name":"Power","units":"mW"}
{"type":"quantity","id":2,"kind":"energy","name":"Energy","units":"mJ","rate":1}
{"type":"quantity","id":3,"kind":"temperature","name":"Temperature","units":"C"}
{"type":"entity","id":4,"name":"Package0","level":"Package"}
{"type":"entity","id":5,"name":"CPU0","level":"Thread","parent":4}
{"type":"descriptor","id":6,"name":"C6"}
{"type":"metric","id":7,"name":"Idle","feature":"core-cstate","kind":"residency","quantity":0,\
"combinations":[[5,6]],"entityGroup":{"name":"CPU"},"descriptorGroup":{"name":"State"}}
{"type":"metric","id":8,"name":"Energy","feature":"energy","kind":"delta","quantity":2,\
"combinations":[[4,null]],"entityGroup":{"name":"Zone"}}
{"type":"metric","id":9,"name":"Temperature","feature":"thermal","kind":"value","quantity":3,\
"combinations":[[4,null]],"entityGroup":{"name":"Zone"}}
{"type":"sample","metric":7,"time":%(start)d,"elements":[[%(sleep)d000000,5,6,1000000000]]}
{"type":"sample","metric":8,"time":%(start)d,"elements":[[%(energy)d,4,null,2000000000]]}
{"type":"sample","metric":9,"time":%(start)d,"elements":[[40,4,null,1000000000]]}
{"type":"sample","metric":9,"time":%(later)d,"elements":[[%(degrees)s,4,null,3000000000]]}
"""


class Analysis(TavrinTest):
    def write_run(self, name, start, sleep=500, energy=3000, degrees="48.5", host="a"):
        with open(self.path(name), "w") as file:
            file.write(RUN % {"start": start, "later": start + 1500000000, "sleep": sleep,
                              "energy": energy, "degrees": degrees, "host": host})
        return name

    def compared(self, *arguments, status=0):
        done = self.run_tavrin("compare", "--format", "csv", *arguments, status=status)
        return {(row["metric"], row["descriptor"], row["figure"]): row
                for row in csv.DictReader(io.StringIO(done.stdout))}

    def test_export_prints_each_point(self):
        self.write_run("run.jsonl", 7000)
        printed = self.run_tavrin("export", "run.jsonl").stdout
        self.assertEqual(printed, "time,metric,entity,descriptor,value,unit\n"
                                  "0.000000000,Idle,Package0/CPU0,C6,500,ms\n"
                                  "0.000000000,Energy,Package0,,3000,mJ\n"
                                  "0.000000000,Temperature,Package0,,40,C\n"
                                  "1.500000000,Temperature,Package0,,48.5,C\n")
        lines = self.run_tavrin("export", "--format", "jsonl", "-c", "ticks,duration,kind,feature,"
                                "entity,descriptor,attributes,value", "run.jsonl").stdout
        first, second = [json.loads(line) for line in lines.splitlines()[:2]]
        self.assertEqual(first, {"ticks": 7000, "duration": 1.0, "kind": "residency",
                                 "feature": "core-cstate", "entity": "Package0/CPU0",
                                 "descriptor": "C6", "attributes": None, "value": 500})
        self.assertIsNone(second["descriptor"])

    def test_export_selects(self):
        self.write_run("run.jsonl", 7000)
        cases = [(("--metric", "Temp*"), 2), (("--metric", "thermal"), 2),
                 (("--metric", "Idle", "--metric", "Ener??"), 2), (("--metric", "temp*"), 0),
                 (("--entity", "CPU0"), 1), (("--entity", "Package0*"), 4),
                 (("--entity", "*/CPU*", "--metric", "Energy"), 0),
                 (("--from", "1500ms"), 1), (("--to", "1.5s"), 3), (("--from", "1", "--to", "1.5"), 0)]
        for arguments, count in cases:
            with self.subTest(arguments):
                printed = self.run_tavrin("export", *arguments, "run.jsonl").stdout
                self.assertEqual(len(printed.splitlines()) - 1, count, printed)

    def test_export_has_every_value_of_a_recording(self):
        values = []
        for line in read(STREAM).splitlines():
            record = json.loads(line)
            if record["type"] == "sample":
                values += [element[0] for element in record["elements"]]
        points = [json.loads(line) for line in self.run_tavrin(
            "export", "--format", "jsonl", "-c", "value,unit", STREAM).stdout.splitlines()]
        self.assertEqual(len(points), len(values))
        for point, value in zip(points, values):
            self.assertEqual(point["value"], value / 1e6 if point["unit"] == "ms" else value)

    def test_export_keeps_texts_apart(self):
        odd = 'a "b", c\\u000ad'
        self.write_run("run.jsonl", 1, host="x")
        stream = read(self.path("run.jsonl")).replace("Temperature\",\"feature", "T%s\",\"feature" %
                                                      odd.replace('"', '\\"'))
        stream = stream.replace("[48.5,", '["%s",' % odd.replace('"', '\\"'))
        text = 'a "b", c\nd'
        rows = list(csv.reader(io.StringIO(
            self.run_tavrin("export", "-", input=stream).stdout, newline="")))
        self.assertEqual((rows[-1][1], rows[-1][4]), ("T" + text, text))
        last = self.run_tavrin("export", "--format", "jsonl", "-", input=stream).stdout
        self.assertEqual(json.loads(last.splitlines()[-1])["value"], text)

    def test_export_tells_what_went_wrong(self):
        self.write_run("run.jsonl", 1)
        self.run_tavrin("export", "-c", "time,colour", "run.jsonl", status=2)
        self.run_tavrin("export", "--from", "soon", "run.jsonl", status=2)
        whole = read(self.path("run.jsonl"))
        done = self.run_tavrin("export", "-", input=whole + "{]\n", status=1)
        self.assertEqual(done.stdout.count("\n"), 5)
        self.assertIn("not valid JSON", done.stderr)
        with open("/dev/full", "w") as full:
            done = subprocess.run([TAVRIN, "export", STREAM], stdout=full, stderr=subprocess.PIPE,
                                  text=True)
        self.assertEqual(done.returncode, 1)
        self.assertIn("cannot write to standard output", done.stderr)

    def test_compare_two_files(self):
        self.write_run("a.jsonl", 5000)
        self.write_run("b.jsonl", 6000, sleep=250, energy=4500, degrees="40")
        rows = self.compared("a.jsonl", "b.jsonl")
        cases = {("Idle", "C6", "share"): ("50", "25", "-50", "1", "%"),
                 ("Idle", "Busy", "share"): ("50", "75", "50", "1", "%"),
                 ("Energy", "", "total"): ("3000", "4500", "50", "2", "mJ"),
                 ("Energy", "", "rate"): ("1500", "2250", "50", "2", "mW"),
                 ("Temperature", "", "mean"): ("46.375", "40", "-13.746630727762803", "4", "C")}
        for key, (a, b, percent, seconds, unit) in cases.items():
            row = rows[key]
            self.assertEqual((row["a"], row["b"], row["percent"], row["a_seconds"], row["unit"]),
                             (a, b, percent, seconds, unit), key)
        text = self.run_tavrin("compare", "a.jsonl", "b.jsonl").stdout
        self.assertRegex(text, r"Energy +Package0 +rate +1500 +2250 +mW +\+750.0 +\+50.0% .* 2.000 / "
                               r"2.000 s\n")
        found = json.loads(self.run_tavrin("compare", "--format", "json", "a.jsonl",
                                           "b.jsonl").stdout)
        self.assertEqual(len(found["figures"]), len(rows))
        self.assertEqual(found["a"][0]["host"], "a")

    def test_compare_repeats(self):
        before = [self.write_run(f"a{i}", 1000 + i, energy=3000 + i) for i in range(4)]
        after = [self.write_run(f"b{i}", 2000 + i, energy=3300 + i, sleep=500 + i % 2)
                 for i in range(5)]
        rows = self.compared(*before, "--", *after)
        energy = rows["Energy", "", "total"]
        self.assertEqual((energy["a_runs"], energy["b_runs"], energy["spread"]), ("4", "5", "4"))
        self.assertLess(float(energy["chance"]), 0.05)
        self.assertGreater(float(rows["Idle", "C6", "share"]["chance"]), 0.05)
        bound = ("--fail-above", "+5%")
        done = self.run_tavrin("compare", *bound, *before, "--", *after, status=3)
        self.assertIn("error: Energy, Package0: its total changed by more than +5%", done.stderr)
        self.run_tavrin("compare", *bound, *after, "--", *before)
        self.run_tavrin("compare", *bound, "--metric", "Idle", *before, "--", *after)
        self.run_tavrin("compare", "--fail-above", "-5%", *after, "--", *before, status=3)

    def test_compare_tells_other_machines_and_faults(self):
        self.write_run("a", 1000)
        self.write_run("b", 2000, host="b")
        self.assertIn("not the same host: 'a' and 'b'",
                      self.run_tavrin("compare", "a", "b").stderr)
        self.write_run("again", 1000, energy=9)
        rows = self.compared("a", "again", "--", "b")
        self.assertEqual(rows["Energy", "", "total"]["a_runs"], "1")
        with open(self.path("cut"), "w") as file:
            file.write(RUN[:300])
        cases = [(("a",), 2), (("a", "b", "again"), 2), (("a", "--"), 2), (("a", "nosuch"), 1),
                 (("a", "cut"), 1), (("--fail-above", "much", "a", "b"), 2),
                 (("--metric", "Nosuch", "a", "b"), 1)]
        for arguments, status in cases:
            with self.subTest(arguments):
                done = self.run_tavrin("compare", *arguments, status=status)
                self.assertIn("tavrin: error: ", done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
