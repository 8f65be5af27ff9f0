#!/usr/bin/env python3
"""scripts/check_symbols.py finds what it is there for."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "scripts/check_symbols.py"
SKIPPED = 77


def run(source, column="provider"):
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "given.cpp"
        path.write_text(source, encoding="utf-8")
        done = subprocess.run([sys.executable, str(SCRIPT), "--column", column, "--source",
                               str(path)], capture_output=True, text=True, check=False)
    return done.returncode, done.stdout


def run_built(built):
    """On an empty source, from which a device build made what it makes of another text; or nothing."""
    with tempfile.TemporaryDirectory() as folder:
        source, objects = Path(folder, "room", "given.cpp"), Path(folder, "given_objects.dir", "room")
        objects.mkdir(parents=True)
        source.parent.mkdir()
        if built is not None:
            source.write_text(built, encoding="utf-8")
            subprocess.run(["arm-none-eabi-g++", "-fno-exceptions", "-fno-unwind-tables", "-c", "-o", str(objects / "given.cpp.obj"),
                            str(source)], check=True)
        source.write_text("", encoding="utf-8")
        done = subprocess.run([sys.executable, str(SCRIPT), "--objects", folder, "--source", str(source)],
                              capture_output=True, text=True, check=False)
    return done.returncode, done.stdout


class CheckSymbols(unittest.TestCase):
    def test_platform_functions_pass(self):
        code, out = run('extern "C" void CloseHandle(void*); void f(){ CloseHandle(nullptr); }')
        self.assertEqual((code, out), (0, ""))

    def test_a_function_of_the_c_library_is_found(self):
        code, out = run('extern "C" int open(const char*, int); int f(){ return open("x", 0); }')
        self.assertEqual(code, 1)
        self.assertIn("needs open,", out)

    def test_a_function_of_another_column_is_found(self):
        source = 'extern "C" void CeDeleteRecord(); void f(){ CeDeleteRecord(); }'
        self.assertEqual(run(source)[0], 0)
        code, out = run(source, "log")
        self.assertEqual(code, 1)
        self.assertIn("needs CeDeleteRecord,", out)

    def test_a_constructor_at_start_is_found(self):
        code, out = run('extern "C" unsigned GetTickCount(); unsigned a = GetTickCount();')
        self.assertEqual(code, 1)
        self.assertIn("has a constructor", out)

    def test_objects_that_are_built_are_looked_at(self):
        self.assertEqual(run_built("int f() { return 1; }"), (0, ""))
        self.assertEqual(run_built("int nothing(); int f() { return nothing(); }"),
                         (1, "given: given needs _Z7nothingv, which stands in neither list\n"))
        self.assertEqual(run_built('extern "C" unsigned GetTickCount(); unsigned a = GetTickCount();'),
                         (1, "given: given has a constructor or destructor of the module\n"))

    def test_an_object_that_is_missing_is_found(self):
        code, out = run_built(None)
        self.assertEqual(code, 1)
        self.assertIn("given.cpp: 0 objects in ", out)

    def test_what_does_not_compile_is_found(self):
        code, out = run("int f() { return nothing; }")
        self.assertEqual(code, 1)
        self.assertIn("nothing", out)


if __name__ == "__main__":
    probe = run("")[0]
    if probe == SKIPPED:
        print("no ARM compiler: not tested")
        sys.exit(SKIPPED)
    unittest.main()
