# SPDX-License-Identifier: Apache-2.0
"""The examples and the README's programs are what is built, and do what they say."""
import contextlib
import os
import re
import subprocess
import tempfile
import unittest

import harness
from harness import simulator, wait_until

FOLDER = os.path.join(harness.SOURCE, "examples")
STORIES = ("list_cameras", "poll_frames", "frame_callback", "set_feature", "lost_camera")
SUFFIX = {".cpp": "", ".c": "_c"}  # a program's name is its source's base name and this
SEED = 7  # the one that the comments name
SCENES = 12


def program(name, language):
    return os.path.join(harness.BIN, "examples", name + SUFFIX[language])


def run(name, language, **environment):
    return subprocess.run([program(name, language)], capture_output=True, text=True, timeout=60,
                          env=dict(os.environ, **environment))


@contextlib.contextmanager
def drawing(*arguments):
    """`kestro sim` with its first pictures drawn: the examples wait two seconds for one, and drawing
    takes longer than that under a sanitizer on a busy machine."""
    with simulator(*arguments) as sim:
        read = harness.kestro("read", "SIM001", "-n", 3, "--timeout", 60)
        if read.returncode != 0:
            raise AssertionError(read.stderr)
        yield sim


def announced(source):
    """What the first comment says that one should see: its lines that are indented further."""
    comment = re.match(r"(?://.*\n)+", source).group(0)
    return "".join(line + "\n" for line in re.findall(r"^//     (.*)$", comment, re.M))


def blocks_of(text):
    """[(block, [(type, text)])] of what poll_frames prints; a code's text may have several lines."""
    parts = re.split(r"^block (\d+): .*\n", text, flags=re.M)[1:]
    return [(int(block), re.findall(r"^ {4}([A-Z]\w+): (.*?)\n(?= {4}[A-Z]\w+: |\Z)", codes, re.M | re.S))
            for block, codes in zip(parts[::2], parts[1::2])]


class Examples(unittest.TestCase):
    def for_each(self, check, names=STORIES):
        for name in names:
            for language in SUFFIX:
                with self.subTest(name + language):
                    check(name, language)

    def test_are_short_and_the_same_in_each_language(self):
        def check(name, language):
            source = harness.content(os.path.join(FOLDER, name + language))
            self.assertLessEqual(len(source.splitlines()), 80)
            self.assertEqual(announced(source), self.announced(name))
        self.for_each(check)

    @staticmethod
    def announced(name):
        return announced(harness.content(os.path.join(FOLDER, name + ".cpp")))

    def test_print_what_they_announce_and_leave_the_camera_as_it_was(self):
        def check(name, language):
            done = run(name, language)
            self.assertEqual((done.returncode, done.stdout), (0, self.announced(name)), done.stderr)
            refusals = ["Width 1281: above the maximum 1280"] if name == "set_feature" else []
            self.assertEqual(re.findall("msg: (.*).]$", done.stderr, re.M), refusals)
            self.assertEqual(len(done.stderr.splitlines()), len(refusals))
            self.assertEqual(self.settings(), before)
        with drawing("--seed", SEED):
            before = self.settings()
            self.for_each(check, STORIES[:-1])

    def settings(self):
        """How the features that the examples set are set; fails when nobody gave the camera back."""
        got = harness.kestro("get", "SIM001", "Width", "TriggerMode")
        self.assertEqual(got.returncode, 0, got.stderr)
        return got.stdout

    def test_read_what_was_drawn(self):
        def check(name, language):
            read = blocks_of(run(name, language).stdout)
            drawn = {record["scene"]: [(code["type"], code["text"]) for code in record["codes"]]
                     for record in harness.json_lines(harness.content(truth.name))}
            self.assertEqual([block for block, _ in read], [1, 2, 3])
            for block, codes in read:
                self.assertEqual(sorted(codes), sorted(drawn[(block - 1) % SCENES]))
        for form in ("chunk", "container"):
            with tempfile.NamedTemporaryFile() as truth, drawing("--seed", 3, "--format", form, "--truth", truth.name):
                self.for_each(check, ["poll_frames"])

    def test_go_on_with_a_camera_that_was_lost(self):
        def check(name, language):
            with drawing() as sim, harness.Program(program(name, language)) as example:
                wait_until(lambda: "switch it off" in example.stdout(), what="the camera")
                sim.process.kill()
                sim.process.wait()
                wait_until(lambda: "switch it on" in example.stdout(), what="the loss")
                with simulator():
                    code = example.wait()
                self.assertEqual((code, example.stdout()), (0, self.announced(name)), example.stderr())
        self.for_each(check, ["lost_camera"])

    def test_say_what_is_missing(self):
        def check(name, language):
            done = run(name, language, KESTRO_DISCOVERY_TIMEOUT_MS="300")
            self.assertEqual((done.returncode, done.stdout), (1, ""))
            self.assertIn("no camera found", done.stderr)
        self.for_each(check)

    def test_give_a_camera_back_that_sends_no_frames(self):
        def check(name, language):
            done = run(name, language)
            self.assertNotEqual(done.returncode, 0)
            self.assertEqual(done.stdout, "")
            self.assertNotEqual(done.stderr, "")
            self.settings()
        with simulator():
            self.assertEqual(harness.kestro("set", "SIM001", "TriggerMode=On").returncode, 0)
            self.for_each(check, ["first_frames", "lost_camera"])

    def test_say_that_the_camera_is_held(self):
        def check(name, language):
            done = run(name, language)
            self.assertEqual((done.returncode, done.stdout), (1, ""))
            self.assertIn("another program", done.stderr)
        with simulator(), harness.Program(harness.KESTRO, "read", "SIM001") as reader:
            wait_until(lambda: reader.stdout() or reader.process.poll() is not None, what="the other program")
            self.for_each(check, STORIES[1:])


class Readme(unittest.TestCase):
    def setUp(self):
        self.text = harness.content(os.path.join(harness.SOURCE, "README.md"))

    def test_shows_programs_that_are_built(self):
        for tag in ("cpp", "c"):
            with self.subTest(tag):
                code = re.search(rf"```{tag}\n(.*?)```", self.text, re.S).group(1)
                self.assertEqual(code, harness.content(os.path.join(FOLDER, "first_frames." + tag)))
                self.assertLessEqual(len(code.splitlines()), 25)

    def test_shows_what_they_print(self):
        output = re.search(r"```\n(frame 1.*?)```", self.text, re.S).group(1)
        with drawing("--seed", SEED):
            for language in SUFFIX:
                with self.subTest(language):
                    done = run("first_frames", language)
                    self.assertEqual((done.returncode, done.stdout, done.stderr), (0, output, ""))


if __name__ == "__main__":
    harness.main()
