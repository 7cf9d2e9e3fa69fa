#!/usr/bin/env python3
"""What a fleet costs: streams of many hosts through `tavrin report -w lines` and `tavrin ship` into one
engine, all of it on this machine.

  fleet_cost.py [--tavrin PATH] [--hosts 200] [--seconds 60] [--engine victoria-metrics|influxdb]
                [--live 60] [--features LIST]

64 series a host, ten values of each a second; then this machine, recorded and shipped once a second for
the seconds of --live. Prints processor time and bytes per point; exits with 1 when the engine has more
or fewer points than were sent."""

import argparse
import os
import resource
import shutil
import sys
import tempfile
import time

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "engines"))


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--tavrin", default=shutil.which("tavrin"))
    parser.add_argument("--hosts", type=int, default=200)
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--engine", default="victoria-metrics")
    parser.add_argument("--live", type=int, default=60)
    parser.add_argument("--features", default="cpu-time,memory,interrupts,pressure,network,disk")
    found = parser.parse_args()
    if not found.tavrin:
        parser.error("where is tavrin? (--tavrin)")
    os.environ["TAVRIN_COMMAND"] = os.path.abspath(found.tavrin)
    return found


def children_time():
    """Processor time of all commands that have ended."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def write_all(fleet, queue, hosts, seconds):
    """The lines of each host; returns processor time of the command in seconds and its bytes."""
    before = children_time()
    for host in range(hosts):
        fleet.write_lines(os.path.join(queue, f"host{host}"),
                          fleet.stream(f"host{host}", seconds, fleet.shift_of(host)))
    return children_time() - before, sum(entry.stat().st_size for entry in os.scandir(queue))


def ship_all(fleet, engine, queue):
    """Sends all; returns processor time of the shipper and of the engine, elapsed time and bytes."""
    from gate import Gate
    gate = Gate(engine.port)
    before, engine_before, begin = children_time(), engine.time(), time.monotonic()
    fleet.tavrin("ship", "-q", "--hold", "100ms", "--to",
                 engine.write_url.replace(engine.url, gate.url), queue)
    seconds = time.monotonic() - begin
    gate.shut()
    return children_time() - before, engine.time() - engine_before, seconds, gate.passed


def record_live(fleet, engines, options):
    """This machine into an engine of its own: points, processor time and bytes sent."""
    from gate import Gate
    engine = engines.VictoriaMetrics()
    gate, before = Gate(engine.port), children_time()
    with tempfile.TemporaryDirectory() as folder:
        fleet.tavrin("record", "-q", "-f", options.features, "-i", "1s", "-d", f"{options.live}s",
                     "--continuous", "10", "--ship", gate.url + "/write", "--ship-hold", "1s",
                     "-o", os.path.join(folder, "run"))
    used = children_time() - before
    gate.shut()
    points = sum(not name.startswith("tavrin_ship") for name, *_ in engine.points())
    engine.close()
    return points, used, gate.passed


def points_in(engine, fleet, seconds):
    """How many points of the hosts the engine has."""
    if engine.program == "influxd":
        series = engine.query(f"SELECT COUNT(*) FROM {fleet.NAME}")
        return sum(series[0]["values"][0][1:])
    window = f"[{seconds + 120}s]"
    answer = engine.query(f"sum(count_over_time({fleet.SELECTION}{window}))",
                          fleet.START + seconds + 60)
    return answer[0][1]


def row(what, points, seconds=None, size=None):
    time_text = "" if seconds is None else f"{seconds / points * 1e9:8.0f}"
    size_text = "" if size is None else f"{size / points:8.2f}"
    print(f"{what:<44}{time_text:>12}{size_text:>14}")


def main():
    options = arguments()
    import engine as engines
    import fleet
    kinds = {kind.program: kind for kind in (engines.VictoriaMetrics, engines.InfluxDB)}
    engine = kinds[options.engine.replace("influxdb", "influxd")]()
    points = options.hosts * fleet.SERIES * fleet.RATE * options.seconds
    with tempfile.TemporaryDirectory() as queue:
        written, size = write_all(fleet, queue, options.hosts, options.seconds)
        shipped, stored, elapsed, wire = ship_all(fleet, engine, queue)
    memory = engine.memory()
    found = points_in(engine, fleet, options.seconds)
    engine.restart(how=15)  # writes what it has
    print(f"{options.hosts} hosts, {fleet.SERIES} series each at {fleet.RATE} Hz, {options.seconds} s: "
          f"{points} points, sent in {elapsed:.1f} s into {engine.program}")
    print(f"{'':<44}{'ns/point':>12}{'bytes/point':>14}")
    row("report -w lines, reading the stream included", points, written, size)
    row("ship", points, shipped, wire)
    row(engine.program, points, stored, engine.bytes_on_disk())
    print(f"{engine.program} took {memory / 2**20:.0f} MiB and has {found:.0f} points")
    engine.close()
    if options.live:
        points_live, used, sent = record_live(fleet, engines, options)
        row("record --ship, this machine, once a second", points_live, used, sent)
        print(f"{points_live} points, {used / options.live:.3%} of a processor")
    return 0 if found == points else 1


if __name__ == "__main__":
    sys.exit(main())
