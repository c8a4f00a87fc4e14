"""What runs in a worker: a batch of ligand texts becomes rows. Bytes and plain values alone travel."""

from __future__ import annotations

import contextlib
import functools
import os
import pickle
import re
import struct
import threading
import time
from typing import NamedTuple

from .. import _core
from .protocol import Protocol
from .records import PICKLED, core_molecule

DONE = "done"
ERROR = "error"
KILLED = "killed"


class TargetText(NamedTuple):
    """A target as it travels."""

    digest: bytes
    source: str
    format: str
    text: bytes


class LigandText(NamedTuple):
    """A ligand's record as it travels: where it stands is for messages and the name."""

    source: str
    line: int
    format: str
    text: bytes


class Outcome(NamedTuple):
    """What a row says of a pair; energies in kcal/mol, lengths in angstrom."""

    status: str
    error: str = ""
    name: str = ""
    atoms: int | None = None
    charges: str = ""
    energy: float | None = None
    coulomb: float | None = None
    twelve_six: float | None = None
    start: float | None = None
    gradient: float | None = None
    moved: float | None = None
    iterations: int | None = None
    ended: str = ""
    overlaps: int | None = None
    # 7 doubles: a quaternion and a translation.
    pose: bytes | None = None


# Where it stands in an outcome.
ENERGY = Outcome._fields.index("energy")
# What an outcome without numbers ends with, behind status and error.
NOTHING = tuple(Outcome(""))[2:]


def unpack_pose(pose: bytes | None):
    return list(struct.unpack("<7d", pose)) if pose else None


# ---- Batches as they travel ----
#
# Dask looks into every list and tuple of a task and of a result for what it must replace: a batch is bytes to it.


def pack(rows: list[tuple]) -> bytes:
    return pickle.dumps(rows, protocol=5)


def unpack(packed: bytes) -> list[tuple]:
    return pickle.loads(packed)


# ---- Targets ----
#
# A worker is told of each target once, by Dask's plugin below, and makes a molecule of it when the first batch asks.

# By digest and run: several runs may share a cluster, and a target stays while one of them needs it.
_texts: dict[bytes, dict[str, TargetText]] = {}


def add_target(target: TargetText, run: str) -> None:
    _texts.setdefault(target.digest, {})[run] = target


def drop_target(digest: bytes, run: str) -> None:
    runs = _texts.get(digest, {})
    runs.pop(run, None)
    if not runs:
        _texts.pop(digest, None)
        _made.cache_clear()


def target_text(digest: bytes) -> TargetText:
    return next(iter(_texts[digest].values()))


def make_scorer(target: TargetText, protocol: Protocol) -> _core.Scorer:
    """What scores ligands at the target; `NxError` when it is none."""
    return scorer_of(core_molecule(target.source, target.format, target.text, protocol.target_select), protocol)


def scorer_of(target, protocol: Protocol) -> _core.Scorer:
    return _core.Scorer(
        target,
        _core.Protocol(
            refine=protocol.refine,
            dielectric=protocol.dielectric,
            ionic_strength=protocol.ionic_strength,
            temperature=protocol.temperature,
            iterations=protocol.iterations,
        ),
    )


@functools.lru_cache(maxsize=8)
def _made(digest: bytes, protocol: Protocol, thread: int) -> _core.Scorer:
    # Each thread has one of its own.
    return make_scorer(target_text(digest), protocol)


class TargetPlugin:
    """Brings a target of a run to each worker of a Dask cluster, to those that join later too."""

    def __init__(self, target: TargetText, run: str):
        self.target = target
        self.run = run
        self.name = f"nxbriochem-target-{target.digest.hex()}-{run}"

    def setup(self, worker):
        add_target(self.target, self.run)

    def teardown(self, worker):
        drop_target(self.target.digest, self.run)


# ---- Time limits ----


class Watch:
    """Ends the process when something takes longer than it may.

    A thread looks several times a second. Work that hangs in C does not stop it, since that work holds no lock of
    Python's. What is left, retries and marks, is the business of whoever gave the work out.
    """

    def __init__(self):
        self._deadlines: dict[int, float] = {}
        self._thread: threading.Thread | None = None

    @contextlib.contextmanager
    def over(self):
        """Watches this thread while the context lasts; `until` says from when on it is late."""
        if self._thread is None or not self._thread.is_alive():
            self._thread = threading.Thread(target=self._look, name="nxbriochem-watch", daemon=True)
            self._thread.start()
        try:
            yield self
        finally:
            self._deadlines.pop(threading.get_ident(), None)

    def until(self, moment: float) -> None:
        self._deadlines[threading.get_ident()] = moment

    def _look(self) -> None:
        while True:
            time.sleep(0.1)
            now = time.monotonic()
            if any(moment < now for moment in list(self._deadlines.values())):
                os._exit(1)


_watch = Watch()


# ---- Scoring ----


def score(scorer: _core.Scorer, ligands: list, selection: str) -> list[tuple]:
    """The outcomes of ligands' texts, in order, as tuples."""
    if selection or any(ligand[2] == PICKLED for ligand in ligands):
        results = [_score_molecule(scorer, LigandText(*ligand), selection) for ligand in ligands]
    else:
        results = scorer.score_texts(ligands)
    return [
        (ERROR, placed(result, ligand[0], ligand[1])) + NOTHING if isinstance(result, str) else (DONE, "", *result)
        for ligand, result in zip(ligands, results)
    ]


def _score_molecule(scorer: _core.Scorer, ligand: LigandText, selection: str):
    try:
        molecule = core_molecule(ligand.source, ligand.format, ligand.text, selection)
    except _core.NxError as error:
        return str(error)
    return scorer.score_molecules([molecule])[0]


def placed(message: str, source: str, line: int) -> str:
    """A message about a record's text as one about its file: lines there are counted from the record's first."""
    rest = message[len(source) :] if message.startswith(source) else ": " + message
    inner = re.match(r":(\d+)(?=:)", rest)
    if inner:
        line += int(inner[1]) - 1
        rest = rest[inner.end() :]
    return f"{source}:{line}{rest}"


def score_batch(digest: bytes, protocol: dict, packed: bytes, time_limit: float) -> tuple[bytes, float]:
    """The packed outcomes of packed ligands at one target, in order, and how long they took, in seconds.

    They are done in pieces of some hundredths of a second. No ligand, and no piece, may take longer than the limit.
    """
    begun = time.perf_counter()
    ligands = unpack(packed)
    settings = Protocol(**protocol)
    scorer = _made(digest, settings, threading.get_ident())
    outcomes: list[tuple] = []
    size = 1
    with _watch.over() as watch:
        while len(outcomes) < len(ligands):
            piece = ligands[len(outcomes) : len(outcomes) + size]
            now = time.monotonic()
            watch.until(now + time_limit)
            outcomes += score(scorer, piece, settings.ligand_select)
            if time.monotonic() - now < 0.02:
                size *= 2
            else:
                size = max(1, size // 2)
    return pack(outcomes), time.perf_counter() - begun


def score_guarded(
    digest: bytes, protocol: dict, packed: bytes, time_limit: float, tries: int
) -> tuple[bytes, float]:
    """As `score_batch`, in a process apart, which a record may kill or keep for ever.

    For the ligands of a batch whose worker died. Each is tried up to `tries` times before it is marked.
    """
    from .guard import Guard

    begun = time.perf_counter()
    outcomes = []
    with Guard(target_text(digest), protocol) as guard:
        for ligand in unpack(packed):
            outcomes.append(guard.score(LigandText(*ligand), time_limit, tries))
    return pack(outcomes), time.perf_counter() - begun


