"""The examples with programs on the other side that are none of ours: sockets of Python, and socat."""
import os
import pathlib
import re
import socket
import subprocess
import unittest

import namespaces
from vynhost import EMULATOR, HOST

# Some examples have ports and groups of their own; where they can have a network too, two runs never meet.
namespaces.go_on_inside(["--net"], "ip link show lo")

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "Examples"
LIMIT = 60  # seconds for anything


def start(name, *arguments):
    """An example that runs; its lines come as they are printed."""
    command = ["timeout", str(LIMIT), *EMULATOR, HOST, EXAMPLES / name, *map(str, arguments)]
    return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


def run(name, *arguments):
    with start(name, *arguments) as program:
        return program.communicate()[0], program.returncode


def read_port(program):
    return int(re.search(r":(\d+)$", program.stdout.readline())[1])


def udp():
    peer = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    peer.settimeout(LIMIT)
    peer.bind(("127.0.0.1", 0))
    return peer


class Peers(unittest.TestCase):
    def test_echo_of_every_size_and_byte(self):
        with start("echo_server.lua", 0, LIMIT) as server, udp() as peer:
            address = ("127.0.0.1", read_port(server))
            for payload in (b"hello", bytes(range(256)), b"\0", b"x" * 1400, os.urandom(65507)):
                peer.sendto(b"", address)  # must not block the next one
                peer.sendto(payload, address)
                self.assertEqual(peer.recv(65536), payload)
            server.terminate()

    def test_send_prints_the_answer(self):
        with udp() as peer, start("send.lua", "localhost", peer.getsockname()[1], "question") as program:
            question, address = peer.recvfrom(100)
            self.assertEqual(question, b"question")
            peer.sendto(b"answer", address)
            self.assertIn("answered 'answer'", program.communicate()[0])
            self.assertEqual(program.returncode, 0)

    def test_server_answers_socat(self):
        with start("tcp_server.lua", 0, 2) as server:
            socat = ["socat", "-t2", "-", f"TCP4:127.0.0.1:{read_port(server)}"]
            for text in (b"one\n", b"two\n"):
                answer = subprocess.run(socat, input=text, capture_output=True, timeout=LIMIT)
                self.assertEqual(answer.stdout, text.upper())
            output = server.communicate()[0]
            self.assertEqual((output.count("left"), server.returncode), (2, 0), output)

    def test_client_talks_to_python(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            server.settimeout(LIMIT)
            with start("tcp_client.lua", "localhost", server.getsockname()[1], "question") as client:
                with server.accept()[0] as peer:
                    self.assertEqual(peer.recv(100), b"question\n")
                    peer.sendall(b"answer\n")
                    output = client.communicate()[0]
            self.assertTrue(output.endswith("answer: answer\n"), output)
            self.assertEqual(client.returncode, 0)

    def test_connecting_ends_in_time(self):
        with (socket.create_server(("127.0.0.1", 0), backlog=0) as server, socket.socket() as first,
              socket.socket() as more):
            address = server.getsockname()
            output, _ = run("connect_limit.lua", *address, LIMIT)
            self.assertRegex(output, rf"\Aconnected to 127.0.0.1:{address[1]} from port \d+\n\Z")
            for peer in first, more:  # the queue is full then, and the system ignores whoever comes
                peer.setblocking(False)
                peer.connect_ex(address)
            self.assertRegex(run("connect_limit.lua", *address, 0.3)[0], "no answer from .* within 0.3 s\n")


class Alone(unittest.TestCase):
    def test_each_says_what_it_found(self):
        rows = [
            ("send.lua", ["no such host", 9, "x"], 1, "no such host: no such host"),
            ("tcp_client.lua", ["127.0.0.1", 1], 1, "Socket connect failed with error 111: Connection refused"),
            ("conversation.lua", [], 0, r"(pong got 'ping.*){5}pong got 60000 bytes in one datagram.*"
                                        r"live references: 0 strings, 0 objects, 0 memory blocks\n\Z"),
            ("multicast_chat.lua", ["Ada", "hello", 1], 0, r"\AAda: hello\n\Z"),
            ("large_datagrams.lua", [], 0, "65507 bytes: sent, and 65507 wait to be read\n"
                                           "65508 bytes: refused with EMSGSIZE\n.*keeps 1?\\d of 20"),
            ("resolve.lua", ["localhost", "127.0.0.1"], 0, r"IPv4 +127\.0\.0\.1\b.*IPv4's name +\w"),
            ("broadcast_discovery.lua", [], 0, "servers found: 1\n"),
            ("ping.lua", ["127.0.0.1"], int(os.geteuid() != 0), r"47 bytes from 127\.0\.0\.1 in|CAP_NET_RAW"),
            ("tracing.lua", [], 0, r"\AVYN Debug: Bind\n.*VYN Debug: Failed to parse IP www.example.org\n"
                                   r"Lasterror is -1, LocalPort 0\n\Z"),
            ("errors.lua", [], 0, ".*".join(f"Lasterror +{number}\\b" for number in (
                0, 98, 99, -1, 22, -1, -1, -1, 13, -1)) + ".*"),
            ("file_transfer.lua", [], 0, r"\A5000000 bytes in 3572 blocks, window 64: [34567]\d{3,4} sends in "),
            ("time_query.lua", [], 0, r"\Ait is 20\d\d-\d\d-\d\d \d\d:\d\d:\d\d\.\d{6}\n\Z"),
            ("connect_limit.lua", ["localhost", 1, LIMIT], 1, "can't connect to 127.0.0.1:1: ECONNREFUSED: "),
            ("send.lua", ["localhost", 9, "x"], 1, "no answer within 1 s"),
            ("options.lua", [], 0, r"OptionTTLVYN +64 +32 +32.*with error 22: Invalid argument"),
        ]
        for name, arguments, wanted_status, wanted in rows:
            if name in ("options.lua", "multicast_chat.lua") and EMULATOR:
                continue  # it can't clear IP options, and has no multicast interface
            output, status = run(name, *arguments)
            self.assertRegex(output, re.compile(wanted, re.DOTALL), name)
            self.assertEqual(status, wanted_status, name)

    def test_no_example_lacks_a_case(self):
        cases = pathlib.Path(__file__).read_text(encoding="utf-8")
        self.assertEqual([path.name for path in EXAMPLES.glob("*.lua") if f'("{path.name}"' not in cases], [])
