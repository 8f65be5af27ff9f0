#!/usr/bin/env python3
"""Hold every #include of the tree's own files against the table of rooms and who may enter.

The table is this script's; docs/architecture.md draws its picture from it (--svg FILE writes it).
Exit code 1 and one line a finding when an include enters a room it may not.
"""
import re
import subprocess
import sys
from pathlib import Path

# Room -> rooms it may include, besides itself. The longest matching prefix decides.
RULES = {
    "platform": [],
    "host/coredll": ["platform"],
    "host/control": ["platform", "host/coredll"],
    "WktCommon": ["platform"],
    "WktDevCommon": ["platform", "WktCommon"],
    "WktDevSync": ["platform", "WktCommon", "WktDevCommon"],
    "WktDevLog": ["platform"],
    "desktop/manager": ["platform"],
    "desktop/device": ["platform", "WktCommon", "WktDevCommon", "host/control"],
    "desktop/partner": ["platform", "WktCommon", "desktop/manager"],
    "tools/wkt": ["platform", "desktop/manager", "desktop/device", "desktop/partner",
                  "host/control", "WktCommon"],
    "device": ["platform"],
}
# Tests, fuzzers and benchmarks include what they test; tests/platform could run on a device.
FREE = ["tests", "fuzz", "bench"]
PLATFORM_TESTS = ["platform", "tests/platform", "tests/support"]

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^">]+)[">]', re.MULTILINE)


def room_of(path, rooms):
    found = [room for room in rooms if path == room or path.startswith(room + "/")]
    return max(found, key=len) if found else None


def files(root):
    out = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.h", "*.cpp"], cwd=root,
                         capture_output=True, text=True, check=True).stdout
    return [name for name in out.splitlines() if (root / name).is_file()]


def findings(root):
    rooms = list(RULES)
    for name in files(root):
        room = room_of(name, rooms)
        if room is None and not name.startswith(tuple(FREE)):
            yield f"{name}: stands in no room of the table"
            continue
        if name.startswith("tests/platform/"):
            allowed = PLATFORM_TESTS
        elif room is None:
            continue
        else:
            allowed = [room] + RULES[room]
        for bracket, target in INCLUDE.findall((root / name).read_text(encoding="utf-8")):
            own = (root / target).is_file() or (root / target.split("/")[0]).is_dir() and "/" in target
            if bracket == "<":
                if own:
                    yield f"{name}: <{target}> is ours and belongs in quotes"
                continue
            if not (root / target).is_file():
                beside = (root / name).parent / target
                if beside.is_file():
                    yield f'{name}: "{target}" must start at the root of the tree'
                continue  # made by the build
            if not any(target == a or target.startswith(a + "/") for a in allowed):
                yield f'{name}: "{target}" may not be included from {room or "tests/platform"}'


def svg(path):
    """Rooms as boxes in layers, arrows to what they may include (reachable ones left out)."""
    layers = [["platform"], ["host/coredll", "WktCommon", "WktDevLog", "desktop/manager"],
              ["host/control", "WktDevCommon", "desktop/partner"],
              ["desktop/device", "WktDevSync", None], ["tools/wkt"]]
    width, height, box = 880, 90 * len(layers) + 20, (150, 40)
    at = {}
    for row, names in enumerate(reversed(layers)):
        for column, name in enumerate(names):
            if name:
                at[name] = (width * (column + 1) / (len(names) + 1), 40 + row * 90)
    reach = {}

    def closure(room):
        if room not in reach:
            reach[room] = set()
            for other in RULES[room]:
                reach[room] |= {other} | closure(other)
        return reach[room]

    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
             'font-family="sans-serif" font-size="14">',
             '<defs><marker id="a" viewBox="0 0 8 8" refX="8" refY="4" markerWidth="8" '
             'markerHeight="8" orient="auto"><path d="M0 0L8 4L0 8z" fill="#567"/></marker></defs>',
             f'<rect width="{width}" height="{height}" fill="#fff"/>']
    for room in at:
        direct = [o for o in RULES[room] if not any(o in closure(p) for p in RULES[room] if p != o)]
        for other in direct:
            (x1, y1), (x2, y2) = at[room], at[other]
            lines.append(f'<line x1="{x1:.0f}" y1="{y1 + 20:.0f}" x2="{x2:.0f}" y2="{y2 - 20:.0f}" '
                         'stroke="#567" marker-end="url(#a)"/>')
    for room, (x, y) in at.items():
        lines.append(f'<rect x="{x - box[0] / 2:.0f}" y="{y - 20:.0f}" width="{box[0]}" height="{box[1]}" '
                     'rx="5" fill="#eef3f8" stroke="#567"/>')
        lines.append(f'<text x="{x:.0f}" y="{y + 5:.0f}" text-anchor="middle">{room}/</text>')
    lines.append("</svg>")
    Path(path).write_text("\n".join(lines) + "\n", encoding="utf-8")


def main():
    root = Path(__file__).resolve().parent.parent
    if len(sys.argv) == 3 and sys.argv[1] == "--svg":
        svg(sys.argv[2])
        return 0
    if len(sys.argv) == 3 and sys.argv[1] == "--root":
        root = Path(sys.argv[2])
    found = list(findings(root))
    for line in found:
        print(line, file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
