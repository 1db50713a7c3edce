# SPDX-License-Identifier: Apache-2.0
"""Arguments that mean nothing end the program with code 2 before it does anything: wrong_arguments.py KESTRO"""
import subprocess
import sys

WRONG = (
    "", "nonsense", "list extra", "info", "read", "read A B", "read A -n", "read A -n 0", "read A -n -3",
    "read A -n 1.5", "read A -n 99999999999999999999999", "read A -d 0", "read A -d nan", "read A -d inf",
    "read A --timeout -1", "read A --reconnect", "read A --save /tmp/new --overlay /tmp/./new/", "sim --count 0", "sim --count 251", "sim --count -1", "sim --width 99999999999",
    "sim --format gif", "sim --difficulty 11", "sim --difficulty 2.5", "sim --fps nan", "sim --link 0.5", "read A --set X", "sim --scenes 0", "sim --images /nowhere", "sim --images . --seed 1",
    "sim --seed -1", "sim --address 300.1.1.1", "sim --claim 1.2.3.4", "sim --claim 1.2.3.4/33",
    "sim --faults /nowhere", "sim --faults /", "sim --fault loss", "sim --fault sneeze@3", "sim --fault power-cycle@3=1s,300.1.1.1",
    "sim --fault-seed -1", "sim --serial 0123456789ABCDEF", "demo --output",
    "features", "features A --visibility all", "get A", "set A", "set A Width", "set A =5", "set A @/nowhere/x", "exec A",
    "trigger", "save A", "load A /nowhere/x", "diff A /nowhere/x", "xml A", "reg A", "reg A zz", "reg A -4",
    "reg A 0 4294967296", "reg A 0=", "reg A 0 1 --length 8", "reg A 0 --length 0", "events A -n 0", "force-ip A",
    "doctor A B", "doctor --seconds 0", "doctor --seconds -1", "doctor A --seconds nan", "doctor --seconds 1e9",
    "force-ip A 1.2.3.4", "force-ip A 1.2.3.4/33",
)


def main(kestro):
    bad = 0
    for arguments in WRONG:
        run = subprocess.run([kestro, *arguments.split()], capture_output=True, text=True, timeout=20)
        if run.returncode != 2 or run.stdout or not run.stderr.startswith("kestro: "):
            bad += 1
            print(f"kestro {arguments}: {run.returncode}, {run.stdout!r}, {run.stderr!r}")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
