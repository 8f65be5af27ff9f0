#!/usr/bin/env python3
"""Every exception from ./dev lint has its reason in writing.

Looks at NOLINT comments (they name their checks and say why, and what begins ends), at the checks that a .clang-tidy
turns off ("# - check: why"), and at scripts/cppcheck.supp (a comment above). Exit code 1 and one line a finding.
"""
import argparse
import re
import subprocess
import sys
from pathlib import Path

NOLINT = re.compile(r"NOLINT(NEXTLINE|BEGIN|END)?(\([^)]*\))?")
# Two words say something.
REASON = re.compile(r"[A-Za-z']{2,}\W+[A-Za-z']{2,}")


def files(root, *patterns):
    out = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", *patterns], cwd=root, capture_output=True,
                         text=True, check=True).stdout
    return [name for name in out.splitlines() if (root / name).is_file()]


def comment_above(lines, number):
    """The whole-line comments directly above a line, as one text."""
    texts = []
    while number > 0 and lines[number - 1].strip().startswith("//"):
        number -= 1
        texts.append(lines[number].strip().lstrip("/ "))
    return " ".join(reversed(texts))


def check_source(name, text):
    lines = text.splitlines()
    begun = {}
    for number, line in enumerate(lines):
        where = f"{name}:{number + 1}"
        if "cppcheck-suppress" in line:
            yield f"{where}: belongs into scripts/cppcheck.supp"
        found = NOLINT.search(line)
        if not found:
            continue
        kind, checks = found.groups()
        if not checks or checks == "()":
            yield f"{where}: names no check"
            continue
        if kind in ("BEGIN", "END"):
            begun[checks] = begun.get(checks, 0) + (1 if kind == "BEGIN" else -1)
        if kind == "END":
            continue
        comment = line[line.index("//"):] if "//" in line else ""
        said = NOLINT.sub("", comment_above(lines, number) + " " + comment)
        if not REASON.search(said):
            yield f"{where}: gives no reason"
    yield from (f"{name}: {checks} begins and ends in different numbers" for checks, count in begun.items() if count)


def check_tidy(name, text):
    reasons = re.findall(r"^# - ([\w.,* -]+): \S+ \S+", text, re.M)
    explained = {check.strip() for listed in reasons for check in listed.split(",")}
    for check in re.findall(r"^\s+-([\w.-]+(?:\*)?)(?=,|$)", text, re.M):
        if check not in explained:
            yield f"{name}: {check} is off without a reason"


def check_suppressions(name, text):
    comment = ""
    for number, line in enumerate(text.splitlines(), 1):
        if line.startswith("#"):
            comment = line.lstrip("# ")
        elif line and not REASON.search(comment):
            yield f"{name}:{number}: {line} is suppressed without a reason"
        elif not line:
            comment = ""


def findings(root):
    for name in files(root, "*.cpp", "*.h"):
        yield from check_source(name, (root / name).read_text(encoding="utf-8"))
    for name in files(root, ".clang-tidy", "*/.clang-tidy"):
        yield from check_tidy(name, (root / name).read_text(encoding="utf-8"))
    for name in files(root, "scripts/cppcheck.supp"):
        yield from check_suppressions(name, (root / name).read_text(encoding="utf-8"))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--root", type=Path, default=Path(__file__).resolve().parent.parent)
    found = list(findings(parser.parse_args().root))
    print("\n".join(found), end="\n" if found else "", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
