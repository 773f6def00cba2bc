"""A row of a member table that disagrees with its function does not compile, and the compiler says what differs."""
import os
import pathlib
import re
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent

HEAD = """
#include "Source/Plugins/Network/BaseSocket.h"
#include "Source/Plugins/Network/SocketOptions.h"
#include "Source/Plugins/Network/Datagram.h"
std::uint32_t Swap(std::uint32_t value);
"""
# Rows, and what the compiler shows of what is wrong: nothing for a row that is right. It shows a line of the source
# once where two rows in a row end at it. Two rows are in the wrong table.
ROWS = [
    ('METHOD("Bind(Port as Integer, IP as string = \\"\\")", Bind)', ""),
    ('METHOD("Bind(Port as String, IP as string = \\"\\")", Bind)', "another type than the declared one"),
    ('METHOD("Bind(Port as Integer)", Bind)', "a parameter that the declaration does not have"),
    ('METHOD("Bind(Port as Integer, IP as string, x as Ptr)", Bind)', "more parameters than the function"),
    ('METHOD("Bind(Port as Integer, byref IP as string)", Bind)', "has the parameter byref, the other has not"),
    ('METHOD("Bind(Port as Integer, IP as string) as Integer", Bind)', "another result than the declared one"),
    ('METHOD("Read(peek as boolean = false) as Datagram", ReadMessage)', "There is no type of that name"),
    ('METHOD("Read(peek boolean) as DatagramVYN", ReadMessage)', 'followed by \\"as\\" and its type'),
    ('METHOD("Bind(Port as Integer, extends s as SocketCore)", Bind)', "belongs to the first parameter"),
    ('METHOD("Swap(value as UInt32) as UInt32", Swap)', "does not take the object first"),
    ('SHARED_METHOD("Swap(value as UInt32) as UInt32", Swap)', ""),
    ('SHARED_METHOD("Swap(value as UInt16) as UInt32", Swap)', "another type than the declared one"),
    ('SHARED_METHOD("Swap(extends value as UInt32) as UInt32", Swap)', "belongs to the first parameter"),
    ('METHOD("Bind(assigns Port as Integer, IP as string)", Bind)', "belongs to the last parameter"),
    ('MethodRow table = SHARED_METHOD("Swap(value as UInt32) as UInt32", Swap)', "METHOD"),
    ('SharedMethodRow table = METHOD("Bind(Port as Integer, IP as string)", Bind)', "METHOD"),
    ('FIELD("Port", "Integer", DatagramRecord, Port)', ""),
    ('FIELD("Port", "String", DatagramRecord, Port)', "another type than the declared one"),
    ('COMPUTED("LocalIP", "Integer", GetLocalIP)', "another type than the declared one"),
    ('COMPUTED("TOS", "Integer", GetTOS, setMulticastInterface)', "another type than the declared"),
    ('COMPUTED("TOS", "Boolean", GetTOS, SetTOS)', "another type than the declared one"),
]


@unittest.skipIf(os.environ["VYN_EMULATOR"], "the compiler is asked once, for this machine")
class Rows(unittest.TestCase):
    def test_a_row_is_held_against_its_function(self):
        source = HEAD
        for number, (row, _) in enumerate(ROWS):
            record = "const auto record = " if " = " not in row.split("(")[0] else ""
            source += f'#line 1 "row {number}"\nnamespace row{number} {{ {record}{row}; }}\n'
        run = subprocess.run([os.environ["VYN_CXX"], "-std=c++20", "-fsyntax-only", f"-I{ROOT}", "-xc++", "-"],
                             input=source, capture_output=True, text=True)
        said = ["" for _ in ROWS]
        for number, text in re.findall(r"^row (\d+):(.*?)(?=^row \d|\Z)", run.stderr, re.M | re.S):
            said[int(number)] += text
        for (row, message), text in zip(ROWS, said):
            with self.subTest(row):
                self.assertIn(message, text)
                self.assertEqual(message == "", text == "")
