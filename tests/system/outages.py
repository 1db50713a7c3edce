# SPDX-License-Identifier: Apache-2.0
"""What a camera's link can suffer while frames come, and when the library tells of it.

Each function makes a network of its own, watches the connection with link_probe.c, and returns an Outage.
"""
import os
import signal
import time
import typing

import harness
import network

PROBE = os.path.join(harness.BIN, "kestro_link_probe")
HOST, CAMERA, ELSEWHERE, STRAY = "192.0.2.1", "192.0.2.2", "192.0.2.77", "198.51.100.7"
SMALL = ("--width", 320, "--height", 240, "--fps", 20, "--scenes", 1)
SETTINGS = {"Width": 160, "ReaderExpectedCount": 1}  # other than the camera begins with


class Outage(typing.NamedTuple):
    offline: float  # seconds from the loss to the event
    online: float   # from when the camera could be reached again to the event
    frame: float    # from the same to the first frame
    features: dict  # what SETTINGS were when the camera was back
    events: list    # (time, "offline" or "online") in order


class Probe:
    """The program that watches a connection, on a host."""

    def __init__(self, host, serial="FAR"):
        self.program = host.spawn(PROBE, serial, *(f"{name}={value}" for name, value in SETTINGS.items()))
        self.wait_for("frame")

    def lines(self):
        """(time, word, ...) of what it has written so far."""
        lines = [line.split() for line in self.program.stdout().rpartition("\n")[0].splitlines()]
        return [(float(time), *words) for time, *words in lines]

    def wait_for(self, word, since=0.0, seconds=30):
        """When the first line with this word was written after `since`."""
        def found():
            if self.program.process.poll() is not None:
                raise AssertionError("the probe ended: " + self.program.stderr())
            return [line[0] for line in self.lines() if line[1] == word and line[0] >= since]
        return harness.wait_until(found, seconds, f'"{word}": {self.connection_events()}')[0]

    def connection_events(self):
        return [line[:2] for line in self.lines() if line[1] in ("offline", "online")]

    def last_frame_before_loss(self):
        offline = self.wait_for("offline")
        return max(line[0] for line in self.lines() if line[1] == "frame" and line[0] < offline)

    def outage(self, lost, back):
        """What came of a loss at one time and the return at another."""
        offline = self.wait_for("offline", lost)
        online = self.wait_for("online", lost, seconds=20)
        frame = self.wait_for("frame", online)
        harness.wait_until(lambda: len(self.features(online)) == len(SETTINGS), what="the features")
        return Outage(offline - lost, online - back, frame - back, self.features(online), self.connection_events())

    def features(self, since):
        return {line[2]: int(line[3]) for line in self.lines() if line[1] == "feature" and line[0] >= since}

    def counter(self, name):
        """After its end."""
        return next(int(line[3]) for line in self.lines() if line[1:3] == ("counter", name))


def stay_away(seconds):
    """How long something lasts is part of what happens, nothing that is waited for."""
    time.sleep(seconds)


def pull(seconds, host_keeps_address=True):
    """The cable between host and camera is out for some time: both see their link go.

    Where something on the host manages its addresses, the one that the link had goes with it.
    """
    with network.Network() as net:
        host, cable, _ = net.camera(*SMALL)
        probe = Probe(host)
        lost = time.monotonic()
        cable.pull()
        if not host_keeps_address:
            host.ip("addr", "flush", "dev", cable.near)
        stay_away(seconds)
        back = time.monotonic()
        cable.put_back()
        if not host_keeps_address:
            back = time.monotonic()
            host.add_address(cable.near, HOST + "/24")
        return probe.outage(lost, back)


def switched(net):
    """A host, another one, a camera, and their cables to a switch: it is the switch's end that is pulled."""
    switch, host, other, there = (net.host() for _ in range(4))
    switch.switches()
    cables = [net.cable((end, address + "/24"), (switch, None))
              for end, address in ((host, HOST), (other, "192.0.2.99"), (there, CAMERA))]
    there.camera("FAR", CAMERA, *SMALL)
    return host, other, there, cables


def pull_behind_switch(seconds):
    """The camera's cable to a switch is out: the host's own link stays."""
    with network.Network() as net:
        host, _, _, cables = switched(net)
        probe = Probe(host)
        lost = time.monotonic()
        cables[2].pull()
        stay_away(seconds)
        back = time.monotonic()
        cables[2].put_back()
        return probe.outage(lost, back)


def joined(net):
    """A host, a camera's host, and the cable between them."""
    host, there = net.host(), net.host()
    return host, there, net.cable((host, HOST + "/24"), (there, CAMERA + "/24"))


def restart(seconds):
    """The camera is gone without a word, and comes back as if new."""
    with network.Network() as net:
        host, there, _ = joined(net)
        # A firewall that lets answers in has to be opened for the new stream, too.
        host.drop(f"ct state new udp sport != {network.GVCP_PORT}")
        sim = there.camera("FAR", CAMERA, *SMALL)
        probe = Probe(host)
        lost = time.monotonic()
        sim.end(signal.SIGKILL)
        stay_away(seconds)
        back = time.monotonic()
        there.camera("FAR", CAMERA, *SMALL)
        return probe.outage(lost, back)


def move(seconds):
    """The camera loses its power, and has another address when it gets it again."""
    with network.Network() as net:
        host, there, cable = joined(net)
        there.add_address(cable.far, ELSEWHERE + "/24")
        there.camera("FAR", CAMERA, *SMALL, "--fault", f"power-cycle@30={seconds}s,{ELSEWHERE}")
        probe = Probe(host)
        lost = probe.last_frame_before_loss()
        return probe.outage(lost, lost + seconds)


def stray(seconds):
    """The camera loses its power, and is in a wrong subnet when it gets it again, until somebody gives it an address."""
    with network.Network() as net:
        host, there, cable = joined(net)
        there.add_address(cable.far, STRAY + "/24")
        there.camera("FAR", CAMERA, *SMALL, "--fault", f"power-cycle@30={seconds}s,{STRAY}")
        probe = Probe(host)
        lost = probe.last_frame_before_loss()
        harness.wait_until(lambda: STRAY in probe.program.stderr(), what="the reason why it is not back")
        back = time.monotonic()
        forced = host.kestro("force-ip", "FAR", CAMERA + "/24")
        if forced.returncode != 0:
            raise AssertionError(forced.stderr)
        return probe.outage(lost, back)


def taken(seconds):
    """While the host's cable is out another host takes the camera, and keeps it for a while after it is back."""
    with network.Network() as net:
        host, other, _, cables = switched(net)
        probe = Probe(host)
        lost = time.monotonic()
        cables[0].pull()
        # The camera lets its controller go when it has heard nothing of it for three seconds.
        def taken():
            reader = other.spawn(harness.KESTRO, "read", "FAR", "--json")
            harness.wait_until(lambda: reader.stdout() or reader.process.poll() is not None, what="the other's frame")
            return reader if reader.process.poll() is None else None
        reader = harness.wait_until(taken, 15, "the other's control")
        cables[0].put_back()
        stay_away(seconds)
        back = time.monotonic()
        reader.end()
        return probe.outage(lost, back)
