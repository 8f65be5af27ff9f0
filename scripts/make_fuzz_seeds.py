#!/usr/bin/env python3
"""Turns the hexadecimal inputs of folders into the binary files that a fuzzer reads.

    make_fuzz_seeds.py FOLDER... TARGET

A .txt file is one input, a .hex file one a line; a file of any other name is taken as it stands.
"""
import pathlib
import sys


def read_line(text):
    """The bytes of a line: hexadecimal words; "00*38" repeats a byte, "*3" at the end the whole line."""
    words = text.split("#")[0].split()
    repeat = 1
    if words and words[-1].startswith("*"):
        repeat = int(words.pop()[1:])
    data = b""
    for word in words:
        digits, _, count = word.partition("*")
        data += bytes.fromhex(digits.zfill(2)) * int(count or 1)
    return data * repeat


def read_inputs(path):
    if path.suffix not in (".txt", ".hex"):
        return [path.read_bytes()]
    lines = path.read_text(encoding="utf-8").splitlines()
    if path.suffix == ".hex":
        return [data for data in map(read_line, lines) if data]
    if "hex" in lines:
        lines = lines[lines.index("hex") + 1:]
    return [b"".join(map(read_line, lines))]


def main():
    *folders, target = map(pathlib.Path, sys.argv[1:])
    target.mkdir(parents=True, exist_ok=True)
    for folder in folders:
        for path in sorted(folder.iterdir()):
            for number, data in enumerate(read_inputs(path)):
                (target / f"{path.stem}-{number}").write_bytes(data)


if __name__ == "__main__":
    main()
