# SPDX-License-Identifier: Apache-2.0
"""The pictures of docs/performance.md, by gnuplot."""
import os
import subprocess

from results import of, repeated, words

STYLE = """
set terminal pngcairo size 900,420 font "sans,11" background "#ffffff"
set style line 1 lc rgb "#1f6feb"
set style line 2 lc rgb "#d4762c"
set style line 3 lc rgb "#9a6bb8"
set style line 4 lc rgb "#8a8f98"
set border 3 lc rgb "#666666"
set tics nomirror
set grid ytics lt 1 lc rgb "#dddddd"
set key outside top center horizontal Left reverse
set yrange [0:*]
"""
BARS = """
set style data histograms
set style histogram clustered gap 1
set style fill solid 0.9 noborder
set boxwidth 0.9
set bmargin 4
"""


def cell(value):
    return '"' + value + '"' if isinstance(value, str) else "?" if value is None else str(value)


def draw_one(path, settings, plot, rows):
    """`rows` are the data that `plot` calls $data."""
    data = "\n".join(" ".join(map(cell, row)) for row in rows)
    script = f'{STYLE}{settings}\nset output "{path}"\n$data << EOD\n{data}\nEOD\nplot {plot}\n'
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def bars(names):
    return ", ".join(f'$data using {i + 2}{":xtic(1)" if i == 0 else ""} title "{name}" ls {i + 1}'
                     for i, name in enumerate(names))


RECEIVERS = ["kestro", "aravis socket", "aravis ring", "raw"]
TRAFFIC = [("1500 B,\\nsingle packets", 1500, False), ("1500 B,\\nbatches", 1500, True),
           ("8192 B,\\nsingle packets", 8192, False), ("8192 B,\\nbatches", 8192, True)]


def received(part, figure):
    """A row for each kind of traffic, with a value for each receiver."""
    values = {(line["receiver"], line.get("packet"), line.get("batched")): line["median"]
              for line in of("receive")["figures"] if line["part"] == part and line["figure"] == figure}
    return [[name, *(values.get((receiver, packet, batched)) for receiver in RECEIVERS)]
            for name, packet, batched in TRAFFIC]


def receive_cpu(path):
    draw_one(path, BARS + 'set ylabel "ns of a processor per packet"', bars(RECEIVERS),
             received("processor", "ns_per_packet"))


def receive_latency(path):
    draw_one(path, BARS + 'set ylabel "µs from the last packet to the hand-over, median"\nset logscale y\nset yrange [10:*]',
             bars(RECEIVERS), received("latency", "p50_us"))


def hand_over(path):
    rows = []
    for name, counters in repeated("hand-over").items():
        at, plain = words(name)
        if plain[1] == "container_copied" and at["codes"] == 20:
            megabytes = {640: 0.3, 2448: 5.0, 5472: 20.0}[at["width"]]
            given = repeated("hand-over")[name.replace("copied", "given")]
            rows.append([f"{megabytes:g} MP", counters["memcpy_us"].median, counters["hand_over_us"].median,
                         given["hand_over_us"].median])
    draw_one(path, BARS + 'set ylabel "µs per frame with 20 codes"\nset logscale y\nset yrange [1:*]',
             bars(["memcpy of the image", "handed over with a copy", "handed over without"]), rows)


def scale(path):
    figures = [line for line in of("scale")["figures"] if line["part"] == "scale"]
    counts = sorted({line["cameras"] for line in figures})

    def values(name):
        return {line["cameras"]: line["median"] for line in figures if line["figure"] == name}

    cpu, latency = values("ms_per_second_and_camera"), values("p50_us")
    draw_one(path, 'set xlabel "cameras of 1.3 MP, 10 frames a second each"\nset logscale x 2\n'
             'set ylabel "ms of a processor per second and camera"\nset y2label "µs to the hand-over, median"\n'
             "set y2tics\nset y2range [0:*]\nset border 11",
             '$data using 1:2 with linespoints title "processor time" ls 1 lw 2 pt 7, '
             '$data using 1:3 axes x1y2 with linespoints title "latency (right)" ls 2 lw 2 pt 5',
             [[count, cpu[count], latency[count]] for count in counts])


def draw(folder):
    os.makedirs(folder, exist_ok=True)
    for picture in (receive_cpu, receive_latency, hand_over, scale):
        picture(os.path.join(folder, picture.__name__.replace("_", "-") + ".png"))
