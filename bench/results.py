"""Reads what the benchmark programs measured, and what bench/rows.toml says of it."""

import json
import re
import tomllib
from dataclasses import dataclass
from pathlib import Path

ROWS = Path(__file__).with_name("rows.toml")
# What Google Benchmark appends to names.
MODIFIERS = re.compile(r"/(manual_time|real_time|process_time|iterations:\d+|min_time:[\d.]+)")


@dataclass
class Measurement:
    """One benchmark: cost of ours and of the peer in the row's unit, and the median of ours / peer."""

    row: dict
    subject: str
    size: str
    peer_name: str
    order: int
    ours: float
    peer: float
    ratio: float
    error: str = ""

    @property
    def slower(self):
        return self.ratio > 1.05


def read(directory):
    """All runs of a directory of JSON files: their contexts merged, and benchmarks by "program:name"."""
    context, benchmarks = {}, {}
    for path in sorted(Path(directory).glob("*_bench.json")):
        run = json.loads(path.read_text())
        context.update(run["context"])
        for benchmark in run["benchmarks"]:
            name = MODIFIERS.sub("", benchmark["name"])
            benchmarks[f"{path.stem.removesuffix('_bench')}:{name}"] = benchmark
    return context, benchmarks


def definitions():
    return tomllib.loads(ROWS.read_text())


def measure(row, benchmark, found, order):
    """The row's texts may hold {0}, {1}, ..., the groups of its pattern, with commas in numbers, and {label}."""
    groups = [f"{int(text):,}" if text.isdigit() else text for text in found.groups()]
    texts = [row.get(key, "").format(*groups, label=benchmark.get("label", "")) for key in ("subject", "size", "peer")]
    if benchmark.get("error_occurred"):
        return Measurement(row, *texts, order, 0, 0, 0, benchmark.get("error_message", "failed"))
    unit = "_ns" if row.get("unit", "ns") == "ns" else ""
    numbers = [benchmark[key] for key in ("ours" + unit, "yardstick" + unit, "ratio")]
    error = "" if min(numbers) > 0 else "a difference of times that was lost in noise"
    return Measurement(row, *texts, order, *numbers, error)


def by_group(benchmarks):
    """Pairs of a group and its measurements, and the names of benchmarks that no row speaks of. A benchmark belongs to
    the first row whose pattern is its whole name. Measurements come subject by subject, as they were run."""
    left = {name: (order, benchmark) for order, (name, benchmark) in enumerate(benchmarks.items())}
    groups = []
    for group in definitions()["group"]:
        measurements = []
        for row in group["row"]:
            pattern = re.compile(row["benchmark"])
            for name in list(left):
                found = pattern.fullmatch(name)
                if found:
                    order, benchmark = left.pop(name)
                    if not row.get("no_table"):
                        measurements.append(measure(row, benchmark, found, order))
        subjects = list(dict.fromkeys(m.subject for m in measurements))
        measurements.sort(key=lambda m: (subjects.index(m.subject), m.order))
        groups.append((group, measurements))
    return groups, list(left)
