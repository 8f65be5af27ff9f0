#!/usr/bin/env python3
"""Turns the hexadecimal inputs of a folder into the binary files that a fuzzer reads.

    make_fuzz_seeds.py FOLDER... TARGET
"""
import pathlib
import sys


def read_hex(path):
    lines = path.read_text(encoding="utf-8").splitlines()
    if "hex" in lines:
        lines = lines[lines.index("hex") + 1:]
    data = b""
    for line in lines:
        words = line.split("#")[0].split()
        repeat = 1
        if words and words[-1].startswith("*"):
            repeat = int(words.pop()[1:])
        data += bytes(int(word, 16) for word in words) * repeat
    return data


def main():
    *folders, target = map(pathlib.Path, sys.argv[1:])
    target.mkdir(parents=True, exist_ok=True)
    for folder in folders:
        for path in sorted(folder.iterdir()):
            (target / path.stem).write_bytes(read_hex(path))


if __name__ == "__main__":
    main()
