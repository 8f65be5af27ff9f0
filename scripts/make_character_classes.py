#!/usr/bin/env python3
"""Print host/coredll/CharacterClasses.inc: ranges of UTF-16 code units and their classes.

The classes are those of the Microsoft runtime, derived from the Unicode data of the Python that
runs this (the table says which version). A range with step 2 alternates upper and lower case.
"""
import sys
import unicodedata

UPPER, LOWER, DIGIT, SPACE, PUNCT, CONTROL, BLANK, HEX = 1, 2, 4, 8, 16, 32, 64, 128
LETTER = 0x100


def classes(unit):
    text = chr(unit)
    category = unicodedata.category(text)
    if unit in (9, 10, 11, 12, 13):
        return CONTROL | SPACE | (BLANK if unit == 9 else 0)
    if category == "Cc":
        return CONTROL | (SPACE if unit == 0x85 else 0)
    if category in ("Zs", "Zl", "Zp"):
        return SPACE | (BLANK if category == "Zs" else 0)
    if category == "Nd":
        return DIGIT | (HEX if 0x30 <= unit <= 0x39 else 0)
    bits = 0
    if category == "Lu":
        bits = LETTER | UPPER
    elif category == "Ll":
        bits = LETTER | LOWER
    elif category in ("Lt", "Lm", "Lo"):
        bits = LETTER
    elif category[0] in "PS":
        bits = PUNCT
    if text in "abcdefABCDEF":
        bits |= HEX
    return bits


def ranges():
    result = []
    for unit in range(0x10000):
        bits = classes(unit) if not 0xD800 <= unit <= 0xDFFF else 0
        if result and result[-1][2:] == [bits, bits] and result[-1][1] == unit - 1:
            result[-1][1] = unit
            continue
        # Scripts with two cases alternate; one range holds the pairs.
        last = result[-1] if result else None
        if last and last[1] == unit - 1 and bits and {bits, last[2]} == {0x101, 0x102}:
            if last[0] == last[1] and last[2] != bits:
                last[1], last[3] = unit, bits
                continue
            if last[2] != last[3] and bits == (last[2] if (unit - last[0]) % 2 == 0 else last[3]):
                last[1] = unit
                continue
        result.append([unit, unit, bits, bits])
    return [r for r in result if r[2]]


def main():
    print("// Made by scripts/make_character_classes.py from Unicode "
          f"{unicodedata.unidata_version}.")
    print("// First and last unit, classes of the units at even and at odd distance.")
    line = ""
    for first, last, even, odd in ranges():
        item = f"{{0x{first:04X}, 0x{last:04X}, 0x{even:03X}, 0x{odd:03X}}}, "
        if len(line) + len(item) > 100:
            print(line.rstrip())
            line = ""
        line += item
    print(line.rstrip())
    return 0


if __name__ == "__main__":
    sys.exit(main())
