#!/usr/bin/env python3
"""Records a made-up machine of many processors and sensors, and tells how it went.

    benchmarks/large_tree.py [--tavrin BINARY] [--cpus N] [--zones N] [--files N] [--seconds N]

The files lie in memory (/dev/shm) as the kernel's documentation describes them: sleep states with
all of their counters, thermal zones, power zones. --files is how many may be open (ulimit -n).
"""

import argparse
import pathlib
import resource
import subprocess
import tempfile
import time

STATES = ("POLL", "C1", "C1E", "C6")
CPU_FOLDER = "sys/devices/system/cpu"


def write(path: pathlib.Path, files: dict[str, object]) -> None:
    path.mkdir(parents=True, exist_ok=True)
    for name, content in files.items():
        (path / name).write_text(f"{content}\n")


def write_cpus(root: pathlib.Path, count: int) -> None:
    write(root / CPU_FOLDER, {"online": f"0-{count - 1}"})
    for cpu in range(count):
        folder = root / CPU_FOLDER / f"cpu{cpu}"
        write(folder / "topology", {"physical_package_id": cpu // 256, "core_id": cpu // 2})
        for number, name in enumerate(STATES):
            write(folder / "cpuidle" / f"state{number}",
                  {"name": name, "desc": name, "latency": number, "residency": 10 * number,
                   "time": 1_000_000 + cpu, "usage": 1000 + cpu, "above": 1, "below": 2,
                   "rejected": 0})


def write_zones(root: pathlib.Path, count: int) -> None:
    for zone in range(count):
        write(root / f"sys/class/thermal/thermal_zone{zone}", {"type": "board", "temp": 41000})
        write(root / f"sys/class/powercap/made-up:{zone}",
              {"name": f"zone-{zone}", "energy_uj": 5_000_000, "max_energy_range_uj": 10**12})


def record(args: argparse.Namespace, folder: pathlib.Path, features: str) -> None:
    command = [args.tavrin, "record", "--sysroot", folder / "root", "-f", features, "-w", "sum,bin",
               "-i", args.interval, "-d", args.seconds, "-o", folder / "run"]
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.monotonic()
    subprocess.run([str(word) for word in command], check=True, preexec_fn=lambda: limit(args.files))
    elapsed = time.monotonic() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    busy = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    print(f"{features}: {busy:.2f} s of processor time in {elapsed:.2f} s, "
          f"{after.ru_maxrss // 1024} MB\n", flush=True)


def limit(files: int | None) -> None:
    if files is not None:
        resource.setrlimit(resource.RLIMIT_NOFILE, (files, files))


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tavrin", default="build/release/bin/tavrin")
    parser.add_argument("--cpus", type=int, default=2000)
    parser.add_argument("--zones", type=int, default=5000)
    parser.add_argument("--files", type=int)
    parser.add_argument("--interval", default="100ms")
    parser.add_argument("--seconds", default="10")
    parser.add_argument("--features", nargs="*",
                        default=["core-cstate,thermal", "core-cstate,energy"])
    args = parser.parse_args()
    with tempfile.TemporaryDirectory(dir="/dev/shm") as name:
        folder = pathlib.Path(name)
        write_cpus(folder / "root", args.cpus)
        write_zones(folder / "root", args.zones)
        for features in args.features:
            record(args, folder, features)


if __name__ == "__main__":
    main()
