#!/usr/bin/env python3
"""Compile the device's libraries for ARMv4 and look at what they need from outside.

Every undefined symbol has to stand in the library's column of device/coredll-functions.txt or in
device/runtime-names.txt (what the compiler and C++ expect of a runtime). No object may ask for
constructors at start: the libraries have none. Exit code 1 and one line a finding; 77 when the
compiler is not installed (1 with WKT_DEVICE_REQUIRED=1).
"""
import argparse
import concurrent.futures
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
COMPILER = "arm-none-eabi-g++"
FLAGS = """-march=armv4 -marm -mfloat-abi=soft -std=c++20 -Os -fno-exceptions -fno-rtti
 -fno-threadsafe-statics -fno-asynchronous-unwind-tables -fno-unwind-tables -ffunction-sections
 -fdata-sections -fno-pic -fvisibility=hidden -fno-short-enums -fshort-wchar -fsigned-char
 -fno-tree-loop-distribute-patterns -Wall -Wextra -Werror -Wconversion -Wshadow -Wpedantic
 -Wno-missing-field-initializers -Wframe-larger-than=3072""".split()
# Library -> folders whose sources it is made of, column of the function list.
LIBRARIES = {
    "WktDevSync": (["WktCommon", "WktDevCommon", "WktDevSync"], "provider"),
    "WktDevLog": (["WktDevLog"], "log"),
}
SKIPPED = 77


def read_lines(path):
    for line in path.read_text(encoding="utf-8").splitlines():
        line = line.split("#")[0].split()
        if line:
            yield line


def allowed_functions(path, column):
    lines = read_lines(path)
    header = next(lines)
    place = header.index(column)
    return {line[0] for line in lines if line[place] == "x"}


def compile_one(source, target):
    cached = ["ccache"] if shutil.which("ccache") else []
    done = subprocess.run([*cached, COMPILER, *FLAGS, "-I", str(ROOT), "-c", str(source), "-o", str(target)],
                          capture_output=True, text=True, check=False)
    return None if done.returncode == 0 else done.stderr.strip()


def symbols(objects):
    """Names the objects need and do not have among themselves: name -> one object that needs it."""
    out = subprocess.run(["arm-none-eabi-nm", "-A", *map(str, objects)], capture_output=True,
                         text=True, check=True).stdout
    needed, defined = {}, set()
    for line in out.splitlines():
        match = re.match(r"(.+?):\s*[0-9a-f]*\s+(\S)\s+(\S+)$", line)
        if not match:
            continue
        where, kind, name = match.groups()
        if kind in "Uvw":
            needed.setdefault(name, Path(where).stem)
        else:
            defined.add(name)
    return {name: where for name, where in needed.items() if name not in defined}


def start_code(objects):
    for item in objects:
        out = subprocess.run(["arm-none-eabi-objdump", "-h", str(item)], capture_output=True,
                             text=True, check=True).stdout
        if re.search(r"\.(init_array|ctors|fini_array|dtors)", out):
            yield item.stem


def check(name, sources, functions, runtime, work):
    work.mkdir(parents=True, exist_ok=True)
    targets = {source: work / (source.stem + ".o") for source in sources}
    if len(set(targets.values())) != len(targets):
        yield f"{name}: two sources of one file name"
        return
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        problems = list(pool.map(lambda item: compile_one(*item), targets.items()))
    if any(problems):
        yield from (problem for problem in problems if problem)
        return
    objects = list(targets.values())
    for symbol, where in sorted(symbols(objects).items()):
        if symbol not in functions and symbol not in runtime:
            yield f"{name}: {where} needs {symbol}, which stands in neither list"
    for where in start_code(objects):
        yield f"{name}: {where} has a constructor or destructor of the module"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--source", action="append", default=[],
                        help="check these sources as a library of their own (for the check's test)")
    parser.add_argument("--column", default="provider")
    options = parser.parse_args()
    if not shutil.which(COMPILER):
        print(f"{COMPILER} is not installed: not checked")
        return 1 if os.environ.get("WKT_DEVICE_REQUIRED") == "1" else SKIPPED
    functions_file = ROOT / "device/coredll-functions.txt"
    runtime = {line[0] for line in read_lines(ROOT / "device/runtime-names.txt")}
    found = []
    with tempfile.TemporaryDirectory() as work:
        if options.source:
            libraries = {"given": ([Path(name) for name in options.source], options.column)}
        else:
            libraries = {name: ([source for folder in folders
                                 for source in sorted((ROOT / folder).glob("*.cpp"))], column)
                         for name, (folders, column) in LIBRARIES.items()}
        for name, (sources, column) in libraries.items():
            functions = allowed_functions(functions_file, column)
            found += check(name, sources, functions, runtime, Path(work) / name)
    for finding in found:
        print(finding)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
