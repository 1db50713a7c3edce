# SPDX-License-Identifier: Apache-2.0
"""Programs that fork, end or let the library go while they grab: nothing hangs and nothing crashes."""
import os
import subprocess
import unittest

import harness

SERIAL = "LIMIT"
# Children do not free what they leave to their parent.
ENVIRONMENT = dict(os.environ, ASAN_OPTIONS="detect_leaks=0", KESTRO_LOG="trace")


SMALL_AND_FAST = ["--serial", SERIAL, "--width", 64, "--height", 64, "--fps", 200, "--scenes", 2]


def run(program, *arguments):
    return subprocess.run([os.path.join(harness.BIN, program), *arguments], text=True, timeout=100,
                          stdin=subprocess.DEVNULL, capture_output=True, env=ENVIRONMENT)


class Fork(unittest.TestCase):
    def test_children_are_refused_and_end_and_the_parent_grabs_on(self):
        with harness.simulator(*SMALL_AND_FAST):
            done = run("kestro_fork_road", SERIAL)
        self.assertEqual(done.returncode, 0, done.stderr[-3000:])


class End(unittest.TestCase):
    def test_a_program_may_end_in_any_way_while_it_grabs(self):
        ways = ["return", "return-with-handle", "exit-in-frame-callback", "exit-in-update-callback",
                "exit-while-polling", "quick"]
        with harness.simulator(*SMALL_AND_FAST, cameras=len(ways)):
            for number, way in enumerate(ways, 1):
                with self.subTest(way=way):
                    done = run("kestro_exit_road", f"{SERIAL}-{number}", way)
                    self.assertEqual(done.returncode, 7, done.stderr[-3000:])
                    self.assertEqual([line for line in done.stderr.splitlines() if "ERROR" in line], [])

    def test_a_library_that_is_let_go_while_it_grabs_stays(self):
        with harness.simulator(*SMALL_AND_FAST):
            library = os.path.join(os.path.dirname(harness.BIN), "lib", "libkestro.so")
            done = run("kestro_unload_road", library, SERIAL)
        self.assertEqual(done.returncode, 0, done.stderr[-3000:])


if __name__ == "__main__":
    harness.main()
