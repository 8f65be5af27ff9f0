#!/usr/bin/env python3
"""What a built device library shows to and takes from the program that loads it.

usage: library_exports_test.py LIBRARY VERSION-SCRIPT COLUMN

It exports what its version script names and nothing else, and takes only platform functions of its
column and what a C++ runtime gives. So a program with the same classes shares no state with it.
"""
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
# The C++ runtime's and the loader's part; memory and blocks are all that the libraries use of it.
RUNTIME = re.compile(
    r"_Zn[wa][mj](RKSt9nothrow_t)?|_Zd[la]Pv([mj])?|_ZSt7nothrow|_ZSt20__throw_length_errorPKc"
    r"|mem(cpy|move|set|cmp)|strlen|__cxa_finalize|__gmon_start__|_ITM_\w+|__stack_chk_fail"
    r"|__(asan|ubsan|lsan|sanitizer)\w*|_ZdlPvmSt11align_val_t|__gcov\w*|__popcountdi2")


def symbols(library, kind):
    out = subprocess.run(["nm", "-D", kind, library], capture_output=True, text=True,
                         check=True).stdout
    return {line.split()[-1].split("@")[0] for line in out.splitlines() if line.strip()}


def main(library, version_script, column):
    script = Path(version_script).read_text(encoding="utf-8")
    wanted = set(re.findall(r"^\s*(\w+);", script.split("local:")[0], re.MULTILINE))
    lines = [line.split("#")[0].split() for line in
             (ROOT / "device/coredll-functions.txt").read_text(encoding="utf-8").splitlines()]
    lines = [line for line in lines if line]
    place = lines[0].index(column)
    allowed = {line[0] for line in lines if line[place] == "x"}
    found = []
    exported = {name for name in symbols(library, "--defined-only")
                if not re.match(r"__(asan|ubsan|gcov)", name)}
    found += [f"exports {name}" for name in sorted(exported - wanted)]
    found += [f"does not export {name}" for name in sorted(wanted - exported)]
    for name in sorted(symbols(library, "--undefined-only")):
        plain = name[3:] if name.startswith("ce_") else name
        if plain not in allowed and not RUNTIME.fullmatch(name):
            found.append(f"takes {name} from outside")
    for finding in found:
        print(f"{Path(library).name} {finding}")
    return 1 if found or not wanted else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
