"""A strict reader of the text that Prometheus scrapes (version 0.0.4)."""

import re

NAME = r"[a-zA-Z_:][a-zA-Z0-9_:]*"
LABEL = r'([a-zA-Z_][a-zA-Z0-9_]*)="((?:[^"\\\n]|\\[\\"n])*)"'
SAMPLE = re.compile(rf"({NAME})(?:\{{((?:{LABEL},?)*)\}})? (\S+)(?: -?\d+)?")
TYPES = {"counter", "gauge", "summary", "histogram", "untyped"}
PARTS = {"summary": ("", "_sum", "_count"), "histogram": ("_bucket", "_sum", "_count")}
UNESCAPED = {"\\\\": "\\", '\\"': '"', "\\n": "\n"}


class Scrape:
    """All of a text. `families`: name to type; `helps`: name to text; `values`: (name, labels) to number,
    labels as a frozenset of pairs. Raises ValueError with the line that is wrong."""

    def __init__(self, text):
        self.families, self.helps, self.values = {}, {}, {}
        self.current = None
        if text and not text.endswith("\n"):
            raise ValueError("the last line is not ended")
        for line in text.split("\n")[:-1]:
            try:
                self.take(line)
            except (AssertionError, ValueError) as error:
                raise ValueError(f"{error}: {line!r}") from error

    def take(self, line):
        if line.startswith("# "):
            return self.take_comment(line)
        match = SAMPLE.fullmatch(line)
        assert match, "neither a comment nor a sample"
        name, labels, value = match[1], match[2] or "", match[5]
        assert not labels.endswith(","), "a comma too many"
        assert self.current and name in self.names(), "not of the family before it"
        pairs = [(key, re.sub(r"\\.", lambda found: UNESCAPED[found[0]], text))
                 for key, text in re.findall(LABEL, labels)]
        assert len({key for key, _ in pairs}) == len(pairs), "a label twice"
        assert not any(key.startswith("__") for key, _ in pairs), "a reserved label"
        key = (name, frozenset(pair for pair in pairs if pair[1]))
        assert key not in self.values, "a series twice"
        self.values[key] = float(value)

    def take_comment(self, line):
        kind, name, text = line.removeprefix("# ").split(" ", 2)
        assert re.fullmatch(NAME, name), "no name"
        if kind == "HELP":
            assert name not in self.helps and name not in self.families, "a second or late HELP"
            assert not re.search(r"\\[^\\n]|\\$", text.replace("\\\\", "")), "an unknown escape"
            self.helps[name] = text
        else:
            assert kind == "TYPE" and text in TYPES, "neither HELP nor TYPE"
            assert name not in self.families, "a family in two parts"
            assert text != "counter" or name.endswith("_total"), "a counter without _total"
            self.families[name] = text
            self.current = name

    def names(self):
        ends = PARTS.get(self.families[self.current], ("",))
        return {self.current + end for end in ends}

    def value(self, name, **labels):
        """Of the one series with these labels among its own; None where there is none."""
        wanted = set(labels.items())
        found = [value for (one, given), value in self.values.items()
                 if one == name and wanted <= given]
        assert len(found) < 2, f"{len(found)} series of {name} with {labels}"
        return found[0] if found else None

    def counters(self):
        return {key: value for key, value in self.values.items()
                if self.families.get(key[0]) == "counter"}
