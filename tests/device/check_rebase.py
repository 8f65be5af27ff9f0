#!/usr/bin/python3
"""Prove the base relocations: the image moved by them equals the image linked at the other base.

usage: check_rebase.py LIBRARY OTHER
"""
import sys

import pefile

def memory(image):
    """The sections as they lie in memory, the relocations themselves apart."""
    out = {}
    for section in image.sections:
        if section.Name.rstrip(b"\0") != b".reloc":
            data = section.get_data()[:section.Misc_VirtualSize]
            out[section.Name] = (section.VirtualAddress, section.Misc_VirtualSize, data)
    return out


def differing(left, right):
    if {k: v[:2] for k, v in left.items()} != {k: v[:2] for k, v in right.items()}:
        sys.exit("the two images have different sections")
    return sum(a != b for name in left for a, b in zip(left[name][2], right[name][2]))


def main():
    library, other = pefile.PE(sys.argv[1]), pefile.PE(sys.argv[2])
    target = memory(other)
    before = differing(memory(library), target)
    library.relocate_image(other.OPTIONAL_HEADER.ImageBase)
    after = differing(memory(library), target)
    print(f"{sys.argv[1]}: {before} bytes differ before, {after} after the relocations")
    # An image that does not change with its base would prove nothing.
    return 0 if before > 0 and after == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
