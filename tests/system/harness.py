# SPDX-License-Identifier: Apache-2.0
"""Runs the real programs against each other in a network namespace of their own.

Aravis' programs broadcast on every interface that is up, and UDP port 3956 belongs to one program
for each address: a namespace with nothing but a loopback keeps both away from the machine's network
and from other tests.
"""
import contextlib
import json
import os
import signal
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

BIN = os.path.join(os.environ["KESTRO_BINARY_DIR"], "bin")
SOURCE = os.environ["KESTRO_SOURCE_DIR"]
KESTRO = os.path.join(BIN, "kestro")
SKIPPED = 77  # ctest's skip code for these tests
IN_CI = os.environ.get("CI") == "true"


def enter_namespace():
    """Starts this script again inside a network namespace whose loopback is up."""
    if os.environ.get("KESTRO_TEST_NAMESPACE"):
        return
    unshare = ["unshare", "--net"] + ([] if os.geteuid() == 0 else ["--map-root-user"])
    if subprocess.run(unshare + ["true"], stderr=subprocess.DEVNULL).returncode != 0:
        give_up("no right to make a network namespace")
    environment = dict(os.environ, KESTRO_TEST_NAMESPACE="1", KESTRO_INTERFACES="lo")
    environment.pop("KESTRO_LOG", None)
    shell = 'ip link set lo up && exec "$@"'
    os.execvpe("unshare", unshare + ["sh", "-c", shell, "sh", sys.executable] + sys.argv, environment)


def give_up(reason):
    """A test that cannot run here: a skip for a developer, a failure in CI."""
    print(("FAILED: " if IN_CI else "skipped: ") + reason)
    sys.exit(1 if IN_CI else SKIPPED)


def need(*programs):
    for program in programs:
        if not shutil.which(program):
            give_up(f"{program} is not installed (scripts/bootstrap --all)")


def main():
    enter_namespace()
    unittest.main(verbosity=2)


def wait_until(condition, seconds=10.0, what="a condition"):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        result = condition()
        if result:
            return result
        time.sleep(0.02)
    raise AssertionError(f"{what}: not within {seconds} s")


def content(path):
    with open(path) as file:
        return file.read()


class Program:
    """A program that runs beside the test; its output goes to files that can be read any time."""

    def __init__(self, *command, **options):
        self.out = tempfile.NamedTemporaryFile("w+", prefix="out-")
        self.err = tempfile.NamedTemporaryFile("w+", prefix="err-")
        options.setdefault("stdin", subprocess.DEVNULL)
        self.process = subprocess.Popen(command, stdout=self.out, stderr=self.err, **options)

    def stdout(self):
        return content(self.out.name)

    def stderr(self):
        return content(self.err.name)

    def end(self, how=signal.SIGINT, seconds=10):
        if self.process.poll() is None:
            self.process.send_signal(how)
        return self.wait(seconds)

    def wait(self, seconds=30):
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError(f"{self.process.args} did not end: {self.stderr()}") from None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self.out.close()
        self.err.close()


@contextlib.contextmanager
def simulator(*arguments, cameras=1):
    """`kestro sim`, once all its cameras are ready."""
    with Program(KESTRO, "sim", "--count", str(cameras), *map(str, arguments)) as sim:
        wait_until(lambda: sim.stdout().count(" ready\n") == cameras or sim.process.poll() is not None,
                   what="the simulator's ready lines")
        if sim.process.poll() is not None:
            raise AssertionError("kestro sim ended: " + sim.stderr())
        yield sim


@contextlib.contextmanager
def fake_camera(serial="FAKE01"):
    """Aravis' fake camera on 127.0.0.1."""
    with Program("arv-fake-gv-camera-0.8", "-i", "127.0.0.1", "-s", serial) as camera:
        wait_until(lambda: serial in kestro("list").stdout, what="the fake camera's answer")
        yield camera


@contextlib.contextmanager
def capture(path, *options, interface="lo"):
    """tshark, writing to `path`; whole when the block is left."""
    with Program("tshark", "-i", interface, "-B", "64", "-w", path, *options) as tshark:
        wait_until(lambda: "Capturing on" in tshark.stderr(), what="tshark")
        wait_until(lambda: os.path.exists(path) and os.path.getsize(path) > 0, what="tshark's file")
        yield
        time.sleep(0.5)  # the capture's own buffer has no sign of being empty
        tshark.end(signal.SIGINT)


def kestro(*arguments, seconds=60, **options):
    options.setdefault("stdout", subprocess.PIPE)
    options.setdefault("stderr", subprocess.PIPE)
    return subprocess.run([KESTRO, *map(str, arguments)], stdin=subprocess.DEVNULL, text=True,
                          timeout=seconds, **options)


def json_lines(text):
    return [json.loads(line) for line in text.splitlines()]


def schema_errors(records):
    import jsonschema
    with open(os.path.join(SOURCE, "docs/formats/result.schema.json")) as file:
        schema = json.load(file)
    validator = jsonschema.validators.validator_for(schema)(schema)
    return [error.message for record in records for error in validator.iter_errors(record)]
