"""What a run tells while it goes on: the dashboard's address, and a line of what is done, how fast, what is left, what failed."""

from __future__ import annotations

import collections
import dataclasses
import os
import sys
import threading
import time
from collections.abc import Callable

from .records import count_records

# Rates are those of the last so many seconds.
WINDOW = 30.0


@dataclasses.dataclass
class Tally:
    """What a run has done so far."""

    read: int = 0
    done: int = 0
    failed: int = 0
    # Rows that earlier runs made, and records whose content came before in this run.
    there: int = 0
    repeated: int = 0
    workers: int = 0
    batch: int = 0
    # Of the cluster; "" where none answers.
    dashboard: str = ""


class Progress:
    """Tells of a run: once the dashboard's address, and on a terminal a line that is written over. A context manager.

    How many records there are is counted meanwhile, by a thread.
    """

    def __init__(self, paths: list[str], targets: int, stream=None):
        self._stream = sys.stderr if stream is None else stream
        self._terminal = self._stream.isatty()
        self._targets = targets
        self._total: int | None = None
        self._stopped = threading.Event()
        self._counting = threading.Thread(target=self._count, args=(list(paths),), daemon=True)
        self._seen: collections.deque[tuple[float, int]] = collections.deque()
        self._told = 0.0
        self._width = 0
        self._dashboard = ""

    def __enter__(self) -> Callable[[Tally], None]:
        if self._terminal:
            self._counting.start()
        return self.tell

    def __exit__(self, *_):
        if self._terminal:
            self._stopped.set()
            self._counting.join()
            self._clear()

    def _count(self, paths: list[str]) -> None:
        self._total = count_records(paths, self._stopped.is_set)

    def tell(self, tally: Tally) -> None:
        if tally.dashboard != self._dashboard:
            self._dashboard = tally.dashboard
            self._clear()
            self._stream.write(f"dashboard: {tally.dashboard}\n")
            self._stream.flush()
        now = time.monotonic()
        if self._terminal and now - self._told >= 0.5:
            self._told = now
            self._write(progress_text(tally, self._rate(now, tally), self._total, self._targets))

    def _rate(self, now: float, tally: Tally) -> float:
        """Rows in a second, lately. What workers take to start does not count."""
        if tally.done == 0:
            self._seen.clear()
        self._seen.append((now, tally.done))
        while len(self._seen) > 2 and now - self._seen[1][0] > WINDOW:
            self._seen.popleft()
        (before, done), seconds = self._seen[0], now - self._seen[0][0]
        return (tally.done - done) / seconds if seconds > 0 else 0.0

    def _clear(self) -> None:
        if self._width:
            self._write("")
            self._stream.write("\r")
            self._stream.flush()

    def _write(self, text: str) -> None:
        # A line that wraps could not be written over.
        text = text[: self._columns() - 1]
        self._stream.write("\r" + text.ljust(self._width))
        self._stream.flush()
        self._width = len(text)

    def _columns(self) -> int:
        try:
            return os.get_terminal_size(self._stream.fileno()).columns or 80
        except (OSError, ValueError):
            return 80


def progress_text(tally: Tally, rate: float, records: int | None, targets: int) -> str:
    finished = tally.done + tally.there + tally.repeated
    parts = [f"{finished:,}" + (f" of {records * targets:,}" if records else "") + " done"]
    if tally.workers == 0:
        parts.append("waiting for workers")
    elif rate > 0:
        parts.append(f"{rate:,.1f}/s")
        if records:
            parts.append(f"{duration((records * targets - finished) / rate)} left")
    if tally.failed:
        parts.append(f"{tally.failed:,} failed")
    return ", ".join(parts)


def duration(seconds: float) -> str:
    seconds = max(0, round(seconds))
    if seconds < 60:
        return f"{seconds} s"
    if seconds < 3600:
        return f"{seconds // 60} min {seconds % 60:02} s"
    return f"{seconds // 3600} h {seconds % 3600 // 60:02} min"
