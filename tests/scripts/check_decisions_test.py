"""The check of the named tests finds what it is there to find, and passes a clean document."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CHECK = ROOT / "scripts" / "check_decisions.py"
TREE = {
    "tests/A/ATest.cpp": "TEST_F(Suite, DoesThis) {\n}\nTEST_P(Suite, DoesThat) {\n}\n"
                         "RC_GTEST_PROP(Model, Holds, ()) {\n}\n// TEST(Suite, WasThere)\n",
    "tests/sync/volume.txt": "",
    "tests/CMakeLists.txt": "add_test(NAME device.${name} COMMAND x)\nadd_test(NAME sync.Doubling.${what} COMMAND x)\n"
                            "device_check(values COMMAND x)\n",
    "bench/CMakeLists.txt": "add_executable(bench_store a.cpp)\n",
}


class CheckDecisions(unittest.TestCase):
    def run_on(self, *cells):
        rows = "".join(f"| item | decision with a \\| in it | `Not.Looked` at | {cell} |\n" for cell in cells)
        tree = TREE | {"docs/decisions.md": "| Item | Decision | Reason | Test |\n|---|---|---|---|\n" + rows}
        with tempfile.TemporaryDirectory() as folder:
            for name, text in tree.items():
                path = Path(folder, name)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text)
            done = subprocess.run([sys.executable, str(CHECK), "--root", folder], capture_output=True, text=True)
            return done.returncode, done.stderr

    def test_every_kind_of_name_is_found(self):
        self.assertEqual(self.run_on("`Suite.DoesThis`, `.DoesThat`", "`Suite.*`", "`Model.Holds`", "same", "none", "none: it cannot be",
                                     "`tests/sync/volume.txt`, `tests/sync/*.txt`", "`sync.Doubling.jobs`",
                                     "`device.values`", "`bench_store`"), (0, ""))

    def test_names_that_nothing_bears_are_refused(self):
        for cell in ("`Suite.DoesNothing`", "`Suite.DoesThis`, `.DoesNothing`", "`Other.*`", "`Suite.WasThere`",
                     "`tests/sync/none.txt`", "`device.other`", "`sync.Doubling.jobs.more`", "`bench_none`"):
            code, text = self.run_on(cell)
            self.assertEqual(code, 1, cell)
            self.assertIn("docs/decisions.md:3: no such test", text)

    def test_a_row_without_a_name_is_refused(self):
        for cell in ("the databases' tests", "nonesuch", ""):
            code, text = self.run_on(cell)
            self.assertEqual(code, 1, cell)
            self.assertIn("names no test", text)


if __name__ == "__main__":
    unittest.main()
