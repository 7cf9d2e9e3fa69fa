"""Another browser shows the page, and has nothing to say about it."""

import os
import unittest

from firefox import Firefox
from page_support import DRAWN, page_file

PROGRAM = os.environ.get("TAVRIN_FIREFOX", "/usr/bin/firefox-esr")


@unittest.skipUnless(os.path.exists(PROGRAM), "there is no firefox-esr")
class OtherBrowser(unittest.TestCase):
    def test_shows_pages_without_an_error(self):
        with Firefox(PROGRAM) as browser:
            for name in ("known", "hostile"):
                browser.open("file://" + page_file(name))
                browser.until(DRAWN)
                browser.until("!document.getElementById('facts').hidden")
                faults = browser.evaluate("document.getElementById('faults').textContent")
                self.assertEqual(faults, "")
                self.assertEqual(browser.evaluate("typeof hacked"), "undefined")
                self.assertEqual(browser.problems(f"/{name}.html"), [])
