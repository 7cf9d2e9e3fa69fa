#!/usr/bin/python3
"""Runs the commands of the documentation and checks what it names.

usage: documentation_test.py TAVRIN SOURCE EXAMPLES

The blocks ```sh of README.md and docs/*.md are run page by page, in order, in a folder of the page's
own, in which the programs of the folder EXAMPLES are. Each has to succeed. A block that cannot be run
in a test says what it needs, as in ```sh needs=root, and is listed at the end; NEEDS has what there is.
All other blocks have no commands in them.
"""

import functools
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

TAVRIN, SOURCE, EXAMPLES = map(os.path.abspath, sys.argv[1:4])
DEADLINE = 300  # seconds for a page

# Pages whose commands another test runs.
TESTED_ELSEWHERE = {"docs/fleet.md": "tests/engines/test_guide.py",
                    "examples/README.md": "tests/install_test.py"}

# What a block may need that no test has, and what it cannot be without then.
NEEDS = {
    "root": r"\bsudo\b",
    "engine": r"tavrin ship|--ship\b",
    "systemd": r"\bsystemctl\b|\bjournalctl\b",
    "build": r"(?m)^(\./(run|test|bench)|cmake|scripts/|benchmarks/)",
    "installation": r"\bpkg-config\b",
}
MOST_NOT_RUN = 0.5  # of the blocks

# Options that stand alone in a text and are of no command: one of containers, and any one.
OTHERS = {"--pid", "--name"}


def read(path):
    with open(os.path.join(SOURCE, path), encoding="utf-8") as file:
        return file.read()


def all_pages():
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.md"], cwd=SOURCE,
                            capture_output=True, text=True, check=False).stdout.split()
    return [page for page in listed if os.path.exists(os.path.join(SOURCE, page))]


def guides():
    """The pages whose commands are run here."""
    return [page for page in all_pages() if re.fullmatch(r"README\.md|docs/[^/]+\.md", page)
            and page not in TESTED_ELSEWHERE]


def blocks(page):
    """Each block's line, language, need (or nothing) and text."""
    for found in re.finditer(r"(?ms)^```(\w*)(?: +([^\n]*))?\n(.*?)^```$", read(page)):
        line = read(page)[:found.start()].count("\n") + 1
        yield line, found[1], found[2] or "", found[3]


def shell_blocks(page):
    return [(line, need, text) for line, language, need, text in blocks(page) if language == "sh"]


def prose(page):
    return re.sub(r"(?ms)^```.*?^```$", "", read(page))


@functools.lru_cache(maxsize=None)
def help_of(*command):
    done = subprocess.run([TAVRIN, *command, "--help"], capture_output=True, text=True, check=False)
    assert done.returncode == 0, f"tavrin {command}: {done.stderr}"
    return done.stdout


def subcommands():
    return re.findall(r"(?m)^  ([a-z]+) {2,}\S", help_of().split("Subcommands:")[1])


def options_of(*command):
    return set(re.findall(r"(?<![\w-])--[a-z][\w-]*", help_of(*command)))


def calls(text):
    """The subcommand and the options of each call of `tavrin` in commands."""
    text = re.sub(r"\\\n", " ", text)
    for found in re.finditer(r"(?m)(?:^|[\s|;&(`])tavrin +([a-z]+)\b([^\n|;&`]*)", text):
        own = re.split(r" -- ", found[2])[0]
        yield found[1], re.findall(r"(?<=\s)--[a-z][\w-]*", own)


class Commands(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        programs = os.path.join(self.folder, "bin")
        self.work = os.path.join(self.folder, "work")
        os.makedirs(programs)
        os.makedirs(self.work)
        os.symlink(TAVRIN, os.path.join(programs, "tavrin"))
        self.environment = {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}", "HOME": self.folder}

    def place_examples(self):
        for name in ("collector", "read_result", "libcount_writer.so"):
            os.symlink(os.path.join(EXAMPLES, name), os.path.join(self.work, name))

    def run_page(self, page):
        for line, need, text in shell_blocks(page):
            if not need:
                done = subprocess.run(["sh", "-ec", text], cwd=self.work, env=self.environment, text=True,
                                      stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                      stderr=subprocess.STDOUT, timeout=DEADLINE, check=False)
                self.assertEqual(done.returncode, 0, f"{page}:{line}:\n{text}{done.stdout}")

    def test_marks(self):
        """A block that is not run says why, and has that in it; most are run."""
        run, left = 0, []
        for page in guides():
            for line, need, text in shell_blocks(page):
                with self.subTest(f"{page}:{line}"):
                    self.assertTrue(text.strip())
                    subprocess.run(["sh", "-nc", text], check=True)
                    if not need:
                        run += 1
                        continue
                    left.append(f"{page}:{line}: {need}")
                    kind = need.removeprefix("needs=")
                    self.assertIn(kind, NEEDS)
                    self.assertRegex(text, NEEDS[kind])
        print("\n".join(["not run:", *left]), file=sys.stderr)
        self.assertGreater(run, 20)
        self.assertLessEqual(len(left), MOST_NOT_RUN * (run + len(left)))

    def test_no_commands_elsewhere(self):
        """What is to be typed stands in blocks that are run or marked."""
        typed = re.compile(r"(?m)^(\$ )?(sudo |systemctl |cmake |\./\w|tavrin (?!record --)[a-z]+ [^|]*-)")
        for page in guides():
            for line, language, _, text in blocks(page):
                if language in ("", "text", "console"):
                    self.assertNotRegex(text, typed, f"{page}:{line}")

    def test_pages_of_other_tests(self):
        for page, test in TESTED_ELSEWHERE.items():
            self.assertIn(os.path.basename(page), read(test))


def add_page_tests():
    def test_of(page):
        def test(self):
            self.place_examples()
            self.run_page(page)
        return test
    for page in guides():
        name = re.sub(r"\W", "_", page.removeprefix("docs/").removesuffix(".md"))
        setattr(Commands, f"test_page_{name}", test_of(page))


class Names(unittest.TestCase):
    """What the pages name is there, and what is there is named."""

    def setUp(self):
        self.guides = "\n".join(read(page) for page in all_pages())

    def listed(self, topic, pattern):
        done = subprocess.run([TAVRIN, "list", topic], capture_output=True, text=True, check=True)
        names = re.findall(pattern, done.stdout)
        self.assertGreater(len(names), 3, done.stdout)
        return names

    def test_commands(self):
        table = re.findall(r"`tavrin ([a-z]+)`", read("README.md"))
        self.assertLessEqual(set(subcommands()), set(table))
        for name in subcommands():
            self.assertRegex(self.guides, rf"tavrin {name}\b")

    def test_writers(self):
        for name in self.listed("writers", r"(?m)^  ([\w-]+) +\S*(?:BASE|Automation)"):
            for page in ("README.md", "docs/outputs.md"):
                self.assertIn(f"| `{name}` |", read(page))

    def test_features(self):
        for name in self.listed("features", r"(?m)^  ([\w-]+) +(?:present|absent|on demand|refused)"):
            self.assertIn(f"| `{name}` |", read("docs/features.md"))

    def test_calls(self):
        """Every call of the command on any page is one that it knows."""
        known, seen = set(subcommands()), 0
        for page in all_pages():
            for command, options in calls(read(page)):
                if command not in known:
                    continue  # words behind the name, as in "tavrin is"
                seen += 1
                self.assertLessEqual(set(options), options_of(command), f"{page}: tavrin {command}")
        self.assertGreater(seen, 50)

    def test_options(self):
        """An option that stands alone in a text is one of some command."""
        known = set().union(OTHERS, options_of(), *(options_of(name) for name in subcommands()))
        for page in guides():
            for option in re.findall(r"`(--[a-z][\w-]*\w)[^`]*`", prose(page)):
                self.assertIn(option, known, page)


class Pages(unittest.TestCase):
    def test_links(self):
        for page in all_pages():
            for target, anchor in re.findall(r"\]\(([^)#\s:]*)(?:#([^)\s]*))?\)", prose(page)):
                path = os.path.normpath(os.path.join(os.path.dirname(page), target)) if target else page
                with self.subTest(f"{page} -> {target}#{anchor}"):
                    self.assertTrue(os.path.exists(os.path.join(SOURCE, path)))
                    if anchor:
                        self.assertIn(anchor, self.anchors(path))

    def test_architecture_names_what_is_there(self):
        """Names in its text, and the folders of its lists, are those of files or words of the sources."""
        listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=SOURCE, text=True,
                                capture_output=True, check=True).stdout.split()
        sources = (read(path) for path in listed if path.endswith((".h", ".cpp", ".cmake", ".txt", ".py")))
        words = set().union(*(re.findall(r"\w+", source) for source in sources))
        page = read("docs/architecture.md")
        folders = [name for _, language, _, text in blocks("docs/architecture.md") if not language
                   for name in re.findall(r"(?m)^([\w/]+/) ", text)]
        names = [re.split(r"[ =(<*]", name)[0] for name in re.findall(r"`([^`\n]+)`", page)]
        self.assertGreater(len(folders), 20)
        for name in (*folders, *filter(None, names)):
            with self.subTest(name):
                self.assertTrue(any(f"/{path}".find(f"/{name}") >= 0 for path in listed)
                                or set(re.findall(r"\w+", name)) <= words)

    def anchors(self, page):
        headings = re.findall(r"(?m)^#+ +(.*)$", prose(page))
        return [re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings]

    def test_every_guide_is_linked(self):
        linked = {os.path.normpath(os.path.join(os.path.dirname(page), target))
                  for page in all_pages()
                  for target in re.findall(r"\]\(([^)#\s:]+)", prose(page))}
        self.assertEqual(set(all_pages()) - {"README.md"} - linked, set())

    def test_readme_is_short(self):
        self.assertLessEqual(read("README.md").count("\n"), 120)

    def test_code_is_that_of_the_examples(self):
        """C++ in the guides stands in an example, word for word."""
        examples = [read(f"examples/{name}") for name in os.listdir(os.path.join(SOURCE, "examples"))
                    if name.endswith((".cpp", ".c"))]
        for page in guides():
            for line, language, _, text in blocks(page):
                if language in ("c", "cpp"):
                    self.assertTrue(any(text in example for example in examples), f"{page}:{line}")


if __name__ == "__main__":
    add_page_tests()
    unittest.main(argv=sys.argv[:1], verbosity=2)
