# SPDX-License-Identifier: Apache-2.0
"""Writes docs/performance.md: the text of performance.md.in here, with what was measured in its places."""
import datetime
import os
import re
import subprocess

import plots
import tables
from results import ROOT

TEMPLATE = os.path.join(ROOT, "bench/report/performance.md.in")
PAGE = os.path.join(ROOT, "docs/performance.md")
PICTURES = os.path.join(ROOT, "docs/performance")


def output(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.strip()


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        names = re.findall(r"^model name\s*: (.*)$", file.read(), re.MULTILINE)
    return names[0] if names else os.uname().machine


def system():
    with open("/etc/os-release", encoding="utf-8") as file:
        return re.search(r'^PRETTY_NAME="(.*)"$', file.read(), re.MULTILINE)[1]


def machine():
    compiler = output("c++", "--version").splitlines()[0]
    return (f"{processor()}, {os.cpu_count()} processors, {system()}, kernel {os.uname().release}, {compiler}, "
            f"`RelWithDebInfo`; {datetime.date.today()}")


def write():
    """Each {name} alone on its line stands for what the function `name` of tables.py gives."""
    def fill(match):
        name = match[1]
        return machine() if name == "machine" else getattr(tables, name)()

    with open(TEMPLATE, encoding="utf-8") as file:
        text = re.sub(r"^\{(\w+)\}$", fill, file.read(), flags=re.MULTILINE)
    plots.draw(PICTURES)
    with open(PAGE, "w", encoding="utf-8") as file:
        file.write(text)
