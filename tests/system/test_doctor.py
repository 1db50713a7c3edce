# SPDX-License-Identifier: Apache-2.0
"""`kestro doctor` at cameras that are well, and at others: it says what is wrong, and what it says helps."""
import shlex
import signal
import unittest

import harness
import network
from harness import KESTRO, json_lines, kestro, simulator, wait_until

OK, NOT_FOUND, UNWELL = 0, 3, 7


class Visit:
    """A run that has ended: what it says of this host and of the camera, by check."""

    def __init__(self, run):
        self.code = run.returncode
        self.errors = run.stderr
        self.findings = json_lines(run.stdout)
        self.of = {finding["check"]: finding for finding in self.findings}

    def verdict(self, check):
        return self.of[check]["verdict"]

    def failed(self):
        return [finding["check"] for finding in self.findings if finding["verdict"] == "fail"]


def doctor(*arguments, run=kestro, seconds=0.4):
    return Visit(run("doctor", *arguments, "--json", "--seconds", seconds))


class OnOneMachine(unittest.TestCase):
    def test_finds_a_camera_well_and_leaves_it_as_it_was(self):
        with simulator("--fps", 30):
            kestro("set", "SIM001", "GevSCPSPacketSize=1500")
            visit = doctor()
            self.assertEqual((visit.code, visit.failed()), (OK, []), visit.findings)
            for check in ("interfaces", "search", "found", "subnet", "control", "connection", "description", "stream",
                          "packet_size", "camera_clock", "heartbeat"):
                self.assertEqual(visit.verdict(check), "pass", visit.of[check])
            self.assertEqual({finding["camera"] for finding in visit.findings}, {None, "Kestro:SIM001"})
            self.assertEqual(kestro("get", "SIM001", "GevSCPSPacketSize").stdout, "1500\n")

    def test_says_the_same_to_people(self):
        with simulator():
            run = kestro("doctor", "SIM001", "--seconds", 0.2)
        self.assertEqual(run.returncode, OK, run.stdout)
        self.assertRegex(run.stdout, r"(?m)\Athis host\n  PASS  interfaces +lo 127\.0\.0\.1/8")
        self.assertRegex(run.stdout, r"(?m)^camera SIM001\n  PASS  found ")
        self.assertNotIn("\033", run.stdout)
        self.assertRegex(run.stderr, r"\d+ checks: \d+ passed, .* 0 failed, \d+ skipped\n\Z")

    def test_makes_do_without_a_camera(self):
        visit = doctor()
        self.assertEqual((visit.code, visit.verdict("search")), (OK, "warn"))
        self.assertIn("through lo", visit.of["search"]["seen"])
        visit = doctor("NOBODY")
        self.assertEqual((visit.code, visit.failed()), (NOT_FOUND, ["found"]))
        self.assertRegex(visit.errors, r"(?m)^\d+ checks: .* 1 failed, \d+ skipped$")

    def test_connects_none_of_several(self):
        with simulator(cameras=2):
            visit = doctor()
        self.assertEqual(visit.code, OK)
        found = [finding["camera"] for finding in visit.findings if finding["check"] == "found"]
        self.assertEqual(found, ["Kestro:SIM001-1", "Kestro:SIM001-2"])
        self.assertNotIn("connection", visit.of)

    def test_says_that_another_program_has_the_camera(self):
        with simulator(), harness.Program(KESTRO, "read", "SIM001") as reader:
            wait_until(reader.stdout, what="a reader")
            visit = doctor()
        self.assertEqual((visit.code, visit.failed()), (UNWELL, ["control"]))
        self.assertIn("(127.0.0.1)", visit.errors)  # who it is, the log says

    def test_mends_a_wrong_subnet_by_the_command_that_it_names(self):
        with simulator("--claim", "10.9.8.7/24"):
            visit = doctor()
            self.assertEqual((visit.code, visit.failed()), (UNWELL, ["subnet"]))
            command, *words = shlex.split(visit.of["subnet"]["mend"])
            self.assertEqual([command, *words[:2]], ["kestro", "force-ip", "SIM001"])
            self.assertEqual(kestro(*words).returncode, 0)
            self.assertEqual(doctor().verdict("subnet"), "pass")

    def test_lets_a_triggered_camera_run_free_only_when_asked(self):
        with simulator("--fps", 30):
            kestro("set", "SIM001", "TriggerSelector=FrameBurstStart", "TriggerMode=On", "TriggerSelector=FrameStart",
                   "TriggerMode=On")
            visit = doctor()
            self.assertEqual((visit.code, visit.verdict("stream")), (OK, "skip"))
            self.assertIn("FrameStart, FrameBurstStart", visit.of["stream"]["seen"])
            self.assertEqual(doctor("--free-run").verdict("stream"), "pass")
            self.assert_triggered()
            with harness.Program(KESTRO, "doctor", "SIM001", "--free-run", "--seconds", "60") as endless:
                wait_until(lambda: "description" in endless.stdout(), what="the stream")
                self.assertEqual(endless.end(signal.SIGINT), OK, endless.stderr())
            self.assert_triggered()

    def assert_triggered(self):
        for words in ((), ("TriggerSelector=FrameBurstStart",)):
            if words:
                kestro("set", "SIM001", *words)
            else:
                self.assertEqual(kestro("get", "SIM001", "TriggerSelector").stdout, "FrameStart\n")
            self.assertEqual(kestro("get", "SIM001", "TriggerMode").stdout, "On\n")
        kestro("set", "SIM001", "TriggerSelector=FrameStart")

    def test_sees_packets_that_get_lost(self):
        # Of a twentieth, most comes again; how much not, is a matter of chance.
        for loss, verdicts in ((0.05, ("warn", "fail")), (0.9, ("fail",))):
            with self.subTest(loss), simulator("--fps", 30, "--fault", f"loss={loss}"):
                visit = doctor("SIM001", seconds=0.6)
                self.assertIn(visit.verdict("losses"), verdicts)
                self.assertIn("came only after", visit.of["losses"]["seen"])
                self.assertEqual(visit.code, UNWELL if visit.verdict("losses") == "fail" else OK)
                self.assertIn("AcquisitionFrameRate=15", visit.of["losses"]["mend"])


class OverACable(unittest.TestCase):
    def test_sees_what_is_between_it_and_the_camera(self):
        with network.Network() as net:
            host, cable, _ = net.camera("--fps", "30", mtu=(9000, 1500))
            visit = doctor(run=host.kestro)
            self.assertEqual((visit.code, visit.verdict("packet_size")), (OK, "warn"), visit.findings)
            self.assertIn("1500 bytes", visit.of["packet_size"]["seen"])
            self.assertEqual([visit.verdict(check) for check in ("subnets", "routes")], ["pass", "pass"])
            self.assertIn("another network namespace", visit.of["link"]["seen"])  # only the network is another
            host.drop(network.STREAM)
            visit = doctor(run=host.kestro)
            self.assertEqual((visit.code, visit.failed()), (UNWELL, ["stream"]))
            self.assertIn("iifname eth0 ip saddr 192.0.2.0/24", visit.of["stream"]["mend"])
            host.accept()
            visit = host.spawn(KESTRO, "doctor", "FAR", "--seconds", "60", "--json")
            wait_until(lambda: "description" in visit.stdout(), what="the stream")
            cable.pull()
            self.assertEqual(visit.wait(), UNWELL)
            last = json_lines(visit.stdout())[-1]
            self.assertEqual((last["check"], last["verdict"]), ("heartbeat", "fail"))


if __name__ == "__main__":
    harness.need(*network.PROGRAMS)
    harness.main()
