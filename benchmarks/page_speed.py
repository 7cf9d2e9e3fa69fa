#!/usr/bin/env python3
"""How fast the page of the writer html is in Chromium, of a run of many points.

  page_speed.py [--tavrin PATH] [--points 10000000] [--chromium PATH]

Prints the seconds until the lanes are on the screen and the script of zoom steps; exits with 1 when
the lanes take more than 1.5 s, the median step more than 20 ms or any step more than 50 ms."""

import argparse
import os
import statistics
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "tests", "pages"))
sys.dont_write_bytecode = True

import page_runs
import speed
from chromium import Chromium

MOST_SECONDS, MOST_MEDIAN, MOST_STEP = 1.5, 20, 50


def write_page(tavrin, folder, points):
    stream, base = os.path.join(folder, "long.jsonl"), os.path.join(folder, "long")
    print(f"writing a run of {points:,} points in 64 series", file=sys.stderr)
    page_runs.long_run(stream, points)
    subprocess.run([tavrin, "report", "-q", "-w", "html", "-o", base, stream], check=True)
    print(f"the page has {os.path.getsize(base + '.html'):,} bytes")
    return base + ".html"


def main():
    options = argparse.ArgumentParser()
    options.add_argument("--tavrin", default=os.path.join(ROOT, "build/release/bin/tavrin"))
    options.add_argument("--points", type=int, default=10_000_000)
    options.add_argument("--chromium", default="/usr/bin/chromium-headless-shell")
    options = options.parse_args()
    with tempfile.TemporaryDirectory() as folder, Chromium(options.chromium) as browser:
        path = write_page(options.tavrin, folder, options.points)
        drawn = speed.seconds_until_drawn(browser, path)
        page = browser.open(f"file://{path}")
        page.until(speed.DRAWN, 60)
        steps = speed.zoom_steps(page)
    print(speed.told(drawn, steps))
    missed = (statistics.median(drawn) > MOST_SECONDS or
              statistics.median(steps) > MOST_MEDIAN or max(steps) > MOST_STEP)
    sys.exit(1 if missed else 0)


if __name__ == "__main__":
    main()
