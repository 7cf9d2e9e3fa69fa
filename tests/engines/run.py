#!/usr/bin/python3
"""Tests what is written, shipped and served against the engines themselves.

usage: run.py TAVRIN TESTS_FOLDER [TEST...]
A test is a module, a class or a method: test_values.Values

Ends with status 77 when all of them were skipped: an engine is not installed, or this tavrin lacks
what is tested.
"""

import os
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    os.environ["TAVRIN_COMMAND"] = os.path.abspath(sys.argv[1])
    sys.dont_write_bytecode = True
    sys.path[:0] = [HERE, os.path.abspath(sys.argv[2])]
    loader = unittest.defaultTestLoader
    tests = loader.loadTestsFromNames(sys.argv[3:]) if sys.argv[3:] else loader.discover(HERE)
    result = unittest.TextTestRunner(verbosity=2).run(tests)
    if result.wasSuccessful() and len(result.skipped) == result.testsRun:
        sys.exit(77)
    sys.exit(not result.wasSuccessful())


if __name__ == "__main__":
    main()
