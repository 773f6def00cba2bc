"""The library as the host programs show it: members, what is traced, and what the check for hosts says of them."""
import os
import pathlib
import re
import subprocess
import sys
import unittest

from vynhost import EMULATOR, HOST, vynhost

ROOT = pathlib.Path(__file__).resolve().parents[2]
CHECK = os.environ["VYN_HOST_CHECK"]


class Description(unittest.TestCase):
    def test_is_the_reference_which_has_every_member(self):
        command = [sys.executable, "-B", ROOT / "Tools/reference.py", "--check", *EMULATOR, HOST]
        run = subprocess.run(command, capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stderr), (0, ""))

    def test_every_member_is_used_by_an_acceptance_script(self):
        scripts = "".join(path.read_text(encoding="utf-8") for path in (ROOT / "Tests/Acceptance").glob("*.lua"))
        reference = (ROOT / "Docs/reference.md").read_text(encoding="utf-8")
        names = set(re.findall(r"^### \w+\.(\w+)", reference, re.M)) - {"Constructor", "Destructor"}
        unused = sorted(name for name in names if not re.search(rf"\b{name}\b", scripts))
        self.assertEqual(unused, [], "each wants a step in a script of Tests/Acceptance")

    def test_no_host_draws_a_finding(self):
        for version in ("2010", "2012.5", "2013.0", "2020.02", "2021.03", "3000.0"):
            self.assertEqual(vynhost("--host-version", version, program="")[2], "", version)


class HostCheck(unittest.TestCase):
    def test_small_host_holds(self):
        command = [*EMULATOR, os.environ["VYN_SMALL_HOST"], os.environ["VYN_LIBRARY"], CHECK]
        environment = {**os.environ, "VYNHOSTCHECK": "1"}
        run = subprocess.run(command, capture_output=True, text=True, timeout=60, env=environment)
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


class Traces(unittest.TestCase):
    def test_follow_a_datagram(self):
        program = """
          local receiver, sender = UDPSocketVYN(), UDPSocketVYN()
          receiver:Bind(0, "127.0.0.1")
          sender:SendMessage("hello", "127.0.0.1", receiver.LocalPort)
          function receiver:DataAvailable() self:Read() end
          receiver:Poll()
          sender.Handle = 0
        """
        status, _, log = vynhost(program=program, VYNDEBUG="Yes")
        self.assertEqual(status, 0, log)
        labels = ["Constructor", "Created IPv4 socket: ", "fcntl ", "Bind", "inet_pton AF_INET 1", "bind to 127.0.0.1",
                  "port 0", "Bind OK", "GetLocalPort", "getsockname 0, ", "len 16", "SendMessageInternal",
                  "clientService.sin_addr.s_addr 16777343", "sending to 127.0.0.1", "sending length 5", "rwrite 5",
                  "Event DataAvailable 0x", "DataAvailable event", "ReadMessage", "size 5", "error 0", "rread 5",
                  "datagram 0x", "Destructor"]  # each after the one before it
        self.assertRegex(log, "(?s)" + ".*\n".join("VYN Debug: " + re.escape(label) for label in labels))
