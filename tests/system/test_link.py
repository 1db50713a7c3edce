# SPDX-License-Identifier: Apache-2.0
"""A link that fails and comes back while frames come."""
import time
import unittest

import harness
import network
from harness import json_lines, wait_until


class Link(unittest.TestCase):
    def test_outage_of_a_moment_costs_frames_only(self):
        with network.Network() as net:
            host, cable, sim = net.camera("--width", 320, "--height", 240, "--fps", 50, "--scenes", 1)
            reader = host.spawn(harness.KESTRO, "read", "FAR", "--json")

            def blocks():
                return [frame["block_id"] for frame in json_lines(reader.stdout().rpartition("\n")[0])]
            wait_until(lambda: len(blocks()) > 5, what="frames")
            cable.pull()
            time.sleep(0.2)  # less than it takes to notice
            cable.put_back()
            seen = len(blocks())
            wait_until(lambda: len(blocks()) > seen + 20, what="frames after it")
            self.assertEqual(reader.end(), 0, reader.stderr())
            taken, said = blocks(), reader.stderr()
        missing = taken[-1] - len(taken)
        self.assertGreater(missing, 0)
        self.assertIn(f"{missing} missed", said)
        self.assertNotIn("connection", said)
        # The reader's end may cut one more off.
        self.assertIn(network.counted(said, "frames lost"), (missing, missing + 1))
        self.assertEqual(network.counted(said, "frames delivered"), len(taken))


if __name__ == "__main__":
    harness.need(*network.PROGRAMS)
    harness.main()
