# SPDX-License-Identifier: Apache-2.0
"""`kestro sim --images`: a camera that looks at pictures from files."""
import os
import shutil
import tempfile
import unittest

import harness


def codes_of(record):
    return sorted((code["type_name"], code["text"]) for code in record["codes"])


def read(serial, frames, *options):
    done = harness.kestro("read", serial, "-n", frames, "--json", *options)
    assert done.returncode == 0, done.stderr
    return harness.json_lines(done.stdout)


class Pictures(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def test_saved_pictures_shown_again_have_the_same_codes(self):
        with harness.simulator("--width", 800, "--height", 600, "--scenes", 3):
            first = read("SIM001", 3, "--save", self.folder)
        self.assertTrue(any(codes_of(record) for record in first))
        with harness.simulator("--images", self.folder, "--truth", self.path("truth.jsonl")):
            again = read("SIM001", 4)
        self.assertEqual([codes_of(record) for record in again[:3]], [codes_of(record) for record in first])
        self.assertEqual(codes_of(again[3]), codes_of(again[0]))
        self.assertEqual({(record["width"], record["height"]) for record in again}, {(800, 600)})
        truth = harness.json_lines(harness.content(self.path("truth.jsonl")))
        names = [os.path.basename(record["image"]) for record in first]
        self.assertEqual([(line["image"], line["codes"]) for line in truth[:3]], [(name, None) for name in names])

    def test_a_damaged_picture_is_told_of_and_shown_without_codes(self):
        with open(self.path("cut.pgm"), "w") as file:
            file.write("P2 100 100 255\n1 2 3")
        with harness.simulator("--images", self.folder, "--width", 200) as sim:
            record, = read("SIM001", 1)
            self.assertEqual((record["status"], record["width"], record["height"]), ("NoRead", 200, 100))
            self.assertEqual(sim.stderr(), f"kestro: cannot read {self.path('cut.pgm')}: it is cut off\n")

    def test_mistakes_end_the_program_at_once_with_one_line(self):
        os.mkdir(self.path("empty"))
        os.mkdir(self.path("wrong"))
        shutil.copy(os.path.join(harness.SOURCE, "README.md"), self.path("wrong/a.png"))
        os.mkdir(self.path("large"))
        with open(self.path("large/a.pgm"), "w") as file:
            file.write("P5 100 100 255\n")
        for arguments, code, text in ((["none"], 2, "none"), (["empty"], 1, "empty"), (["wrong"], 1, "wrong/a.png"),
                                      (["large", "--width", "96"], 1, "large/a.pgm"),
                                      (["large", "--seed", "1"], 2, "--seed excludes --images"),
                                      (["large", "--scenes", "1"], 2, "--scenes excludes --images"),
                                      (["large", "--difficulty", "1"], 2, "--difficulty excludes --images")):
            done = harness.kestro("sim", "--images", *arguments, cwd=self.folder)
            self.assertEqual((done.returncode, done.stdout), (code, ""), arguments)
            self.assertRegex(done.stderr, f"^kestro: .*{text}.*\n$")


if __name__ == "__main__":
    harness.main()
