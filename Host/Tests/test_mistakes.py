"""How the host program takes mistakes, in its arguments and in programs."""
import os
import sys
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from vynhost import HOST, vynhost  # noqa: E402


class Mistakes(unittest.TestCase):
    def test_each_gets_a_message_and_a_status(self):
        rows = [
            # arguments, program, what the message says
            (["--nonsense"], None, "--nonsense"),
            (["--host-version", "new"], "", "new"),
            (["--without", "NoSuchEntry"], "", "NoSuchEntry"),
            (["--plugin", "/no/such/library"], "", "/no/such/library"),
            (["--plugin", HOST], "", ""),
            (["/no/such/script.lua"], None, "/no/such/script.lua"),
            ([], "local = 5", "<name> expected"),
            ([], "NoSuchClassVYN()", "NoSuchClassVYN"),
            ([], "UDPSocketVYN():NoSuchMethod()", "NoSuchMethod"),
            ([], "UDPSocketVYN().NoSuchProperty = 5", "NoSuchProperty"),
            ([], "UDPSocketVYN().LocalPort = 5", "LocalPort"),
            ([], "UDPSocketVYN():Bind()", "Bind(Port as Integer, IP as string = \"\")"),
            ([], "UDPSocketVYN():Bind('x')", "Bind(Port as Integer, IP as string = \"\")"),
            ([], "UDPSocketVYN():Bind(1.5)", "Bind(Port as Integer"),
            ([], "UDPSocketVYN():Bind(1, 2, 3)", "Bind(Port as Integer"),
            ([], "UDPSocketVYN().Bind(5, 5)", ""),
            ([], "RAWSocketVYN.htons(65536)", "65536"),
            ([], "RAWSocketVYN(1)", "Constructor(AddressFamily as Integer"),
            ([], "UDPSocketVYN():SendMessage(DatagramVYN(), 'x')", "SendMessage("),
            ([], "UDPSocketVYN().DataAvailable = 5", "DataAvailable"),
            ([], "UDPSocketVYN():Bind(70000)", "UnsupportedOperationException: Invalid port number."),
            ([], "error('its own')", "its own"),
        ]
        for arguments, program, message in rows:
            status, _, error = vynhost(*arguments, program=program)
            self.assertGreater(status, 0, (arguments, program))
            self.assertLess(status, 128, (arguments, program))  # no signal
            self.assertIn(message, error, (arguments, program))
            self.assertNotEqual(error, "")

    def test_the_prompt_goes_on_after_a_mistake(self):
        status, output, _ = vynhost(given="x = 6\nnonsense)\nNoSuchThing()\nx * 7\nexit\n")
        self.assertEqual(status, 0)
        self.assertIn("42", output)


if __name__ == "__main__":
    unittest.main()
