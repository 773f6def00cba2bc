"""Programs on two machines with a wire between them: network namespaces and a veth pair.

A namespace and what is in it go with its last process, so a machine's end, even by force, leaves nothing behind.
Where namespaces can't be made (as in most containers) all of this is skipped, and says so.
"""
import subprocess
import tempfile
import unittest

import namespaces
from vynhost import HOST

LIMIT = 60  # seconds for anything

ENETUNREACH = 101
GROUP = "239.1.2.3"
NAMES = "127.0.0.1 localhost\n10.0.0.2 both four\nfd00::2 both six\n255.255.255.255 all\n"
TRIAL = "ip link add wire type veth && ip address add fd00::1/64 dev wire && mount --bind /etc/hosts /etc/hosts"
if refusal := namespaces.go_on_inside(["--net", "--mount"], TRIAL):
    print("skipped:", refusal)
    raise unittest.SkipTest(refusal)


class Machine:
    """A network and a file system of its own, and in it the prompt, which answers each line that has a value."""

    def __init__(self):
        command = ["unshare", "--net", "--mount", "timeout", str(LIMIT), HOST]
        self.program = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.ask("host.version")  # from here on it has left the namespaces of this process
        self.run("ip", "link", "set", "lo", "up")

    def ask(self, line):
        self.program.stdin.write(line + "\n")
        self.program.stdin.flush()
        return self.program.stdout.readline().rstrip("\n")

    def does(self, line, wanted=""):
        answer = self.ask(line)
        assert answer == str(wanted), f"{line}: wanted {wanted}, found {answer}"

    def run(self, *command):
        enter = ["nsenter", "--target", str(self.program.pid), "--net", "--mount"]
        subprocess.run([*enter, *command], check=True, timeout=LIMIT)

    def stop(self):
        """Answers the exit status: 0 when the program gave back everything."""
        self.program.stdin.close()
        self.program.stdout.close()
        return self.program.wait()


class Machines(unittest.TestCase):
    """Each case has machines of its own: 10.0.0.1 and fd00::1 with 10.0.0.2 and fd00::2 on the other end."""

    def machine(self):
        made = Machine()
        self.addCleanup(lambda: self.assertEqual(made.stop(), 0))
        return made

    def setUp(self):
        self.near, self.far = self.machine(), self.machine()
        peer = ["peer", "name", "wire", "netns", str(self.far.program.pid)]
        self.near.run("ip", "link", "add", "wire", "type", "veth", *peer)
        for number, machine in ((1, self.near), (2, self.far)):
            machine.run("ip", "link", "set", "wire", "up")
            machine.run("ip", "address", "add", f"10.0.0.{number}/24", "broadcast", "10.0.0.255", "dev", "wire")
            machine.run("ip", "address", "add", f"fd00::{number}/64", "dev", "wire", "nodad")

    def receivers(self):
        """A bound socket on either machine, and "got": all that comes within a moment, in the order it came."""
        for machine in (self.near, self.far):
            machine.does("socket = UDPSocketVYN(); socket:Bind(5000); all = {}; return ''")
            machine.does("function socket:DataAvailable() all[#all + 1] = self:Read().Data end return ''")
            machine.does("function got() host.run(0.1); local a = table.concat(all); all = {}; return a end return ''")

    def send(self, what, to, error=0):
        """Sends from the near machine, with that Lasterror."""
        self.near.does(f"socket:SendMessage({what}, '{to}', 5000); return socket.Lasterror", error)


class Multicast(Machines):
    def test_goes_by_membership_interface_loop_and_time_to_live(self):
        self.receivers()
        self.send("'x'", GROUP, ENETUNREACH)  # no route says where to
        for machine, address in ((self.near, "10.0.0.1"), (self.far, "10.0.0.2"), (self.near, "127.0.0.1")):
            machine.does(f"socket:AddMembership('{GROUP}', '{address}'); return socket.Lasterror", 0)
        # what is set before, and whom the datagram reaches
        for setting, here, there in (("MulticastInterface = '10.0.0.1'", True, True),
                                     ("MulticastLoop = false", False, True),
                                     ("MulticastTimeToLive = 0", False, False),
                                     ("MulticastTimeToLive = 1", False, True),
                                     ("MulticastInterface = '127.0.0.1'", True, False),  # lo: loop off means nothing
                                     ("MulticastLoop = true", True, False)):
            self.near.does(f"socket.{setting}; return socket.Lasterror", 0)
            self.send("'x'", GROUP)
            self.assertEqual((self.near.ask("got()"), self.far.ask("got()")), ("x" * here, "x" * there), setting)


class Names(Machines):
    """The near machine knows names from a file of its own alone."""

    def setUp(self):
        super().setUp()
        many = "".join(f"10.0.{i // 200}.{i % 200 + 1} many\n" for i in range(400))  # more than a first buffer takes
        for path, text in (("/etc/hosts", NAMES + many), ("/etc/nsswitch.conf", "hosts: files\n"),
                           ("/etc/host.conf", "multi on\n")):
            with tempfile.NamedTemporaryFile("w") as file:
                file.write(text)
                file.flush()
                self.near.run("mount", "--bind", file.name, path)

    def test_the_file_is_asked_in_both_directions(self):
        for function, asked, wanted in (("NameToAddress", "both", "10.0.0.2"), ("NameToAddressIPv6", "both", "fd00::2"),
                                        ("NameToAddress", "six", ""), ("AddressToName", "10.0.0.2", "both"),
                                        ("AddressToName", "10.9.9.9", ""), ("AddressToNameIPv6", "fd00::2", "both")):
            self.near.does(f"DNS{function}VYN('{asked}')", wanted)

    def test_names_are_sent_to_but_not_the_broadcast_address(self):
        self.near.does("UDPSocketVYN():SendMessage('x', 'many', 9)", 1)
        self.near.does("select(2, pcall(UDPSocketVYN().SendMessage, UDPSocketVYN(), 'x', 'all', 9)).message",
                       "Invalid address.")
