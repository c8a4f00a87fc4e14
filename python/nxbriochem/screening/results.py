"""The results as they are read: rows, targets, runs, and the records of the best."""

from __future__ import annotations

import contextlib
import os
import sqlite3
import urllib.parse
import zlib
from collections.abc import Iterator

# "NxSc" in the file's header says whose database it is.
APPLICATION_ID = 0x4E785363
LAYOUT = 1

_JOINED = """
SELECT results.*, targets.name AS target_name, sources.path
FROM results JOIN targets ON targets.id = results.target JOIN sources ON sources.id = results.source
"""


class CannotStore(RuntimeError):
    """A database that cannot be read or written, or is another one."""


class Reader:
    """A database of results. A context manager; a run may write it meanwhile."""

    def __init__(self, path: str | os.PathLike):
        self.path = os.fspath(path)
        if not os.path.exists(self.path):
            raise CannotStore(f"{self.path}: no such file")
        with self._failures():
            self._connect(f"file:{urllib.parse.quote(self.path)}?mode=ro", uri=True)
            self._check_layout()

    def _connect(self, name: str, uri: bool = False) -> None:
        self._db = sqlite3.connect(name, uri=uri, isolation_level=None)
        self._db.row_factory = sqlite3.Row

    def _check_layout(self) -> None:
        if self._db.execute("PRAGMA application_id").fetchone()[0] != APPLICATION_ID:
            raise CannotStore(f"{self.path}: a database of another program")
        layout = self._db.execute("PRAGMA user_version").fetchone()[0]
        if layout != LAYOUT:
            raise CannotStore(f"{self.path}: its layout is {layout}; this version knows {LAYOUT}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self) -> None:
        if getattr(self, "_db", None) is not None:
            self._db.close()
            self._db = None

    @contextlib.contextmanager
    def _failures(self):
        """Turns SQLite's failures into `CannotStore`; a transaction that was open is undone."""
        try:
            yield
        except BaseException as error:
            db = getattr(self, "_db", None)
            if db is not None and db.in_transaction:
                # SQLite rolls back by itself where it must.
                with contextlib.suppress(sqlite3.Error):
                    db.execute("ROLLBACK")
            if isinstance(error, sqlite3.Error):
                raise CannotStore(f"{self.path}: {error}") from error
            raise

    def counts(self) -> dict[str, int]:
        """How many rows there are of each status."""
        with self._failures():
            return dict(tuple(row) for row in self._db.execute("SELECT status, count(*) FROM results GROUP BY status"))

    def settings(self) -> dict[str, str]:
        """The package's version, and the protocol's settings as JSON, by name."""
        with self._failures():
            return dict(tuple(row) for row in self._db.execute("SELECT name, value FROM settings"))

    def runs(self) -> list[sqlite3.Row]:
        with self._failures():
            return self._db.execute("SELECT * FROM runs ORDER BY id").fetchall()

    def targets(self) -> list[sqlite3.Row]:
        with self._failures():
            return self._db.execute("SELECT * FROM targets ORDER BY id").fetchall()

    def best(self, most: int) -> list[sqlite3.Row]:
        """The rows of the lowest energies, lowest first."""
        with self._failures():
            return self._db.execute(
                f"{_JOINED} WHERE energy IS NOT NULL ORDER BY energy, key LIMIT ?", (most,)
            ).fetchall()

    def rows(self) -> Iterator[sqlite3.Row]:
        """All rows: those with an energy by it, then the others by place."""
        with self._failures():
            yield from self._db.execute(f"{_JOINED} ORDER BY energy IS NULL, energy, path, record, key")

    def energies(self) -> Iterator[float]:
        with self._failures():
            for row in self._db.execute("SELECT energy FROM results WHERE energy IS NOT NULL"):
                yield row[0]

    def text(self, key: bytes) -> tuple[str, bytes] | None:
        """Format and text of a record that was kept."""
        with self._failures():
            row = self._db.execute("SELECT format, text FROM texts WHERE key = ?", (key,)).fetchone()
        return (row[0], zlib.decompress(row[1])) if row else None
