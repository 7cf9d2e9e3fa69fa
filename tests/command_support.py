"""What the tests of the tavrin command share. The arguments of such a test are TAVRIN TESTS_FOLDER."""

import contextlib
import fcntl
import os
import pty
import re
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest

TAVRIN, TESTS = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
STREAM = os.path.join(TESTS, "data", "recorded.jsonl")

TREE = {
    "proc/stat": "cpu  1 2 3 4\ncpu0 10 0 5 100 0 0 0 0 0 0\nintr 5 1\nctxt 7\nprocesses 3\n",
    "proc/cpuinfo": "processor\t: 0\nmodel name\t: Example CPU, 3 GHz\n",
    "proc/sys/kernel/hostname": "example\n",
    "sys/devices/system/cpu/online": "0\n",
    "sys/devices/system/cpu/cpu0/topology/core_id": "0\n",
    "sys/devices/system/cpu/cpu0/topology/physical_package_id": "0\n",
    "sys/class/thermal/thermal_zone0/type": "soc\n",
    "sys/class/thermal/thermal_zone0/temp": "-1500\n",
}


def read(path, mode="r"):
    with open(path, mode) as file:
        return file.read()


class TavrinTest(unittest.TestCase):
    """Has a folder of its own, with a copy of a small machine's files in it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.write_tree(TREE)

    def write_tree(self, files):
        for path, text in files.items():
            path = os.path.join(self.folder, "tree", path)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w") as file:
                file.write(text)

    def write(self, name, text):
        with open(os.path.join(self.folder, name), "w") as file:
            file.write(text)

    def start(self, *arguments, **options):
        return subprocess.Popen([TAVRIN, *arguments], cwd=self.folder, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)

    def run_tavrin(self, *arguments, status=0, **options):
        done = subprocess.run([TAVRIN, *arguments], cwd=self.folder, text=True,
                              capture_output=True, timeout=120, **options)
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def run_on_terminal(self, command, terminal, lines=0, columns=0):
        ours, theirs = pty.openpty()
        fcntl.ioctl(ours, termios.TIOCSWINSZ, struct.pack("HHHH", lines, columns, 0, 0))
        subprocess.run(command, cwd=self.folder, stdout=theirs, stderr=theirs,
                       env={**os.environ, "TERM": terminal}, timeout=60)
        os.close(theirs)
        printed = b""
        with contextlib.suppress(OSError):  # how a terminal ends
            while piece := os.read(ours, 65536):
                printed += piece
        os.close(ours)
        return printed

    def wait_for(self, condition):
        deadline = time.monotonic() + 60
        while not condition():
            self.assertLess(time.monotonic(), deadline, "waited for too long")
            time.sleep(0.01)

    @staticmethod
    def blocks_signals(process):
        """Whether the command has come so far that it handles them."""
        blocked = re.search(r"SigBlk:\s*(\w+)", read(f"/proc/{process.pid}/status"))[1]
        return int(blocked, 16) & 1 << (signal.SIGINT - 1)

    def files(self):
        return sorted(name for name in os.listdir(self.folder) if name != "tree")

    def path(self, name):
        return os.path.join(self.folder, name)

    def report(self, name):
        return read(self.path(name))

    def records(self, name):
        """Every record of a timeline file, without the ids, which differ from process to process."""
        text = self.run_tavrin("inspect", "--records", name).stdout
        return re.sub(r"(?m)^info\t\d+|\d+ (?=\()", "", text.replace(name, ""))
