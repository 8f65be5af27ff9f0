#!/usr/bin/env python3
"""Static reading of all sources: clang-tidy by .clang-tidy, then cppcheck.

usage: scripts/lint.py [FILE ...]    (files to look at instead: clang-tidy only)

clang-tidy takes an hour on two cores for all files. What it found clean it does not read again until that file, one of
the tree that it includes, the way it is compiled, the checks or clang-tidy itself change: build/lint/clean remembers
them. Exit code 1 when there are findings.
"""
import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FOLDER = ROOT / "build" / "lint"
CLEAN = FOLDER / "clean"
# The release build has the benchmarks.
PRESETS = ["dev", "release"]
# Options that change nothing of what clang reads, or that it does not know.
NOT_READ = re.compile(r"-O.|-g\d|-fPI[CE]|-fno-gnu-unique|-Winvalid-pch")
# In nobody's build here: what runs on devices and what loads their libraries.
PLAIN = ["c++", "-std=c++20", f"-I{ROOT}", f"-I{ROOT}/build/release/bench", "-Wall", "-Wextra"]
# A library for devices, where pointers have four bytes and wchar_t has two.
DEVICE_ONLY = {"tests/device/probe/Probe.cpp": ["-m32", "-fshort-wchar"]}
# Every assertion of a test is a branch or two, and clang's analyzer follows all ways through them: that took more time
# than all else together and found nothing, so it goes less deep there.
TESTS_ONLY = [word for option in ["-analyzer-config", "mode=shallow"] for word in ["-Xclang", option]]
# Wrong on purpose: a test wants each of its lines found.
WRONG = {"tests/device/wrong_values.cpp"}
ROOMS = ["WktCommon", "WktDevCommon", "WktDevSync", "WktDevLog", "host", "desktop", "tools", "tests", "fuzz", "bench",
         "device"]


def run(command):
    return subprocess.run(command, cwd=ROOT, capture_output=True, text=True, errors="replace")


def sources():
    names = run(["git", "ls-files", "-co", "--exclude-standard", "*.cpp"]).stdout.splitlines()
    return sorted(name for name in names if (ROOT / name).is_file() and name not in WRONG)


def reading(command):
    """The arguments of a compilation that say what is read. Precompiled headers are left out: a file includes what it
    uses."""
    arguments = [word for word in shlex.split(command) if not NOT_READ.fullmatch(word)]
    while "-include" in arguments:
        at = arguments.index("-include")
        del arguments[at:at + 2]
    return arguments


def commands(names):
    """How each file is compiled, written as build/lint/compile_commands.json, too."""
    found = {}
    for preset in PRESETS:
        database = ROOT / "build" / preset / "compile_commands.json"
        if run(["cmake", "--preset", preset]).returncode != 0 or not database.is_file():
            sys.exit(f"the {preset} build cannot be configured")
        for entry in json.loads(database.read_text()):
            name = os.path.relpath(entry["file"], ROOT)
            found.setdefault(name, {"directory": entry["directory"], "file": entry["file"],
                                    "arguments": reading(entry["command"])})
    # A header that the build makes.
    if run(["cmake", "--build", "--preset", "release", "--target", "bench/job.pb.h"]).returncode != 0:
        sys.exit("bench/job.pb.h cannot be made")
    for name in names:
        file = str(ROOT / name)
        found.setdefault(name, {"directory": str(ROOT), "file": file,
                                "arguments": [*PLAIN, *DEVICE_ONLY.get(name, []), "-c", file]})
        if name.startswith("tests/"):
            found[name]["arguments"] += TESTS_ONLY
    FOLDER.mkdir(parents=True, exist_ok=True)
    part = FOLDER / f"compile_commands.{os.getpid()}"
    part.write_text(json.dumps([found[name] for name in names], indent=1))
    part.replace(FOLDER / "compile_commands.json")
    return found


def own_files(entry):
    """The file and what it includes of the tree; none when it cannot be read."""
    arguments = list(entry["arguments"])
    if "-o" in arguments:
        at = arguments.index("-o")
        del arguments[at:at + 2]
    arguments[0] = "clang++"
    done = subprocess.run([*(word for word in arguments if word != "-c"), "-MM", "-w"], cwd=entry["directory"],
                          capture_output=True, text=True)
    words = done.stdout.replace("\\\n", " ").split()[1:]
    return sorted({os.path.normpath(os.path.join(entry["directory"], word)) for word in words})


def configurations(name):
    folders = [ROOT, *(ROOT / parent for parent in Path(name).parents)]
    return sorted({folder / ".clang-tidy" for folder in folders if (folder / ".clang-tidy").is_file()})


def state(name, entry, version):
    """Everything that decides what clang-tidy says of a file, as one number."""
    digest = hashlib.sha256(version.encode())
    digest.update(" ".join(entry["arguments"]).replace(str(ROOT), "").encode())
    files = own_files(entry)
    for file in [*configurations(name), *files]:
        digest.update(str(file).replace(str(ROOT), "").encode() + b"\0" + Path(file).read_bytes() + b"\0")
    return digest.hexdigest() if files else ""


def tidy(name, entry, version):
    """What clang-tidy says of a file; nothing when it is clean. And whether it was read now."""
    mark = state(name, entry, version)
    if mark and (CLEAN / mark).is_file():
        return name, "", False
    done = run(["clang-tidy", "-p", str(FOLDER), "--quiet", name])
    if done.returncode == 0 and not done.stdout.strip():
        if mark:
            (CLEAN / mark).write_text(name + "\n")
        return name, "", True
    return name, done.stdout.strip() or done.stderr.strip(), True


def read_all(names):
    version = run(["clang-tidy", "--version"]).stdout
    database = commands(sorted({*sources(), *names}))
    CLEAN.mkdir(exist_ok=True)
    begin = time.monotonic()
    findings, read = 0, 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for job in concurrent.futures.as_completed(
                [pool.submit(tidy, name, database[name], version) for name in names]):
            name, text, was_read = job.result()
            read += was_read
            if text:
                findings += max(1, len(set(re.findall(r"^\S+:\d+:\d+: (?:error|warning): .*", text, re.M))))
                print(f"--- {name}\n{text}", flush=True)
    print(f"clang-tidy: {len(names)} files, {read} of them read now, {findings} findings, "
          f"{time.monotonic() - begin:.0f} s", flush=True)
    return findings


def cppcheck():
    begin = time.monotonic()
    (FOLDER / "cppcheck").mkdir(exist_ok=True)
    done = run(["cppcheck", "--enable=warning,performance,portability", "--std=c++20", "--library=googletest", "--quiet",
                "-I.", f"-j{os.cpu_count()}", f"--cppcheck-build-dir={FOLDER}/cppcheck",
                "--suppressions-list=scripts/cppcheck.supp", "--error-exitcode=1",
                "--template={file}:{line}: {id}: {message}", *(f"-i{name}" for name in sorted(WRONG)), *ROOMS])
    lines = sorted(set((done.stdout + done.stderr).splitlines()))
    print("\n".join(lines + [f"cppcheck: {len(lines)} findings, {time.monotonic() - begin:.0f} s"]), flush=True)
    return len(lines) or done.returncode


def main():
    os.chdir(ROOT)
    names = [os.path.relpath(name, ROOT) for name in sys.argv[1:]]
    findings = read_all(names or sources())
    if not names:
        findings += cppcheck()
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
