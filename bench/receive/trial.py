# SPDX-License-Identifier: Apache-2.0
"""One trial: the sender sends for a while, and both sides tell what became of it."""
import os
import tempfile
import time

DRAIN_SECONDS = 0.15  # what is in the socket's buffer by then is received, what is not is lost


class Trial:
    def __init__(self, sent, received, latencies):
        self.sent, self.received, self.latencies = sent, received, latencies

    @property
    def cpu(self):
        return self.received["user"] + self.received["system"]

    @property
    def rate(self):
        """Bytes of UDP payload a second, as they were really sent."""
        return self.sent["bytes"] / self.sent["seconds"]

    @property
    def frame_rate(self):
        return self.sent["frames"] / self.sent["seconds"]

    @property
    def ns_per_packet(self):
        return 1e9 * self.cpu / self.sent["packets"]

    @property
    def seconds_per_gigabyte(self):
        return 1e9 * self.cpu / self.sent["bytes"]

    def is_lossless(self):
        """Every frame came. As the sender never sends a packet again, one that is lost costs its frame."""
        received = self.received
        return (received["frames"] == self.sent["frames"] and self.sent["refused"] == 0
                and not received["bad_frames"] and not received["missing_packets"]
                and (received["bytes"] == 0 or received["bytes"] == self.sent["bytes"]))


def times(path):
    """{(camera, block): [nanoseconds, ...]}"""
    with open(path) as file:
        rows = [list(map(int, line.split())) for line in file]
    return {(row[0], row[1]): row[2:] for row in rows}


def run(sender, receiver, seconds, batched, pace):
    """`pace` is "rate=..." or "fps=... link=..."; latencies are nanoseconds."""
    with tempfile.TemporaryDirectory() as folder:
        sent_file, received_file = os.path.join(folder, "sent"), os.path.join(folder, "received")
        receiver.ask("begin")
        sent = sender.ask(f"cameras={receiver.cameras} seconds={seconds} batched={int(batched)} {pace} times={sent_file}"
                          + receiver.destination())
        time.sleep(DRAIN_SECONDS)
        received = receiver.ask(f"end {received_file}")
        handed_over = times(received_file)
        latencies = [handed_over[key][0] - began for key, (began, _) in times(sent_file).items() if key in handed_over]
        return Trial(sent, received, sorted(latencies))
