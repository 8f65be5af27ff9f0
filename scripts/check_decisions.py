#!/usr/bin/env python3
"""Hold the tests named in docs/decisions.md against the tests of the tree.

The last column of its tables headed "Test" names GoogleTest tests (`Suite.Name`, `Suite.*`, `.Name` for one more of
the suite before it), ctest entries (`device.values`), files (`tests/sync/volume.txt`) or benchmark programs. Exit code
1 and one line a finding for a name that nothing bears, and for a row that names nothing.
"""
import argparse
import fnmatch
import re
import sys
from pathlib import Path

GTEST = re.compile(r"^\s*TEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.M)
PROPERTY = re.compile(r"^\s*RC_GTEST_(?:FIXTURE_)?PROP\(\s*(\w+)\s*,\s*(\w+)\s*,", re.M)
ADD_TEST = re.compile(r"add_test\(\s*NAME\s+(\S+)")
# Functions of the tree whose first arguments name the entry.
DEVICE_CHECK = re.compile(r"^\s*device_check\((\S+)", re.M)
DEVICE_RUNNER = re.compile(r"^\s*device_runner_test\((\S+)\s+(\w+)", re.M)
PROGRAM = re.compile(r"(?:add_executable|wkt_bench)\(\s*(\w+)")
VARIABLE = re.compile(r"\$\{\w+\}")
# What a cell may say instead: as in the row above, or that there is no test, and why.
PLAIN = re.compile(r"same|the same|none(: .+)?")


def tests_of(root):
    """Names of GoogleTest tests, patterns of ctest entries, names of programs."""
    names, entries, programs = set(), set(), set()
    for path in sorted((root / "tests").rglob("*.cpp")):
        text = path.read_text(encoding="utf-8")
        names |= {".".join(pair) for found in (GTEST, PROPERTY) for pair in found.findall(text)}
    for path in [*root.glob("tests/**/CMakeLists.txt"), *root.glob("bench/**/CMakeLists.txt")]:
        text = path.read_text(encoding="utf-8")
        entries |= {name for name in ADD_TEST.findall(text) if not re.fullmatch(r"device(\.\$\{\w+\})+", name)}
        entries |= {f"device.{name}" for name in DEVICE_CHECK.findall(text)}
        entries |= {f"device.{program}.{machine}" for machine, program in DEVICE_RUNNER.findall(text)}
        programs |= set(PROGRAM.findall(text))
    return names, entries, programs


def is_entry(wanted, entries):
    """A variable in an entry's name stands for a word, a star of the document for any."""
    patterns = (r"\w+".join(re.escape(part) for part in VARIABLE.split(entry)) for entry in entries)
    return any(re.fullmatch(pattern, wanted.replace("*", "any")) for pattern in patterns)


def is_test(token, root, known):
    names, entries, programs = known
    if "/" in token:
        return any(root.glob(token))
    if "." not in token:
        return token in programs
    return bool(fnmatch.filter(names, token)) or is_entry(token, entries)


def check_cell(cell, root, known):
    """What is wrong with the cell, a text each."""
    tokens = re.findall(r"`([^`]+)`", cell)
    if not tokens:
        return [] if PLAIN.fullmatch(cell) else [f"names no test: {cell!r}"]
    wrong, suite = [], ""
    for token in tokens:
        full = suite + token if token.startswith(".") else token
        if not is_test(full, root, known):
            wrong.append(f"no such test: {full}")
        suite = full.split(".")[0]
    return wrong


def check(root):
    known = tests_of(root)
    findings, in_table = [], False
    document = root / "docs" / "decisions.md"
    for number, line in enumerate(document.read_text(encoding="utf-8").splitlines(), 1):
        if not line.startswith("|"):
            in_table = False
            continue
        cell = re.split(r"(?<!\\)\|", line)[-2].strip()
        if cell == "Test":
            in_table = True
        elif in_table and set(cell) != {"-"}:
            findings += [f"docs/decisions.md:{number}: {text}" for text in check_cell(cell, root, known)]
    return findings


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--root", type=Path, default=Path(__file__).resolve().parent.parent)
    findings = check(parser.parse_args().root)
    print("\n".join(findings), end="\n" if findings else "", file=sys.stderr)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
