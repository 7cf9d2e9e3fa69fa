"""The Python package: it tells what `tavrin inspect` tells, its arrays are the reader's columns, and
the blocks of docs/python.md run."""

import io
import os
import re
import subprocess
import sys
import tempfile
import unittest
from contextlib import redirect_stdout

TAVRIN, PACKAGE, DATA, PAGE = sys.argv[1:5]
sys.path.insert(0, PACKAGE)

try:
    import numpy
    import pandas
    import tavrin
except ImportError as missing:
    print("skipped:", missing)
    sys.exit(77)

STATES = """{"type":"tavrin-stream","version":2}
{"type":"system","clockMHz":1000}
{"type":"descriptor","id":1,"name":"Lamp"}
{"type":"metric","id":2,"name":"Light","feature":"light","kind":"transition","combinations":[[null,1]]}
{"type":"sample","metric":2,"time":0,"elements":[["on",null,1,1000000000]]}
{"type":"sample","metric":2,"time":1000000000,"elements":[["off",null,1,1000000000]]}
"""


def run_tavrin(*arguments):
    environment = {k: v for k, v in os.environ.items() if k != "LD_PRELOAD"}
    done = subprocess.run([TAVRIN, *arguments], capture_output=True, text=True, timeout=120,
                          env=environment)
    assert done.returncode == 0, done
    return done.stdout


class PythonPackage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        os.chdir(cls.folder.name)
        run_tavrin("report", "-q", "-w", "bin,json,korvell", "-o", "run",
                   os.path.join(DATA, "recorded.jsonl"))
        with open("states.jsonl", "w") as stream:
            stream.write(STATES)
        run_tavrin("report", "-q", "-w", "korvell", "-o", "states", "states.jsonl")

    def test_points_are_those_that_inspect_prints(self):
        for name in ("run.ztbin", "run.ztjson"):
            lines = [line.split("\t") for line in
                     run_tavrin("inspect", "--points", name).splitlines()[1:]]
            points = list(tavrin.open(name))
            self.assertEqual([(int(f[0]), f[2], f[4]) for f in lines],
                             [(p.time, p.metric, p.descriptor) for p in points])
            for fields, point in zip(lines, points):
                self.assertAlmostEqual(float(fields[5]), point.value,
                                       delta=abs(point.value) * 1e-6)
                self.assertIn(point.entity or point.metric, fields[3])

    def test_what_is_known_before_the_first_point(self):
        run = tavrin.open("run.pwr")
        self.assertEqual((run.format, run.clock.mhz, run.clock.in_microseconds),
                         ("pwr", 1000.0, False))
        self.assertEqual(run.facts["Host Name"], "vm")
        self.assertEqual([m.kind for m in run.metrics][:2], ["SAMPLED_RESIDENCY", "SAMPLED_DELTA"])
        self.assertEqual(run.series, [])

    def test_arrays_are_the_columns_of_the_reader(self):
        columns = tavrin.open("run.ztbin").to_numpy()
        owners = {id(array.base) for array in columns.values()}
        self.assertEqual(len(owners), 1)  # one block, no copies
        self.assertFalse(any(array.flags.owndata for array in columns.values()))
        self.assertEqual({len(array) for array in columns.values()}, {162})
        parts = [block["value"] for block in tavrin.open("run.ztbin").blocks(50)]
        self.assertEqual([len(part) for part in parts], [50, 50, 50, 12])
        numpy.testing.assert_array_equal(numpy.concatenate(parts), columns["value"])
        run = tavrin.open("run.ztbin")
        run.to_numpy()
        self.assertEqual([len(array) for array in run.to_numpy().values()], [0] * 5)

    def test_tables_have_names_and_states(self):
        table = tavrin.open("run.ztjson").to_pandas()
        self.assertEqual(len(table), 162)
        self.assertTrue((table.time >= 0).all() and (table.time < 1).all())
        self.assertEqual(set(table.units), {"ticks", "count"})
        self.assertTrue(table.state.isna().all())
        states = tavrin.open("states.pwr").to_pandas()
        self.assertEqual(list(states.state), ["on", "off"])
        self.assertEqual(list(states.time), [0.0, 1.0])
        self.assertEqual([point.value for point in tavrin.open("states.pwr")], ["on", "off"])

    def test_faults(self):
        with self.assertRaisesRegex(tavrin.Error, "cannot read none"):
            tavrin.open("none")
        with open("run.ztbin", "rb") as whole, open("cut", "wb") as cut:
            cut.write(whole.read()[:-5])
        run = tavrin.open("cut")
        with self.assertRaisesRegex(tavrin.Error, "^cut: offset ") as caught:
            run.to_numpy()
        self.assertEqual(len(caught.exception.columns["time"]), 161)
        with self.assertRaises(tavrin.Error):
            next(iter(run))
        with self.assertRaises(ValueError):
            next(run.blocks(0))

    def test_the_page_runs(self):
        with open(PAGE) as file:
            blocks = re.findall(r"```(sh|python)\n(.*?)```", file.read(), re.DOTALL)
        self.assertGreater(len(blocks), 7)
        names, printed = {}, io.StringIO()
        for language, text in blocks:
            if language == "sh":
                run_tavrin(*text.split()[1:])
                continue
            try:
                with redirect_stdout(printed):
                    exec(compile(text, PAGE, "exec"), names)
            except ModuleNotFoundError as missing:
                self.assertEqual(missing.name, "matplotlib")
        self.assertRegex(printed.getvalue(), r"context switches: [1-9]")
        self.assertRegex(printed.getvalue(), r"cut.ztbin: offset \d+: .*\n\d+ points precede it")
        self.assertTrue(((names["busy"] > -5) & (names["busy"] < 105)).all().all())
        if "plot" in names:
            self.assertGreater(os.path.getsize("busy.png"), 5000)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
