"""Prints how fast a page of many points is. What it must be is checked by benchmarks/page_speed.py:
a machine that tests has other things to do."""

import speed
from page_support import PageTest, browser, page_file


class Speed(PageTest):
    def test_zooming_a_long_run_keeps_up(self):
        path = page_file("long")
        drawn = speed.seconds_until_drawn(browser(), path, times=1)
        page = self.open(path)
        steps = speed.zoom_steps(page, 20)
        print(speed.told(drawn, steps), end=" ... ", flush=True)
        page.until("location.hash.startsWith('#t=')", 10)
