# SPDX-License-Identifier: Apache-2.0
"""The parts of the benchmarks: each is a command that writes its results into a file."""
import os

# The one that measurements of one thread stay on; the other ones are left to the machine.
PROCESSOR = str(os.cpu_count() - 1)


def google(program, pinned=True):
    """A Google Benchmark program; it repeats by itself."""
    def command(programs, output, _):
        words = ["taskset", "-c", PROCESSOR] if pinned else []
        return words + [os.path.join(programs, program), "--benchmark_out_format=json", "--benchmark_out=" + output]
    return command


def python(script, *arguments):
    def command(programs, output, is_quick):
        return ["python3", "-B", script, *arguments, "--json", output, *(["--quick"] if is_quick else [])]
    return command


PARTS = {
    "receive": python("bench/receive/receive.py", "--only", "rates,latency,cameras"),
    "scale": python("bench/receive/receive.py", "--only", "scale"),
    "hand-over": google("kestro_bench"),
    "result-json": google("kestro_json_bench"),
    "chunks": google("kestro_chunk_bench"),
    "c-interface": google("kestro_callback_bench"),
    "control": google("kestro_control_bench", pinned=False),
    "connect": google("kestro_connect_bench", pinned=False),
    "discovery": google("kestro_discovery_bench", pinned=False),
}
