# SPDX-License-Identifier: Apache-2.0
"""What was meant to be reached, and whether it was."""
import math
import statistics

from results import Spread, of, repeated, words


class Received:
    """The rounds of the receivers, which took turns in each."""

    def __init__(self):
        self.values = {(line["part"], line["receiver"], line.get("packet"), line.get("batched"), line["figure"]):
                       line["values"] for line in of("receive")["figures"]}

    def ratio(self, part, figure, other, packet, batched, one="kestro"):
        ours, others = (self.values[part, receiver, packet, batched, figure] for receiver in (one, other))
        # A highest rate is 0 where every rate loses: who loses like the other has not beaten it.
        ratios = [a / b if b else (math.inf if a else 0.0) for a, b in zip(ours, others)]
        return Spread(statistics.median(ratios), min(ratios), max(ratios))

    def least(self, other, packet, batched):
        """The processor time of the cheaper of those that make frames and nothing else, against another's."""
        makers = {receiver for _, receiver, *_ in self.values if receiver.startswith("raw ")}
        return min((self.ratio("processor", "ns_per_packet", other, packet, batched, maker) for maker in makers),
                   key=lambda ratio: ratio.median)


def row(what, reached, bound, form, unit="", is_least=False, limit=None):
    """`limit` is what a receiver reached that does only what none can leave out; worth telling of a target that was missed."""
    is_met = reached.median >= bound if is_least else reached.median <= bound
    target = f"at {'least' if is_least else 'most'} {bound:g}{unit}"
    return [f"{what}: {target}", f"{reached:{form}}{unit} ({reached.range(form)})", "met" if is_met else "**missed**",
            f"{limit:{form}}{unit}" if limit and not is_met else ""]


def receiving():
    received = Received()
    for packet in (1500, 8192):
        for batched in (True, False):
            where = f"{packet} bytes, {'batches' if batched else 'single packets'}"
            ratio = lambda part, figure, other: received.ratio(part, figure, other, packet, batched)  # noqa: E731
            for what, other, bound in (("processor time per packet against Aravis' socket", "aravis socket", 0.3 if batched else 0.7),
                                       ("the same against the bare receiver", "raw", 1.5)):
                yield row(f"{what}, {where}", ratio("processor", "ns_per_packet", other), bound, ".2f",
                          limit=received.least(other, packet, batched))
            if batched:
                yield row(f"highest rate without loss against Aravis' socket, {where}",
                          ratio("highest", "rate", "aravis socket"), 1.5, ".2f", is_least=True,
                          limit=received.ratio("highest", "rate", "aravis socket", packet, batched, "raw"))


def handing_over():
    found = repeated("hand-over")
    for road, bound in (("copied", 1.10), ("given", 0.35)):
        for payload in ("container", "chunks"):
            name = next(name for name in found if f"{payload}_{road}/width:2448/height:2048/codes:20" in name)
            given = found[name.replace("_copied/", "_given/")]["ratio"]
            yield row(f"hand-over, image {road}, 5 MP, 20 codes, {payload}, against a memcpy of the image",
                      found[name]["ratio"], bound, ".2f", limit=1 + given.median if road == "copied" else None)


def decoding():
    for name, counters in repeated("result-json").items():
        if "codes:20/" in name and "ratio" in counters:
            yield row("result text with 20 codes against json11", counters["ratio"], 0.333, ".2f")
    for name, counters in repeated("chunks").items():
        codes = sum(words(name)[0][kind] for kind in ("barcodes", "qr"))
        where = f"a frame with {codes} code{'s' if codes > 1 else ''}"
        yield row(f"texts of chunks, each code, less what the frame takes without them, {where}", counters["ns_per_code"], 600, ".0f", " ns")


def connecting():
    name = next(name for name in repeated("connect") if "/again/" in name)
    yield row("connect again", repeated("connect")[name]["ours_ms"], 5, ".2f", " ms")


def discovering():
    for name, counters in repeated("discovery").items():
        cameras = int(name.split("cameras:")[1].split("/")[0])
        where = f"{cameras} camera{'s' if cameras > 1 else ''}, {'nobody known yet' if 'first' in name else 'all known'}"
        found, answers, call = (counters[counter] for counter in ("found", "answers_ms", "call_ms"))
        yield row(f"discovery, {where}: found in every call", Spread(found.least, found.least, found.most), cameras, ".0f",
                  is_least=True)
        yield row(f"discovery, {where}: the last answer taken in, slowest call",
                  Spread(answers.most, answers.least, answers.most), 50, ".1f", " ms")
        yield row(f"discovery, {where}: slowest call", Spread(call.most, call.least, call.most), 300, ".0f", " ms")


def all_of_them():
    for part in (receiving, handing_over, decoding, connecting, discovering):
        yield from part()
