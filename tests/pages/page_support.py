"""What the tests of the page share: one browser, pages made of known runs, and what each test must
leave behind: no error in the browser's log, nothing refused, nothing asked for."""

import functools
import os
import subprocess
import tempfile
import unittest

import page_runs
from chromium import Chromium

CHROMIUM = os.environ.get("TAVRIN_CHROMIUM", "/usr/bin/chromium-headless-shell")
TAVRIN = os.environ["TAVRIN_COMMAND"]
RECORDINGS = os.environ.get("TAVRIN_TEST_DATA", "")
FOLDER = tempfile.TemporaryDirectory(prefix="tavrin-pages-")
DRAWN = "performance.getEntriesByName('tavrin-lanes').length"


@functools.cache
def browser():
    return Chromium(CHROMIUM)


def end():
    """Ends what the tests share."""
    if browser.cache_info().currsize:
        browser().__exit__()
    FOLDER.cleanup()


def ordinary_pages():
    """Names of the pages of usual runs; the recording is among them where there is one."""
    recorded = "sched_load.dat"
    return ["known"] + [recorded] * os.path.exists(os.path.join(RECORDINGS, recorded))


@functools.cache
def page_file(name, *options):
    """The page of a run of page_runs ("known", "hostile") or of a recording ("sched_load.dat")."""
    base = os.path.join(FOLDER.name, name + "".join(options))
    if hasattr(page_runs, name + "_run"):
        source = base + ".jsonl"
        getattr(page_runs, name + "_run")(source)
    else:
        source = os.path.join(RECORDINGS, name)
        if not os.path.exists(source):
            raise unittest.SkipTest(f"TAVRIN_TEST_DATA has no {name}")
    subprocess.run([TAVRIN, "report", "-w", "html", *options, "-o", base, source], check=True,
                   capture_output=True, timeout=120)
    return base + ".html"


def changed_page(name, old, new, count=1):
    """A page with a text replaced."""
    with open(page_file(name)) as file:
        text = file.read()
    assert old in text, f"the page has no {old}"
    path = os.path.join(FOLDER.name, f"changed-{abs(hash((name, old, new)))}.html")
    with open(path, "w") as file:
        file.write(text.replace(old, new, count))
    return path


class PageTest(unittest.TestCase):
    def open(self, path, fragment="", drawn=True, faults=(), **options):
        """Opens a page and waits for its lanes. What the browser logs must be among `faults`."""
        page = browser().open(f"file://{path}{fragment}", **options)
        self.addCleanup(self.close_page, page, path, faults)
        if drawn:
            page.until(DRAWN)
        return page

    def close_page(self, page, path, faults):
        problems = [one for one in page.problems if not any(fault in one for fault in faults)]
        refused = page.evaluate("window.refused")
        page.close()
        self.assertEqual(problems, [])
        self.assertEqual(refused, [])
        self.assertEqual([one for one in page.requests if path not in one], [])

    def texts(self, page, selector):
        """The texts of all elements, blanks as a keyboard has them."""
        found = page.evaluate(
            f"[...document.querySelectorAll({selector!r})].map((one) => one.textContent)")
        return [text.replace("\u00a0", " ") for text in found]
