#!/usr/bin/python3
"""Makes the table of a benchmark run (see rows.toml): bench/record.py RESULTS_DIRECTORY OUT.md"""

import subprocess
import sys
from pathlib import Path

import results


def time_of(ns):
    for factor, unit in ((1e9, "s"), (1e6, "ms"), (1e3, "µs")):
        if ns >= factor:
            return f"{digits(ns / factor)} {unit}"
    return f"{digits(ns)} ns"


def digits(value):
    """At least three significant digits, never an exponent."""
    return f"{value:,.0f}" if value >= 100 else f"{value:.3g}"


def ratio_of(value):
    return f"{value:,.0f}" if value >= 100 else f"{value:.3g}" if value >= 0.1 else f"{value:.2g}"


def cost(value, unit):
    return time_of(value) if unit == "ns" else f"{digits(value)} {unit}"


def goal_of(row):
    if "to_reach_cost" in row:
        return cost(row["to_reach_cost"], row.get("unit", "ns"))
    return f"{row['to_reach']:g}" if "to_reach" in row else ""


def missed(m):
    """Whether a measurement misses its goal, where it has one."""
    limits = ((m.ratio, m.row.get("to_reach")), (m.ours, m.row.get("to_reach_cost")))
    return any(limit is not None and value > limit for value, limit in limits)


def table_row(m, notes):
    row = m.row
    cells = [m.subject, m.size, m.peer_name]
    if m.error:
        return cells + [f"not measured: {m.error}", "", "", ""]
    unit = row.get("unit", "ns")
    ratio = ratio_of(m.ratio)
    if m.slower:
        why = row.get("why", "no reason on record")
        if why not in notes:
            notes.append(why)
        ratio = f"**{ratio}** ({notes.index(why) + 1})"
    goal = goal_of(row) + (", missed" if missed(m) else "")
    return cells + [cost(m.ours, unit), cost(m.peer, unit), ratio, goal]


def table(measurements):
    notes = []
    lines = [
        "| what | size | peer | ours | peer's | ours / peer | to reach |",
        "|---|--:|---|--:|--:|--:|--:|",
    ]
    lines += ["| " + " | ".join(table_row(m, notes)) + " |" for m in measurements]
    if notes:
        lines += ["", "Slower because:", ""]
        lines += [f"{i}. {note}" for i, note in enumerate(notes, 1)]
    return lines


def processor():
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return "unknown processor"


def git(*arguments):
    command = ["git", "-C", str(Path(__file__).parent.parent), *arguments]
    return subprocess.run(command, capture_output=True, text=True, check=False)


def commit():
    """What was measured, without a word about the record itself, which is being written; empty outside of a clone."""
    try:
        name = git("rev-parse", "--short=10", "HEAD").stdout.strip()
        changed = git("status", "--porcelain", "--", ".", ":!bench/RESULTS.md").stdout
    except OSError:
        return ""
    return name + " with changes" if name and changed else name


def conditions(context):
    load = ", ".join(f"{value:.2f}" for value in context["load_avg"])
    lines = [
        "| | |",
        "|---|---|",
        f"| date | {context['date'][:10]}" + (f", commit {commit()}" if commit() else "") + " |",
        f"| machine | {processor()}, {context['num_cpus']} x {context['mhz_per_cpu']} MHz |",
        f"| load before the last program | {load} over 1, 5 and 15 minutes |",
        f"| compiler | {context['compiler']}, {context['build']} |",
    ]
    peers = [f"{key.removeprefix('version_')} {value}" for key, value in sorted(context.items()) if "version_" in key]
    return lines + [f"| peers | {', '.join(peers)} |"]


HEAD = """# Speed on record

Made by `make bench`; change [rows.toml](rows.toml), not this page.

Each row is one benchmark, in which ours and the peer do the same work in turn, over and over, in one process: what
slows the machine slows both. What counts is processor time, so that turns of other programs do not. Times are medians
over the turns, at least five, for one operation; the ratio is the median of the ratios of turns, ours / peer, and so
need not be the quotient of the two medians. **Below 1 ours is faster.** Ratios above 1.05 are bold and have a reason
below their table; 0.95 to 1.05 is a draw, since medians are good to some per cent on a quiet machine. "To reach" is the
goal that was set before the code was written, where there was one: the largest ratio or, with a unit, the largest cost
of ours.
"""

GROWTH = """## How cost grows

`make bench` also draws cost against size, a panel for each subject: `build/bench/results/growth.svg`. Solid lines are
ours, dashed ones the peer's. The grey line has the slope that is to be expected. Where both lines rise faster than that
at the largest sizes, tables and coordinates no longer fit the caches.
"""


def summary(measurements):
    good = [m for m in measurements if not m.error]
    slower = sum(m.slower for m in good)
    goals = [m for m in good if goal_of(m.row)]
    misses = [m for m in goals if missed(m)]
    text = f"{len(good)} rows: ours is faster or even in {len(good) - slower}, slower in {slower}. "
    text += f"{len(goals)} rows have a goal; {len(goals) - len(misses)} reach it."
    if misses:
        named = [f"{m.subject}, {m.size} ({ratio_of(m.ratio)}; to reach {goal_of(m.row)})" for m in misses]
        text += "\nMissed:\n\n" + "\n".join(f"- {name}" for name in named)
    return text


def page(directory):
    context, benchmarks = results.read(directory)
    groups, unknown = results.by_group(benchmarks)
    for name in unknown:
        print(f"record.py: no row in rows.toml for {name}", file=sys.stderr)
    every = [m for _, measurements in groups for m in measurements]
    for subject in sorted({m.subject for m in every if m.slower and "why" not in m.row}):
        print(f"record.py: slower without a reason in rows.toml: {subject}", file=sys.stderr)
    lines = [HEAD, summary(every), "", *conditions(context), "", GROWTH]
    for group, measurements in groups:
        if measurements:
            lines += [f"## {group['title']}", "", group["says"].strip(), "", *table(measurements), ""]
    return "\n".join(lines).rstrip() + "\n", bool(unknown)


def main():
    if len(sys.argv) != 3:
        sys.exit(f"usage: {sys.argv[0]} RESULTS_DIRECTORY OUT.md")
    text, incomplete = page(sys.argv[1])
    Path(sys.argv[2]).write_text(text)
    sys.exit(1 if incomplete else 0)


if __name__ == "__main__":
    main()
