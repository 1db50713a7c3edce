#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What receiving a stream costs with this library, with Aravis and with a receiver that only counts.

    bench/receive/receive.py [--quick] [--only rates,latency,cameras,scale] [--json FILE]

The programs must be built, with KESTRO_BUILD_BENCH; they lie in KESTRO_BINARY_DIR, which is
build/release when not said. All runs in a network namespace of its own. The receivers take turns;
figures are the medians of all rounds, with the least and the largest.
"""
import argparse
import collections
import json
import os
import platform
import statistics
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
os.environ.setdefault("KESTRO_BINARY_DIR", os.path.join(ROOT, "build/release"))
os.environ.setdefault("KESTRO_SOURCE_DIR", ROOT)
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(ROOT, "tests/system"))
import harness  # noqa: E402
import trial  # noqa: E402
from programs import Receiver, Sender, Setup  # noqa: E402

Kind = collections.namedtuple("Kind", "name program words")
KESTRO = Kind("kestro", "kestro", [])
SOCKET = Kind("aravis socket", "aravis", [])
RING = Kind("aravis ring", "aravis", ["ring"])
RAW = Kind("raw", "raw", [400])        # microseconds that packets gather, as with this library
RAW_AT_ONCE = Kind("raw", "raw", [0])  # where the time counts
KINDS = [KESTRO, SOCKET, RING, RAW]

PACKETS = [1500, 8192]
LARGE = (2448, 2048)
SMALL = (1280, 1024)
MOST_CAMERAS = 16
SCALE_CAMERAS = [1, 2, 4, 8, 16]
SCALE_BUFFERS = 8
GIGABIT = 118e6  # bytes a second of payload that such a link carries
SCALE_FPS = 10

# Bytes a second at which processor time is compared: all receivers keep up with them.
COMMON_RATE = {(1500, False): 200e6, (1500, True): 400e6, (8192, False): 400e6, (8192, True): 600e6}
CAMERAS_RATE = {False: 150e6, True: 300e6}
LATENCY_SHARE = 0.4  # of the common rate's double, about what the slowest receiver takes
LOWEST_RATE = 100e6
STEP = 1.15


class Figures:
    """The values of all rounds by what they are of."""

    def __init__(self):
        self.values = collections.defaultdict(list)

    def add(self, part, kind, where, **figures):
        for name, value in figures.items():
            self.values[(part, kind, json.dumps(where, sort_keys=True), name)].append(value)

    def summary(self):
        return [{"part": part, "receiver": kind, **json.loads(where), "figure": name,
                 "median": statistics.median(values), "min": min(values), "max": max(values), "values": values}
                for (part, kind, where, name), values in self.values.items()]


def percentile(ordered, share):
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))]


def can_receive(kind, batched):
    """A packet socket is given batches before they are cut, which Aravis takes for single packets."""
    return not (kind is RING and batched)


def warm_up(sender, receiver, batched):
    trial.run(sender, receiver, 0.15, batched, "rate=100e6")


class Search:
    """The highest rate without loss, in steps of STEP; begins where it ended the time before."""

    def __init__(self):
        self.begin = {}

    @staticmethod
    def rate_of(step):
        return LOWEST_RATE * STEP ** step

    def highest(self, key, run):
        """`run(rate)` is a trial, at 0 as fast as it goes. (bytes a second, whether the sender was the limit)"""
        unpaced = run(0)
        if unpaced.is_lossless():
            return unpaced.rate, True
        below, above, best = -1, None, 0.0
        step = self.begin.get(key, 8)
        stride = 1 if key in self.begin else 4
        while above is None or above - below > 1:
            done = run(self.rate_of(step))
            if done.is_lossless() and done.rate < 0.95 * self.rate_of(step):
                return done.rate, True
            if done.is_lossless():
                below, best = step, done.rate
                step = step + stride if above is None else (below + above) // 2
            else:
                above = step
                step = max(step - stride, 0) if below < 0 else (below + above) // 2
                if above == 0:
                    break
        self.begin[key] = max(below, 0)
        return best, False


def spend(figures, part, kind, where, done):
    figures.add(part, kind.name, where, ns_per_packet=done.ns_per_packet, seconds_per_gigabyte=done.seconds_per_gigabyte,
                cpu_share=done.cpu / done.sent["seconds"], rate=done.rate, lossless=float(done.is_lossless()),
                switches=done.received["switches"] / done.sent["seconds"])


def rates(setup, figures, plan):
    """Processor time at a common rate, and the highest rate without loss."""
    search = Search()
    with Sender(setup, 1, *LARGE) as sender:
        for _ in plan.rounds("rates"):
            for packet in PACKETS:
                for kind in KINDS:
                    with Receiver(setup, kind, 1, packet) as receiver:
                        for batched in (False, True):
                            if can_receive(kind, batched):
                                rate_of(figures, plan, search, sender, receiver, batched)


def rate_of(figures, plan, search, sender, receiver, batched):
    kind, where = receiver.kind, {"packet": receiver.packet_bytes, "batched": batched}
    warm_up(sender, receiver, batched)
    pace = f"rate={COMMON_RATE[(receiver.packet_bytes, batched)]}"
    spend(figures, "cpu", kind, where, trial.run(sender, receiver, plan.seconds, batched, pace))
    highest, is_sender_limit = search.highest(
        (kind.name, receiver.packet_bytes, batched),
        lambda rate: trial.run(sender, receiver, plan.seconds, batched, f"rate={rate}"))
    figures.add("highest", kind.name, where, rate=highest, sender_limited=float(is_sender_limit))


def latency(setup, figures, plan):
    """From the sending of a frame's last packet to its hand-over."""
    with Sender(setup, 1, *SMALL) as sender:
        for _ in plan.rounds("latency"):
            for packet in PACKETS:
                for kind in [KESTRO, SOCKET, RING, RAW_AT_ONCE]:
                    with Receiver(setup, kind, 1, packet) as receiver:
                        for batched in (False, True):
                            if can_receive(kind, batched):
                                latency_of(figures, plan, sender, receiver, batched)


def latency_of(figures, plan, sender, receiver, batched):
    packet = receiver.packet_bytes
    warm_up(sender, receiver, batched)
    done = trial.run(sender, receiver, plan.long_seconds, batched,
                     f"rate={2 * LATENCY_SHARE * COMMON_RATE[(packet, batched)]}")
    if not done.latencies:
        return
    figures.add("latency", receiver.kind.name, {"packet": packet, "batched": batched}, rate=done.rate,
                frames=len(done.latencies), lossless=float(done.is_lossless()),
                **{f"p{name}_us": percentile(done.latencies, share) / 1000
                   for name, share in (("50", 0.5), ("99", 0.99), ("99.9", 0.999))})


def cameras(setup, figures, plan):
    """Processor time for packets of several cameras that together send at a common rate."""
    with Sender(setup, MOST_CAMERAS, *SMALL) as sender:
        for _ in plan.rounds("cameras"):
            for count in (1, 4, 16):
                for kind in [KESTRO, SOCKET, RAW]:
                    with Receiver(setup, kind, count, 1500, SCALE_BUFFERS) as receiver:
                        for batched in (False, True):
                            warm_up(sender, receiver, batched)
                            done = trial.run(sender, receiver, plan.seconds, batched, f"rate={CAMERAS_RATE[batched]}")
                            spend(figures, "cameras", kind, {"cameras": count, "batched": batched}, done)


def scale(setup, figures, plan):
    """Cameras of 1.3 MP with 10 frames a second each, in one process."""
    with Sender(setup, MOST_CAMERAS, *SMALL) as sender:
        for _ in plan.rounds("scale"):
            for count in SCALE_CAMERAS:
                with Receiver(setup, KESTRO, count, 1500, SCALE_BUFFERS) as receiver:
                    warm_up(sender, receiver, True)
                    done = trial.run(sender, receiver, plan.long_seconds, True, f"fps={SCALE_FPS} link={GIGABIT}")
                    scale_of(figures, count, done)


def scale_of(figures, count, done):
    buffers = SCALE_BUFFERS * SMALL[0] * SMALL[1] / 2 ** 20
    figures.add("scale", KESTRO.name, {"cameras": count},
                cpu_ms_per_second_and_camera=1000 * done.cpu / done.sent["seconds"] / count,
                megabytes=done.received["megabytes"], buffer_megabytes=count * buffers,
                megabytes_beside_buffers_and_camera=(done.received["megabytes"] - count * buffers) / count,
                threads=done.received["threads"], lossless=float(done.is_lossless()),
                p50_us=percentile(done.latencies, 0.5) / 1000, p99_us=percentile(done.latencies, 0.99) / 1000)


class Plan:
    def __init__(self, quick, rounds):
        self.round_count = rounds or (1 if quick else 5)
        self.seconds = 0.5 if quick else 1.0
        self.long_seconds = 1.0 if quick else 2.0

    def rounds(self, part):
        for i in range(self.round_count):
            print(f"{part}: round {i + 1} of {self.round_count}", file=sys.stderr, flush=True)
            yield i


PARTS = {"rates": rates, "latency": latency, "cameras": cameras, "scale": scale}


def shown(figure, scale_by=1.0, digits=0):
    if figure is None:
        return "-"
    values = [figure[name] * scale_by for name in ("median", "min", "max")]
    return "{:.{d}f} ({:.{d}f}..{:.{d}f})".format(*values, d=digits)


class Table:
    def __init__(self, summary):
        self.by = {(f["part"], f["receiver"], f.get("packet"), f.get("batched"), f.get("cameras"), f["figure"]): f
                   for f in summary}
        self.keys = list(self.by)

    def get(self, part, kind, figure, packet=None, batched=None, count=None):
        return self.by.get((part, kind, packet, batched, count, figure))

    @staticmethod
    def row(*cells):
        print("| " + " | ".join(map(str, cells)) + " |", flush=True)

    def heading(self, title, *cells):
        print(f"\n{title}\n")
        self.row(*cells)
        print("|" + "---|" * len(cells))

    def has(self, part):
        return any(key[0] == part for key in self.keys)

    def print(self):
        if self.has("cpu"):
            self.print_rates()
        if self.has("latency"):
            self.print_latency()
        if self.has("cameras"):
            self.print_cameras()
        if self.has("scale"):
            self.print_scale()

    def cases(self):
        return [(packet, batched, kind) for packet in PACKETS for batched in (False, True)
                for kind in KINDS if can_receive(kind, batched)]

    def print_rates(self):
        self.heading("One camera, 5 MP: processor time at a common rate, and the highest rate without loss",
                     "packet", "batches", "receiver", "MB/s", "ns/packet", "ms/GB", "highest MB/s", "limit")
        for packet, batched, kind in self.cases():
            get = lambda part, name: self.get(part, kind.name, name, packet, batched)  # noqa: E731
            limit = get("highest", "sender_limited")["median"]
            self.row(packet, "yes" if batched else "no", kind.name, f"{get('cpu', 'rate')['median'] / 1e6:.0f}",
                     shown(get("cpu", "ns_per_packet")), shown(get("cpu", "seconds_per_gigabyte"), 1000),
                     shown(get("highest", "rate"), 1e-6), "sender" if limit > 0.5 else "receiver")

    def print_latency(self):
        self.heading("One camera, 1.3 MP: microseconds from the last packet to the hand-over",
                     "packet", "batches", "receiver", "MB/s", "p50", "p99", "p99.9")
        for packet, batched, kind in self.cases():
            get = lambda name: self.get("latency", kind.name, name, packet, batched)  # noqa: E731
            if get("rate"):
                self.row(packet, "yes" if batched else "no", kind.name, f"{get('rate')['median'] / 1e6:.0f}",
                         *(shown(get(f"p{name}_us")) for name in ("50", "99", "99.9")))

    def print_cameras(self):
        self.heading("Several cameras, 1.3 MP, 1500 bytes, at a common rate together",
                     "cameras", "batches", "receiver", "MB/s", "ns/packet", "without loss")
        for count in (1, 4, 16):
            for batched in (False, True):
                for kind in (KESTRO, SOCKET, RAW):
                    get = lambda name: self.get("cameras", kind.name, name, None, batched, count)  # noqa: E731
                    self.row(count, "yes" if batched else "no", kind.name, f"{get('rate')['median'] / 1e6:.0f}",
                             shown(get("ns_per_packet")), shown(get("lossless")))

    def print_scale(self):
        self.heading("Cameras of 1.3 MP at 10 frames/s in one process",
                     "cameras", "CPU ms/s a camera", "MB", "of these buffers", "rest MB a camera", "threads", "p50 us", "p99 us")
        for count in SCALE_CAMERAS:
            get = lambda name: self.get("scale", KESTRO.name, name, None, None, count)  # noqa: E731
            self.row(count, shown(get("cpu_ms_per_second_and_camera"), digits=2), shown(get("megabytes"), digits=1),
                     f"{get('buffer_megabytes')['median']:.1f}", shown(get("megabytes_beside_buffers_and_camera"), digits=2),
                     shown(get("threads")), shown(get("p50_us")), shown(get("p99_us")))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--quick", action="store_true", help="one short round")
    parser.add_argument("--rounds", type=int, help="5 when not said")
    parser.add_argument("--only", default=",".join(PARTS), help="parts, with commas between them")
    parser.add_argument("--json", help="the file for all figures")
    parser.add_argument("--sender-cpu", type=int, default=0)
    parser.add_argument("--receiver-cpu", type=int, default=1)
    options = parser.parse_args()
    harness.enter_namespace()
    os.sched_setaffinity(0, {options.sender_cpu})  # the receivers have their processor for themselves
    setup = Setup(harness.BIN, options.sender_cpu, options.receiver_cpu)
    figures = Figures()
    for part in options.only.split(","):
        PARTS[part](setup, figures, Plan(options.quick, options.rounds))
    summary = figures.summary()
    if options.json:
        with open(options.json, "w") as file:
            json.dump({"machine": platform.platform(), "processors": os.cpu_count(), "figures": summary}, file, indent=1)
    Table(summary).print()


if __name__ == "__main__":
    main()
