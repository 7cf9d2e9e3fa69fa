#!/usr/bin/env python3
"""Whether memory stays flat: a machine that is recorded and shipped to VictoriaMetrics, and served to
Prometheus, for a long time.

  fleet_soak.py [--tavrin PATH] [--seconds 600] [--interval 100ms] [--features default]

Prints the memory of every process through the run (PSS without files: what programs and libraries
take depends on who else has them open); exits with 1 when that of a `tavrin` was more than 5 % and
1 MiB higher in the last quarter than in the second one, or when its points did not come."""

import argparse
import os
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "engines"))
MOST_GROWTH, MOST_BYTES = 1.05, 2**20
ROWS = 10


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--tavrin", default=shutil.which("tavrin"))
    parser.add_argument("--seconds", type=int, default=600)
    parser.add_argument("--interval", default="100ms")
    parser.add_argument("--features", default="default")
    found = parser.parse_args()
    if not found.tavrin:
        parser.error("where is tavrin? (--tavrin)")
    found.tavrin = os.environ["TAVRIN_COMMAND"] = os.path.abspath(found.tavrin)
    return found


def start_all(engines, options, folder):
    """Everything that runs: engines and commands by name."""
    common = ["-i", options.interval, "-f", options.features]
    victoria = engines.VictoriaMetrics()
    record = engines.start([options.tavrin, "record", *common, "--continuous", "10", "-w", "lines",
                            "--ship", victoria.write_url, "-o", os.path.join(folder, "run")],
                           stdout=subprocess.DEVNULL)
    serve = engines.start([options.tavrin, "serve", *common, "--listen", "127.0.0.1:0"], text=True,
                          stderr=subprocess.PIPE)
    address = re.search(r"http://([\d.:]+)/", serve.stderr.readline())[1]
    prometheus = engines.Prometheus(address)
    return {"record": record, "serve": serve}, {"victoria-metrics": victoria, "prometheus": prometheus}


def watch(engines, commands, servers, seconds):
    """Memory of each process, once a second: {name: [bytes]}."""
    processes = {**commands, **{name: server.process for name, server in servers.items()}}
    memory = {name: [] for name in processes}
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        time.sleep(1)
        for name, process in processes.items():
            if process.poll() is not None:
                sys.exit(f"error: {name} ended with status {process.returncode}")
            memory[name].append(engines.memory(process.pid, "Pss_Anon"))
    return memory


def show(memory, times, seconds):
    """A row for each tenth of the run, and what the second and the last quarter have."""
    print(f"{'MiB':<20}" + "".join(f"{name:>18}" for name in memory))
    count = min(map(len, memory.values()))
    for row in range(ROWS):
        piece = slice(row * count // ROWS, (row + 1) * count // ROWS)
        print(f"{'to ' + str(piece.stop) + ' s':<20}" + "".join(
            f"{statistics.median(values[piece]) / 2**20:18.2f}" for values in memory.values()))
    print(f"{'processor, % of one':<20}" + "".join(f"{times[name] / seconds:18.2%}" for name in memory))


def grew(values):
    """Whether the last quarter needs more than the second."""
    quarter = len(values) // 4
    before = statistics.median(values[quarter:2 * quarter])
    after = statistics.median(values[-quarter:])
    return after > before * MOST_GROWTH and after - before > MOST_BYTES


def main():
    options = arguments()
    import engine as engines
    with tempfile.TemporaryDirectory() as folder:
        commands, servers = start_all(engines, options, folder)
        memory = watch(engines, commands, servers, options.seconds)
        processes = {**commands, **{name: server.process for name, server in servers.items()}}
        show(memory, {name: engines.processor_time(one.pid) for name, one in processes.items()},
             options.seconds)
        for command in commands.values():
            command.send_signal(signal.SIGINT)
        statuses = {name: command.wait() for name, command in commands.items()}
    points = sum(len(values) for _, values, _ in servers["victoria-metrics"].export(
        '{__name__=~".+"}', start=0, end=4e9))
    scrapes = len(servers["prometheus"].query("tavrin_samples_total[1d]")[0][1])
    print(f"{points} points in VictoriaMetrics, {scrapes} scrapes; exit statuses {statuses}")
    for server in servers.values():
        server.close()
    failed = [name for name in commands if grew(memory[name]) or statuses[name] != 0]
    print(f"not flat or not well: {failed}" if failed else "flat")
    return 1 if failed or not points or not scrapes else 0


if __name__ == "__main__":
    sys.exit(main())
