# SPDX-License-Identifier: Apache-2.0
"""Prints the figures as tables."""
import parts
from parts import KESTRO, KINDS, RAW, SOCKET

CASES = [(packet, batched) for packet in parts.PACKETS for batched in (False, True)]


def row(*cells):
    print("| " + " | ".join(map(str, cells)) + " |", flush=True)


def heading(title, *cells):
    print(f"\n{title}\n")
    row(*cells)
    print("|" + "---|" * len(cells))


def text(figure, factor=1.0, digits=0):
    return figure.text(factor, digits) if figure else "-"


def yes(batched):
    return "yes" if batched else "no"


def megabytes_per_second(figure):
    return f"{figure.median / 1e6:.0f}"


def rates(figures):
    heading("One camera of 5 MP: processor time at a common rate, and the highest rate without loss",
            "packet", "batches", "receiver", "MB/s", "ns/packet", "ms/GB", "highest MB/s", "limited by",
            "unpaced MB/s")
    for packet, batched in CASES:
        for kind in filter(lambda each: parts.can_receive(each, batched), KINDS):
            where = {"packet": packet, "batched": batched}
            spent = lambda name: figures.get("processor", kind.name, where, name)  # noqa: E731
            highest = figures.get("highest", kind.name, where, "rate")
            is_senders = figures.get("highest", kind.name, where, "is_senders").median > 0.5
            row(packet, yes(batched), kind.name, megabytes_per_second(spent("rate")), text(spent("ns_per_packet")),
                text(spent("ms_per_gigabyte")), text(highest, 1e-6), "sender" if is_senders else "receiver",
                text(figures.get("highest", kind.name, where, "unpaced"), 1e-6))


def ratios(figures):
    heading("Against the others, round by round; targets in brackets",
            "packet", "batches", "ns/packet: kestro of Aravis' socket", "raw of Aravis' socket", "kestro of raw",
            "highest rate: kestro of Aravis' socket", "kestro of raw")
    for packet, batched in CASES:
        where = {"packet": packet, "batched": batched}
        ratio = lambda part, other, name, one=KESTRO: text(  # noqa: E731
            figures.ratio(part, (one.name, other.name), where, name), digits=2)
        row(packet, yes(batched), ratio("processor", SOCKET, "ns_per_packet") + f" [{0.3 if batched else 0.7}]",
            ratio("processor", SOCKET, "ns_per_packet", RAW), ratio("processor", RAW, "ns_per_packet") + " [1.5]",
            ratio("highest", SOCKET, "rate") + (" [1.5]" if batched else ""), ratio("highest", RAW, "rate"))


def limits(figures):
    heading("What frames cost at least: the two raw receivers that make some, and the cheaper of them against the others",
            "packet", "batches", "ns/packet: raw copying", "raw splitting", "the cheaper of raw", "of Aravis' socket",
            "kestro of the cheaper")
    makers = [kind.name for kind in parts.FRAME_MAKERS]
    for packet, batched in CASES:
        where = {"packet": packet, "batched": batched}
        cheaper = figures.cheapest("processor", makers, where, "ns_per_packet")
        ratio = lambda one, other: text(figures.ratio("processor", (one, other), where, "ns_per_packet"), digits=2)  # noqa: E731
        row(packet, yes(batched), *(text(figures.get("processor", name, where, "ns_per_packet")) for name in makers),
            ratio(cheaper, RAW.name), ratio(cheaper, SOCKET.name), ratio(KESTRO.name, cheaper))


def latency(figures):
    heading("One camera of 1.3 MP: microseconds from the last packet to the hand-over",
            "packet", "batches", "receiver", "MB/s", "frames a round", "p50", "p99", "p99.9")
    for packet, batched in CASES:
        for kind in filter(lambda each: parts.can_receive(each, batched), KINDS):
            where = {"packet": packet, "batched": batched}
            get = lambda name: figures.get("latency", kind.name, where, name)  # noqa: E731
            row(packet, yes(batched), kind.name, megabytes_per_second(get("rate")), text(get("frames")),
                *(text(get(f"p{name}_us")) for name in ("50", "99", "99.9")))


def cameras(figures):
    heading("Several cameras of 1.3 MP, packets of 1500 bytes, at a common rate together",
            "cameras", "batches", "receiver", "MB/s", "ns/packet", "rounds without loss", "p50 us", "p99 us")
    for count in parts.CAMERAS:
        for batched in (False, True):
            for kind in (KESTRO, SOCKET, RAW):
                where = {"cameras": count, "batched": batched}
                get = lambda name: figures.get("cameras", kind.name, where, name)  # noqa: E731
                lossless = get("lossless").values
                row(count, yes(batched), kind.name, megabytes_per_second(get("rate")), text(get("ns_per_packet")),
                    f"{sum(lossless):.0f} of {len(lossless)}", text(get("p50_us")), text(get("p99_us")))


def scale(figures):
    heading("Cameras of 1.3 MP with 10 frames a second each, in one process",
            "cameras", "ms of a processor per second, each", "threads", "switches/s, each", "MB", "of these buffers",
            "grown while streaming", "p50 us", "p99 us")
    for count in parts.SCALE_CAMERAS:
        scale_row(figures, "scale", "cameras", count)


def buffers(figures):
    heading(f"{parts.BUFFER_CAMERAS} such cameras with more buffers each",
            "buffers", "ms of a processor per second, each", "threads", "switches/s, each", "MB", "of these buffers",
            "grown while streaming", "p50 us", "p99 us")
    for count in parts.BUFFER_COUNTS:
        scale_row(figures, "buffers", "buffers", count)


def scale_row(figures, part, what, count):
    get = lambda name: figures.get(part, KESTRO.name, {what: count}, name)  # noqa: E731
    row(count, text(get("ms_per_second_and_camera"), digits=1), text(get("threads")), text(get("switches")),
        text(get("megabytes"), digits=1), f"{get('buffer_megabytes').median:.1f}", text(get("grown_megabytes"), digits=1),
        text(get("p50_us")), text(get("p99_us")))


TABLES = {"processor": [rates, ratios, limits], "latency": [latency], "cameras": [cameras], "scale": [scale, buffers]}


def print_all(figures):
    for part, tables in TABLES.items():
        if figures.has(part):
            for table in tables:
                table(figures)
