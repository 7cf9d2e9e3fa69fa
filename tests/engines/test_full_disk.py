"""A recording that ships while the disk of its folder is full and the engine is away: only what had no
place is lost, it is told, and everything else arrives once."""

import errno
import glob
import json
import os
import shutil
import signal
import subprocess
import unittest

import engine
from command_support import TAVRIN, TavrinTest, read
from engine import VictoriaMetrics, needs, wait_until
from gate import Gate
from line_protocol import points

# A disk that is gone with the process that has it.
OWN_DISK = ["unshare", *["--map-root-user"] * (os.geteuid() != 0), "--mount", "sh", "-c",
            'mount -t tmpfs -o size=400k tavrin "$0" && exec "$@"']


def can_mount():
    with_disk = [*OWN_DISK, "/mnt", "true"]
    return shutil.which("unshare") and subprocess.run(with_disk, capture_output=True).returncode == 0


@needs(VictoriaMetrics, "lines", "ship")
@unittest.skipUnless(can_mount(), "a disk of its own (unshare, mount) is not allowed here")
class FullDisk(TavrinTest):
    def setUp(self):
        super().setUp()
        self.engine = VictoriaMetrics()
        self.addCleanup(self.engine.close)
        self.gate = Gate(self.engine.port)
        self.addCleanup(self.gate.shut)
        self.gate.shut()
        os.mkdir(self.path("queue"))
        self.log = open(self.path("log"), "w")
        self.addCleanup(self.log.close)
        self.recording = engine.start(
            [*OWN_DISK, self.path("queue"), TAVRIN, "record", "-f", "cpu-time,memory", "-i", "20ms",
             "--continuous", "1", "--ship", self.gate.url + "/write", "--ship-retry-max", "1s",
             "-o", self.path("queue/run"), "--capture", self.path("run.jsonl")], stderr=self.log)
        self.addCleanup(self.recording.wait)
        self.addCleanup(self.recording.kill)
        self.disk = f"/proc/{self.recording.pid}/root{self.path('queue')}"

    def finished(self):
        self.assertIsNone(self.recording.poll(), self.report("log"))
        return set(glob.glob(self.disk + "/*.lp.gz"))

    def fill(self):
        """Leaves no byte."""
        with open(self.disk + "/filler", "wb", buffering=0) as file:
            for size in (65536, 4096, 1):
                try:
                    while file.write(b"x" * size):
                        pass
                except OSError as error:
                    self.assertEqual(error.errno, errno.ENOSPC)

    def test_nothing_else_is_lost(self):
        wait_until(lambda: len(self.finished()) >= 2, "files")
        before = self.finished()
        known = [point for path in before for point in points(path)]
        last = max(time for *_, time, _ in known)
        self.fill()
        wait_until(lambda: "No space left" in self.report("log"), "the recording to tell")
        full = self.finished()
        os.unlink(self.disk + "/filler")
        new, *_ = wait_until(lambda: sorted(self.finished() - full), "a file after that")
        after = list(points(new))
        self.gate.open()
        wait_until(lambda: self.missing(known + after) == set(), "what was written")
        self.recording.send_signal(signal.SIGINT)
        self.assertEqual(self.recording.wait(timeout=engine.DEADLINE), 1, self.report("log"))
        self.check_capture(last, min(time for *_, time, _ in after))

    def missing(self, known):
        """Of points of files, what the engine does not have."""
        found = self.engine.points()
        keys = {(f"{measurement}_{field}", tags, time // 10**6)
                for measurement, tags, field, time, _ in known}
        return keys - found.keys()

    def check_capture(self, last, first):
        """Of what was recorded until the disk was full, all of it is in the engine, once; what lies
        between is lost in part."""
        times = {time for _, _, time in self.engine.points()}
        start, zero = 0, 0
        for record in map(json.loads, read(self.path("run.jsonl")).splitlines()):
            if record["type"] == "system":
                start, zero = record["startTimeNs"], record["startTimestamp"]
            if record["type"] != "sample":
                continue
            time = start + record["time"] - zero
            if time <= last or time == first:
                self.assertIn(time // 10**6, times)
        self.assertRegex(self.report("log"), r"(?i)incomplete|not complete")
