#!/usr/bin/python3
"""Runs the tavrin command as its users do, and looks at what it prints, writes and returns.

usage: command_line_test.py TAVRIN TESTS_FOLDER [--accept] [CommandLine.TEST...]

--accept replaces the expected files under data/golden by what the command writes now.
"""

import csv
import fcntl
import json
import math
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import time
import unittest

from command_support import STREAM, TAVRIN, TESTS, TREE, TavrinTest, read

ACCEPT = "--accept" in sys.argv
SELECTED = [name for name in sys.argv[3:] if name != "--accept"]
GOLDEN = os.path.join(TESTS, "data", "golden")

# A CPU that sleeps half a second of two.
CLOCK_STREAM = """{"type":"tavrin-stream","version":1}
{"type":"system","clockMHz":1000,"tscMHz":1.0}
{"type":"entity","id":1,"name":"CPU0"}
{"type":"descriptor","id":2,"name":"C6"}
{"type":"metric","id":3,"name":"Idle","kind":"residency","legacy":"residency","quantity":0,\
"combinations":[[1,2]],"entityGroup":{"name":"CPU"},"descriptorGroup":{"name":"State"}}
{"type":"sample","metric":3,"time":1500000000,"elements":[[500000000,1,2,2000000000]]}
"""


class CommandLine(TavrinTest):
    def test_inspect(self):
        self.assertIn("--points", self.run_tavrin("inspect", "--help").stdout)
        self.run_tavrin("report", "-w", "bin,json", "-o", "run", STREAM)
        summary = self.run_tavrin("inspect", "run.ztbin", "run.ztjson").stdout
        self.assertIn("run.ztbin: sound\nSystem:\n", summary)
        self.assertIn("run.ztjson: sound\nSystem:\n", summary)
        self.assertIn("4 metrics, 162 points from 7312433663883 to 7312933975931 ticks", summary)
        self.assertIn("    CPU C-State/Package0/Core0/CPU0: POLL 6, haltpoll idle 6\n", summary)
        points = self.run_tavrin("inspect", "--points", "run.ztbin").stdout.splitlines()
        self.assertEqual((points[0].count("\t"), len(points)), (5, 163))
        self.run_tavrin("report", "-w", "korvell", "-o", "run", STREAM)
        self.assertIn("run.pwr: sound\nSystem:\n", self.run_tavrin("inspect", "run.pwr").stdout)
        records = self.run_tavrin("inspect", "--records", "run.pwr").stdout.splitlines()
        self.assertEqual(sum(line.startswith("data\t") for line in records), 162)
        with open(os.path.join(self.folder, "run.ztbin"), "r+b") as file:
            file.truncate(1000)
        fault = self.run_tavrin("inspect", "run.ztbin", status=1)
        self.assertRegex(fault.stderr, r"^tavrin: error: run.ztbin: offset 9\d\d: expected .*, found")
        self.assertNotIn("sound", fault.stdout)
        self.assertIn("cannot read none.ztbin",
                      self.run_tavrin("inspect", "none.ztbin", status=1).stderr)
        self.write("notes.ztext", "nothing of the kind")
        self.assertIn(".ztjson", self.run_tavrin("inspect", "notes.ztext", status=1).stderr)
        os.rename(os.path.join(self.folder, "run.pwr"), os.path.join(self.folder, "timeline"))
        self.assertIn("timeline: sound\n", self.run_tavrin("inspect", "timeline").stdout)

    def test_help_and_usage_errors(self):
        self.assertIn("Examples:", self.run_tavrin("--help").stdout)
        for command in ("record", "report", "list"):
            self.assertIn("--plugin", self.run_tavrin(command, "--help").stdout)
        self.assertRegex(self.run_tavrin("--version").stdout, r"^tavrin \d+\.\d+\.\d+\n$")
        wrong = [
            ([], "tavrin: error: no command is given. See 'tavrin --help'."),
            (["recrod", "-d", "1"],
             "'recrod' is not a command; did you mean 'record'? See 'tavrin --help'."),
            (["frobnicate"], "'frobnicate' is not a command. See 'tavrin --help'."),
            (["record", "--nonsense"],
             "tavrin: error: unknown option '--nonsense'. See 'tavrin record --help'."),
            (["record", "-d", "1", "--intervall=5"],
             "unknown option '--intervall'; did you mean '--interval'? See"),
            (["record", "make", "-j8"],
             "unexpected argument 'make'; a command to measure follows '--'. See"),
            (["list", "--", "true"], "only 'tavrin record' takes a command after '--'"),
            (["record", "-i", "0", "-d", "1"], "--interval: '0' is not from 1 to 3600000 ms"),
            (["record", "-i", "900us", "-d", "1"], "--interval: '900us' is not from 1 to"),
            (["record", "-i", "20 parsecs", "-d", "1"],
             "'20 parsecs' is not a time such as 500ms, 10s, 2m or a number of ms"),
            (["record", "-d", "1", "-n", "5"], "--duration excludes --samples"),
            (["record", "-d", "nan"], "--duration: 'nan' is not from"),
            (["record", "-d", "inf"], "--duration: 'inf' is not"),
            (["record", "--continuous", "nan", "-d", "1"], "--continuous: 'nan' is not"),
            (["record", "-w", "sum,nope", "-d", "1"], "unknown writer 'nope'; known are: sum"),
            (["record", "-w", "sum, Raw", "-d", "1"],
             "unknown writer ' Raw'; did you mean 'raw'? known are: sum"),
            (["record", "-o", "out/", "-d", "1"],
             "'out/' is no base name of outputs (-o): it is a folder; add a name, as in 'out/run'"),
            (["record", "-f", "nope", "-d", "1"],
             "unknown feature 'nope'; known are: core-cstate, cpu-time"),
            (["report"], "file"),
            (["report", "--output-config", "tree/proc/stat", STREAM], "tree/proc/stat:1: "),
        ]
        for arguments, text in wrong:
            with self.subTest(arguments):
                done = self.run_tavrin(*arguments, status=2)
                self.assertIn(text, done.stderr + done.stdout)
        self.assertEqual(self.files(), [])

    def test_inputs_that_are_none(self):
        self.write("empty", "")
        for command in ("report", "export"):
            for name, text in (("empty", "empty: there is nothing in it"), ("none", "cannot read none: No such"),
                               ("tree", "cannot read tree: it is a folder")):
                with self.subTest((command, name)):
                    done = self.run_tavrin(command, name, status=1)
                    self.assertEqual(done.stderr.removeprefix("tavrin: error: ").find(text), 0, done.stderr)
        nothing = self.run_tavrin("report", "-", status=1, stdin=subprocess.DEVNULL)
        self.assertEqual(nothing.stderr, "tavrin: error: standard input: there is nothing in it\n")

    def test_times_have_units(self):
        record = ("record", "--sysroot", "tree", "-f", "thermal", "-q", "-o", "run")
        cases = [(("-i", "50", "-n", "4"), 0.2, 50), (("-i", "0.05s", "-d", "200ms"), 0.2, 50),
                 (("-i", "2.5ms", "-d", ".05"), 0.05, 2.5), (("-d", "0.002m", "-i", "1m"), 0.12, 120)]
        for options, seconds, interval in cases:
            with self.subTest(options):
                self.run_tavrin(*record, *options, "--capture", "run.jsonl")
                records = [json.loads(line) for line in self.report("run.jsonl").splitlines()]
                measured = records[-1]["durationSec"]
                self.assertGreaterEqual(measured, seconds)
                passes = {each["time"] for each in records if each["type"] == "sample"}
                self.assertLessEqual(len(passes), math.ceil(1000 * measured / interval))
                self.assertGreaterEqual(len(passes), 1)

    def test_progress_stays_out_of_the_output_of_a_command(self):
        record = [TAVRIN, "record", "--sysroot", "tree", "-f", "thermal", "-o", "run", "-d", "0.3"]
        cases = [((), "xterm", True), (("--", "sleep", "9"), "xterm", False),
                 (("--progress", "--", "sleep", "9"), "xterm", True), ((), "dumb", False)]
        for arguments, terminal, shown in cases:
            with self.subTest((arguments, terminal)):
                printed = self.run_on_terminal([*record, *arguments], terminal)
                self.assertEqual(b"\x1b[" in printed, shown, printed)
                self.assertIn(b"wrote run.csv", printed)

    def test_writers_that_keep_the_run_in_memory_are_told(self):
        record = ("record", "--sysroot", "tree", "-f", "thermal", "-i", "10", "-o", "run")
        cases = [(("-w", "all", "--", "true"), "json, bin"), (("-w", "bin", "--", "true"), "bin"),
                 (("-w", "sum,raw", "--", "true"), None), (("-w", "all", "-d", "0.02"), None),
                 (("-w", "bin", "--continuous", "1", "--", "true"), None)]
        for arguments, names in cases:
            with self.subTest(arguments):
                told = self.run_tavrin(*record, *arguments).stderr
                line = f"kept in memory until the end (-d, --continuous bound it): {names}\n"
                self.assertIn(line, told) if names else self.assertNotIn("in memory", told)

    def test_watch_shows_each_interval(self):
        watch = ("watch", "--sysroot", "tree", "-i", "100ms", "-n", "3")
        blocks = self.run_tavrin(*watch, "-f", "interrupts").stdout.split("\n\n")
        intervals = (2, 3)  # a busy machine may leave one out, of which the next one tells
        self.assertIn(len(blocks), intervals, blocks)
        for block in blocks:
            self.assertRegex(block, r"^ +System Activity +Interrupts /s .*\n +0\.\d\d\d  +0\.00 ")
        chosen = self.run_tavrin(*watch, "--show", "Temperature,Busy", "--hide", "cpu-time").stdout
        self.assertIn("-1.50", chosen)
        self.assertNotIn("Busy", chosen)
        self.assertIn("unknown column 'Bussy'",
                      self.run_tavrin(*watch, "--show", "Bussy", status=2).stderr)
        self.assertEqual(os.listdir(self.folder), ["tree"])
        printed = self.run_on_terminal([TAVRIN, *watch], "xterm")
        self.assertIn(printed.count(b"\x1b[H"), intervals, printed)
        self.assertNotIn(b"\x1b[", self.run_on_terminal([TAVRIN, *watch], "dumb"))
        narrow = self.run_on_terminal([TAVRIN, *watch], "xterm", 5, 10)
        lines = re.sub(rb"\x1b\[\w*", b"", narrow).split(b"\r\n")
        self.assertEqual(max(map(len, lines)), 10, lines)
        with subprocess.Popen([TAVRIN, "watch", "-i", "10ms"], cwd=self.folder, text=True,
                              stdout=subprocess.PIPE) as live:
            self.assertIn("CPU", live.stdout.readline())
            live.send_signal(signal.SIGINT)
            live.stdout.read()
            self.assertEqual(live.wait(30), 0)

    def test_what_is_printed_is_safe_and_whole(self):
        for arguments in (["list"], ["--help"], ["list", "writers"], ["--version"],
                          ["inspect", "--points", "run.ztbin"]):
            with self.subTest(arguments), open("/dev/full", "w") as full:
                self.run_tavrin("report", "-w", "bin", "-o", "run", STREAM)
                done = subprocess.run([TAVRIN, *arguments], cwd=self.folder, stdout=full,
                                      stderr=subprocess.PIPE, text=True)
                self.assertEqual(done.returncode, 1)
                self.assertIn("cannot write to standard output", done.stderr)
        odd = b"\x1b[31m\x7f\xc2\x9b\xff\n"
        for arguments in ([b"report", odd], [b"record", b"-o", odd, b"--nonsense" + odd],
                          [b"record", b"-d", odd], [b"record", b"--", odd],
                          [b"record", b"--sysroot", b"tree", b"-d", b".1", b"--capture", b"no/" + odd]):
            done = subprocess.run([TAVRIN, *arguments], cwd=self.folder, capture_output=True)
            self.assertNotEqual(done.returncode, 0)
            self.assertRegex(done.stderr, rb"^[\n -~]+$")
            self.assertIn(rb"\x1b[31m\x7f\xc2\x9b\xff", done.stderr)

    def test_the_command_line_is_kept_with_its_quoting(self):
        self.run_tavrin("record", "--sysroot", "tree", "-f", "thermal", "--capture", "c.jsonl",
                        "--", "sh", "-c", "echo 'a  b' # \udcff\n")
        line = json.loads(self.report("c.jsonl").splitlines()[1])["commandLine"]
        self.assertEqual(line, "tavrin record --sysroot tree -f thermal --capture c.jsonl -- "
                               r"sh -c $'echo \'a  b\' # \xff\x0a'")
        self.assertIn("Command line: " + line, self.report("tavrin.csv"))

    def test_a_file_size_limit_is_a_failed_write(self):
        done = self.run_tavrin(
            "record", "--sysroot", "tree", "-f", "thermal", "-i", "1", "--capture", "c.jsonl", "--",
            "sh", "-c", "head -c 100000 /dev/zero > big; echo $?; sleep .5", status=1,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000)))
        self.assertIn("the capture c.jsonl is incomplete", done.stderr)
        self.assertEqual(done.stdout, "153\n", "the command has the default of the signal")

    def test_a_limit_of_open_files_ends_with_a_message(self):
        for limit in range(3, 16):
            with self.subTest(limit):
                done = subprocess.run(
                    [TAVRIN, "report", "-w", "all", "-o", f"run{limit}", STREAM], cwd=self.folder,
                    capture_output=True, text=True, timeout=30,
                    preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (limit, limit)))
                self.assertIn(done.returncode, (1, 127))
                self.assertRegex(done.stderr, "(?i)too many open files|Error 24")

    def test_list_tells_why_a_feature_is_absent(self):
        lines = self.run_tavrin("list", "--sysroot", "tree").stdout.splitlines()
        self.assertTrue(any(line.split()[:2] == ["sum", "BASE.csv"] for line in lines), lines)
        found = {line.split()[0]: line.split()[1] for line in lines if line.startswith("  ")}
        self.assertEqual((found["cpu-time"], found["thermal"]), ("present", "present"))
        self.assertEqual((found["core-cstate"], found["energy"]), ("absent", "absent"))
        self.assertTrue(any("Temperature" in line and " C " in line for line in lines), lines)

    def as_user(self, *arguments, capabilities="", status=0):
        """Runs the tool as an ordinary user with these capabilities: "+perfmon,+dac_override"."""
        os.chmod(self.folder, 0o777)
        setpriv = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--no-new-privs"]
        if capabilities:
            setpriv += [f"--inh-caps={capabilities}", f"--ambient-caps={capabilities}"]
        if os.geteuid() != 0 or not shutil.which("setpriv"):
            self.skipTest("only root, with setpriv, can be another user")
        if subprocess.run([*setpriv, "test", "-x", TAVRIN], check=False).returncode != 0:
            self.skipTest("other users may not execute " + TAVRIN)
        done = subprocess.run([*setpriv, TAVRIN, *arguments], cwd=self.folder, text=True,
                              capture_output=True, timeout=120)
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def diagnose(self, **rights):
        """The states of all features, and the whole answer."""
        told = json.loads(self.as_user("doctor", "--format", "json", **rights).stdout)
        return {each["name"]: each["state"] for each in told["features"]}, told

    def test_doctor_tells_an_ordinary_user_what_he_lacks(self):
        states, told = self.diagnose()
        self.assertEqual((told["user"][-7:], states["cpu-time"]), ("(65534)", "works"))
        self.assertEqual(sum(told["sums"].values()), len(states))
        if "Kernel tracing" not in [right["name"] for right in told["rights"]]:
            self.skipTest("tracefs is not there, or open to everybody")
        self.assertEqual(states["sched-trace"], "refused")
        needs = r"needs tracefs as the user's own \(option uid\), or CAP_DAC_OVERRIDE"
        self.assertRegex(self.as_user("list", "features").stdout, "sched-trace +refused.*" + needs)
        done = self.as_user("record", "-f", "sched-trace", status=1)
        self.assertRegex(done.stderr, "may not have the feature 'sched-trace'.*" + needs)
        done = self.as_user("record", "-f", "all", "-d", "100ms", "-q")
        self.assertEqual(done.stderr, "")
        done = self.as_user("record", "-f", "all", "-d", "100ms")
        self.assertRegex(done.stderr, "not permitted here, see 'tavrin doctor': .*sched-trace")
        self.assertIn(" $ sudo mount -o remount,uid=", self.as_user("doctor").stdout)

    def test_single_capabilities_do(self):
        states, _ = self.diagnose()
        granted, told = self.diagnose(capabilities="+dac_override")
        if states["sched-trace"] != "refused":
            self.skipTest("tracefs is not there, or open to everybody")
        self.assertEqual(granted["sched-trace"], "works", told)
        self.as_user("record", "-f", "sched-trace", "-d", "100ms", capabilities="+dac_override")
        if states["command"] == "partial":  # perf_event_paranoid is above 1
            self.assertEqual(self.diagnose(capabilities="+perfmon")[0]["command"], "works")

    def test_doctor_on_a_terminal(self):
        doctor = ["env", "-u", "NO_COLOR", TAVRIN, "doctor", "--sysroot", "tree"]
        self.assertIn(b"\x1b[1mWorks\x1b[0m", self.run_on_terminal(doctor, "xterm"))
        self.assertNotIn(b"\x1b", self.run_on_terminal(["env", "NO_COLOR=1", *doctor[3:]], "xterm"))
        self.assertRegex(self.run_tavrin(*doctor[4:]).stdout, r"\n\d+ features: \d+ work, .*\.\n$")
        self.run_tavrin("doctor", "--sysroot", "nowhere", status=2)

    def test_kernel_tracing(self):
        copy = self.run_tavrin("record", "--sysroot", "tree", "-f", "sched-trace", status=1)
        self.assertIn("has no feature 'sched-trace': only the running kernel", copy.stderr)
        features = self.run_tavrin("list", "features").stdout.splitlines()
        told = next(line for line in features if line.split()[0] == "process-trace")
        if "on demand" not in told:
            self.skipTest(told.strip())
        done = self.run_tavrin("record", "-w", "all", "-f", "process-trace,sched-trace", "-o", "run",
                               "--capture", "c.jsonl", "--", "sh", "-c", "/bin/true; /bin/true; exit")
        self.assertRegex(done.stderr, r"\d+ kernel events, 0 lost")
        counts = {}
        for row in csv.reader(self.report("run.csv").splitlines(), skipinitialspace=True):
            if len(row) == 3 and row[0].strip() == "Event":
                counts[row[1].strip()] = int(row[2])
        self.assertGreaterEqual(counts["fork"], 3)  # the shell and its two
        self.assertGreaterEqual(counts["exec"], 3)
        with open(os.path.join(self.folder, "c.jsonl"), encoding="utf-8") as capture:
            stop = json.loads(capture.readlines()[-1])
        trues = [one for one in stop["processes"] if one.get("path") == "/bin/true"]
        self.assertEqual([one["end"] > one["start"] for one in trues], [True, True])
        self.run_tavrin("report", "-w", "all", "-o", "again/run", "c.jsonl")
        for name in ("run.csv", "run.txt", "run.ztbin", "run.ztjson", "run_trace.csv",
                     "run_phm_events.csv"):
            with self.subTest(name):
                with open(os.path.join(self.folder, name), "rb") as live, \
                        open(os.path.join(self.folder, "again", name), "rb") as replayed:
                    self.assertEqual(live.read(), replayed.read())

    def test_what_the_kernel_does_after_the_end_is_not_of_the_run(self):
        if not os.access("/sys/kernel/tracing/instances", os.W_OK):
            self.skipTest("the kernel cannot be traced")
        ours, theirs = os.pipe()
        fcntl.fcntl(theirs, fcntl.F_SETPIPE_SZ, 4096)
        run = subprocess.Popen(
            [TAVRIN, "record", "-f", "default,process-trace", "-o", "run", "--capture", "-", "--",
             "sh", "-c", "for i in $(seq 50); do /bin/true; done; touch ended"],
            cwd=self.folder, stdout=theirs, stderr=subprocess.DEVNULL)
        self.addCleanup(run.kill)
        os.close(theirs)
        with open(ours, encoding="utf-8") as capture:
            next(line for line in capture if '"sample"' in line)  # the command has been started
            self.wait_for(lambda: "ended" in self.files())
            # The thread that samples is gone; the one that writes waits for us.
            self.wait_for(lambda: len(os.listdir(f"/proc/{run.pid}/task")) == 2)
            late = os.path.join(self.folder, "late")
            os.symlink("/bin/true", late)
            subprocess.run([late], check=True)
            settled = time.monotonic() + 0.1  # events are taken when they are 10 ms old
            self.wait_for(lambda: time.monotonic() > settled)
            written = capture.read()
        self.assertEqual(run.wait(60), 0)
        self.assertIn("/bin/true", written)
        self.assertNotIn(late, written)

    def test_record_reports_the_machine(self):
        for name, text in (("type", "dead\n"), ("temp", "")):
            path = os.path.join("tree/sys/class/thermal/thermal_zone1", name)
            os.makedirs(os.path.dirname(os.path.join(self.folder, path)), exist_ok=True)
            self.write(path, text)
        done = self.run_tavrin("record", "--sysroot", "tree", "-d", "0.25", "-i", "10",
                               "-o", "run", "-f", "thermal,interrupts")
        self.assertRegex(done.stderr, r"samples in \d+\.\d\d s; lateness")
        self.assertIn("wrote run.csv", done.stderr)
        self.assertEqual(self.files(), ["run.csv"])
        rows = list(csv.reader(self.report("run.csv").splitlines(), skipinitialspace=True))
        table = [[cell.strip() for cell in row] for row in rows]
        self.assertIn(["Processor: Example CPU", "3 GHz"], table)
        zone = next(row for row in table if row and row[0].startswith("soc"))
        self.assertEqual(zone[1:4], ["-1.50", "-1.50", "-1.50"])
        self.assertGreaterEqual(int(zone[4]), 3)
        self.assertIn(["dead (thermal_zone1)", "n/a", "n/a", "n/a", "0"], table)
        self.assertIn("warning: metric 'Temperature' has no value of dead (thermal_zone1)\n", done.stderr)
        self.assertIn(["Interrupts", "0.00", "0"], table)

    def test_the_exit_status_is_the_commands_own(self):
        record = ["record", "--sysroot", "tree", "-o", "run", "-f", "thermal"]
        for command, status in ((["true"], 0), (["sh", "-c", "exit 3"], 3),
                                (["sh", "-c", "kill -9 $$"], 137)):
            self.run_tavrin(*record, "--", *command, status=status)
            self.assertIn("Temperature", self.report("run.csv"))
            os.remove(os.path.join(self.folder, "run.csv"))
        done = self.run_tavrin(*record, "--", "no-such-command", status=127)
        self.assertIn("cannot start 'no-such-command': No such file", done.stderr)
        self.assertEqual(self.files(), [], "nothing is written for a command that is not there")
        self.run_tavrin(*record, "-d", "0.2", "--", "sleep", "60", status=143)
        with open(os.path.join(self.folder, "broken"), "w") as file:
            os.fchmod(file.fileno(), 0o755)
            file.write("#!/no/such/shell\n")
        done = self.run_tavrin(*record, "--", "./broken", status=127)
        self.assertIn("cannot start './broken': No such file", done.stderr)

    def test_outputs_that_cannot_be_written(self):
        record = ["record", "--sysroot", "tree", "-f", "thermal", "-d", "0.1"]
        done = self.run_tavrin(*record, "-o", "/proc/no/run", status=1)
        self.assertIn("cannot make the folder /proc/no: ", done.stderr)
        os.mkdir(os.path.join(self.folder, "taken.csv"))
        done = self.run_tavrin(*record, "-o", "taken", status=1)
        self.assertIn("WARNING: Could not create taken.csv", done.stderr)
        done = self.run_tavrin(*record, "--capture", "/dev/full", status=1)
        self.assertIn("the capture /dev/full is incomplete", done.stderr)
        self.assertIn("wrote tavrin.csv", done.stderr)
        self.assertEqual(self.files(), ["taken.csv", "tavrin.csv"])

    def test_what_joins_during_a_run_is_in_all_outputs(self):
        records = [{"type": "tavrin-stream", "version": 2}, {"type": "system", "clockMHz": 1000},
                   {"type": "quantity", "id": 1, "kind": "rate", "name": "Rate", "units": "/s"},
                   {"type": "quantity", "id": 2, "kind": "count", "name": "Count", "rate": 1}]
        kinds = ("delta", "value", "residency", "transition", "event")
        for name, first in (("first", 10), ("late", 20)):
            records += [{"type": "entity", "id": first, "name": name + "-disk"},
                        {"type": "descriptor", "id": first + 1, "name": name + "-count"}]
            if name == "first":
                records += [{"type": "metric", "id": 30 + i, "container": 1, "name": kind,
                             "feature": "disk", "kind": kind, "quantity": 2,
                             "combinations": [[10, 11]]} for i, kind in enumerate(kinds)]
            records += [{"type": "sample", "metric": 30 + i, "time": first * 10 ** 8,
                         "elements": [[5, first, first + 1, 10 ** 9]]} for i in range(len(kinds))]
        records.append({"type": "stop", "timestamp": 3 * 10 ** 9, "durationSec": 3})
        self.write("in.jsonl", "".join(json.dumps(record) + "\n" for record in records))
        self.run_tavrin("report", "-w", "all", "-o", "run", "in.jsonl")
        for output in self.files():
            with open(os.path.join(self.folder, output), "rb") as file:
                content = file.read()
            for name in (b"first-disk", b"late-disk", b"late-count"):
                self.assertIn(name, content, output)
        for kind in kinds:
            self.assertEqual(len(re.findall(rf"(?m)^{kind} - late-disk", self.report("run_trace.csv"))),
                             2 if kind in ("delta", "residency") else 1, kind)

    def test_a_run_that_fails_leaves_the_last_good_file_alone(self):
        lines = read(STREAM).splitlines(keepends=True)
        self.write("bad.jsonl", "".join(lines[:-5]) + '{"type":"sample",\n' + lines[-1])
        self.write("garbage.jsonl", "nothing of the kind\n")
        self.write("headless.jsonl", lines[0])
        for name in ("run.csv", "run.pwr", "Automation_Summary.csv"):
            self.write(name, "of an earlier run")
        for stream in ("garbage.jsonl", "headless.jsonl", "no-such.jsonl", "."):
            before = self.files()
            self.run_tavrin("report", "-w", "all", "-o", "run", stream, status=1)
            self.assertEqual(self.files(), before, stream)
        done = self.run_tavrin("report", "-w", "all", "-o", "run", "bad.jsonl", status=1)
        self.assertIn(f"error: bad.jsonl:{len(lines) - 4}: ", done.stderr)
        self.assertIn("incomplete: run.csv.incomplete run.pwr.incomplete", done.stderr)
        self.assertNotIn("wrote", done.stderr)
        for name in ("run.csv", "run.pwr", "Automation_Summary.csv"):
            self.assertEqual(self.report(name), "of an earlier run")
        self.assertIn("Summary: ", self.report("run.csv.incomplete"))

    def test_the_replay_of_a_file_that_was_stopped_is_incomplete(self):
        lines = read(STREAM).splitlines(keepends=True)
        samples = [line for line in lines if line.startswith('{"type":"sample"')]
        self.write("long.jsonl", "".join(lines[:-1]) + "".join(samples) * 1000)
        before = self.files()
        process = self.start("report", "-o", "run", "long.jsonl")
        self.wait_for(lambda: self.files() != before)
        process.send_signal(signal.SIGTERM)
        _, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 143, errors)
        self.assertIn("error: long.jsonl: stopped by a signal before its end", errors)
        self.assertIn("incomplete: run.csv.incomplete", errors)
        self.assertEqual(self.files(), sorted([*before, "run.csv.incomplete"]))

    def test_an_output_is_nothing_else(self):
        for name in ("in.csv", "in.jsonl"):
            self.write(name, read(STREAM))
        os.link(os.path.join(self.folder, "in.jsonl"), os.path.join(self.folder, "hard.csv"))
        os.symlink("in.jsonl", os.path.join(self.folder, "soft.csv"))
        record = ["record", "--sysroot", "tree", "-f", "thermal", "-d", "0.1"]
        for arguments, also in (
                (["report", "-o", "in", "in.csv"], "the input"),
                (["report", "-o", "hard", "in.jsonl"], "the input"),
                (["report", "-o", "soft", "in.jsonl"], "the input"),
                (["report", "-w", "sum,auto", "-o", "Automation_Summary", "in.jsonl"],
                 "the output Automation_Summary.csv"),
                ([*record, "-o", "run", "--capture", "run.csv"], "the capture"),
                ([*record, "-o", "soft", "--capture", "in.jsonl"], "the capture"),
                ([*record, "--continuous", "1", "-w", "bin", "-o", "run", "--capture",
                  "./run_12.ztbin"], "the capture")):
            with self.subTest(arguments):
                before = self.files()
                done = self.run_tavrin(*arguments, status=2)
                self.assertIn(" is also " + also, done.stderr)
                self.assertEqual(self.files(), before)
        with open(os.path.join(self.folder, "in.csv")) as stream:
            self.run_tavrin("report", "-o", "in", "-", status=2, stdin=stream)
        self.assertEqual(self.report("in.jsonl"), read(STREAM))
        done = self.run_tavrin(*record, "-o", "console", "--capture", "-", status=2)
        self.assertIn("both print to standard output", done.stderr)

    def test_base_names(self):
        done = self.run_tavrin("report", "-w", "sum,raw", "-o", "new/er/run.txt", STREAM)
        self.assertIn("the base name of the outputs is 'new/er/run'", done.stderr)
        self.assertEqual(sorted(os.listdir(os.path.join(self.folder, "new/er"))),
                         ["run.csv", "run.txt"])
        for wrong in ("", ".", "new/", "new/er/.."):
            self.run_tavrin("report", "-o", wrong, STREAM, status=2)
        odd = os.fsdecode(b"\xff\x1b,\"")
        self.run_tavrin("report", "-w", "all", "-o", odd, STREAM)
        self.assertEqual(sum(name.startswith(odd) for name in self.files()), len(os.listdir(GOLDEN)) - 1)
        read(os.path.join(self.folder, "Automation_Summary.csv")).encode("utf-8", "strict")

    def test_options_without_effect_are_told(self):
        done = self.run_tavrin("report", "--continuous", "--debug", "nope", "--debug", "iter", STREAM)
        self.assertIn("warning: --continuous has no effect: ", done.stderr)
        self.assertIn("warning: --debug nope has no effect; channels are: text-writer-plugin", done.stderr)
        self.assertNotIn("--debug iter", done.stderr)

    def test_numbered_files_of_an_earlier_run_are_in_the_way(self):
        sample = '{"type":"sample","metric":1,"time":%d,"elements":[1]}\n{"type":"flush"}\n'
        self.write("five.jsonl", '{"type":"tavrin-stream","version":1}\n'
                   '{"type":"system","clockMHz":1000}\n{"type":"metric","id":1,"name":"M"}\n'
                   + "".join(sample % time for time in range(5)))
        done = self.run_tavrin("report", "-w", "bin", "--continuous", "-o", "run", "five.jsonl")
        self.assertIn("tavrin: wrote run_0 … run_4.ztbin\n", done.stderr)
        before = self.files()
        record = ["record", "--sysroot", "tree", "-f", "thermal", "-d", "0.1", "-w", "bin",
                  "--continuous", "1", "-o", "run"]
        done = self.run_tavrin(*record, status=1)
        self.assertIn("(--force removes them): run_0 … run_4.ztbin", done.stderr)
        self.assertEqual(self.files(), before)
        done = self.run_tavrin(*record, "--force")
        self.assertIn("removed run_0 … run_4.ztbin", done.stderr)
        self.assertEqual(self.files(), ["five.jsonl", "run_0.ztbin"])
        self.run_tavrin("record", "--force", "-d", "1", status=2)

    def test_a_capture_is_a_journal(self):
        process = self.start("record", "--sysroot", "tree", "-f", "thermal", "-i", "20",
                             "--capture", "c.jsonl", "-o", "run")
        path = os.path.join(self.folder, "c.jsonl")
        def lasts():
            times = re.findall(r'"type":"sample","metric":\d+,"time":(\d+)', read(path))
            return int(times[-1]) - int(times[0]) if times else 0
        self.wait_for(lambda: os.path.exists(path) and lasts() > 0)
        begun, before = time.monotonic(), lasts()
        self.wait_for(lambda: time.monotonic() > begun + 2)
        process.kill()
        slept = time.monotonic() - begun
        process.communicate()
        self.assertGreater(lasts() - before, (slept - 1) * 1e9)
        self.assertNotIn("run.csv", self.files())
        self.run_tavrin("report", "-o", "again", "c.jsonl")
        with open(path, "a") as file:
            file.write('{"type":"sample","metric":')
        done = self.run_tavrin("report", "-o", "cut", "c.jsonl")
        lines = len(self.report("c.jsonl").splitlines())
        self.assertIn(f"warning: c.jsonl:{lines}: the stream ends within this record", done.stderr)
        self.assertEqual(self.report("cut.csv"), self.report("again.csv"))

    def test_a_packed_capture_is_a_journal(self):
        record = ["record", "--sysroot", "tree", "-f", "thermal", "-i", "20", "-o", "run"]
        for ending in ("gz", "zst"):
            with self.subTest(ending):
                name = "c.jsonl." + ending
                self.run_tavrin(*record, "-d", "0.2", "--capture", name)
                self.run_tavrin("report", "-o", "again", name)
                self.assertEqual(self.report("again.csv"), self.report("run.csv"))
                process = self.start(*record, "--capture", name)
                path = os.path.join(self.folder, name)
                for _ in range(3):  # what comes first, and two frames
                    size = os.path.getsize(path) if os.path.exists(path) else 0
                    self.wait_for(lambda: os.path.exists(path) and os.path.getsize(path) > size)
                process.kill()
                process.communicate()
                self.run_tavrin("report", "-o", "killed", name)
                duration = re.search(r"Collection duration: ([0-9.]+) s", self.report("killed.csv"))
                self.assertGreater(float(duration[1]), 0.6)
                with open(path, "rb") as file:
                    whole = file.read()
                with open(path, "wb") as file:
                    file.write(whole[:-7])
                self.run_tavrin("report", "-o", "cut", name)

    def test_tables_of_processes_and_of_the_command_are_replayed(self):
        self.run_tavrin("record", "-f", "process,command,interrupts", "-i", "20", "-w", "all",
                        "-o", "live", "--capture", "c.jsonl", "--", "sh", "-c",
                        "i=0; while [ $i -lt 20000 ]; do i=$((i+1)); done; (exit 4)", status=4)
        self.run_tavrin("report", "-w", "all", "-o", "again", "c.jsonl")
        live = self.report("live.csv")
        for text in ("\nCommand Summary\n", "\nExit Status ", ", 4 ", "\nProcess Summary: Lifetimes\n"):
            self.assertIn(text, live)
        self.assertEqual(live, self.report("again.csv"))
        stop = json.loads(self.report("c.jsonl").splitlines()[-1])
        self.assertIn("sh", [process.get("name") for process in stop["processes"]])

    def test_a_capture_is_whole_before_the_command_is_waited_for(self):
        process = self.start("record", "--sysroot", "tree", "-f", "thermal", "-d", "0.1",
                             "--capture", "c.jsonl", "--", "sh", "-c",
                             "trap '' TERM; echo $$ > pid; exec sleep 60")
        path = os.path.join(self.folder, "c.jsonl")
        self.wait_for(lambda: os.path.exists(path) and '"type":"stop"' in read(path))
        os.kill(int(self.report("pid")), signal.SIGKILL)  # fails when it has ended
        process.communicate()

    def test_a_capture_does_not_follow_a_planted_link(self):
        self.write("victim", "untouched")
        os.symlink("victim", os.path.join(self.folder, "c.jsonl"))
        os.symlink("/dev/null", os.path.join(self.folder, "null"))
        record = ["record", "--sysroot", "tree", "-f", "thermal", "-d", "0.1", "--capture"]
        done = self.run_tavrin(*record, "c.jsonl", status=1)
        self.assertIn("cannot write the capture c.jsonl: it is a link to a file", done.stderr)
        self.assertEqual(self.report("victim"), "untouched")
        self.assertNotIn("tavrin.csv", self.files())
        self.run_tavrin(*record, "null")

    def test_signals_end_the_collection_and_complete_the_outputs(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number):
                for attempt in range(10):
                    process = self.start("record", "--sysroot", "tree", "-f", "thermal", "-i", "20")
                    self.wait_for(lambda: self.blocks_signals(process))
                    begun = time.monotonic()
                    process.send_signal(number)
                    process.send_signal(number)  # as the tool timeout does
                    time.sleep(0.05)
                    process.send_signal(signal.SIGINT)
                    late = time.monotonic() - begun > 0.15  # on a busy machine: a second request
                    _, errors = process.communicate(timeout=60)
                    if not late:
                        break
                self.assertEqual(process.returncode, 0, errors)
                self.assertIn("Temperature", self.report("tavrin.csv"))

    def test_a_signal_ends_a_live_input(self):
        fifo = os.path.join(self.folder, "fifo")
        os.mkfifo(fifo)
        for source, number in (("-", signal.SIGINT), ("fifo", signal.SIGTERM)):
            with self.subTest(source):
                before = self.files()
                process = self.start("report", "-o", "run", source, stdin=subprocess.PIPE)
                stream = open(fifo, "w") if source == "fifo" else process.stdin
                stream.write(read(STREAM))
                stream.flush()
                self.wait_for(lambda: self.files() != before)
                process.send_signal(number)
                self.assertEqual(process.wait(timeout=60), 128 + number)
                stream.close()
                process.stdin.close()
                process.stdin = None
                process.communicate()
                self.assertIn("Summary: ", self.report("run.csv"))
                os.remove(os.path.join(self.folder, "run.csv"))
        process = self.start("report", "fifo")  # which nobody writes to
        self.wait_for(lambda: self.blocks_signals(process))
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=60), 130)
        process.communicate()
        self.assertEqual(self.files(), ["fifo"])

    def test_a_second_signal_aborts(self):
        with open(os.path.join(self.folder, "tavrin.csv"), "w") as file:
            file.write("the last good one")
        # The command ignores the request to end, so that the run waits for it.
        process = self.start("record", "--sysroot", "tree", "-f", "thermal", "--",
                             "sh", "-c", "trap '' TERM; echo ready; sleep 20 & wait; wait")
        self.assertEqual(process.stdout.readline(), "ready\n")
        process.send_signal(signal.SIGTERM)
        while "waiting up to 5 s for 'sh'" not in (line := process.stderr.readline()):
            self.assertNotEqual(line, "", "the command ended")
        self.assertIsNone(process.poll())
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=10), 130)
        process.stdout.close()
        self.assertIn("aborted", process.stderr.read())
        process.stderr.close()
        self.assertEqual(self.files(), ["tavrin.csv"])
        self.assertEqual(self.report("tavrin.csv"), "the last good one")

    def test_replay_repeats_the_live_outputs(self):
        self.run_tavrin("record", "-w", "all", "-i", "20", "-o", "live", "--capture",
                        "live.jsonl", "--", "sleep", "0.3")
        self.assert_replayed()

    def test_a_cpu_and_a_zone_that_join_are_in_all_outputs(self):
        cpu = "sys/devices/system/cpu/cpu{}/"
        idle = cpu + "cpuidle/state1/"
        self.write_tree({idle.format(0) + "name": "C1\n", idle.format(0) + "time": "0\n",
                         idle.format(0) + "usage": "0\n"})
        process = self.start("record", "--sysroot", "tree", "-f", "core-cstate,cpu-time,thermal",
                             "-w", "all", "-i", "20", "-o", "live", "--capture", "live.jsonl")
        captured = lambda text: os.path.exists(self.path("live.jsonl")) and (
            text in self.report("live.jsonl"))
        self.wait_for(lambda: captured('"sample"'))
        self.write_tree({
            "proc/stat": TREE["proc/stat"].replace("intr", "cpu1 1 0 1 1 0 0 0 0 0 0\nintr"),
            idle.format(1) + "name": "C1\n", idle.format(1) + "time": "7\n",
            idle.format(1) + "usage": "7\n", cpu.format(1) + "topology/core_id": "4\n",
            cpu.format(1) + "topology/physical_package_id": "1\n"})
        zone = "sys/class/thermal/thermal_zone1/"
        self.write_tree({"sys/devices/system/cpu/online": "0-1\n",
                         zone + "temp": "5000\n", zone + "type": "late\n"})
        self.wait_for(lambda: captured('"CPU1"') and captured('"late (thermal_zone1)"'))
        process.send_signal(signal.SIGINT)
        _, problems = process.communicate()
        self.assertEqual(process.returncode, 0, problems)
        for name in set(self.files()) - {"live_phm_events.csv"}:
            content = read(self.path(name), "rb")
            self.assertIn(b"CPU1", content, name)
            self.assertIn(b"late (thermal_zone1)", content, name)
        self.assertRegex(self.report("live.txt"), "Package1/Core4/CPU1 C1")
        self.assert_replayed()

    def assert_replayed(self):
        self.run_tavrin("report", "-w", "all", "-o", "again", "live.jsonl")
        live = [name for name in self.files() if name.startswith("live") and name != "live.jsonl"]
        self.assertIn("live.csv", live)
        for name in live:
            again = name.replace("live", "again")
            if name.endswith(".pwr"):
                self.assertEqual(self.records(name), self.records(again))
            else:
                self.assertEqual(read(os.path.join(self.folder, name), "rb"),
                                 read(os.path.join(self.folder, again), "rb"))

    def test_a_sleep_that_ends_with_a_run_of_short_intervals(self):
        state = os.path.join(self.folder, "tree/sys/devices/system/cpu/cpu0/cpuidle/state0")
        os.makedirs(state)
        for name, text in (("name", "C6"), ("time", "0"), ("usage", "0")):
            with open(os.path.join(state, name), "w") as file:
                file.write(text)
        self.run_tavrin("record", "--sysroot", "tree", "-f", "core-cstate", "-i", "10", "-o", "live",
                        "-w", "sum,int", "--capture", "live.jsonl", "--", "sh", "-c",
                        f"sleep 1; echo 1000000 > {state}/time")
        row = next(line for line in self.report("live.csv").splitlines() if line.startswith("CPU0"))
        busy, percentage, _, milliseconds = map(float, row.split(",")[1:])
        self.assertAlmostEqual(busy, 100 - percentage, delta=0.02)
        self.assertGreater(milliseconds, 950)
        seconds = float(re.search(r"Collection duration: (\S+) s", self.report("live.csv"))[1])
        self.assertAlmostEqual(percentage, milliseconds / seconds / 10, delta=1)
        self.assertLessEqual(percentage, 100)
        self.assertNotRegex(self.report("live_trace.csv"), r"(?m), [2-9]\d\.")
        self.run_tavrin("report", "-w", "sum,int", "-o", "again", "live.jsonl")
        for name in ("live.csv", "live_trace.csv"):
            self.assertEqual(self.report(name), self.report(name.replace("live", "again")))

    def test_replay_from_a_pipe(self):
        recorder = subprocess.Popen(
            [TAVRIN, "record", "-q", "--sysroot", "tree", "-f", "thermal", "-o", "one",
             "--capture", "-", "-d", "0.1"], cwd=self.folder, stdout=subprocess.PIPE)
        self.run_tavrin("report", "-o", "two", "-", stdin=recorder.stdout)
        recorder.stdout.close()
        self.assertEqual(recorder.wait(timeout=60), 0)
        self.assertEqual(self.report("one.csv"), self.report("two.csv"))

    def test_a_reader_that_goes_away_loses_no_report(self):
        process = self.start("record", "--sysroot", "tree", "-f", "thermal", "-i", "1",
                             "--capture", "-", "-d", "2")
        process.stdout.close()
        self.assertEqual(process.wait(timeout=60), 1)
        self.assertIn("capture", process.stderr.read())
        process.stderr.close()
        self.assertIn("Temperature", self.report("tavrin.csv"))

    def test_recorded_stream_gives_the_expected_files(self):
        self.run_tavrin("report", "-w", "all", "-o", "recorded", STREAM)
        self.assertEqual(self.files(), sorted(os.listdir(GOLDEN)) if not ACCEPT else self.files())
        for name in self.files():
            now, expected = os.path.join(self.folder, name), os.path.join(GOLDEN, name)
            if ACCEPT:
                os.makedirs(GOLDEN, exist_ok=True)
                with open(expected, "wb") as file:
                    file.write(read(now, "rb"))
            self.assertEqual(read(now, "rb"), read(expected, "rb"), name)

    def test_the_pages_streams_work(self):
        pages = os.path.join(TESTS, "..", "docs", "formats")
        streams = [(page, text) for page in sorted(os.listdir(pages)) if page.endswith(".md")
                   for text in re.findall(r'(?ms)^```\n(\{"type":"tavrin-stream".*?)^```',
                                          read(os.path.join(pages, page)))]
        self.assertGreaterEqual(len(streams), 3)
        for page, text in streams:
            with self.subTest(page):
                done = self.run_tavrin("report", "-w", "all", "-o", page, "-", input=text)
                self.assertNotIn("warning", done.stderr.lower())

    def test_the_page_of_the_recorded_stream_is_true(self):
        page = read(os.path.join(TESTS, "..", "docs", "formats", "recorded-stream.md"))
        for language, name in (("", "room.jsonl"), ("python", "load.py")):
            with open(os.path.join(self.folder, name), "w") as file:
                file.write(re.search(rf"(?ms)^```{language}\n(.*?)^```", page).group(1))
        path = os.path.dirname(TAVRIN) + os.pathsep + os.environ["PATH"]
        for command in re.findall(r"(?ms)^```sh\n(.*?)^```", page):
            done = subprocess.run(["bash", "-o", "pipefail", "-c", command], cwd=self.folder, text=True,
                                  capture_output=True, timeout=60, env=os.environ | {"PATH": path})
            self.assertEqual((done.returncode, "warning" in done.stderr.lower()), (0, False),
                             done.stderr)
        self.assertRegex(self.report("room.csv"), r"\nAir , 21.50 +, 21.88 +, 22.25 +, 2 ")
        self.assertRegex(self.report("room_trace.csv"),
                         r"\n +1, +0.00, +1000.00, +21.50\n +2, +1000000.00, +1000.00, +22.25\n")
        self.assertIn('"points":[{"x":0,"x1":1000000,"y":21.5},{"x":1000000,"x1":2000000,"y":22.25}]',
                      self.report("room.ztjson"))
        self.assertIn("1000000000\t1e+06\tRoom\tRoom\tAir\t22.25\n",
                      self.run_tavrin("inspect", "--points", "room.ztbin").stdout)
        self.assertIn("\ndata\t1000000000\tMETRIC=Room\tFIELD=Air\tQUANTITY=Temperature\t"
                      "REAL=22.25\tDURATION=1000000000\n", self.records("room.pwr"))
        self.assertRegex(self.report("load.csv"), r"Load of the machine\n\nLoad Summary: ")
        self.assertEqual(self.report("load_trace.csv").count("\n       3, "), 1)

    def test_times_are_ticks_of_the_timestamp_clock(self):
        for tsc, warned in (("", 0), (',"tscMHz":1000.75', 0), (',"tscMHz":1001', 1),
                            (',"tscMHz":0.5', 1), (',"tscMHz":{"real":"nan"}', 1)):
            with self.subTest(tsc):
                stream = CLOCK_STREAM.replace(',"tscMHz":1.0', tsc)
                done = self.run_tavrin("report", "-w", "all", "-o", "run", "-", input=stream)
                self.assertEqual(done.stderr.count("the time stamp counter runs at"), warned)
                self.assertRegex(self.report("run.csv"), r"CPU0, 25.00 *, 500.00 ")
                self.assertRegex(self.report("Automation_Summary.csv"), r",3.5,25.00,500.00,\n")
                self.assertRegex(self.report("run_trace.csv"), r" 1500000.00, +2000.00, ")
                self.assertIn('"x":1500000,"x1":3500000,', self.report("run.ztjson"))
                points = self.run_tavrin("inspect", "--points", "run.ztbin").stdout
                self.assertIn("\n1500000000\t2e+06\tIdle\t", points)
                records = self.records("run.pwr")
                self.assertIn("\nhardware\ttscHz=1000000000\t", records)
                self.assertIn("\nfrequency\tcpuMHz=0\n", records)
                os.remove(os.path.join(self.folder, "Automation_Summary.csv"))

    def test_every_writer_gives_the_same_file_alone(self):
        listed = self.run_tavrin("list", "writers").stdout
        own = listed.split("\nOf ")[1]
        writers = re.findall(r"(?m)^  (\S+) +\S*\.\w+ ", own)
        self.assertEqual(len(writers), 8, listed)
        for writer in writers:
            self.run_tavrin("report", "-w", writer, "-o", "recorded", STREAM)
        self.assertEqual(self.files(), sorted(os.listdir(GOLDEN)))
        for name in self.files():
            self.assertEqual(read(os.path.join(self.folder, name), "rb"),
                             read(os.path.join(GOLDEN, name), "rb"), name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + SELECTED, verbosity=2)
