#!/usr/bin/python3
"""Plots how cost grows in a benchmark run, a panel for each [[panel]] of rows.toml: bench/plot.py RESULTS_DIRECTORY
OUT.svg"""

import math
import sys

import matplotlib

matplotlib.use("svg")
# Makes the output reproducible: the same file for the same numbers.
matplotlib.rcParams["svg.hashsalt"] = "nxbriochem"
matplotlib.rcParams["svg.fonttype"] = "none"
matplotlib.rcParams["font.size"] = 8
import matplotlib.pyplot as plt  # noqa: E402

import results  # noqa: E402

COLUMNS = 3


def number(size):
    return float(size.split()[-1].replace(",", ""))


def curves(panel, measurements):
    """Measurements of the panel by the name of their curve, each in the order of sizes."""
    found = {}
    for m in measurements:
        if m.row.get("panel") == panel["name"] and not m.error:
            found.setdefault(m.row.get("curve", m.subject), []).append(m)
    return {name: sorted(points, key=lambda m: number(m.size)) for name, points in found.items()}


def draw_expected(axes, power, point):
    """A line of the given slope beneath all others, a little below a point."""
    low, high = axes.get_ylim()
    left, right = axes.get_xlim()
    ends = [left, right]
    axes.plot(ends, [point[1] / 2 * (x / point[0]) ** power for x in ends], color="0.8", linewidth=4, zorder=0)
    axes.set_xlim(left, right)
    axes.set_ylim(min(low, point[1] / 3), high)


def draw(axes, panel, measurements):
    found = curves(panel, measurements)
    first = None
    for color, (name, points) in zip(plt.rcParams["axes.prop_cycle"].by_key()["color"], found.items()):
        sizes = [number(m.size) for m in points]
        scale = 1e-9 if points[0].row.get("unit", "ns") == "ns" else 1
        ours = [m.ours * scale for m in points]
        first = first or (sizes[0], ours[0])
        axes.plot(sizes, ours, "o-", color=color, markersize=3.5, label=name)
        peers = [m.peer * scale for m in points]
        axes.plot(sizes, peers, "s--", color=color, markersize=3.5, markerfacecolor="none", label=points[0].peer_name)
    axes.set_xscale("log")
    axes.set_yscale("log")
    axes.set_title(panel["title"])
    axes.set_xlabel(panel["x"])
    axes.set_ylabel(panel["y"])
    axes.grid(True, which="major", color="0.9")
    if first:
        draw_expected(axes, panel["power"], first)
        # Room for the legend above the lines.
        low, high = axes.get_ylim()
        axes.set_ylim(low, high * (high / low) ** (0.09 * len(found)))
        axes.legend(fontsize=6.5, loc="upper left", framealpha=1)


def main():
    if len(sys.argv) != 3:
        sys.exit(f"usage: {sys.argv[0]} RESULTS_DIRECTORY OUT.svg")
    _, benchmarks = results.read(sys.argv[1])
    groups, _ = results.by_group(benchmarks)
    measurements = [m for _, group in groups for m in group]
    panels = results.definitions()["panel"]
    rows = math.ceil(len(panels) / COLUMNS)
    figure, grid = plt.subplots(rows, COLUMNS, figsize=(4.2 * COLUMNS, 3.2 * rows), squeeze=False)
    for axes, panel in zip(grid.flat, panels):
        draw(axes, panel, measurements)
    for axes in grid.flat[len(panels) :]:
        axes.remove()
    figure.tight_layout()
    figure.savefig(sys.argv[2], metadata={"Date": None})


if __name__ == "__main__":
    main()
