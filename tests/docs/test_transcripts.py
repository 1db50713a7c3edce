# SPDX-License-Identifier: Apache-2.0
"""Every dialogue with the program `kestro` that a page shows goes as the page shows it.

    <!-- with: ARGUMENTS OF kestro sim; COMMANDS BEFORE -->
    ```console
    $ kestro list
    what it prints; "..." stands for anything, alone on a line for any lines
    ```
"""
import glob
import os
import re
import shlex
import subprocess
import textwrap
import unittest

import harness

TRANSCRIPT = re.compile(r"^( *)<!-- with: (.*?) -->\n( *```console\n.*?)^ *```$", re.M | re.S)


def transcripts():
    """(page, options of the simulator, commands before, text)"""
    for path in sorted(glob.glob(os.path.join(harness.SOURCE, "docs/**/*.md"), recursive=True)):
        for _, setting, text in TRANSCRIPT.findall(harness.content(path)):
            arguments, *before = setting.split(";")
            words = shlex.split(arguments)
            options = dict(zip(words[::2], words[1::2]))
            yield os.path.basename(path), options, before, textwrap.dedent(text).split("\n", 1)[1]


def run(command):
    command = command.strip().replace("kestro", harness.KESTRO, 1)
    return subprocess.run(command, shell=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, timeout=60).stdout


def plain(text):
    """Without what differs from run to run: the clock, line numbers of the sources."""
    return re.sub(r"\.cpp\(\d+\)", ".cpp(N)", re.sub(r"^\d\d:\d\d:\d\d\.\d{3}", "CLOCK", text, flags=re.M))


def pattern(expected):
    lines = []
    for line in plain(expected).splitlines():
        lines.append(r"(?:.*\n)*?" if line == "..." else r"[^\n]*".join(map(re.escape, line.split("..."))) + r"\n")
    return "".join(lines)


class Transcripts(unittest.TestCase):
    def test_go_as_shown(self):
        count = 0
        for name, options, before, text in transcripts():
            cameras = int(options.pop("--count", 1))
            with self.subTest(f"{name}: {text.splitlines()[0]}"), harness.simulator(
                    *(f"{key}={value}" for key, value in options.items()), cameras=cameras):
                for command in before:
                    run(command)
                for command, expected in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", text, re.M):
                    self.assertRegex(plain(run(command)), r"\A" + pattern(expected) + r"\Z", command)
                count += 1
        self.assertGreater(count, 5)


if __name__ == "__main__":
    harness.main()
