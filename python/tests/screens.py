"""What the tests of screens share: ligands as text, the command, and its results."""

import contextlib
import os
import sqlite3
import subprocess
import sys
import time

HCA = "/usr/share/apbs/examples/hca-bind/hca.pqr"
ACET = "/usr/share/apbs/examples/hca-bind/acet.pqr"
COMMAND = [sys.executable, "-m", "nxbriochem.screening"]


def poses(count, marks=None, step=0.05):
    """A PQR file of so many models: acetazolamide moved by steps along x. `marks` gives some a remark."""
    with open(ACET) as file:
        atoms = [line.split() for line in file if line.startswith("ATOM")]
    lines = []
    for k in range(count):
        lines += [f"MODEL {k + 1}", f"REMARK {(marks or {}).get(k, '')}"]
        lines += [f"{' '.join(a[:5])} {float(a[5]) + step * k:.3f} {' '.join(a[6:])}" for a in atoms]
        lines.append("ENDMDL")
    return "\n".join(lines) + "\n"


def run(*arguments, status=0, **options):
    """Runs the command to its end; standard output and error."""
    done = subprocess.run([*COMMAND, *map(str, arguments)], capture_output=True, text=True, timeout=250, **options)
    assert done.returncode == status, done.stdout + done.stderr
    return done.stdout, done.stderr


def rows(path):
    """The rows of a database, by place."""
    with contextlib.closing(sqlite3.connect(path)) as db:
        db.row_factory = sqlite3.Row
        assert db.execute("PRAGMA integrity_check").fetchone()[0] == "ok"
        return db.execute(
            "SELECT results.*, path FROM results JOIN sources ON sources.id = source ORDER BY path, record, target"
        ).fetchall()


def numbers(path):
    """What must not depend on how a screen went: places and outcomes, to the last bit."""
    return [tuple(row[c] for c in row.keys() if c not in ("source", "key")) for row in rows(path)]


def children(pid):
    """The processes below one, with their command lines."""
    found = {}
    for name in os.listdir("/proc"):
        with contextlib.suppress(OSError, ValueError, IndexError):
            with open(f"/proc/{name}/stat") as file:
                parent = int(file.read().rsplit(")", 1)[1].split()[1])
            if parent == pid:
                with open(f"/proc/{name}/cmdline") as file:
                    found[int(name)] = file.read().replace("\0", " ")
    for child in list(found):
        found.update(children(child))
    return found


def wait(condition, seconds=150):
    """Waits until something is so, and gives it."""
    end = time.monotonic() + seconds
    while not (found := condition()):
        assert time.monotonic() < end, "it took too long"
        time.sleep(0.05)
    return found
