"""The check of exceptions finds what has no reason, and passes the tree."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECK = Path(__file__).resolve().parents[2] / "scripts" / "check_exceptions.py"


class CheckExceptions(unittest.TestCase):
    def run_on(self, name, text):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["git", "init", "-q", folder], check=True)
            file = Path(folder) / name
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text)
            done = subprocess.run([sys.executable, str(CHECK), "--root", folder], capture_output=True, text=True)
            return done.returncode, done.stderr.strip()

    def expect(self, name, text, finding):
        self.assertEqual(self.run_on(name, text), (1, finding))

    def expect_clean(self, name, text):
        self.assertEqual(self.run_on(name, text), (0, ""))

    def test_a_reason_may_stand_on_either_side(self):
        self.expect_clean("A.cpp", "// NOLINTNEXTLINE(bugprone-x): pointers come first\nint a;\n")
        self.expect_clean("A.cpp", "int a;  // Pointers come first. NOLINT(bugprone-x)\n")
        self.expect_clean("A.h", "// The text moves when the list grows.\n  // NOLINTNEXTLINE(bugprone-x)\nint a;\n")

    def test_no_reason(self):
        self.expect("A.cpp", "int a;  // NOLINT(bugprone-x)\n", "A.cpp:1: gives no reason")
        self.expect("A.cpp", "// A reason of another line.\nint b;\n// NOLINTNEXTLINE(bugprone-x)\nint a;\n",
                    "A.cpp:3: gives no reason")

    def test_no_check(self):
        self.expect("A.cpp", "int a;  // NOLINT: pointers come first\n", "A.cpp:1: names no check")

    def test_what_begins_must_end(self):
        begin = "// Cannot follow it. NOLINTBEGIN(bugprone-x)\nint a;\n"
        self.expect("A.cpp", begin, "A.cpp: (bugprone-x) begins and ends in different numbers")
        self.expect_clean("A.cpp", begin + "// NOLINTEND(bugprone-x)\n")

    def test_cppcheck_is_suppressed_in_one_place(self):
        self.expect("A.cpp", "// cppcheck-suppress nullPointer\n", "A.cpp:1: belongs into scripts/cppcheck.supp")

    def test_checks_that_are_off_are_explained(self):
        checks = "Checks: >\n  -*,\n  bugprone-*,\n  -bugprone-x\n"
        self.expect("tests/.clang-tidy", checks, "tests/.clang-tidy: bugprone-x is off without a reason")
        self.expect("tests/.clang-tidy", "# - bugprone-x:\n" + checks, "tests/.clang-tidy: bugprone-x is off without a reason")
        self.expect_clean("tests/.clang-tidy", "# - bugprone-x: our names are such\n" + checks)

    def test_suppressions_are_explained(self):
        self.expect("scripts/cppcheck.supp", "syntaxError:tests/*\n",
                    "scripts/cppcheck.supp:1: syntaxError:tests/* is suppressed without a reason")
        self.expect_clean("scripts/cppcheck.supp", "# It cannot read macros.\nsyntaxError:tests/*\nother:tests/*\n")


if __name__ == "__main__":
    unittest.main()
