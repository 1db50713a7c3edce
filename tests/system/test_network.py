# SPDX-License-Identifier: Apache-2.0
"""What a host's network does to a camera: subnets, cards, other hosts, lost packets, firewalls."""
import concurrent.futures
import hashlib
import os
import signal
import tempfile
import unittest

import harness
import network
from harness import json_lines, wait_until

OK, FAILED, IN_USE, TIMED_OUT = 0, 1, 4, 5
HOST, CAMERA = "192.0.2.1/24", "192.0.2.2"


def frames_of(reader):
    return json_lines(reader.stdout().rpartition("\n")[0])


def missed(reader):
    """How many frames are missing between those that came."""
    blocks = [frame["block_id"] for frame in frames_of(reader)]
    return blocks[-1] - blocks[0] + 1 - len(blocks)


def wait_for_frames(reader, number):
    """Under a sanitizer, on a busy machine, simulated cameras draw a frame or two a second."""
    wait_until(lambda: len(frames_of(reader)) >= number or reader.process.poll() is not None, seconds=60, what="frames")


class Subnets(unittest.TestCase):
    def test_camera_in_a_wrong_subnet_is_given_an_address(self):
        with network.Network() as net:
            host, there = net.host(), net.host()
            cable = net.cable((host, HOST), (there, "198.51.100.7/24"))
            there.add_address(cable.far, CAMERA + "/24")  # what it will be given
            there.camera("STRAY", "198.51.100.7")
            listed = json_lines(host.kestro("list", "--json").stdout)
            self.assertEqual([(each["ip"], each["ip_valid"]) for each in listed], [("198.51.100.7", False)])
            self.assertIn("198.51.100.7 (wrong subnet)", host.kestro("list").stdout)
            refused = host.kestro("read", "STRAY", "-n", 1)
            self.assertEqual(refused.returncode, FAILED)
            for word in ("198.51.100.7", "another subnet", "eth0 192.0.2.1/24", "force-ip"):
                self.assertIn(word, refused.stderr)
            forced = host.kestro("force-ip", "STRAY", CAMERA + "/24")
            self.assertEqual(forced.returncode, OK, forced.stderr)
            run = host.kestro("read", CAMERA, "-n", 3)
            self.assertEqual(run.returncode, OK, run.stderr)

    def test_two_cards_have_a_camera_each(self):
        with network.Network() as net:
            host, left, right = net.host(), net.host(), net.host()
            net.cable((host, HOST), (left, "192.0.2.2/24"))
            net.cable((host, "198.51.100.1/24"), (right, "198.51.100.2/24"))
            left.camera("LEFT", "192.0.2.2", "--fps", 20)
            right.camera("RIGHT", "198.51.100.2", "--fps", 20)
            listed = json_lines(host.kestro("list", "--json").stdout)
            self.assertEqual({each["serial_number"]: each["interface"] for each in listed},
                             {"LEFT": "eth0", "RIGHT": "eth1"})
            readers = [host.spawn(harness.KESTRO, "read", serial, "--json") for serial in ("LEFT", "RIGHT")]
            for reader in readers:
                wait_for_frames(reader, 1)
            before = [host.received_bytes(card) for card in ("eth0", "eth1")]
            seen = [len(frames_of(reader)) for reader in readers]
            for reader, number in zip(readers, seen):
                wait_for_frames(reader, number + 20)
            for card, bytes_before in zip(("eth0", "eth1"), before):
                self.assertGreater(host.received_bytes(card) - bytes_before, 18 * 1280 * 1024)
            for reader in readers:
                self.assertEqual(reader.end(), OK, reader.stderr())
                self.assertEqual(missed(reader), 0)


class OtherHosts(unittest.TestCase):
    def test_second_host_waits_for_the_first(self):
        with network.Network() as net:
            switch, first, second, there = (net.host() for _ in range(4))
            switch.switches()
            for host, address in ((first, HOST), (second, "192.0.2.99/24"), (there, CAMERA + "/24")):
                net.cable((switch, None), (host, address))
            there.camera("ONE", CAMERA)
            reader = first.spawn(harness.KESTRO, "read", "ONE", "--json")
            wait_for_frames(reader, 1)
            refused = second.kestro("read", "ONE", "-n", 1)
            self.assertEqual(refused.returncode, IN_USE, refused.stderr)
            self.assertIn("another program (access: control)", refused.stderr)
            for command in (("list", "--json"), ("info", "ONE", "--json")):
                self.assertEqual(json_lines(second.kestro(*command).stdout)[0]["access"], "control")
            self.assertEqual(second.kestro("force-ip", "ONE", "192.0.2.3/24").returncode, IN_USE)
            wait_for_frames(reader, len(frames_of(reader)) + 3)
            self.assertEqual(reader.end(), OK, reader.stderr())
            self.assertEqual(missed(reader), 0)
            run = second.kestro("read", "ONE", "-n", 3)
            self.assertEqual(run.returncode, OK, run.stderr)


class Losses(unittest.TestCase):
    FRAMES, SCENES = 100, 3

    def read(self, percent):
        """Reads with a share of the packets lost: digests of the pictures, what the reader says, what was sent."""
        with tempfile.TemporaryDirectory() as folder, network.Network() as net:
            stats = os.path.join(folder, "stats.json")
            host, _, sim = net.camera("--width", 320, "--height", 240, "--fps", 50, "--scenes", self.SCENES,
                                      "--stats", stats, mtu=(1500, 1500))
            if percent:
                host.lose(percent)
            # The camera ends by itself, so that no frame is cut off by the end of the reader.
            run = host.kestro("read", "FAR", "--json", "-d", 6, "--save", folder, "--set", "AcquisitionMode=MultiFrame",
                              "--set", f"AcquisitionFrameCount={self.FRAMES}")
            self.assertEqual(run.returncode, OK, run.stderr)
            sim.end(signal.SIGINT)
            pictures = {}
            for frame in json_lines(run.stdout):
                with open(os.path.join(folder, frame["image"]), "rb") as file:
                    pictures[frame["block_id"]] = hashlib.sha256(file.read()).hexdigest()
            return pictures, run.stderr, json_lines(harness.content(stats))[0]

    def test_frames_come_whole_or_are_counted(self):
        shares = (0, 1, 5, 40)
        with concurrent.futures.ThreadPoolExecutor(len(shares)) as pool:
            runs = list(pool.map(self.read, shares))
        whole = runs[0][0]
        self.assertEqual(list(whole), list(range(1, self.FRAMES + 1)))
        for share, (pictures, said, sent) in zip(shares, runs):
            with self.subTest(share=share):
                delivered, lost = network.counted(said, "frames delivered"), network.counted(said, "frames lost")
                self.assertEqual((sent["frames_sent"], delivered + lost), (self.FRAMES, self.FRAMES), said)
                self.assertEqual(pictures, {block: whole[block] for block in pictures})
                self.assertEqual(len(pictures), delivered)
                self.assertEqual(sent["packets_resent"] > 0, share > 0)


class Firewall(unittest.TestCase):
    def test_that_drops_the_stream_is_named_as_a_cause(self):
        with network.Network() as net:
            host, _, _ = net.camera()
            host.drop(network.STREAM)
            run = host.kestro("read", "FAR", "-n", 1, "--timeout", 1)
            self.assertEqual(run.returncode, TIMED_OUT, run.stderr)
            self.assertIn("a firewall on this host drops the camera's UDP packets", run.stderr)

    def test_that_lets_answers_in_lets_the_stream_in(self):
        with network.Network() as net:
            host, _, _ = net.camera()
            # Answers to a broadcast come from elsewhere than was asked.
            host.drop(f"ct state new udp sport != {network.GVCP_PORT}")
            run = host.kestro("read", "FAR", "-n", 3)
            self.assertEqual(run.returncode, OK, run.stderr)


if __name__ == "__main__":
    harness.need(*network.PROGRAMS)
    harness.main()
