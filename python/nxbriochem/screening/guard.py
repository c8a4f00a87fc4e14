"""A process apart for records that may kill it or keep it for ever.

Run as ``python -m nxbriochem.screening.guard`` it reads pickled pairs from its standard input, a target first, and
writes an outcome for each ligand. Whoever started it knows from its end which record was to blame.
"""

from __future__ import annotations

import os
import pickle
import select
import signal
import subprocess
import sys

from .protocol import Protocol
from .work import KILLED, NOTHING, LigandText, TargetText, make_scorer, placed, score


class Guard:
    """The process apart, started anew when it has died."""

    def __init__(self, target: TargetText, protocol: dict):
        self._hello = pickle.dumps((tuple(target), protocol))
        self._child: subprocess.Popen | None = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._stop()

    def score(self, ligand: LigandText, time_limit: float, tries: int) -> tuple:
        """The ligand's outcome, or what became of the process in the last of so many tries."""
        why = ""
        for _ in range(tries):
            try:
                return self._ask(ligand, time_limit)
            except TimeoutError:
                self._stop()
                why = f"it took longer than {time_limit:g} s"
            except (EOFError, BrokenPipeError, pickle.UnpicklingError):
                why = _end(self._stop())
        return (KILLED, placed(f"{ligand.source}: {why}, in each of {tries} tries", ligand.source, ligand.line)) + NOTHING

    def _ask(self, ligand: LigandText, time_limit: float) -> tuple:
        if self._child is None:
            self._child = subprocess.Popen(
                [sys.executable, "-m", __name__],
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                env={**os.environ, "PYTHONPATH": os.pathsep.join(p for p in sys.path if p)},
            )
            self._child.stdin.write(self._hello)
            self._child.stdin.flush()
            pickle.load(self._child.stdout)
        pickle.dump(tuple(ligand), self._child.stdin)
        self._child.stdin.flush()
        # The child writes an outcome at once and whole: where one begins, it ends soon.
        if not select.select([self._child.stdout], [], [], time_limit)[0]:
            raise TimeoutError
        return pickle.load(self._child.stdout)

    def _stop(self) -> int | None:
        """Ends the process; how it ended."""
        child, self._child = self._child, None
        if child is None:
            return None
        try:
            child.stdin.close()
        except BrokenPipeError:
            pass
        try:
            status = child.wait(0.5)
        except subprocess.TimeoutExpired:
            child.kill()
            status = child.wait()
        child.stdout.close()
        return status


def _end(status: int | None) -> str:
    if status is not None and status < 0:
        try:
            return f"it ended its process by {signal.Signals(-status).name}"
        except ValueError:
            return f"it ended its process by signal {-status}"
    return f"it ended its process with status {status}"


def main() -> None:
    # What the libraries print must not come between the outcomes.
    answers = os.fdopen(os.dup(1), "wb")
    os.dup2(2, 1)
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    target_text, protocol = pickle.load(sys.stdin.buffer)
    settings = Protocol(**protocol)
    scorer = make_scorer(TargetText(*target_text), settings)
    pickle.dump(True, answers)
    answers.flush()
    while True:
        try:
            ligand = pickle.load(sys.stdin.buffer)
        except EOFError:
            return
        pickle.dump(score(scorer, [ligand], settings.ligand_select)[0], answers)
        answers.flush()


if __name__ == "__main__":
    main()
