#!/usr/bin/python3
"""Installs a build, moves the prefix and uses it from there: the command, and examples.

usage: install_test.py BUILD TESTS_FOLDER CMAKE COMPILER FLAGS
"""

import gzip
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD, TESTS, CMAKE, COMPILER, FLAGS = sys.argv[1:6]
SOURCE = os.path.dirname(os.path.abspath(TESTS))
STREAM = os.path.join(TESTS, "data", "recorded.jsonl")
EXAMPLES = os.path.join(SOURCE, "examples")


def run(*command, status=0, **options):
    done = subprocess.run(command, capture_output=True, text=True, timeout=300, check=False, **options)
    if done.returncode != status:
        raise AssertionError(f"{shlex.join(command)}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done


def install(prefix):
    run(CMAKE, "--install", BUILD, "--prefix", prefix)


def files_of(folder):
    return sorted(os.path.join(path, name) for path, _, names in os.walk(folder) for name in names)


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp()
        cls.first = os.path.join(cls.folder, "first")
        cls.prefix = os.path.join(cls.folder, "moved here")
        install(cls.first)
        with open(os.path.join(BUILD, "install_manifest.txt"), encoding="utf-8") as manifest:
            cls.manifest = manifest.read().split("\n")
        shutil.copytree(cls.first, cls.prefix, symlinks=True)
        shutil.rmtree(cls.first)
        cls.tavrin = os.path.join(cls.prefix, "bin", "tavrin")

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def setUp(self):
        self.work = tempfile.mkdtemp(dir=self.folder)

    def test_manifest_names_every_file(self):
        installed = {os.path.relpath(path, self.prefix) for path in files_of(self.prefix)}
        self.assertEqual({os.path.relpath(path, self.first) for path in self.manifest}, installed)

    def test_nothing_absolute_in_it(self):
        for path in files_of(self.prefix):
            with self.subTest(path), open(path, "rb") as file:
                content = file.read()
                if content.startswith(b"\x7fELF"):
                    dynamic = run("readelf", "-d", path).stdout
                    paths = [line for line in dynamic.split("\n") if "RUNPATH" in line or "RPATH" in line]
                    self.assertTrue(all("[$ORIGIN/" in line for line in paths), paths)
                    continue
                for folder in (SOURCE, BUILD, self.folder):
                    self.assertNotIn(folder.encode(), content)

    def test_command_uses_what_is_beside_it(self):
        listed = run(self.tavrin, "list", "writers").stdout
        for library in ("writers", "exporters"):
            self.assertIn(f"Of {self.prefix}/lib/tavrin/libtavrin_{library}.so", listed)
        run(self.tavrin, "report", "-w", "every", "-o", "run", STREAM, cwd=self.work)
        self.assertTrue({"run.csv", "run.ztbin", "run.pftrace"} < set(os.listdir(self.work)))
        config = os.path.join(self.prefix, "share", "tavrin", "tavrin-output.toml")
        with open(config, encoding="utf-8") as file:
            content = file.read()
        self.addCleanup(lambda: open(config, "w", encoding="utf-8").write(content))
        with open(config, "w", encoding="utf-8") as file:
            file.write("this is no configuration")
        refused = run(self.tavrin, "report", "-o", "again", STREAM, cwd=self.work, status=2)
        self.assertIn("/share/tavrin/tavrin-output.toml", refused.stderr)

    def test_doctor_names_the_page_that_is_installed(self):
        os.chmod(self.folder, 0o755)
        ordinary = {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}
        told = run(self.tavrin, "doctor", **ordinary).stdout
        self.assertIn(f"lasting ones: {self.prefix}/share/doc/tavrin/permissions.md\n", told)
        config = f"{self.prefix}/share/tavrin/tavrin-output.toml"
        self.assertIn(re.sub(r"\s", "", config), re.sub(r"\s", "", told))

    def test_manual_pages_and_completions(self):
        listed = run(self.tavrin, "--help").stdout.split("Subcommands:\n")[1].split("\n\n")[0]
        commands = re.findall(r"^  ([a-z]+) ", listed, re.MULTILINE)
        share = os.path.join(self.prefix, "share")
        pages = {"tavrin.1.gz", *(f"tavrin-{command}.1.gz" for command in commands)}
        self.assertEqual(set(os.listdir(f"{share}/man/man1")), pages)
        with gzip.open(f"{share}/man/man1/tavrin-record.1.gz", "rt") as page:
            self.assertEqual(page.read(), run(self.tavrin, "manual", "record").stdout)
        for shell, path in (("bash", "bash-completion/completions/tavrin"),
                            ("zsh", "zsh/vendor-completions/_tavrin"),
                            ("fish", "fish/vendor_completions.d/tavrin.fish")):
            with self.subTest(shell), open(f"{share}/{path}", encoding="utf-8") as file:
                self.assertEqual(file.read(), run(self.tavrin, "completion", shell).stdout)

    def check_examples(self, folder, **options):
        """As examples/README.md has it."""
        run("./collector", "load", "3", cwd=folder, **options)
        self.assertTrue({"load.csv", "load.ztbin", "load_phm.csv"} < set(os.listdir(folder)))
        self.assertEqual(run("./read_result", "load.ztbin", cwd=folder, **options).stdout.count("\n"), 3)
        self.count_with(f"{folder}/libcount_writer.so")

    def count_with(self, library):
        run(self.tavrin, "report", "--plugin", library, "-w", "count", "-o", "run", STREAM, cwd=self.work)
        self.assertIn("run.count", os.listdir(self.work))

    def build(self, source, *definitions):
        run(CMAKE, "-S", source, "-B", self.work, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_CXX_COMPILER={COMPILER}", f"-DCMAKE_CXX_FLAGS={FLAGS}",
            f"-DCMAKE_C_FLAGS={FLAGS}", *definitions)
        run(CMAKE, "--build", self.work)

    def test_examples_with_cmake(self):
        self.build(EXAMPLES)
        self.check_examples(self.work)

    def test_rest_of_the_cmake_package(self):
        self.build(os.path.join(TESTS, "install"), f"-DEXAMPLES={EXAMPLES}")
        self.count_with(f"{self.work}/libtavrin_count.so")

    def test_examples_with_pkg_config(self):
        variables = {**os.environ, "PKG_CONFIG_PATH": f"{self.prefix}/lib/pkgconfig"}

        def package(*arguments):
            return shlex.split(run("pkg-config", *arguments, env=variables).stdout)

        for command, standard, source, target, name in (
                (COMPILER, "c++20", "collector.cpp", ["-o", "collector"], "tavrin"),
                (COMPILER, "c++20", "count_writer.cpp", ["-shared", "-fPIC", "-o", "libcount_writer.so"],
                 "tavrin"),
                ("cc", "c11", "read_result.c", ["-o", "read_result"], "tavrin-reader")):
            run(command, f"-std={standard}", *FLAGS.split(), os.path.join(EXAMPLES, source), *target,
                *package("--cflags", "--libs", name), cwd=self.work)
        self.check_examples(self.work, env={**os.environ, "LD_LIBRARY_PATH": f"{self.prefix}/lib"})
        plugins, = package("--variable=plugindir", "tavrin")
        self.assertIn("libtavrin_writers.so", os.listdir(plugins))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[6:]], verbosity=2)
