"""The results: an SQLite file with a row for each target, ligand record and protocol.

Rows are keyed by the content of target, record and protocol, so that the same command again does what is missing and
nothing twice. All is written in transactions: whatever ends the program, the rows are whole.
"""

from __future__ import annotations

import contextlib
import fcntl
import heapq
import json
import math
import os
import sqlite3
import time
import zlib

from .protocol import Protocol
from .records import Record
from .results import APPLICATION_ID, LAYOUT, CannotStore, Reader
from .work import ENERGY, TargetText

TABLES = """
CREATE TABLE settings (name TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE runs (id INTEGER PRIMARY KEY, command TEXT, version TEXT, host TEXT, begun TEXT, ended TEXT, outcome TEXT);
CREATE TABLE targets (
  id INTEGER PRIMARY KEY, digest BLOB NOT NULL UNIQUE, source TEXT, name TEXT, atoms INTEGER, charges TEXT,
  notes TEXT, format TEXT, text BLOB);
CREATE TABLE sources (id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE);
-- Energies in kcal/mol, lengths in angstrom. pose: 7 little-endian doubles, a quaternion and a translation.
CREATE TABLE results (
  key BLOB NOT NULL UNIQUE, target INTEGER NOT NULL, source INTEGER NOT NULL, record INTEGER NOT NULL,
  line INTEGER NOT NULL, status TEXT NOT NULL, error TEXT, name TEXT, atoms INTEGER, charges TEXT, energy REAL,
  coulomb REAL, twelve_six REAL, start REAL, gradient REAL, moved REAL, iterations INTEGER, ended TEXT,
  overlaps INTEGER, pose BLOB);
-- The records of the best rows, compressed.
CREATE TABLE texts (key BLOB PRIMARY KEY, format TEXT, text BLOB) WITHOUT ROWID;
CREATE VIEW best AS
  SELECT targets.name AS target, results.name, energy, coulomb, twelve_six, ended, overlaps, results.charges, path AS file,
         record, line, status, error
  FROM results JOIN targets ON targets.id = results.target JOIN sources ON sources.id = results.source
  ORDER BY energy IS NULL, energy;
"""

class Store(Reader):
    """Opens or makes the database of one protocol. A context manager.

    Parameters
    ----------
    path : path
    protocol : Protocol
        Must be that of the database, if that is there already.
    version : str
        Of the package. Rows of two versions are not mixed.
    keep : int
        Of so many best rows of each target the records are kept, for poses and reports.
    """

    def __init__(self, path: str | os.PathLike, protocol: Protocol, version: str, keep: int = 100):
        self.path = os.fspath(path)
        self._keep = keep
        self._best: dict[int, list[tuple[float, bytes]]] = {}
        self._sources: dict[str, int] = {}
        self._run: int | None = None
        try:
            # SQLite's own locks are others; a lock of this kind holds until the descriptor is closed, and closing
            # any descriptor of the file would drop SQLite's: it stays open until the database is closed.
            self._lock = os.open(self.path, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o666)
        except OSError as error:
            raise CannotStore(f"{self.path}: {error.strerror}") from None
        try:
            fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            os.close(self._lock)
            raise CannotStore(f"{self.path}: another run is writing it") from None
        try:
            self._connect(self.path)
            with self._failures():
                self._open(protocol, version)
        except BaseException:
            self.close()
            raise

    def _open(self, protocol: Protocol, version: str) -> None:
        db = self._db
        settings = {"version": version, **{k: json.dumps(v) for k, v in protocol.as_dict().items()}}
        if db.execute("PRAGMA schema_version").fetchone()[0] == 0:
            db.execute("BEGIN IMMEDIATE")
            for statement in TABLES.split(";\n"):
                if statement.strip():
                    db.execute(statement)
            db.execute(f"PRAGMA application_id = {APPLICATION_ID}")
            db.execute(f"PRAGMA user_version = {LAYOUT}")
            db.executemany("INSERT INTO settings VALUES (?, ?)", settings.items())
            db.execute("COMMIT")
        else:
            self._check_layout()
            if not db.execute("SELECT EXISTS (SELECT * FROM results)").fetchone()[0]:
                # Nothing was computed with the settings that are there.
                db.executemany("INSERT OR REPLACE INTO settings VALUES (?, ?)", settings.items())
            there = dict(db.execute("SELECT name, value FROM settings").fetchall())
            others = [
                f"{name} is {there.get(name)} there and {value} here"
                for name, value in settings.items()
                if there.get(name) != value
            ]
            if others:
                raise CannotStore(f"{self.path}: a database of other settings: {'; '.join(others)}")
        db.execute("PRAGMA journal_mode = WAL")
        # A row is safe from the end of the program; from a power failure only since the last checkpoint, whole.
        db.execute("PRAGMA synchronous = NORMAL")
        self._last_before = db.execute("SELECT coalesce(max(rowid), 0) FROM results").fetchone()[0]
        self._empty = self._last_before == 0
        self._sources = dict(tuple(row) for row in db.execute("SELECT path, id FROM sources"))
        for (target,) in db.execute("SELECT id FROM targets").fetchall():
            best = db.execute(
                "SELECT -energy, key FROM results WHERE target = ? AND energy IS NOT NULL ORDER BY energy LIMIT ?",
                (target, self._keep),
            )
            self._best[target] = [tuple(row) for row in best]
            heapq.heapify(self._best[target])

    def close(self) -> None:
        if getattr(self, "_db", None) is not None:
            # So that the results are one file again. A reader may stand in the way, or a full disk.
            with contextlib.suppress(sqlite3.Error):
                self._db.execute("PRAGMA journal_mode = DELETE")
        super().close()
        if self._lock is not None:
            os.close(self._lock)
            self._lock = None

    # ---- Runs and targets ----

    def begin_run(self, command: str, version: str, host: str) -> None:
        with self._failures():
            self._run = self._db.execute(
                "INSERT INTO runs (command, version, host, begun) VALUES (?, ?, ?, ?)", (command, version, host, _now())
            ).lastrowid

    def end_run(self, outcome: str) -> None:
        with self._failures():
            self._db.execute("UPDATE runs SET ended = ?, outcome = ? WHERE id = ?", (_now(), outcome, self._run))

    def add_target(self, target: TargetText, name: str, atoms: int, charges: str, notes: list[str]) -> int:
        """The target's number, a new one if it was not there."""
        with self._failures():
            self._db.execute(
                "INSERT OR IGNORE INTO targets (digest, source, name, atoms, charges, notes, format, text)"
                " VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
                (
                    target.digest,
                    target.source,
                    name,
                    atoms,
                    charges,
                    json.dumps(notes),
                    target.format,
                    zlib.compress(target.text),
                ),
            )
            number = self._db.execute("SELECT id FROM targets WHERE digest = ?", (target.digest,)).fetchone()[0]
        self._best.setdefault(number, [])
        return number

    # ---- Rows ----

    def missing(
        self, target: int, items: list[tuple[bytes, Record]]
    ) -> tuple[list[tuple[bytes, Record]], int, int]:
        """Those of the keyed records that have no row yet; and how many have one of an earlier run, and of this one.

        Of those that have a row the text is kept, if it is to be.
        """
        if self._empty:
            return items, 0, 0
        there: dict[bytes, tuple[int, float | None]] = {}
        with self._failures():
            for first in range(0, len(items), 500):
                keys = [key for key, _ in items[first : first + 500]]
                marks = ",".join("?" * len(keys))
                for key, row, energy in self._db.execute(
                    f"SELECT key, rowid, energy FROM results WHERE key IN ({marks})", keys
                ):
                    there[key] = (row, energy)
            if there:
                self._db.execute("BEGIN IMMEDIATE")
                for key, record in items:
                    if key in there:
                        self._keep_text(target, key, there[key][1], record)
                self._db.execute("COMMIT")
        earlier = sum(1 for row, _ in there.values() if row <= self._last_before)
        return [item for item in items if item[0] not in there], earlier, len(there) - earlier

    def add(self, target: int, items: list[tuple[bytes, Record]], outcomes: list[tuple]) -> int:
        """Adds keyed records with their outcomes, `Outcome` or such tuples, in one transaction, all or none.

        Returns how many were new.
        """
        with self._failures():
            self._db.execute("BEGIN IMMEDIATE")
            sources = {source: self._source(source) for source in {record.source for _, record in items}}
            values = [
                (key, target, sources[record.source], record.number, record.line, *outcome)
                for (key, record), outcome in zip(items, outcomes)
            ]
            before = self._db.total_changes
            self._db.executemany(
                "INSERT OR IGNORE INTO results VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)", values
            )
            added = self._db.total_changes - before
            best = self._best[target]
            # Most rows are worse than what is kept; they are passed over here.
            worst = -best[0][0] if best and len(best) == self._keep else math.inf
            for (key, record), outcome in zip(items, outcomes):
                energy = outcome[ENERGY]
                if energy is not None and energy <= worst:
                    self._keep_text(target, key, energy, record)
            self._db.execute("COMMIT")
        self._empty = False
        return added

    def _source(self, path: str) -> int:
        if path not in self._sources:
            number = self._db.execute("INSERT INTO sources (path) VALUES (?)", (path,)).lastrowid
            self._sources[path] = number
        return self._sources[path]

    def _keep_text(self, target: int, key: bytes, energy: float | None, record: Record) -> None:
        """Keeps the record of a row that is among the best so far, and drops that which is not any more."""
        if energy is None or self._keep == 0:
            return
        best = self._best[target]
        if len(best) == self._keep and -energy < best[0][0]:
            return
        entry = (-energy, key)
        if entry not in best:
            if len(best) < self._keep:
                heapq.heappush(best, entry)
            else:
                dropped = heapq.heappushpop(best, entry)
                self._db.execute("DELETE FROM texts WHERE key = ?", (dropped[1],))
                if dropped == entry:
                    return
        self._db.execute(
            "INSERT OR IGNORE INTO texts VALUES (?, ?, ?)", (key, record.format, zlib.compress(record.text, 1))
        )


def _now() -> str:
    return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime())
