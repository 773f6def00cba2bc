"""The built file itself: what it exports, how it is linked, and that it runs as a program.

The environment names the library, and the emulator to run it with if it is of another machine.
"""
import os
import pathlib
import re
import subprocess
import unittest

LIBRARY = os.environ["VYN_LIBRARY"]
EMULATOR = os.environ.get("VYN_EMULATOR", "").split()
LOADERS = {"X86-64": "/lib64/ld-linux-x86-64.so.2", "AArch64": "/lib/ld-linux-aarch64.so.1"}
COMPILER = os.environ.get("VYN_COMPILER")
PLAIN = os.environ.get("VYN_PLAIN_BUILD") == "1"  # no sanitizer in it, optimised


def readelf(*options):
    return subprocess.run(["readelf", "-W", *options, LIBRARY], check=True, capture_output=True, text=True).stdout


class Library(unittest.TestCase):
    def test_exports_exactly_the_four_names(self):
        symbols = [line.split() for line in readelf("--dyn-syms").splitlines() if re.match(r"\s+\d+:", line)]
        defined = sorted(s[7] for s in symbols if len(s) > 7 and s[6] != "UND" and s[3] != "SECTION")
        self.assertEqual(defined, ["PluginEntry", "REALPluginMain", "elf_interpreter", "libEntry"])

    def test_names_itself_and_its_loader(self):
        self.assertIn(b"$$ Plugin version: 23.5 (2023) $$\0", pathlib.Path(LIBRARY).read_bytes())
        machine = re.search(r"Machine:.*?(X86-64|AArch64)", readelf("-h")).group(1)
        self.assertIn("Library soname: [libVYNNetwork.Linux32.so.21016]", readelf("-d"))
        headers = readelf("-l")
        self.assertIn(f"[Requesting program interpreter: {LOADERS[machine]}]", headers)
        # The record is the exported text, with its terminating zero and nothing more.
        size = int(re.search(r"INTERP\s+\S+\s+\S+\s+\S+\s+(\S+)", headers).group(1), 16)
        text = next(line.split() for line in readelf("--dyn-syms").splitlines() if "elf_interpreter" in line)
        self.assertEqual(size, len(LOADERS[machine]) + 1)
        self.assertEqual(int(text[2]), size)
        entry = int(re.search(r"Entry point address:\s+(\S+)", readelf("-h")).group(1), 16)
        start = next(line.split() for line in readelf("--dyn-syms").splitlines() if "libEntry" in line)
        self.assertEqual(int(start[1], 16), entry)

    # Another plugin in the process may export the same names.
    def test_binds_its_exports_inside(self):
        for name in ("PluginEntry", "REALPluginMain", "libEntry"):
            self.assertNotRegex(readelf("-r"), rf"\b{name}\b")

    def test_runs_as_a_program(self):
        run = subprocess.run([*EMULATOR, LIBRARY], capture_output=True, text=True)
        self.assertEqual((run.stdout, run.returncode), ("VYN Plugin, version 23.5, built Nov 19 2023\n", 0))

    @unittest.skipUnless(PLAIN, "not the build that ships")
    def test_every_system_call_is_made_to_fail_by_a_test(self):
        faults = pathlib.Path(__file__).resolve().parents[1] / "Unit/Faults.cpp"
        others = set("""_exit abort calloc fflush free freeaddrinfo gai_strerror getaddrinfo getenv gethostbyname_r getnameinfo
            in6addr_loopback inet_addr inet_ntoa inet_ntop inet_pton memcpy memmove memset pthread_mutex_lock
            pthread_mutex_unlock pthread_self pthread_setcancelstate realloc stderr strcasecmp strcmp strdup strerror
            strlen strstr write""".split())
        imported = re.findall(r" UND ([a-z]\w+)", readelf("--dyn-syms"))
        for name in sorted(set(imported) - others):
            self.assertRegex(faults.read_text(encoding="utf-8"), rf"\b{name}\b", "it wants a row in Faults.cpp")

    def test_is_hardened(self):
        dynamic, headers = readelf("-d"), readelf("-l")
        self.assertNotRegex(dynamic, "RPATH|RUNPATH|TEXTREL")
        self.assertNotIn("gethostbyname@", readelf("--dyn-syms"))  # its record is the whole process's
        self.assertRegex(dynamic, "BIND_NOW")
        self.assertIn("GNU_RELRO", headers)
        self.assertRegex(headers, r"GNU_STACK(\s+0x\w+){5}\s+RW\s")

    @unittest.skipUnless(PLAIN, "not the build that ships")
    def test_is_small_and_quick_to_load(self):
        self.assertRegex(readelf("--dyn-syms"), "__stack_chk_fail")
        self.assertRegex(readelf("--dyn-syms"), "_chk@")  # FORTIFY
        # No global constructors: the start files, where they are linked in, have one function of their own.
        self.assertNotRegex(readelf("-d"), r"\(INIT_ARRAYSZ\)\s+(?!8 )\d")
        self.assertNotRegex(readelf("-l") + readelf("-d"), r"\bTLS\b|STATIC_TLS")  # a late library may get none
        relocations = [line for line in readelf("-r").splitlines() if re.match(r"[0-9a-f]{12}", line)]
        self.assertLess(sum("RELATIVE" not in line for line in relocations), 100)
        stripped = LIBRARY + ".stripped"
        # Pages are larger on ARM.
        tool, limit = ("aarch64-linux-gnu-strip", 140) if "AArch64" in readelf("-h") else ("strip", 124)
        subprocess.run([tool, "-o", stripped, LIBRARY], check=True)
        self.assertLessEqual(os.path.getsize(stripped), limit * 1024)
        os.remove(stripped)

    @unittest.skipUnless(PLAIN, "not the build that ships")
    def test_marks_where_jumps_may_land(self):
        arm = "AArch64" in readelf("-h")
        if COMPILER == "GNU":
            self.assertRegex(readelf("-n"), r"BTI, PAC" if arm else r"IBT, SHSTK")
        code = subprocess.run(["aarch64-linux-gnu-objdump" if arm else "objdump", "-d", LIBRARY], check=True,
                              capture_output=True, text=True).stdout
        for mark in ["paciasp", "autiasp"] if arm else ["endbr64"]:
            self.assertGreater(len(re.findall(rf"\b{mark}\b", code)), 100)

    @unittest.skipUnless(PLAIN, "not the build that ships")
    def test_loads_on_older_systems(self):
        newest = {"GLIBC": (2, 31), "GLIBCXX": (3, 4, 28), "CXXABI": (1, 3, 12)}
        for name, version in re.findall(r"\b(GLIBC|GLIBCXX|CXXABI)_([0-9.]+)", readelf("-V")):
            self.assertLessEqual(tuple(map(int, version.split("."))), newest[name], name)
