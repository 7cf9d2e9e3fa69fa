"""Reading lanes and putting them in order, by words and keys."""

from page_support import PageTest, page_file

SHIFT, ALT = 8, 1


class LanesTest(PageTest):
    def row(self, page, name):
        """The selector of a lane's row."""
        at = self.names(page).index(name)
        return f"#lanes .lane:nth-child({at + 1})"

    def names(self, page):
        return [name.split("\u00a0")[0] for name in page.evaluate(
            """[...document.querySelectorAll("#lanes .lane-name")].map((one) =>
            one.firstChild.textContent)""")]

    def window(self, page):
        """From and to, as the slider of the axis says them, in seconds."""
        text = page.evaluate("document.querySelector('.axis-scale').ariaValueText")
        for blank in "\u00a0\u2009s":
            text = text.replace(blank, "")
        return [float(one) for one in text.replace("\u2212", "-").split("to")]

    def assert_window(self, page, start, end, slack=0.02):
        page.frames()
        for seen, wanted in zip(self.window(page), (start, end)):
            self.assertAlmostEqual(seen, wanted, delta=slack)

    def spot(self, page, name, part):
        """The middle of a lane, at a part of its drawing's width."""
        left, top, width, height = page.box(self.row(page, name) + " .lane-drawing")
        return left + part * width, top + height / 2

    def hover(self, page, name, part):
        """What the box says of a lane at a part of its width."""
        x, y = self.spot(page, name, part)
        page.mouse("mouseMoved", x - 3, y)
        page.mouse("mouseMoved", x, y)
        page.frames()
        return page.evaluate("document.querySelector('.readout-box').textContent").replace("\u00a0", " ")


class Pixels(LanesTest):
    def test_lanes_are_sharp_on_dense_screens_and_follow_the_width(self):
        page = self.open(page_file("known"))
        size = "(() => { const one = document.querySelector('#lanes canvas'); return one.width / one.clientWidth; })()"
        self.assertAlmostEqual(page.evaluate(size), 1, delta=0.01)
        page.resize(700, 900, scale=2)
        page.frames(4)
        self.assertAlmostEqual(page.evaluate(size), 2, delta=0.02)


class Words(LanesTest):
    def test_hovering_tells_values_with_units(self):
        page = self.open(page_file("known"))
        told = self.hover(page, "CPU0", 0.8)
        self.assertIn("CPU0 at 6.40", told.replace("\u2009", ""))
        self.assertIn("C6 100.0 %", told)
        told = self.hover(page, "Package0", 0.2)
        self.assertIn("1 busy", told)
        self.assertIn("1 C1", told)
        page.mouse("mouseMoved", 5, 5)
        page.frames()
        self.assertTrue(page.evaluate("document.querySelector('.readout-box').hidden"))

    def test_screen_readers_are_told_the_same(self):
        page = self.open(page_file("known"))
        self.hover(page, "CPU0", 0.8)
        page.until("document.querySelector('#readout [role=status]').textContent.includes('C6')")
        page.until(f"document.querySelector({self.row(page, 'CPU0') + ' canvas'!r}).ariaLabel?.includes('C6')")
        label = page.evaluate(f"document.querySelector({self.row(page, 'CPU0') + ' canvas'!r}).ariaLabel")
        self.assertIn("CPU0: Idle state", label)
        self.assertIn("50.0", label)

class Moving(LanesTest):
    def test_the_wheel_moves_sideways_and_zooms_out_to_the_run_alone(self):
        page = self.open(page_file("known"), "#t=1,5")
        x, y = self.spot(page, "CPU0", 0.25)
        page.mouse("mouseWheel", x, y, deltaX=100000, deltaY=0)
        self.assert_window(page, 4, 8)
        for _ in range(3):
            page.mouse("mouseWheel", x, y, deltaX=0, deltaY=2000)
            page.frames()
        self.assert_window(page, 0, 8)

    def test_a_drag_with_shift_chooses_a_range(self):
        page = self.open(page_file("known"), "#t=2,4")
        (x0, y), (x1, _) = (self.spot(page, "CPU0", part) for part in (0.25, 0.75))
        page.mouse("mousePressed", x0, y, button="left", clickCount=1, modifiers=SHIFT)
        page.mouse("mouseMoved", x1, y, button="left", buttons=1, modifiers=SHIFT)
        page.mouse("mouseReleased", x1, y, button="left", clickCount=1, modifiers=SHIFT)
        self.assert_window(page, 2.5, 3.5)

    def test_two_fingers_zoom_and_one_moves(self):
        page = self.open(page_file("known"))
        page.call("Emulation.setTouchEmulationEnabled", enabled=True, maxTouchPoints=2)

        def touch(kind, *parts):
            spots = [self.spot(page, "CPU0", part) for part in parts]
            page.call("Input.dispatchTouchEvent", type=kind, touchPoints=[
                {"x": x, "y": y, "id": at} for at, (x, y) in enumerate(spots)])
        touch("touchStart", 0.45)
        touch("touchStart", 0.45, 0.55)
        for step in range(1, 6):
            touch("touchMove", 0.45 - step * 0.01, 0.55 + step * 0.01)
        touch("touchEnd")
        self.assert_window(page, 2, 6, 0.05)
        touch("touchStart", 0.6)
        for step in range(1, 6):
            touch("touchMove", 0.6 - step * 0.05)
        touch("touchEnd")
        self.assert_window(page, 3, 7, 0.05)

    def test_the_keyboard_reads_a_lane_moment_by_moment(self):
        page = self.open(page_file("known"))
        page.evaluate("document.querySelector('#lanes .lane').focus()")
        focused = "document.activeElement.querySelector('.lane-name').textContent"
        self.assertEqual(page.evaluate(focused), "Package0")
        page.key("ArrowDown")
        self.assertEqual(page.evaluate(focused), "CPU0")
        page.key("ArrowRight", SHIFT)
        told = "document.querySelector('.readout-box').textContent.replaceAll('\\u00a0', ' ')"
        self.assertIn("C6 100.0 %", page.evaluate(told))
        page.key("Enter")
        self.assertIn("4.8", page.evaluate("document.querySelector('.pin-flag').textContent"))
        page.key("Escape")
        self.assertTrue(page.evaluate("document.querySelector('.pin-flag').hidden"))


class Order(LanesTest):
    def test_lanes_are_folded(self):
        page = self.open(page_file("known"))
        page.press(self.row(page, "Package0") + " .lane-fold")
        self.assertNotIn("CPU0", self.names(page))
        self.assertEqual(page.evaluate("document.querySelector('#lanes .lane').ariaExpanded"), "false")
        page.evaluate("document.querySelector('#lanes .lane').focus()")
        page.key(" ")
        self.assertIn("CPU0", self.names(page))

    def test_lanes_are_moved_by_keys_and_by_their_names(self):
        page = self.open(page_file("known"))
        page.evaluate(f"document.querySelector({self.row(page, 'CPU0')!r}).focus()")
        page.key("ArrowDown", ALT)
        self.assertEqual(self.names(page)[:3], ["Package0", "CPU1", "CPU0"])
        self.assertEqual(page.evaluate("document.activeElement.querySelector('.lane-name').textContent"), "CPU0")
        left, top, _, height = page.box(self.row(page, "CPU0") + " .lane-name")
        page.drag((left + 5, top + height / 2), (left + 5, top + height / 2 - 40))
        self.assertEqual(self.names(page)[:3], ["Package0", "CPU0", "CPU1"])
