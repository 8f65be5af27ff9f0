#!/usr/bin/python3
"""Hold a device library against what it has to be: headers, imports, exports, version.

usage: check_image.py LIBRARY --machine arm|x86 --exports NAME,NAME --functions FILE --column NAME --version a.b.c.d
       [--limit BYTES]
"""
import argparse
import pathlib
import sys

import pefile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "device"))
from mkdef import allowed  # noqa: E402

MACHINES = {"arm": 0x01C0, "x86": 0x014C}
SUBSYSTEM_CE = 9
RELOCATIONS_STRIPPED, EXECUTABLE, LIBRARY = 0x0001, 0x0002, 0x2000


def faults(options):
    """What is wrong with the library, a line each."""
    image = pefile.PE(options.library)
    header, optional = image.FILE_HEADER, image.OPTIONAL_HEADER
    if header.Machine != MACHINES[options.machine]:
        yield f"machine {header.Machine:#x}"
    if header.TimeDateStamp != 0:
        yield "a time stamp, so no two builds are alike"
    if not header.Characteristics & LIBRARY or not header.Characteristics & EXECUTABLE:
        yield f"characteristics {header.Characteristics:#x}"
    if header.Characteristics & RELOCATIONS_STRIPPED:
        yield "marked as stripped of relocations"
    if optional.Subsystem != SUBSYSTEM_CE:
        yield f"subsystem {optional.Subsystem}"
    if (optional.MajorSubsystemVersion, optional.MinorSubsystemVersion) > (4, 0):
        yield "wants a newer system than Windows CE 4.0"
    if optional.AddressOfEntryPoint == 0:
        yield "no entry"
    if not image.verify_checksum():
        yield "checksum is wrong"
    if optional.DATA_DIRECTORY[5].Size == 0 or not hasattr(image, "DIRECTORY_ENTRY_BASERELOC"):
        yield "no base relocations"
    size = pathlib.Path(options.library).stat().st_size
    if options.limit and size > options.limit:
        yield f"{size} bytes, more than {options.limit}"
    yield from import_faults(image, options)
    exports = getattr(image, "DIRECTORY_ENTRY_EXPORT", None)
    names = [symbol.name.decode() for symbol in exports.symbols] if exports else []
    if names != sorted(options.exports.split(",")):
        yield f"exports {names}"
    if not exports or exports.name.decode() != pathlib.Path(options.library).name:
        yield "does not export under its own name"
    if version_of(image) != options.version:
        yield f"version {version_of(image)}"
    for warning in image.get_warnings():
        if "may indicate truncation" not in warning:  # zeroes up to the file alignment; small files have many
            yield f"pefile warns: {warning}"


def import_faults(image, options):
    may = set(allowed(options.functions, options.column))
    imports = getattr(image, "DIRECTORY_ENTRY_IMPORT", [])
    if [entry.dll.decode() for entry in imports] != ["coredll.dll"]:
        yield f"imports from {[entry.dll.decode() for entry in imports]}"
    for entry in imports:
        for function in entry.imports:
            if function.name is None:
                yield f"imports by number {function.ordinal}"
            elif function.name.decode() not in may:
                yield f"imports {function.name.decode()}, which is not in the list"


def version_of(image):
    if not hasattr(image, "VS_FIXEDFILEINFO"):
        return "none"
    fixed = image.VS_FIXEDFILEINFO[0]
    high, low = fixed.FileVersionMS, fixed.FileVersionLS
    return f"{high >> 16}.{high & 0xFFFF}.{low >> 16}.{low & 0xFFFF}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("library")
    for name in ("machine", "exports", "functions", "column", "version"):
        parser.add_argument("--" + name, required=True)
    parser.add_argument("--limit", type=int, default=0)
    options = parser.parse_args()
    found = list(faults(options))
    for fault in found:
        print(f"{options.library}: {fault}")
    if not found:
        print(f"{options.library}: {pathlib.Path(options.library).stat().st_size} bytes, as it should be")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
