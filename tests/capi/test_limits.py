# SPDX-License-Identifier: Apache-2.0
"""Programs that fork while they grab: nothing hangs, nothing crashes, and the camera stays whose it is."""
import os
import subprocess
import unittest

import harness

SERIAL = "LIMIT1"
# Children do not free what they leave to their parent.
ENVIRONMENT = dict(os.environ, ASAN_OPTIONS="detect_leaks=0", KESTRO_LOG="trace")


def run(program, *arguments):
    return subprocess.run([os.path.join(harness.BIN, program), SERIAL, *arguments], text=True, timeout=100,
                          stdin=subprocess.DEVNULL, capture_output=True, env=ENVIRONMENT)


class Fork(unittest.TestCase):
    def test_children_are_refused_and_end_and_the_parent_grabs_on(self):
        with harness.simulator("--serial", SERIAL, "--width", 64, "--height", 64, "--fps", 200, "--scenes", 2):
            done = run("kestro_fork_road")
        self.assertEqual(done.returncode, 0, done.stderr[-3000:])


if __name__ == "__main__":
    harness.main()
