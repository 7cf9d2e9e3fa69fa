"""What Prometheus has scraped from `tavrin serve` is what was the last value then."""

import json
import re
import subprocess
import urllib.request

import engine
from command_support import TAVRIN, TavrinTest
from engine import Prometheus, needs, wait_until

STAT = ("cpu  1 2 3 4\ncpu0 10 0 5 100 0 0 0 0 0 0\nintr {0} 1\nctxt {0}\nprocesses {0}\n")
GAUGE, COUNTER = "tavrin_temperature_celsius", 'tavrin_system_activity_total{event="Interrupts"}'
PASSES = "tavrin_samples_total"
ROUNDS = 8


@needs(Prometheus, "serve")
class Scrape(TavrinTest):
    def setUp(self):
        super().setUp()
        self.write_round(0)
        self.url = self.serve()
        self.prometheus = Prometheus(self.url.split("/")[2], interval="200ms")
        self.addCleanup(self.prometheus.close)

    def write_round(self, number):
        """In place: whoever reads has all of the old text or all of the new one."""
        for path, text in (("sys/class/thermal/thermal_zone0/temp", f"{10000 + number * 1001}\n"),
                           ("proc/stat", STAT.format(1000 + number * 7))):
            with open(self.path("tree/" + path), "r+") as file:
                file.write(text)
                file.truncate()

    def serve(self):
        process = engine.start([TAVRIN, "serve", "--listen", "127.0.0.1:0", "--sysroot",
                                self.path("tree"),
                                "-i", "50ms", "-f", "interrupts,thermal"],
                               text=True, stderr=subprocess.PIPE)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return re.search(r"http://\S+/metrics", process.stderr.readline())[0]

    def passes(self):
        """How many there were, as the server itself says."""
        with urllib.request.urlopen(self.url, timeout=60) as answer:
            return float(re.search(rf"(?m)^{PASSES} (.*)$", answer.read().decode())[1])

    def scraped(self, metric):
        """Every sample that Prometheus has of a series: {time: value}."""
        (_, samples), = self.prometheus.query(metric + "[1h]") or [({}, [])]
        return {time: float(value) for time, value in samples}

    def test_scraped_values_are_the_last_ones(self):
        rounds = []  # the passes before which each was not there, and after which it was
        for number in range(1, ROUNDS + 1):
            before = self.passes()
            self.write_round(number)
            # One pass may have read before the files were written, and after this question.
            after = self.passes() + 2
            rounds.append((before, after))
            wait_until(lambda: max(self.scraped(PASSES).values(), default=0) >= after,
                       "a scrape of the last values")
        passes, gauge, counter = (self.scraped(name) for name in (PASSES, GAUGE, COUNTER))
        self.assertGreaterEqual(len(passes), ROUNDS)
        self.assertEqual(passes.keys(), gauge.keys())
        self.assertEqual(passes.keys(), counter.keys())
        for time, count in passes.items():
            least = sum(count >= after for _, after in rounds)
            most = sum(count > before for before, _ in rounds)
            allowed = range(least, most + 1)
            self.assertIn(round(gauge[time], 6), [(10000 + n * 1001) / 1000 for n in allowed])
            self.assertIn(counter[time], [n * 7 for n in allowed])

    def test_no_target_is_refused(self):
        """Prometheus understands all of what is served."""
        wait_until(lambda: self.scraped("up"), "the first scrape")
        self.assertEqual(set(self.scraped("up").values()), {1})
        targets = json.loads(self.prometheus.ask("/api/v1/targets"))["data"]["activeTargets"]
        self.assertEqual([one["lastError"] for one in targets], [""])
