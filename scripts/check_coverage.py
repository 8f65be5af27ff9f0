#!/usr/bin/env python3
"""Hold what the tests did not reach against the list of what they need not reach.

Reads gcovr's JSON, prints lines and branches of each file and whatever was not reached, and ends with code 1 when
something of it has no explanation, or when an explanation does not fit what was not reached any more.

An explanation (scripts/coverage_exceptions.toml) names its place by the code itself, since line numbers move: one or
more consecutive lines, of each of which a distinctive piece is enough, that stand in one place of the file only.
`branches` counts the branches there that were not taken, `lines` the lines that were not run; branches of a line that
was not run count with the line.
"""
import argparse
import json
import re
import sys
import tomllib
from collections import Counter
from dataclasses import dataclass, field
from pathlib import Path

KEYS = {"file", "code", "kind", "why", "branches", "lines"}
# What may be said about code that no test reaches.
KINDS = {
    "compiler": "a branch that only the compiler knows",
    "excluded": "nothing that the system does leads there",
    "elsewhere": "a device may do what the device on the desk does not",
    "size": "takes more memory than a test has",
}


@dataclass
class Gap:
    """A line that was not run, or some of whose branches were not taken."""

    number: int
    branches: int  # not taken; 0 for a line that was not run
    branches_of: int

    def count(self):
        return Counter(branches=self.branches, lines=0 if self.branches else 1)

    def text(self):
        return f"{self.branches} of {self.branches_of} branches not taken" if self.branches else "not run"


@dataclass
class Source:
    """One file: what there is, what was reached, what was not."""

    name: str
    lines: list  # its text
    gaps: dict = field(default_factory=dict)  # by line number
    totals: Counter = field(default_factory=Counter)


def read_source(root, report):
    path = root / report["file"]
    source = Source(report["file"], [line.strip() for line in path.read_text(encoding="utf-8").splitlines()])
    for line in report["lines"]:
        if line.get("gcovr/noncode"):
            continue
        number, branches = line["line_number"], line["branches"]
        missed = sum(1 for branch in branches if branch["count"] == 0)
        source.totals.update(lines=1, lines_run=line["count"] > 0, branches=len(branches),
                             branches_taken=len(branches) - missed)
        if line["count"] == 0:
            source.gaps[number] = Gap(number, 0, 0)
        elif missed:
            source.gaps[number] = Gap(number, missed, len(branches))
    return source


def places(source, code):
    """Line numbers at which the consecutive pieces stand."""
    pieces = [piece.strip() for piece in code.strip().splitlines()]
    starts = range(len(source.lines) - len(pieces) + 1)
    return [start + 1 for start in starts if all(piece in source.lines[start + i] for i, piece in enumerate(pieces))]


def wrong_form(entry):
    """What is wrong with an explanation whatever was reached, or None."""
    if unknown := set(entry) - KEYS:
        return f"unknown: {', '.join(sorted(unknown))}"
    if missing := [key for key in ("file", "code", "kind", "why") if not str(entry.get(key, "")).strip()]:
        return f"lacks {', '.join(missing)}"
    if entry["kind"] not in KINDS:
        return f"no such kind: {entry['kind']}"
    return None


def explain(entry, sources, explained):
    """Takes the gaps that the explanation is about; says what does not fit, or None."""
    if wrong := wrong_form(entry):
        return wrong
    source = sources.get(entry["file"])
    if not source:
        return "the file is not among those looked at"
    found = places(source, entry["code"])
    if len(found) != 1:
        return f"the code stands in {len(found)} places, not in one"
    numbers = range(found[0], found[0] + len(entry["code"].strip().splitlines()))
    gaps = [source.gaps[number] for number in numbers if number in source.gaps]
    counted = sum((gap.count() for gap in gaps), Counter())
    wanted = Counter(branches=entry.get("branches", 0), lines=entry.get("lines", 0))
    if +counted != +wanted or not gaps:
        return (f"explains {wanted['branches']} branches and {wanted['lines']} lines at line {found[0]}, where "
                f"{counted['branches']} and {counted['lines']} were not reached")
    for gap in gaps:
        explained[source.name, gap.number] = entry["kind"]
    return None


def percent(part, whole):
    return f"{100 * part / whole:6.2f}" if whole else "     -"


def row(name, totals):
    lines, branches = totals["lines"], totals["branches"]
    return (f"{name:40} {totals['lines_run']:5} of {lines:5} {percent(totals['lines_run'], lines)} "
            f"{totals['branches_taken']:5} of {branches:5} {percent(totals['branches_taken'], branches)}")


def print_table(sources):
    print(f"{'':40} {'lines run':>14} {'%':>6} {'branches taken':>14} {'%':>6}")
    for source in sources:
        print(row(source.name, source.totals))
    print(row("all", sum((source.totals for source in sources), Counter())))


def print_gaps(sources, explained):
    """The gaps, each with its line; how many have no explanation."""
    print("\nNot reached:")
    open_gaps = 0
    for source in sources:
        for number, gap in sorted(source.gaps.items()):
            kind = explained.get((source.name, number))
            open_gaps += kind is None
            print(f"{source.name}:{number}: {gap.text()} ({kind or 'NOT EXPLAINED'}): {source.lines[number - 1]}")
    return open_gaps


def print_kinds(sources, explained):
    counts = {kind: Counter() for kind in KINDS}
    for source in sources:
        for number, gap in source.gaps.items():
            if kind := explained.get((source.name, number)):
                counts[kind].update(gap.count())
    print("\nExplained:")
    for kind, text in KINDS.items():
        print(f"{counts[kind]['branches']:5} branches {counts[kind]['lines']:5} lines  {kind}: {text}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--root", type=Path, default=Path(__file__).resolve().parent.parent)
    parser.add_argument("--exceptions", type=Path, default=Path(__file__).with_name("coverage_exceptions.toml"))
    parser.add_argument("report", type=Path)
    options = parser.parse_args()
    report = json.loads(options.report.read_text(encoding="utf-8"))
    sources = [read_source(options.root, each) for each in sorted(report["files"], key=lambda each: each["file"])]
    if not sources:
        print("the report names no file", file=sys.stderr)
        return 1
    entries = tomllib.loads(options.exceptions.read_text(encoding="utf-8")).get("exception", [])
    by_name, explained, wrong = {source.name: source for source in sources}, {}, []
    for entry in entries:
        if text := explain(entry, by_name, explained):
            code = re.sub(r"\s+", " ", str(entry.get("code", "")).strip())
            wrong.append(f"{options.exceptions.name}: {entry.get('file')}: {code}: {text}")
    print_table(sources)
    open_gaps = print_gaps(sources, explained)
    print_kinds(sources, explained)
    print("\n".join(wrong), end="\n" if wrong else "", file=sys.stderr)
    if open_gaps:
        print(f"{open_gaps} lines with something neither reached nor explained", file=sys.stderr)
    return 1 if wrong or open_gaps else 0


if __name__ == "__main__":
    sys.exit(main())
