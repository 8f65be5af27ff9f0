#!/usr/bin/env python3
"""Writes the inputs of a fuzzer as lines of one text file, the smallest first.

    keep_fuzz_inputs.py FOLDER FILE

A line is an input: words of hexadecimal digits, "00*38" for a byte repeated. Lines are added until the file has the size
that the tree has room for; what stays out is counted.
"""
import pathlib
import re
import sys

LIMIT = 250_000  # bytes of text per program
SHORTEST_RUN = 6  # shorter ones are shorter as digits


def line_of(data):
    words, at = [], 0
    for run in re.finditer(rb"(.)\1{%d,}" % (SHORTEST_RUN - 1), data, re.DOTALL):
        if run.start() > at:
            words.append(data[at:run.start()].hex())
        words.append(f"{run.group(1).hex()}*{len(run.group(0))}")
        at = run.end()
    if at < len(data):
        words.append(data[at:].hex())
    return " ".join(words)


def main():
    folder, target = map(pathlib.Path, sys.argv[1:])
    lines = sorted({line_of(path.read_bytes()) for path in folder.iterdir()}, key=lambda line: (len(line), line))
    text = "# Inputs that together reach all the code that fuzzing has reached; made by ./dev fuzz --keep.\n"
    kept = 0
    for line in filter(None, lines):
        if len(text) + len(line) + 1 > LIMIT:
            break
        text += line + "\n"
        kept += 1
    target.write_text(text)
    print(f"{target}: {kept} inputs, {len(text)} bytes; {len(lines) - kept} left out")


if __name__ == "__main__":
    main()
