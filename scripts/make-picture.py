#!/usr/bin/env python3
"""Makes the picture that the README opens with: the page of a recording, as a browser shows it.

  make-picture.py [--tavrin PATH] [--output docs/picture.png] RECORDING

Needs chromium-headless-shell."""

import argparse
import os
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "tests", "pages"))
sys.dont_write_bytecode = True

from chromium import Chromium

WIDTH, HEIGHT = 1180, 740


def main():
    options = argparse.ArgumentParser()
    options.add_argument("--tavrin", default=os.path.join(ROOT, "build/release/bin/tavrin"))
    options.add_argument("--output", default=os.path.join(ROOT, "docs/picture.png"))
    options.add_argument("--chromium", default="/usr/bin/chromium-headless-shell")
    options.add_argument("recording")
    options = options.parse_args()
    with tempfile.TemporaryDirectory() as folder, Chromium(options.chromium) as browser:
        base = os.path.join(folder, "run")
        subprocess.run([options.tavrin, "report", "-q", "-w", "html", "-o", base,
                        options.recording], check=True)
        page = browser.open(f"file://{base}.html", WIDTH, HEIGHT, media={"scheme": "light"})
        page.until("document.querySelector('#usage li') && !document.getElementById('facts').hidden")
        page.frames(30)
        page.screenshot(options.output, whole=False)
    print(f"{options.output}: {os.path.getsize(options.output):,} bytes")


if __name__ == "__main__":
    main()
