"""Instructions of one FindObjects at 5,000, 10,000 and 20,000 records: each doubling may cost 2.1 times.

usage: check_doubling.py PROGRAM jobs|types|marks
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

LIMIT = 2.1
COUNTS = (5000, 10000, 20000)
SKIPPED = 77


def instructions(program, folder, what, count):
    subprocess.run([program, "fill", folder, what, str(count)], check=True)
    run = subprocess.run(
        ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
         "--toggle-collect=FindObjects", program, "find", folder, what],
        capture_output=True, text=True)
    collected = re.search(r"Collected : (\d+)", run.stderr)
    if run.returncode != 0 or not collected:
        sys.exit(f"valgrind failed:\n{run.stderr[-2000:]}")
    if int(run.stdout) != count:
        sys.exit(f"listed {run.stdout.strip()} of {count} records")
    return int(collected.group(1))


def main():
    program, what = sys.argv[1:]
    if not shutil.which("valgrind"):
        print("skipped: valgrind is not installed (./dev deps base)")
        return SKIPPED
    with tempfile.TemporaryDirectory() as work:
        found = [instructions(program, os.path.join(work, str(n)), what, n) for n in COUNTS]
    ratios = [later / earlier for earlier, later in zip(found, found[1:])]
    for count, number in zip(COUNTS, found):
        print(f"{count:6} {what}: {number:12} instructions, {number / count:8.0f} per record")
    print("doublings:", " ".join(f"{ratio:.3f}" for ratio in ratios))
    # A list of nothing would double nicely, too.
    if min(found) < COUNTS[0] * 100:
        sys.exit("hardly any instructions were counted")
    return 1 if max(ratios) > LIMIT else 0


sys.exit(main())
