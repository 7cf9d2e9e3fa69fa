"""Points that an engine does not store though it answers 204, and those that it refuses by halves:
what docs/fleet.md says of them."""

import unittest

from engine import InfluxDB, VictoriaMetrics, needs, wait_until

OLD = 1_500_000_000 * 10**9
NOW = 1_700_000_000 * 10**9


@needs(VictoriaMetrics)
class Silent(unittest.TestCase):
    """VictoriaMetrics answers 204 whatever it does with the points, and counts."""

    def check(self, options, line, counter):
        engine = VictoriaMetrics(*options)
        self.addCleanup(engine.close)
        self.assertEqual(engine.counters(counter), {counter: 0})
        self.assertEqual(engine.post(line), (204, ""))
        wait_until(lambda: engine.counters(counter) == {counter: 1}, f"{counter} to count", 20)
        return engine

    def test_beyond_the_retention(self):
        engine = self.check(("-retentionPeriod=1",), f"m,host=a v=1 {OLD}\n",
                            "vm_rows_ignored_total")
        self.assertEqual(engine.export('{__name__!=""}', start=0, end=OLD), [])

    def test_days_ahead_of_its_clock(self):
        self.check((), f"m,host=a v=1 {4 * 10**18}\n", "vm_rows_ignored_total")

    def test_too_many_labels(self):
        tags = "".join(f",t{n}=x" for n in range(40))
        self.check((), f"m,host=a{tags} v=1 {NOW}\n", "vm_metrics_with_dropped_labels_total")

    def test_no_line(self):
        self.check((), f"m,host=a {NOW}\n", "vm_rows_invalid_total")


@needs(InfluxDB)
class Partial(unittest.TestCase):
    """InfluxDB answers 400, and has stored what else there was."""

    def setUp(self):
        self.engine = InfluxDB()
        self.addCleanup(self.engine.close)

    def check(self, lines, words):
        status, text = self.engine.post(lines)
        self.assertEqual(status, 400)
        self.assertIn(words, text)
        self.assertIn("dropped=1", text)
        self.assertEqual(self.engine.query("SELECT v FROM m WHERE host = 'b'")[0]["values"],
                         [[NOW, 2]])

    def test_beyond_the_retention(self):
        self.engine.query("CREATE RETENTION POLICY week ON tavrin DURATION 520w REPLICATION 1 DEFAULT")
        self.check(f"m,host=a v=1 1000000000\nm,host=b v=2 {NOW}\n", "beyond retention policy")

    def test_other_type(self):
        self.engine.post(f"m,host=a v=1 {NOW - 10**9}\n")
        self.check(f'm,host=a v="text" {NOW}\nm,host=b v=2 {NOW}\n', "field type conflict")
