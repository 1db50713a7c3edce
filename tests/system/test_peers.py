# SPDX-License-Identifier: Apache-2.0
"""Both ends against Aravis: our client on its fake camera, its client on our simulator."""
import re
import subprocess
import unittest

import harness


class AravisPeers(unittest.TestCase):
    def test_reads_every_frame_of_the_fake_camera(self):
        with harness.fake_camera():
            read = harness.kestro("read", "FAKE01", "-n", 100, "--json")
        self.assertEqual(read.returncode, 0, read.stderr)
        records = harness.json_lines(read.stdout)
        self.assertEqual(len(records), 100)
        first = records[0]["block_id"]
        self.assertEqual([record["block_id"] for record in records], list(range(first, first + 100)))
        self.assertEqual({(r["width"], r["height"], r["pixel_format"]) for r in records},
                         {(512, 512, "Mono8")})
        self.assertEqual(harness.schema_errors(records), [])

    def test_knows_the_fake_camera_by_every_name(self):
        with harness.fake_camera():
            listed = harness.json_lines(harness.kestro("list", "--json").stdout)
            self.assertEqual(len(listed), 1)
            camera = listed[0]
            self.assertEqual((camera["vendor"], camera["model"], camera["serial_number"], camera["ip"],
                              camera["access"], camera["ip_valid"], camera["interface"]),
                             ("Aravis", "Fake", "FAKE01", "127.0.0.1", "open", True, "lo"))
            for name in (camera["key"], "FAKE01", "127.0.0.1"):
                info = harness.json_lines(harness.kestro("info", name, "--json").stdout)
                self.assertEqual(info[0]["key"], camera["key"])

    def test_serves_the_client_of_aravis(self):
        for result_format in ("none", "container"):
            # Few scenes: a sanitizer's reader takes its time, and the first round waits for it.
            options = ("--format", result_format, "--scenes", "2")
            with self.subTest(format=result_format), harness.simulator(*options):
                test = subprocess.run(["arv-camera-test-0.8", "-a", "--no-packet-socket", "--duration", "10"],
                                      capture_output=True, text=True, timeout=60)
                completed = int(re.search(r"n_completed_buffers\s*= (\d+)", test.stdout).group(1))
                failures = int(re.search(r"n_failures\s*= (\d+)", test.stdout).group(1))
                self.assertGreaterEqual(completed, 50, test.stdout)
                self.assertLessEqual(failures, 1, test.stdout)

    def test_simulator_features_are_read_and_written_by_the_tool_of_aravis(self):
        with harness.simulator():
            tool = ["arv-tool-0.8", "-a", "127.0.0.2", "control"]
            subprocess.run(tool + ["Width=320", "Height=200", "ExposureTime=2500"], check=True, timeout=30,
                           stdout=subprocess.DEVNULL)
            values = subprocess.run(tool + ["Width", "Height", "ExposureTime", "PixelFormat"], check=True,
                                    capture_output=True, text=True, timeout=30).stdout
            for line in (r"Width = 320", r"Height = 200", r"ExposureTime = 2500", r"PixelFormat = Mono8"):
                self.assertRegex(values, line)
            read = harness.kestro("read", "127.0.0.2", "-n", 3, "--json")
            sizes = {(r["width"], r["height"]) for r in harness.json_lines(read.stdout)}
            self.assertEqual(sizes, {(320, 200)})

    def test_simulator_is_described_so_that_the_tool_of_aravis_understands_it(self):
        with harness.simulator():
            tool = ["arv-tool-0.8", "-a", "127.0.0.2"]
            listed = subprocess.run(tool + ["values"], check=True, capture_output=True, text=True, timeout=60)
            self.assertEqual(listed.stderr, "")
            for line in (r"Register +: \[RW\] 'DeviceUserData'", r"StructEntry +: \[RO\] 'ReaderLastCodeCount' = 0",
                         r"Enumeration +: \[RO\] 'ReaderLastStatus' = 'NoRead'", r"'PayloadSize' = 1376256 B"):
                self.assertRegex(listed.stdout, line)
            self.assertNotIn("DeviceIndicatorMode", listed.stdout, "this model has none")
            # A converter, rows of registers behind a selector, and a limit that follows another feature.
            steps = subprocess.run(
                tool + ["control", "Gain=3.7", "TriggerSelector=FrameBurstStart", "TriggerDelay=12.5",
                        "TriggerSelector=FrameStart", "TriggerDelay", "TriggerSelector=FrameBurstStart",
                        "TriggerDelay", "Width=640", "ReaderRoiWidth=600", "ReaderRoiX"],
                check=True, capture_output=True, text=True, timeout=60).stdout
            self.assertRegex(steps, r"Gain = 3.7 dB")
            self.assertEqual(re.findall(r"TriggerDelay = ([\d.]+) us", steps), ["12.5", "0", "12.5"])
            self.assertRegex(steps, r"ReaderRoiX = 0 px min:0 max:40\n$")


if __name__ == "__main__":
    harness.need("arv-fake-gv-camera-0.8", "arv-camera-test-0.8", "arv-tool-0.8")
    harness.main()
