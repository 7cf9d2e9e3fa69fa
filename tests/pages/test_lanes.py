"""The lanes on the screen: their colours are the run's states, hovering tells its values, and every
way to move through them works."""

import json
import subprocess

from page_support import RECORDINGS, TAVRIN, PageTest, page_file

SHIFT = 8


class LaneTest(PageTest):
    def lane(self, page, name):
        """Left, top, width and height of the drawing of the lane of this name."""
        page.evaluate(f"""[...document.querySelectorAll(".lane")].find((one) =>
            one.querySelector(".lane-name").textContent.trim().startsWith({json.dumps(name)}))
            .dataset.test = {json.dumps(name)}""")
        return page.box(f'.lane[data-test="{name}"] .lane-drawing')

    def lanes(self, page):
        return [text.strip() for text in self.texts(page, ".lane .lane-name")]

    def legend(self, page):
        """The colour of each state, as the page says."""
        page.until("document.querySelector('#legend li')")
        return dict(page.evaluate("""[...document.querySelectorAll("#legend .swatch")].map((one) => [
            one.parentElement.textContent, "#" + getComputedStyle(one).backgroundColor
              .match(/\\d+/g).map((part) => (+part).toString(16).padStart(2, "0"))
              .join("").slice(0, 6)])"""))

    def window(self, page):
        """The window that the address has, when it is there; the whole run is []."""
        page.until("new Promise((done) => setTimeout(() => done(true), 350))")
        text = page.evaluate("location.hash")
        return [float(part) for part in text[3:].split(",")] if text.startswith("#t=") else []


class Pixels(LaneTest):
    def test_states_have_the_colours_of_the_legend(self):
        page = self.open(page_file("known"))
        colors = self.legend(page)
        left, top, width, height = self.lane(page, "CPU0")
        row = page.colors(left, top + 4, width)
        self.assertEqual(set(row[10:int(width / 2) - 2]), {colors["Busy"]})
        self.assertEqual(set(row[int(width / 2) + 2:int(width) - 10]), {colors["C6"]})
        left, top, width, height = self.lane(page, "CPU1")
        self.assertEqual(set(page.colors(left + 10, top + 4, width - 20)), {colors["C1"]})

    def test_cpu1_never_sleeps_deeper_than_the_first_state(self):
        page = self.open(page_file("sched_load.dat"))
        colors = self.legend(page)
        deep = {colors["state1"], colors["state2"]}
        light = [sum(bytes.fromhex(colors[f"state{one}"][1:])) for one in range(3)]
        self.assertEqual(light, sorted(light, reverse=True), "the deeper, the darker")
        seen = {}
        for name in ("CPU0", "CPU1", "CPU2"):
            left, top, width, height = self.lane(page, name)
            seen[name] = {color for y in range(2, int(height) - 2, 4)
                          for color in page.colors(left, top + y, width)}
        self.assertIn(colors["state0"], seen["CPU1"])
        self.assertEqual(seen["CPU1"] & deep, set())
        self.assertEqual(seen["CPU0"] & deep, deep)
        self.assertIn(colors["state2"], seen["CPU2"])

    def test_dark_lanes_have_the_colours_of_the_dark_legend(self):
        page = self.open(page_file("known"), media={"scheme": "dark"})
        left, top, width, height = self.lane(page, "CPU0")
        colors = self.legend(page)
        self.assertEqual(page.colors(left + width * 3 // 4, top + 4), [colors["C6"]])
        page.press("#theme input[value=light] + span")
        page.frames(4)
        light = self.legend(page)
        self.assertNotEqual(light["C6"], colors["C6"])
        self.assertEqual(page.colors(left + width * 3 // 4, top + 4), [light["C6"]])


class Hovering(LaneTest):
    def points(self, name, entity):
        """What the command tells of a recording: state or task with its time and length."""
        lines = subprocess.run(
            [TAVRIN, "export", "--format", "jsonl", "-c", "time,duration,metric,value",
             "--entity", entity, f"{RECORDINGS}/{name}"],
            check=True, capture_output=True, text=True, timeout=60).stdout.splitlines()
        return [point for point in map(json.loads, lines)
                if point["metric"] in ("CPU Idle State", "Running Task")]

    def test_hovering_tells_what_the_command_exports(self):
        path = page_file("sched_load.dat")
        page = self.open(path)
        points = [one for one in self.points("sched_load.dat", "*CPU3") if one["duration"]]
        self.assertGreater(len(points), 50)
        for point in points[::len(points) // 16]:
            start, length = point["time"], point["duration"]
            page.evaluate(f"location.hash = '#t={max(0, start - length)},{start + 2 * length}'")
            page.frames(3)
            left, top, width, height = self.lane(page, "CPU3")
            from_sec, to_sec = page.evaluate("""location.hash.slice(3).split(",").map(Number)""")
            part = (start + length / 2 - from_sec) / (to_sec - from_sec)
            page.mouse("mouseMoved", left + width * part, top + height / 2)
            page.frames(3)
            told = self.texts(page, "#readout .readout-box p")
            self.assertIn("CPU3 at", told[0])
            self.assertIn(point["value"], " ".join(told[1:]), f"{point} in {told}")

    def test_a_click_pins_and_another_looses(self):
        page = self.open(page_file("known"))
        left, top, width, height = self.lane(page, "CPU0")
        page.click(left + width / 4, top + height / 2)
        page.until("document.querySelector('.pin-flag:not([hidden])')")
        self.assertIn("2", self.texts(page, ".pin-flag")[0])
        page.mouse("mouseMoved", 5, 5)
        page.frames(3)
        self.assertIn("10 W", self.texts(page, "#power .value"))
        page.press(".pin-flag")
        self.assertFalse(page.evaluate("Boolean(document.querySelector('.pin-flag:not([hidden])'))"))


class Moving(LaneTest):
    def test_the_wheel_zooms_about_the_pointer(self):
        page = self.open(page_file("known"))
        left, top, width, height = self.lane(page, "CPU0")
        for _ in range(5):
            page.mouse("mouseWheel", left + width / 4, top + 5, deltaX=0, deltaY=-200)
            page.frames(2)
        start, end = self.window(page)
        self.assertLess(end - start, 4)
        self.assertAlmostEqual(start + (end - start) / 4, 2, places=1)
        self.assertEqual(page.evaluate("scrollY"), 0)

    def test_drags_move_the_window_and_choose_one(self):
        page = self.open(page_file("known"), fragment="#t=2,4")
        left, top, width, height = self.lane(page, "CPU0")
        page.drag((left + width * 0.75, top + 5), (left + width * 0.25, top + 5))
        start, end = self.window(page)
        self.assertAlmostEqual(start, 3, places=1)
        self.assertAlmostEqual(end, 5, places=1)
        left, top, width, height = page.box(".axis-scale")
        page.drag((left + width * 0.25, top + 5), (left + width * 0.5, top + 5))
        start, end = self.window(page)
        self.assertAlmostEqual(start, 3.5, places=1)
        self.assertAlmostEqual(end, 4, places=1)

    def test_keys_zoom_move_and_read(self):
        page = self.open(page_file("known"))
        page.evaluate("document.querySelector('.axis-scale').focus()")
        page.key("+")
        self.assertEqual(self.window(page), [2, 6])
        page.key("ArrowLeft", SHIFT)
        self.assertEqual(self.window(page), [0, 4])
        page.key("0")
        self.assertEqual(self.window(page), [])
        page.evaluate("document.querySelector('.lane[tabindex=\"0\"]').focus()")
        page.key("ArrowDown")
        self.assertTrue(page.evaluate("document.activeElement.matches('.lane')"))
        for _ in range(3):
            page.key("ArrowRight")
        page.until("document.querySelector('#readout [role=status]').textContent")
        page.key("Enter")
        page.until("document.querySelector('.pin-flag:not([hidden])')")

    def test_the_address_has_the_window_both_ways(self):
        page = self.open(page_file("known"), fragment="#t=1.5,2.5")
        page.until("document.getElementById('window-span').textContent.startsWith('1')")
        self.assertEqual(self.window(page), [1.5, 2.5])
        page.evaluate("location.hash = '#t=4,8'")
        colors = self.legend(page)
        page.frames(4)
        left, top, width, height = self.lane(page, "CPU0")
        self.assertEqual(set(page.colors(left + 2, top + 4, width - 4)), {colors["C6"]})
        for broken in ("#t=", "#t=5", "#t=a,b", "#t=9e99,1", "#nothing"):
            page.evaluate(f"location.hash = {broken!r}")
            page.frames(3)
        self.assertEqual(self.texts(page, "#faults"), [""])


class Finding(LaneTest):
    def test_search_finds_lanes_and_plots(self):
        page = self.open(page_file("known"))
        every = self.lanes(page)
        page.press("#lane-tools input[type=search]")
        page.write("cpu1")
        page.frames(4)
        found = self.lanes(page)
        self.assertIn("CPU1", found)
        self.assertNotIn("CPU0", found)
        page.evaluate("document.activeElement.select()")
        page.write("room")
        page.frames(4)
        self.assertEqual(page.evaluate("document.querySelectorAll('.plot:not([hidden])').length"), 1)
        page.evaluate("document.activeElement.select()")
        page.key("Delete")
        page.evaluate("""(() => { const field = document.activeElement;
            field.value = ""; field.dispatchEvent(new Event("input")); })()""")
        page.frames(4)
        self.assertEqual(self.lanes(page), every)

    def test_levels_fold_and_lanes_hide_and_return(self):
        page = self.open(page_file("known"))
        every = self.lanes(page)
        self.assertIn("CPU0", every)
        page.press("#lane-tools button[title*='packages']")
        page.frames(3)
        self.assertNotIn("CPU0", self.lanes(page))
        page.press("#lane-tools button[title*='CPUs']")
        page.frames(3)
        self.assertIn("CPU0", self.lanes(page))
        self.lane(page, "CPU0")
        page.evaluate("document.querySelector('.lane[data-test=CPU0] .lane-hide').click()")
        page.frames(3)
        self.assertNotIn("CPU0", self.lanes(page))
        page.until("[...document.querySelectorAll('#lane-tools summary')].find((one) =>"
                   " one.textContent === '1 hidden') !== undefined")
        page.evaluate("document.querySelector('#lane-tools [title*=\"CPU0\"]').click()")
        page.frames(3)
        self.assertIn("CPU0", self.lanes(page))
