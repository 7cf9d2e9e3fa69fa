#!/usr/bin/python3
"""Runs the tavrin command with further plugin libraries.

usage: plugin_test.py TAVRIN TESTS_FOLDER LIBRARY [Plugins.TEST...], with the library of the writer "probe"
"""

import os
import shutil
import subprocess
import sys
import unittest

from command_support import STREAM, TAVRIN, TavrinTest, read

PROBE = os.path.abspath(sys.argv[3])
BINARIES = os.path.dirname(TAVRIN)


class Plugins(TavrinTest):
    def test_named_libraries(self):
        listed = self.run_tavrin("list", "writers", "--plugin", PROBE).stdout
        own, *others = listed.split("\nOf ")[1:]
        self.assertTrue(own.startswith(f"{BINARIES}/libtavrin_writers.so; 'all' are these"), listed)
        self.assertTrue(others[0].startswith(f"{PROBE}:\n  probe    BASE.probe "), listed)
        cases = [(("-w", "probe"), ["run.probe"]), (("-w", "probe,raw"), ["run.probe", "run.txt"]),
                 ((), ["run.csv"])]
        for options, files in cases:
            with self.subTest(options):
                self.run_tavrin("report", "--plugin", PROBE, *options, "-o", "run", STREAM)
                self.assertEqual(self.files(), files)
                for name in files:
                    os.remove(self.path(name))
        self.run_tavrin("report", "--plugin", PROBE, "-w", "every", "-o", "run", STREAM)
        self.assertTrue({"run.csv", "run.ztbin", "run.probe"} < set(self.files()), self.files())
        for name, target in (("probe", PROBE), ("own", f"{BINARIES}/libtavrin_writers.so")):
            link = self.path(f"{name}.so")
            os.symlink(target, link)
            twice = ("--plugin", link, "--plugin", link, "--plugin", target)
            self.assertIn(f"Of {target}", self.run_tavrin("list", "writers", *twice).stdout.replace(
                link, target))
            os.remove(link)
        self.run_tavrin("report", "--plugin", PROBE, "-w", "all", "-o", "own/run", STREAM)
        self.assertNotIn("run.probe", os.listdir(self.path("own")))

    def test_sizes_of_pages(self):
        report = ("report", "--plugin", PROBE, "-w", "probe", "-o", "run", STREAM, "--page-size")
        for size, bytes_ in (("3M", 3_000_000), ("12K", 12_000), ("10001", 10_001)):
            with self.subTest(size):
                done = self.run_tavrin(*report, size)
                self.assertEqual(self.report("run.probe"), f"--page-size={bytes_}\n")
                self.assertIn("--page-size has no effect: the writer 'html' is not", done.stderr)
        for size, text in (("3X", "'3X' is not a size such as 3M"), ("-1", "'-1' is not a size"),
                           ("", "'' is not a size"), ("9K", "'9K' is not from 10000 to 1000000000"),
                           ("99999999999999999M", "is not from"), ("1e6", "is not a size")):
            with self.subTest(size):
                self.assertIn(text, self.run_tavrin(*report, size, status=2).stderr)

    def refused(self, path):
        """What is said of a library that is named, and that nothing of it was called."""
        done = self.run_tavrin("list", "writers", "--plugin", path, status=1,
                               env={**os.environ, "LD_DEBUG": "files"})
        self.assertNotIn(f"calling init: {path}\n", done.stderr)
        return done.stderr

    def test_libraries_for_other_hosts(self):
        """One that was made for another version of the interface is refused before it is loaded."""
        mark = b"Tavrin plugin library for host interface "
        library = read(PROBE, "rb")
        self.assertEqual(library.count(mark + b"1;"), 1)
        loaded = self.run_tavrin("list", "writers", "--plugin", PROBE,
                                 env={**os.environ, "LD_DEBUG": "files"})
        self.assertIn(f"calling init: {PROBE}\n", loaded.stderr)
        none = "does not tell for which version of the host interface it was made"
        for name, changed, text in (
                ("other", mark + b"2;", "was made for version 2 of the host interface, this is version 1"),
                ("old", bytes(len(mark)) + b"1;", none), ("end", mark + b"\0\0", none),
                ("open", mark + b"1\0", none), ("word", mark + b"x;", none)):
            path = self.path(f"libtavrin_{name}.so")
            with open(path, "wb") as file:
                file.write(library.replace(mark + b"1;", changed))
            with self.subTest(name):
                self.assertIn(f"the plugin library {path} {text}", self.refused(path))

    def test_what_is_no_library(self):
        library = read(PROBE, "rb")
        files = {"text": b"no library", "empty": b"", "short": library[:50], "parts": library[:200],
                 "cut": library[:3000], "last page": library[:len(library) // 2],
                 "exports": library.replace(b"createPlugins", b"createNothing")}
        for name, content in files.items():
            with open(self.path(name), "wb") as file:
                file.write(content)
        os.truncate(self.path("text"), 10 << 30)
        os.truncate(self.path("exports"), 10 << 30)
        os.mkfifo(self.path("pipe"))
        os.mkdir(self.path("folder"))
        cannot = "cannot load the plugin library {}: "
        cases = {"text": cannot + "it is no shared library", "empty": cannot + "it is no shared library",
                 "short": cannot + "it is cut short", "parts": cannot + "it is cut short",
                 "cut": cannot + "it is cut short", "last page": cannot + "it is cut short",
                 "exports": "{} is not a plugin library: it does not export createPlugins and",
                 "pipe": cannot + "it is no regular file", "folder": cannot + "it is a folder",
                 "/dev/zero": cannot + "it is no regular file", "": cannot + "No such file or directory",
                 "none.so": cannot + "No such file or directory"}
        for name, text in cases.items():
            path = self.path(name) if name else name
            with self.subTest(name):
                self.assertIn("tavrin: error: " + text.format(path), self.refused(path))

    def test_a_library_that_lacks_another(self):
        path = self.path("libtavrin_lacking.so")
        with open(path, "wb") as file:
            file.write(read(PROBE, "rb").replace(b"libhostcommon.so.1\0", b"libhostcommon.so.9\0"))
        self.assertIn(f"cannot load the plugin library {path}: libhostcommon.so.9: ", self.refused(path))

    def test_libraries_beside_the_command(self):
        for name in ("tavrin", "libhostcommon.so.1", "libtavrin_writers.so"):
            shutil.copy(os.path.join(BINARIES, name), self.folder)
        self.write("libtavrin_damaged.so", "no library")
        shutil.copy(PROBE, self.path("libtavrin_third.so"))

        def report(status, *options):
            done = subprocess.run(["./tavrin", "report", "-o", "run", *options, STREAM], text=True,
                                  cwd=self.folder, capture_output=True, timeout=120)
            self.assertEqual(done.returncode, status, done.stderr)
            return done.stderr

        warned = report(0, "-w", "probe,sum")
        self.assertIn(f"warning: cannot load the plugin library {self.path('libtavrin_damaged.so')}: ",
                      warned)
        self.assertTrue({"run.csv", "run.probe"} < set(self.files()))
        twins = report(2, "--plugin", PROBE)
        self.assertIn(f"two writers have the name 'probe': one of {PROBE}, one of "
                      + self.path("libtavrin_third.so"), twins)
        self.assertIn("cannot load the plugin library ./none.so: ", report(1, "--plugin", "./none.so"))
        self.assertIn("unknown writer 'nope'; known are: sum, korvell, json, bin, raw, int, phm-csv, "
                      "auto, probe, all, every", report(2, "-w", "nope"))
        os.makedirs(self.path("lib"))
        os.remove(self.path("libtavrin_writers.so"))
        self.assertIn("cannot find the plugin library libtavrin_writers.so", report(1))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)
