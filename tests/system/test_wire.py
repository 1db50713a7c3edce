# SPDX-License-Identifier: Apache-2.0
"""Wireshark's dissectors judge what goes over the wire, in sessions of ours and of Aravis' client."""
import contextlib
import json
import os
import socket
import struct
import subprocess
import tempfile
import unittest

import harness

MONO8 = 0x01080001
IMAGE, IMAGE_AND_CHUNKS = 1, 0x4001


def dissect(path, ports):
    """One dict of the fields asked for, for each packet that tshark takes for GVSP."""
    fields = ["gvsp.format", "gvsp.blockid16", "gvsp.blockid64", "gvsp.pixel", "udp.length",
              "gvsp.payloadtype", "gvsp.payloaddatasize", "gvsp.payloadlength",
              "gvsp.chunkdatapayloadlengthhex", "gvsp.timestamptickfrequency"]
    command = ["tshark", "-r", path, "-T", "json", "-Y", "gvsp"]
    for port in ports:
        command += ["-d", f"udp.port=={port},gvsp"]
    for field in fields:
        command += ["-e", field]
    out = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    return [{name: values[0] for name, values in packet["_source"]["layers"].items()}
            for packet in json.loads(out)]


def count(path, display_filter):
    out = subprocess.run(["tshark", "-r", path, "-Y", display_filter], check=True, capture_output=True,
                         text=True).stdout
    return len(out.splitlines())



class EventClient:
    """Starts the acquisition with all events on, and acknowledges the events."""
    CAMERA = ("127.0.0.2", 3956)

    def __init__(self):
        self.control, self.stream, self.messages = (self.socket() for _ in range(3))
        self.request = 0
        here = int.from_bytes(socket.inet_aton("127.0.0.1"), "big")
        for address, value in [(0x0a00, 2), (0x0d18, here), (0x0d00, self.stream.getsockname()[1]),
                               (0x0b10, here), (0x0b00, self.messages.getsockname()[1]),
                               *((0x10250 + 4 * i, 1) for i in range(4)), (0x10028, 1)]:
            self.ask(0x82, address, value)
        self.camera_port = struct.unpack(">I", self.ask(0x80, 0x0b1c)[8:])[0]

    @staticmethod
    def socket():
        made = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        made.bind(("127.0.0.1", 0))
        made.settimeout(10)
        return made

    def ask(self, command, *words):
        self.request += 1
        payload = struct.pack(f">{len(words)}I", *words)
        head = struct.pack(">BBHHH", 0x42, 1, command, len(payload), self.request)
        self.control.sendto(head + payload, self.CAMERA)
        return self.control.recv(1024)

    def take(self, count):
        for _ in range(count):
            message, sender = self.messages.recvfrom(1024)
            command, request = struct.unpack_from(">2xHxxH", message)
            self.messages.sendto(struct.pack(">HHHH", 0, command + 1, 0, request), sender)

    def close(self):
        for each in self.control, self.stream, self.messages:
            each.close()


class Wire(unittest.TestCase):
    def session(self, client, *options):
        """Captures a client's session with a simulator; returns the capture and the sender's counts."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        path = os.path.join(folder.name, "session.pcap")
        stats = os.path.join(folder.name, "stats.json")
        os.chmod(folder.name, 0o777)
        with harness.capture(path, "-F", "pcap"):
            with harness.simulator("--width", 320, "--height", 240, "--stats", stats, *options) as sim:
                client()
                sim.end()
        return path, harness.json_lines(harness.content(stats))[0]

    def judge(self, path, sent, payload_type=None):
        packets = dissect(path, self.receiving_ports(path))
        self.assertEqual(len(packets), sent["packets_sent"])
        self.assertEqual(count(path, "_ws.malformed"), 0)
        leaders = [packet for packet in packets if int(packet["gvsp.format"], 0) == 1]
        self.assertEqual(len(leaders), sent["frames_sent"])
        self.assertEqual({int(leader["udp.length"]) - 8 for leader in leaders}, {sent["leader_bytes"]})
        types = {int(packet["gvsp.payloadtype"], 0) for packet in packets if "gvsp.payloadtype" in packet}
        self.assertEqual(types, {payload_type or IMAGE})
        pixel_format = MONO8 if types <= {IMAGE, IMAGE_AND_CHUNKS} else 0
        self.assertEqual({int(leader.get("gvsp.pixel", "0"), 0) for leader in leaders}, {pixel_format})
        self.assertEqual(sent["pixel_format"], pixel_format)
        blocks = [int(leader["gvsp.blockid16"], 0) for leader in leaders]
        self.assertEqual(blocks[-1], sent["block_id"])
        self.assertEqual(blocks, list(range(1, len(blocks) + 1)))
        # Those of block 0 are test packets.
        return [packet for packet in packets if int(packet["gvsp.blockid16"], 0) != 0]

    def test_events(self):
        ports = []

        def client():
            with contextlib.closing(EventClient()) as events:
                ports.append(events.camera_port)
                events.take(5)
        path, sent = self.session(client)
        self.assertGreaterEqual(sent["events_acknowledged"], 4)
        out = subprocess.run(["tshark", "-r", path, "-d", f"udp.port=={ports[0]},gvcp", "-Y",
                              f"udp.srcport=={ports[0]} || _ws.malformed", "-T", "fields",
                              "-e", "gvcp.cmd.command", "-e", "gvcp.cmd.event.devicespecificid",
                              "-e", "gvcp.cmd.event.streamchannelindex",
                              "-e", "gvcp.cmd.event.blockid", "-e", "gvcp.cmd.event.timestamp"],
                             check=True, capture_output=True, text=True).stdout
        lines = [[int(field, 0) for field in line.split()] for line in out.splitlines()]
        self.assertEqual([line[:4] for line in lines[:5]],
                         [[0xc0, 0x9001, 0xffff, 0], [0xc0, 0x9003, 0, 1], [0xc2, 0x9004, 0, 1],
                          [0xc0, 0x9003, 0, 2], [0xc2, 0x9004, 0, 2]])
        times = [line[4] for line in lines]
        self.assertEqual(times, sorted(times))

    def receiving_ports(self, path):
        out = subprocess.run(["tshark", "-r", path, "-Y", "udp && !gvcp && ip.src==127.0.0.2", "-T", "fields",
                              "-e", "udp.dstport"], check=True, capture_output=True, text=True).stdout
        return set(out.split())

    def read(self):
        read = harness.kestro("read", "127.0.0.2", "-n", 12)
        self.assertEqual(read.returncode, 0, read.stderr)

    def test_our_session(self):
        self.judge(*self.session(self.read))

    def test_payload_types(self):
        for form, payload_type, leader_says, trailer_says in (
                ("raw", 2, ["gvsp.payloaddatasize"], []),
                ("jpeg", 0x4006, ["gvsp.payloaddatasize"], ["gvsp.chunkdatapayloadlengthhex"]),
                ("chunk-only", 4, [], ["gvsp.payloadlength"])):
            with self.subTest(form):
                packets = self.judge(*self.session(self.read, "--format", form), payload_type)
                for block in {packet["gvsp.blockid16"] for packet in packets}:
                    leader, *pieces, trailer = [packet for packet in packets if packet["gvsp.blockid16"] == block]
                    told = [int(leader[field], 0) for field in leader_says]
                    told += [int(trailer[field], 0) for field in trailer_says]
                    # UDP's header has 8 bytes, and so has the stream's.
                    self.assertEqual(set(told), {sum(int(piece["udp.length"]) - 16 for piece in pieces)})
                    if form == "jpeg":
                        self.assertEqual(int(leader["gvsp.timestamptickfrequency"], 0), 10 ** 9)

    def aravis(self, *options):
        subprocess.run(["arv-camera-test-0.8", "-a", "--no-packet-socket", *options], check=True,
                       capture_output=True, timeout=60)

    def test_session_of_the_client_of_aravis(self):
        self.judge(*self.session(lambda: self.aravis("--duration", "3")))

    def test_chunks(self):
        packets = self.judge(*self.session(
            lambda: self.aravis("--duration", "1", "--chunks", "Barcode,Pipeline")), IMAGE_AND_CHUNKS)
        trailers = [packet for packet in packets if int(packet["gvsp.format"], 0) == 2]
        bytes_of_chunks = {int(trailer["gvsp.chunkdatapayloadlengthhex"], 0) for trailer in trailers}
        self.assertGreater(min(bytes_of_chunks), 320 * 240)


if __name__ == "__main__":
    harness.need("tshark", "arv-camera-test-0.8")
    harness.main()
