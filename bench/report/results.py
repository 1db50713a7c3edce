# SPDX-License-Identifier: Apache-2.0
"""What the benchmarks have measured, where and when."""
import json
import os

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.join(ROOT, "build/bench")
RESULTS = os.path.join(BUILD, "results")
QUICK_RESULTS = os.path.join(BUILD, "results-quick")


def path_of(part):
    return os.path.join(RESULTS, part + ".json")


def of(part):
    with open(path_of(part), encoding="utf-8") as file:
        return json.load(file)


def rounds(part):
    """Of a part of the receivers, in the case that has the fewest; a latency has none in a round without frames."""
    return min(len(line["values"]) for line in of(part)["figures"] if line["figure"] in ("rate", "lossless"))


class Spread:
    """A figure of several runs: their middle one, and how far they lie apart."""

    def __init__(self, median, least, most):
        self.median, self.least, self.most = median, least, most

    def __format__(self, form):
        return format(self.median, form)

    def range(self, form):
        return f"{self.least:{form}} to {self.most:{form}}"


def repeated(part):
    """Of a Google Benchmark program that repeats: {name: {counter: Spread}}, in its order."""
    found = {}
    for line in of(part)["benchmarks"]:
        if line["run_type"] == "aggregate":
            found.setdefault(line["run_name"], {})[line["aggregate_name"]] = line
    return {name: Counters(aggregates) for name, aggregates in found.items()}


class Counters:
    """The counters of one benchmark: counters["ratio"] is a Spread."""

    def __init__(self, aggregates):
        self.aggregates = aggregates

    def __contains__(self, counter):
        return counter in self.aggregates["median"]

    def __getitem__(self, counter):
        return Spread(*(self.aggregates[which][counter] for which in ("median", "min", "max")))


def words(name):
    """Of a benchmark's name: ({"codes": 20}, ["handOver", "container"])."""
    values, plain = {}, []
    for word in name.split("/"):
        key, colon, value = word.partition(":")
        if not colon:
            plain.append(word)
        elif value.lstrip("-").isdigit():
            values[key] = int(value)
    return values, plain
