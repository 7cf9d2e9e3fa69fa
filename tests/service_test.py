#!/usr/bin/python3
"""A recording as a service: its configuration, the files that it keeps, what a service manager hears.

usage: service_test.py TAVRIN TESTS_FOLDER [TEST...]
"""

import contextlib
import os
import random
import re
import resource
import select
import signal
import socket
import subprocess
import sys
import time
import unittest

from command_support import TAVRIN, TavrinTest, read

CONFIG = """feature = ["thermal", "cpu-time"]
interval = "5ms"
continuous = "50ms"
output = "out/run"
writer = ["bin"]
compress = "zstd"
keep = ["7d", "2G"]
sysroot = "tree"
"""


class ServiceTest(TavrinTest):
    def setUp(self):
        super().setUp()
        self.write("record.toml", CONFIG)

    def out(self):
        return sorted(os.listdir(self.path("out"))) if os.path.isdir(self.path("out")) else []

    def finals(self):
        return [name for name in self.out() if not name.startswith(".")]

    def record(self, *arguments, **options):
        return self.run_tavrin("record", "--config", "record.toml", *arguments, **options)

    def start_record(self, *arguments, **options):
        process = self.start("record", "--config", "record.toml", *arguments, **options)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def end(self, process, status=0):
        process.send_signal(signal.SIGTERM)
        errors = process.communicate(timeout=60)[1]
        self.assertEqual(process.returncode, status, errors)
        return errors


class Configuration(ServiceTest):
    def test_options_by_their_long_names(self):
        done = self.record("-d", "300ms")
        self.assertRegex(done.stderr, r"kept \d+ files with 0\.\d MB")
        self.assertTrue(self.out())
        for name in self.out():
            self.assertRegex(name, r"^run-\d{8}-\d{6}-\d{3}_\d+\.ztbin\.zst$")
        summary = self.run_tavrin("inspect", *(f"out/{name}" for name in self.out())).stdout
        self.assertRegex(summary, r"(?s)CPU Time.*Temperature|Temperature.*CPU Time")

    def test_the_command_line_wins(self):
        self.record("-d", "100ms", "-f", "thermal", "-o", "other/run", "-w", "json")
        self.assertEqual(self.out(), [])
        name = sorted(os.listdir(self.path("other")))[0]
        self.assertTrue(name.endswith("_0.ztjson.zst"), name)
        self.assertNotIn("CPU Time", self.run_tavrin("inspect", "other/" + name).stdout)

    def test_faults_have_a_place(self):
        cases = [
            ('intervall = "1s"', "1: unknown entry 'intervall'; did you mean 'interval'?"),
            ('\n\ncheck = true', "3: unknown entry 'check'"),
            ('config = "x"', "1: unknown entry 'config'"),
            ('\ninterval = "1 parsec"', "2: --interval: '1 parsec' is not a time such as"),
            ('interval = ["1s", "2s"]', "1: interval has one value, not a list"),
            ('interval = true', "1: interval must be a text in double quotes or a number"),
            ('interval = 2026-01-01', "1: interval must be a text in double quotes or a number"),
            ('[feature]\ncpu = 1', "1: feature must be a text in double quotes or a number"),
            ('feature = []', "1: feature has no value"),
            ('force = "yes"', "1: force must be true or false"),
            ('keep = ["7d", "12"]', "1: --keep: '12' is neither an age such as 7d"),
            ('keep = "0d"', "1: --keep: '0d' is neither an age such as 7d"),
            ('compress = "lzma"', "1: --compress: lzma not in {zstd}"),
            ('output = "a"\noutput = "b"', "2: "),
            ('output = x', "1: "),
            ('verbosity = 9', "1: --verbosity: "),
            ('output = "a\\u0000b"', "1: output has a character that cannot be in a text: 0"),
            ("a" + ".a" * 100_000 + " = 1", " this is no configuration file"),
        ]
        for text, error in cases:
            with self.subTest(text[:40]):
                self.write("record.toml", text)
                done = self.record("-d", "1", status=2)
                self.assertIn(f"tavrin: error: record.toml:{error}", done.stderr)
        self.write("record.toml", 'compress = "zstd"')
        self.assertIn("--compress requires --continuous", self.record("-d", "1", status=2).stderr)
        done = self.run_tavrin("record", "--config", "none.toml", status=2)
        self.assertIn("none.toml: No such file", done.stderr)
        os.mkfifo(self.path("pipe"))
        for name in ("/dev/zero", "pipe"):
            done = self.run_tavrin("record", "--config", name, status=2)
            self.assertIn("this is no configuration file", done.stderr)

    def test_check_records_nothing(self):
        self.record("--check")
        self.assertEqual(self.out(), [])
        self.assertIn("unknown feature 'nope'", self.record("--check", "-f", "nope", status=2).stderr)
        self.record("--check", "-o", "console", "--keep", "1d", status=2)
        for output in ("record.toml/run", "out/new/run"):
            os.makedirs(self.path("out"), exist_ok=True)
            done = self.record("--check", "-o", output, status=1 if "toml" in output else 0)
            self.assertEqual("cannot write into the folder" in done.stderr, "toml" in output)
        self.assertEqual(self.out(), [])

    def test_what_a_machine_lacks_is_left_out(self):
        self.write("record.toml", CONFIG.replace("cpu-time", "pressure"))
        done = self.record("-d", "100ms")
        self.assertIn("warning: this machine has no feature 'pressure': ", done.stderr)
        self.assertTrue(self.out())
        self.assertIn("none of the features", self.record("-d", "1", "-f", "disk", status=1).stderr)

    def test_help(self):
        text = self.run_tavrin("record", "--help").stdout
        for option in ("--config FILE", "--check", "--keep AGE|SIZE", "--compress NAME", "SIGHUP"):
            self.assertIn(option, text)


class Files(ServiceTest):
    def inspect(self, *names):
        return self.run_tavrin("inspect", *(f"out/{name}" for name in names)).stdout

    def test_each_file_stands_for_itself(self):
        self.record("-d", "500ms")
        names = sorted(self.out(), key=lambda name: int(re.search(r"_(\d+)\.", name)[1]))
        self.assertGreater(len(names), 4)
        alone = sum(int(re.search(r"(\d+) points", self.inspect(name))[1]) for name in names[2:])
        rest = self.inspect(*reversed(names[2:]))
        self.assertEqual(int(re.search(r"(\d+) points", rest)[1]), alone)
        self.assertEqual(rest.count("sound"), 1, "one run")
        self.assertEqual(len(re.findall(r"(?m)^  CPU Time ", rest)), 1, rest)
        paths = [f"out/{name}" for name in names]
        self.run_tavrin("report", "-w", "sum,bin", "-o", "again", *paths)
        self.assertIn("Temperature", self.report("again.csv"))
        points = self.run_tavrin("export", *paths).stdout.splitlines()
        whole = self.run_tavrin("inspect", "again.ztbin").stdout
        self.assertEqual(len(points) - 1, int(re.search(r"(\d+) points", whole)[1]))
        self.run_tavrin("report", "-o", "one", paths[3])  # any minute alone
        os.remove(self.path(paths[2]))
        self.inspect(*names[:2], *names[3:])

    def test_a_crash_may_leave_a_file_packed_and_not(self):
        self.write("record.toml", CONFIG.replace('compress = "zstd"\n', ""))
        self.record("-d", "300ms")
        names = self.out()
        contents = [read(self.path("out/" + name), "rb") for name in names[:2]]
        self.write("record.toml", CONFIG)
        self.record("-d", "50ms")
        packed = [name + ".zst" for name in names]
        alone = self.inspect(*packed)
        for content, status in zip(contents, (0, 1)):
            with open(self.path("out/" + names[0]), "wb") as file:
                file.write(content)
            done = self.run_tavrin("inspect", *("out/" + name for name in [names[0], *packed]),
                                   status=status)
            if status == 0:
                self.assertEqual(re.sub(r".*: sound", "", done.stdout), re.sub(r".*: sound", "", alone))
            else:
                self.assertRegex(done.stderr, r"is given twice, and \S+ has another content")

    def test_a_damaged_packed_file_is_told(self):
        self.record("-d", "100ms")
        path = self.path("out/" + self.out()[0])
        for change, text in ((lambda data: data[:-9], "run-.*: .*(cannot be read|cut off)"),
                             (lambda data: data[:40] + b"xxxx" + data[44:], "run-.*: .*(cannot be read|damaged)")):
            data = read(path, "rb")
            with open(path, "wb") as file:
                file.write(change(data))
            self.assertRegex(self.run_tavrin("inspect", path, status=1).stderr, text)
            with open(path, "wb") as file:
                file.write(data)

    def test_stays_within_its_size(self):
        bound = 60_000
        os.mkdir(self.path("out"))
        for name in ("run-20260101-000000-000_3.ztbin", "run-20260101-000000-000_4.ztbin.zst"):
            self.write("out/" + name, "x" * 20000)
            os.utime(self.path("out/" + name), (1e9, 1e9))
        for name in ("other-20260101-000000-000_3.ztbin", "run_3.ztbin"):
            self.write("out/" + name, "x" * 20000)
        process = self.start_record("--keep", "60K", "--continuous", "20ms")
        largest = largest_file = 0
        deadline = time.monotonic() + 4
        while time.monotonic() < deadline:
            names = self.out()
            sizes = [0]
            for name in names:
                if name.startswith(("run-", ".tavrin-")):
                    with contextlib.suppress(FileNotFoundError):
                        sizes.append(os.path.getsize(self.path("out/" + name)))
            if self.out() == names:  # else some came after others, that were counted, had gone
                largest = max(largest, sum(sizes))
                largest_file = max(largest_file, *(size for size in sizes if size != 20000))
        errors = self.end(process)
        self.assertGreater(largest, bound / 2)
        # On a busy machine a period may be much longer than the one before.
        self.assertLessEqual(largest, bound + (largest_file if largest_file > 5000 else 0))
        self.assertRegex(errors, r"removed out/run-20260101-000000-000_3.*for --keep")
        self.assertEqual(errors.count("for --keep"), 1, "told once")
        self.assertEqual([name for name in self.out() if "20260101" in name],
                         ["other-20260101-000000-000_3.ztbin"])
        self.assertIn("run_3.ztbin", self.out())

    def test_a_bound_that_no_file_fits_in(self):
        errors = self.record("-d", "300ms", "--keep", "1K").stderr
        self.assertEqual(len(re.findall("--keep has room for fewer than three files", errors)), 1)

    def test_a_folder_that_was_taken_away_comes_again(self):
        process = self.start_record()
        self.wait_for(self.finals)
        os.rename(self.path("out"), self.path("moved"))
        self.wait_for(lambda: len(self.finals()) > 2)
        self.end(process)
        self.assertTrue(all(name.endswith(".zst") for name in self.out()), self.out())

    def test_killed_at_any_place(self):
        generator = random.Random(int(os.environ.get("TAVRIN_TEST_SEED", "0")) or None)
        for _ in range(8):
            process = self.start_record("--continuous", "20ms", "-i", "2ms")
            self.wait_for(lambda: self.finals() or process.poll() is not None)
            time.sleep(generator.random() / 2)
            process.kill()
            process.communicate()
            self.inspect(*self.finals())
        self.write("out/.tavrin-0123456789abcdef", "half a file")
        for name in self.out():
            if name.startswith(".tavrin-"):
                os.utime(self.path("out/" + name), (1e9, 1e9))
        self.record("-d", "100ms")
        for name in self.out():
            self.assertRegex(name, r"^run-.*_\d+\.ztbin\.zst$", "packed, and nothing else")
        self.assertGreater(len({name.split("_")[0] for name in self.out()}), 1)

    def test_full_disk(self):
        process = self.start_record(
            "-f", "thermal", "--continuous", "100ms", preexec_fn=lambda: resource.setrlimit(
                resource.RLIMIT_FSIZE, (100, resource.RLIM_INFINITY)))
        time.sleep(1)
        self.assertEqual(self.finals(), [])
        unlimited = (resource.RLIM_INFINITY, resource.RLIM_INFINITY)
        resource.prlimit(process.pid, resource.RLIMIT_FSIZE, unlimited)
        self.wait_for(lambda: len(self.finals()) > 2)
        errors = self.end(process, status=1)  # it says that a flush has failed
        self.assertIn("Its points are kept for the next file", errors)
        points = self.run_tavrin("inspect", "--points", *(f"out/{name}" for name in self.out()))
        samples = int(re.search(r"(\d+) samples in", errors)[1])
        self.assertEqual(len(points.stdout.splitlines()) - 1, samples, "none is missing")


class Manager(ServiceTest):
    """What is sent to a service manager, and what it may ask for."""

    def setUp(self):
        super().setUp()
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.socket.close)
        self.socket.bind(self.path("notify"))
        self.socket.settimeout(30)
        self.environment = {**os.environ, "NOTIFY_SOCKET": self.path("notify")}

    def hear(self, wanted):
        """Waits for a message that begins so, and returns it with those before it."""
        heard = [self.socket.recv(1000).decode()]
        while not heard[-1].startswith(wanted):
            heard.append(self.socket.recv(1000).decode())
        return heard

    def silence(self):
        """Takes what is there, and tells whether nothing comes for a second after that."""
        self.socket.settimeout(1)
        heard = 0
        try:
            while heard < 100:
                self.socket.recv(1000)
                heard += 1
        except TimeoutError:
            return True
        finally:
            self.socket.settimeout(30)
        return False

    def test_start_and_stop(self):
        process = self.start_record(env=self.environment)
        self.assertEqual(self.hear("READY"), ["READY=1"])
        self.assertRegex(self.hear("STATUS")[-1], "^STATUS=recording to out/run-[0-9-]*; kept")
        self.hear("STATUS=recording to")
        process.send_signal(signal.SIGTERM)
        self.assertFalse([text for text in self.hear("STOPPING") if "READY" in text])
        self.end(process)

    def test_a_name_of_several_lines(self):
        process = self.start_record("-o", "out/a\nMAINPID=1", env=self.environment)
        self.assertTrue(self.hear("STATUS")[-1].startswith("STATUS=recording to out/a\\x0aMAINPID=1-"))
        self.end(process)

    def test_watchdog_hears_nothing_from_a_writer_that_hangs(self):
        os.mkfifo(self.path("pipe"))
        reader = os.open(self.path("pipe"), os.O_RDONLY | os.O_NONBLOCK)
        environment = {**self.environment, "WATCHDOG_USEC": "400000"}
        process = self.start_record("--capture", "pipe", "-f", "cpu-time", env=environment)
        for _ in range(2):
            self.hear("WATCHDOG=1")
        # Nobody reads the capture: the thread that writes it waits.
        self.wait_for(self.silence)
        self.assertIsNone(process.poll())
        os.set_blocking(reader, True)
        while self.socket not in select.select([self.socket], [], [], 0)[0]:
            os.read(reader, 65536)
        self.hear("WATCHDOG=1")
        process.kill()
        os.close(reader)

    def test_reload(self):
        process = self.start_record(env=self.environment)
        self.hear("READY")
        self.wait_for(lambda: len(self.finals()) > 2)
        self.write("record.toml", CONFIG.replace("out/run", "out/new"))
        process.send_signal(signal.SIGHUP)
        self.assertRegex(self.hear("RELOADING")[-1], r"^RELOADING=1\nMONOTONIC_USEC=\d+$")
        self.assertFalse([text for text in self.hear("READY") if "STOPPING" in text])
        self.wait_for(lambda: len([name for name in self.finals() if "new" in name]) > 2)
        self.assertTrue(read(f"/proc/{process.pid}/comm").startswith("tavrin"))
        errors = self.end(process)
        self.assertIn("reading record.toml again", errors)
        for stem in ("run", "new"):
            names = [name for name in self.out() if name.startswith(stem)]
            self.assertTrue(all(name.endswith(".ztbin.zst") for name in names), names)
            self.assertIn("sound", self.run_tavrin("inspect", *("out/" + n for n in names)).stdout)

    def test_reload_never_writes_over_what_is_there(self):
        config = CONFIG.replace('compress = "zstd"\nkeep = ["7d", "2G"]\n', "")
        self.write("record.toml", config)
        process = self.start_record(env=self.environment)
        for _ in range(2):
            self.hear("READY")
            before = len(self.finals())
            self.wait_for(lambda: len(self.finals()) > before + 2)
            process.send_signal(signal.SIGHUP)
        self.hear("READY")
        self.end(process)
        self.assertEqual(len({name.split("_")[0] for name in self.out()}), 3)
        self.write("record.toml", config.replace('continuous = "50ms"', ""))
        process = self.start_record("-o", "whole", env=self.environment)
        self.hear("READY")
        process.send_signal(signal.SIGHUP)
        process.communicate(timeout=60)
        self.run_tavrin("inspect", "whole.ztbin")

    def test_a_stop_while_a_reload_is_under_way(self):
        command = ("sh", "-c", 'trap "" TERM; sleep 3')
        process = self.start_record("--", *command, env=self.environment)
        self.hear("READY")
        process.send_signal(signal.SIGHUP)
        self.hear("RELOADING")
        while "waiting up to" not in process.stderr.readline():
            self.assertIsNone(process.poll())
        self.end(process)
        self.assertEqual(len({name.split("_")[0] for name in self.out()}), 1, "no other run")

    def test_faulty_reload_goes_on(self):
        process = self.start_record(env=self.environment)
        self.hear("READY")
        cases = [('interval = "1 parsec"', "record.toml:1: --interval: '1 parsec' is not"),
                 (CONFIG.replace("thermal", "nope"), "unknown feature 'nope'"),
                 (CONFIG.replace("tree", "no-tree"), "record.toml:8: --sysroot: "),
                 (CONFIG.replace("out/run", "record.toml/run"), "cannot write into the folder")]
        for text, _ in cases:
            self.write("record.toml", text)
            process.send_signal(signal.SIGHUP)
            self.hear("RELOADING")
            self.hear("READY")
        before = len(self.finals())
        self.wait_for(lambda: len(self.finals()) > before + 2)
        errors = self.end(process)
        for _, error in cases:
            self.assertIn(error, errors)
        self.assertEqual(errors.count("going on with the configuration as it was"), len(cases))
        self.assertEqual(len({name.split("_")[0] for name in self.out()}), 1, "one run")

    def test_lines_for_the_journal(self):
        reader, writer = os.pipe()
        stream = os.fstat(writer)
        for named, pattern in ((f"{stream.st_dev}:{stream.st_ino}", "^<3>tavrin: error: "),
                               (f"{stream.st_dev}:{stream.st_ino + 1}", "^tavrin: error: ")):
            subprocess.run([TAVRIN, "record", "--config", "none.toml"], cwd=self.folder,
                           stderr=writer, env={**os.environ, "JOURNAL_STREAM": named}, timeout=60)
            self.assertRegex(os.read(reader, 1000).decode(), pattern)
        os.close(reader)
        os.close(writer)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
