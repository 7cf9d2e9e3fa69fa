"""Reads the pages of the writer html back: what the document says, and the points of every series.

It knows the format from its description alone (docs/formats/html.md), and is strict: what a page
may not contain is an error.
"""
import base64
import hashlib
import html.parser
import json
import struct
import zlib

NOTHING = 65535


class PageError(Exception):
    pass


class _Elements(html.parser.HTMLParser):
    """The texts of the elements that a page has, as a browser divides them."""

    def __init__(self):
        super().__init__(convert_charrefs=True)
        self.blocks, self.policy, self.title, self.attributes = [], None, "", []
        self._open = None

    def handle_starttag(self, tag, attributes):
        named = dict(attributes)
        self.attributes += [name for name, _ in attributes]
        if named.get("http-equiv") == "Content-Security-Policy":
            self.policy = named["content"]
        if tag in ("script", "style", "title"):
            self._open = [tag, named, ""]

    def handle_data(self, data):
        if self._open:
            self._open[2] += data

    def handle_endtag(self, tag):
        if self._open and tag == self._open[0]:
            if tag == "title":
                self.title = self._open[2]
            else:
                self.blocks.append(self._open)
            self._open = None


def _source(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"


class Page:
    """A page: `run` is its document, `series` the series with their points."""

    def __init__(self, path):
        with open(path, "rb") as file:
            data = file.read()
        self.size = len(data)
        self.text = data.decode("utf-8")
        elements = _Elements()
        elements.feed(self.text)
        self.title = elements.title
        self._check(elements)
        blocks = {named.get("id"): text for tag, named, text in elements.blocks if tag == "script"}
        if "<" in blocks["run"]:
            raise PageError("the document has markup in it")
        self.run = json.loads(blocks["run"])
        packed = base64.b64decode(blocks["points"], validate=True)
        facts = self.run["data"]
        self.bytes = zlib.decompress(packed) if facts["packing"] == "deflate" else packed
        if len(self.bytes) != facts["bytes"]:
            raise PageError(f"{len(self.bytes)} bytes of points instead of {facts['bytes']}")
        self.is_binned = facts["mode"] == "binned"
        self.ticks_per_second = self.run["clockMHz"] * 1e6

    def _check(self, elements):
        kinds = [(tag, named.get("type"), named.get("id")) for tag, named, _ in elements.blocks]
        expected = [("style", None, None), ("script", "application/json", "run"),
                    ("script", "text/plain", "points"), ("script", None, None)]
        if kinds != expected:
            raise PageError(f"the page has other elements: {kinds}")
        if bad := [name for name in elements.attributes if name == "style" or name.startswith("on")]:
            raise PageError(f"the policy forbids the attributes {bad}")
        policy = dict(part.strip().split(" ", 1) for part in elements.policy.split(";"))
        wanted = {"default-src": "'none'", "base-uri": "'none'", "form-action": "'none'",
                  "style-src": _source(elements.blocks[0][2]),
                  "script-src": _source(elements.blocks[3][2])}
        if policy != wanted:
            raise PageError(f"the policy is {policy} instead of {wanted}")

    def column(self, column):
        at, count, kind = column["at"], column["n"], column["type"]
        widths = {"u8": ("B", 1), "u16": ("H", 2), "f64": ("d", 8)}
        if kind == "delta":
            return self._deltas(at, count)
        letter, width = widths[kind]
        if at % width or at + width * count > len(self.bytes):
            raise PageError(f"a column is out of place: {column}")
        return list(struct.unpack_from(f"<{count}{letter}", self.bytes, at))

    def _deltas(self, at, count):
        numbers, last = [], 0
        for _ in range(count):
            bits = shift = 0
            while True:
                byte = self.bytes[at]
                at += 1
                bits |= (byte & 127) << shift
                shift += 7
                if byte < 128:
                    break
            if bits > 2**53:
                raise PageError("a difference is too large")
            last += -(bits + 1 >> 1) if bits & 1 else bits >> 1
            numbers.append(last)
        return numbers

    def states(self, series):
        return [state["name"] for state in self.run["stateSets"][series["states"]]]

    def series(self, **wanted):
        """The series whose members are as wanted."""
        return [one for one in self.run["series"]
                if all(one.get(name) == value for name, value in wanted.items())]

    def entity(self, series):
        number = series["entity"]
        return None if number < 0 else self.run["entities"][number]

    def points(self, series):
        """(start, length, value) of each point as it came: a number, a text, or the ticks by state."""
        data = series["data"]
        starts, lengths = self.column(data["start"]), self.column(data["length"])
        if starts != sorted(starts):
            raise PageError("points are out of order")
        if series["kind"] == "events":
            values = [series["texts"][number] for number in self.column(data["value"])]
        elif series["kind"] == "value":
            values = self.column(data["value"])
        elif "state" in data:
            names = self.states(series)
            values = [names[number] for number in self.column(data["state"])]
        else:
            columns = [self.column(column) for column in data["ticks"]]
            values = [dict(zip(self.states(series), ticks)) for ticks in zip(*columns)]
        if not len(starts) == len(lengths) == len(values):
            raise PageError("the columns of a series differ in length")
        return list(zip(starts, lengths, values))

    def value_bins(self, series, level):
        """(minimum, mean, maximum, covered share) of each bin, or None."""
        data = series["data"]["levels"][level]
        low, high = series["data"]["scale"]
        quanta = zip(*(self.column(data[name]) for name in ("minimum", "mean", "maximum")))
        covered = self.column(data["covered"])
        return [None if NOTHING in three else
                tuple(low + one / 65534 * (high - low) for one in three) + (share / 255,)
                for three, share in zip(quanta, covered)]

    def state_bins(self, series, level):
        """The shares by state of each bin."""
        names = self.states(series) + ["OTHERS"]
        bins = [{} for _ in range(self.run["data"]["levels"][level]["bins"])]
        for slot in series["data"]["levels"][level]["slots"]:
            states, shares = self.column(slot["state"]), self.column(slot["share"])
            for place, (state, share) in enumerate(zip(states, shares)):
                if share:
                    bins[place][names[state]] = bins[place].get(names[state], 0) + share / 65535
        return bins

    def event_bins(self, series, level):
        low, high = series["data"]["scale"]
        counts = self.column(series["data"]["levels"][level]["count"])
        return [low + count / 65534 * (high - low) for count in counts]

