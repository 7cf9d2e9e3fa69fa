#!/usr/bin/env python3
"""Runs clang-tidy on the files that differ from the branch main, or on all of them.

  clang-tidy.py         sources that are changed, and those that belong to a changed header
  clang-tidy.py all     every source
  clang-tidy.py FILE... these

A source is analysed once: that it is clean is kept in build/clang-tidy/ under a hash of all that the
result depends on, which is the text of the file and of every header that it includes, the flags, the
checks and the version of clang-tidy. Findings are not kept; they are printed every time.

Most of the time goes into the headers of the system, and many sources include the same. With `all`, the
sources of a folder are therefore analysed together, as one text. Where there is nothing to find, each of
them is clean; otherwise they are analysed one by one, and that counts.
"""

import concurrent.futures
import hashlib
import json
import os
import re
import resource
import shutil
import subprocess
import sys
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "analyse"
CACHE = ROOT / "build" / "clang-tidy"
FOLDERS = ("examples", "exporters", "formats", "fuzz", "hostcommon", "packing", "readers", "tavrin", "tests",
           "writers")
# The analyser does not follow calls into the standard library: it takes a third of the time, and what
# it finds there is not ours. Nor does it go on for as long as it would in the few functions with too many
# ways through them: what it reaches there it has reached before a third of that time.
ANALYSER = ("-Xclang", "-analyzer-config", "-Xclang", "c++-stdlib-inlining=false,max-nodes=75000")
OPTIONS = ["--quiet", "--extra-arg=-Wno-unknown-warning-option",
           *(f"--extra-arg={option}" for option in ANALYSER)]
# Names in anonymous namespaces differ within a folder, but for the tests, which have nothing outside.
ANONYMOUS = re.compile(r"^namespace \{", re.MULTILINE)
OUTPUT = re.compile(r" -o \S+ -c \S+$")
TOGETHER_BYTES = 80_000
DIAGNOSTIC = re.compile(r"^\S+:\d+:\d+: (?:warning|error): ", re.MULTILINE)
HEADER = re.compile(r"^\.+ (.+)$")


def git(*arguments):
    answer = subprocess.run(["git", *arguments], cwd=ROOT, check=True, capture_output=True,
                            text=True)
    return answer.stdout.splitlines()


def compile_commands():
    """The command of each source, by its path below the project's folder."""
    configure = ["cmake", "--preset", "analyse"]
    if (BUILD / "build.ninja").exists():
        configure = ["ninja", "-C", str(BUILD), "build.ninja"]  # only when a list of files is new
    made = subprocess.run(configure, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True)
    if made.returncode != 0:
        sys.exit(made.stdout)
    entries = json.loads((BUILD / "compile_commands.json").read_text())
    named = ((os.path.relpath(entry["file"], ROOT), entry["command"]) for entry in entries)
    return {name: command for name, command in named if name.split("/")[0] in FOLDERS}


def changed_sources(commands):
    try:
        base = git("merge-base", "HEAD", "main")[0]
    except (subprocess.CalledProcessError, IndexError):
        base = "HEAD"
    changed = git("diff", "--name-only", base) + git("ls-files", "-o", "--exclude-standard")
    stems = {os.path.splitext(name)[0] for name in changed if name.endswith((".h", ".cpp"))}
    return [name for name in commands if os.path.splitext(name)[0] in stems]


class Hashes:
    """Hashes of files, each of which is read once."""

    def __init__(self):
        self._known = {}

    def of(self, path):
        if path not in self._known:
            try:
                content = (ROOT / path).read_bytes()
            except OSError:
                content = b"none"
            self._known[path] = hashlib.sha256(content).hexdigest()
        return self._known[path]


def groups_of(names, commands):
    """Lists of those sources that may be analysed together, the largest one first."""
    groups, sizes = {}, {}
    for name in sorted(names):
        kind = (os.path.dirname(name), OUTPUT.sub("", commands[name]))
        size = (ROOT / name).stat().st_size
        sizes[kind] = sizes.get(kind, 0) + size
        groups.setdefault((kind, sizes[kind] // TOGETHER_BYTES), []).append(name)
    return sorted(groups.values(), reverse=True,
                  key=lambda group: sum((ROOT / name).stat().st_size for name in group))


def hash_of(parts):
    return hashlib.sha256("\0".join(parts).encode()).hexdigest()


class Tidy:
    def __init__(self, commands):
        self._commands = commands
        self._hashes = Hashes()
        self.taken_apart = 0  # groups with something to find, or that do not go together
        version = subprocess.run(["clang-tidy", "--version"], check=True, capture_output=True,
                                 text=True)
        self._ground = [version.stdout, self._hashes.of(".clang-tidy"), *OPTIONS]
        for folder in ("clean", "headers", "single"):
            (CACHE / folder).mkdir(parents=True, exist_ok=True)
        # A source that belongs to several targets is analysed for one of them.
        self._single = CACHE / "single"
        (self._single / "compile_commands.json").write_text(json.dumps(
            [{"directory": str(BUILD), "file": str(ROOT / source), "command": command}
             for source, command in commands.items()]))

    def _source_key(self, source):
        command = self._commands[source].replace(str(ROOT), ".")
        return hash_of([*self._ground, source, command, self._hashes.of(source)])

    def _result(self, key, headers):
        texts = (f"{name} {self._hashes.of(name)}" for name in headers)
        return CACHE / "clean" / hash_of([key, *texts])

    def is_known(self, source):
        """Whether the source has been found clean as it is, with the headers as they are."""
        key = self._source_key(source)
        try:
            headers = (CACHE / "headers" / key).read_text().splitlines()
        except FileNotFoundError:
            return False
        return self._result(key, headers).exists()

    def analyse(self, sources):
        """Yields the findings of each source, empty when there are none."""
        if len(sources) > 1 and self._are_clean_together(sources):
            yield from ((source, "") for source in sources)
            return
        self.taken_apart += len(sources) > 1
        yield from ((source, self._findings_of(source)) for source in sources)

    def _are_clean_together(self, sources):
        texts = [(ROOT / source).read_text() for source in sources]
        if sources[0].startswith("tests/"):
            texts = [ANONYMOUS.sub(f"namespace file_{n} {{", text) for n, text in enumerate(texts)]
        folder = CACHE / "together" / hash_of(sources)
        folder.mkdir(parents=True, exist_ok=True)
        whole = folder / "whole.cpp"
        whole.write_text("\n".join(texts))
        own = ROOT / sources[0]
        command = self._commands[sources[0]].replace(str(own), str(whole))
        (folder / "compile_commands.json").write_text(json.dumps(
            [{"directory": str(BUILD), "file": str(whole),
              "command": f"{command} -iquote {own.parent}"}]))
        return self._run(whole, folder, sources)[0] == ""

    def _findings_of(self, source):
        findings, errors = self._run(ROOT / source, self._single, [source])
        return findings and (findings if DIAGNOSTIC.search(findings) else
                             f"clang-tidy fails on {source}:\n{errors}")

    def _run(self, file, database, sources):
        """What clang-tidy prints of the file, which has the texts of the sources, and its errors."""
        start = time.time()
        # The compiler lists each header that it opens.
        run = subprocess.run(["clang-tidy", *OPTIONS, "--extra-arg=-H", f"-p={database}", str(file)],
                             cwd=ROOT, capture_output=True, text=True, errors="replace")
        if run.returncode != 0:
            return run.stdout or "nothing", run.stderr
        listed = [HEADER.match(line) for line in run.stderr.splitlines()]
        paths = sorted({os.path.realpath(header[1]) for header in listed if header})
        if max(map(os.path.getmtime, [*(ROOT / source for source in sources), *paths])) < start:
            for source in sources:
                self._keep(source, [path.removeprefix(f"{ROOT}/") for path in paths])
        return "", ""

    def _keep(self, source, headers):
        key = self._source_key(source)
        (CACHE / "headers" / key).write_text("\n".join(headers))
        self._result(key, headers).touch()


class Screen:
    """Prints findings whole and once, though many sources see those of one header."""

    def __init__(self, total):
        self._lock = threading.Lock()
        self._total = total
        self._done = 0
        self._printed = set()
        self._columns = shutil.get_terminal_size().columns - 1 if sys.stderr.isatty() else 0

    def add(self, source, findings):
        with self._lock:
            self._done += 1
            self._clear()
            starts = [found.start() for found in DIAGNOSTIC.finditer(findings)] or [0]
            for start, end in zip(starts, starts[1:] + [len(findings)]):
                if findings[start:end] not in self._printed:
                    self._printed.add(findings[start:end])
                    print(findings[start:end], end="", flush=True)
            if self._columns:
                line = f"== clang-tidy {self._done}/{self._total} {source}"
                print(line[: self._columns], end="", file=sys.stderr, flush=True)
            if self._done == self._total:
                self._clear()

    def _clear(self):
        if self._columns:
            print("\r\033[K", end="", file=sys.stderr, flush=True)


def main():
    commands = compile_commands()
    names = [os.path.relpath(os.path.abspath(name), ROOT) for name in sys.argv[1:]]
    if sys.argv[1:] == ["all"]:
        names = list(commands)
    elif not names:
        names = changed_sources(commands)
    unknown = [name for name in names if name not in commands]
    if unknown:
        sys.exit("error: not compiled here: " + " ".join(unknown))
    start = time.monotonic()
    tidy = Tidy(commands)
    new = [name for name in names if not tidy.is_known(name)]
    groups = groups_of(new, commands) if sys.argv[1:] == ["all"] else [[name] for name in new]
    screen = Screen(len(new))
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        for run in concurrent.futures.as_completed(pool.submit(list, tidy.analyse(group))
                                                   for group in groups):
            for name, findings in run.result():
                failed += findings != ""
                screen.add(name, findings)
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    print(f"clang-tidy: {len(names)} files, {len(names) - len(new)} known to be clean, "
          f"{len(groups)} groups, {tidy.taken_apart} taken apart, {failed} with findings, in {time.monotonic() - start:.0f} s "
          f"({usage.ru_utime + usage.ru_stime:.0f} s of processor time)")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
