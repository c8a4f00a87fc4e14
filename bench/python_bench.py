#!/usr/bin/python3
"""The Python package beside its peers: processor time of both, taken by turns in one run, the least of several.

usage: python_bench.py [TABLE.md]     (with PYTHONPATH on the built package; writes the table, and prints it)
"""

import ctypes
import os
import subprocess
import sys
import time
import warnings

warnings.simplefilter("ignore")

import MDAnalysis
import numpy as np
import scipy.optimize
from MDAnalysis.analysis import rms

import nxbriochem as nx

EXAMPLES = "/usr/share/apbs/examples/hca-bind/"
REPEATS = 15


def seconds_of(call, least=0.02):
    """Processor time of a call, over as many as take `least` seconds."""
    n = 1
    while True:
        began = time.process_time()
        for _ in range(n):
            call()
        spent = time.process_time() - began
        if spent >= least:
            return spent / n
        n = max(2 * n, int(n * least / max(spent, 1e-7)))


def side_by_side(ours, theirs):
    """The least times of two calls that take turns, seconds."""
    ours(), theirs()
    pairs = [(seconds_of(ours), seconds_of(theirs)) for _ in range(REPEATS)]
    return tuple(min(times) for times in zip(*pairs))


def arrays():
    xyz = np.random.default_rng(1).normal(size=(5000, 3)).astype(np.float32)
    m = nx.Molecule(elements=["C"] * 5000, coordinates=xyz)
    out = np.empty_like(xyz)

    def write():
        m.coordinates = xyz

    def copy():
        out[...] = xyz
    yield "set coordinates of 5,000 atoms", "numpy copy into an array", *side_by_side(write, copy), 2.0
    yield "get coordinates of 5,000 atoms, a copy", "numpy copy", *side_by_side(m.coordinates.copy, xyz.copy), 2.0
    yield "get coordinates of 5,000 atoms, a view", "numpy copy", *side_by_side(lambda: m.coordinates, xyz.copy), 2.0


def fits():
    rng = np.random.default_rng(2)
    a = nx.Molecule(elements=["C"] * 1000, coordinates=rng.normal(size=(1000, 3)) * 10)
    b = a.copy()
    b.coordinates += rng.normal(size=(1000, 3))
    x, y = a.coordinates.copy(), b.coordinates.copy()
    assert abs(nx.rmsd(a, b) - rms.rmsd(x, y, superposition=True)) < 1e-4
    yield ("rmsd of 1,000 atoms", "MDAnalysis rms.rmsd, superposition",
           *side_by_side(lambda: nx.rmsd(a, b), lambda: rms.rmsd(x, y, superposition=True)), 0.5)


def energies():
    """The C function through ctypes, less what ctypes takes for a function that does nothing."""
    library = ctypes.CDLL(next(line.split()[-1] for line in open("/proc/self/maps") if "libnxbriochem.so" in line))
    binding = library.nx_calculate_coulombic_binding
    binding.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.POINTER(ctypes.c_float), ctypes.c_float]
    out = ctypes.c_float()
    idle = library.nx_is_molecule_conformer_number_set
    idle.argtypes = [ctypes.c_int]
    hca, acet = nx.read(EXAMPLES + "hca.pqr"), nx.read(EXAMPLES + "acet.pqr")
    for name, a, b in (("two small molecules", acet, acet.select("[C]").copy()), ("a protein and a ligand", hca, acet)):
        b.coordinates += 0.01
        handles = a.handle, b.handle
        pointer = ctypes.byref(out)
        ours, theirs = side_by_side(lambda: nx.coulomb(a, b), lambda: binding(*handles, pointer, 1.0))
        nothing = min(seconds_of(lambda: idle(handles[0])) for _ in range(REPEATS))
        yield f"coulomb of {name}, above the C call", "3 microseconds", ours - (theirs - nothing), 3e-6, 1.0


def rosenbrock(x):
    d = x[1:] - x[:-1] ** 2
    gradient = np.zeros_like(x)
    gradient[:-1] = -400 * x[:-1] * d - 2 * (1 - x[:-1])
    gradient[1:] += 200 * d
    return (100 * d**2 + (1 - x[:-1]) ** 2).sum(), gradient


def minimisers():
    x0 = np.tile([-1.2, 1.0], 25)

    def ours():
        return nx.minimize(rosenbrock, x0, jac=True)

    def theirs():
        return scipy.optimize.minimize(rosenbrock, x0, jac=True, method="L-BFGS-B")
    a, b = ours(), theirs()
    assert a.success and b.success and a.fun <= b.fun + 1e-6, (a, b)
    yield (f"minimize, Rosenbrock of 50 variables ({a.nfev} calls)", f"scipy L-BFGS-B ({b.nfev} calls)",
           *side_by_side(ours, theirs), 0.5)


def files():
    path = EXAMPLES + "hca.pqr"
    yield "read a PQR file of 2,482 atoms", "MDAnalysis", *side_by_side(lambda: nx.read(path),
                                                                        lambda: MDAnalysis.Universe(path)), 0.25


def start():
    program = "import time; t = time.process_time(); import nxbriochem; print(time.process_time() - t)"
    environment = {key: value for key, value in os.environ.items() if key != "PYTHONDONTWRITEBYTECODE"}
    spent = min(float(subprocess.run([sys.executable, "-c", program], capture_output=True, check=True,
                                     env=environment).stdout) for _ in range(REPEATS))
    yield "import", "0.15 seconds", spent, 0.15, 1.0


def time_text(seconds):
    return f"{seconds * 1e6:.2f} us" if seconds < 1e-3 else f"{seconds * 1e3:.2f} ms"


def main():
    lines = ["# The Python package beside its peers", "",
             "Written by `make bench` (`bench/python_bench.py`): processor time, both by turns in one run, the least of "
             f"{REPEATS}.", "", "| task | beside | ours | theirs | ratio | goal |", "|---|---|---|---|---|---|"]
    missed = []
    for rows in (arrays, fits, energies, minimisers, files, start):
        for task, peer, ours, theirs, goal in rows():
            ratio = ours / theirs
            lines.append(f"| {task} | {peer} | {time_text(ours)} | {time_text(theirs)} | {ratio:.2f} | {goal:g} |")
            print(lines[-1], flush=True)
            if ratio > goal:
                missed.append(task)
    if len(sys.argv) > 1:
        with open(sys.argv[1], "w", encoding="utf-8") as table:
            table.write("\n".join(lines) + "\n")
    print("missed: " + ", ".join(missed) if missed else "every goal is met")


if __name__ == "__main__":
    main()
