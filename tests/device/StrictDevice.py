"""A device in miniature for unicorn: just enough of coredll.dll to let the provider store and send a record.

Memory, one database with its records in memory, texts and times. Everything else says that there is none.
"""
import struct

TIME = 134165880000000000  # 2026-03-02T10:00Z, any instant will do
SYSTEM_TIME = struct.pack("<8H", 2026, 3, 1, 2, 10, 0, 0, 0)
DATABASE_OID, HANDLE, ERROR_NOT_FOUND = 7, 0x300, 2
INVALID = 0xFFFFFFFF


class Coredll:
    """Functions take the machine and return r0 (or a pair for r0 and r1)."""

    def __init__(self, machine):
        self.m = machine
        self.records, self.position, self.next_oid = {}, None, 100
        self.blocks = 0

    def call(self, name):
        return getattr(self, name, self.nothing)()

    def nothing(self):
        return 0

    # Memory
    def LocalAlloc(self):
        self.blocks += 1
        return self.m.allocate(self.m.argument(1))

    def LocalFree(self):
        self.blocks -= self.m.argument(0) != 0
        return 0

    def InterlockedIncrement(self, step=1):
        place = self.m.argument(0)
        value = (self.m.word(place) + step) & 0xFFFFFFFF
        self.m.write(place, struct.pack("<I", value))
        return value

    def InterlockedDecrement(self):
        return self.InterlockedIncrement(-1)

    # What this device does not have
    def RegOpenKeyExW(self):
        return ERROR_NOT_FOUND

    RegQueryValueExW = RegCreateKeyExW = RegOpenKeyExW

    def FindFirstFileW(self):
        return INVALID

    # Handles
    def CreateMutexW(self):
        return HANDLE + 1

    def CloseHandle(self):
        return 1

    ReleaseMutex = FindClose = PostMessageW = CloseHandle

    # Times
    def GetSystemTime(self):
        self.m.write(self.m.argument(0), SYSTEM_TIME)
        return 0

    GetLocalTime = GetSystemTime

    def SystemTimeToFileTime(self):
        self.m.write(self.m.argument(1), struct.pack("<Q", TIME))
        return 1

    def FileTimeToSystemTime(self):
        self.m.write(self.m.argument(1), SYSTEM_TIME)
        return 1

    def FileTimeToLocalFileTime(self):
        self.m.write(self.m.argument(1), self.m.read(self.m.argument(0), 8))
        return 1

    def CompareFileTime(self):
        left, right = (struct.unpack("<Q", self.m.read(self.m.argument(i), 8))[0] for i in (0, 1))
        return ((left > right) - (left < right)) & 0xFFFFFFFF

    # Texts
    def _ltow(self):
        value, buffer = self.m.argument(0), self.m.argument(1)
        if self.m.argument(2) == 10 and value >= 0x80000000:
            value -= 1 << 32
        text = str(value) if self.m.argument(2) == 10 else format(value, "x")
        self.m.write(buffer, text.encode("utf-16-le") + b"\0\0")
        return buffer

    _itow = _ltow

    def _wtol(self):
        text, digits = self.m.text(self.m.argument(0)).strip(), ""
        for place, unit in enumerate(text):
            if not unit.isdigit() and not (place == 0 and unit in "+-"):
                break
            digits += unit
        return int(digits) & 0xFFFFFFFF if digits.strip("+-") else 0

    def wcschr(self):
        place = self.m.argument(0)
        index = (self.m.text(place) + "\0").find(chr(self.m.argument(1) & 0xFFFF))
        return 0 if index < 0 else place + 2 * index

    def wcsstr(self):
        place = self.m.argument(0)
        index = self.m.text(place).find(self.m.text(self.m.argument(1)))
        return 0 if index < 0 else place + 2 * index

    def wcspbrk(self):
        place, wanted = self.m.argument(0), self.m.text(self.m.argument(1))
        found = [i for i, unit in enumerate(self.m.text(place)) if unit in wanted]
        return place + 2 * found[0] if found else 0

    # One database for every name
    def CeFindFirstDatabaseEx(self):
        return HANDLE + 2

    def CeCreateDatabaseEx2(self):
        return DATABASE_OID

    def CeOpenDatabaseEx2(self):
        self.m.write(self.m.argument(1), struct.pack("<I", DATABASE_OID))
        return HANDLE

    def CeSeekDatabase(self):
        kind, value = self.m.argument(1), self.m.argument(2)
        order = sorted(self.records)
        self.position = value if kind == 1 else (order[value] if value < len(order) else None)
        return self.position if self.position in self.records else 0

    CeSeekDatabaseEx = CeSeekDatabase

    def CeDeleteRecord(self):
        return int(self.records.pop(self.m.argument(1), None) is not None)

    def CeWriteRecordProps(self):
        oid, count, values = self.m.argument(1), self.m.argument(2) & 0xFFFF, self.m.argument(3)
        if oid == 0:
            oid, self.next_oid = self.next_oid, self.next_oid + 1
        record = self.records.setdefault(oid, {})
        for place in range(values, values + 16 * count, 16):
            identifier = self.m.word(place)
            text = self.m.text(self.m.word(place + 8)) if identifier & 0xFFFF == 0x1F else None
            record[identifier] = text if text is not None else self.m.read(place + 8, 8)
        return oid

    def CeReadRecordPropsEx(self):
        record = self.records.get(self.position)
        if record is None:
            return 0
        head, tail, base = b"", b"", 16 * len(record)
        buffer = self.m.allocate(base + sum(2 * len(v) + 2 for v in record.values() if isinstance(v, str)))
        self.blocks += 1
        for identifier, value in sorted(record.items()):
            if isinstance(value, str):
                head += struct.pack("<IHHII", identifier, 0, 0, buffer + base + len(tail), 0)
                tail += value.encode("utf-16-le") + b"\0\0"
            else:
                head += struct.pack("<IHH8s", identifier, 0, 0, value)
        self.m.write(buffer, head + tail)
        self.m.write(self.m.argument(2), struct.pack("<H", len(record)))
        self.m.write(self.m.argument(4), struct.pack("<I", buffer))
        self.m.write(self.m.argument(5), struct.pack("<I", len(head + tail)))
        return self.position
