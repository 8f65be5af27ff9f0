#!/usr/bin/env python3
"""Keep README.md's transcript equal to docs/demo-transcript.txt, which a test holds against a real run.

Without arguments: exit code 1 when they differ. With --write: put the transcript into README.md.
"""
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BEGIN, END = "<!-- transcript -->\n", "<!-- end of transcript -->\n"


def main():
    readme = ROOT / "README.md"
    text = readme.read_text(encoding="utf-8")
    head, rest = text.split(BEGIN)
    tail = rest.split(END)[1]
    transcript = (ROOT / "docs" / "demo-transcript.txt").read_text(encoding="utf-8")
    wanted = head + BEGIN + "```\n" + transcript + "```\n" + END + tail
    if sys.argv[1:] == ["--write"]:
        readme.write_text(wanted, encoding="utf-8")
        return 0
    if wanted != text:
        print("README.md: the transcript is not that of docs/demo-transcript.txt; "
              "run scripts/readme_transcript.py --write", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
