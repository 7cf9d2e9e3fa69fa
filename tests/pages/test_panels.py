"""What stands around the lanes: sums of the visible window, tables, line plots."""

from page_support import PageTest, page_file


class Panels(PageTest):
    def uses(self, page):
        """Name, amount and share of each line of the first ranking."""
        return page.evaluate("""[...document.querySelectorAll("#usage section:first-child li")].map(
            (one) => [".name", ".value span:first-child", ".value span:last-child"].map((part) =>
              one.querySelector(part)?.textContent.replaceAll("\\u00a0", " ")))""")

    def states(self, page):
        return dict(page.evaluate("""[...document.querySelectorAll("#states li .name")].map((one) =>
            [one.textContent, one.nextSibling.ariaLabel?.replaceAll("\\u00a0", " ") ?? ""])"""))

    def window(self, page, text):
        page.until("document.getElementById('window-span').textContent.replaceAll('\\u00a0', ' ')"
                   f" === {text!r}")

    def test_sums_are_those_of_the_visible_window(self):
        page = self.open(page_file("known"))
        self.window(page, "8 s of 8 s")
        self.assertEqual(self.uses(page), [["make (10)", "1 s", "12.5 %"],
                                           ["cc (11)", "800 ms", "10.0 %"]])
        states = self.states(page)
        self.assertEqual(states["CPU0"], "Busy 50.0 %, C6 50.0 %")
        self.assertEqual(states["CPU1"], "C1 100.0 %")
        page.evaluate("location.hash = '#t=4,8'")
        self.window(page, "4 s of 8 s")
        self.assertEqual(self.uses(page), [["cc (11)", "400 ms", "10.0 %"]])
        self.assertEqual(self.states(page)["CPU0"], "C6 100.0 %")

    def test_tasks_are_ranked(self):
        page = self.open(page_file("sched_load.dat"))
        page.until("document.querySelector('#usage li')")
        uses = self.uses(page)
        self.assertGreater(len(uses), 5)
        self.assertNotIn("idle", [name for name, _, _ in uses])
        self.assertIn("CPU1", self.states(page))

    def test_tables_are_sorted_by_their_heads(self):
        page = self.open(page_file("known"))
        page.until("document.querySelector('#report table')")
        first = "#report section:nth-of-type(1) details:nth-of-type(1) "
        head, rows = first + "thead th:nth-child(3)", first + "tbody th"
        self.assertEqual(self.texts(page, rows), ["all CPUs", "CPU0", "CPU1"])
        orders = []
        for _ in range(3):
            page.press(head + " button")
            orders.append((page.evaluate(f"document.querySelector({head!r}).ariaSort"),
                           self.texts(page, rows)))
        self.assertEqual(orders, [("descending", ["CPU1", "all CPUs", "CPU0"]),
                                  ("ascending", ["CPU0", "all CPUs", "CPU1"]),
                                  ("none", ["all CPUs", "CPU0", "CPU1"])])

    def test_long_tables_are_shown_in_parts_and_found_by_words(self):
        page = self.open(page_file("known"))
        page.until("document.querySelector('#report table')")
        mine = """[...document.querySelectorAll("#report details")].find((one) =>
            one.textContent.includes("rail 0"))"""
        rows = f"{mine}.querySelectorAll('tbody tr').length"
        self.assertEqual(page.evaluate(rows), 16)
        page.evaluate(f"{mine}.open = true, {mine}.querySelector('.rest button').click()")
        self.assertEqual(page.evaluate(rows), 40)
        page.press("#report input[type=search]")
        page.write("rail 39")
        visible = "#report details:not([hidden]) tbody th"
        self.assertEqual(self.texts(page, visible), ["rail 39"])
        page.write(" nowhere")
        self.assertEqual(self.texts(page, visible), [])

    def test_lines_are_drawn_at_their_values(self):
        page = self.open(page_file("known"))
        left, top, width, height = page.box("#power .plot-over")
        page.until("document.querySelector('#power canvas')")
        page.frames(10)
        ticks = page.evaluate("""[...document.querySelectorAll("#power .ticks span")].map((one) =>
            [parseFloat(one.textContent), one.textContent.replace(/.*\\u00a0/, ""),
             parseFloat(one.style.bottom) / 100])""")
        self.assertTrue(all(unit == "W" for _, unit, _ in ticks))
        (low, _, down), (high, _, up) = ticks[0], ticks[-1]
        for part, watts in ((0.25, 10), (0.75, 2)):
            share = down + (watts - low) / (high - low) * (up - down)
            column = [page.colors(round(left + width * part), round(top) + y)[0]
                      for y in range(int(height))]
            # The line is where it is least like the paper, which is white.
            drawn = min(range(int(height)), key=lambda y: int(column[y][1:3], 16))
            self.assertAlmostEqual(drawn, height * (1 - share), delta=1.5, msg=f"{watts} W")

    def test_hovering_tells_the_value_and_gaps_are_gaps(self):
        page = self.open(page_file("known"))
        page.until("document.querySelector('#plots canvas')")
        room = """[...document.querySelectorAll(".plot")].find((one) =>
            one.textContent.includes("Room"))"""
        page.evaluate(f"{room}.id = 'room'")
        left, top, width, height = page.box("#room .plot-over")
        for second, text in ((2.5, "22 °C"), (5.5, "no data"), (7.5, "27 °C")):
            page.mouse("mouseMoved", left + width * second / 8, top + height / 2)
            page.frames(4)
            self.assertEqual(self.texts(page, "#room .value"), [text])
        label = page.evaluate("document.querySelector('#room .plot-over').ariaLabel")
        self.assertIn("from 20 °C to 27 °C", label.replace("\u00a0", " "))
