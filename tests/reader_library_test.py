"""The C interface of the readers: what its library exports, and that programs in C and in C++ read
with it what `tavrin inspect` prints."""

import os
import subprocess
import sys
import tempfile
import unittest

TAVRIN, PROGRAM, CPP_PROGRAM, LIBRARY, DATA = sys.argv[1:6]


def output(*command, status=0):
    done = subprocess.run(command, capture_output=True, text=True, timeout=120)
    assert done.returncode == status, done
    return done


class ReaderLibrary(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        os.chdir(cls.folder.name)
        output(TAVRIN, "report", "-q", "-w", "bin,json,korvell", "-o", "run",
               os.path.join(DATA, "recorded.jsonl"))

    def test_exports_its_functions_under_their_version_and_nothing_else(self):
        symbols = output("nm", "--dynamic", "--defined-only", "--with-symbol-versions", LIBRARY).stdout
        names = {line.split()[-1] for line in symbols.splitlines()}
        with open(os.path.join(os.path.dirname(DATA), "..", "readers", "tavrin_reader.h")) as header:
            declared = {word.split("(")[0].lstrip("*") for line in header
                        for word in line.split() if "(" in word and word.lstrip("*").startswith("tavrin_")}
        self.assertEqual(names - {"TAVRIN_READER_1"},
                         {f"{name}@@TAVRIN_READER_1" for name in declared})
        self.assertIn("libtavrin_reader.so.1]", output("readelf", "-d", LIBRARY).stdout)

    def test_programs_read_what_inspect_prints(self):
        for name in ("run.ztbin", "run.ztjson"):
            printed = output(TAVRIN, "inspect", "--points", name).stdout.splitlines()[1:]
            expected = [[f[0], f[2], f[3], f[4], float(f[5])]
                        for f in (line.split("\t") for line in printed)]
            for program in (PROGRAM, CPP_PROGRAM):
                lines = [line.split("\t") for line in output(program, name).stdout.splitlines()]
                self.assertEqual([f[:4] for f in lines], [f[:4] for f in expected])
                for found, wanted in zip(lines, expected):
                    self.assertAlmostEqual(float(found[4]), wanted[4], delta=abs(wanted[4]) * 1e-6)
                self.assertEqual({f[5] for f in lines}, {"ticks", "count"})
        self.assertEqual(len(output(PROGRAM, "run.pwr").stdout.splitlines()), 162)

    def test_a_damaged_file_is_told_of_behind_its_points(self):
        with open("run.ztbin", "rb") as whole, open("cut.ztbin", "wb") as cut:
            cut.write(whole.read()[:-5])
        done = output(PROGRAM, "cut.ztbin", status=1)
        self.assertEqual(len(done.stdout.splitlines()), 161)
        self.assertEqual("tavrin: error: " + done.stderr,
                         output(TAVRIN, "inspect", "cut.ztbin", status=1).stderr)
        self.assertIn("cannot read none", output(PROGRAM, "none", status=1).stderr)
        self.assertIn("no file is given", output(PROGRAM, status=1).stderr)

    def test_output_that_cannot_be_written_is_told_of(self):
        with open("/dev/full", "w") as full:
            done = subprocess.run([PROGRAM, "run.ztbin"], stdout=full, stderr=subprocess.PIPE, text=True,
                                  timeout=120)
        self.assertEqual((done.returncode, done.stderr), (1, "cannot write to standard output\n"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
