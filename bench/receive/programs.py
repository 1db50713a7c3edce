# SPDX-License-Identifier: Apache-2.0
"""The sender and the receivers as programs that are told what to do, line by line."""
import json
import os
import select
import subprocess
import tempfile


class Talker:
    """A program that answers each line with a line."""

    def __init__(self, *command):
        self.errors = tempfile.TemporaryFile("w+")
        self.process = subprocess.Popen(list(map(str, command)), stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=self.errors, bufsize=0)

    def answer(self, seconds=60):
        line = b""
        while not line.endswith(b"\n"):
            if not select.select([self.process.stdout], [], [], seconds)[0]:
                raise RuntimeError(f"{self.process.args}: no answer within {seconds} s")
            more = self.process.stdout.readline()
            if not more:
                self.errors.seek(0)
                raise RuntimeError(f"{self.process.args} ended: {self.errors.read()}")
            line += more
        return line.decode().strip()

    def ask(self, line, seconds=60):
        self.process.stdin.write(line.encode() + b"\n")
        return json.loads(self.answer(seconds))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        try:
            self.process.wait(20)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.process.stdout.close()
        self.errors.close()


class Sender(Talker):
    def __init__(self, setup, cameras, width, height):
        super().__init__(setup.program("sender"), "--cameras", cameras, "--width", width, "--height", height,
                         "--cpu", setup.sender_cpu)
        if self.answer() != "ready":
            raise RuntimeError("the sender is not ready")


class Receiver(Talker):
    """One of the receivers, with its streams open."""

    def __init__(self, setup, kind, cameras, packet_bytes, buffers=16):
        self.kind, self.cameras, self.packet_bytes = kind, cameras, packet_bytes
        super().__init__(setup.program(kind.program), cameras, packet_bytes, buffers, setup.receiver_cpu, *kind.words)
        self.details = json.loads(self.answer())

    def destination(self):
        """What the sender is not told by the registers of a camera."""
        if "ports" not in self.details:
            return ""
        return f" to={','.join(map(str, self.details['ports']))} packet={self.packet_bytes}"


class Setup:
    """Where the programs are, and on which processors they run."""

    def __init__(self, folder, sender_cpu, receiver_cpu):
        self.folder, self.sender_cpu, self.receiver_cpu = folder, sender_cpu, receiver_cpu

    def program(self, name):
        return os.path.join(self.folder, "kestro_receive_" + name)
