"""Draws the ladder benchmark's chart and prints its Markdown tables.

usage: chart.py results.csv ladder.png INPUT
"""
import csv
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402


def read(path):
    with open(path, newline="") as f:
        rows = list(csv.reader(f))
    split = next(i for i, r in enumerate(rows) if r[0] == "rendition")
    sides = {r[0]: [float(x) for x in r[1:]] for r in rows[1:split]}
    rungs = rows[split + 1:]
    return sides, rungs


def number(text):
    try:
        return float(text)
    except ValueError:
        return 0.0


def main():
    results, chart, source = sys.argv[1:4]
    sides, rungs = read(results)
    names = ["reference host", "ffmpeg"]
    wall = [sides[n][0] for n in names]
    cpu = [sides[n][1] + sides[n][2] for n in names]

    fig, (times, quality) = plt.subplots(1, 2, figsize=(11, 4.2))
    x = range(len(names))
    times.bar([i - 0.2 for i in x], wall, 0.4, label="wall time")
    times.bar([i + 0.2 for i in x], cpu, 0.4, label="CPU time (user + sys)")
    times.set_xticks(list(x), names)
    times.set_ylabel("seconds")
    times.set_title("Same input, same four-rung ladder")
    times.legend()
    for i in x:
        times.annotate(f"{wall[i]:.1f}", (i - 0.2, wall[i]), ha="center", va="bottom")
        times.annotate(f"{cpu[i]:.1f}", (i + 0.2, cpu[i]), ha="center", va="bottom")

    labels = [r[0] for r in rungs]
    ours = [number(r[3]) for r in rungs]
    theirs = [number(r[6]) for r in rungs]
    y = range(len(labels))
    quality.bar([i - 0.2 for i in y], ours, 0.4, label="reference host")
    quality.bar([i + 0.2 for i in y], theirs, 0.4, label="ffmpeg")
    quality.set_xticks(list(y), labels, rotation=15)
    quality.set_ylabel("PSNR against the source scaled alike (dB)")
    low = min([v for v in ours + theirs if v > 0] or [30])
    quality.set_ylim(max(0, low - 5), max(ours + theirs) + 2)
    quality.set_title("Output quality")
    quality.legend()
    fig.tight_layout()
    fig.savefig(chart, dpi=110)

    print(f"Input: `{source}`\n")
    print("| | wall (s) | CPU user+sys (s) | CPU / wall |")
    print("|---|---:|---:|---:|")
    for n, w, c in zip(names, wall, cpu):
        print(f"| {n} | {w:.2f} | {c:.2f} | {c / w:.2f} |")
    print(f"| ours / ffmpeg | {wall[0] / wall[1]:.2f} | {cpu[0] / cpu[1]:.2f} | |\n")
    print("| rendition | frames (ours / ffmpeg) | kbit/s (ours / ffmpeg) | PSNR dB (ours / ffmpeg) |")
    print("|---|---:|---:|---:|")
    for r in rungs:
        print(f"| {r[0]} | {r[1]} / {r[4]} | {r[2]} / {r[5]} | {number(r[3]):.2f} / {number(r[6]):.2f} |")


if __name__ == "__main__":
    main()
