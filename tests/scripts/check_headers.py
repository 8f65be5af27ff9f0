#!/usr/bin/env python3
"""Compile the platform's headers: each on its own, and for every target there is a compiler for all
before and after the C++ library's. The layout assertions speak there, too.
Usage: check_headers.py REPOSITORY here|device
here: this machine's compilers, of which g++ must be there. device: those for 32 bits and for devices; when one is
missing the rest is compiled, the missing are named, and the exit code is 77, or 1 with WKT_DEVICE_REQUIRED=1."""
import os
import pathlib
import shutil
import subprocess
import sys

SKIPPED = 77
HERE = [["g++"], ["clang++"]]
DEVICE = [
    ["i686-linux-gnu-g++"],
    ["arm-linux-gnueabi-g++"],
    ["arm-none-eabi-g++", "-march=armv4", "-marm", "-mfloat-abi=soft", "-fno-short-enums",
     "-fshort-wchar", "-fsigned-char"],
    ["i686-w64-mingw32-g++", "-march=i486", "-mpreferred-stack-boundary=2"],
]
FLAGS = ["-std=c++20", "-fno-exceptions", "-fno-rtti", "-fsyntax-only", "-Wall", "-Wextra", "-Werror",
         "-Wconversion", "-Wshadow", "-Wpedantic", "-x", "c++", "-"]
LIBRARY = "".join(f"#include <{name}>\n" for name in
                  ("algorithm", "cstdlib", "cwchar", "memory", "string", "vector", "wctype.h"))
USE = """
int Use(WCHAR* text) {
  const bool theirs = std::wcschr(L"a", L'a') != nullptr && std::wcstod(L"1", nullptr) > 0;
  return theirs && wcschr(text, u'a') != nullptr && iswctype(u'1', _DIGIT) != 0 &&
         iswctype(*text, WORD{4}) != 0 && _wtol(_itow(1, text, 10)) == 1 && wcstod(text, nullptr) > 0 &&
         RegCloseKey(HKEY_LOCAL_MACHINE) == ERROR_SUCCESS && GetLastError() == ERROR_SEEK;
}
"""


def main():
    root = pathlib.Path(sys.argv[1])
    alone = [f'#include "platform/{header.name}"\n' for header in sorted((root / "platform").glob("*.h"))]
    everything = '#include "platform/Platform.h"\n'
    together = [LIBRARY + everything + USE, everything + LIBRARY + USE]
    failures = 0
    tried = 0
    missing = []
    for compiler in DEVICE if sys.argv[2] == "device" else HERE:
        if shutil.which(compiler[0]) is None:
            print(f"{compiler[0]}: not installed, not tried")
            missing.append(compiler[0])
            continue
        tried += 1
        for source in together + (alone if tried == 1 else []):
            run = subprocess.run(compiler + FLAGS + ["-I", str(root)], input=source, text=True,
                                 capture_output=True)
            if run.returncode != 0:
                failures += 1
                print(f"{compiler[0]}:\n{source}\n{run.stderr}")
    print(f"{len(alone)} headers, {tried} compilers, {failures} failures")
    if failures or "g++" in missing:
        return 1
    if sys.argv[2] == "device" and missing:
        return 1 if os.environ.get("WKT_DEVICE_REQUIRED") == "1" else SKIPPED
    return 0


if __name__ == "__main__":
    sys.exit(main())
