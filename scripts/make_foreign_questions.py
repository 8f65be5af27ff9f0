#!/usr/bin/env python3
"""Print the questions of tests/data/foreign/answers.txt, for scripts/record_foreign_answers.sh."""
import datetime
import random

EPOCH = datetime.datetime(1601, 1, 1)
PICTURES = ["d/M/yy", "dd.MM.yyyy", "ddd, d MMM yyyy", "dddd, MMMM dd, yyyy", "y", "yyyy'-'MM'-'dd",
            "'day' d 'of' MMMM", "d''M", "''''yy", "'it''s' d", "ddddd MMMMM yyyyy", "D Y m h",
            "dd 'open", "[dd]", "\\00E4 dd"]
TIMES = ["h:mm tt", "HH':'mm", "HH':'mm':'ss", "hh:mm:ss t", "H'h'm'm's's'", "hhh HHH mmm sss ttt",
         "'o''clock' h", "tt h:mm", "h.mm.ss tt", "d M y H", "HH mm 'open", "h", "ss:mm:HH"]
ZONES = ["-60 0 -60 0 10 0 5 3 0 3 0 5 2", "300 0 -60 0 11 0 1 2 0 3 0 2 2",
         "-600 0 -60 0 4 0 1 3 0 10 0 1 2", "-330 0 0 0 0 0 0 0 0 0 0 0 0",
         "-630 0 -30 0 4 0 1 2 0 10 0 1 2", "0 0 -60 0 10 0 5 2 0 3 0 5 1"]


def ticks(moment):
    gap = moment - EPOCH
    return (gap.days * 86400 + gap.seconds) * 10**7 + gap.microseconds * 10


def dates(chance):
    for text in ("1601 1 1", "1601 12 31", "1700 2 28", "1700 2 29", "2000 2 29", "2000 2 30",
                 "2026 4 31", "2026 13 1", "2026 0 1", "2026 1 0", "1600 12 31", "30827 12 31",
                 "30828 1 1", "9999 12 31"):
        yield text
    for _ in range(12):
        day = EPOCH + datetime.timedelta(days=chance.randrange(3_000_000))
        yield f"{day.year} {day.month} {day.day}"


def calendar(chance):
    for day in dates(chance):
        print(f"ticks {day} {chance.randrange(24)} {chance.randrange(60)} {chance.randrange(60)} "
              f"{chance.randrange(1000)}")
    for bad in ("24 0 0 0", "0 60 0 0", "0 0 60 0", "0 0 0 1000"):
        print(f"ticks 2026 3 2 {bad}")
    for value in [0, 1, 2**63 - 1, 2**63, 2**64 - 1] + [chance.randrange(2**63) for _ in range(15)]:
        print(f"calendar {value}")


def pictures(chance):
    days = ["2026 3 2", "2026 12 31", "2004 2 29", "1999 10 1", "1601 1 1"]
    for number, picture in enumerate(PICTURES):
        for day in (days[number % 5], days[(number + 2) % 5]):
            print(f"date 0 200 {day} {picture}")
    for flags, size, day, picture in ((1, 200, "2026 3 2", "dd"), (2, 200, "2026 3 2", "dd"),
                                      (0, 3, "2026 3 2", "dd"), (0, 2, "2026 3 2", "dd"),
                                      (0, 0, "2026 3 2", "dd"), (0, 200, "2026 2 29", "dd")):
        print(f"date {flags} {size} {day} {picture}")
    moments = ["9 5 7", "21 45 0", "0 0 0", "12 0 59", "23 59 59"]
    for number, picture in enumerate(TIMES + ["-"]):
        for moment in (moments[number % 5], moments[(number + 2) % 5]):
            print(f"time 0 200 {moment} {picture}")
    for picture in ("h:mm:ss tt", "HH':'mm':'ss", "tt h:mm", "-", "H'h'm'm's's'"):
        for flags in (1, 2, 4, 8, 12, 14):
            print(f"time {flags} 200 21 45 7 {picture}")
    for flags, size, moment in ((0, 5, "9 5 7"), (0, 4, "9 5 7"), (0, 0, "9 5 7"), (0, 200, "24 0 0"),
                                (0, 200, "0 60 0"), (0, 200, "0 0 60"), (16, 200, "9 5 7")):
        print(f"time {flags} {size} {moment} h:mm")


def zones(chance):
    for zone in ZONES:
        for month, day in ((1, 1), (3, 8), (3, 29), (4, 4), (10, 3), (10, 25), (11, 1), (12, 31)):
            hours = sorted({0, 6, 16, 23, chance.randrange(24)})
            for hour in hours:
                print(f"local {ticks(datetime.datetime(2026, month, day, hour, 30))} {zone}")


def numbers(chance):
    for value in (0, 1, -1, 2147483647, -2147483648, 123456, -123456):
        for radix in (2, 8, 10, 16, 36):
            print(f"itow {value} {radix}")
    for text in ("42", "-42abc", "+7", "  12", "\\0009\\000A\\000B\\000C\\000D5", "0x10", "abc", "+-3", "- 3",
                 "2147483647", "-2147483648", "12 34", "007"):
        print(f"wtol {text}")
    for text in ("1.5", "-1.5x", ".5", "5.", "1.2.3", "1e3", "1E+3", "1e-2", "1d2", "1D2", "1e", "1e+", "1ex",
                 "1,5", "0.1", "123456789012345678901234567890", "abc", ".", "-", "1e400", "-1e400",
                 "1e-400", " 7.25 ", "9007199254740993", "4.9e-324", "0.30000000000000004"):
        print(f"wcstod {text}")
    for _ in range(10):
        print(f"wcstod {chance.uniform(-1e6, 1e6)!r}")
    for first in range(0, 128, 16):
        print(f"class {first} {first + 15}")
    for text in ("ab", "abcd", "abcdef", ""):
        print(f"ncpy 4 {text}")
    for text, part in (("aaabaab", "aab"), ("abc", "x"), ("abc", "cb"), ("abc", "abcd"), ("aabb", "bb")):
        print(f"find {text} {part}")


def prints(chance):
    for value in (0, 7, -42, 2147483647, -2147483648):
        for form in ("%d", "%5d|", "%-5d|", "%05d", "%+d", "% d", "%.3d", "%6.3d|", "%u", "%x", "%#X", "%o", "%#o",
                     "%08lX", "%ld", "%hd", "%c|" if value == 7 else "%i", "%.0d|"):
            print(f"print 200 int {value} {form}")
    for form in ("%d %d", "%*d|", "%.*d|", "%-*d|"):
        print(f"print 200 ints 6 42 {form}")
    for value in (0, -5000000000, 9223372036854775807):
        for form in ("%I64d", "%I64x", "%20I64d|"):
            print(f"print 200 int64 {value} {form}")
    for form in ("%s", "%5s|", "%-5s|", "%.2s|", "%ls", "%ws", "%10.3s|"):
        print(f"print 200 text w\\00E4de {form}")
    for form in ("%S", "%hs", "%6S|"):
        print(f"print 200 narrow plain {form}")
    for form in ("%s", "%S", "%.3s"):
        print(f"print 200 null - {form}")
    for room in range(0, 8):
        print(f"print {room} text abcd x%s")
    print("print 200 none 100%%")
    for value in ("0", "1.5", "-0.25", "0.125", "-0.125", "99.999", "0.5", "2.5", "2.675", "1e22", "123456.789",
                  "1e-5", "0.0001", "1e100"):
        for form in ("%f", "%.2f", "%.0f", "%e", "%.3e", "%g", "%10.2f|", "%+.1f"):
            print(f"print 300 double {value} {form}".replace("300", "290"))


def main():
    chance = random.Random(20260302)
    for part in (calendar, pictures, zones, numbers, prints):
        print(f"# {part.__name__}")
        part(chance)


if __name__ == "__main__":
    main()
