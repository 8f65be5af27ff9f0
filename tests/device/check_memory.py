#!/usr/bin/python3
"""Where a device library ends the process for want of memory: only in the places named here.

Without exceptions a plain `new` cannot report that there is no memory, and what the C++ library would throw
stops the process. This looks at every call of either in the ARM image.

usage: check_memory.py IMAGE.elf [objdump]
"""
import re
import subprocess
import sys

# The list of items that an application may attach to a record of kind 5. No entry point attaches one.
ALLOWED = [r"std::vector<CWktTypeItem\*.*_M_realloc_insert"]
STOPS = re.compile(r"\bb[a-z]*\s+[0-9a-f]+ <(operator new(\[\])?\(unsigned (int|long)\)|std::__throw_\w+\(.*\)|abort)>$")


def main():
    objdump = sys.argv[2] if len(sys.argv) > 2 else "arm-none-eabi-objdump"
    listing = subprocess.run([objdump, "-dC", "--no-show-raw-insn", sys.argv[1]], check=True, text=True,
                             capture_output=True).stdout
    function, functions, calls = "", 0, set()
    for line in listing.splitlines():
        head = re.match(r"[0-9a-f]+ <(.*)>:$", line)
        if head:
            function, functions = head.group(1), functions + 1
        match = STOPS.search(line)
        if match and not function.startswith("operator new"):
            calls.add((function, match.group(1)))
    bad = [call for call in sorted(calls) if not any(re.search(text, call[0]) for text in ALLOWED)]
    for caller, callee in bad:
        print(f"{caller} calls {callee}")
    print(f"{sys.argv[1]}: {functions} functions, {len(calls)} calls that may stop, {len(bad)} of them not known")
    return 0 if functions > 10 and not bad else 1


if __name__ == "__main__":
    sys.exit(main())
