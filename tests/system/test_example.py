# SPDX-License-Identifier: Apache-2.0
"""The program in the README is the one that is built, and prints what the README says."""
import os
import re
import subprocess
import unittest

import harness


class ReadmeExample(unittest.TestCase):
    def setUp(self):
        readme = harness.content(os.path.join(harness.SOURCE, "README.md"))
        self.code = re.search(r"```cpp\n(.*?)```", readme, re.S).group(1)
        self.output = re.search(r"```\n(frame 1.*?)```", readme, re.S).group(1)

    def test_is_the_program_that_is_built(self):
        self.assertEqual(self.code, harness.content(os.path.join(harness.SOURCE, "examples/first_frames.cpp")))
        self.assertLessEqual(len(self.code.splitlines()), 25)

    def test_prints_what_the_readme_shows(self):
        with harness.simulator("--seed", 7):
            run = subprocess.run([os.path.join(harness.BIN, "example_first_frames")], capture_output=True,
                                 text=True, timeout=30)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(run.stdout, self.output)


if __name__ == "__main__":
    harness.main()
