# SPDX-License-Identifier: Apache-2.0
"""The C program under valgrind: no wrong access, nothing lost, and every frame."""
import unittest

import harness
from test_c_road import check_whole, run_road

VALGRIND = ["valgrind", "--leak-check=full", "--errors-for-leak-kinds=definite", "--error-exitcode=99",
            "--num-callers=30", "--fair-sched=yes"]


class Valgrind(unittest.TestCase):
    def test_finds_nothing_in_the_c_program(self):
        for result_format in ("Container", "Chunk"):
            with self.subTest(format=result_format):
                lines, log = run_road("kestro_c_road", result_format, *VALGRIND)
                check_whole(self, lines)
                self.assertRegex(log, r"definitely lost: 0 bytes|no leaks are possible")


if __name__ == "__main__":
    harness.need("valgrind")
    harness.main()
