# SPDX-License-Identifier: Apache-2.0
"""Hosts joined by cables, for tests: a network namespace each, with veth devices between them.

They are made inside the namespace that harness.enter_namespace() made, so that nothing of it reaches the machine's
network. A namespace is there as long as a process is in it: each is held by one that ends with the test, however
the test ends.
"""
import contextlib
import json
import os
import re
import subprocess

import harness

PROGRAMS = ("unshare", "nsenter", "ip", "nft")
GVCP_PORT = 3956
STREAM = f"udp sport != {GVCP_PORT}"  # what a camera sends that is no answer to a command


class Host:
    """A machine of its own, or, once it forwards() or switches(), what is between two."""

    def __init__(self, stack):
        self.stack = stack
        self.devices = []
        self.routes = []
        self.is_switch = False
        shell = "ip link set lo up && echo here && exec cat"
        holder = subprocess.Popen(["unshare", "--net", "sh", "-c", shell], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE)
        stack.callback(holder.communicate)  # closes its input, which ends it
        if holder.stdout.readline() != b"here\n":
            raise AssertionError("no namespace for a host")
        self.pid = holder.pid
        # A camera in a wrong subnet is heard whatever the machine's own setting is.
        self.set("conf/all/rp_filter", 0)
        self.set("conf/default/rp_filter", 0)

    def set(self, name, value):
        self.run("sh", "-c", f"echo {value} > /proc/sys/net/ipv4/{name}")

    def inside(self, *command):
        return ["nsenter", "--net", "--target", str(self.pid), *map(str, command)]

    def environment(self, **more):
        return dict(os.environ, KESTRO_INTERFACES=",".join(self.devices), **more)

    def run(self, *command):
        return subprocess.run(self.inside(*command), check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              text=True).stdout

    def ip(self, *words):
        return self.run("ip", *words)

    def kestro(self, *arguments, seconds=60, **environment):
        """The finished run of `kestro` on this host."""
        return subprocess.run(self.inside(harness.KESTRO, *arguments), stdin=subprocess.DEVNULL, text=True,
                              capture_output=True, timeout=seconds, env=self.environment(**environment))

    def spawn(self, *command, **environment):
        """A program that runs beside the test, until it is ended or the network is left."""
        program = harness.Program(*self.inside(*command), env=self.environment(**environment))
        return self.stack.enter_context(program)

    def camera(self, serial, address, *options):
        """A simulated camera on this host, once it is ready."""
        sim = self.spawn(harness.KESTRO, "sim", "--serial", serial, "--address", address, *options)
        harness.wait_until(lambda: " ready\n" in sim.stdout() or sim.process.poll() is not None, what="the camera")
        if sim.process.poll() is not None:
            raise AssertionError("kestro sim ended: " + sim.stderr())
        return sim

    def route(self, *words):
        """A route that is there again after its device was down."""
        self.routes.append(words)
        self.ip("route", "replace", *words)

    def add_address(self, device, address):
        self.ip("addr", "add", address, "broadcast", "+", "dev", device)

    def forwards(self):
        """Makes a router of the host."""
        self.set("ip_forward", 1)

    def switches(self):
        """Makes a switch of the host: what is plugged in then needs no address at this end."""
        self.ip("link", "add", "bridge", "type", "bridge")
        self.ip("link", "set", "bridge", "up")
        self.is_switch = True

    def plug(self, device, address):
        """Takes a device into use, with an address and its prefix: 192.0.2.1/24."""
        if self.is_switch:
            self.ip("link", "set", device, "master", "bridge")
        else:
            self.add_address(device, address)
        self.ip("link", "set", device, "up")

    def received_bytes(self, device):
        return json.loads(self.ip("-json", "-statistics", "link", "show", device))[0]["stats64"]["rx"]["bytes"]

    def drop(self, match):
        """Drops what comes in and matches, as nftables writes it; accept() ends that."""
        self.run("nft", "add table ip test; "
                 "add chain ip test in { type filter hook input priority 0; }; "
                 f"add rule ip test in {match} drop")

    def lose(self, percent, match=STREAM):
        """Loses so many of the packets that match, by chance."""
        self.drop(f"{match} numgen random mod 1000 < {round(percent * 10)}")

    def dropped(self):
        """What drop() says where it also counts: drop("udp dport 1 counter")."""
        return self.run("nft", "list table ip test")

    def accept(self):
        self.run("nft", "delete table ip test")


class Cable:
    """From a host's device to a camera's; what pull() does to the link, the host sees as on a real one."""

    def __init__(self, host, camera, mtu):
        self.camera = camera
        self.near, self.far = f"eth{len(host.devices)}", f"eth{len(camera.devices)}"
        host.ip("link", "add", self.near, "mtu", str(mtu[0]), "type", "veth",
                "peer", "name", self.far, "mtu", str(mtu[1]), "netns", str(camera.pid))
        host.devices.append(self.near)
        camera.devices.append(self.far)

    # At the camera's end: taking the host's own end down would take its routes with it.
    def pull(self):
        self.camera.ip("link", "set", self.far, "down")

    def put_back(self):
        self.camera.ip("link", "set", self.far, "up")
        for words in self.camera.routes:
            self.camera.ip("route", "replace", *words)


class Network:
    """The hosts and cables of a test, and the programs on them: all gone when the block is left."""

    def __init__(self):
        self.stack = contextlib.ExitStack()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stack.close()

    def host(self):
        return Host(self.stack)

    def cable(self, one, other, mtu=(9000, 9000)):
        """Joins two (host, address) with a cable whose ends have these MTU; the second is the one to be pulled."""
        cable = Cable(one[0], other[0], mtu)
        for (host, address), device in ((one, cable.near), (other, cable.far)):
            host.plug(device, address)
        return cable

    def camera(self, *options, serial="FAR", subnet="192.0.2", mtu=(9000, 9000)):
        """The usual case: a host, a camera and the cable between them, (host, cable, simulator)."""
        host, there = self.host(), self.host()
        cable = self.cable((host, subnet + ".1/24"), (there, subnet + ".2/24"), mtu)
        return host, cable, there.camera(serial, subnet + ".2", *options)


def counted(text, name):
    """Of what a reader says at its end: "stream: frames delivered 12, frames lost 0"."""
    return int(re.search(rf"^stream: .*\b{name} (\d+)", text, re.M)[1])
