"""The pages say what is there: the reference, the page for hosts, the picture of the layers, and the examples of
the guide."""
import os
import pathlib
import re
import subprocess
import sys
import unittest

HOST, SMALL_HOST, LIBRARY = (os.environ[name] for name in ("VYN_HOST", "VYN_SMALL_HOST", "VYN_LIBRARY"))
EMULATOR = os.environ.get("VYN_EMULATOR", "").split()
ROOT = pathlib.Path(__file__).resolve().parents[2]


def run_tool(name, *arguments):
    """What the tool has to complain about; nothing when it ends well."""
    command = [sys.executable, "-B", ROOT / "Tools" / name, *arguments]
    run = subprocess.run(command, capture_output=True, text=True)
    return run.stderr or ("" if run.returncode == 0 else f"{name} ended with {run.returncode}")


class Pages(unittest.TestCase):
    def test_the_reference_has_every_member_and_is_fresh(self):
        self.assertEqual(run_tool("reference.py", "--check", *EMULATOR, HOST), "")

    def test_the_page_and_the_header_for_hosts_are_fresh(self):
        self.assertEqual(run_tool("host_page.py", "--check", *EMULATOR, SMALL_HOST, LIBRARY), "")

    def test_includes_point_down_and_the_picture_is_fresh(self):
        self.assertEqual(run_tool("layers.py", "--check"), "")

    def test_the_guide_names_every_example_and_no_other(self):
        named = re.findall(r"Examples/(\w+\.lua)", (ROOT / "Docs/guide.md").read_text(encoding="utf-8"))
        there = [path.name for path in (ROOT / "Examples").glob("*.lua")]
        self.assertEqual(sorted(set(named)), sorted(there))

    def test_links_and_paths_lead_somewhere(self):
        names = re.compile(r"`((?:Source|Libs|Host|Tests|Benchmarks|Docs|Tools|Examples)/[\w./]+)`|\]\(([\w./]+)\)")
        for page in (ROOT / "Docs").glob("*.md"):
            for path, link in names.findall(page.read_text(encoding="utf-8")):
                place = ROOT / path if path else page.parent / link
                self.assertTrue(place.exists(), f"{page.name}: {path or link}")


if __name__ == "__main__":
    unittest.main()
