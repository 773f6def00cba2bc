"""Our two hosts do what the check for hosts tries: the one in C, and the stand-in at each version."""
import os
import re
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../Host/Tests"))
from vynhost import EMULATOR, vynhost  # noqa: E402

CHECK = os.environ["VYN_HOST_CHECK"]


class Hosts(unittest.TestCase):
    def test_small_host_holds(self):
        command = [*EMULATOR, os.environ["VYN_SMALL_HOST"], os.environ["VYN_LIBRARY"], CHECK]
        run = subprocess.run(command, capture_output=True, text=True, timeout=60, env={**os.environ, "VYNHOSTCHECK": "1"})
        self.assertNotIn("broken", run.stderr)
        self.assertRegex(run.stderr, r"(?s)held     text in UTF-16\n.*held     a background task runs and stops\n\Z")
        self.assertRegex(run.stdout, r'client got "hello"\n(.*\n)*left: 0 strings, 0 objects, 0 tasks\n\Z')
        self.assertEqual(run.returncode, 0)

    def test_stand_in_holds_at_each_version(self):
        program = """
          local checked = HostCheckVYN()
          function checked:Checked() end
          assert(checked:Fire())
          for _ = 1, 5 do host.step() end
          print(VYNHostCheck())
        """
        for version in ("2008", "2010", "2012.5", "2013.0", "2013.03", "2020.02", "2021.03", "3000.0"):
            status, output, errors = vynhost("--plugin", CHECK, "--host-version", version, program=program)
            self.assertEqual((status, errors), (0, ""), version)
            other = re.findall(r"^(?!held|VYNHostCheck).+", output, re.M)
            self.assertEqual(len(other), 1, other)  # a program's Size is read-only there
            self.assertIn("a memory block is resized", other[0])


if __name__ == "__main__":
    unittest.main()
