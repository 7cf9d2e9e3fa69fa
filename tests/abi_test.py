#!/usr/bin/env python3
"""What the shared libraries export is what programs were linked against: each name, and the size of each
table of virtual operations. The names are in data/abi/, in a file for each library and version.

    abi_test.py LIBRARY...             compares
    abi_test.py --accept LIBRARY...    takes what the libraries have

A name that is new needs nothing else. When one is gone or changed, what was built before no longer works:
raise PW_HOST_INTERFACE_VERSION (writers/host/HostApi.h), of the readers the SOVERSION, and accept."""

import difflib
import os
import re
import subprocess
import sys

NAMES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "data", "abi")
# Of the interface; what templates of the standard library leave behind depends on the build.
OWN_TABLES = re.compile(r"(vtable|typeinfo) for (?!std::|__)")


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def soname_of(library):
    return re.search(r"SONAME.*\[(.*)\]", output("readelf", "-d", library)).group(1)


def exported(library):
    """The lines of the library's file."""
    lines = set()
    for line in output("nm", "-D", "-C", "-S", "--defined-only", library).splitlines():
        address, size, kind, name = re.match(r"(\w+) (?:(\w{16}) )?(\w) (.*)", line).groups()
        del address
        if kind in "TDBR" and not name.startswith("__"):
            lines.add(name)
        elif kind == "V" and OWN_TABLES.match(name):
            lines.add(f"{name}, {int(size, 16)} bytes" if name.startswith("vtable") else name)
    return sorted(lines)


def compare(library):
    """How the library differs from its file."""
    name = soname_of(library)
    try:
        with open(os.path.join(NAMES, name)) as file:
            known = file.read().splitlines()
    except FileNotFoundError:
        return f"there is no {NAMES}/{name}"
    return "\n".join(difflib.unified_diff(known, exported(library), name, library, lineterm="", n=0))


def accept(library):
    os.makedirs(NAMES, exist_ok=True)
    with open(os.path.join(NAMES, soname_of(library)), "w") as file:
        file.writelines(line + "\n" for line in exported(library))


def main(arguments):
    if arguments[:1] == ["--accept"]:
        for library in arguments[1:]:
            accept(library)
        return 0
    differences = [difference for difference in map(compare, arguments) if difference]
    for difference in differences:
        print(difference)
    if differences:
        print(__doc__)
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
