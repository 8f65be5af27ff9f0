#!/usr/bin/env python3
"""Every speed promise in one table, from what the benchmarks printed.

usage: bench_table.py FILE...    the programs' output, as ./dev bench keeps it

The programs print a line per comparison: name, records, ours, theirs, ratio, goal, yes or NO ("-" for a column that
a line has no use for). PROMISES below says which of these lines a promise is kept by; the goal and whether it holds
come from the lines. A promise that no line speaks of is shown as not measured. Exit code 1 when one is missed or
not measured.
"""
import re
import sys

# Promise, and what the names of its lines look like.
PROMISES = [
    ("Open and close by name", r"find by name, open, close$"),
    ("FindObjects / scan and decode", r"(job|type): FindObjects, per record$"),
    ("FindObjects / scan of one character", r"(job|type): FindObjects / scan of one character$"),
    ("FindObjects, stretch", r"(job|type): FindObjects / scan of one character \(stretch\)$"),
    ("FindObjects, growth per record", r"(job|type): FindObjects per record / at 10,000$"),
    ("GetPacket", r"(job|type): GetPacket(, random order)?$"),
    ("GetPacket, outer bar", r"(job|type): GetPacket(, random order)? \(outer bar\)$"),
    ("Packet fill and ToBytes", r"packet fill and ToBytes / "),
    ("ToBytes alone", r"ToBytes / "),
    ("Packet from bytes and fill", r"packet from bytes and fill / "),
    ("Confirmation", r"(job|type): confirmation \(ObjectNotify\)$"),
    ("SetPacket, new", r"(job|type): SetPacket of a new record$"),
    ("SetPacket, existing", r"(job|type): SetPacket of an existing record$"),
    ("DeleteObj", r"(job|type): DeleteObj$"),
    ("Write, full durability", r"(job|type): SetPacket of an existing record, full$"),
    ("One sync a call, full", r"syncs: (insert|update|delete) \(full\)$"),
    ("20 stamps, literal", r"20 stamps / direct arithmetic$"),
    ("Clock readings of a fill", r"clock readings of 20 stamps in a fill$"),
    ("Record build", r"(job|type): record from its properties / plain struct$"),
    ("Allocations of a record", r"(job|type): allocations of a record$"),
    ("Log call, no listener (ns)", r"log call without listener, ns$"),
    ("Log call, allocations", r"its allocations$"),
    ("Process start to first answer", r"process start to first answer"),
    ("File size", r"file size"),
    ("Memory of FindObjects", r"memory of FindObjects"),
    ("Store: reads", r"(read all in sequence|seek by identifier)"),
    ("Store: writes", r"(update|insert) \(relaxed\)$"),
    ("Store: growth", r"growth per record"),
    ("First synchronisation", r"first synchronisation$"),
    ("Nothing to synchronise", r"nothing to do / "),
]

ROW = re.compile(r"^(\S.*?)\s+(\d+)\s+([\d.]+|-)\s+([\d.]+|-)\s+(-?[\d.]+|-)\s+([\d.]+|-)\s+(yes|NO|-)$")
SYNCS = re.compile(r"^(syncs: .*?)\s+(\d+) calls: ([\d.]+) syncs.*?(yes|NO)$")
GROWTH = re.compile(r"^(growth per record), \d+ to (\d+): .*?\(([\d.]+)\), reading .*?\(([\d.]+)\), goal ([\d.]+)\s+(yes|NO)$")


class Row:
    def __init__(self, name, records, ratio, goal, holds):
        self.name, self.records, self.ratio, self.goal, self.holds = name, records, ratio, goal, holds


def read(lines):
    for line in lines:
        line = line.rstrip()
        if found := ROW.match(line):
            name, records, ours, _, ratio, goal, holds = found.groups()
            yield Row(name, int(records), float(ours if ratio == "-" else ratio),
                      None if goal == "-" else float(goal), holds)
        elif found := SYNCS.match(line):
            yield Row(found[1], int(found[2]), float(found[3]), 1.0, found[4])
        elif found := GROWTH.match(line):
            yield Row(found[1], int(found[2]), max(float(found[3]), float(found[4])), float(found[5]), found[6])


def verdict(row):
    if row.holds == "yes":
        return "holds"
    return f"missed by {(row.ratio / row.goal - 1) * 100:.0f} %" if row.goal else f"missed by {row.ratio:g}"


def main():
    rows = [row for path in sys.argv[1:] for row in read(open(path, encoding="utf-8")) if row.holds != "-"]
    kept = True
    used = set()
    print(f"\n{'promise':32} {'measured as':50} {'records':>8} {'now':>8} {'goal':>6}  verdict")
    for promise, pattern in PROMISES:
        lines = [row for row in rows if re.match(pattern, row.name)]
        if not lines:
            kept = False
            print(f"{promise:32} not measured")
        for row in lines:
            used.add(id(row))
            kept = kept and row.holds == "yes"
            print(f"{promise:32} {row.name:50} {row.records:8} {row.ratio:8.2f} {row.goal:6.2f}  {verdict(row)}")
            promise = ""
    # A line with a goal that nobody asked for is a promise that the list above forgot.
    for row in rows:
        if id(row) not in used:
            kept = kept and row.holds == "yes"
            print(f"{'(not listed)':32} {row.name:50} {row.records:8} {row.ratio:8.2f} {row.goal or 0:6.2f}  {verdict(row)}")
    missed = sum(row.holds == "NO" for row in rows)
    print(f"\n{len(rows)} goals, {len(rows) - missed} hold, {missed} missed")
    return 0 if kept else 1


if __name__ == "__main__":
    sys.exit(main())
