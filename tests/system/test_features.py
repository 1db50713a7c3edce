# SPDX-License-Identifier: Apache-2.0
"""What `kestro` does with features, against two cameras that are not ours to trust: Aravis' tool reads and writes the
same features of our simulated camera, and Aravis' fake camera is read and written by us."""
import contextlib
import math
import os
import re
import subprocess
import tempfile
import unittest
from xml.etree import ElementTree

import harness

# Features whose writing ends or disturbs the connection that writes them, or that answer differently to each client.
CONTROL = re.compile(r"Gev(CCP|MCP|MCDA|MCTT|MCRC|SC|GVCP|Heartbeat|Timestamp)|TLParamsLocked|Count$|Temperature|"
                     r"Timestamp|Uptime|Test")


def features(camera, *options):
    run = harness.kestro("features", camera, "--all", "--json", *options)
    assert (run.returncode, run.stderr) == (0, ""), run.stderr
    return {feature["name"]: feature for feature in harness.json_lines(run.stdout)}


def features_of_aravis(address):
    """Name -> access and value, as Aravis' own client finds them."""
    run = subprocess.run(["arv-tool-0.8", "-a", address, "values"], check=True, capture_output=True, text=True,
                         timeout=60)
    line = re.compile(r"^ +\w+ *: \[(\w\w)\] '(\w+)'(?: = (?:'(.*)'|(\S+)).*)?$", re.M)
    return {name: (access, text if number is None or number == "" else number)
            for access, name, text, number in line.findall(run.stdout)}


def same_value(feature, text):
    value = feature["value"]
    if feature["type"] == "float":
        return math.isclose(value, float(text), rel_tol=1e-5)  # the tool prints six digits
    if feature["type"] == "bool":
        return text == ("true" if value else "false")
    return str(value) == text


def another_value(feature):
    """A text that the feature takes and that is not its value; None where there is no choice."""
    value = feature["value"]
    if feature["type"] == "bool":
        return "false" if value else "true"
    if feature["type"] == "string":
        return ("KST" + value)[:feature["max_length"]]
    if feature["type"] == "enum":
        return next((entry["symbol"] for entry in feature["entries"] if entry["symbol"] != value), None)
    low, high = feature.get("min"), feature.get("max")
    if low is None or high is None or low == high:
        return None
    if feature["type"] == "float":
        return repr(low if value != low else (low + high) / 2)
    return hex(low) if value != low and low >= 0 else str(low + feature["inc"])


def writable(listed):
    return {name: feature for name, feature in listed.items()
            if feature["writable"] and feature.get("value") is not None and not CONTROL.search(name)}


class Listing(unittest.TestCase):
    def check_against_aravis(self, camera, address):
        ours, theirs = features(camera), features_of_aravis(address)
        self.assertEqual([name for name in theirs if name not in ours], [])
        extra = [name for name, feature in ours.items() if name not in theirs and feature["readable"]]
        self.assertTrue(all(name.startswith("Stream") for name in extra), extra)
        for name, (_, value) in theirs.items():
            if ours[name].get("value") is None or CONTROL.search(name):
                continue
            self.assertTrue(same_value(ours[name], value), (name, ours[name], value))
        return ours, theirs

    def write_and_read_back(self, camera, address):
        """Everything that can be written is, by us; then Aravis' tool writes the old values."""
        # Enumerations last: modes decide which of the others are available.
        before = dict(sorted(writable(features(camera)).items(), key=lambda item: item[1]["type"] == "enum"))
        chosen = {name: another_value(feature) for name, feature in before.items()}
        for name in [name for name, value in chosen.items() if value is None]:
            del chosen[name]
        self.assertGreater(len(chosen), 8)
        run = harness.kestro("set", camera, *(f"{name}={value}" for name, value in chosen.items()))
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual([line.split(":")[0] for line in run.stdout.splitlines()], list(chosen))
        for line in run.stdout.splitlines():
            name, old, new = re.fullmatch(r"(\w+): (.*) -> (.*)", line).groups()
            self.assertNotEqual(old, new, line)
            wanted = str(int(chosen[name], 0)) if before[name]["type"] == "int" else chosen[name]
            if before[name]["type"] == "float":
                self.assertAlmostEqual(float(new), float(wanted), msg=line)
            else:
                self.assertEqual(new, wanted, line)
        self.check_against_aravis(camera, address)
        return chosen

    def test_is_that_of_aravis_for_its_fake_camera(self):
        with harness.fake_camera():
            ours, theirs = self.check_against_aravis("FAKE01", "127.0.0.1")
            for name, (access, _) in theirs.items():
                if ours[name]["type"] != "command":
                    self.assertEqual(ours[name]["writable"], access == "RW", name)
            self.assertEqual(ours["Width"]["categories"], ["ImageFormatControl"])
            self.assertEqual((ours["Width"]["type"], ours["Width"]["min"], ours["Width"]["max"]), ("int", 1, 2048))
            self.write_and_read_back("FAKE01", "127.0.0.1")

    def test_is_that_of_aravis_for_the_simulated_camera(self):
        with harness.simulator():
            self.check_against_aravis("SIM001", "127.0.0.2")
            self.write_and_read_back("SIM001", "127.0.0.2")

    def test_knows_every_name_below_root_once(self):
        with harness.simulator(), tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "camera.xml")
            self.assertEqual(harness.kestro("xml", "SIM001", path).returncode, 0)
            served = harness.content(path)
            self.assertEqual(harness.kestro("xml", "SIM001", "-").stdout, served)
            aravis = subprocess.run(["arv-tool-0.8", "-a", "127.0.0.2", "genicam"], capture_output=True, text=True,
                                    check=True, timeout=30).stdout
            self.assertEqual(served.strip(), aravis.strip())

            root = ElementTree.fromstring(served)
            space = root.tag[:root.tag.index("}") + 1]
            listed = {node.text for category in root.iter(space + "Category")
                      for node in category.iter(space + "pFeature")}
            categories = {category.get("Name") for category in root.iter(space + "Category")}
            lines = harness.json_lines(
                harness.kestro("features", "SIM001", "--all", "--json").stdout)
            names = [line["name"] for line in lines if not line["name"].startswith("Stream")]
            self.assertEqual(sorted(names), sorted(listed - categories))
            self.assertEqual(len(names), len(set(names)))

            path = os.path.join(folder, "cyclic.xml")
            with open(path, "w") as file:  # categories that hold each other, a feature in two of them
                file.write(served.replace("<pFeature>DeviceType</pFeature>",
                                          "<pFeature>DeviceControl</pFeature><pFeature>Root</pFeature>"
                                          "<pFeature>Width</pFeature><pFeature>DeviceType</pFeature>"))
            with harness.simulator("--serial", "CYCLE", "--address", "127.0.0.3", "--description", path):
                self.assertEqual(sorted(features("CYCLE")), sorted(features("SIM001")))

            tree = harness.kestro("features", "SIM001", "--tree").stdout.splitlines()
            self.assertIn("ImageFormatControl", tree)
            self.assertTrue(any(re.match(r"  Width +int +rw +1280 +64\.\.1280 /4", line) for line in tree), tree)
            few = harness.kestro("features", "SIM001", "--visibility", "beginner")
            self.assertLess(len(few.stdout.splitlines()), len(names))
            self.assertRegex(few.stderr, r"^\d+ more with --all")


class Values(unittest.TestCase):
    def setUp(self):
        self.stack = contextlib.ExitStack()
        self.addCleanup(self.stack.close)
        self.folder = self.stack.enter_context(tempfile.TemporaryDirectory())
        self.camera = self.stack.enter_context(harness.simulator("--fps", 20))

    def kestro(self, command, *arguments, code=0):
        run = harness.kestro(command, "SIM001", *arguments)
        self.assertEqual(run.returncode, code, run.stdout + run.stderr)
        return run

    def file(self, name, content=None):
        path = os.path.join(self.folder, name)
        if content is not None:
            with open(path, "w") as file:
                file.write(content)
        return path

    def test_are_what_aravis_wrote(self):
        subprocess.run(["arv-tool-0.8", "-a", "127.0.0.2", "control", "Width=320", "ExposureTime=2500.5",
                        "AcquisitionMode=SingleFrame", "DeviceUserID=north gate", "ReverseX=true"], check=True,
                       stdout=subprocess.DEVNULL, timeout=30)
        self.assertEqual(self.kestro("get", "Width").stdout, "320\n")
        self.assertEqual(self.kestro("get", "ExposureTime", "AcquisitionMode", "DeviceUserID", "ReverseX").stdout,
                         "ExposureTime=2500.5\nAcquisitionMode=SingleFrame\nDeviceUserID=north gate\nReverseX=true\n")
        self.assertEqual(harness.json_lines(self.kestro("get", "Width", "--json").stdout)[0]["value"], 320)

    def test_come_from_files_in_order(self):
        path = self.file("settings", "# small\nWidth = 0x140\n\nHeight=240\n")
        run = self.kestro("set", "OffsetX=0", "@" + path, "Width=640")
        self.assertEqual(run.stdout, "OffsetX: 0 -> 0\nWidth: 1280 -> 320\nHeight: 1024 -> 240\nWidth: 320 -> 640\n")

    def test_are_refused_with_what_would_be_taken(self):
        cases = (("Width=5000", "64 to 1280 in steps of 4"), ("Width=65", "64 to 1280 in steps of 4"),
                 ("Width=wide", "64 to 1280 in steps of 4"), ("ExposureTime=1", "10 to 1000000 us"),
                 ("ExposureTime=nan", "10 to 1000000 us"), ("TriggerMode=Maybe", "one of Off, On"),
                 ("ReverseX=2", "true or false"), ("DeviceUserID=0123456789ABCDEFG", "at most 1[56] bytes"),
                 ("DeviceVendorName=Me", "read-only"), ("AcquisitionStart=1", "kestro exec"),
                 ("ImageFormatControl=1", "category"), ("Widht=64", "did you mean Width"))
        for assignment, reason in cases:
            with self.subTest(assignment):
                run = self.kestro("set", "Height=128", assignment, "OffsetY=8", code=1)
                self.assertRegex(run.stderr.splitlines()[-1], "^kestro: .*" + reason)
                self.assertEqual(len(run.stdout.splitlines()), 1)
        self.assertEqual(self.kestro("get", "Width", "OffsetY").stdout, "Width=1280\nOffsetY=0\n")
        for name, reason in (("Nothing", "no feature"), ("Root", "category"), ("AcquisitionStart", "command")):
            self.assertIn(reason, self.kestro("get", name, code=1).stderr)

    def test_survive_a_file(self):
        path = self.file("saved")
        self.kestro("set", "ExposureTime=1234.5", "ReaderSymbologySelector=QRCode", "ReaderSymbologyEnable=false",
                    "ReaderSymbologySelector=Code128")
        self.kestro("save", path)
        self.assertIn("\nExposureTime\t1234.5\n", harness.content(path))
        self.assertEqual(self.kestro("diff", path).stdout, "")

        self.kestro("set", "ExposureTime=99", "ReaderSymbologySelector=QRCode", "ReaderSymbologyEnable=1")
        lines = self.kestro("diff", path, code=1).stdout.splitlines()
        self.assertEqual(sorted(lines), [
            "ExposureTime: file 1234.5, camera 99",
            "ReaderSymbologyEnable[ReaderSymbologySelector=QRCode]: file false, camera true",
            "ReaderSymbologySelector: file Code128, camera QRCode"])
        self.assertEqual(self.kestro("get", "ReaderSymbologySelector").stdout, "QRCode\n")  # put back
        records = harness.json_lines(self.kestro("diff", path, "--json", code=1).stdout)
        self.assertIn({"name": "ExposureTime", "file": "1234.5", "camera": "99"}, records)
        self.assertEqual(self.kestro("load", path).stdout, "")
        self.kestro("diff", path)

    def test_are_loaded_as_far_as_the_camera_takes_them(self):
        path = self.file("saved")
        self.kestro("save", path)
        changed = harness.content(path).replace("\nWidth\t1280", "\nWidth\t63")
        refused = self.kestro("load", self.file("changed", changed + "ExposureTime\t4321\nNonsense\t1\n"), code=1)
        self.assertEqual(refused.stdout.splitlines(),
                         ["Width: file 63, camera 1280",
                          "Nonsense: file 1, camera - (the camera has no such feature)"])
        self.assertEqual(self.kestro("get", "ExposureTime").stdout, "4321\n")
        self.assertRegex(refused.stderr, "Width 63: below the minimum 64")
        self.assertIn("the configuration is not loaded", self.kestro("load", self.file("headless", "Width\t64\n"),
                                                                     code=1).stderr)
        self.assertIn("cannot write /nowhere/x", self.kestro("save", "/nowhere/x", code=1).stderr)
        for command in ("load", "diff"):
            self.assertIn("cannot read", self.kestro(command, self.file("missing"), code=2).stderr)
            self.assertIn(":1:", self.kestro(command, self.file("bad", "no tab"), code=2).stderr)

    def test_are_those_of_registers(self):
        self.assertEqual(self.kestro("reg", "0x24").stdout, "0x7f000002\n")  # GigE Vision: current address
        self.assertEqual(harness.json_lines(self.kestro("reg", "36", "--json").stdout),
                         [{"address": 0x24, "value": 0x7F000002}])
        self.assertEqual(self.kestro("reg", "0x48", "--length", 32).stdout,
                         "0x00000048  4b 65 73 74 72 6f 00 00  00 00 00 00 00 00 00 00  Kestro..........\n"
                         "0x00000058  00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  ................\n")
        record, = harness.json_lines(self.kestro("reg", "0x48", "--length", 6, "--json").stdout)
        self.assertEqual(bytes.fromhex(record["bytes"]), b"Kestro")
        for words in (("0x64c", "0x0a000001"), ("0x64c", "=0x0a000002"), ("0x64c=0x0a000003",)):
            self.kestro("reg", *words)  # GigE Vision: persistent address
            self.assertEqual(self.kestro("reg", "0x64c").stdout, words[-1][-10:] + "\n")
        self.assertIn("0x00000001", self.kestro("reg", "1", code=1).stderr)

    def test_trigger_only_a_camera_that_waits(self):
        self.assertIn("TriggerMode is Off", self.kestro("trigger", code=1).stderr)
        self.kestro("set", "TriggerMode=On", "TriggerSource=Software")
        self.assertIn("triggered", self.kestro("trigger").stderr)
        self.kestro("exec", "TriggerSoftware")
        self.assertIn("no command", self.kestro("exec", "Width", code=1).stderr)

    def test_of_the_stream_are_in_the_summary(self):
        summary = self.kestro("read", "-n", 5).stderr
        delivered = int(re.search(r"^stream: frames delivered (\d+), frames lost 0$", summary, re.M).group(1))
        self.assertGreaterEqual(delivered, 5)

    def test_that_change_are_told(self):
        self.kestro("set", "EventSelector=ReadingDone", "EventNotification=On")
        with harness.Program(harness.KESTRO, "events", "SIM001", "--acquire") as events:
            # What the start locks, a counter that the description wants polled, the data of an event of the camera.
            for line in ("TLParamsLocked  1", r"ReaderFrameCount  [1-9]\d*", r"EventReadingDoneFrameID  \d+"):
                harness.wait_until(lambda: re.search(f"Z  {line}\n", events.stdout()), what=line)
            self.assertEqual(events.end(), 0)
        events = harness.json_lines(self.kestro("events", "--acquire", "-n", 3, "--json").stdout)
        self.assertEqual([sorted(event) for event in events], [["event", "name", "time", "value"]] * 3)


class Control(unittest.TestCase):
    def test_is_taken_by_one_command_and_its_loss_noticed(self):
        with harness.simulator() as camera, harness.Program(
                harness.KESTRO, "events", "SIM001", "--no-reconnect") as events:
            harness.wait_until(lambda: "watching" in events.stderr(), what="the subscription")
            for command in (("features",), ("get", "Width"), ("set", "Width=64"), ("diff", os.devnull)):
                run = harness.kestro(command[0], "SIM001", *command[1:])
                self.assertEqual((run.returncode, run.stdout), (4, ""), run.stderr)
                self.assertIn("in use by another program", run.stderr)
            camera.process.kill()
            self.assertEqual(events.wait(10), 6)
            self.assertIn("connection lost", events.stdout())

    def test_is_not_needed_for_a_new_address(self):
        with harness.simulator("--claim", "198.51.100.5/24"):
            refused = harness.kestro("get", "SIM001", "Width")
            self.assertEqual(refused.returncode, 1)
            self.assertIn("kestro force-ip SIM001", refused.stderr)
            mac = harness.json_lines(harness.kestro("list", "--json").stdout)[0]["mac"]
            forced = harness.kestro("force-ip", mac, "127.0.0.99/255.0.0.0")
            self.assertEqual(forced.returncode, 0, forced.stderr)
            self.assertIn("127.0.0.99", forced.stderr)
            self.assertEqual(harness.kestro("get", "127.0.0.99", "Width").stdout, "1280\n")


if __name__ == "__main__":
    harness.need("arv-fake-gv-camera-0.8", "arv-tool-0.8")
    harness.main()
