#!/usr/bin/python3
"""Spoil a device library, for the negative controls.

usage: break_image.py relocations|entries|import LIBRARY BROKEN
"""
import sys

import pefile


def main():
    what, source, target = sys.argv[1:]
    image = pefile.PE(source)
    if what == "relocations":
        entry = image.OPTIONAL_HEADER.DATA_DIRECTORY[5]
        entry.VirtualAddress = entry.Size = 0
    elif what == "entries":
        # The table stays, but every entry now says "nothing to do".
        for block in image.DIRECTORY_ENTRY_BASERELOC:
            for entry in block.entries:
                entry.struct.Data = 0
    elif what == "import":
        function = image.DIRECTORY_ENTRY_IMPORT[0].imports[0]
        image.set_bytes_at_offset(function.name_offset, b"X" + function.name[1:])
    else:
        sys.exit(f"cannot break {what}")
    image.OPTIONAL_HEADER.CheckSum = image.generate_checksum()
    image.write(target)


if __name__ == "__main__":
    main()
