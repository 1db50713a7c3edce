# SPDX-License-Identifier: Apache-2.0
"""`kestro demo`, as a new user runs it: results against what was drawn."""
import os
import struct
import subprocess
import tempfile
import unittest
import zlib
from itertools import accumulate

import harness

SCENES = 12


def truth_of(path):
    """(serial, scene) -> {(type, text)} of everything drawn."""
    return {(record["camera"], record["scene"]): {(code["type"], code["text"]) for code in record["codes"]}
            for record in harness.json_lines(harness.content(path))}


def png(path):
    """(width, height, the bytes of the pixels by rows) of a PNG with 8 bits a colour, grey or RGB"""
    with open(path, "rb") as file:
        content = file.read()
    position, packed = 8, b""
    while position < len(content):
        size, kind = struct.unpack_from(">I4s", content, position)
        if kind == b"IDAT":
            packed += content[position + 8:position + 8 + size]
        position += size + 12
    width, height, depth, colours = struct.unpack_from(">IIBB", content, 16)
    assert depth == 8 and colours in (0, 2), path
    step = 3 if colours == 2 else 1
    rows, unpacked = [], zlib.decompress(packed)
    for start in range(0, len(unpacked), width * step + 1):
        row = bytearray(unpacked[start + 1:start + 1 + width * step])
        assert unpacked[start] == 1, "each byte is to be the difference to the pixel before"
        for colour in range(step):
            row[colour::step] = bytes(value & 255 for value in accumulate(row[colour::step]))
        rows.append(bytes(row))
    return width, height, b"".join(rows)


class Demo(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.done = harness.kestro("demo", cwd=cls.folder.name)
        cls.output = os.path.join(cls.folder.name, "demo-output")
        cls.results = harness.json_lines(harness.content(os.path.join(cls.output, "results.jsonl")))

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def test_ends_well_and_leaves_nothing_running(self):
        self.assertEqual(self.done.returncode, 0, self.done.stderr)
        self.assertNotIn("ERROR", self.done.stderr)
        sockets = subprocess.run(["ss", "-Hlunp"], capture_output=True, text=True).stdout
        self.assertEqual(sockets, "")

    def test_every_drawn_code_was_read_and_nothing_else(self):
        truth = truth_of(os.path.join(self.output, "truth.jsonl"))
        self.assertEqual(len(self.results), 40)
        self.assertGreaterEqual(sum(len(result["codes"]) for result in self.results), 40)
        for result in self.results:
            serial = result["camera"].split(":")[-1]
            drawn = truth[serial, (result["block_id"] - 1) % SCENES]
            read = {(code["type_name"], code["text"]) for code in result["codes"]}
            self.assertEqual(read, drawn, f"{result['camera']} block {result['block_id']}")
            self.assertEqual(result["status"], "Complete")

    def test_results_are_as_the_schema_says(self):
        self.assertEqual(harness.schema_errors(self.results), [])
        broken = dict(self.results[0], width="wide")
        self.assertNotEqual(harness.schema_errors([broken]), [])

    def test_pictures_are_saved_where_the_results_say(self):
        paths = {result["image"] for result in self.results}
        self.assertEqual(len(paths), 40)
        for result in self.results:
            with open(os.path.join(self.output, "images", os.path.basename(result["image"])), "rb") as file:
                head = file.read(24)
            self.assertEqual(head[:8], b"\x89PNG\r\n\x1a\n")
            self.assertEqual(struct.unpack(">II", head[16:]), (result["width"], result["height"]))
            with open(self.overlay_of(result), "rb") as file:
                self.assertEqual(file.read(24), head, "an overlay is a PNG of the picture's size")

    def overlay_of(self, result):
        return os.path.join(self.output, "overlays", os.path.basename(result["image"]))

    def test_overlays_are_the_pictures_with_something_drawn_at_each_code(self):
        read = [result for result in self.results if result["codes"]]
        self.assertTrue(read)
        for result in read[:3]:
            width, height, grey = png(os.path.join(self.output, result["image"]))
            drawn = png(self.overlay_of(result))
            self.assertEqual(drawn[:2], (width, height))
            red, green, blue = (drawn[2][colour::3] for colour in range(3))
            for x, y in (point for code in result["codes"] for point in code["points"]):
                at = y * width + x
                self.assertNotEqual((red[at], green[at], blue[at]), (grey[at],) * 3, (x, y))
            same = sum(pixel == (value,) * 3 for value, pixel in zip(grey, zip(red, green, blue)))
            self.assertGreater(same / len(grey), 0.8)


if __name__ == "__main__":
    harness.main()
