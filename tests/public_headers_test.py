"""Each header that an installation has compiles alone, with both compilers and without a warning.
Arguments: SOURCE_FOLDER READER_HEADER HEADER..."""

import concurrent.futures
import os
import shutil
import subprocess
import sys
import unittest

SOURCE, READER_HEADER, *HEADERS = sys.argv[1:]
WARNINGS = ("-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Werror", "-fsyntax-only")
COMPILERS = [name for name in ("g++", "clang++") if shutil.which(name)]


def fault(compiler, language, standard, header):
    """What the compiler says of a source that includes the header alone; "" for nothing."""
    done = subprocess.run(
        [compiler, *WARNINGS, "-x", language, f"-std={standard}", f"-I{SOURCE}", "-"],
        input=f'#include "{os.path.relpath(header, SOURCE)}"\n', capture_output=True, text=True, timeout=300)
    return "" if done.returncode == 0 else f"{compiler} {standard} {header}:\n{done.stderr}"


class PublicHeaders(unittest.TestCase):
    def check(self, cases):
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
            faults = list(workers.map(lambda case: fault(*case), cases))
        self.assertGreater(len(faults), 0)
        self.assertEqual([text for text in faults if text], [])

    def test_of_the_host(self):
        self.assertGreater(len(HEADERS), 40)
        # Spelled as compilers of before the standard was done know it.
        self.check((compiler, "c++", standard, header) for compiler in COMPILERS
                   for standard in ("c++20", "c++2b") for header in HEADERS)

    def test_of_the_reader(self):
        self.check((compiler, language, standard, READER_HEADER) for compiler in COMPILERS
                   for language, standard in (("c", "c11"), ("c++", "c++17")))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
