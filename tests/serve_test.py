"""tavrin serve: what a scrape of the live values says, and clients that mean ill."""

import contextlib
import re
import resource
import signal
import socket
import subprocess
import sys
import threading
import time
import unittest
import urllib.request

from command_support import TAVRIN, TavrinTest, read
from prometheus_text import Scrape

SCRAPE = b"GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n"
STAT = "cpu  1 2 3 4\ncpu0 10 0 5 100 0 0 0 0 0 0\nintr {} 1\nctxt {}\nprocesses 3\n"
NETWORK = ("Inter-| Receive | Transmit\n face |bytes\n"
           "  eth0: {} 7 0 0 0 0 0 0 500 5 0 0 0 0 0 0\n")


class ServeTest(TavrinTest):
    def serve(self, *arguments):
        """Starts it over the tree of files; returns the process when it serves."""
        process = self.start("serve", "--listen", "127.0.0.1:0", *arguments)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        line = process.stderr.readline()
        self.url = re.fullmatch(r"tavrin: live values are at (http://127.0.0.1:\d+/metrics)\n", line)[1]
        self.port = int(self.url.split(":")[2].split("/")[0])
        return process

    def end(self, process, by=signal.SIGTERM):
        process.send_signal(by)
        started = time.monotonic()
        _, errors = process.communicate(timeout=60)
        self.assertEqual((process.returncode, errors), (0, ""))
        return time.monotonic() - started

    def scrape(self, timeout=60):
        with urllib.request.urlopen(self.url, timeout=timeout) as answer:
            self.assertIn("text/plain", answer.headers["Content-Type"])
            return Scrape(answer.read().decode())

    def scrape_until(self, condition):
        found = []

        def is_there():
            found[:] = [self.scrape()]
            return condition(found[0])

        self.wait_for(is_there)
        return found[0]

    def connect(self):
        connection = socket.create_connection(("127.0.0.1", self.port), timeout=60)
        self.addCleanup(connection.close)
        return connection

    def ask(self, request):
        """All of the answer; a connection that is reset ends it too."""
        answer = b""
        with self.connect() as connection, contextlib.suppress(ConnectionError):
            connection.sendall(request)
            while piece := connection.recv(65536):
                answer += piece
        return answer.decode()


class ValueTest(ServeTest):
    def test_values_are_those_of_the_tree(self):
        self.write_tree({"proc/stat": STAT.format(5, 7), "proc/net/dev": NETWORK.format(1000)})
        process = self.serve("--sysroot", "tree", "-i", "50ms", "-f", "interrupts,thermal,network")
        first = self.scrape_until(lambda scrape: scrape.value("tavrin_samples_total") > 1)
        interrupts = ("tavrin_system_activity_total", {"event": "Interrupts"})
        self.assertEqual(first.value(interrupts[0], **interrupts[1]), 0)
        self.assertEqual(first.value("tavrin_temperature_celsius"), -1.5)
        self.assertEqual(first.helps["tavrin_temperature_celsius"], "Temperature, feature thermal")
        self.write_tree({"proc/stat": STAT.format(105, 9007199254740007),
                         "proc/net/dev": NETWORK.format(1234567891000),
                         "sys/class/thermal/thermal_zone0/temp": "42125\n"})
        scrape = self.scrape_until(lambda one: one.value(interrupts[0], **interrupts[1]) == 100 and
                                   one.value("tavrin_network_packets_total", counter="sent") == 0 and
                                   one.value("tavrin_temperature_celsius") != -1.5)
        value = scrape.value
        self.assertEqual(value("tavrin_system_activity_total", event="Context Switches"), 9007199254740000)
        self.assertEqual(value("tavrin_network_data_bytes_total", counter="received", interface="eth0"),
                         1234567890000)
        self.assertEqual(value("tavrin_temperature_celsius"), 42.125)
        self.assertEqual(value("tavrin_build_info"), 1)
        self.assertLess(abs(value("tavrin_start_time_seconds") - time.time()), 600)
        self.end(process)

    def test_what_is_gone_disappears(self):
        process = self.serve("--sysroot", "tree", "-i", "100ms", "-f", "thermal,cpu-time")
        self.scrape_until(lambda scrape: scrape.value("tavrin_temperature_celsius") == -1.5)
        self.write_tree({"sys/class/thermal/thermal_zone0/temp": "",
                         "proc/stat": STAT.format(5, 7).replace("cpu0", "cpux")})
        gone = self.scrape_until(lambda scrape: scrape.value("tavrin_temperature_celsius") is None and
                                 scrape.value("tavrin_cpu_time_seconds_total", state="user") is None)
        self.assertNotIn("tavrin_temperature_celsius", gone.families)
        self.write_tree({"sys/class/thermal/thermal_zone0/temp": "7000\n"})
        self.scrape_until(lambda scrape: scrape.value("tavrin_temperature_celsius") == 7)
        self.end(process)

    def test_live_counters_only_grow(self):
        process = self.serve("-i", "100ms")
        first = self.scrape_until(lambda scrape: scrape.value("tavrin_samples_total") > 1)
        later = self.scrape_until(lambda scrape: scrape.value("tavrin_samples_total") > 8)
        self.assertGreater(len(first.counters()), 20)
        after = later.counters()
        for key, before in first.counters().items():
            self.assertGreaterEqual(after.get(key, before), before, key)
        switches = ("tavrin_system_activity_total", {"event": "Context Switches"})
        self.assertGreater(later.value(switches[0], **switches[1]), first.value(switches[0], **switches[1]))
        self.end(process, signal.SIGINT)

    def test_addresses(self):
        process = self.serve("--sysroot", "tree", "-f", "interrupts")
        taken = f"127.0.0.1:{self.port}"
        refused = self.run_tavrin("serve", "--sysroot", "tree", "--listen", taken, status=1)
        self.assertIn(f"cannot listen on {taken}", refused.stderr)
        self.assertIn("Address already in use", refused.stderr)
        self.end(process)
        for wrong in ("9464", "localhost:9464", "127.0.0.1:", "127.0.0.1:70000", "1.2.3:1", "::1:9464",
                      "[::1", "[1.2.3.4]:1", "127.0.0.1:1,2", "127.0.0.1:1s"):
            refused = self.run_tavrin("serve", "--sysroot", "tree", f"--listen={wrong}", status=2)
            self.assertIn(f"'{wrong}' is not an address to listen on", refused.stderr)
        told = self.run_tavrin("serve", "--sysroot", "tree", "--listen", "0.0.0.0:0", "-d", "10ms").stderr
        self.assertRegex(told, r"warning: whoever reaches 0.0.0.0:0 can read them")
        self.assertEqual(self.run_tavrin("serve", "--sysroot", "tree", "--listen", "127.0.0.1:0", "-d",
                                         "10ms", "-q").stderr, "")

    def test_ipv6_or_the_reason_why_not(self):
        serve = ("serve", "--sysroot", "tree", "--listen", "[::1]:0", "-d", "10ms")
        done = subprocess.run([TAVRIN, *serve], cwd=self.folder, text=True, capture_output=True, timeout=60)
        expected = ("live values are at http://[::1]:" if done.returncode == 0 else
                    "cannot listen on [::1]:0: ")
        self.assertIn(expected, done.stderr)


class HostileTest(ServeTest):
    def setUp(self):
        super().setUp()
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (min(hard, 4096), hard))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, (soft, hard))
        self.process = self.serve("--sysroot", "tree", "-i", "100ms", "-f", "interrupts")

    def tearDown(self):
        self.scrape_until(lambda scrape: scrape.value("tavrin_samples_total") > 0)
        self.assertLess(self.end(self.process), 30)

    def test_requests(self):
        for request, status in {
                SCRAPE: 200,
                b"GET /metrics?x=1 HTTP/1.0\r\n\r\n": 200,
                b"GET / HTTP/1.1\r\n\r\n": 200,
                b"GET /metrics/ HTTP/1.1\r\n\r\n": 404,
                b"GET /etc/passwd HTTP/1.1\r\n\r\n": 404,
                b"GET /../../etc/passwd HTTP/1.1\r\n\r\n": 404,
                b"GET /%2e%2e/%2e%2e/etc/passwd HTTP/1.1\r\n\r\n": 404,
                b"GET /cgi-bin/x.cgi HTTP/1.1\r\n\r\n": 404,
                b"POST /metrics HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc": 405,
                b"HEAD /metrics HTTP/1.1\r\n\r\n": 405,
                b"PUT /metrics HTTP/1.1\r\nContent-Length: 0\r\n\r\n": 405,
                b"DELETE / HTTP/1.1\r\n\r\n": 405,
                b"GET /metrics\r\n\r\n": 400,  # as HTTP/0.9 is
                b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n": 400,
                b"\0\xff garbage\r\n\r\n": 400,
                b"\x16\x03\x01\0\xa5" + b"\1" * 9000: 400,
                b"GET /" + b"a" * 9000 + b" HTTP/1.1\r\n\r\n": 400,
                b"GET /metrics HTTP/1.1\r\nX: " + b"a" * 1_000_000 + b"\r\n\r\n": 400,
        }.items():
            answer = self.ask(request)
            # What is sent on after the answer may have it thrown away.
            if len(request) < 100_000 or answer:
                self.assertRegex(answer, rf"\AHTTP/[12]\.\d {status} ", request[:60])
        self.assertIn("/metrics", self.ask(b"GET / HTTP/1.1\r\n\r\n"))

    def drip(self, first, piece):
        """Sends a piece again and again until nobody takes them any more, or for too long."""
        connection = self.connect()
        connection.sendall(first)
        deadline = time.monotonic() + 30
        with contextlib.suppress(ConnectionError):
            while time.monotonic() < deadline:
                connection.sendall(piece)
                time.sleep(0.05)  # slowness is what it is about
            self.too_slow.append(first)

    def test_slow_requests_are_ended(self):
        self.too_slow = []
        drips = [threading.Thread(target=self.drip, args=drip) for drip in (
            (b"GET /metrics HTTP/1.1\r\n", b"X: y\r\n"),
            (b"POST /metrics HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n", b"x"),
            (b"GET /metrics HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n", b"x"),
            (b"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n", b"1\r\nx\r\n"))]
        for drip in drips:
            drip.start()
        for drip in drips:
            drip.join()
        self.assertEqual(self.too_slow, [])

    def test_a_thousand_connections(self):
        silent = []
        for number in range(1000):
            connection = socket.socket()
            silent.append(connection)
            connection.setblocking(False)
            connection.connect_ex(("127.0.0.1", self.port))
            with contextlib.suppress(OSError):
                connection.send(SCRAPE[:number % len(SCRAPE)])
        started = time.monotonic()
        self.scrape()
        self.assertLess(time.monotonic() - started, 60)
        threads = int(re.search(r"Threads:\s*(\d+)", read(f"/proc/{self.process.pid}/status"))[1])
        self.assertLess(threads, 64)
        for connection in silent:
            connection.close()

    def test_who_does_not_read_holds_nobody_up(self):
        for _ in range(20):
            self.connect().sendall(SCRAPE * 100)
        before = self.scrape().value("tavrin_samples_total")
        self.scrape_until(lambda scrape: scrape.value("tavrin_samples_total") > before + 3)

    def test_many_scrapes_at_a_time(self):
        problems = []

        def scrape_often():
            try:
                for _ in range(20):
                    self.scrape()
            except (OSError, ValueError, AssertionError) as error:
                problems.append(error)

        threads = [threading.Thread(target=scrape_often) for _ in range(16)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(problems, [])

    def test_ends_while_clients_are_connected(self):
        for sent in (b"", b"GET /me", SCRAPE):
            self.connect().sendall(sent)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
