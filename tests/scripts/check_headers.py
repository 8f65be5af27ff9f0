#!/usr/bin/env python3
"""Compile the platform's headers: each on its own, and for every target there is a compiler for all
before and after the C++ library's. The layout assertions speak there, too.
Usage: check_headers.py REPOSITORY"""
import pathlib
import shutil
import subprocess
import sys

COMPILERS = [
    ["g++"],
    ["clang++"],
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
    for compiler in COMPILERS:
        if shutil.which(compiler[0]) is None:
            print(f"{compiler[0]}: not installed, not tried")
            continue
        tried += 1
        for source in together + (alone if tried == 1 else []):
            run = subprocess.run(compiler + FLAGS + ["-I", str(root)], input=source, text=True,
                                 capture_output=True)
            if run.returncode != 0:
                failures += 1
                print(f"{compiler[0]}:\n{source}\n{run.stderr}")
    print(f"{len(alone)} headers, {tried} compilers, {failures} failures")
    return 1 if failures or not tried else 0


if __name__ == "__main__":
    sys.exit(main())
