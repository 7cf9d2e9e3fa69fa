#!/usr/bin/python3
"""Tests the page that the writer html makes, in real browsers.

usage: run.py TAVRIN [TEST...]        a test is a module, a class or a method: test_panels.Panels

Ends with status 77 where there is no browser, or a tavrin without that writer.
TAVRIN_CHROMIUM and TAVRIN_FIREFOX name other browsers than those of the distribution.
"""

import os
import subprocess
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    os.environ["TAVRIN_COMMAND"] = os.path.abspath(sys.argv[1])
    sys.dont_write_bytecode = True
    sys.path.insert(0, HERE)
    import page_support
    if not os.path.exists(page_support.CHROMIUM):
        print(f"skipped: there is no {page_support.CHROMIUM}")
        sys.exit(77)
    writers = subprocess.run([sys.argv[1], "list", "writers"], capture_output=True, text=True,
                             check=True, timeout=60).stdout
    if "html" not in writers.split():
        print("skipped: this tavrin has no writer html")
        sys.exit(77)
    loader = unittest.defaultTestLoader
    tests = loader.loadTestsFromNames(sys.argv[2:]) if sys.argv[2:] else loader.discover(HERE)
    try:
        result = unittest.TextTestRunner(verbosity=2).run(tests)
    finally:
        page_support.end()
    sys.exit(not result.wasSuccessful())


if __name__ == "__main__":
    main()
