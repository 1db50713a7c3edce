# SPDX-License-Identifier: Apache-2.0
"""Bad input and bad days: each ends in a clear error, and nothing is lost on the way."""
import contextlib
import os
import signal
import socket
import struct
import subprocess
import tempfile
import threading
import time
import unittest

import harness
from harness import kestro, simulator, wait_until

OK, FAILED, USAGE, NOT_FOUND, IN_USE, TIMED_OUT, LOST = range(7)


class Reader(harness.Program):
    """`kestro read --json` beside the test."""

    def __init__(self, camera, *arguments):
        super().__init__(harness.KESTRO, "read", camera, "--json", *map(str, arguments))

    @classmethod
    @contextlib.contextmanager
    def of_a_camera_that_is_gone(cls, *arguments):
        """Has read some frames of GONE, and knows that it is away."""
        with simulator("--serial", "GONE") as sim, cls("GONE", *arguments) as reader:
            reader.wait_for_frames(3)
            sim.process.kill()
            sim.process.wait()
            wait_until(lambda: "waiting for it" in reader.stderr(), what="the loss")
            yield reader

    def frames(self):
        return harness.json_lines(self.stdout().rpartition("\n")[0])

    def wait_for_frames(self, number):
        wait_until(lambda: len(self.frames()) >= number or self.process.poll() is not None, what="frames")


class ScriptedCamera:
    """Answers GVCP commands on 127.0.0.9 until told to fall silent after a number of them."""

    def __init__(self, answers):
        self.answers = answers
        self.commands = 0
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.9", 3956))
        self.broadcast = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.broadcast.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.broadcast.bind(("127.255.255.255", 3956))
        self.gone = threading.Event()
        self.threads = [threading.Thread(target=self.serve, args=(one,)) for one in (self.socket, self.broadcast)]
        for thread in self.threads:
            thread.start()

    def serve(self, one):
        one.settimeout(0.1)
        while not self.gone.is_set():
            try:
                packet, sender = one.recvfrom(600)
                self.answer(packet, sender)
            except TimeoutError:
                continue

    def answer(self, packet, sender):
        key, _, command, length, request = struct.unpack(">BBHHH", packet[:8])
        if command == 0x0002:
            data = bytearray(248)
            struct.pack_into(">I4xH4sI", data, 0, 0x00020000, 0x0200, b"\0\0\0\x09", 0)
            data[0x0a:0x10] = b"\x02\x00\x00\x00\x00\x09"
            data[0x24:0x28] = bytes([127, 0, 0, 9])
            data[0x34:0x38] = bytes([255, 0, 0, 0])
            data[0x48:0x4f] = b"Nowhere"
            data[0xd8:0xdd] = b"GONE1"
            self.reply(0x0003, request, bytes(data), sender)
            return
        self.commands += 1
        if self.commands > self.answers:
            return
        if command == 0x0080:
            self.reply(0x0081, request, bytes(length), sender)
        elif command == 0x0082:
            self.reply(0x0083, request, struct.pack(">HH", 0, length // 8), sender)
        elif command == 0x0084:
            address, size = struct.unpack(">IxxH", packet[8:16])
            self.reply(0x0085, request, struct.pack(">I", address) + bytes(size), sender)

    def reply(self, command, request, payload, sender):
        self.socket.sendto(struct.pack(">HHHH", 0, command, len(payload), request) + payload, sender)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.gone.set()
        for thread in self.threads:
            thread.join()
        self.socket.close()
        self.broadcast.close()


def consecutive(frames):
    blocks = [frame["block_id"] for frame in frames]
    return blocks == list(range(blocks[0], blocks[0] + len(blocks)))


class Faults(unittest.TestCase):
    def check(self, run, code, *words):
        self.assertEqual(run.returncode, code, run.stdout + run.stderr)
        for word in words:
            self.assertIn(word.lower(), run.stderr.lower())

    def test_no_camera(self):
        self.check(kestro("read", "NOSUCH"), NOT_FOUND, "NOSUCH")
        with simulator("--serial", "HERE"):
            self.check(kestro("read", "NOSUCH"), NOT_FOUND, "NOSUCH", "HERE")
            self.check(kestro("read", "HER"), NOT_FOUND)

    def test_wrong_arguments(self):
        for arguments in ((), ("read",), ("read", "X", "-n", "-1"), ("read", "X", "-n", "two"), ("nonsense",),
                          ("sim", "--format", "gif"), ("sim", "--count", "0")):
            with self.subTest(arguments=arguments):
                self.assertEqual(kestro(*arguments).returncode, USAGE)

    def test_camera_held_by_another_program(self):
        with simulator("--serial", "HELD"), Reader("HELD", "-n", 30) as first:
            first.wait_for_frames(3)
            self.check(kestro("read", "HELD", "-n", 1), IN_USE, "another program")
            self.assertEqual(first.wait(), OK)
            self.assertTrue(consecutive(first.frames()))

    def test_nothing_is_sent_to_a_camera_in_a_wrong_subnet(self):
        subprocess.run("ip link add stray type veth peer name far && ip link set far up && ip addr add 192.0.2.1/24 dev stray && "
                       "ip link set stray up && ip route add default dev stray", shell=True, check=True)
        self.addCleanup(subprocess.run, ["ip", "link", "del", "stray"], check=True)
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "stray.pcap")
            os.chmod(folder, 0o777)
            with harness.capture(path, "-F", "pcap", interface="stray"):
                with simulator("--serial", "FAR", "--claim", "198.51.100.5/24"):
                    listed = harness.json_lines(kestro("list", "--json").stdout)
                    run = kestro("read", "FAR", "-n", 1)
                with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as mark:
                    mark.sendto(b"mark", ("198.51.100.77", 9))
            # Nobody answers for these addresses, so that an attempt to send shows as a question for one.
            asked = subprocess.run(["tshark", "-r", path, "-Y", "arp || ip.dst==198.51.100.0/24", "-T", "fields",
                                    "-e", "arp.dst.proto_ipv4", "-e", "ip.dst"], check=True,
                                   capture_output=True, text=True).stdout
        self.assertEqual((listed[0]["ip"], listed[0]["ip_valid"], listed[0]["access"]),
                         ("198.51.100.5", False, "unknown"))
        self.check(run, FAILED, "subnet", "198.51.100")
        self.assertEqual(set(asked.split()), {"198.51.100.77"})

    def test_of_two_ways_to_a_camera_the_one_in_its_subnet_counts(self):
        subprocess.run(["ip", "addr", "add", "192.0.2.1/24", "dev", "lo"], check=True)
        self.addCleanup(subprocess.run, ["ip", "addr", "del", "192.0.2.1/24", "dev", "lo"], check=True)
        with simulator("--serial", "NEAR", "--address", "192.0.2.5"):
            listed = harness.json_lines(kestro("list", "--json").stdout)
            self.assertEqual([(each["ip"], each["ip_valid"]) for each in listed], [("192.0.2.5", True)])
            self.check(kestro("read", "NEAR", "-n", 1), OK)

    def test_description_that_cannot_be_used(self):
        good = self.description()
        bad = {"cut": good[:len(good) // 2], "no XML": b"this is no description" * 40, "empty": b"",
               "another root": b"<?xml version='1.0'?><html></html>"}
        for name, content in bad.items():
            with self.subTest(name), tempfile.NamedTemporaryFile() as file:
                file.write(content)
                file.flush()
                with simulator("--serial", "ODD", "--description", file.name):
                    self.check(kestro("read", "ODD", "-n", 1), FAILED, "description")
                    access = harness.json_lines(kestro("info", "ODD", "--json").stdout)[0]["access"]
                    self.assertEqual(access, "open")

    def description(self):
        with simulator():
            return subprocess.run(["arv-tool-0.8", "-a", "127.0.0.2", "genicam"], check=True, timeout=30,
                                  capture_output=True).stdout

    def test_camera_gone_while_connecting(self):
        for answers in (0, 1, 3, 6):
            with self.subTest(answers=answers), ScriptedCamera(answers):
                started = time.monotonic()
                run = kestro("read", "GONE1", "-n", 1)
                self.check(run, FAILED, "kestro:")
                self.assertLess(time.monotonic() - started, 10, "it hung")

    def test_camera_gone_while_reading(self):
        with simulator("--serial", "GONE") as sim, Reader("GONE", "--no-reconnect") as reader:
            reader.wait_for_frames(3)
            sim.process.kill()
            self.assertEqual(reader.wait(10), LOST)
            self.assertIn("lost", reader.stderr())
            self.assertTrue(consecutive(reader.frames()))

    def test_reading_goes_on_when_the_camera_is_back(self):
        with Reader.of_a_camera_that_is_gone("--set", "ExposureTime=2345") as reader:
            before = len(reader.frames())
            with simulator("--serial", "GONE"):
                reader.wait_for_frames(before + 3)
                wait_until(lambda: "is back after" in reader.stderr(), what="the news")
                self.assertEqual(reader.end(), OK, reader.stderr())
                self.assertTrue(consecutive(reader.frames()[before:]))
                self.assertRegex(reader.stderr(), " 0 missed, 1 reconnect\n")
                self.assertEqual(kestro("get", "GONE", "ExposureTime").stdout, "2345\n")

    def test_reading_ends_while_the_camera_is_away(self):
        with Reader.of_a_camera_that_is_gone() as reader:
            self.assertEqual(reader.end(), OK, reader.stderr())
            self.assertRegex(reader.stderr(), "[0-9] frames, .* 0 missed\n")

    def test_events_go_on_when_the_camera_is_back(self):
        def states():
            events = harness.json_lines(watcher.stdout().rpartition("\n")[0])
            return [event["state"] for event in events if event["event"] == "connection"]
        with contextlib.ExitStack() as stack:
            with simulator("--serial", "GONE"):
                watcher = stack.enter_context(harness.Program(harness.KESTRO, "events", "GONE", "--json"))
                wait_until(lambda: "watching" in watcher.stderr(), what="the watcher")
            wait_until(lambda: states() == ["offline"], what="the loss")
            with simulator("--serial", "GONE"):
                wait_until(lambda: states() == ["offline", "online"], what="the return")
                self.assertEqual(watcher.end(), OK, watcher.stderr())

    def test_packets_from_a_stranger_change_nothing(self):
        with simulator("--serial", "CALM", "--fps", 20), Reader("CALM", "-n", 60) as reader:
            reader.wait_for_frames(2)
            ports = self.ports_of(reader.process.pid)
            self.assertTrue(ports)
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as stranger:
                stranger.bind(("127.0.0.66", 0))
                while reader.process.poll() is None:
                    for port in ports:
                        for packet in (b"", b"x", os.urandom(8), os.urandom(1400),
                                       struct.pack(">HHI", 0, 5, 0x03000001) + bytes(1000),
                                       struct.pack(">HHI", 0, 5, 0x02ffffff), bytes(60000)):
                            stranger.sendto(packet, ("127.0.0.1", port))
                    time.sleep(0.002)
            self.assertEqual(reader.wait(), OK)
            frames = reader.frames()
            self.assertEqual(len(frames), 60)
            self.assertTrue(consecutive(frames))
            self.assertEqual({frame["status"] for frame in frames}, {"Complete"})

    def ports_of(self, pid):
        lines = subprocess.run(["ss", "-Huanp"], capture_output=True, text=True).stdout.splitlines()
        return [int(line.split()[3].rpartition(":")[2]) for line in lines if f"pid={pid}," in line]

    def test_folder_that_cannot_be_written(self):
        with simulator("--serial", "SAVE"), tempfile.NamedTemporaryFile() as file:
            for folder in ("/proc/nowhere", file.name, os.path.join(file.name, "below")):
                with self.subTest(folder=folder):
                    run = kestro("read", "SAVE", "-n", 1, "--save", folder)
                    self.check(run, FAILED, folder)
                    self.assertEqual(run.stdout, "")

    def test_stdout_that_goes_away(self):
        with simulator("--serial", "PIPE"):
            command = f"{harness.KESTRO} read PIPE -n 30 --json"
            head = subprocess.run(["bash", "-c", f"{command} | head -n 1; exit ${{PIPESTATUS[0]}}"], text=True,
                                  capture_output=True, timeout=30)
            self.assertEqual((head.returncode, len(head.stdout.splitlines())), (OK, 1), head.stderr)
            for target in (">&-", ">/dev/full"):
                with self.subTest(target=target):
                    run = subprocess.run(["bash", "-c", f"{command} {target}"], text=True, capture_output=True,
                                         timeout=30)
                    self.check(run, FAILED, "kestro:")

    def test_ends_by_signal_with_the_summary(self):
        for how in (signal.SIGINT, signal.SIGTERM):
            with simulator("--serial", "STOP"), Reader("STOP") as reader:
                reader.wait_for_frames(2)
                self.assertEqual(reader.end(how), OK)
                self.assertIn("frames", reader.stderr())

    def test_port_of_a_camera_that_is_taken(self):
        with simulator("--serial", "ONE"):
            run = kestro("sim", "--serial", "TWO", seconds=10)
            self.check(run, FAILED, "127.0.0.2")


if __name__ == "__main__":
    harness.need("tshark", "arv-tool-0.8", "ss", "bash")
    harness.main()
