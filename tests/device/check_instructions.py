#!/usr/bin/python3
"""No instruction above ARMv4 in an ARM image, seen by its disassembly.

usage: check_instructions.py IMAGE.elf [objdump]
"""
import re
import subprocess
import sys

CONDITION = "(eq|ne|cs|hs|cc|lo|mi|pl|vs|vc|hi|ls|ge|lt|gt|le|al)?"
# All that ARMv4 has in ARM state; what is not here came with Thumb interworking (v4T), v5 or later.
ALLOWED = re.compile(
    "^(" + "|".join([
        "(and|eor|sub|rsb|add|adc|sbc|rsc|orr|mov|bic|mvn|mul|mla|umull|umlal|smull|smlal|neg)s?",
        "(tst|teq|cmp|cmn)p?", "(lsl|lsr|asr|ror|rrx)s?", "(ldr|str)(b|t|bt|h)?", "ldr(sb|sh)",
        "(ldm|stm)(ia|ib|da|db|fd|ed|fa|ea)?", "push", "pop", "b", "bl", "swp|swpb", "mrs|msr", "nop",
    ]) + ")" + CONDITION + "$")
TRAP = "udf"


def main():
    objdump = sys.argv[2] if len(sys.argv) > 2 else "arm-none-eabi-objdump"
    listing = subprocess.run([objdump, "-d", "--no-show-raw-insn", sys.argv[1]], check=True, text=True,
                             capture_output=True).stdout
    count, found = 0, []
    for line in listing.splitlines():
        match = re.match(r"\s*([0-9a-f]+):\t(\S+)", line)
        if not match:
            continue
        word = match.group(2)
        if word.startswith("."):
            continue  # constants between functions
        count += 1
        # The trap of the runtime is undefined on every ARM, on purpose.
        if word != TRAP and not ALLOWED.match(word):
            found.append(line.strip())
    for line in found[:20]:
        print(line)
    print(f"{sys.argv[1]}: {count} instructions, {len(found)} above ARMv4")
    return 0 if count > 100 and not found else 1


if __name__ == "__main__":
    sys.exit(main())
