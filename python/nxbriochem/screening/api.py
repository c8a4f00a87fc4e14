"""`nxbriochem.screen`: a whole screen in one call."""

from __future__ import annotations

import contextlib
import itertools
import multiprocessing
import os
import platform
from collections.abc import Callable, Iterator

from .. import _core
from . import work
from .outputs import write_csv, write_poses
from .protocol import Protocol
from .records import Record, core_molecule, each, records_of
from .results import Reader
from .store import Store
from .version import VERSION

# Of so many best rows of each target the records are kept.
KEEP = 100


class Results:
    """What a screen gave, in its database.

    Attributes
    ----------
    path : str
    protocol : Protocol
    tally : Tally
        What this run did: ``done`` rows, ``failed`` ones among them, rows that were ``there`` before, records whose
        content is ``repeated``.
    """

    def __init__(self, path: str, protocol: Protocol, tally):
        self.path = path
        self.protocol = protocol
        self.tally = tally

    def best(self, n: int = 10) -> list[dict]:
        """The rows of the n lowest energies (kcal/mol), lowest first, as dictionaries by column."""
        with Reader(self.path) as reader:
            return [dict(row) for row in reader.best(n)]

    def to_csv(self, path: str | os.PathLike) -> int:
        """Writes all rows, the lowest energy first. How many."""
        with Reader(self.path) as reader:
            return write_csv(reader, path)

    def write_poses(self, n: int, path: str | os.PathLike) -> int:
        """Writes the n best poses as an SD file with their energies as data fields. How many."""
        with Reader(self.path) as reader:
            return write_poses(reader, self.protocol, n, path)

    def report(self, path: str | os.PathLike) -> None:
        """Writes one HTML file that needs no network: settings, a table, the energies' distribution, poses in 3D."""
        from .report import write_report

        with Reader(self.path) as reader:
            write_report(reader, self.protocol, path)


def screen(
    targets,
    ligands,
    out,
    *,
    refine: bool = False,
    dielectric: float = 4.0,
    ionic_strength: float = 0.0,
    temperature: float = 298.0,
    iterations: int = 500,
    target_select: str = "",
    ligand_select: str = "",
    ensemble: bool = False,
    workers: int | None = None,
    scheduler: str | None = None,
    batch: int = 0,
    time_limit: float = 300.0,
    keep: int = KEEP,
    tell: Callable | None = None,
    command: str = "",
) -> Results:
    """Computes the energy of each ligand with each target.

    The same call again does what is missing in ``out``, and nothing twice. In a script it must stand below
    ``if __name__ == "__main__":``, as all that starts processes, unless ``scheduler`` is given.

    Parameters
    ----------
    targets : path or Molecule, or list of them
        Structure files; of each the first model, or with ``ensemble`` all.
    ligands : path or Molecule, or iterable of them
        Of structure files all records are taken, one by one; of molecules the active conformer.
    out : path
        The SQLite file of the results, made or gone on with.
    refine : bool
        Whether each ligand goes to the nearest minimum of Coulomb's and the 12-6 energy first.
    dielectric : float
        The uniform dielectric constant.
    ionic_strength : float
        Of the salt that screens charges, mol/l.
    temperature : float
        Kelvin; it counts where there is salt.
    iterations : int
        The most iterations of a refinement.
    target_select, ligand_select : str
        The atoms that take part; "" for all.
    ensemble : bool
        Whether all models of the target files are targets.
    workers : int, optional
        So many processes on this machine; as many as it has cores by default.
    scheduler : str, optional
        The address of a Dask scheduler, such as ``tcp://host:8786``, or the file that it has written, whose workers are
        to do the work instead.
    batch : int
        How many ligands a task holds; 0 finds it from the time that they take.
    time_limit : float
        The longest that one ligand may take, seconds.
    keep : int
        Of so many best rows of each target the records are kept, for poses and reports.
    tell : callable, optional
        Called some times a second with the `Tally` so far, whose ``dashboard`` is the address of the cluster's page.
    command : str
        What is noted of this run in the database.

    Returns
    -------
    Results

    Raises
    ------
    NxError, OSError
        A target or a ligand file cannot be read at all. A faulty record does not raise; it becomes a row.
    CannotStore
        ``out`` cannot be written, or is a database of other settings.
    ClusterLost
        The scheduler cannot be reached, or is gone. What is done is kept.
    """
    _refuse_in_a_worker()
    from . import engine
    from .dashboard import dashboard_address

    protocol = Protocol(refine, dielectric, ionic_strength, temperature, iterations, target_select, ligand_select)
    texts = list(_target_texts(targets, ensemble))
    records = _opened(ligands)
    with Store(out, protocol, VERSION, keep) as store:
        numbers = _stored_targets(store, protocol, texts)
        store.begin_run(command, VERSION, platform.node())
        cluster = engine.running_cluster(scheduler) if scheduler else engine.local_cluster(workers or cores())
        with _noted_end(store), cluster as client:
            run = engine.Engine(client, store, protocol, numbers, time_limit, batch, tell or (lambda tally: None))
            if tell:
                run.tally.dashboard = dashboard_address(client)
            tally = run.run(records)
    return Results(os.fspath(out), protocol, tally)


def _refuse_in_a_worker() -> None:
    """A script that calls `screen` at its top level would do so in each worker that imports it."""
    if multiprocessing.parent_process() is not None and multiprocessing.current_process().name.startswith("Dask"):
        raise RuntimeError('screen() belongs below  if __name__ == "__main__":  in a script, since it starts processes')


def _stored_targets(store: Store, protocol: Protocol, texts: list[work.TargetText]) -> dict[int, work.TargetText]:
    """The targets by their numbers in the store. `NxError` when one cannot be scored at."""
    numbers = {}
    for target in texts:
        molecule = core_molecule(target.source, target.format, target.text, protocol.target_select)
        work.scorer_of(molecule, protocol)
        number = store.add_target(
            target, molecule.name, len(molecule), _core.charge_source(molecule), list(_core.notes(molecule))
        )
        numbers[number] = target
    return numbers


@contextlib.contextmanager
def _noted_end(store: Store) -> Iterator[None]:
    """Notes in the store how the run ended."""
    outcome = "interrupted"
    try:
        yield
        outcome = "finished"
    except Exception as error:
        outcome = str(error)
        raise
    finally:
        with contextlib.suppress(Exception):
            store.end_run(outcome)


def cores() -> int:
    """The cores that this process may use."""
    return len(os.sched_getaffinity(0))


def _target_texts(targets, ensemble: bool) -> Iterator[work.TargetText]:
    """Each target once."""
    seen = set()
    for item in each(targets):
        records = records_of(item)
        chosen = list(records if ensemble else itertools.islice(records, 1))
        if not chosen:
            raise _core.NxError(f"{os.fspath(item)}: no atoms")
        for record in chosen:
            if record.error:
                raise _core.NxError(record.error)
            if (key := record.key()) not in seen:
                seen.add(key)
                yield work.TargetText(key, record.source, record.format, record.text)


def _opened(ligands) -> Iterator[Record]:
    """The ligands' records. What cannot be read shows early: of a list each file is looked for, and the first is opened."""
    if isinstance(ligands, (list, tuple)):
        for path in ligands:
            if isinstance(path, (str, os.PathLike)):
                with open(path, "rb"):
                    pass
    records = records_of(ligands)
    first = list(itertools.islice(records, 1))
    return itertools.chain(first, records)
