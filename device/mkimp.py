#!/usr/bin/python3
"""Import thunks for ARM: from a .def file of coredll.dll, one thunk and one slot per function.

Each has its own section, so that the linker drops those that nobody calls.
"""
import sys


def names(path):
    seen_exports = False
    for line in open(path, encoding="ascii"):
        word = line.split(";")[0].strip()
        if word.upper() == "EXPORTS":
            seen_exports = True
        elif word and seen_exports:
            yield word


def main():
    print("\t.arm")
    for name in names(sys.argv[1]):
        print(f"""
\t.section .text.import.{name},"ax",%progbits
\t.p2align 2
\t.global {name}
\t.type {name}, %function
{name}:
\tldr ip, 1f
\tldr pc, [ip]
1:\t.word __imp_{name}
\t.size {name}, . - {name}
\t.section .iat.coredll.{name},"aw",%progbits
\t.p2align 2
\t.global __imp_{name}
__imp_{name}:
\t.word 0""")


if __name__ == "__main__":
    main()
