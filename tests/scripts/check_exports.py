#!/usr/bin/env python3
"""Check that libcoredll.so exports every function that platform/ declares and, besides
wkt::host, nothing else.  Usage: check_exports.py REPOSITORY libcoredll.so"""
import pathlib
import re
import subprocess
import sys


def declared(platform):
    """Symbols of the functions that a system library has to provide."""
    symbols = set()
    for header in sorted(platform.glob("*.h")):
        if header.name in ("SyncProvider.h", "LogLibrary.h"):
            continue  # what other libraries export
        text = re.sub(r"//.*|^#.*(\\\n.*)*", "", header.read_text(encoding="utf-8"), flags=re.M)
        for statement in text.split(";"):
            match = re.search(r"\bCEAPI\s+(\w+)\s*\(", statement)
            if match and "using" not in statement:
                own = re.search(r"CE_SYMBOL\((\w+)\)", statement)
                symbols.add("ce_" + own.group(1) if own else match.group(1))
    return symbols


def exported(library):
    output = subprocess.run(["nm", "-D", "--defined-only", library],
                            check=True, capture_output=True, text=True).stdout
    return {line.split()[-1].split("@")[0] for line in output.splitlines()}


def main():
    wanted = declared(pathlib.Path(sys.argv[1]) / "platform")
    found = exported(sys.argv[2])
    own = {name for name in found if re.match(r"_Z\w*3wkt4host", name)}
    problems = [f"declared in platform/, not exported: {name}" for name in sorted(wanted - found)]
    problems += [f"exported, not declared: {name}" for name in sorted(found - wanted - own)]
    if len(wanted) < 60:
        problems.append(f"only {len(wanted)} declarations found: the headers are no longer read right")
    print("\n".join(problems) or f"{len(wanted)} functions of the platform exported")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
