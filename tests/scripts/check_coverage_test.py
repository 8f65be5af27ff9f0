"""The check of what tests do not reach: it wants every gap explained, and every explanation used."""
import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CHECK = ROOT / "scripts" / "check_coverage.py"
SOURCE = """\
bool Open(Block* block) {
  if (!block)
    return false;
  if (block->isOld || block->isBroken)
    Mend(block);
  if (!block)
    return true;
}
"""


def line(number, count, *branches):
    return {"line_number": number, "count": count, "branches": [{"count": taken} for taken in branches]}


# One of four branches of line 4 was never taken; lines 6 and 7 have gaps of their own.
LINES = [line(1, 9), line(2, 9, 1, 8), line(3, 1), line(4, 8, 1, 7, 2, 0), line(5, 3), line(6, 8, 0, 8), line(7, 0),
         line(8, 0) | {"gcovr/noncode": True}]
OLD = 'code = "block->isOld"\nbranches = 1\nkind = "excluded"\nwhy = "w"\n'
END = 'code = """\nif (!block)\nreturn true;"""\nbranches = 1\nlines = 1\nkind = "elsewhere"\nwhy = "w"\n'


class CheckCoverage(unittest.TestCase):
    def run_on(self, *entries, lines=LINES):
        """The exit code, what was printed and what was complained about."""
        text = "".join(f'[[exception]]\nfile = "A/A.cpp"\n{entry}\n' for entry in entries)
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            (root / "A").mkdir()
            (root / "A" / "A.cpp").write_text(SOURCE)
            (root / "list.toml").write_text(text)
            (root / "report.json").write_text(json.dumps({"files": [{"file": "A/A.cpp", "lines": lines}]}))
            done = subprocess.run([sys.executable, str(CHECK), "--root", folder, "--exceptions", str(root / "list.toml"),
                                   str(root / "report.json")], capture_output=True, text=True)
            return done.returncode, done.stdout, done.stderr

    def test_what_is_not_reached_is_listed_and_refused(self):
        code, printed, wrong = self.run_on()
        self.assertEqual(code, 1)
        self.assertIn("A/A.cpp:4: 1 of 4 branches not taken (NOT EXPLAINED): if (block->isOld || block->isBroken)\n"
                      "A/A.cpp:6: 1 of 2 branches not taken (NOT EXPLAINED): if (!block)\n"
                      "A/A.cpp:7: not run (NOT EXPLAINED): return true;\n", printed)
        self.assertNotIn("A/A.cpp:2", printed)
        self.assertEqual(wrong, "3 lines with something neither reached nor explained\n")

    def test_the_table_counts_lines_and_branches(self):
        printed = self.run_on()[1]
        self.assertRegex(printed, r"A/A.cpp +6 of +7 +85.71 +6 of +8 +75.00\n")
        self.assertRegex(printed, r"all +6 of +7 +85.71 +6 of +8 +75.00\n")

    def test_explained_gaps_pass_and_are_counted_by_kind(self):
        code, printed, wrong = self.run_on(OLD, END)
        self.assertEqual((code, wrong), (0, ""))
        self.assertIn("A/A.cpp:4: 1 of 4 branches not taken (excluded): ", printed)
        self.assertRegex(printed, r" 1 branches +0 lines  excluded: ")
        self.assertRegex(printed, r" 1 branches +1 lines  elsewhere: ")

    def test_one_gap_without_explanation_is_enough_to_fail(self):
        code, _, wrong = self.run_on(OLD)
        self.assertEqual((code, wrong), (1, "2 lines with something neither reached nor explained\n"))

    def test_an_explanation_of_what_is_reached_now_is_refused(self):
        reached = [each | {"branches": [{"count": 1} for _ in each["branches"]], "count": 1} for each in LINES]
        code, _, wrong = self.run_on(OLD, lines=reached)
        self.assertEqual(code, 1)
        self.assertIn("list.toml: A/A.cpp: block->isOld: explains 1 branches and 0 lines at line 4, where 0 and 0 were not "
                      "reached", wrong)

    def test_more_or_less_than_explained_is_refused(self):
        for entry in (OLD.replace("branches = 1", "branches = 2"), OLD.replace("branches = 1", "branches = 1\nlines = 1"),
                      OLD.replace("branches = 1\n", "")):
            code, _, wrong = self.run_on(entry, END)
            self.assertEqual(code, 1)
            self.assertIn("where 1 and 0 were not reached", wrong)

    def test_code_that_is_gone_or_stands_twice_is_refused(self):
        for code, count in (("isNew", 0), ("if (!block)", 2), ('""\nif (!block)\nreturn;\n""', 0)):
            result, _, wrong = self.run_on(OLD.replace("block->isOld", code), END)
            self.assertEqual(result, 1)
            self.assertIn(f"the code stands in {count} places, not in one", wrong)

    def test_a_form_that_is_not_whole_is_refused(self):
        for entry, text in ((OLD.replace('why = "w"', 'why = " "'), "lacks why"), (OLD.replace("excluded", "sloth"), "no such kind: sloth"),
                            (OLD + "line = 4\n", "unknown: line")):
            code, _, wrong = self.run_on(entry, END)
            self.assertEqual(code, 1)
            self.assertIn(text, wrong)

    def test_a_report_without_files_is_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            report = Path(folder, "report.json")
            report.write_text('{"files": []}')
            done = subprocess.run([sys.executable, str(CHECK), str(report)], capture_output=True, text=True)
            self.assertEqual((done.returncode, done.stderr), (1, "the report names no file\n"))


if __name__ == "__main__":
    unittest.main()
