#!/usr/bin/python3
"""Make a Windows CE library (PE, machine 0x1C0) of an ARM ELF image linked by ce-arm.ld.

usage: elf2ce.py image.elf library.dll --def exports.def [--res version.res]

The ELF image carries its relocations (ld --emit-relocs). Whatever this program does not know how to
move, import or place stops the build: a library with a wrong pointer is worse than none.
"""
import argparse
import re
import struct
import sys

from elftools.elf.constants import SH_FLAGS
from elftools.elf.elffile import ELFFile

PAGE, FILE_ALIGN = 0x1000, 0x200
MACHINE_ARM, SUBSYSTEM_CE = 0x01C0, 9
CODE, DATA, ZEROES = 0x20, 0x40, 0x80
DISCARDABLE, EXECUTE, READ, WRITE = 0x02000000, 0x20000000, 0x40000000, 0x80000000

# Relocations that hold an address, and those that stay right wherever the image lies.
ABSOLUTE = {2: "R_ARM_ABS32", 38: "R_ARM_TARGET1"}
RELATIVE = {0: "NONE", 1: "PC24", 3: "REL32", 28: "CALL", 29: "JUMP24", 40: "V4BX", 42: "PREL31"}


def stop(message):
    sys.exit(f"elf2ce: {message}")


def up(value, step):
    return (value + step - 1) & -step


class Elf:
    """The image: base, the four sections, the symbols, the places that hold addresses."""

    def __init__(self, path):
        self.file = ELFFile(open(path, "rb"))
        if self.file["e_machine"] != "EM_ARM" or self.file["e_type"] != "ET_EXEC":
            stop(f"{path} is not a linked ARM image")
        self.symbols = {}
        for symbol in self.file.get_section_by_name(".symtab").iter_symbols():
            if symbol.name and symbol["st_shndx"] != "SHN_UNDEF":
                self.symbols[symbol.name] = symbol["st_value"]
        self.sections = self.read_sections()
        self.base = self.sections[".text"]["sh_addr"] - PAGE
        self.places = sorted(self.read_places())

    def read_sections(self):
        found = {}
        for section in self.file.iter_sections():
            if not section["sh_flags"] & SH_FLAGS.SHF_ALLOC or section["sh_size"] == 0:
                continue
            if section.name not in (".text", ".rdata", ".data", ".bss"):
                stop(f"unexpected section {section.name} in the image")
            found[section.name] = section
        for name in (".text", ".rdata", ".data"):
            if name not in found:
                stop(f"section {name} is missing or empty")
            if found[name]["sh_addr"] % PAGE:
                stop(f"section {name} does not start on a page")
        return found

    def read_places(self):
        for name in (".text", ".rdata", ".data"):
            table = self.file.get_section_by_name(".rel" + name)
            if self.file.get_section_by_name(".rela" + name) is not None:
                stop(f"section {name} has relocations of the other kind")
            if table is None:
                continue
            symbols = self.file.get_section(table["sh_link"])
            for entry in table.iter_relocations():
                kind, place = entry["r_info_type"], entry["r_offset"]
                if kind in RELATIVE:
                    continue
                if kind not in ABSOLUTE:
                    stop(f"relocation type {kind} at {place:#x} is not known")
                symbol = symbols.get_symbol(entry["r_info_sym"])
                if symbol["st_shndx"] == "SHN_UNDEF":
                    if symbol["st_info"]["bind"] != "STB_WEAK":
                        stop(f"{symbol.name} is not defined")
                    continue  # an absent weak symbol is 0 at every base
                if place % 4:
                    stop(f"pointer at {place:#x} is not aligned")
                yield place - self.base

    def rva(self, name):
        if name not in self.symbols:
            stop(f"symbol {name} is missing")
        return self.symbols[name] - self.base

    def imports(self):
        """The imported names in the order of their slots; the slots leave no hole."""
        start, end = self.rva("__iat_start"), self.rva("__iat_end")
        slots = {value - self.base: name[len("__imp_"):] for name, value in self.symbols.items()
                 if name.startswith("__imp_")}
        if sorted(slots) != list(range(start, end, 4)):
            stop("the import slots do not fill their table")
        return start, [slots[place] for place in range(start, end, 4)]


def read_exports(path):
    text = open(path, encoding="ascii").read()
    return sorted(re.sub(r";.*", "", text.split("EXPORTS", 1)[1]).split())


def import_section(rva, iat, names):
    """Import directory, name table and names; returns the bytes and the words for the slots."""
    lookup = 40
    texts = lookup + 4 * (len(names) + 1)
    words, tail = [], bytearray()
    for name in names:
        words.append(rva + texts + len(tail))
        tail += struct.pack("<H", 0) + name.encode("ascii") + b"\0"
        tail += b"\0" * (len(tail) % 2)
    library = rva + texts + len(tail)
    tail += b"coredll.dll\0"
    table = struct.pack(f"<{len(words) + 1}I", *words, 0)
    head = struct.pack("<5I", rva + lookup, 0, 0, library, iat) + b"\0" * 20
    return head + table + bytes(tail), words


def export_section(rva, library, names, addresses):
    count = len(names)
    functions, pointers = 40, 40 + 4 * count
    ordinals = pointers + 4 * count
    texts = ordinals + 2 * count
    tail, places = bytearray(library.encode("ascii") + b"\0"), []
    for name in names:
        places.append(rva + texts + len(tail))
        tail += name.encode("ascii") + b"\0"
    return (struct.pack("<IIHHIIIIIII", 0, 0, 0, 0, rva + texts, 1, count, count, rva + functions,
                        rva + pointers, rva + ordinals)
            + struct.pack(f"<{count}I", *addresses) + struct.pack(f"<{count}I", *places)
            + struct.pack(f"<{count}H", *range(count)) + bytes(tail))


def read_resources(path):
    """The resources of a .res file: (type, name, language, bytes), numeric identifiers only."""
    data, at, found = open(path, "rb").read(), 0, []
    while at < len(data):
        size, header = struct.unpack_from("<II", data, at)
        marks = struct.unpack_from("<HHHH", data, at + 8)
        if size:  # the file opens with an empty resource
            if marks[0] != 0xFFFF or marks[2] != 0xFFFF:
                stop("a resource has a name that is not a number")
            language = struct.unpack_from("<H", data, at + 8 + 8 + 6)[0]
            found.append((marks[1], marks[3], language, data[at + header:at + header + size]))
        at = up(at + header + size, 4)
    return sorted(found)


def resource_section(rva, resources):
    """Three levels, type, name and language, each a directory."""
    def directory(entries):
        return (struct.pack("<IIHHHH", 0, 0, 0, 0, 0, len(entries))
                + b"".join(struct.pack("<II", *entry) for entry in entries))

    if len({entry[:2] for entry in resources}) != len(resources):
        stop("a resource has two languages")
    types = sorted({entry[0] for entry in resources})
    names_at = 16 + 8 * len(types)
    languages_at = names_at + sum(16 + 8 * sum(r[0] == t for r in resources) for t in types)
    leaves_at = languages_at + 24 * len(resources)
    data_at = up(leaves_at + 16 * len(resources), 8)
    top, names, index = [], bytearray(), 0
    for kind in types:
        top.append((kind, 0x80000000 | (names_at + len(names))))
        level = []
        for entry in (r for r in resources if r[0] == kind):
            level.append((entry[1], 0x80000000 | (languages_at + 24 * index)))
            index += 1
        names += directory(level)
    languages, leaves, blob = bytearray(), bytearray(), bytearray()
    for number, (_, _, language, content) in enumerate(resources):
        languages += directory([(language, leaves_at + 16 * number)])
        leaves += struct.pack("<IIII", rva + data_at + len(blob), len(content), 0, 0)
        blob += content + b"\0" * (up(len(content), 8) - len(content))
    head = directory(top) + bytes(names) + bytes(languages) + bytes(leaves)
    return head + b"\0" * (data_at - len(head)) + bytes(blob)


def relocation_section(places):
    pages = {}
    for place in places:
        pages.setdefault(place & -PAGE, []).append(0x3000 | (place & (PAGE - 1)))
    out = bytearray()
    for page in sorted(pages):
        entries = pages[page] + [0] * (len(pages[page]) % 2)
        out += struct.pack(f"<II{len(entries)}H", page, 8 + 2 * len(entries), *entries)
    return bytes(out)


def checksum(image):
    total = sum(struct.unpack(f"<{len(image) // 2}H", image))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return total + len(image)


class Image:
    """The PE file under construction."""

    def __init__(self, base, entry):
        self.base, self.entry = base, entry
        self.sections, self.directories, self.next = [], [(0, 0)] * 16, PAGE

    def add(self, name, flags, content, virtual_size=None, directory=None):
        size = virtual_size or len(content)
        self.sections.append((name, flags, self.next, size, bytes(content)))
        if directory is not None:
            self.directories[directory] = (self.next, size)
        self.next = up(self.next + size, PAGE)

    def place(self, rva):
        if rva != self.next:
            stop(f"a section wants {rva:#x}, the next free page is {self.next:#x}")

    def write(self, path):
        headers = up(0x80 + 24 + 224 + 40 * len(self.sections), FILE_ALIGN)
        raw, table, body = headers, bytearray(), bytearray()
        for name, flags, rva, size, content in self.sections:
            length = up(len(content), FILE_ALIGN)
            table += struct.pack("<8sIIIIIIHHI", name.encode("ascii"), size, rva, length, raw,
                                 0, 0, 0, 0, flags)
            body += content + b"\0" * (length - len(content))
            raw += length
        code = sum(up(len(s[4]), FILE_ALIGN) for s in self.sections if s[1] & CODE)
        data = sum(up(len(s[4]), FILE_ALIGN) for s in self.sections if s[1] & DATA)
        # Executable, 32-bit, library; no line numbers, no local symbols. Time stamp 0: reproducible.
        coff = struct.pack("<4sHHIIIHH", b"PE\0\0", MACHINE_ARM, len(self.sections), 0, 0, 0, 224, 0x210E)
        optional = struct.pack("<HBBIIIIII", 0x10B, 2, 40, code, data, 0, self.entry, PAGE,
                               self.sections[1][2])
        optional += struct.pack("<IIIHHHHHHIIIIHHIIIIII", self.base, PAGE, FILE_ALIGN, 4, 0, 0, 0, 3, 0,
                                0, self.next, headers, 0, SUBSYSTEM_CE, 0, 0x100000, PAGE, 0x100000,
                                PAGE, 0, 16)
        optional += b"".join(struct.pack("<II", *entry) for entry in self.directories)
        dos = struct.pack("<2s58xI", b"MZ", 0x80).ljust(0x80, b"\0")
        image = bytearray((dos + coff + optional + bytes(table)).ljust(headers, b"\0") + body)
        struct.pack_into("<I", image, 0x80 + 24 + 64, checksum(bytes(image)))
        open(path, "wb").write(image)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("elf")
    parser.add_argument("dll")
    parser.add_argument("--def", dest="exports", required=True)
    parser.add_argument("--res")
    parser.add_argument("--name", help="the library's own name, if not the file's")
    options = parser.parse_args()

    elf = Elf(options.elf)
    image = Image(elf.base, elf.rva("DllEntry"))
    iat, imported = elf.imports()
    data = elf.sections[".data"]
    data_rva = data["sh_addr"] - elf.base
    zeroes = elf.sections.get(".bss")
    data_end = (zeroes or data)["sh_addr"] + (zeroes or data)["sh_size"] - elf.base

    imports, words = import_section(up(data_end, PAGE), iat, imported)
    content = bytearray(data.data())
    struct.pack_into(f"<{len(words)}I", content, iat - data_rva, *words)

    for name, flags, section in ((".text", CODE | EXECUTE | READ, elf.sections[".text"].data()),
                                 (".rdata", DATA | READ, elf.sections[".rdata"].data()),
                                 (".data", DATA | READ | WRITE, content)):
        image.place(elf.sections[name]["sh_addr"] - elf.base)
        image.add(name, flags, section, data_end - data_rva if name == ".data" else None)
    image.add(".idata", DATA | READ, imports, directory=1)
    image.directories[12] = (iat, 4 * (len(words) + 1))
    exports = read_exports(options.exports)
    library = options.name or options.dll.rsplit("/", 1)[-1]
    image.add(".edata", DATA | READ,
              export_section(image.next, library, exports, [elf.rva(name) for name in exports]),
              directory=0)
    if options.res:
        image.add(".rsrc", DATA | READ, resource_section(image.next, read_resources(options.res)),
                  directory=2)
    image.add(".reloc", DATA | READ | DISCARDABLE, relocation_section(elf.places), directory=5)
    image.write(options.dll)


if __name__ == "__main__":
    main()
