#!/usr/bin/python3
"""The .def file of coredll.dll for one of our libraries, from the list of functions it may call.

usage: mkdef.py coredll-functions.txt COLUMN
"""
import sys


def allowed(path, column):
    """The functions that the list allows in a column; stops on a malformed line."""
    columns, names = None, []
    for number, line in enumerate(open(path, encoding="ascii"), 1):
        words = line.split("#")[0].split()
        if not words:
            continue
        if columns is None:
            columns = words
            continue
        if len(words) != len(columns) or any(word not in ("x", "-") for word in words[1:]):
            sys.exit(f"{path}:{number}: expected a name and {len(columns) - 1} times x or -")
        if words[columns.index(column)] == "x":
            names.append(words[0])
    if len(set(names)) != len(names):
        sys.exit(f"{path}: a function is listed twice")
    return names


def main():
    print("LIBRARY coredll.dll\nEXPORTS")
    for name in allowed(sys.argv[1], sys.argv[2]):
        print(f"  {name}")


if __name__ == "__main__":
    main()
