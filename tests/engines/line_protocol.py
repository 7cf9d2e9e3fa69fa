"""Reads the files of the writer lines, as the reference of the line protocol has it."""

import gzip
import re


def split(text, mark):
    """At each mark that has no backslash before it."""
    return re.split(rf"(?<!\\){mark}", text)


def plain(text):
    return re.sub(r"\\([,= ])", r"\1", text)


def parse(line):
    """Measurement, tags, fields and nanoseconds."""
    series, fields, time = split(line, " ")
    measurement, *tags = split(series, ",")
    return (plain(measurement), {plain(key): plain(value) for key, value in
                                 (split(tag, "=") for tag in tags)},
            {plain(name): float(value) for name, value in
             (split(field, "=") for field in split(fields, ","))}, int(time))


def points(path):
    """Every value of a file: (measurement, tags, field, nanoseconds, value)."""
    with gzip.open(path, "rt", encoding="utf-8", newline="\n") as file:
        for line in file:
            measurement, tags, fields, time = parse(line.rstrip("\n"))
            for field, value in fields.items():
                yield measurement, tuple(sorted(tags.items())), field, time, value
