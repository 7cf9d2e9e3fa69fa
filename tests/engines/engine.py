"""The engines as Debian packages them, each started on the loopback at a free port with a folder of
its own. They die with the process that started them, whatever ends it."""

import functools
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request

DEADLINE = 120  # seconds that anything is waited for, on a busy machine


def wait_until(condition, what, seconds=DEADLINE):
    """Polls; returns the first result that is true."""
    deadline = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {seconds} s for {what}")
        time.sleep(0.02)
    return result


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def start(command, **options):
    """A process that the kernel kills when this one is gone."""
    return subprocess.Popen(["setpriv", "--pdeathsig", "KILL", "--", *command], **options)


def fetch(url, body=None, headers={}, timeout=60):
    """Status and text of an answer, errors of HTTP included."""
    request = urllib.request.Request(url, data=body, headers=headers)
    try:
        with urllib.request.urlopen(request, timeout=timeout) as answer:
            return answer.status, answer.read().decode()
    except urllib.error.HTTPError as error:
        return error.code, error.read().decode()


class Engine:
    """A server that is started and ended any number of times over the same data."""

    program = None
    health = "/health"

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix=f"tavrin-{self.program}-")
        self.port = free_port()
        self.url = f"http://127.0.0.1:{self.port}"
        self.log = open(os.path.join(self.folder, "log"), "w+")
        self.process = None
        self.start()

    def start(self):
        self.process = start(self.command(), stdout=self.log, stderr=self.log)
        wait_until(self.answers, f"{self.program} to answer")

    def answers(self):
        if self.process.poll() is not None:
            self.log.seek(0)
            raise AssertionError(f"{self.program} ended:\n{self.log.read()[-2000:]}")
        try:
            return fetch(self.url + self.health, timeout=10)[0] in (200, 204)
        except OSError:
            return False

    def end(self, how=signal.SIGTERM):
        """SIGKILL is what a crash does: what the engine had not written is gone."""
        self.process.send_signal(how)
        self.process.wait(timeout=DEADLINE)

    def restart(self, how=signal.SIGKILL):
        self.end(how)
        self.start()

    def close(self):
        if self.process.poll() is None:
            self.end(signal.SIGKILL)
        self.log.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    def ask(self, path, **parameters):
        status, text = fetch(f"{self.url}{path}?{urllib.parse.urlencode(parameters)}")
        assert status == 200, f"{path} {parameters}: {status} {text}"
        return text

    def post(self, body, headers={}):
        """What the engine says to lines: status and text."""
        return fetch(self.write_url, body.encode() if isinstance(body, str) else body, headers)

    def bytes_on_disk(self):
        return sum(os.lstat(os.path.join(folder, name)).st_blocks * 512
                   for folder, _, names in os.walk(self.data_folder()) for name in names)

    def data_folder(self):
        return os.path.join(self.folder, "data")

    def time(self):
        """Seconds of processor time since its last start."""
        return processor_time(self.process.pid)

    def memory(self):
        return memory(self.process.pid)


def processor_time(pid):
    """Seconds that a running process has used."""
    with open(f"/proc/{pid}/stat") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def memory(pid, kind="Pss"):
    """Bytes that a process has in memory, its share of what is shared; "Pss_Anon": without files."""
    with open(f"/proc/{pid}/smaps_rollup") as file:
        return 1024 * int(re.search(rf"(?m)^{kind}:\s+(\d+) kB", file.read())[1])


class VictoriaMetrics(Engine):
    program = "victoria-metrics"
    options = ("-retentionPeriod=100y", "-dedup.minScrapeInterval=1ms")

    def __init__(self, *options):
        self.options = options or self.options
        super().__init__()
        self.write_url = self.url + "/write"

    def command(self):
        return [self.program, f"-httpListenAddr=127.0.0.1:{self.port}",
                f"-storageDataPath={self.data_folder()}", *self.options]

    def flush(self):
        """What has been acknowledged is seen by queries from here on."""
        self.ask("/internal/force_flush")

    def export(self, match, **parameters):
        """Every stored point: [(labels, [values], [milliseconds])]."""
        self.flush()
        text = self.ask("/api/v1/export", **{"match[]": match, **parameters})
        series = [json.loads(line) for line in text.strip().split("\n") if line]
        return [(one["metric"], one["values"], one["timestamps"]) for one in series]

    def points(self):
        """Every value: {(name, labels, milliseconds): value}."""
        found = {}
        for labels, values, times in self.export('{__name__!=""}', start=0, end=4e9):
            name = labels.pop("__name__")
            for time, value in zip(times, values):
                key = name, tuple(sorted(labels.items())), time
                assert key not in found, f"{key} is there twice"
                found[key] = value
        return found

    def query(self, query, at):
        """The samples of an instant query: [(labels, value)]."""
        self.flush()
        answer = json.loads(self.ask("/api/v1/query", query=query, time=at, nocache=1))
        return [(one["metric"], float(one["value"][1])) for one in answer["data"]["result"]]

    def counters(self, *names):
        """Sums of the engine's own counters."""
        sums = dict.fromkeys(names, 0)
        for line in self.ask("/metrics").splitlines():
            name, value = line.rsplit(" ", 1)
            if (name := name.split("{")[0]) in sums:
                sums[name] += float(value)
        return sums


class InfluxDB(Engine):
    program = "influxd"
    health = "/ping"
    CONFIG = """
reporting-disabled = true
bind-address = "127.0.0.1:0"
[meta]
dir = "{data}/meta"
[data]
dir = "{data}/data"
wal-dir = "{data}/wal"
query-log-enabled = false
max-series-per-database = 0
max-values-per-tag = 0
[monitor]
store-enabled = false
[http]
bind-address = "127.0.0.1:{port}"
log-enabled = false
"""

    def __init__(self, database="tavrin"):
        super().__init__()
        self.database = database
        self.write_url = f"{self.url}/write?db={database}"
        self.query(f'CREATE DATABASE "{database}"')

    def command(self):
        config = os.path.join(self.folder, "influxdb.conf")
        with open(config, "w") as file:
            file.write(self.CONFIG.format(data=self.data_folder(), port=self.port))
        return [self.program, "-config", config]

    def query(self, query):
        """The series of one statement, times in nanoseconds."""
        body = urllib.parse.urlencode({"q": query, "epoch": "ns", "db": getattr(
            self, "database", "")}).encode()
        status, text = fetch(self.url + "/query", body)
        answer = json.loads(text)["results"][0]
        assert status == 200 and "error" not in answer, f"{query}: {text}"
        return answer.get("series", [])

    def points(self):
        """Every value: {(measurement, tags, field, nanoseconds): value}."""
        found = {}
        for series in self.query("SELECT * FROM /.*/ GROUP BY *"):
            tags = tuple(sorted((key, value) for key, value in series["tags"].items() if value))
            for time, *values in series["values"]:
                for field, value in zip(series["columns"][1:], values):
                    if value is not None:
                        found[series["name"], tags, field, time] = float(value)
        return found

    def counters(self, *names):
        """Sums over the parts of the engine that count something of that name."""
        sums = dict.fromkeys(names, 0)
        for part in json.loads(self.ask("/debug/vars")).values():
            for name, value in part.get("values", {}).items() if isinstance(part, dict) else ():
                if name in sums:
                    sums[name] += value
        return sums


class Prometheus(Engine):
    program = "prometheus"
    health = "/-/ready"

    def __init__(self, *targets, interval="1s"):
        self.targets, self.interval = targets, interval
        super().__init__()

    def command(self):
        config = os.path.join(self.folder, "prometheus.yml")
        with open(config, "w") as file:
            json.dump({"scrape_configs": [{
                "job_name": "tavrin", "scrape_interval": self.interval,
                "scrape_timeout": self.interval,
                "static_configs": [{"targets": list(self.targets)}]}]}, file)
        return [self.program, f"--config.file={config}", f"--storage.tsdb.path={self.data_folder()}",
                f"--web.listen-address=127.0.0.1:{self.port}"]

    def query(self, query, **parameters):
        answer = json.loads(self.ask("/api/v1/query", query=query, **parameters))
        return [(one["metric"], one.get("value") or one["values"])
                for one in answer["data"]["result"]]


def needs(engine, *commands):
    """Skips a test or a class where an engine is not installed, or where tavrin lacks a command."""
    lacking = [command for command in commands if not has_command(command)]
    why = f"this tavrin has no {lacking}" if lacking else None
    if not shutil.which(engine.program):
        why = f"{engine.program} is not installed (Debian has a package of it)"
    return unittest.skipIf(why, why)


@functools.cache
def has_command(command):
    """"ship", "serve", or a writer."""
    told = [subprocess.run([os.environ["TAVRIN_COMMAND"], *question], capture_output=True, text=True,
                           timeout=60).stdout for question in (["--help"], ["list", "writers"])]
    return re.search(rf"(?m)^  {command} ", "\n".join(told)) is not None
