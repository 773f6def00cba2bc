"""The built file itself: what it exports, how it is linked, and that it runs as a program.

The environment names the library, and the emulator to run it with if it is of another machine.
"""
import os
import pathlib
import re
import subprocess
import unittest

from vynhost import EMULATOR

LIBRARY, COMPILER = os.environ["VYN_LIBRARY"], os.environ["VYN_COMPILER"]
LOADERS = {"X86-64": "/lib64/ld-linux-x86-64.so.2", "AArch64": "/lib/ld-linux-aarch64.so.1"}
of_what_ships = unittest.skipUnless(os.environ["VYN_PLAIN_BUILD"] == "1", "not the build that ships")


def readelf(option):
    return subprocess.run(["readelf", "-W", option, LIBRARY], check=True, capture_output=True, text=True).stdout


HEADER, SEGMENTS, DYNAMIC, RELOCATIONS, SYMBOLS = map(readelf, ("-h", "-l", "-d", "-r", "--dyn-syms"))
MACHINE = re.search("X86-64|AArch64", HEADER)[0]
IS_ARM = MACHINE == "AArch64"
# What is defined, with address and size.
EXPORTS = {name: (int(address, 16), int(size)) for address, size, name in re.findall(
    r": (\w+) +(\d+) (?!SECTION)\w+ +\w+ +\w+ +\d+ (\S+)$", SYMBOLS, re.M)}


class Library(unittest.TestCase):
    def test_exports_exactly_the_four_names(self):
        self.assertEqual(sorted(EXPORTS), ["PluginEntry", "REALPluginMain", "elf_interpreter", "libEntry"])

    def test_names_itself_and_its_loader(self):
        self.assertIn(b"$$ Plugin version: 23.5 (2023) $$\0", pathlib.Path(LIBRARY).read_bytes())
        self.assertIn("Library soname: [libVYNNetwork.Linux32.so.21016]", DYNAMIC)
        self.assertIn(f"[Requesting program interpreter: {LOADERS[MACHINE]}]", SEGMENTS)
        # The record is the exported text, with its terminating zero and nothing more.
        size = int(re.search(r"INTERP(\s+\S+){3}\s+(\S+)", SEGMENTS)[2], 16)
        self.assertEqual((size, EXPORTS["elf_interpreter"][1]), (len(LOADERS[MACHINE]) + 1,) * 2)
        self.assertEqual(EXPORTS["libEntry"][0], int(re.search(r"Entry point address:\s+(\S+)", HEADER)[1], 16))

    # Another plugin in the process may export the same names.
    def test_binds_its_exports_inside(self):
        for name in ("PluginEntry", "REALPluginMain", "libEntry"):
            self.assertNotRegex(RELOCATIONS, rf"\b{name}\b")

    def test_runs_as_a_program(self):
        run = subprocess.run([*EMULATOR, LIBRARY], capture_output=True, text=True)
        self.assertEqual((run.stdout, run.returncode), ("VYN Plugin, version 23.5, built Nov 19 2023\n", 0))

    @of_what_ships
    def test_every_system_call_can_be_made_to_fail_by_a_test(self):
        faults = (pathlib.Path(__file__).resolve().parents[1] / "Unit/Faults.cpp").read_text(encoding="utf-8")
        others = set("""
            _exit abort calloc fflush free freeaddrinfo gai_strerror getaddrinfo getenv gethostbyname_r getnameinfo
            in6addr_loopback inet_addr inet_ntoa inet_ntop inet_pton memcpy memmove memset pthread_mutex_lock
            pthread_mutex_unlock pthread_self pthread_setcancelstate realloc stderr strcasecmp strcmp strdup strerror
            strlen strstr write""".split())
        imported = re.findall(r" UND ([a-z]\w+)", SYMBOLS)
        lacking = [name for name in sorted(set(imported) - others) if not re.search(rf"\b{name}\b", faults)]
        self.assertEqual(lacking, [], "each wants a row in Tests/Unit/Faults.cpp")

    def test_is_hardened(self):
        self.assertNotRegex(DYNAMIC, "RPATH|RUNPATH|TEXTREL")
        self.assertNotIn("gethostbyname@", SYMBOLS)  # its record is the whole process's
        self.assertRegex(DYNAMIC, "BIND_NOW")
        self.assertIn("GNU_RELRO", SEGMENTS)
        self.assertRegex(SEGMENTS, r"GNU_STACK(\s+0x\w+){5}\s+RW\s")

    @of_what_ships
    def test_is_small_and_quick_to_load(self):
        self.assertRegex(SYMBOLS, "__stack_chk_fail")
        self.assertRegex(SYMBOLS, "_chk@")  # FORTIFY
        # No global constructors: the start files, where they are linked in, have one function of their own.
        self.assertNotRegex(DYNAMIC, r"\(INIT_ARRAYSZ\)\s+(?!8 )\d")
        self.assertNotRegex(SEGMENTS + DYNAMIC, r"\bTLS\b|STATIC_TLS")  # a late library may get none
        self.assertLess(len(re.findall(r"^[0-9a-f]{12}(?!.*RELATIVE)", RELOCATIONS, re.M)), 100)
        stripped = LIBRARY + ".stripped"
        # Pages are larger on ARM.
        tool, limit = ("aarch64-linux-gnu-strip", 140) if IS_ARM else ("strip", 124)
        subprocess.run([tool, "-o", stripped, LIBRARY], check=True)
        self.assertLessEqual(os.path.getsize(stripped), limit * 1024)
        os.remove(stripped)

    @of_what_ships
    def test_marks_where_jumps_may_land(self):
        if COMPILER == "GNU":
            self.assertRegex(readelf("-n"), r"BTI, PAC" if IS_ARM else r"IBT, SHSTK")
        code = subprocess.run(["aarch64-linux-gnu-objdump" if IS_ARM else "objdump", "-d", LIBRARY], check=True,
                              capture_output=True, text=True).stdout
        for mark in ["paciasp", "autiasp"] if IS_ARM else ["endbr64"]:
            self.assertGreater(len(re.findall(rf"\b{mark}\b", code)), 100)

    @of_what_ships
    def test_loads_on_older_systems(self):
        newest = {"GLIBC": (2, 31), "GLIBCXX": (3, 4, 28), "CXXABI": (1, 3, 12)}
        for name, version in re.findall(r"\b(GLIBC|GLIBCXX|CXXABI)_([0-9.]+)", readelf("-V")):
            self.assertLessEqual(tuple(map(int, version.split("."))), newest[name], name)
