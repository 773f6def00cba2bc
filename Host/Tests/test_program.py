"""The host program: how it takes mistakes, errors in handlers and signals, and what it offers who tries things."""
import os
import re
import signal
import subprocess
import tempfile
import unittest

import pexpect
from vynhost import EMULATOR, HOST, vynhost


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
            ([], "UDPSocketVNY()", "(global 'UDPSocketVNY'); did you mean UDPSocketVYN?"),
            ([], "UDPSocketVYN():NoSuchMethod()", "NoSuchMethod; help(UDPSocketVYN)"),
            ([], "UDPSocketVYN().Prot = 5", "did you mean BindPort or LocalPort or"),
            ([], "UDPSocketVYN():Close()", "call Destructor(), declare"),
            ([], "UDPSocketVYN().Bind = print", "is a method"),
            ([], "UDPSocketVYN.LocalPort = 5", "belongs to objects"),
            ([], "RAWSocketVYN.ProtocolTCP = 5", "is a constant"),
            ([], "host.onErorr = print", "did you mean onError?"),
            ([], "host.after(1)", ".lua:1: argument 2 must be a function"),
            ([], "RAWSocketVYN(99, 1, 6)", "EAFNOSUPPORT: "),
            ([], "help('Bnid')", "did you mean Bind or"),
            ([], "UDPSocketVYN().LocalPort = 5", "LocalPort"),
            ([], "UDPSocketVYN():Bind('x')", "Bind(Port as Integer, IP as string = \"\")"),
            ([], "RAWSocketVYN.htons(65536)", "65536"),
            ([], "RAWSocketVYN(1)", "Constructor(AddressFamily as Integer"),
            ([], "UDPSocketVYN().DataAvailable = 5", "DataAvailable"),
            ([], "UDPSocketVYN():Bind(70000)", "UnsupportedOperationException: Invalid port number."),
            (["--describe", "NoSuchClassVYN"], None, "NoSuchClassVYN"),
            (["--describe", "/no/such/script.lua", "-e", "5"], None, "--describe runs no program"),
            (["-e", "x.y = 5"], None, "(code):1: attempt to index"),
            ([], "\nhost.exception('OutOfBoundsException', 'far')", ".lua:2: OutOfBoundsException: far"),
            ([], "UDPSocketVYN.Poll(5)", "UDPSocketVYN, as in object:Poll(...), but found: integer"),
        ]
        for arguments, program, message in rows:
            with self.subTest(arguments=arguments, program=program):
                status, _, error = vynhost(*arguments, program=program)
                self.assertIn(status, range(1, 128))  # no signal
                self.assertIn(message, error)
                self.assertNotEqual(error, "")

    def test_what_is_meant_for_the_user_comes_without_a_traceback(self):
        self.assertEqual(vynhost(program="error('usage: ...', 0)"), (1, "", "vynhost: usage: ...\n"))


class Handlers(unittest.TestCase):
    LOOP = """
        local receiver, sender = UDPSocketVYN(), UDPSocketVYN()
        receiver:Bind(0, "127.0.0.1")
        local function step() sender:SendMessage("x", "127.0.0.1", receiver.LocalPort); host.step() end
        function receiver:DataAvailable()
          self:Read(); %s
        end
        step()
        step()
        print("goes on")
    """

    def test_an_error_in_one_is_shown_and_counts(self):
        for mistake, shown in (("x.y = 5", ":6: attempt to index"), ("assert(1 == 2)", ":6: assertion failed!"),
                               ("self:Bind(70000)", ":6: UnsupportedOperationException: Invalid port number."),
                               ("error('text', 0)", ":6: text"), ("error({})", "the type table"),
                               ("host.raiseStandard('odd')", ":6: std::exception: odd")):
            with self.subTest(mistake=mistake):
                status, output, error = vynhost(program=self.LOOP % mistake)
                texts = ("error in UDPSocketVYN.DataAvailable: ", "stack traceback", shown)
                counts = [error.count(text) for text in texts]
                self.assertEqual((status, output, counts), (1, "goes on\n", [2, 1, 2]))  # told of again in the end

    def test_one_that_comes_without_end_stops_the_program(self):
        program = self.LOOP.replace("self:Read();", "") % "x.y = 5" + "host.run(60)"
        status, _, error = vynhost(program=program)
        self.assertEqual((status, error.count("traceback")), (1, 2))
        self.assertRegex(error, r"\n.*:11: stopped: .*host.onError(.*\n)+.* \.\.\. 999 times more\n\Z")

    def test_and_timers_run_in_the_loop_alone(self):
        self.assertEqual(vynhost(program="UDPSocketVYN().DataAvailable = print"),
                         (0, "", "vynhost: no event can come: host.run was never called\n"))
        status, output, error = vynhost(program="""
            local count, stop = 0
            stop = host.every(0.01, function() count = count + 1; if count == 3 then stop(); x.y = 5 end end)
            print(host.run(function() return count > 3 end, 0.2), count, host.now() - os.time() < 2)""")
        self.assertEqual((status, output, "error in a timer: " in error), (1, "false\t3\ttrue\n", True))

    def test_the_program_can_take_it(self):
        program = "function host.onError(failure) print(failure.class, failure.number, failure) end\n" + self.LOOP
        status, output, error = vynhost(program=program % "host.exception('NilObjectException', 'none', 7)")
        self.assertEqual((status, error, output.count("goes on")), (0, "", 1))
        self.assertEqual(len(re.findall(r"NilObjectException\t7\t.*:7: NilObjectException: none\n", output)), 2, output)


class BrokenPipes(unittest.TestCase):
    PEER = """
        local listener, client = RAWSocketVYN(2, 1, 6), RAWSocketVYN(2, 1, 6)
        listener:Bind(0, "127.0.0.1")
        listener:Listen()
        client:Connect("127.0.0.1", listener.LocalPort)
        listener:Accept():Close()
        for _ = 1, 3 do client:Send(MemoryBlock("x"), 1, %d); host.sleep(0.02) end
        print(client.Lasterror)
    """

    @unittest.skipIf(EMULATOR, "the emulator ends otherwise")
    def test_end_the_program_and_say_how_to_avoid_it(self):
        status, _, error = vynhost(program=self.PEER % 0)
        self.assertEqual(status, -signal.SIGPIPE)
        self.assertIn("16384", error)
        self.assertEqual(vynhost(program=self.PEER % 16384), (0, "32\n", ""))

    def test_of_the_output_need_no_words(self):
        command = ["sh", "-c", '"$@" | head -n 1', "sh", *EMULATOR, HOST, "-e", "while true do print(1) end"]
        run = subprocess.run(command, capture_output=True, text=True, timeout=60)
        self.assertEqual((run.stdout, run.stderr), ("1\n", ""))


class Prompt(unittest.TestCase):
    def test_goes_on_after_a_mistake_that_counts_in_the_end(self):
        for given, *ends in (("x = 6\nnonsense)\nNoSuchThing()\nx * 7\nx\nexit\n", 1, "42\n6\n", "NoSuchThing"),
                             ("x = {\n  6 }\n#x\n", 0, "1\n", ""), ("x = {\n", 1, "", "x = {")):
            status, output, error = vynhost(given=given)
            self.assertEqual([status, output], ends[:2])
            self.assertIn(ends[2], error)

    @unittest.skipIf(EMULATOR, "one terminal is enough")
    def test_completes_and_delivers_while_it_waits(self):
        with tempfile.TemporaryDirectory() as state:
            self.converse(state, [
                ("a, b = UDPSocketVYN(), UDPSocketV\t()\r", "> "),
                ("a:Bi\t(0, 'localhost')\r", "localhost'\\)\r\n.*> "),
                ("function a:DataAvailable() print('got ' .. self:Read().Data) end\r", "end\r\n.*> "),
                ("b:SendMes\t('h\u00e9', '127.0.0.1', a.LocalP\t)\r", "got h\u00e9\r\n.*> "),
                ("'h\u00e9\\n', {1, x = 'y'}, b.B\t\tindPort, MemoryBlock('\\xFF')\r",
                 r'BindAddress +BindPort +Broadcast.*"h\u00e9\\n"\s+{ 1, x = "y" }\s+0\s+MemoryBlock { Size = 1, "\\255" }'),
                ("if b then\rb:SendMessage('x', '127.0.0.1', a.LocalPort) end\r", "got x\r\n.*> "),
                ("exit()\r", pexpect.EOF)])
            self.converse(state, [
                ("\x1b[A", "if b then\r\n.*LocalPort\\) end"),  # what was typed before "exit()", all of it
                ("\x03", "> "),
                ("host.sleep(60)\r", "60\\)\r\n"),
                ("\x03\x04", "interrupted.*> .*\n"),  # the second key is typed while no line is read
                ("", pexpect.EOF)])

    def converse(self, state, lines):
        """Types at the prompt on a terminal of its own, and waits for what each is to show."""
        leaks = os.path.join(state, "leaks")
        with open(leaks, "w") as file:
            file.write("leak:libedit\n")  # which never frees the names of functions that it was given
        terminal = pexpect.spawn(HOST, timeout=30, echo=True, encoding="utf-8", env={
            **os.environ, "XDG_STATE_HOME": state, "TERM": "xterm", "LC_ALL": "C",
            "LSAN_OPTIONS": f"suppressions={leaks}:print_suppressions=0", "ASAN_OPTIONS": "fast_unwind_on_malloc=0"})
        terminal.delaybeforesend = None
        terminal.expect("> ")
        for typed, wanted in lines:
            terminal.send(typed)
            terminal.expect(wanted)
        terminal.close()
        self.assertEqual(terminal.exitstatus, 0, terminal.before)


class Exploring(unittest.TestCase):
    def test_members_are_described_and_explained(self):
        for asked in ("UDPSocketVYN", '"UDPSocketVYN.Bind"', "UDPSocketVYN.Poll", "DNSNameToAddressVYN",
                      "NetworkGlobalsVYN"):
            status, output, error = vynhost("-e", f"help({asked})")
            self.assertEqual((status, error), (0, ""))
            self.assertIn(re.search(r"\w+(?=\W*$)", asked)[0], output.splitlines()[0])
        self.assertEqual(vynhost("--describe", "udpsocketvyn.poll")[1], "Poll\n")
        self.assertIn("    bytes() as String\n", vynhost("--describe", "MemoryBlock")[1])
        shown = vynhost("-e", "help('poll') print(UDPSocketVYN().Poll, RAWSocketVYN(2, 1, 6):Accept('', 0, nil))")[1]
        self.assertRegex(shown, r"UDPSocketVYN.Poll(.*\n)*RAWSocketVYN.Poll(.*\n)*.*: object:Poll\(...\)\tnil\t\t0\n")

    def test_programs_come_from_anywhere(self):
        with tempfile.TemporaryDirectory() as folder:
            for name, text in (("helper.lua", "return 'help at hand'"),
                               ("main.lua", "print(require('helper'), arg[1], ...)")):
                with open(os.path.join(folder, name), "w") as file:
                    file.write(text)
            self.assertEqual(vynhost(os.path.join(folder, "main.lua"), "-x")[1], "help at hand\t-x\t-x\n")
        self.assertEqual(vynhost("-", "a", given="print(...)")[1], "a\n")
        self.assertEqual(vynhost("-e", "6 * 7, ...", "x", "--help")[1], "42\tx\t--help\n")
