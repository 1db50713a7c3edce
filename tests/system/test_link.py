# SPDX-License-Identifier: Apache-2.0
"""A link that fails and comes back while frames come.

What is lost is told within a second and a half, what is back within a second (scripts/link-times measures both).
Here it is enough that it happens at all: a machine that is busy with other tests is slow.
"""
import concurrent.futures
import time
import unittest

import harness
import network
import outages
from harness import json_lines, wait_until

SOON = 5.0


class Link(unittest.TestCase):
    def test_comes_back_after_every_outage(self):
        # The camera gives the control up after 3 s without a sign of life.
        kinds = {
            "pulled, control kept": lambda: outages.pull(1.5),
            "pulled, control gone": lambda: outages.pull(4.5),
            "pulled, address gone": lambda: outages.pull(1.5, host_keeps_address=False),
            "pulled behind a switch": lambda: outages.pull_behind_switch(1.5),
            "camera restarted": lambda: outages.restart(1),
            "camera restarted elsewhere": lambda: outages.move(1),
            "camera restarted in a wrong subnet": lambda: outages.stray(1),
            "camera taken by another": lambda: outages.taken(2),
        }
        with concurrent.futures.ThreadPoolExecutor(len(kinds)) as pool:
            started = {name: pool.submit(outage) for name, outage in kinds.items()}
        for name, future in started.items():
            with self.subTest(name):
                outage = future.result()
                self.assertEqual([word for _, word in outage.events], ["offline", "online"])
                self.assertTrue(0 < outage.offline < SOON, outage)
                self.assertTrue(0 < outage.online < SOON, outage)
                self.assertLess(outage.frame, SOON, outage)
                self.assertEqual(outage.features, outages.SETTINGS)

    def read_through(self, seconds, news=""):
        """What `kestro read` takes and says when its camera's cable is out for some time, and `news` is awaited."""
        with network.Network() as net:
            host, cable, _ = net.camera("--width", 320, "--height", 240, "--fps", 50, "--scenes", 1)
            reader = host.spawn(harness.KESTRO, "read", "FAR", "--json", "--set", "Width=160")

            def frames():
                return json_lines(reader.stdout().rpartition("\n")[0])
            wait_until(lambda: len(frames()) > 5, what="frames")
            cable.pull()
            outages.stay_away(seconds)
            cable.put_back()
            # A camera that noticed nothing still sends what it did before; only then it is started anew.
            wait_until(lambda: news in reader.stderr(), what=news)
            seen = len(frames())
            wait_until(lambda: len(frames()) > seen + 20, what="frames after it")
            self.assertEqual(reader.end(), 0, reader.stderr())
            self.assertEqual({frame["width"] for frame in frames()}, {160})
            return frames(), reader.stderr()

    def test_reading_goes_on_after_an_outage(self):
        frames, said = self.read_through(2, "is back after")
        self.assertIn("waiting for it", said)
        self.assertRegex(said, r"camera FAR is back after \d+\.\d s")
        self.assertIn(", 1 reconnect\n", said)
        # Block ids begin anew, once.
        blocks = [frame["block_id"] for frame in frames]
        self.assertEqual([after for before, after in zip(blocks, blocks[1:]) if after <= before], [1])
        self.assertGreaterEqual(network.counted(said, "frames delivered"), len(frames))

    def test_outage_of_a_moment_costs_frames_only(self):
        frames, said = self.read_through(0.2)
        missing = frames[-1]["block_id"] - len(frames)
        self.assertGreater(missing, 0)
        self.assertIn(f"{missing} missed\n", said)
        self.assertNotIn("lost at", said)
        # The reader's end may cut one more off.
        self.assertIn(network.counted(said, "frames lost"), (missing, missing + 1))
        self.assertGreaterEqual(network.counted(said, "frames delivered"), len(frames))


if __name__ == "__main__":
    harness.need(*network.PROGRAMS)
    harness.main()
