#!/usr/bin/env python3
"""Draws the plots of the benchmarks and writes the tables of docs/benchmarks.md.

usage: report.py RESULTS.json END_TO_END.json DOCS_FOLDER
"""
import json
import re
import sys
from pathlib import Path

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt
from matplotlib.ticker import FixedFormatter, FixedLocator, NullLocator

# Middle tones on no background: they read on white and on dark pages alike.
TEXT, AHEAD, BEHIND = "#7d858f", "#3987c9", "#d5822f"

COMPARED = ["I420 bilinear", "I420 nearest", "4-byte bilinear", "4-byte nearest", "4-byte cubic", "Colour", "Audio"]
COPIED = ["Overlay", "Mask", "Copy"]
SIZES = ["Size, I420 bilinear by 2:3", "Size, I420 to RGB24"]


class Work:
    def __init__(self, record):
        self.record = record
        # Google Benchmark adds the number of rounds and the kind of time.
        self.family, self.name = re.sub(r"/iterations:.*", "", record["name"]).split("/", 1)
        self.peer = record.get("label", "")

    def __getitem__(self, counter):
        return self.record[counter]

    def __contains__(self, counter):
        return counter in self.record

    def others(self):
        """The other peers' names and our speed over theirs."""
        ratios = {key[:-6]: value for key, value in self.record.items() if key.endswith("_ratio")}
        return {name: ratio for name, ratio in ratios.items() if name != self.peer}


def read(path):
    with open(path, encoding="utf-8") as file:
        records = json.load(file)["benchmarks"]
    failed = [record["name"] for record in records if record.get("error_occurred")]
    if failed:
        sys.exit("not measured: " + ", ".join(failed))
    return [Work(record) for record in records]


def bare(axes):
    for side in ("top", "right", "left"):
        axes.spines[side].set_visible(False)
    axes.tick_params(length=0)


def draw_ratios(works, path):
    rows, families, y = [], [], 0.0
    for family in COMPARED:
        members = [work for work in works if work.family == family and "ratio" in work]
        if not members:
            continue
        families.append((family, y))
        y += 1.0
        for work in members:
            rows.append((work, y))
            y += 1.0
        y += 0.5
    if not rows:
        return
    figure, axes = plt.subplots(figsize=(9.6, 0.235 * y + 1.0))
    least = min(0.5, min(work["ratio"] for work, _ in rows) * 0.9)
    most = max(2.0, max(max(work["ratio"], work["bar"] if "bar" in work else 0) for work, _ in rows) * 1.05)
    for work, at in rows:
        ratio = work["ratio"]
        axes.barh(at, ratio - 1.0, left=1.0, height=0.66, color=AHEAD if ratio >= 1.0 else BEHIND)
        axes.plot([work["ratio_low"], work["ratio_high"]], [at, at], color=TEXT, linewidth=1.2)
        if "bar" in work:
            axes.plot([work["bar"]] * 2, [at - 0.42, at + 0.42], color=TEXT, linewidth=2.0)
        end = max(ratio, work["ratio_high"], work["bar"] if "bar" in work else 0.0, 1.0)
        axes.text(end * 1.035, at, f"{ratio:.2f} × {work.peer}", va="center", fontsize=8)
    for family, at in families:
        axes.text(-0.005, at, family, transform=axes.get_yaxis_transform(), ha="right", va="center", fontsize=9,
                  fontweight="bold")
    axes.axvline(1.0, color=TEXT, linewidth=1.0)
    axes.set_xscale("log")
    axes.set_xlim(least, most * 1.9)
    ticks = [tick for tick in (0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50) if least <= tick <= most]
    axes.xaxis.set_major_locator(FixedLocator(ticks))
    axes.xaxis.set_major_formatter(FixedFormatter([f"{tick:g}×" for tick in ticks]))
    axes.xaxis.set_minor_locator(NullLocator())
    axes.set_xlabel("speed over the fastest comparable peer's, logarithmic; the upright tick is the aim", fontsize=9)
    axes.grid(axis="x", color=TEXT, alpha=0.3, linewidth=0.6)
    axes.set_axisbelow(True)
    axes.set_yticks([at for _, at in rows], [work.name for work, _ in rows], fontsize=8.5)
    axes.set_ylim(y - 0.3, -0.7)
    bare(axes)
    save(figure, path)


def draw_sizes(works, path):
    figure, axes = plt.subplots(figsize=(9.6, 3.4))
    names = []
    for family, colour in zip(SIZES, (AHEAD, BEHIND)):
        members = [work for work in works if work.family == family]
        if not members:
            return
        names = [work.name.replace("x", "×") for work in members]
        axes.plot(names, [work["ns_per_pixel"] for work in members], "o-", color=colour, markersize=4,
                  label=family.split(", ", 1)[1])
        axes.plot(names, [work["copy_ns_per_pixel"] for work in members], "--", color=colour, linewidth=1.0,
                  label="memcpy of its output")
    axes.tick_params(labelsize=8)
    axes.set_ylim(bottom=0)
    axes.set_ylabel("ns for a pixel of the target", fontsize=9)
    axes.set_xlabel("size of the source", fontsize=9)
    axes.grid(color=TEXT, alpha=0.3, linewidth=0.6)
    axes.legend(frameon=False, fontsize=8.5, ncols=2 * len(SIZES), loc="lower center", bbox_to_anchor=(0.5, 1.0))
    bare(axes)
    save(figure, path)


def save(figure, path):
    figure.tight_layout()
    figure.savefig(path, transparent=True, metadata={"Date": None})
    plt.close(figure)


def time(ns):
    for unit, size in (("ms", 1e6), ("µs", 1e3)):
        if ns >= size:
            return f"{ns / size:.3g} {unit}" if ns < 1000 * size else f"{ns / size:.0f} {unit}"
    return f"{ns:.3g} ns"


def row(*cells):
    return "| " + " | ".join(cells) + " |"


def compared_table(works):
    lines = [row("Work", "Ours", "Peer", "Ratio", "Quartiles", "Aim", "Of memcpy", "Others"), "|---|--:|---|--:|:-:|--:|--:|---|"]
    for work in works:
        if work.family not in COMPARED or "ratio" not in work:
            continue
        aim = f"{work['bar']:g}" + ("" if work["reached"] else " (not reached)") if "bar" in work else ""
        others = ", ".join(f"{name} {ratio:.2f}" for name, ratio in sorted(work.others().items()))
        lines.append(row(f"{work.family}, {work.name}", time(work["ours_ns"]), work.peer, f"**{work['ratio']:.2f}**",
                         f"{work['ratio_low']:.2f} to {work['ratio_high']:.2f}", aim, f"{work['copy']:.2f}", others))
    return lines


def copied_table(works):
    lines = [row("Work", "Ours", "Of memcpy", "Quartiles", "Aim"), "|---|--:|--:|:-:|--:|"]
    for work in works:
        if work.family in COPIED:
            aim = f"{work['copy_bar']:g}" + ("" if work["reached"] else " (not reached)")
            lines.append(row(f"{work.family}, {work.name}", time(work["ours_ns"]), f"**{work['copy']:.2f}**",
                             f"{work['copy_low']:.2f} to {work['copy_high']:.2f}", aim))
    return lines


def job_table(works):
    lines = [row("A picture with its audio", "Job", "Its kernels alone", "Job over kernels"), "|---|--:|--:|--:|"]
    for work in works:
        if work.family == "Job":
            kernels = work.record.get("its kernels_ns")
            lines.append(row(work.name, time(work["ours_ns"]), time(kernels) if kernels else "none",
                             f"{1.0 / work['ratio']:.2f}" if kernels else ""))
    return lines


def figure_table(works):
    lines = [row("Figure", "Value"), "|---|--:|"]
    for work in works:
        if work.family == "Around a job":
            value = time(work["value"] * 1e3) if work.peer == "us" else f"{work['value']:,.0f} {work.peer}".strip()
            lines.append(row(work.name, value))
    return lines


def pair_table(pairs):
    lines = [row("File", "encmgr", "ffmpeg", "encmgr over ffmpeg", "Quartiles", "Aim"), "|---|--:|--:|--:|:-:|--:|"]
    for pair in pairs:
        aim = "at most 1.03" + ("" if pair["ratio"] <= 1.03 else " (not reached)")
        lines.append(row(pair["name"], f"{pair['ours']:.2f} s", f"{pair['theirs']:.2f} s", f"**{pair['ratio']:.2f}**",
                         f"{pair['low']:.2f} to {pair['high']:.2f}", aim))
    return lines


def write_tables(works, pairs, page):
    """Puts each table between the page's marks for it."""
    text = page.read_text(encoding="utf-8")
    for name, lines in {"compared": compared_table(works), "copied": copied_table(works), "jobs": job_table(works),
                        "figures": figure_table(works), "pairs": pair_table(pairs)}.items():
        begin, end = f"<!-- {name} -->\n", f"\n<!-- end of {name} -->"
        if text.count(begin) != 1 or text.count(end) != 1:
            sys.exit(f"{page} has no place for the table '{name}'")
        head, rest = text.split(begin)
        text = head + begin + "\n".join(lines) + end + rest.split(end, 1)[1]
    page.write_text(text, encoding="utf-8")


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__.strip())
    works, docs = read(sys.argv[1]), Path(sys.argv[3])
    pairs = json.loads(Path(sys.argv[2]).read_text(encoding="utf-8"))
    plt.rcParams.update({"svg.hashsalt": "encmgr", "font.family": "DejaVu Sans", "text.color": TEXT,
                         "axes.labelcolor": TEXT, "axes.edgecolor": TEXT, "xtick.color": TEXT, "ytick.color": TEXT})
    draw_ratios(works, docs / "benchmarks.svg")
    draw_sizes(works, docs / "benchmarks-size.svg")
    write_tables(works, pairs, docs / "benchmarks.md")


if __name__ == "__main__":
    main()
