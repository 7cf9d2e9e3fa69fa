#!/usr/bin/python3
"""Manual pages and completions say what the help says.

usage: completion_test.py TAVRIN TESTS_FOLDER [Completion.TEST...]
"""

import os
import re
import shutil
import subprocess
import sys
import unittest

from command_support import TAVRIN, TavrinTest

# What is typed, and what may stand there.
LINES = {
    "tavrin rep": ["report"],
    "tavrin --ver": ["--version"],
    "tavrin record --capt": ["--capture"],
    "tavrin record -w ra": ["raw"],
    "tavrin record -w sum,ra": ["sum,raw"],
    "tavrin record -w ev": ["every"],
    "tavrin record -f cpu-ti": ["cpu-time"],
    "tavrin export --format ": ["csv", "jsonl"],
    "tavrin export -c time,me": ["time,metric"],
    "tavrin report run.j": ["run.jsonl"],
    "tavrin list --sysroot tr": ["tree"],
    "tavrin list wr": ["writers"],
    "tavrin completion z": ["zsh"],
    "tavrin manual comp": ["compare", "completion"],
    "tavrin record -w sum -- workl": ["workload"],
    "tavrin record -- cat run.j": ["run.jsonl"],
}

BASH = """
compopt() { :; }
while IFS= read -r line; do
  read -ra COMP_WORDS <<<"$line."
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMP_WORDS[COMP_CWORD]=${COMP_WORDS[COMP_CWORD]%.}
  _tavrin
  echo "${COMPREPLY[*]}"
done
"""

# A terminal in which the tabulator puts in the first of what may stand there, and ^X^A prints the line.
ZSHRC = """
autoload -Uz compinit; compinit -u -D; source ./_tavrin
setopt menu_complete
show() { print -r -- "<<$BUFFER>>"; BUFFER= }
zle -N show; bindkey '^X^A' show
"""
ZSH = """
zmodload zsh/zpty
zpty terminal zsh -d -i
while IFS= read -r line; do
  zpty -w -n terminal "$line"$'\\t\\x18\\x01'
  zpty -r terminal answer '*<<*>>*'
  print -r -- ${${answer##*<<}%%>>*}
done
"""


def shell(name):
    return shutil.which(name) or ""


class Completion(TavrinTest):
    def setUp(self):
        super().setUp()
        self.write("run.jsonl", "")
        os.makedirs(self.path("programs"))
        os.symlink(shell("true"), self.path("programs/workload"))
        folders = [os.path.dirname(TAVRIN), self.path("programs"), os.environ["PATH"]]
        self.environment = {**os.environ, "PATH": ":".join(folders)}

    def run_shell(self, name, *arguments, **options):
        done = subprocess.run([name, *arguments], cwd=self.folder, env=self.environment, text=True,
                              capture_output=True, timeout=120, check=True, **options)
        self.assertEqual(done.stderr, "")
        return done.stdout

    def commands(self):
        listed = self.run_tavrin("--help").stdout.split("Subcommands:\n")[1]
        return re.findall(r"^  ([a-z]+) ", listed.split("\n\n")[0], re.MULTILINE)

    def options(self, *command):
        text = self.run_tavrin(*command, "--help").stdout
        listed = re.findall(r"^  (-\S+)", text, re.MULTILINE)
        return {name for names in listed for name in names.split(",")}

    def test_bash(self):
        script = self.run_tavrin("completion", "bash").stdout
        lines = [*LINES, "tavrin record -- tr", "tavrin record -w = ra"]
        completed = self.run_shell("bash", "-c", script + BASH, input="\n".join(lines) + "\n")
        for line, words in zip(lines, completed.split("\n")):
            with self.subTest(line):
                if line in LINES:
                    self.assertEqual(words.split(), LINES[line])
                else:
                    self.assertIn("raw" if "=" in line else "true", words.split())

    def test_bash_offers_every_option(self):
        script = self.run_tavrin("completion", "bash").stdout
        commands = self.commands()
        completed = self.run_shell("bash", "-c", script + BASH,
                                   input="".join(f"tavrin {name} -\n" for name in commands))
        for name, words in zip(commands, completed.split("\n")):
            with self.subTest(name):
                self.assertEqual(set(words.split()), self.options(name))

    @unittest.skipUnless(shell("fish"), "fish is not installed")
    def test_fish(self):
        self.write("tavrin.fish", self.run_tavrin("completion", "fish").stdout)
        for line, words in LINES.items():
            with self.subTest(line):
                completed = self.run_shell("fish", "-c", f"source tavrin.fish; complete -C '{line}'")
                offered = [one.split("\t")[0].rstrip("/") for one in completed.splitlines()]
                self.assertEqual(offered, words)

    @unittest.skipUnless(shell("zsh"), "zsh is not installed")
    def test_zsh_reads_it(self):
        self.write("_tavrin", self.run_tavrin("completion", "zsh").stdout)
        self.run_shell("zsh", "-n", "_tavrin")
        loaded = "autoload -Uz compinit; compinit -u -D; source ./_tavrin; print $_comps[tavrin]"
        self.assertEqual(self.run_shell("zsh", "-f", "-c", loaded), "_tavrin\n")

    @unittest.skipUnless(shell("zsh"), "zsh is not installed")
    def test_zsh(self):
        self.write("_tavrin", self.run_tavrin("completion", "zsh").stdout)
        self.write(".zshrc", ZSHRC)
        self.environment["ZDOTDIR"] = self.folder
        completed = self.run_shell("zsh", "-f", "-c", ZSH, input="\n".join(LINES) + "\n")
        for line, words in zip(LINES, completed.splitlines(), strict=True):
            with self.subTest(line):
                self.assertEqual(re.split(r"[ =]", words.rstrip(" /,"))[-1], LINES[line][0])

    def test_pages_have_every_option(self):
        for command in [[], *([name] for name in self.commands())]:
            with self.subTest(command):
                page = self.run_tavrin("manual", *command).stdout.replace("\\-", "-")
                named = set(re.findall(r"\\fB(-\S+?)\\fR", page))
                self.assertEqual(named, self.options(*command))
                self.assertTrue(page.startswith(".TH " + "-".join(["TAVRIN", *command]).upper()))
        self.assertIn("no command 'nothing'", self.run_tavrin("manual", "nothing", status=2).stderr)

    @unittest.skipUnless(shell("man"), "man is not installed")
    def test_pages_without_warnings(self):
        self.environment.update(LC_ALL="C.UTF-8", MANROFFSEQ="", MANWIDTH="80")
        for command in [[], *([name] for name in self.commands())]:
            with self.subTest(command):
                page = self.run_tavrin("manual", *command).stdout
                shown = self.run_shell("man", "--warnings=w", "-E", "UTF-8", "-Tutf8", "-l", "-", input=page)
                self.assertIn("SEE ALSO", re.sub(r"\x1b\[\d+m|.\x08", "", shown))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
