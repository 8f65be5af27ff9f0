#!/usr/bin/python3
"""Run the ARM provider on a StrongARM SA-1110, as unicorn knows it: ARMv4 without Thumb, nothing later.

qemu's user programs need a later processor and, like unicorn, quietly read words from odd addresses, which an
ARMv4 rotates. So every access to memory is watched here. A job and a type are received from a packet that lies
at an odd address, read back and sent; the caller's stack is aligned to four bytes only.

usage: run_strict.py WktDevSync.dll PACKETS-FOLDER
"""
import os
import pathlib
import struct
import sys

import pefile
try:
    import unicorn
except ImportError:
    print("skipped: python3-unicorn is not installed", file=sys.stderr)
    sys.exit(1 if os.environ.get("WKT_DEVICE_REQUIRED") == "1" else 77)
from unicorn import arm_const as arm

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from StrictDevice import Coredll  # noqa: E402

BASE, FUNCTIONS, HEAP, STACK, RETURN = 0x32100000, 0x70000000, 0x40000000, 0x60000000, 0x71000000
HEAP_SIZE, STACK_SIZE = 0x400000, 0x10000
RETURN_TO_CALLER = 0xE1A0F00E  # mov pc, lr
LOAD_WORD, BRANCH_EXCHANGE = 0xE5910000, 0xE12FFF1E  # ldr r0, [r1]; bx lr
S_OK, LAST_PACKET = 0, 0x00140001


class Machine:
    def __init__(self, path):
        self.uc = unicorn.Uc(unicorn.UC_ARCH_ARM, unicorn.UC_MODE_ARM)
        self.uc.ctl_set_cpu_model(arm.UC_CPU_ARM_SA1110)
        image = pefile.PE(path)
        image.relocate_image(BASE)
        content = bytes(image.get_memory_mapped_image())
        size = (image.OPTIONAL_HEADER.SizeOfImage + 0xFFF) & -0x1000
        self.uc.mem_map(BASE, size)
        self.uc.mem_write(BASE, content)
        for start, length in ((FUNCTIONS, 0x1000), (HEAP, HEAP_SIZE), (STACK, STACK_SIZE), (RETURN, 0x1000)):
            self.uc.mem_map(start, length)
        self.names = [entry.name.decode() for entry in image.DIRECTORY_ENTRY_IMPORT[0].imports]
        for number, entry in enumerate(image.DIRECTORY_ENTRY_IMPORT[0].imports):
            self.write(FUNCTIONS + 4 * number, struct.pack("<I", RETURN_TO_CALLER))
            self.write(BASE + entry.address - image.OPTIONAL_HEADER.ImageBase, struct.pack("<I", FUNCTIONS + 4 * number))
        self.entry = BASE + image.OPTIONAL_HEADER.AddressOfEntryPoint
        self.exports = {e.name.decode(): BASE + e.address for e in image.DIRECTORY_ENTRY_EXPORT.symbols}
        self.free, self.unaligned, self.accesses = HEAP, [], 0
        self.called, self.coredll = set(), Coredll(self)
        self.uc.hook_add(unicorn.UC_HOOK_CODE, self.on_function, begin=FUNCTIONS, end=FUNCTIONS + 0xFFF)
        self.uc.hook_add(unicorn.UC_HOOK_MEM_READ | unicorn.UC_HOOK_MEM_WRITE, self.on_access)

    def on_function(self, uc, address, size, data):
        name = self.names[(address - FUNCTIONS) // 4]
        self.called.add(name)
        uc.reg_write(arm.UC_ARM_REG_R0, self.coredll.call(name) & 0xFFFFFFFF)

    def on_access(self, uc, access, address, size, value, data):
        self.accesses += 1
        if address % size:
            self.unaligned.append((uc.reg_read(arm.UC_ARM_REG_PC), address, size))

    def argument(self, index):
        if index < 4:
            return self.uc.reg_read(arm.UC_ARM_REG_R0 + index)
        return self.word(self.uc.reg_read(arm.UC_ARM_REG_SP) + 4 * (index - 4))

    def read(self, place, count):
        return bytes(self.uc.mem_read(place, count))

    def write(self, place, content):
        self.uc.mem_write(place, content)

    def word(self, place):
        return struct.unpack("<I", self.read(place, 4))[0]

    def text(self, place):
        units = b""
        while self.read(place + len(units), 2) != b"\0\0":
            units += self.read(place + len(units), 2)
        return units.decode("utf-16-le")

    def allocate(self, count, odd=0):
        place = self.free + odd
        self.free = (place + count + 15) & -8
        self.write(place, b"\xDB" * count)
        return place

    def put(self, content, odd=0):
        place = self.allocate(len(content), odd)
        self.write(place, content)
        return place

    def call(self, function, *arguments):
        for index, value in enumerate(arguments):
            self.uc.reg_write(arm.UC_ARM_REG_R0 + index, value)
        saved = list(range(0x11110004, 0x1111000C))
        for index, value in enumerate(saved):
            self.uc.reg_write(arm.UC_ARM_REG_R4 + index, value)
        stack = STACK + STACK_SIZE - 0x104  # four bytes off an alignment of eight
        self.uc.reg_write(arm.UC_ARM_REG_SP, stack)
        self.uc.reg_write(arm.UC_ARM_REG_LR, RETURN)
        self.uc.emu_start(function, RETURN, timeout=60_000_000)
        kept = [self.uc.reg_read(arm.UC_ARM_REG_R4 + index) for index in range(8)]
        assert self.uc.reg_read(arm.UC_ARM_REG_PC) == RETURN, "did not return"
        assert kept == saved and self.uc.reg_read(arm.UC_ARM_REG_SP) == stack, "r4 to r11 or sp changed"
        return self.uc.reg_read(arm.UC_ARM_REG_R0)

    def method(self, handler, slot, *arguments):
        return self.call(self.word(self.word(handler) + 4 * slot), handler, *arguments)


def packet_bytes(path):
    lines = path.read_text(encoding="utf-8").split("\nhex\n", 1)[1].splitlines()
    return bytes.fromhex("".join(line for line in lines if not line.startswith("#")))


def wide(text, units):
    return text.encode("utf-16-le").ljust(2 * units, b"\0")


def round_trip(machine, folder, packet):
    """Receive the packet as a new record, send that record; returns what was sent."""
    name = machine.put(wide(folder, 100))
    out = machine.put(b"\0" * 16)
    assert machine.call(machine.exports["InitObjType"], name, out, 1) == 1
    handler = machine.word(out)
    # REPLSETUP: size, read, flags (2: a new object), result, folder, notify, oid, new oid, volume
    for_writing = machine.put(struct.pack("<IIII", 240, 0, 2, 0) + wide(folder, 100) + b"\0" * 24)
    assert machine.method(handler, 3, for_writing) == S_OK
    assert machine.method(handler, 6, machine.put(packet, odd=1), len(packet)) == S_OK
    oid = machine.word(for_writing + 16 + 200 + 8)
    assert oid in machine.coredll.records, "no record was written"
    for_reading = machine.put(struct.pack("<IIII", 240, 1, 0, 0) + wide(folder, 100) + struct.pack("<IIIII", 0, oid, 0, 0, 0))
    assert machine.method(handler, 3, for_reading) == S_OK
    assert machine.method(handler, 5, out, out + 4, 8192) == LAST_PACKET
    sent = machine.read(machine.word(out), machine.word(out + 4))
    assert machine.method(handler, 2) == 0, "references are left"
    return sent


def prove_strictness(machine):
    """An unaligned access is seen, and an instruction that came after ARMv4 is refused."""
    code = machine.free = HEAP
    machine.write(code, struct.pack("<II", LOAD_WORD, RETURN_TO_CALLER))
    machine.call(code, 0, STACK + 1)
    assert len(machine.unaligned) == 1, "an unaligned access was not seen"
    machine.unaligned.clear()
    machine.write(code + 16, struct.pack("<I", BRANCH_EXCHANGE))
    try:
        machine.call(code + 16)
    except unicorn.UcError:
        machine.free = HEAP + 32
        return
    raise AssertionError("bx was executed")


def main():
    machine = Machine(sys.argv[1])
    packets = pathlib.Path(sys.argv[2])
    prove_strictness(Machine(sys.argv[1]))
    assert machine.call(machine.entry, BASE, 1, 0) == 1
    for folder, packet, kind in (("WktActivities", "job-full-references", "act"),
                                 ("WktFavorites", "job-favourite", "fac"), ("WktTypes", "type-kind5", "type")):
        received = packet_bytes(packets / (packet + ".txt"))
        sent = round_trip(machine, folder, received)
        # All travels unchanged but the partner's mark in the flags and, with a type, the time of marking it.
        differing = sum(a != b for a, b in zip(received, sent))
        assert len(sent) == len(received) and differing <= 19, (packet, len(received), len(sent), differing)
        print(f"{packet}: {len(sent)} bytes received and sent, {differing} differ")
    assert machine.call(machine.entry, BASE, 0, 0) == 1
    for program, address, size in machine.unaligned[:10]:
        print(f"{size} bytes at {address:#x}, seen near {program:#x}")
    print(f"SA-1110: {machine.accesses} accesses to memory, {len(machine.unaligned)} of them unaligned; "
          f"{len(machine.called)} functions of coredll called")
    return 1 if machine.unaligned or machine.accesses < 1000 else 0


if __name__ == "__main__":
    sys.exit(main())
