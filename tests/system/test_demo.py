# SPDX-License-Identifier: Apache-2.0
"""`kestro demo`, as a new user runs it: results against what was drawn."""
import os
import struct
import subprocess
import tempfile
import unittest

import harness

SCENES = 12


def truth_of(path):
    """(serial, scene) -> {(type, text)} of everything drawn."""
    return {(record["camera"], record["scene"]): {(code["type"], code["text"]) for code in record["codes"]}
            for record in harness.json_lines(harness.content(path))}


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


if __name__ == "__main__":
    harness.main()
