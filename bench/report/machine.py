# SPDX-License-Identifier: Apache-2.0
"""Where and when something is measured."""
import datetime
import os
import re
import subprocess

from results import ROOT


def output(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.strip()


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        names = re.findall(r"^model name\s*: (.*)$", file.read(), re.MULTILINE)
    return names[0] if names else os.uname().machine


def system():
    with open("/etc/os-release", encoding="utf-8") as file:
        return re.search(r'^PRETTY_NAME="(.*)"$', file.read(), re.MULTILINE)[1]


def here_and_now():
    compiler = output("c++", "--version").splitlines()[0]
    commit = output("git", "-C", ROOT, "rev-parse", "--short", "HEAD")
    return (f"{processor()}, {os.cpu_count()} processors, {system()}, kernel {os.uname().release}, {compiler}, "
            f"`RelWithDebInfo`; commit {commit}, {datetime.date.today()}")
