"""The page as a document: it loads, asks for nothing, stays inert, reads, prints."""

import re

from chromium import Chromium
from page_runs import HOSTILE
from page_support import CHROMIUM, PageTest, changed_page, ordinary_pages, page_file

SIZES = (400, 1280, 2560)


class Document(PageTest):
    def test_loads_without_a_word(self):
        for name in ordinary_pages():
            for width in SIZES:
                page = self.open(page_file(name), width=width)
                self.assertEqual(page.evaluate("document.documentElement.scrollWidth"), width)
                self.assertEqual(self.texts(page, "#faults"), [""])
                self.assertFalse(page.evaluate("Boolean(document.getElementById('starting'))"))

    def test_says_what_the_run_is(self):
        page = self.open(page_file("known"))
        self.assertIn("machine", self.texts(page, "h1")[0])
        summary = self.texts(page, "#summary")[0]
        self.assertIn("8 s", summary)
        self.assertIn("2 CPUs", summary)
        self.assertIn("Test OS", " ".join(self.texts(page, "#facts dd")))

    def test_hostile_names_stay_inert(self):
        for width in SIZES:
            page = self.open(page_file("hostile"), width=width)
            page.until("!document.getElementById('report').hidden")
            self.assertEqual(page.evaluate("document.documentElement.scrollWidth"), width)
            self.assertEqual(page.evaluate("typeof hacked"), "undefined")
            made = page.evaluate("document.querySelectorAll('img, svg, iframe, [onclick]').length")
            self.assertEqual(made, 0)
            self.assertEqual(page.evaluate("document.scripts.length"), 3)
            self.assertEqual(page.evaluate("[...document.querySelectorAll('*')].filter((one) =>"
                                           " [...one.attributes].some(({name}) =>"
                                           " name.startsWith('on'))).length"), 0)
            text = page.evaluate("document.body.innerText")
            self.assertIn(HOSTILE[0], text)
            self.assertIn("\\u202e", text)
            self.assertNotIn("\u202e", text)

    def test_a_damaged_block_of_points_is_told(self):
        with open(page_file("known")) as file:
            points = re.search(r'id="points">([^<]+)', file.read())[1].strip()
        half = len(points) // 8 * 4
        for damage, told in ((points[:half], "block of points is damaged"),
                             ("*" + points[1:], "not base64"), ("", "damaged")):
            page = self.open(changed_page("known", points, damage), drawn=False,
                             faults=("picture cannot be drawn",))
            page.until("document.querySelector('#faults .fault')")
            self.assertIn(told, self.texts(page, "#faults")[0])
            page.until("!document.getElementById('report').hidden")
            self.assertIn("CPU0", self.texts(page, "#report tbody th"))
            self.assertIn("Test OS", " ".join(self.texts(page, "#facts dd")))

    def test_a_damaged_run_is_told(self):
        page = self.open(changed_page("known", '"format"', '"format'), drawn=False,
                         faults=("cannot be read",))
        page.until("document.querySelector('#faults .fault')")
        self.assertIn("The run in this page cannot be read", self.texts(page, "#faults")[0])

    def test_a_browser_that_cannot_unpack_shows_the_rest(self):
        page = self.open(page_file("known"), drawn=False,
                         before="delete window.DecompressionStream;",
                         faults=("picture cannot be drawn",))
        page.until("!document.getElementById('facts').hidden")
        self.assertIn("lacks DecompressionStream", self.texts(page, "#faults")[0])
        self.assertIn("CPU0", self.texts(page, "#report tbody th"))
        self.assertFalse(page.evaluate("document.getElementById('picture').checkVisibility()"))

    def test_without_javascript_the_page_says_so(self):
        with Chromium(CHROMIUM, "--blink-settings=scriptEnabled=false") as browser:
            page = browser.open("file://" + page_file("known"))
            nodes = page.call("Accessibility.getFullAXTree")["nodes"]
        texts = [node.get("name", {}).get("value", "") for node in nodes]
        self.assertIn("switched off here", " ".join(texts))

    def test_theme_is_chosen_or_follows_the_system(self):
        paper = "getComputedStyle(document.body).backgroundColor"
        page = self.open(page_file("known"), media={"scheme": "light"})
        light = page.evaluate(paper)
        page.media(scheme="dark")
        dark = page.evaluate(paper)
        self.assertNotEqual(light, dark)
        page.press("#theme input[value=light] + span")
        self.assertEqual(page.evaluate(paper), light)
        page.key("ArrowRight")
        self.assertEqual(page.evaluate("document.activeElement.value"), "dark")
        self.assertEqual(page.evaluate(paper), dark)

    def test_prints_on_a_few_pages(self):
        for name in ordinary_pages():
            page = self.open(page_file(name), media={"scheme": "dark"})
            page.until("!document.getElementById('facts').hidden")
            pdf = page.pdf()
            pages = len(re.findall(rb"/Type\s*/Page\b", pdf))
            self.assertTrue(1 <= pages <= 6, f"{name}: {pages} pages")
            page.frames()
            self.assertFalse(page.evaluate("document.documentElement.className"))

    def test_reduced_motion_moves_nothing(self):
        page = self.open(page_file("known"), media={"motion": "reduce"})
        page.until("document.querySelector('.ranked .bar')")
        self.assertEqual(page.evaluate("document.getAnimations().length"), 0)
        self.assertEqual(page.evaluate(
            "getComputedStyle(document.querySelector('.ranked .bar')).transitionDuration"), "0s")


class Accessibility(PageTest):
    CONTROLS = {"button", "link", "radio", "checkbox", "searchbox", "textbox", "combobox", "slider",
                "menuitem", "tab", "switch", "spinbutton", "image", "figure", "application"}

    def tree(self, page):
        return [(node["role"]["value"], node.get("name", {}).get("value", ""))
                for node in page.call("Accessibility.getFullAXTree")["nodes"]
                if not node["ignored"] and "role" in node]

    def test_every_control_has_a_name(self):
        for name in ordinary_pages():
            page = self.open(page_file(name))
            page.until("!document.getElementById('facts').hidden")
            page.until("document.querySelector('#states li')")
            page.until("![...document.querySelectorAll('canvas[role=img]')].some((one) =>"
                       " !one.ariaLabel && one.height)")
            tree = self.tree(page)
            controls = [one for one in tree if one[0].lower() in self.CONTROLS]
            self.assertGreater(len(controls), 10)
            self.assertEqual([role for role, text in controls if not text.strip()], [], name)
            heads = [text for role, text in tree if role == "heading"]
            self.assertLessEqual({"Timeline", "In the visible window", "Report"}, set(heads))

    def test_the_keyboard_reaches_the_picture_first(self):
        page = self.open(page_file("known"), fragment="#t=1,3")
        page.key("Tab")
        self.assertEqual(page.evaluate("document.activeElement.id"), "skip")
        page.key("Enter")
        self.assertEqual(page.evaluate("document.activeElement.id"), "picture")
        self.assertEqual(page.evaluate("location.hash"), "#t=1,3")

    def test_focus_is_seen(self):
        page = self.open(page_file("known"))
        page.until("!document.getElementById('report').hidden")
        seen = 0
        for _ in range(25):
            page.key("Tab")
            style = page.evaluate("""(() => { const one = document.activeElement;
                const shown = one.matches("#theme input") ? one.nextElementSibling : one;
                return one === document.body ? "" : getComputedStyle(shown).outlineStyle; })()""")
            self.assertNotEqual(style, "none", page.evaluate("document.activeElement.outerHTML"))
            seen += style != ""
        self.assertGreater(seen, 15)
