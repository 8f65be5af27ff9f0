#!/usr/bin/env python3
"""Look at what the device's libraries, compiled for ARMv4, need from outside.

Every undefined symbol has to stand in the library's column of device/coredll-functions.txt or in
device/runtime-names.txt (what the compiler and C++ expect of a runtime). No object may ask for
constructors at start: the libraries have none. Exit code 1 and one line a finding; 77 when the
compiler is not installed (1 with WKT_DEVICE_REQUIRED=1).

The objects are those of a device build (--objects), or compiled here where there is none.
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
            needed.setdefault(name, Path(where).name.split(".")[0])
        else:
            defined.add(name)
    return {name: where for name, where in needed.items() if name not in defined}


def start_code(objects):
    out = subprocess.run(["arm-none-eabi-objdump", "-h", *map(str, objects)], capture_output=True,
                         text=True, check=True).stdout
    for part in re.split(r"^(?=\S+: +file format )", out, flags=re.M):
        if re.search(r"\.(init_array|ctors|fini_array|dtors)", part):
            yield Path(part.split(": ")[0]).name.split(".")[0]


def compile_all(sources, work):
    """The objects, and what the compiler complained of."""
    work.mkdir(parents=True, exist_ok=True)
    targets = {source: work / (source.name + ".obj") for source in sources}
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        problems = list(pool.map(lambda item: compile_one(*item), targets.items()))
    return list(targets.values()), [problem for problem in problems if problem]


def find_all(sources, folder):
    """The objects that a device build made of the sources, and which it has none of."""
    found = {source: list(folder.rglob(f"{source.parent.name}/{source.name}.obj")) for source in sources}
    problems = [f"{source}: {len(there)} objects in {folder}" for source, there in found.items() if len(there) != 1]
    return [item for objects in found.values() for item in objects], problems


def check(name, sources, functions, runtime, built, work):
    if len({source.name for source in sources}) != len(sources):
        yield f"{name}: two sources of one file name"
        return
    objects, problems = find_all(sources, built / f"{name}_objects.dir") if built else compile_all(sources, work)
    if problems:
        yield from problems
        return
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
    parser.add_argument("--objects", type=Path, help="CMakeFiles of a device build for ARM; not there: compile")
    options = parser.parse_args()
    if not shutil.which(COMPILER):
        print(f"{COMPILER} is not installed: not checked")
        return 1 if os.environ.get("WKT_DEVICE_REQUIRED") == "1" else SKIPPED
    functions_file = ROOT / "device/coredll-functions.txt"
    runtime = {line[0] for line in read_lines(ROOT / "device/runtime-names.txt")}
    built = options.objects if options.objects and options.objects.is_dir() else None
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
            found += check(name, sources, functions, runtime, built, Path(work) / name)
    for finding in found:
        print(finding)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
