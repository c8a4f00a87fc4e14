"""The report: one HTML file that needs no network."""

from __future__ import annotations

import html
import importlib.resources
import json
import math
import platform
import zlib

import numpy as np

from .. import _core
from ..io import write_bytes
from ..molecule import Molecule
from . import work
from .outputs import posed, whole_file
from .protocol import Protocol
from .records import core_molecule
from .results import Reader
from .version import VERSION

# So many rows of the best go into the table, so many of them with their poses, and of each pose so many residues.
ROWS = 10_000
POSES = 50
RESIDUES = 12

COLUMNS = (
    ("energy", True),
    ("ligand", False),
    ("target", False),
    ("Coulomb", True),
    ("12-6", True),
    ("moved, A", True),
    ("ended", False),
    ("overlaps", False),
    ("atoms", True),
    ("charges", False),
    ("file", False),
    ("record", True),
    ("line", True),
)


def write_report(results: Reader, protocol: Protocol, path) -> None:
    """Writes settings and provenance, a table of the best, the distribution of energies, contributions and a 3D view."""
    rows = results.best(ROWS)
    counts = results.counts()
    poses, targets = _poses(results, protocol, rows[:POSES])
    data = {"columns": COLUMNS, "rows": [_cells(row) for row in rows], "poses": poses, "targets": targets}
    library, view_note = _library()
    names = ", ".join(target["name"] for target in results.targets())
    parts = {
        "title": html.escape(f"Screen at {names}"),
        "summary": html.escape(_summary(counts, protocol)),
        "table_note": f"The lowest {ROWS:,} of {counts.get(work.DONE, 0):,} rows are here." if len(rows) == ROWS else "",
        "view_note": view_note,
        "pose_count": str(len(poses)),
        "residues_note": "<p class=note>There is no pose.</p>" if not poses else "",
        "distribution": _distribution(results),
        "provenance": _provenance(results, protocol, counts),
        "data": json.dumps(data, allow_nan=False).replace("<", "\\u003c"),
        "library": library,
        "script": _resource("report.js"),
    }
    page = _resource("report.html")
    # From left to right: what a part says stands for itself.
    with whole_file(path, encoding="utf-8") as file:
        for k, piece in enumerate(page.split("{{")):
            if k > 0:
                name, _, piece = piece.partition("}}")
                file.write(parts[name])
            file.write(piece)


def _resource(name: str) -> str:
    return importlib.resources.files(__package__).joinpath(name).read_text(encoding="utf-8")


def _library() -> tuple[str, str]:
    """3Dmol with its licence, and what stands in the view's place."""
    try:
        script, licence, version = (_resource(f"3Dmol-{part}") for part in ("min.js", "LICENSE", "version"))
    except FileNotFoundError:
        return "", "The 3D view is missing: 3Dmol was not there when the package was built."
    script = script.replace("</script", "<\\/script")
    licence = licence.replace("--", "- -")
    return f"<!--\n{version.strip()}\n\n{licence}\n-->\n<script>{script}</script>", "This view needs JavaScript."


def _summary(counts: dict[str, int], protocol: Protocol) -> str:
    total = sum(counts.values())
    failed = total - counts.get(work.DONE, 0)
    what = (
        "refined to the nearest minimum of Coulomb's and the 12-6 energy"
        if protocol.refine
        else "Coulomb's energy where they stand"
    )
    return f"{total:,} pairs of target and ligand, {what}; {failed:,} failed."


def _cells(row) -> list:
    return [
        row["energy"],
        row["name"],
        row["target_name"],
        row["coulomb"],
        row["twelve_six"],
        row["moved"],
        row["ended"],
        {None: None, 0: "", 1: "overlaps"}[row["overlaps"]],
        row["atoms"],
        row["charges"],
        row["path"],
        row["record"],
        row["line"],
    ]


# ---- Poses ----


def _poses(results: Reader, protocol: Protocol, rows) -> tuple[dict, dict]:
    """By row number what is shown of each pose, and by number the targets as PDB."""
    texts = {target["id"]: target for target in results.targets()}
    scorers = {}
    poses, targets = {}, {}
    for k, row in enumerate(rows):
        kept = results.text(row["key"])
        if kept is None:
            continue
        number = row["target"]
        if number not in scorers:
            target = texts[number]
            text = zlib.decompress(target["text"])
            molecule = core_molecule(target["source"], target["format"], text, protocol.target_select)
            scorers[number] = work.scorer_of(molecule, protocol)
            targets[number] = write_bytes(Molecule._of(molecule), "pdb").decode("utf-8", "replace")
        pose = work.unpack_pose(row["pose"])
        ligand = core_molecule(row["path"], *kept, protocol.ligand_select)
        residues = scorers[number].residues(ligand, pose)
        residues.sort(key=lambda residue: -abs(residue[1] + residue[2]))
        moved = posed(ligand, pose)
        poses[k] = {
            "target": number,
            "label": f"{row['name']} at {row['target_name']}, {row['energy']:.3f} kcal/mol",
            "sdf": write_bytes(Molecule._of(moved), "sdf").decode("utf-8", "replace"),
            "residues": residues[:RESIDUES],
        }
    return poses, targets


# ---- Distribution ----


def _distribution(results: Reader) -> str:
    """A histogram as SVG. What lies far above the most is counted in the last column."""
    values = np.fromiter(results.energies(), dtype=float)
    if len(values) == 0:
        return "<p class=note>There is no energy.</p>"
    low, middle, high = np.quantile(values, (0.0, 0.5, 0.98))
    top = values.max()
    # A long tail of ligands that overlap must not press all others into one column.
    end = min(top, max(high, middle + 2 * (middle - low)))
    if end <= low:
        end = low + 1.0
    bins = 60
    counts, edges = np.histogram(np.minimum(values, end), bins=bins, range=(low, end))
    width, height, left, bottom = 900, 240, 50, 30
    step = (width - left - 10) / bins
    tallest = counts.max()
    bars = []
    for k, count in enumerate(counts):
        if count:
            tall = max(1.0, count / tallest * (height - bottom - 20))
            upper = "" if k == bins - 1 and top > end else f" to {edges[k + 1]:.2f}"
            bars.append(
                f'<rect x="{left + k * step:.1f}" y="{height - bottom - tall:.1f}" width="{step - 1:.1f}" '
                f'height="{tall:.1f}" fill="#1f5fa8"><title>{edges[k]:.2f}{upper}: {count:,}</title></rect>'
            )
    axis = []
    for tick in _ticks(low, end):
        x = left + (tick - low) / (end - low) * (width - left - 10)
        axis.append(
            f'<line x1="{x:.1f}" x2="{x:.1f}" y1="{height - bottom}" y2="{height - bottom + 5}" stroke="#1d2733"/>'
            f'<text x="{x:.1f}" y="{height - bottom + 17}" text-anchor="middle">{tick:g}</text>'
        )
    beyond = int((values > end).sum())
    note = f"{len(values):,} energies, kcal/mol; median {middle:.2f}."
    if beyond:
        note += f" {beyond:,} above {end:.4g}, up to {top:.4g}, are in the last column."
    return (
        f'<svg viewBox="0 0 {width} {height}" width="{width}" role="img" aria-label="distribution of energies">'
        f'<line x1="{left}" x2="{width - 10}" y1="{height - bottom}" y2="{height - bottom}" stroke="#1d2733"/>'
        f'<text x="{left - 6}" y="24" text-anchor="end">{tallest:,}</text>'
        f'{"".join(bars)}{"".join(axis)}</svg><p class=note>{note}</p>'
    )


def _ticks(low: float, high: float) -> list[float]:
    raw = (high - low) / 8
    step = 10.0 ** math.floor(math.log10(raw))
    step *= next(m for m in (1, 2, 5, 10) if m * step >= raw)
    return [k * step for k in range(math.ceil(low / step), math.floor(high / step) + 1)]


# ---- Provenance ----


def _provenance(results: Reader, protocol: Protocol, counts: dict[str, int]) -> str:
    """Settings, versions, digests and runs."""
    items = [(name.replace("_", " "), str(value) or "all") for name, value in protocol.as_dict().items()]
    items.append(("nxbriochem", results.settings()["version"]))
    try:
        import distributed

        items.append(("dask.distributed", distributed.__version__))
    except ImportError:
        pass
    items.append(("report made by", f"nxbrio-screen {VERSION}, Python {platform.python_version()}"))
    items.append(("database", results.path))
    items += [(f"rows {status}", f"{count:,}") for status, count in sorted(counts.items())]
    for target in results.targets():
        said = [f"{target['source']}, {target['atoms']} atoms, charges from {target['charges']}"]
        said.append(f"digest {target['digest'].hex()}")
        items.append((f"target {target['name']}", "; ".join(said + json.loads(target["notes"]))))
    for run in results.runs():
        said = f"{run['begun']} to {run['ended'] or '?'} on {run['host']}, version {run['version']}: {run['outcome'] or 'cut off'}"
        items.append((f"run {run['id']}", said + (f"; {run['command']}" if run["command"] else "")))
    return "<dl>" + "".join(f"<dt>{html.escape(n)}</dt><dd>{html.escape(v)}</dd>" for n, v in items) + "</dl>"
