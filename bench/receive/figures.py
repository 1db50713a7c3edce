# SPDX-License-Identifier: Apache-2.0
"""The figures of all rounds, and what is made of them."""
import collections
import json
import math
import statistics


class Figures:
    """Lists of values, one of each round, by part, receiver, circumstances and name."""

    NOT_WHERE = {"part", "receiver", "figure", "median", "min", "max", "values"}

    def __init__(self):
        self.values = collections.defaultdict(list)

    def add(self, part, receiver, where, **figures):
        for name, value in figures.items():
            self.values[self.key(part, receiver, where, name)].append(value)

    @staticmethod
    def key(part, receiver, where, name):
        return part, receiver, json.dumps(where, sort_keys=True), name

    def get(self, part, receiver, where, name):
        """None where nothing was measured."""
        values = self.values.get(self.key(part, receiver, where, name))
        return Figure(values) if values else None

    def ratio(self, part, receivers, where, name):
        """Of two receivers, round by round: each had its turn when the other had."""
        values = [self.values.get(self.key(part, receiver, where, name)) for receiver in receivers]
        if not all(values):
            return None
        # A highest rate is 0 where every rate loses: who loses like the other has not beaten it.
        return Figure([a / b if b else (math.inf if a else 0.0) for a, b in zip(*values)])

    def cheapest(self, part, receivers, where, name):
        """Of several receivers the one with the least median; None where one was not measured."""
        found = {receiver: self.get(part, receiver, where, name) for receiver in receivers}
        return min(found, key=lambda receiver: found[receiver].median) if all(found.values()) else None

    def has(self, part):
        return any(key[0] == part for key in self.values)

    @classmethod
    def of_listed(cls, lines):
        """What listed() gave."""
        figures = cls()
        for line in lines:
            where = {name: value for name, value in line.items() if name not in cls.NOT_WHERE}
            figures.values[cls.key(line["part"], line["receiver"], where, line["figure"])] = line["values"]
        return figures

    def listed(self):
        return [{"part": part, "receiver": receiver, **json.loads(where), "figure": name, **Figure(values).listed()}
                for (part, receiver, where, name), values in self.values.items()]


class Figure:
    def __init__(self, values):
        self.values = values
        self.median = statistics.median(values) if values else float("nan")

    def listed(self):
        return {"median": self.median, "min": min(self.values), "max": max(self.values), "values": self.values}

    def text(self, factor=1.0, digits=0):
        """The median with the least and the largest."""
        if not self.values:
            return "-"
        return "{:.{d}f} ({:.{d}f}..{:.{d}f})".format(
            self.median * factor, min(self.values) * factor, max(self.values) * factor, d=digits)
