"""What is written from the results beside the database: a table and the best poses."""

from __future__ import annotations

import contextlib
import csv
import os
import tempfile
from collections.abc import Iterator

import numpy as np

from .. import _core
from ..io import write_bytes
from ..molecule import Molecule
from .protocol import Protocol
from .records import core_molecule
from .results import Reader
from .work import unpack_pose

COLUMNS = (
    "target",
    "name",
    "energy_kcal_per_mol",
    "coulomb",
    "twelve_six",
    "start",
    "gradient",
    "moved_A",
    "iterations",
    "ended",
    "overlaps",
    "atoms",
    "charges",
    "file",
    "record",
    "line",
    "status",
    "error",
)


@contextlib.contextmanager
def whole_file(path: str | os.PathLike, mode: str = "w", **options) -> Iterator:
    """A file that appears whole or not at all; devices and pipes are written in place."""
    path = os.fspath(path)
    if os.path.exists(path) and not os.path.isfile(path):
        with open(path, mode, **options) as file:
            yield file
        return
    real = os.path.realpath(path)
    descriptor, temporary = tempfile.mkstemp(dir=os.path.dirname(real), prefix="." + os.path.basename(real) + ".")
    try:
        with open(descriptor, mode, **options) as file:
            yield file
        if os.path.exists(real):
            mask = os.stat(real).st_mode & 0o7777
        else:
            mask = 0o666 & ~_umask()
        os.chmod(temporary, mask)
        os.replace(temporary, real)
    except BaseException as error:
        with contextlib.suppress(OSError):
            os.unlink(temporary)
        if isinstance(error, OSError) and error.errno:
            # A full disk names no file.
            raise OSError(error.errno, error.strerror, path) from error
        raise


def _umask() -> int:
    mask = os.umask(0)
    os.umask(mask)
    return mask


def write_csv(results: Reader, path: str | os.PathLike) -> int:
    """All rows, the lowest energy first, then those without one. How many."""
    count = 0
    with whole_file(path, newline="") as file:
        table = csv.writer(file, lineterminator="\n")
        table.writerow(COLUMNS)
        for row in results.rows():
            count += 1
            table.writerow(
                (
                    row["target_name"],
                    row["name"],
                    _number(row["energy"]),
                    _number(row["coulomb"]),
                    _number(row["twelve_six"]),
                    _number(row["start"]),
                    _number(row["gradient"]),
                    _number(row["moved"]),
                    row["iterations"],
                    row["ended"],
                    row["overlaps"],
                    row["atoms"],
                    row["charges"],
                    row["path"],
                    row["record"],
                    row["line"],
                    row["status"],
                    row["error"],
                )
            )
    return count


def _number(value: float | None) -> str:
    # The shortest digits that give the same double again.
    return "" if value is None else repr(value)


def write_poses(results: Reader, protocol: Protocol, most: int, path: str | os.PathLike) -> int:
    """The best poses as an SD file with their energies as data fields. How many."""
    rows = results.best(most)
    with whole_file(path, "wb") as file:
        for rank, row in enumerate(rows, 1):
            format, text = results.text(row["key"])
            fields = [("rank", str(rank)), ("target", row["target_name"])]
            for column in ("energy", "coulomb", "twelve_six", "start"):
                if row[column] is not None:
                    fields.append((f"{column}_kcal_per_mol", _number(row[column])))
            if row["ended"]:
                fields.append(("ended", row["ended"]))
            fields.append(("source", f"{row['path']}:{row['line']}"))
            molecule = posed(core_molecule(row["path"], format, text, protocol.ligand_select), unpack_pose(row["pose"]))
            for name, value in fields:
                _core.set_field(molecule, name, value)
            file.write(write_bytes(Molecule._of(molecule), "sdf"))
    return len(rows)


def posed(ligand, pose):
    """The ligand moved to a pose, with bonds, in double and rounded once, as ``nxbrio refine`` does it."""
    if pose:
        rotation, translation = _core.pose_matrix(pose)
        x, y, z = (ligand.coordinates.astype(float)[:, [k]] for k in range(3))
        r = rotation.T
        ligand.coordinates[:] = (translation + (x * r[0] + y * r[1] + z * r[2])).astype(np.float32)
    if len(ligand._get_bonds()) == 0:
        ligand.perceive_bonds()
    return ligand
