# SPDX-License-Identifier: Apache-2.0
"""The tables of docs/performance.md, each a function of its name there."""
import os
import subprocess

import bounds
from results import ROOT, path_of, repeated, words


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
        rows.append([codes, *(f"{counters[part + 'ns_per_code']:.0f}" for part in ("lines_", "", "whole_")),
                     f"{counters['frame_ns']:.0f}"])
    return table(["codes", "lines, ns per code", "texts to codes, ns per code", "both", "a frame without codes, ns"], rows)


def c_interface():
    rows = []
    for name, counters in repeated("c-interface").items():
        at, plain = words(name)
        rows.append([{"callback": "callback", "fetch": "fetched"}[plain[0]], f"{at['width']} x {at['height']}",
                     microseconds(counters["classes_us"].median), microseconds(counters["c_us"].median),
                     f"{counters['difference_us']:.2f}", counters["difference_us"].range(".2f")])
    return table(["per frame, in µs", "image", "C++", "C", "difference", "of nine repetitions"], rows)


MEGAPIXELS = {640: "0.3 MP", 2448: "5 MP", 5472: "20 MP"}
PAYLOADS = {"container": "container", "jpeg": "container with a JPEG file", "chunks": "image and chunks"}


def hand_over():
    """One line for each payload, size and number of codes: copied and given against the same memcpy."""
    rows = {}
    for name, counters in repeated("hand-over").items():
        at, plain = words(name)
        payload, road = plain[1].split("_")
        rows.setdefault((payload, at["width"], at["codes"]), {})[road] = counters
    lines = []
    for (payload, width, codes), roads in rows.items():
        copied, given = roads["copied"], roads["given"]
        lines.append([PAYLOADS[payload], MEGAPIXELS[width], codes, microseconds(copied["memcpy_us"].median),
                      microseconds(copied["hand_over_us"].median), f"{copied['ratio']:.2f}", copied["ratio"].range(".2f"),
                      microseconds(given["hand_over_us"].median), f"{given['ratio']:.2f}", given["ratio"].range(".2f")])
    return table(["payload", "size", "codes", "memcpy, µs", "copied, µs", "ratio", "of nine", "given, µs", "ratio",
                  "of nine"], lines)


def control():
    rows = []
    for name, counters in repeated("control").items():
        what = "set and get" if "SetAndGet" in name else "get"
        rows.append([what, f"`{words(name)[1][1]}`", f"{counters['ours_per_s']:.0f}", f"{counters['aravis_per_s']:.0f}",
                     f"{counters['ratio']:.2f}", counters["ratio"].range(".2f"), f"{counters['ours_requests']:.0f}",
                     f"{counters['aravis_requests']:.0f}"])
    return table(["", "feature", "Kestro, per second", "Aravis, per second", "ratio", "of nine", "requests, Kestro",
                  "requests, Aravis"], rows)


CONNECTS = {"cold": "first connect of a process", "second_camera": "connect of a second camera of the model",
            "again": "connect again", "disconnect_and_connect": "disconnect and connect again"}


def connect():
    rows = []
    for name, counters in repeated("connect").items():
        ours, peer = counters["ours_ms"], counters["aravis_ms"]
        rows.append([CONNECTS[words(name)[1][1]], f"{ours:.2f}", ours.range(".2f"), f"{peer:.2f}", peer.range(".2f")])
    return table(["milliseconds", "Kestro", "of nine", "Aravis", "of nine"], rows)


def discovery():
    rows = []
    for name, counters in repeated("discovery").items():
        at, plain = words(name)
        found = counters["found"]
        rows.append([{"first": "the first", "later": "a later one"}[plain[1]], at["cameras"],
                     f"{found.least:.0f} to {found.most:.0f}", f"{counters['answers_ms']:.1f}",
                     f"{counters['answers_ms'].most:.1f}", f"{counters['call_ms']:.0f}", f"{counters['call_ms'].most:.0f}"])
    return table(["call of a process", "cameras", "found, in 20 calls", "last answer in, ms", "at most", "call, ms",
                  "at most"], rows)


def of_receivers(part):
    command = ["python3", "-B", os.path.join(ROOT, "bench/receive/receive.py"), "--tables", path_of(part)]
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.strip()


def receive():
    return of_receivers("receive")


def scale():
    return of_receivers("scale")


def targets():
    return table(["target", "reached", "", "the limit that was measured"], bounds.all_of_them())
