# SPDX-License-Identifier: Apache-2.0
"""Wireshark's dissectors judge what goes over the wire, in sessions of ours and of Aravis' client."""
import json
import os
import subprocess
import tempfile
import unittest

import harness

MONO8 = 0x01080001


def dissect(path, ports):
    """One dict of the fields asked for, for each packet that tshark takes for GVSP."""
    fields = ["gvsp.format", "gvsp.blockid16", "gvsp.blockid64", "gvsp.pixel", "udp.length",
              "gvsp.chunkdatapayloadlengthhex"]
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




class Wire(unittest.TestCase):
    def session(self, client):
        """Captures a client's session with a simulator; returns the capture and the sender's counts."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        path = os.path.join(folder.name, "session.pcap")
        stats = os.path.join(folder.name, "stats.json")
        os.chmod(folder.name, 0o777)
        with harness.capture(path, "-F", "pcap"):
            with harness.simulator("--width", 320, "--height", 240, "--stats", stats) as sim:
                client()
                sim.end()
        return path, harness.json_lines(harness.content(stats))[0]

    def judge(self, path, sent):
        packets = dissect(path, self.receiving_ports(path))
        self.assertEqual(len(packets), sent["packets_sent"])
        self.assertEqual(count(path, "_ws.malformed"), 0)
        leaders = [packet for packet in packets if int(packet["gvsp.format"], 0) == 1]
        self.assertEqual(len(leaders), sent["frames_sent"])
        self.assertEqual({int(leader["udp.length"]) - 8 for leader in leaders}, {sent["leader_bytes"]})
        self.assertEqual({int(leader["gvsp.pixel"], 0) for leader in leaders}, {sent["pixel_format"]})
        self.assertEqual(sent["pixel_format"], MONO8)
        blocks = [int(leader["gvsp.blockid16"], 0) for leader in leaders]
        self.assertEqual(blocks[-1], sent["block_id"])
        self.assertEqual(blocks, list(range(1, len(blocks) + 1)))
        return packets

    def receiving_ports(self, path):
        out = subprocess.run(["tshark", "-r", path, "-Y", "udp && !gvcp && ip.src==127.0.0.2", "-T", "fields",
                              "-e", "udp.dstport"], check=True, capture_output=True, text=True).stdout
        return set(out.split())

    def test_our_session(self):
        def client():
            read = harness.kestro("read", "127.0.0.2", "-n", 12)
            self.assertEqual(read.returncode, 0, read.stderr)
        self.judge(*self.session(client))

    def aravis(self, *options):
        subprocess.run(["arv-camera-test-0.8", "-a", "--no-packet-socket", *options], check=True,
                       capture_output=True, timeout=60)

    def test_session_of_the_client_of_aravis(self):
        self.judge(*self.session(lambda: self.aravis("--duration", "3")))

    def test_chunks(self):
        packets = self.judge(*self.session(
            lambda: self.aravis("--duration", "1", "--chunks", "Barcode,Pipeline")))
        trailers = [packet for packet in packets if int(packet["gvsp.format"], 0) == 2]
        bytes_of_chunks = {int(trailer["gvsp.chunkdatapayloadlengthhex"], 0) for trailer in trailers}
        self.assertGreater(min(bytes_of_chunks), 320 * 240)


if __name__ == "__main__":
    harness.need("tshark", "arv-camera-test-0.8")
    harness.main()
