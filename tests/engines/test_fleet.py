"""Many hosts into one VictoriaMetrics, while everything between them and it fails: all points are
there, each once."""

import os
import random
import time

import fleet
from command_support import TavrinTest
from engine import VictoriaMetrics, needs, wait_until
from gate import Gate

HOSTS, SECONDS, PARTS = 200, 60, 6
HOLD = 20  # seconds; the engine has written after a few what it has acknowledged
AFTER = fleet.START + SECONDS + 60  # when all of it is over
RANGE = f"[{SECONDS + 120}s]"


@needs(VictoriaMetrics, "lines", "ship")
class Fleet(TavrinTest):
    def setUp(self):
        super().setUp()
        self.queue = self.path("queue")
        os.mkdir(self.queue)
        self.engine = VictoriaMetrics()
        self.addCleanup(self.engine.close)
        self.gate = Gate(self.engine.port)
        self.addCleanup(self.gate.shut)

    def fill_queue(self, hosts, seconds=SECONDS, parts=PARTS):
        template = self.path("host0")
        fleet.write_lines(template, fleet.stream("host0", seconds))
        points = fleet.multiply(template + ".lp.gz", self.queue, hosts, parts)
        self.assertEqual(points, hosts * fleet.SERIES * fleet.RATE * seconds)
        self.size = sum(entry.stat().st_size for entry in os.scandir(self.queue))

    def ship(self, *options):
        shipper = fleet.Shipper(self.queue, self.gate.url + "/write", "--hold", str(HOLD), *options)
        self.addCleanup(shipper.close)
        return shipper

    def by_host(self, function):
        answer = self.engine.query(
            f"sum({function}({fleet.SELECTION}{RANGE})) by (host)", AFTER)
        return {labels["host"]: value for labels, value in answer}

    def check_points(self, hosts, seconds=SECONDS):
        names = {f"host{n}" for n in range(hosts)}
        self.assertEqual(self.by_host("count_over_time"),
                         dict.fromkeys(names, fleet.SERIES * fleet.RATE * seconds))
        sums = self.by_host("sum_over_time")
        self.assertEqual(set(sums), names)
        total = fleet.body(seconds)[1]
        for host, value in sums.items():
            self.assertAlmostEqual(value / total, 1, delta=1e-9, msg=host)
        ignored = self.engine.counters("vm_rows_ignored_total", "vm_rows_invalid_total")
        self.assertEqual(set(ignored.values()), {0}, ignored)

    def close_for(self, seconds):
        self.gate.shut()
        end = time.monotonic() + seconds
        wait_until(lambda: time.monotonic() > end, "the gate to open")
        self.gate.open()

    def test_faults(self):
        """Five crashes of the engine, ten of the shipper, and a port that is closed for 20 s."""
        self.fill_queue(HOSTS)
        shipper = self.ship()

        def crash_shipper():
            shipper.kill()
            shipper.start()

        faults = [self.engine.restart] * 5 + [crash_shipper] * 10 + [lambda: self.close_for(20)]
        draw = random.Random(5)
        draw.shuffle(faults)
        for fault in faults:
            # Less than half of what there is: none of the faults comes when all is over.
            self.assertTrue(self.gate.pass_bytes(draw.randrange(self.size // 40), shipper.ended),
                            shipper.words())
            fault()
        self.gate.pass_all()
        self.assertEqual(shipper.finish(), 0, shipper.words())
        self.assertEqual(os.listdir(self.queue), [])
        self.engine.restart()  # what it has is on disk
        self.check_points(HOSTS)

    def test_bound_of_the_folder(self):
        """What it takes are the oldest files, as it says; all others arrive."""
        hosts, seconds = 10, 2
        self.fill_queue(hosts, seconds, parts=1)
        sizes = [os.path.getsize(os.path.join(self.queue, f"host{n}_0.lp.gz")) for n in range(hosts)]
        self.gate.shut()
        shipper = self.ship("--follow", "--max-folder", str(sum(sizes[4:]) + sizes[3] // 2))
        wait_until(lambda: len(os.listdir(self.queue)) < hosts, "files to go")
        self.gate.open()
        wait_until(lambda: not os.listdir(self.queue), "the files to be sent")
        shipper.end()
        kept = {f"host{n}": fleet.SERIES * fleet.RATE * seconds for n in range(4, hosts)}
        self.assertEqual(self.by_host("count_over_time"), kept, shipper.words())
        (_, lost, _), = self.engine.export("tavrin_ship_lost_files", start=0, end=4e9)
        self.assertEqual(lost[-1], 4)
        self.assertIn("4 files", shipper.words())

    def test_crash_while_nothing_is_sent(self):
        """Between the last answer and the end of the hold there is no connection that could fail."""
        self.fill_queue(hosts=2, seconds=2, parts=1)
        shipper = self.ship()
        inserted = 2 * 2 * fleet.SERIES * fleet.RATE
        wait_until(lambda: self.engine.counters("vm_rows_inserted_total")
                   ["vm_rows_inserted_total"] >= inserted, "the points")
        self.engine.restart()
        self.assertEqual(self.engine.query("count(" + fleet.SELECTION + RANGE + ")", AFTER), [],
                         "the engine had written what it should have lost")
        self.assertEqual(shipper.finish(), 0, shipper.words())
        self.engine.restart()
        self.check_points(hosts=2, seconds=2)
