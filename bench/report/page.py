# SPDX-License-Identifier: Apache-2.0
"""Writes docs/performance.md: the text of performance.md.in here, with what was measured in its places."""
import os
import re
import sys

import plots
import tables
from parts import PARTS
from results import ROOT, of, rounds

TEMPLATE = os.path.join(ROOT, "bench/report/performance.md.in")
PAGE = os.path.join(ROOT, "docs/performance.md")
PICTURES = os.path.join(ROOT, "docs/performance")


RECEIVERS = ("receive", "scale")
LEAST_ROUNDS = 5


def measured():
    """One line when all parts agree, else one for each place and time."""
    parts = {}
    for part in PARTS:
        parts.setdefault(of(part).get("measured", "where and when was not recorded"), []).append(part)
    if len(parts) == 1:
        return "Measured on " + next(iter(parts)) + "."
    return "Measured:\n\n" + "\n".join(f"- {', '.join(names)}: {where}" for where, names in parts.items())


def refuse_quick_results():
    for part in RECEIVERS:
        if rounds(part) < LEAST_ROUNDS:
            sys.exit(f"bench: {part} was measured in {rounds(part)} of {LEAST_ROUNDS} rounds, which is not worth a page: "
                     f"scripts/bench {part}")


def write():
    """Each {name} alone on its line stands for what the function `name` of tables.py gives."""
    def fill(match):
        name = match[1]
        return measured() if name == "measured" else getattr(tables, name)()

    refuse_quick_results()
    with open(TEMPLATE, encoding="utf-8") as file:
        text = re.sub(r"^\{(\w+)\}$", fill, file.read(), flags=re.MULTILINE)
    plots.draw(PICTURES)
    with open(PAGE, "w", encoding="utf-8") as file:
        file.write(text)
