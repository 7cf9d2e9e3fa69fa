"""The commands and the arithmetic of docs/fleet.md."""

import os
import re
import shlex
import shutil
import signal
import socket
import sqlite3
import subprocess
import unittest

import engine
from command_support import TAVRIN, TESTS, TavrinTest, read
from engine import VictoriaMetrics, needs, wait_until

PAGE = os.path.join(TESTS, "..", "docs", "fleet.md")
FOLDERS = ("/var/lib/tavrin", "/var/tmp", "/etc/tavrin")
ADDRESS = "127.0.0.1:8428"


def blocks(heading, language="sh"):
    """The commands, or other texts, below a heading of the page."""
    text = re.search(rf"(?ms)^## {re.escape(heading)}\n(.*?)(?=^## |\Z)", read(PAGE))[1]
    return re.findall(rf"(?ms)^```{language}\n(.*?)^```$", text)


def engine_options(command):
    """What the page starts the engine with, without what each engine here has of its own."""
    return [option for option in shlex.split(command)[1:]
            if not option.startswith(("-httpListenAddr", "-storageDataPath"))]


class SecuredEngine(VictoriaMetrics):
    """One that only those with a certificate and a password can ask."""

    secured = True

    def answers(self):
        if not self.secured:
            return super().answers()
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", self.port)) == 0

    def open_to_all(self):
        """The same data, started again without all that."""
        self.secured, self.options = False, VictoriaMetrics.options
        self.start()


class Arithmetic(unittest.TestCase):
    """What the page computes follows from what it says was measured."""

    SERIES = 300  # of a machine, a point of each a second
    UNITS = {"kB/s": 1e3, "MB/s": 1e6, "GB a day": 1e9}

    def rows(self, heading):
        """The rows of a table below a heading: the first cell and the numbers of the others."""
        section = re.search(rf"(?ms)^## {re.escape(heading)}\n(.*?)(?=^## |\Z)", read(PAGE))[1]
        for line in re.findall(r"(?m)^\| [^|-].*\|$", section)[1:]:
            name, *cells = (cell.strip() for cell in line.strip("|").split("|"))
            yield name, [self.number(cell) for cell in cells]

    def number(self, cell):
        digits, unit = re.match(r"([\d.,]+) ?(.*)", cell).groups()
        return float(digits.replace(",", "")) * self.UNITS.get(unit, 1)

    def test_fleets(self):
        costs = dict(self.rows("What it costs"))
        nanoseconds, stored = costs["VictoriaMetrics 1.79"]
        _, sent = costs["`tavrin record --ship`, once a second"]
        fleets = list(self.rows("From ten machines to ten thousand"))
        self.assertEqual(len(fleets), 4)
        for machines, (series, points, network, processors, disk) in fleets:
            count = self.number(machines) * self.SERIES
            self.assertEqual((series, points), (count, count))
            for told, computed in ((network, count * sent), (processors, count * nanoseconds / 1e9),
                                   (disk, count * stored * 86400)):
                self.assertAlmostEqual(told / computed, 1, delta=0.05, msg=machines)


@needs(VictoriaMetrics, "lines", "ship")
class Guide(TavrinTest):
    def setUp(self):
        super().setUp()
        for folder in (*FOLDERS, "/bin"):
            os.makedirs(self.path(folder[1:]))
        os.symlink(TAVRIN, self.path("bin/tavrin"))
        command, = blocks("An engine")
        self.engine = self.start_engine(command)

    def start_engine(self, command):
        started = VictoriaMetrics(*map(self.here, engine_options(command)))
        self.addCleanup(started.close)
        return started

    def here(self, text):
        """What the page says, in this test's folder and with its engine."""
        for folder in FOLDERS:
            text = text.replace(folder, self.path(folder[1:]))
        if hasattr(self, "engine"):
            text = text.replace(ADDRESS, self.engine.url.split("/")[2])
        return re.sub(r"(?<=-f )[\w,-]+", lambda found: self.present(found[0]), text)

    def present(self, features):
        """Without those that this machine lacks."""
        listed = self.run_tavrin("list", "features").stdout
        return ",".join(one for one in features.split(",")
                        if one == "all" or re.search(rf"(?m)^\s*{one}\s+present", listed))

    def shell(self, commands, start=subprocess.run, **options):
        environment = {**os.environ, "PATH": f"{self.path('bin')}:{os.environ['PATH']}",
                       "XDG_CONFIG_HOME": self.path("etc")}  # in the place of /etc
        return start(["sh", "-ec", self.here(commands)], cwd=self.folder, env=environment, text=True,
                     stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)

    def check_shell(self, commands):
        done = self.shell(commands, timeout=engine.DEADLINE)
        self.assertEqual(done.returncode, 0, done.stdout)
        return done.stdout

    def wait_for_points(self, name, sender=None):
        """Of a sender that must not have ended by then."""
        def are_there():
            self.assertTrue(sender is None or sender.poll() is None, "the sender has ended")
            return self.engine.export(f'{{__name__=~"{name}_.*"}}', start=0, end=4 * 10**9)
        wait_until(are_there, f"points of {name}")

    def test_always(self):
        always, _, _ = blocks("What to record")
        recording = self.shell(always.replace("tavrin record", "exec tavrin record")
                               .replace("--continuous 10", "--continuous 1"), subprocess.Popen)
        self.addCleanup(recording.kill)
        self.wait_for_points("cpu_time_seconds", recording)
        recording.send_signal(signal.SIGINT)
        told, _ = recording.communicate(timeout=engine.DEADLINE)
        self.assertEqual(recording.returncode, 0, told)

    def test_on_demand(self):
        _, look, send = blocks("What to record")
        self.check_shell(look.replace("-d 60s", "-d 500ms").replace("-f all", "-f cpu-time,memory"))
        self.check_shell(send.replace("tavrin ship", "tavrin ship --hold 100ms"))
        self.wait_for_points("cpu_time_seconds")
        self.check_raw_points(self.path("var/tmp/look.jsonl.zst"))

    def check_raw_points(self, capture):
        """Each value of the capture is a row of the database, and the answer is that of its points."""
        command, = blocks("Raw points in SQL")
        if not shutil.which("sqlite3"):
            self.skipTest("sqlite3 is not installed")
        printed = self.check_shell(command)
        exported = self.run_tavrin("export", capture).stdout
        with sqlite3.connect(self.path("var/tmp/look.db")) as database:
            count, = database.execute("SELECT count(*) FROM point").fetchone()
        self.assertEqual(count, exported.count("\n") - 1)
        self.assertIn("CPU Time", printed)

    def test_without_service_manager(self):
        command, = blocks("Where there is no service manager")
        self.addCleanup(self.end_loop)
        self.check_shell(command.replace("--continuous 10", "--continuous 1"))
        self.wait_for_points("cpu_time_seconds")

    def end_loop(self):
        """The loop leads a session of its own; all of it has the folder in its command."""
        for process in filter(str.isdigit, os.listdir("/proc")):
            try:
                command = read(f"/proc/{process}/cmdline")
            except OSError:
                continue
            if self.folder in command and int(process) != os.getpid():
                os.kill(int(process), signal.SIGKILL)

    @unittest.skipUnless(shutil.which("openssl"), "openssl is not installed")
    def test_security(self):
        """With the password over TLS what is sent is there; with another one nothing is lost."""
        self.make_certificate()
        command, = blocks("Security")
        self.engine.close()
        self.engine = SecuredEngine(*map(self.here, engine_options(command)))
        self.addCleanup(self.engine.close)
        with open(self.path("var/lib/tavrin/one.lp"), "w") as file:
            file.write("m,host=a v=1 1700000000000000000\n")
        config, = blocks("Security", "toml")
        for text, left in ((config.replace("change-me", "other"), ["one.lp"]), (config, [])):
            self.write_config(text)
            done = self.shell("tavrin ship --hold 100ms /var/lib/tavrin", timeout=engine.DEADLINE)
            self.assertEqual(done.returncode, len(left), done.stdout)
            self.assertEqual(os.listdir(self.path("var/lib/tavrin")), left)
            self.assertNotIn("change-me", done.stdout)
        self.engine.end()
        self.engine.open_to_all()
        self.assertEqual([labels for labels, _, _ in self.engine.export("m_v", start=0, end=2e9)],
                         [{"__name__": "m_v", "host": "a"}])

    def write_config(self, text):
        path = self.path("etc/tavrin/ship.toml")
        with open(path, "w") as file:
            os.chmod(path, 0o600)
            file.write(self.here(text))

    def make_certificate(self):
        folder = self.path("etc/tavrin")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                        "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                        "-keyout", folder + "/engine.key", "-out", folder + "/engine.pem"],
                       check=True, capture_output=True)
        shutil.copy(folder + "/engine.pem", folder + "/ca.pem")
