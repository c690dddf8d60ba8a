"""Draws the ladder benchmark's chart and prints its Markdown tables.

usage: chart.py results.csv ladder.png INPUT RUNS_DIR MACHINE

RUNS_DIR holds ours.all and ffmpeg.all: one line per run, "wall user sys cpu
peak_rss_kib load_before".
"""
import csv
import os
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

SIDES = ["reference host", "ffmpeg"]


def read(path):
    with open(path, newline="") as f:
        rows = list(csv.reader(f))
    split = next(i for i, r in enumerate(rows) if r[0] == "rendition")
    sides = {r[0]: [float(x) for x in r[1:]] for r in rows[1:split]}
    return sides, rows[split + 1:]


def runs(directory, side):
    with open(os.path.join(directory, side + ".all")) as f:
        return [[float(x) for x in line.split()] for line in f if line.strip()]


def number(text):
    try:
        return float(text)
    except ValueError:
        return 0.0


def main():
    results, chart, source, run_dir, machine = sys.argv[1:6]
    sides, rungs = read(results)
    wall = [sides[n][0] for n in SIDES]
    cpu = [sides[n][1] for n in SIDES]
    rss = [sides[n][4] for n in SIDES]
    each = {n: runs(run_dir, f) for n, f in zip(SIDES, ["ours", "ffmpeg"])}

    fig, (times, psnr, ssim) = plt.subplots(1, 3, figsize=(15, 4.4))
    x = range(len(SIDES))
    times.bar([i - 0.2 for i in x], wall, 0.4, label="wall time")
    times.bar([i + 0.2 for i in x], cpu, 0.4, label="CPU time (user + sys)")
    times.set_xticks(list(x), SIDES)
    times.set_ylabel("seconds (median of the runs)")
    times.set_title("Same input, same four-rung ladder")
    times.set_ylim(0, max(wall + cpu) * 1.3)
    times.legend(loc="upper center", ncol=2)
    for i in x:
        times.annotate(f"{wall[i]:.1f}", (i - 0.2, wall[i]), ha="center", va="bottom")
        times.annotate(f"{cpu[i]:.1f}", (i + 0.2, cpu[i]), ha="center", va="bottom")

    labels = [r[0] for r in rungs]
    y = range(len(labels))
    for axis, column, name in ((psnr, 4, "luma PSNR (dB)"), (ssim, 5, "luma SSIM")):
        ours = [number(r[column]) for r in rungs]
        theirs = [number(r[column + 4]) for r in rungs]
        axis.bar([i - 0.2 for i in y], ours, 0.4, label="reference host")
        axis.bar([i + 0.2 for i in y], theirs, 0.4, label="ffmpeg")
        axis.set_xticks(list(y), labels, rotation=15)
        axis.set_ylabel(name + " against the lanczos-scaled source")
        low = min([v for v in ours + theirs if v > 0] or [0])
        high = max(ours + theirs)
        margin = (high - low) * 0.5 + (1.0 if column == 4 else 0.005)
        # Room above the bars for the legend.
        top = high + 2 * margin
        axis.set_ylim(max(0, low - margin), top if column == 4 else min(1.0, top))
        axis.set_title("Output quality: " + name)
        axis.legend(loc="upper center", ncol=2)
    fig.tight_layout()
    fig.savefig(chart, dpi=100)

    print(f"Input: `{source}`; {len(each[SIDES[0]])} runs of each side, interleaved; {machine}\n")
    print("| | wall (s) | CPU user+sys (s) | CPU / wall | peak RSS (MiB) | CPU of each run (s) | load before each run |")
    print("|---|---:|---:|---:|---:|---|---|")
    for n, w, c, r in zip(SIDES, wall, cpu, rss):
        per_run = ", ".join(f"{run[3]:.2f}" for run in each[n])
        loads = ", ".join(f"{run[5]:.1f}" for run in each[n])
        print(f"| {n} | {w:.2f} | {c:.2f} | {c / w:.2f} | {r:.0f} | {per_run} | {loads} |")
    print(f"| ours / ffmpeg | {wall[0] / wall[1]:.2f} | {cpu[0] / cpu[1]:.2f} | | {rss[0] / rss[1]:.2f} | | |\n")
    print("| rendition | frames (source / ours / ffmpeg) | kbit/s (ours / ffmpeg) "
          "| luma PSNR dB (ours / ffmpeg) | luma SSIM (ours / ffmpeg) |")
    print("|---|---:|---:|---:|---:|")
    for r in rungs:
        print(f"| {r[0]} | {r[1]} / {r[2]} / {r[6]} | {r[3]} / {r[7]} "
              f"| {number(r[4]):.2f} / {number(r[8]):.2f} | {number(r[5]):.4f} / {number(r[9]):.4f} |")


if __name__ == "__main__":
    main()
