#!/usr/bin/python3
"""No 64-bit value and no structure by value where a device library meets the world.

Our ARM compiler puts such a value into an even pair of registers or an aligned stack slot, the devices' own
compilers into the next ones. So none may pass through an imported function, an exported one, a method of the
handler's interface or a variable argument list. clang reads the sources as the ARM build does, with templates
instantiated, and clang-query finds the offenders.

usage: check_values.py [--expect N] SOURCE...
With --expect, exactly so many findings must come out: the control that the check finds what it looks for.
"""
import argparse
import concurrent.futures
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
SKIPPED = 77

# The whole list of exceptions, and each must be met: a list that outlives its reason would hide the next offence.
# A double comes back in the first two registers under both conventions, on x86 in st(0); as an argument it would not do.
ALLOWED = ["double CEAPI wcstod("]

WIDE = ["long long", "unsigned long long", "double", "long double"]
TYPES = ", ".join(f'asString("{prefix}{name}")' for name in WIDE for prefix in ("", "const "))


def query(exports):
    names = ", ".join(f'"::{name}"' for name in exports)
    # Types come last: comparing their names takes most of the matching.
    # The only structure let through is the one word that a va_list is on ARM.
    return f"""set output diag
set bind-root true
let Wide qualType(hasCanonicalType(anyOf({TYPES}, qualType(recordType(), unless(asString("struct std::__va_list"))))))
let Bad functionDecl(anyOf(hasAnyParameter(hasType(Wide)), returns(Wide)))
m functionDecl(unless(cxxMethodDecl()), unless(isDefinition()), isExpansionInFileMatching("/platform/|wrong_values"), Bad)
m functionDecl(hasAnyName({names}), isDefinition(), Bad)
m cxxMethodDecl(isVirtual(), ofClass(isSameOrDerivedFrom(hasName("::IReplObjHandler"))), Bad)
m callExpr(unless(isExpansionInSystemHeader()), callee(functionDecl(isVariadic(), unless(matchesName("__builtin")))), hasAnyArgument(hasType(Wide)))
"""


def exported():
    names = []
    for path in ("WktDevSync/exports.map", "WktDevLog/exports.map"):
        names += re.findall(r"^ *(\w+);$", (ROOT / path).read_text(), re.M)
    return names + ["WrongExport"]


def include_folders():
    run = subprocess.run(["arm-none-eabi-g++", "-march=armv4", "-marm", "-E", "-v", "-x", "c++", "/dev/null"],
                         capture_output=True, text=True, check=True)
    block = re.search(r"#include <.*?\n(.*?)End of search", run.stderr, re.S).group(1)
    return [os.path.realpath(line.strip()) for line in block.splitlines()]


def findings(source, script, flags):
    run = subprocess.run(["clang-query", "-f", script, source, "--", *flags], capture_output=True, text=True,
                         check=False, cwd=ROOT)
    output = run.stdout + run.stderr
    if re.search(r"\berror:", output) or "matches." not in output and "match." not in output:
        return [f"{source}: clang does not understand it:\n{output[-2000:]}"], set()
    found, excused = [], set()
    for match in re.finditer(r'^(\S+:\d+:\d+): note: "root" binds here\n(.*)$', output, re.M):
        excuses = {text for text in ALLOWED if text in match.group(2)}
        excused |= excuses
        if not excuses:
            found.append(f"{os.path.relpath(match.group(1), ROOT)}: {match.group(2).strip()}")
    return found, excused


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--expect", type=int, default=0)
    parser.add_argument("sources", nargs="+")
    options = parser.parse_args()
    for tool in ("clang-query", "arm-none-eabi-g++"):
        if shutil.which(tool) is None:
            print(f"skipped: {tool} is not installed", file=sys.stderr)
            sys.exit(1 if os.environ.get("WKT_DEVICE_REQUIRED") == "1" else SKIPPED)
    flags = ["-x", "c++", "-std=c++20", "--target=armv4-none-eabi", "-marm", "-nostdinc", "-fsized-deallocation",
             "-fno-exceptions", "-fno-rtti", "-fshort-wchar", "-fsigned-char", "-fno-short-enums", "-I", str(ROOT)]
    for folder in include_folders():
        flags += ["-isystem", folder]
    with tempfile.NamedTemporaryFile("w", suffix=".query") as script:
        script.write(query(exported()))
        script.flush()
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            results = list(pool.map(lambda source: findings(source, script.name, flags), options.sources))
            found = sorted({line for lines, _ in results for line in lines})
            unmet = set(ALLOWED).difference(*(excused for _, excused in results)) if not options.expect else set()
    for line in found:
        print(line)
    for text in sorted(unmet):
        print(f"{text} is allowed and not met")
    print(f"{len(options.sources)} sources, {len(found)} values that do not pass alike, {len(ALLOWED)} allowed")
    return 0 if len(found) == options.expect and not unmet else 1


if __name__ == "__main__":
    sys.exit(main())
