"""The library as the host program shows it: members, and what is traced."""
import os
import pathlib
import re
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "../../Host/Tests"))
from vynhost import vynhost  # noqa: E402


REGISTERED = pathlib.Path(HERE, "registered.txt").read_text(encoding="utf-8")


class Description(unittest.TestCase):
    def test_lists_every_member_in_order(self):
        wanted = [line.strip() for line in REGISTERED.splitlines() if line.strip() and not line.startswith("#")]
        status, output, _ = vynhost("--describe")
        self.assertEqual(status, 0)
        found = [line.strip() for line in output.splitlines() if line.strip()]
        self.assertEqual(found, wanted, "Tests/Acceptance/registered.txt should have the lines marked with -")

    def test_every_member_is_used_by_an_acceptance_script(self):
        scripts = "".join(path.read_text(encoding="utf-8") for path in pathlib.Path(HERE).glob("*.lua"))
        for name in set(re.findall(r"^    (\w+)", REGISTERED, re.M)) - {"Constructor", "Destructor"}:
            self.assertRegex(scripts, rf"\b{name}\b", "a script in Tests/Acceptance should use it")

    def test_no_host_draws_a_finding(self):
        for version in ("2010", "2012.5", "2013.0", "2020.02", "2021.03", "3000.0"):
            self.assertEqual(vynhost("--host-version", version, program="")[2], "", version)


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
        lines = [line.removeprefix("VYN Debug: ") for line in log.splitlines()]
        labels = ["Loading Network in "] if "Loading" in lines[0] else []
        labels += ["Constructor", "Created IPv4 socket: ", "fcntl ", "Bind", "inet_pton AF_INET 1",
                   "bind to 127.0.0.1", "port 0", "Bind OK", "GetLocalPort", "getsockname 0, ", "len 16",
                   "SendMessageInternal", "clientService.sin_addr.s_addr 16777343", "sending to 127.0.0.1",
                   "sending length 5", "rwrite 5", "Event DataAvailable 0x", "DataAvailable event", "ReadMessage",
                   "size 5", "error 0", "rread 5", "datagram 0x", "Destructor"]
        for label in labels:  # each after the one before it
            place = next((i for i, line in enumerate(lines) if line.startswith(label)), None)
            self.assertIsNotNone(place, f"{label} in {lines}")
            del lines[:place + 1]


if __name__ == "__main__":
    unittest.main()
