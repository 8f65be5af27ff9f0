#!/usr/bin/env python3
"""Writes the golden packets of tests/data/packets.

An encoder of its own, made from docs/packet-format.md and not from the code, so that the bytes the
tests compare with do not come from what they test. Run it after a change of the samples below;
`--check` only compares and fails on a difference.

A file is readable text: `name = value` lines with the fields, then the bytes in hexadecimal, one
packet field a line. `*N` at the end of a line repeats it N times in all.
"""
import argparse
import pathlib
import struct
import sys

FOLDER = pathlib.Path(__file__).resolve().parent.parent / "tests" / "data" / "packets"


class Packet:
    def __init__(self, fill=b"\0"):
        self.fill = fill
        self.lines = []

    def add(self, data, name, repeat=1):
        self.lines.append((data, name, repeat))

    def fixed(self, text, unit_count, name):
        data = text.encode("utf-16-le") + b"\0\0"
        size = unit_count * 2
        assert len(data) <= size, (name, text)
        self.add((data + self.fill * size)[:size], name)

    def number(self, value, name):
        signed = struct.unpack("<i", struct.pack("<I", value & 0xFFFFFFFF))[0]
        self.fixed(str(signed), 20, name)

    def time(self, ticks, name):
        self.number(ticks >> 32, name + ", high half")
        self.number(ticks & 0xFFFFFFFF, name + ", low half")

    def variable(self, text, name):
        if isinstance(text, tuple):
            unit, count = text
            self.add(unit.encode("utf-16-le"), f"{name}, {count} characters", count)
            self.add(b"\0\0", f"{name}, terminator")
        else:
            self.add(text.encode("utf-16-le") + b"\0\0", name)


def job_packet(f, type_text, reference_units, fill):
    p = Packet(fill)
    p.fixed("Worktally", 10, "magic")
    p.fixed(type_text, 4, "type text")
    p.variable(f["jobId"], "job identifier")
    p.fixed(str(f["version"]), 4, "version number")
    p.time(f["modificationTime"], "modification time")
    p.variable(f["title"], "title")
    p.variable(f["comment"], "comment")
    p.fixed(f["workTypeId"], reference_units, "work type identifier")
    p.fixed(f["projectId"], reference_units, "project identifier")
    p.fixed(f["teamworkId"], reference_units, "teamwork identifier")
    p.time(f["startTime"], "start time")
    p.time(f["endTime"], "end time")
    p.variable(f["personIds"], "person identifiers")
    p.fixed(f["flags"], 20, "flags")
    p.number(f["unused2"], "Unused2")
    p.variable(f["unused3"], "Unused3")
    p.time(f["localDay"], "local day")
    return p


def type_packet(f, fill):
    p = Packet(fill)
    p.fixed("Worktally", 10, "magic")
    p.number(f["kind"], "kind")
    p.variable(f["id"], "identifier")
    p.fixed(str(f["version"]), 4, "version number")
    p.time(f["modificationTime"], "modification time")
    p.time(f["creationTime"], "creation time")
    p.number(f["useCount"], "use count")
    p.variable(f["name1"], "Name1")
    p.variable(f["name2"], "Name2")
    p.variable(f["comment"], "comment")
    p.fixed(f["flags"], 20, "flags")
    p.variable(f["unused1"], "Unused1")
    p.variable(f["unused2"], "Unused2")
    p.number(f["unused3"], "Unused3")
    p.number(f["unused4"], "Unused4")
    p.time(f["unused5"], "Unused5")
    return p


# The local day is 2026-02-28T00:00:00 in ticks of 100 ns.
JOB = dict(
    jobId="CE-1cb8a2f-5e3d1c80-0-1a2b3c", version=23, modificationTime=0x01DCA0123456789A,
    title="Quarterly report", comment="First draft\nSecond line",
    workTypeId="CE-1c0ffee-1-2-3", projectId="CE-1c0ffee-1-3-3", teamworkId="",
    startTime=0x01DCA01012345678, endTime=0x01DCA01112345678,
    personIds="CE-1-2-3-4; CE-5-6-7-8", flags="0010100000000000000", unused2=-1,
    unused3="head tail", localDay=134167104000000000)

TYPE = dict(
    kind=1, id="CE-1cb8a2f-5e3d1c80-1-1a2b3c", version=32, modificationTime=0x01DCA0123456789A,
    creationTime=0x01DC000012345678, useCount=7, name1="Writing", name2="Texts",
    comment="Anything that ends on paper", flags="0001100000000000000", unused1="", unused2="",
    unused3=0, unused4=0, unused5=0)

EMPTY_JOB = dict.fromkeys(
    ("jobId", "title", "comment", "workTypeId", "projectId", "teamworkId", "personIds", "unused3"),
    "") | dict(version=0, modificationTime=0, startTime=0, endTime=0, flags="", unused2=0,
               localDay=0)
EMPTY_TYPE = dict.fromkeys(
    ("id", "name1", "name2", "comment", "unused1", "unused2"), "") | dict(
        kind=1, version=0, modificationTime=0, creationTime=0, useCount=0, flags="", unused3=0,
        unused4=0, unused5=0)

EXTREME_TIMES = dict(modificationTime=0xFFFFFFFFFFFFFFFF, startTime=0x0000000080000000,
                     endTime=0x8000000000000001, localDay=0x7FFFFFFFFFFFFFFF)
STRANGE_TEXT = "\U0001F557 \u00e4\u00f6\u00fc \u65e5\u672c \n\ttab, blanks at the end  "

ITEM_BLOCK = "\n".join(["402", "CE-9-8-7-6", "", "1234", "31236114", "878082202", "31195136",
                        "305419896", "-1", "-1", "1", "0", "2", "-1", "-2147483648", "Item",
                        "1", "-1", "", "", "", ""]) + "\n"

# name, about, fields, type text, width of the references, bytes behind terminators
SAMPLES = [
    ("job-daily", "A daily job.", JOB, "act", 40, b"\0"),
    ("job-favourite", "A favourite job.", JOB | dict(title="Template", flags="1110011000000000000"),
     "fac", 40, b"\0"),
    ("job-empty", "The smallest job packet: all texts empty, 686 bytes.", EMPTY_JOB, "act", 40,
     b"\0"),
    ("job-extreme-numbers", "Halves of times and numbers with the top bit set are negative.",
     JOB | EXTREME_TIMES | dict(unused2=-0x80000000, version=999), "act", 40, b"\0"),
    ("job-long-comment", "A comment of 30,000 characters.", JOB | dict(comment=("x", 30000)),
     "act", 40, b"\0"),
    ("job-strange-texts", "Surrogate pairs, line breaks, blanks at the ends.",
     JOB | dict(title=STRANGE_TEXT, comment="\U0001F600" * 3, unused3=" lead",
                personIds="; ;  a; \U0001F464"), "act", 40, b"\0"),
    ("job-full-references", "Identifiers that fill their fields to the last character.",
     JOB | dict(workTypeId="w" * 39, projectId="p" * 39, teamworkId="t" * 39), "act", 40, b"\0"),
    ("job-older-daily", "The older layout: identifiers in 20 units. Only ever received.", JOB,
     "ACT", 20, b"\0"),
    ("job-older-favourite", "The older layout with identifiers of 19 characters.",
     JOB | dict(workTypeId="w" * 19, projectId="p" * 19, teamworkId="t" * 19), "FAC", 20, b"\0"),
    ("job-junk", "Bytes behind terminators mean nothing and come back as they came.", JOB, "act",
     40, b"\xCC"),
    ("type-kind1", "A type of kind 1.", TYPE, None, 0, b"\0"),
    ("type-kind2", "A type of kind 2 with the identifier of its parent.",
     TYPE | dict(kind=2, name2="", unused1="CE-1-1-1-1"), None, 0, b"\0"),
    ("type-kind3", "A type of kind 3: a person.",
     TYPE | dict(kind=3, name1="Anna", name2="Berg"), None, 0, b"\0"),
    ("type-kind4", "A type of kind 4.", TYPE | dict(kind=4, name1="Team", useCount=-3), None, 0,
     b"\0"),
    ("type-kind5", "A type of kind 5 with one item block.",
     TYPE | dict(kind=5, name1="Rates", unused1=ITEM_BLOCK), None, 0, b"\0"),
    ("type-empty", "The smallest type packet: all texts empty, 480 bytes.", EMPTY_TYPE, None, 0,
     b"\0"),
    ("type-extreme-numbers", "Halves of times and numbers with the top bit set are negative.",
     TYPE | dict(modificationTime=0x8000000000000001, creationTime=0x00000000FFFFFFFF,
                 unused5=0xFFFFFFFFFFFFFFFF, useCount=0x7FFFFFFF, unused3=-0x80000000, unused4=-1,
                 version=999), None, 0, b"\0"),
    ("type-long-comment", "A comment of 30,000 characters.", TYPE | dict(comment=("x", 30000)),
     None, 0, b"\0"),
    ("type-strange-texts", "Surrogate pairs, line breaks, blanks at the ends.",
     TYPE | dict(name1=STRANGE_TEXT, name2=" ", comment="\U0001F600\n\n", unused2=" 0\n0 "), None,
     0, b"\0"),
    ("type-junk", "Bytes behind terminators mean nothing and come back as they came.", TYPE, None,
     0, b"\xCC"),
]


def shown(value):
    if isinstance(value, tuple):
        return f'"{value[0]}" * {value[1]}'
    if isinstance(value, str):
        return '"' + value.replace("\\", "\\\\").replace("\n", "\\n").replace("\t", "\\t") + '"'
    return str(value)


def render(about, fields, type_text, reference_units, fill):
    is_job = type_text is not None
    packet = job_packet(fields, type_text, reference_units, fill) if is_job else type_packet(
        fields, fill)
    size = sum(len(data) * repeat for data, _, repeat in packet.lines)
    lines = [f"# {about}", f"packet = {type_text or 'type'}", f"bytes = {size}",
             f"rest = {fill.hex()}"]
    lines += [f"{name} = {shown(value)}" for name, value in fields.items()]
    lines.append("hex")
    for data, name, repeat in packet.lines:
        lines.append(f"# {name}")
        for start in range(0, len(data), 32):
            chunk = data[start:start + 32].hex(" ")
            lines.append(chunk + (f" *{repeat}" if repeat > 1 else ""))
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true", help="only compare")
    check = parser.parse_args().check
    FOLDER.mkdir(parents=True, exist_ok=True)
    stale = []
    for name, about, fields, type_text, reference_units, fill in SAMPLES:
        text = render(about, fields, type_text, reference_units, fill)
        path = FOLDER / f"{name}.txt"
        if check:
            if not path.exists() or path.read_text(encoding="utf-8") != text:
                stale.append(name)
        else:
            path.write_text(text, encoding="utf-8")
    if stale:
        sys.exit("differ from what this script writes: " + ", ".join(stale))


if __name__ == "__main__":
    main()
