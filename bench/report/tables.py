# SPDX-License-Identifier: Apache-2.0
"""The tables of docs/performance.md, each a function of its name there."""
from results import repeated, words


def table(heading, rows):
    lines = [heading, ["---"] * len(heading), *rows]
    return "\n".join("| " + " | ".join(map(str, line)) + " |" for line in lines)


def microseconds(value):
    """Three digits are all that a run repeats."""
    return f"{float(f'{value:.3g}'):g}"


def result_json():
    rows = []
    for name, counters in repeated("result-json").items():
        codes = words(name)[0]["codes"]
        row = [codes, microseconds(counters["kestro_us"].median),
               f"{1000 * counters['kestro_us'].median / codes:.0f}"]
        if "json11_us" in counters:
            row += [microseconds(counters["json11_us"].median), f"{counters['ratio']:.2f}", counters["ratio"].range(".2f")]
        rows.append(row)
    heading = ["codes", "Kestro, µs", "ns per code", "json11, µs", "ratio", "of nine repetitions"]
    return table(heading[:len(rows[0])], rows)


def chunks():
    rows = []
    for name, counters in repeated("chunks").items():
        at = words(name)[0]
        codes = f"{at['barcodes']} and {at['qr']} QR" if at["qr"] else at["barcodes"]
        rows.append([codes, *(f"{counters[part + '_ns_per_code']:.0f}" for part in ("lines", "texts", "whole"))])
    return table(["codes", "lines, ns per code", "texts to codes, ns per code", "the whole frame, ns per code"], rows)


def c_interface():
    rows = []
    for name, counters in repeated("c-interface").items():
        at, plain = words(name)
        rows.append([{"callback": "callback", "fetch": "fetched"}[plain[0]], f"{at['width']} x {at['height']}",
                     microseconds(counters["classes_us"].median), microseconds(counters["c_us"].median),
                     f"{counters['difference_us']:.2f}", counters["difference_us"].range(".2f")])
    return table(["per frame, in µs", "image", "C++", "C", "difference", "of nine repetitions"], rows)
