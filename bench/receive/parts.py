# SPDX-License-Identifier: Apache-2.0
"""The parts of the comparison: what is sent to whom, and which figures come of it."""
import collections
import sys

import trial
from programs import Receiver, Sender

Kind = collections.namedtuple("Kind", "name program words")
KESTRO = Kind("kestro", "kestro", [])
SOCKET = Kind("aravis socket", "aravis", [])
RING = Kind("aravis ring", "aravis", ["ring"])
RAW = Kind("raw", "raw", [1600])       # microseconds that packets gather, as with this library at most
RAW_AT_ONCE = Kind("raw", "raw", [0])  # where the time counts
KINDS = [KESTRO, SOCKET, RING, RAW]
# What frames cost at least that are put together from what a socket gives: two ways.
COPYING = Kind("raw copying", "raw", ["1600,copy"])
SPLITTING = Kind("raw splitting", "raw", ["1600,split"])
FRAME_MAKERS = [COPYING, SPLITTING]

PACKETS = [1500, 8192]
LARGE = (2448, 2048)
SMALL = (1280, 1024)
CAMERAS = [1, 4, 16]
SCALE_CAMERAS = [1, 2, 4, 8, 16]
SCALE_FPS = 10
BUFFERS = 8
BUFFER_COUNTS = [4, 8, 16, 32]
BUFFER_CAMERAS = 2
GIGABIT = 118e6  # bytes a second of payload that such a link carries

# Bytes a second at which processor time is compared: all receivers keep up with them.
COMMON_RATE = {(1500, False): 200e6, (1500, True): 400e6, (8192, False): 400e6, (8192, True): 600e6}
CAMERAS_RATE = {False: 150e6, True: 300e6}
LATENCY_RATE = {case: 0.8 * rate for case, rate in COMMON_RATE.items()}  # some 0.4 of what loses nothing
WARM_UP = 0.15  # seconds


class Plan:
    def __init__(self, is_quick, rounds):
        self.round_count = rounds or (1 if is_quick else 5)
        self.seconds = 0.5 if is_quick else 0.8
        self.long_seconds = 1.0 if is_quick else 2.0

    def rounds(self, part):
        for i in range(self.round_count):
            print(f"{part}: round {i + 1} of {self.round_count}", file=sys.stderr, flush=True)
            yield i


def can_receive(kind, batched):
    """A packet socket is given batches before they are cut, which Aravis takes for single packets."""
    return not (kind is RING and batched)


def ways_of(kind):
    return [batched for batched in (False, True) if can_receive(kind, batched)]


def percentile(ordered, share):
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))]


def percentiles(done, *shares):
    """Microseconds; nothing where no frame came."""
    if not done.latencies:
        return {}
    return {f"p{100 * share:g}_us": percentile(done.latencies, share) / 1000 for share in shares}


def warm_up(sender, receiver, batched):
    trial.run(sender, receiver, WARM_UP, batched, "rate=100e6")


def spend(figures, part, kind, where, done):
    figures.add(part, kind.name, where, ns_per_packet=done.ns_per_packet, ms_per_gigabyte=1000 * done.seconds_per_gigabyte,
                processor_share=done.cpu / done.sent["seconds"], rate=done.rate, frames=done.sent["frames"],
                lossless=float(done.is_lossless()), switches=done.received["switches"] / done.sent["seconds"],
                sender_share=done.sent["cpu"] / done.sent["seconds"], **percentiles(done, 0.5, 0.99))


class Search:
    """The highest rate without loss, in steps; begins where it ended the time before."""

    LOWEST = 50e6
    STEP = 1.15
    FIRST = 10
    FIRST_STRIDE = 4

    def __init__(self):
        self.begin = {}

    def rate_of(self, step):
        return self.LOWEST * self.STEP ** step

    def highest(self, key, run):
        """`run(rate)` is a trial, at 0 as fast as it goes."""
        unpaced = self.attempt(run, 0)
        if unpaced.is_lossless():
            return {"rate": unpaced.rate, "is_senders": 1.0, "unpaced": unpaced.rate}
        return {"rate": self.climb(key, run, unpaced.rate), "is_senders": 0.0, "unpaced": unpaced.rate}

    def climb(self, key, run, lossy_rate):
        """Bytes a second, below a rate at which something was lost."""
        above = 1
        while self.rate_of(above) < lossy_rate:
            above += 1
        stride = 1 if key in self.begin else self.FIRST_STRIDE
        step = min(self.begin.get(key, self.FIRST), above - 1)
        below, best = -1, 0.0
        while above - below > 1:
            done = self.attempt(run, self.rate_of(step))
            if done.is_lossless():
                below, best, beyond = step, max(best, done.rate), step + stride
            else:
                above, beyond = step, step - stride
            step = beyond if below < beyond < above else (below + above) // 2
        self.begin[key] = max(below, 0)
        return best

    @staticmethod
    def attempt(run, rate):
        """Twice where need be: what else the machine does costs a frame, too, or keeps the sender from its rate."""
        for _ in range(2):
            done = run(rate)
            if done.is_lossless() and done.rate > 0.95 * rate:
                break
        return done


def rates(setup, figures, plan):
    """Processor time at a common rate, and the highest rate without loss."""
    search = Search()
    with Sender(setup, 1, *LARGE) as sender:
        for _ in plan.rounds("rates"):
            for packet in PACKETS:
                for kind in KINDS + FRAME_MAKERS:
                    with Receiver(setup, kind, 1, packet) as receiver:
                        for batched in ways_of(kind):
                            rates_of(figures, plan, search, sender, receiver, batched)


def rates_of(figures, plan, search, sender, receiver, batched):
    kind, where = receiver.kind, {"packet": receiver.packet_bytes, "batched": batched}

    def run(rate):
        return trial.run(sender, receiver, plan.seconds, batched, f"rate={rate}")

    warm_up(sender, receiver, batched)
    spend(figures, "processor", kind, where, run(COMMON_RATE[(receiver.packet_bytes, batched)]))
    if kind in FRAME_MAKERS:
        return
    figures.add("highest", kind.name, where, receive_buffer=receiver.details.get("receive_buffer", 0),
                **search.highest((kind.name, *where.values()), run))


def latency(setup, figures, plan):
    """From the sending of a frame's last packet to its hand-over."""
    with Sender(setup, 1, *SMALL) as sender:
        for _ in plan.rounds("latency"):
            for packet in PACKETS:
                for kind in [KESTRO, SOCKET, RING, RAW_AT_ONCE]:
                    with Receiver(setup, kind, 1, packet) as receiver:
                        for batched in ways_of(kind):
                            latency_of(figures, plan, sender, receiver, batched)


def latency_of(figures, plan, sender, receiver, batched):
    where = {"packet": receiver.packet_bytes, "batched": batched}
    warm_up(sender, receiver, batched)
    done = trial.run(sender, receiver, plan.long_seconds, batched, f"rate={LATENCY_RATE[(receiver.packet_bytes, batched)]}")
    figures.add("latency", receiver.kind.name, where, rate=done.rate, frames=len(done.latencies),
                lossless=float(done.is_lossless()), **percentiles(done, 0.5, 0.99, 0.999))


def cameras(setup, figures, plan):
    """Processor time for packets of several cameras that together send at a common rate."""
    with Sender(setup, max(CAMERAS), *SMALL) as sender:
        for _ in plan.rounds("cameras"):
            for count in CAMERAS:
                for kind in [KESTRO, SOCKET, RAW]:
                    with Receiver(setup, kind, count, 1500, BUFFERS) as receiver:
                        for batched in (False, True):
                            warm_up(sender, receiver, batched)
                            done = trial.run(sender, receiver, plan.seconds, batched, f"rate={CAMERAS_RATE[batched]}")
                            spend(figures, "cameras", kind, {"cameras": count, "batched": batched}, done)


def steady(sender, receiver, plan):
    """Cameras that are at gigabit links and have SCALE_FPS frames a second each."""
    warm_up(sender, receiver, True)
    return trial.run(sender, receiver, plan.long_seconds, True, f"fps={SCALE_FPS} link={GIGABIT}")


def scale(setup, figures, plan):
    """More and more cameras in one process, and more and more buffers."""
    with Sender(setup, max(SCALE_CAMERAS), *SMALL) as sender:
        for _ in plan.rounds("scale"):
            for count in SCALE_CAMERAS:
                with Receiver(setup, KESTRO, count, 1500, BUFFERS) as receiver:
                    scale_of(figures, "scale", {"cameras": count}, count, count * BUFFERS, steady(sender, receiver, plan))
            for buffers in BUFFER_COUNTS:
                with Receiver(setup, KESTRO, BUFFER_CAMERAS, 1500, buffers) as receiver:
                    scale_of(figures, "buffers", {"buffers": buffers}, BUFFER_CAMERAS, BUFFER_CAMERAS * buffers,
                             steady(sender, receiver, plan))


def scale_of(figures, part, where, count, buffers, done):
    received, seconds = done.received, done.sent["seconds"]
    in_buffers = buffers * SMALL[0] * SMALL[1] / 2 ** 20
    figures.add(part, KESTRO.name, where, ms_per_second_and_camera=1000 * done.cpu / seconds / count,
                megabytes=received["megabytes"], buffer_megabytes=in_buffers,
                other_megabytes=received["megabytes"] - in_buffers, grown_megabytes=received["grown_megabytes"],
                threads=received["threads"], switches=received["switches"] / seconds / count,
                lossless=float(done.is_lossless()), **percentiles(done, 0.5, 0.99))


PARTS = {"rates": rates, "latency": latency, "cameras": cameras, "scale": scale}
