# SPDX-License-Identifier: Apache-2.0
"""The packet size that a stream finds, over a network that takes less than the host's interface."""
import unittest

import harness
import network


SMALL = ("--width", 320, "--height", 240, "--scenes", 1)


class PacketSize(unittest.TestCase):
    def read(self, host, *options, **environment):
        """Reads frames; what the log says of the packet size, and the camera's register after it."""
        # What the camera had before must not matter.
        before = host.kestro("set", "FAR", "GevSCPSPacketSize=4000", **environment)
        self.assertEqual(before.returncode, 0, before.stderr)
        run = host.kestro("-vv", "read", "FAR", "-n", 5, *options, **environment)
        self.assertEqual(run.returncode, 0, run.stderr[-4000:])
        self.assertIn("frames lost 0", run.stderr)
        register = int(host.kestro("reg", "FAR", "0xd04", **environment).stdout.split()[-1], 0)
        said = [line.split(" have ")[1] for line in run.stderr.splitlines() if "The packets of the stream" in line]
        return said, register

    def check_found(self, size, host, **environment):
        said, register = self.read(host, **environment)
        self.assertEqual(said, [f"{size} bytes: the largest whose test packet arrived"])
        self.assertEqual(register, 0x40000000 + size)

    def test_is_what_the_narrowest_part_takes(self):
        for mtu, size in ((9000, 9000), (1500, 1500), (1400, 576)):
            with self.subTest(mtu=mtu), network.Network() as net:
                host, _, _ = net.camera(*SMALL, mtu=(9000, mtu))
                self.check_found(size, host)

    def test_is_what_a_router_between_passes_on(self):
        with network.Network() as net:
            host, router, there = net.host(), net.host(), net.host()
            net.cable((host, "192.0.2.1/24"), (router, "192.0.2.254/24"))
            net.cable((router, "198.51.100.254/24"), (there, "198.51.100.2/24"), mtu=(1500, 9000))
            host.route("default", "via", "192.0.2.254")
            there.route("default", "via", "198.51.100.254")
            router.forwards()
            there.camera("FAR", "198.51.100.2", *SMALL)
            self.assertEqual(host.kestro("list").stdout, "")
            self.check_found(1500, host, KESTRO_DISCOVERY_ADDRESSES="198.51.100.2")

    def test_is_what_the_reader_sets(self):
        with network.Network() as net:
            host, _, _ = net.camera(*SMALL)
            said, register = self.read(host, "--set", "GevSCPSPacketSize=1400")
        self.assertEqual(said, ["1400 bytes: as the application set it"])
        self.assertEqual(register, 0x40000000 + 1400)

    def test_may_lose_every_frame_when_it_is_set_wrong(self):
        with network.Network() as net:
            host, _, _ = net.camera(*SMALL, mtu=(9000, 1500))
            run = host.kestro("read", "FAR", "-n", 1, "--timeout", 1, "--set", "GevSCPSPacketSize=9000")
            self.assertEqual(run.returncode, 5, run.stderr)


if __name__ == "__main__":
    harness.need(*network.PROGRAMS)
    harness.main()
