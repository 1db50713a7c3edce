# SPDX-License-Identifier: Apache-2.0
"""The C program and its C++ twin, each on a simulator of the same seed: the same lines."""
import os
import re
import subprocess
import unittest

import harness

WIDTH, HEIGHT = 640, 480
FRAMES = 200  # by each way
LEAST_CODES = 800


def run_road(program, result_format, *wrapper):
    """The program on a fresh simulator: lines on stdout, and stderr."""
    with harness.simulator("--seed", 12, "--width", WIDTH + 8, "--height", HEIGHT):
        run = subprocess.run([*wrapper, os.path.join(harness.BIN, program), "SIM001", result_format,
                              str(WIDTH), str(HEIGHT)],
                             stdin=subprocess.DEVNULL, capture_output=True, timeout=140)
    lines, log = run.stdout.decode().splitlines(), run.stderr.decode()
    if run.returncode != 0:
        raise AssertionError(f"{program} ended with {run.returncode}: {log}")
    return lines, log


def check_whole(test, lines):
    """Every frame came, and enough was read in them."""
    for way in ("callback", "polled"):
        blocks = [re.match(way + r" frame block=(\d+) ", line) for line in lines]
        test.assertEqual([int(block.group(1)) for block in blocks if block], list(range(1, FRAMES + 1)), way)
    test.assertGreater(sum(line.startswith("  code ") for line in lines), LEAST_CODES)
    test.assertTrue(any("  code " in line and not line.isascii() for line in lines))


def errors_in(log):
    return re.findall(r" ERROR \[\S+ (.*)", log)


class Road(unittest.TestCase):
    def test_gives_c_programs_what_the_classes_give(self):
        for result_format in ("Container", "Chunk"):
            with self.subTest(format=result_format):
                from_c, c_log = run_road("kestro_c_road", result_format)
                from_classes, log = run_road("kestro_cpp_road", result_format)
                # In the end the C program uses a released handle.
                self.assertEqual(errors_in(c_log), ["kstOpenDevice] The camera is NULL!"])
                self.assertEqual(errors_in(log), [])
                check_whole(self, from_classes)
                for number, (one, other) in enumerate(zip(from_c, from_classes), 1):
                    self.assertEqual(one, other, f"line {number}")
                self.assertEqual(len(from_c), len(from_classes))


if __name__ == "__main__":
    harness.main()
