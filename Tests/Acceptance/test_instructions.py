"""Instructions of the library's own code, for each call of an operation, stay within their bounds."""
import os
import platform
import unittest

import instructions

# Of each operation that is counted, by machine.
BOUNDS = {"x86_64": (340, 410, 93, 75, 26), "aarch64": (420, 465, 125, 115, 40)}[platform.machine()]


@unittest.skipUnless(os.environ["VYN_PLAIN_BUILD"] == "1" and os.environ["VYN_COMPILER"] == "GNU"
                     and not os.environ["VYN_EMULATOR"], "the bounds are for the file that ships, on this machine")
class Instructions(unittest.TestCase):
    def test_each_operation_stays_within_its_bound(self):
        for operation, bound in zip(instructions.OPERATIONS, BOUNDS, strict=True):
            with self.subTest(operation):
                each = instructions.each(os.environ["VYN_HOST"], os.environ["VYN_LIBRARY"], operation)
                print(f"{each:6.0f} of {bound:4}  {operation}")
                self.assertGreater(each, bound * 0.5, "so few that something is not counted, or the bound is stale")
                self.assertLessEqual(each, bound)
