# SPDX-License-Identifier: Apache-2.0
"""The packet size that a stream finds, over a network that takes less than the host's interface."""
import contextlib
import subprocess
import unittest

import harness
from harness import KESTRO, kestro, wait_until

NETWORK = "192.0.2"  # for documentation: nobody has it
CAMERA, HOST = NETWORK + ".2", NETWORK + ".1"


def ip(*words, namespace=None):
    inside = ["nsenter", "--net", "--target", str(namespace)] if namespace else []
    subprocess.run([*inside, "ip", *words], check=True)


@contextlib.contextmanager
def far_camera(mtu):
    """A simulated camera in another network namespace, behind a cable whose far end has this MTU."""
    with contextlib.ExitStack() as stack:
        holder = stack.enter_context(harness.Program("unshare", "--net", "sh", "-c", "echo here; exec sleep 600"))
        wait_until(holder.stdout, what="a second namespace")
        there = holder.process.pid
        ip("link", "add", "near", "mtu", "9000", "type", "veth", "peer", "name", "far", "netns", str(there))
        stack.callback(ip, "link", "del", "near")
        ip("addr", "add", HOST + "/24", "broadcast", "+", "dev", "near")
        ip("link", "set", "near", "up")
        ip("addr", "add", CAMERA + "/24", "broadcast", "+", "dev", "far", namespace=there)
        ip("link", "set", "far", "mtu", str(mtu), "up", namespace=there)
        sim = stack.enter_context(harness.Program(
            "nsenter", "--net", "--target", str(there), KESTRO, "sim", "--address", CAMERA, "--serial", "FAR"))
        wait_until(lambda: " ready\n" in sim.stdout() or sim.process.poll() is not None, what="the simulator")
        yield


class PacketSize(unittest.TestCase):
    def read(self, *options):
        """Reads frames; what the log says of the packet size, and the camera's register after it."""
        # What the camera had before must not matter.
        self.assertEqual(kestro("set", "FAR", "GevSCPSPacketSize=4000", **self.near).returncode, 0)
        run = kestro("-vv", "read", "FAR", "-n", 5, *options, **self.near)
        self.assertEqual(run.returncode, 0, run.stderr[-4000:])
        self.assertIn("frames lost 0", run.stderr)
        register = int(kestro("reg", "FAR", "0xd04", **self.near).stdout.split()[-1], 0)
        said = [line.split(" have ")[1] for line in run.stderr.splitlines() if "The packets of the stream" in line]
        return said, register

    def setUp(self):
        self.near = {"env": dict(harness.os.environ, KESTRO_INTERFACES="near")}

    def test_is_what_the_narrowest_part_takes(self):
        for mtu, size in ((9000, 9000), (1500, 1500), (1400, 576)):
            with self.subTest(mtu=mtu), far_camera(mtu):
                said, register = self.read()
                self.assertEqual(said, [f"{size} bytes: the largest whose test packet arrived"])
                self.assertEqual(register, 0x40000000 + size)

    def test_is_what_the_reader_sets(self):
        with far_camera(9000):
            said, register = self.read("--set", "GevSCPSPacketSize=1400")
        self.assertEqual(said, ["1400 bytes: as the application set it"])
        self.assertEqual(register, 0x40000000 + 1400)

    def test_may_lose_every_frame_when_it_is_set_wrong(self):
        with far_camera(1500):
            run = kestro("read", "FAR", "-n", 1, "--timeout", 1, "--set", "GevSCPSPacketSize=9000", **self.near)
            self.assertEqual(run.returncode, 5, run.stderr)


if __name__ == "__main__":
    harness.need("unshare", "nsenter", "ip")
    harness.main()
