"""The include check finds what it is there to find, and passes a clean tree."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CHECK = ROOT / "scripts" / "check_includes.py"


class CheckIncludes(unittest.TestCase):
    def run_on(self, tree):
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            subprocess.run(["git", "init", "-q", folder], check=True)
            for name, text in tree.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text)
            done = subprocess.run([sys.executable, str(CHECK), "--root", folder],
                                  capture_output=True, text=True)
            return done.returncode, done.stderr

    PLATFORM = {"platform/Types.h": "", "host/control/Clock.h": "", "WktDevSync/State.h": ""}

    def test_a_clean_tree_passes(self):
        code, text = self.run_on({**self.PLATFORM,
                                  "WktCommon/A.h": '#include "platform/Types.h"\n#include <cstdint>\n'})
        self.assertEqual((code, text), (0, ""))

    def test_the_provider_may_not_include_the_host(self):
        code, text = self.run_on({**self.PLATFORM, "WktCommon/A.cpp": '#include "host/control/Clock.h"\n'})
        self.assertEqual(code, 1)
        self.assertIn('WktCommon/A.cpp: "host/control/Clock.h" may not be included', text)

    def test_direction_upwards_is_refused(self):
        code, _ = self.run_on({**self.PLATFORM, "WktCommon/A.h": '# include "WktDevSync/State.h"\n'})
        self.assertEqual(code, 1)

    def test_our_header_in_angle_brackets_is_refused(self):
        code, text = self.run_on({**self.PLATFORM, "WktCommon/A.h": "#include <platform/Types.h>\n"})
        self.assertEqual(code, 1)
        self.assertIn("belongs in quotes", text)

    def test_a_path_that_does_not_start_at_the_root_is_refused(self):
        code, text = self.run_on({**self.PLATFORM, "platform/B.h": '#include "Types.h"\n'})
        self.assertEqual(code, 1)
        self.assertIn("must start at the root", text)

    def test_platform_tests_see_the_platform_only(self):
        code, _ = self.run_on({**self.PLATFORM, "tests/platform/A.cpp": '#include "WktDevSync/State.h"\n'})
        self.assertEqual(code, 1)

    def test_a_file_outside_the_rooms_is_refused(self):
        code, text = self.run_on({**self.PLATFORM, "misc/A.cpp": "\n"})
        self.assertEqual(code, 1)
        self.assertIn("stands in no room", text)

    def test_the_picture_in_the_docs_is_the_tables(self):
        with tempfile.TemporaryDirectory() as folder:
            made = Path(folder) / "rooms.svg"
            subprocess.run([sys.executable, str(CHECK), "--svg", str(made)], check=True)
            self.assertEqual(made.read_text(), (ROOT / "docs" / "rooms.svg").read_text(),
                             "run scripts/check_includes.py --svg docs/rooms.svg")


if __name__ == "__main__":
    unittest.main()
