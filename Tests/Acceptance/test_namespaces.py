"""A network of its own, whose interface does not lead back here, and names from a file of its own: in namespaces.

Where they can't be made (as in most containers) all of this is skipped, and says so.
"""
import contextlib
import socket
import subprocess
import tempfile
import unittest

import namespaces
from vynhost import vynhost

NETWORK = """ip link add wire type veth peer far && ip link set wire up && ip link set far up &&
             ip address add 10.0.0.1/24 dev wire && ip address add fd00::1/64 dev wire nodad"""
if refusal := namespaces.go_on_inside(["--net", "--mount"], NETWORK + " && mount --bind /etc/hosts /etc/hosts"):
    print("skipped:", refusal)
    raise unittest.SkipTest(refusal)
subprocess.run(NETWORK, shell=True, check=True)


class Multicast(unittest.TestCase):
    def test_goes_by_membership_interface_loop_and_time_to_live(self):
        with socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(0x0800)) as far:
            far.bind(("far", 0))
            self.assertEqual(vynhost(program="""
                local socket, heard = UDPSocketVYN(), ""
                socket:Bind(5000)
                function socket:DataAvailable() heard = heard .. self:Read().Data end
                local function send(text)
                  socket:SendMessage(text, "239.1.2.3", 5000)
                  host.run(0.1)
                  return socket.Lasterror
                end
                local error = send("-") -- no route says where to
                for _, address in ipairs({ "10.0.0.1", "127.0.0.1" }) do socket:AddMembership("239.1.2.3", address) end
                socket.MulticastInterface = "10.0.0.1"
                send("a")
                socket.MulticastLoop = false
                send("b")
                socket.MulticastTimeToLive = 0
                send("c")
                socket.MulticastTimeToLive = 9
                send("d")
                socket.MulticastInterface = "127.0.0.1"
                send("e") -- for which the loop means nothing
                socket:DropMembership("239.1.2.3", "127.0.0.1")
                send("f")
                print(error, heard)"""), (0, "101\tae\n", ""))
            left = []  # by the wire: the time to live and the text
            with contextlib.suppress(BlockingIOError):
                while frame := far.recv(2000, socket.MSG_DONTWAIT):
                    left += [(frame[22], frame[42:])] if frame[23] == socket.IPPROTO_UDP else []
            self.assertEqual(left, [(1, b"a"), (1, b"b"), (9, b"d")])


class Names(unittest.TestCase):
    def setUp(self):
        many = "".join(f"10.0.{i // 200}.{i % 200 + 1} many\n" for i in range(400))  # more than a first buffer takes
        names = "127.0.0.1 localhost\n10.0.0.2 both four\nfd00::2 both six\n255.255.255.255 all\n" + many
        for path, text in (("/etc/hosts", names), ("/etc/nsswitch.conf", "hosts: files\n"),
                           ("/etc/host.conf", "multi on\n")):
            with tempfile.NamedTemporaryFile("w") as file:
                file.write(text)
                file.flush()
                subprocess.run(["mount", "--bind", file.name, path], check=True)

    def test_come_from_the_file_in_both_directions_and_are_sent_to(self):
        for call, wanted in (("DNSNameToAddressVYN('both')", "10.0.0.2"), ("DNSNameToAddressVYN('six')", ""),
                             ("DNSAddressToNameVYN('10.0.0.2')", "both"), ("DNSAddressToNameVYN('10.9.9.9')", ""),
                             ("DNSNameToAddressIPv6VYN('both')", "fd00::2"),
                             ("DNSAddressToNameIPv6VYN('fd00::2')", "both"),
                             ("UDPSocketVYN():SendMessage('x', 'many', 9)", "1"),
                             ("select(2, pcall(UDPSocketVYN().SendMessage, UDPSocketVYN(), 'x', 'all', 9)).message",
                              "Invalid address.")):
            self.assertEqual(vynhost("-e", call), (0, wanted + "\n", ""), call)
