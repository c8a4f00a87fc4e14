"""Gives batches of ligands to a Dask cluster and puts what comes back into the store.

A task holds the texts of some ligands for one target; the target itself is at the workers already. Some tasks are in
flight, and the next records are read only when one comes back, so that a million records take no more memory than a
thousand. How many ligands a batch holds follows from the time that they have taken.
"""

from __future__ import annotations

import collections
import contextlib
import dataclasses
import logging
import os
import queue
import signal
import tempfile
import time
import warnings
from collections.abc import Callable, Iterator
from multiprocessing import resource_tracker

import dask
import distributed

from .progress import Tally
from .protocol import Protocol
from .records import Record
from .store import Store
from .work import (
    DONE,
    ERROR,
    NOTHING,
    TargetPlugin,
    TargetText,
    pack,
    score_batch,
    score_guarded,
    unpack,
)

# A task should take so long, seconds: scheduling one takes some milliseconds.
SHORTEST_BATCH = 0.25
# The scheduler and the client see to so many tasks in a second and are half idle.
TASKS_PER_SECOND = 100
FIRST_BATCH = 8
LARGEST_BATCH = 10_000
# Of all tasks in flight, and of one.
BYTES_IN_FLIGHT = 1 << 30
LARGEST_TASK = 8 << 20
# How often a record that ends or holds up its process is tried by itself.
TRIES = 3


class ClusterLost(RuntimeError):
    """The scheduler is gone, or was never there."""


@contextlib.contextmanager
def quiet() -> Iterator[None]:
    """Keeps Dask from telling at length what the engine sees to, such as a worker that died."""
    names = [name for name in logging.root.manager.loggerDict if name.split(".")[0] == "distributed"]
    levels = [(logger, logger.level) for logger in map(logging.getLogger, names)]
    for logger, _ in levels:
        logger.setLevel(logging.CRITICAL + 1)
    try:
        yield
    finally:
        for logger, level in levels:
            logger.setLevel(level)


@contextlib.contextmanager
def local_cluster(workers: int) -> Iterator[distributed.Client]:
    """A cluster of so many processes on this machine; they end with the context."""
    settings = {
        # The engine's own retries are by ligand.
        "distributed.scheduler.allowed-failures": 0,
        "distributed.scheduler.worker-saturation": 1.1,
        "distributed.diagnostics.nvml": False,
        # Dask looks at what runs a hundred times a second, at its event loops fifty times, at memory ten times: all that
        # takes a twentieth of a core with one worker.
        "distributed.worker.profile.enabled": False,
        "distributed.admin.tick.interval": "1s",
        "distributed.admin.system-monitor.interval": "5s",
        "distributed.worker.memory.monitor-interval": "1s",
        # Workers keep the memory of a batch for the next; Dask has them return it each time.
        "distributed.nanny.pre-spawn-environ.MALLOC_TRIM_THRESHOLD_": 128 << 20,
        "distributed.nanny.pre-spawn-environ.MALLOC_MMAP_THRESHOLD_": 32 << 20,
    }
    with contextlib.ExitStack() as stack:
        stack.enter_context(quiet())
        stack.enter_context(dask.config.set(settings))
        directory = stack.enter_context(tempfile.TemporaryDirectory(prefix="nxbrio-screen-"))
        # Ctrl-C reaches all processes of a terminal. It is for this one alone: the threads that start workers inherit
        # what is blocked here, and the workers from them. Python's own helper process, which would unblock it when it is
        # started, is started before.
        resource_tracker.ensure_running()
        mask = signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGINT})
        try:
            cluster = stack.enter_context(
                distributed.LocalCluster(
                    n_workers=workers,
                    threads_per_worker=1,
                    processes=True,
                    host="127.0.0.1",
                    dashboard_address="127.0.0.1:0",
                    worker_dashboard_address=None,
                    local_directory=directory,
                    silence_logs="CRITICAL",
                )
            )
            client = stack.enter_context(distributed.Client(cluster, set_as_default=False))
        finally:
            signal.pthread_sigmask(signal.SIG_SETMASK, mask)
        yield client
        # A worker that is just being started cannot be stopped quietly.
        with contextlib.suppress(distributed.TimeoutError):
            client.wait_for_workers(workers, timeout=10)


@contextlib.contextmanager
def running_cluster(address: str) -> Iterator[distributed.Client]:
    """A cluster that somebody else runs, by its scheduler's address or the file that the scheduler writes it into."""
    where = {"scheduler_file": address} if os.path.isfile(address) else {"address": address}
    with quiet():
        try:
            client = distributed.Client(**where, set_as_default=False, timeout=10)
        except (OSError, ValueError) as error:
            raise ClusterLost(f"{address}: there is no scheduler: {error}") from None
        with client:
            yield client


@dataclasses.dataclass
class Batch:
    """Ligands for one target that make one task."""

    target: int
    items: list[tuple[bytes, Record]]
    # Whether a worker died over it: then each ligand is done in a process apart.
    guarded: bool = False

    def size(self) -> int:
        return sum(len(record.text) for _, record in self.items)


class Engine:
    """One run over targets and records.

    Parameters
    ----------
    client : distributed.Client
    store : Store
    protocol : Protocol
    targets : dict of int to TargetText
        By their numbers in the store.
    time_limit : float
        The longest that one ligand may take, seconds.
    batch : int
        How many ligands a task holds; 0 leaves it to the engine.
    tell : callable
        Called some times a second with the `Tally`.
    """

    def __init__(
        self,
        client: distributed.Client,
        store: Store,
        protocol: Protocol,
        targets: dict[int, TargetText],
        time_limit: float = 300.0,
        batch: int = 0,
        tell: Callable[[Tally], None] = lambda tally: None,
    ):
        self.tally = Tally()
        self._client = client
        self._store = store
        self._protocol = protocol
        self._targets = targets
        # What the keys of a target's rows begin with.
        self._prefixes = {number: target.digest + protocol.digest() for number, target in targets.items()}
        self._time_limit = time_limit
        self._batch = batch
        self._tell = tell
        self._waiting: collections.deque[Batch] = collections.deque()
        self._flying: dict[distributed.Future, Batch] = {}
        # Dask's threads put the futures here that have ended.
        self._finished: queue.SimpleQueue[distributed.Future] = queue.SimpleQueue()
        self._keys: set[bytes] = set()
        self._seconds: float | None = None
        self._threads = 1
        self._looked = 0.0

    def run(self, records: Iterator[Record]) -> Tally:
        """Does what is missing; returns when all is stored."""
        plugins = [TargetPlugin(target, self._client.id) for target in self._targets.values()]
        try:
            for plugin in plugins:
                self._client.register_worker_plugin(plugin)
            self._look()
            self._loop(records)
        except (OSError, distributed.comm.CommClosedError, distributed.TimeoutError) as error:
            raise self._lost() from error
        finally:
            self._forget(plugins)
        return self.tally

    def _forget(self, plugins: list[TargetPlugin]) -> None:
        """Takes the targets back, also after Ctrl-C: the cluster may be somebody else's and go on for long."""
        for plugin in plugins:
            if self._client.status == "running":
                with contextlib.suppress(Exception):
                    self._client.sync(
                        self._client.scheduler.unregister_worker_plugin, name=plugin.name, callback_timeout=5
                    )

    def _lost(self) -> ClusterLost:
        return ClusterLost(f"{self._client.scheduler.addr if self._client.scheduler else 'the scheduler'}: "
                           "the scheduler is gone")

    def _loop(self, records: Iterator[Record]) -> None:
        try:
            while True:
                while len(self._flying) < self._most_in_flight() and (batch := self._next(records)):
                    self._submit(batch)
                if not self._flying:
                    return
                with contextlib.suppress(queue.Empty):
                    self._take(self._finished.get(timeout=0.2))
                self._look()
        finally:
            # Ctrl-C, a full disk: nothing is left running.
            if self._flying and self._client.status == "running":
                self._client.cancel(list(self._flying), force=True)

    # ---- What goes out ----

    def _next(self, records: Iterator[Record]) -> Batch | None:
        while not self._waiting:
            chunk = []
            bytes_left = min(LARGEST_TASK, BYTES_IN_FLIGHT // self._most_in_flight())
            most = self.batch_size()
            for record in records:
                chunk.append(record)
                bytes_left -= len(record.text)
                if len(chunk) >= most or bytes_left <= 0:
                    break
            if not chunk:
                return None
            self._add(chunk)
        return self._waiting.popleft()

    def _add(self, chunk: list[Record]) -> None:
        """Makes a batch for each target of the records that it has no row for."""
        self.tally.read += len(chunk)
        for number, prefix in self._prefixes.items():
            keyed = {}
            for record in chunk:
                key = record.key(prefix)
                if key in self._keys or key in keyed:
                    self.tally.repeated += 1
                else:
                    keyed[key] = record
            items, earlier, repeated = self._store.missing(number, list(keyed.items()))
            self.tally.there += earlier
            self.tally.repeated += repeated
            faulty = [item for item in items if item[1].error]
            if faulty:
                self._store_rows(number, faulty, [(ERROR, record.error) + NOTHING for _, record in faulty])
                items = [(key, record) for key, record in items if not record.error]
            if items:
                self._keys.update(key for key, _ in items)
                self._waiting.append(Batch(number, items))

    def batch_size(self) -> int:
        if self._batch:
            return self._batch
        if self._seconds is None:
            return FIRST_BATCH
        goal = max(SHORTEST_BATCH, self._threads / TASKS_PER_SECOND)
        return max(1, min(LARGEST_BATCH, round(goal / max(self._seconds, 1e-6))))

    def _most_in_flight(self) -> int:
        # One at work and one waiting for each thread, and some on their way.
        return 2 * max(self._threads, 1) + 2

    def _submit(self, batch: Batch) -> None:
        ligands = [(record.source, record.line, record.format, record.text) for _, record in batch.items]
        digest = self._targets[batch.target].digest
        arguments = (digest, self._protocol.as_dict(), pack(ligands), self._time_limit)
        with warnings.catch_warnings():
            # Dask would have texts scattered; each of them is wanted once.
            warnings.filterwarnings("ignore", message="Large object")
            if batch.guarded:
                future = self._client.submit(score_guarded, *arguments, TRIES, pure=False, priority=1)
            else:
                future = self._client.submit(score_batch, *arguments, pure=False)
        self._flying[future] = batch
        future.add_done_callback(self._finished.put)

    # ---- What comes back ----

    def _take(self, future: distributed.Future) -> None:
        batch = self._flying.pop(future)
        if future.status == "finished":
            packed, seconds = future.result()
            outcomes = unpack(packed)
            if not batch.guarded:
                self._measure(seconds / len(batch.items))
            self._store_rows(batch.target, batch.items, outcomes)
            self._keys.difference_update(key for key, _ in batch.items)
        elif future.status == "cancelled" or future.status == "lost":
            if self._client.status != "running":
                raise self._lost()
            self._waiting.appendleft(batch)
        else:
            self._failed(batch, future.exception())

    def _failed(self, batch: Batch, error: BaseException) -> None:
        if isinstance(error, distributed.scheduler.KilledWorker):
            # A ligand may have killed the worker, or something else has; a process apart will tell.
            batch.guarded = True
            self._waiting.appendleft(batch)
            return
        raise error

    def _measure(self, seconds: float) -> None:
        # The first batch pays for the target, too: what follows counts more.
        old = self._seconds
        self._seconds = seconds if old is None else 0.5 * old + 0.5 * seconds

    def _store_rows(self, target: int, items: list[tuple[bytes, Record]], outcomes: list[tuple]) -> None:
        added = self._store.add(target, items, outcomes)
        self.tally.done += added
        self.tally.failed += sum(outcome[0] != DONE for outcome in outcomes)
        self.tally.repeated += len(items) - added

    # ---- Now and then ----

    def _look(self) -> None:
        now = time.monotonic()
        if now - self._looked < 0.2:
            return
        self._looked = now
        if self._client.status != "running":
            raise self._lost()
        self._threads = sum(worker["nthreads"] for worker in self._client.scheduler_info()["workers"].values())
        self.tally.workers = self._threads
        self.tally.batch = self.batch_size()
        self._tell(self.tally)
