#!/usr/bin/python3
"""Pictures of pages to look at: three widths, light and dark, and as they are printed.

usage: screenshots.py TAVRIN FOLDER [RECORDING...]

Without recordings, of the runs that the tests use.
"""

import os
import subprocess
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import page_runs
from chromium import Chromium

CHROMIUM = os.environ.get("TAVRIN_CHROMIUM", "/usr/bin/chromium-headless-shell")
WIDTHS = (400, 1280, 2560)
COMPLETE = "document.querySelector('#window-span').textContent !== '' &&" \
           " !document.getElementById('report').hidden"


def write_pages(tavrin, folder, recordings):
    for name in () if recordings else ("known", "hostile"):
        recordings.append(os.path.join(folder, name + ".jsonl"))
        getattr(page_runs, name + "_run")(recordings[-1])
    for recording in recordings:
        base = os.path.join(folder, os.path.splitext(os.path.basename(recording))[0])
        subprocess.run([tavrin, "report", "-q", "-w", "html", "-o", base, recording], check=True)
        yield base


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    folder = os.path.abspath(sys.argv[2])
    os.makedirs(folder, exist_ok=True)
    with Chromium(CHROMIUM) as browser:
        for base in write_pages(sys.argv[1], folder, sys.argv[3:]):
            for width, scheme in ((one, two) for one in WIDTHS for two in ("light", "dark")):
                page = browser.open(f"file://{base}.html", width, 1000, media={"scheme": scheme})
                page.until(COMPLETE)
                # As high as the page, so that all of it is on the screen, and drawn.
                page.resize(width, min(6000, page.evaluate("document.body.scrollHeight")))
                page.frames(90)
                page.screenshot(f"{base}-{width}-{scheme}.png")
                page.close()
            page = browser.open(f"file://{base}.html")
            page.until(COMPLETE)
            with open(base + ".pdf", "wb") as file:
                file.write(page.pdf())
    print("\n".join(sorted(os.path.join(folder, name) for name in os.listdir(folder)
                           if name.endswith((".png", ".pdf")))))


if __name__ == "__main__":
    main()
