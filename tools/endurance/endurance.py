# SPDX-License-Identifier: Apache-2.0
"""Runs kestro_endurance against cameras of `kestro sim`, for the scripts that print tables of it."""
import datetime
import json
import os
import signal
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
IS_BUILT = "KESTRO_BINARY_DIR" in os.environ  # by whoever starts the script
os.environ.setdefault("KESTRO_BINARY_DIR", os.path.join(ROOT, "build/release"))
os.environ.setdefault("KESTRO_SOURCE_DIR", ROOT)
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(ROOT, "tests/system"))
import harness  # noqa: E402


def prepare(*targets):
    """Builds what the script runs, and goes on in a network namespace where nothing is but loopback."""
    if not IS_BUILT:
        for command in (["cmake", "--preset", "release"],
                        ["cmake", "--build", "--preset", "release", "--target", "kestro_cli", *targets]):
            subprocess.run(command, cwd=ROOT, stdout=sys.stderr, check=True)
    harness.enter_namespace()


def endure(camera, reader, cameras=1):
    """The accounts of all cameras, what the library's process needed, and what the cameras say they did."""
    with tempfile.TemporaryDirectory() as folder:
        stats = os.path.join(folder, "stats.json")
        with harness.simulator(*camera, "--stats", stats, cameras=cameras) as sim:
            command = [os.path.join(harness.BIN, "kestro_endurance"), "--cameras", str(cameras), *map(str, reader)]
            run = subprocess.run(command, stdout=subprocess.PIPE, text=True)
            if run.returncode == 2:
                raise SystemExit("kestro_endurance could not begin")
            sim.end(signal.SIGINT, seconds=60)
            said = sim.stderr()
        lines = harness.json_lines(run.stdout)
        return lines[:-1], lines[-1], harness.json_lines(harness.content(stats)), said


def total(accounts, name):
    return sum(account[name] for account in accounts)


def heading(*columns):
    print(f"{datetime.date.today()}, {os.cpu_count()} processors: {' '.join(map(os.path.relpath, sys.argv[:1]))} "
          f"{' '.join(sys.argv[1:])}".rstrip() + "\n")
    print("| " + " | ".join(columns) + " |\n|" + "---|" * len(columns), flush=True)


def row(*values, faults=()):
    """Prints a row; gives False, and says why, when something is wrong with it."""
    print("| " + " | ".join(map(str, values)) + " |", flush=True)
    for fault in faults:
        print("FAILED: " + fault, flush=True)
    return not faults
