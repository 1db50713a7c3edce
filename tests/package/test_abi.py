# SPDX-License-Identifier: Apache-2.0
"""Programs that were compiled before still run: records, classes and virtual tables are as recorded.

Another compiler describes the same library in another way, and so do sanitizers: only what GCC 12
makes on x86-64 can be compared.
"""
import os
import subprocess
import sys
import tempfile
import unittest

import harness

RECORDED_WITH = ("GNU", "12", "x86_64")


def compiler():
    name, version, processor = os.environ["KESTRO_COMPILER"].split()
    return name, version.split(".")[0], processor


def has_debug_information():
    sections = subprocess.run(["readelf", "--sections", "--wide", os.environ["KESTRO_LIBRARY"]], check=True,
                              capture_output=True, text=True).stdout
    return ".debug_info" in sections


class Abi(unittest.TestCase):
    def test_is_as_recorded(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([os.path.join(harness.SOURCE, "scripts/abi-dump"), "--library",
                            os.environ["KESTRO_LIBRARY"], "--into", folder, "types"], check=True)
            run = subprocess.run(["abidiff", "--harmless", os.path.join(harness.SOURCE, "abi/libkestro.abi"),
                                  os.path.join(folder, "libkestro.abi")], capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, f"\n{run.stdout}{run.stderr}"
                         "CONTRIBUTING.md says what to do about a change of the interface")


if __name__ == "__main__":
    if os.environ["KESTRO_SANITIZE"] or compiler() != RECORDED_WITH:
        print(f"skipped: recorded with {' '.join(RECORDED_WITH)} without sanitizers, this is",
              os.environ["KESTRO_COMPILER"], os.environ["KESTRO_SANITIZE"])
        sys.exit(harness.SKIPPED)
    harness.need("abidw", "abidiff", "readelf")
    if not has_debug_information():
        harness.give_up("the library has no debug information, build it with -g")
    unittest.main(verbosity=2)
