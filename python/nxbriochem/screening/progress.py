"""The progress line: what is done, how fast, what is left, what failed."""

from __future__ import annotations

import dataclasses
import sys
import threading
import time
from collections.abc import Callable

from .records import count_records


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


class Progress:
    """Tells of a run on a terminal, on one line that is written over. A context manager.

    How many records there are is counted meanwhile, by a thread.
    """

    def __init__(self, paths: list[str], targets: int, stream=None):
        self._stream = sys.stderr if stream is None else stream
        self._targets = targets
        self._total: int | None = None
        self._stopped = threading.Event()
        self._counting = threading.Thread(target=self._count, args=(list(paths),), daemon=True)
        self._begun = time.monotonic()
        self._told = 0.0
        self._width = 0

    def __enter__(self) -> Callable[[Tally], None]:
        self._counting.start()
        return self.tell

    def __exit__(self, *_):
        self._stopped.set()
        self._counting.join()
        self._write("")
        self._stream.write("\r")
        self._stream.flush()

    def _count(self, paths: list[str]) -> None:
        self._total = count_records(paths, self._stopped.is_set)

    def tell(self, tally: Tally) -> None:
        now = time.monotonic()
        if now - self._told >= 0.5:
            self._told = now
            self._write(progress_text(tally, now - self._begun, self._total, self._targets))

    def _write(self, text: str) -> None:
        self._stream.write("\r" + text.ljust(self._width))
        self._stream.flush()
        self._width = len(text)


def progress_text(tally: Tally, seconds: float, records: int | None, targets: int) -> str:
    finished = tally.done + tally.there + tally.repeated
    rate = tally.done / seconds if seconds > 0 else 0.0
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
