#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What receiving streams costs with this library, with Aravis and with a receiver that only counts.

    bench/receive/receive.py [--quick] [--only rates,latency,cameras,scale] [--json FILE]
    bench/receive/receive.py --tables FILE

Needs the programs, which KESTRO_BUILD_BENCH builds, in KESTRO_BINARY_DIR (build/release when not
said). All run in a network namespace of their own, sender and receiver on processors of their own.
The receivers take turns; each figure is the median of all rounds, with the least and the largest.
"""
import argparse
import json
import os
import platform
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
os.environ.setdefault("KESTRO_BINARY_DIR", os.path.join(ROOT, "build/release"))
os.environ.setdefault("KESTRO_SOURCE_DIR", ROOT)
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(ROOT, "tests/system"))
import harness  # noqa: E402
import tables  # noqa: E402
from figures import Figures  # noqa: E402
from parts import PARTS, Plan  # noqa: E402
from programs import Setup  # noqa: E402


def parse():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--quick", action="store_true", help="one short round")
    parser.add_argument("--rounds", type=int, help="5 when not said")
    parser.add_argument("--only", default=",".join(PARTS), help="parts, with commas between them")
    parser.add_argument("--json", help="a file for all figures")
    parser.add_argument("--tables", metavar="FILE", help="only prints the tables of such a file")
    parser.add_argument("--realtime", action="store_true",
                        help="for a busy machine: nothing else gets the two processors while they are needed (root)")
    parser.add_argument("--sender-cpu", type=int, default=0)
    parser.add_argument("--receiver-cpu", type=int, default=1)
    return parser.parse_args()


def machine():
    with open("/proc/sys/net/core/rmem_max") as file:
        rmem_max = int(file.read())
    return {"system": platform.platform(), "processors": os.cpu_count(), "rmem_max": rmem_max,
            "realtime": os.sched_getscheduler(0) == os.SCHED_FIFO}


def print_tables(path):
    with open(path) as file:
        tables.print_all(Figures.of_listed(json.load(file)["figures"]))


def main():
    options = parse()
    if options.tables:
        print_tables(options.tables)
        return
    harness.enter_namespace()
    os.sched_setaffinity(0, {options.sender_cpu})  # the receivers have their processor for themselves
    if options.realtime:
        os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(10))
    setup = Setup(harness.BIN, options.sender_cpu, options.receiver_cpu)
    figures = Figures()
    for part in options.only.split(","):
        PARTS[part](setup, figures, Plan(options.quick, options.rounds))
        if options.json:
            with open(options.json, "w") as file:
                json.dump({"machine": machine(), "figures": figures.listed()}, file, indent=1)
    tables.print_all(figures)


if __name__ == "__main__":
    main()
