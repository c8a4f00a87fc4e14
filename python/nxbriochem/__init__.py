"""Molecules, their energies and geometry, and minimisation: libnxbriochem and the libraries beside it, for numpy.

>>> import nxbriochem as nx
>>> water = nx.Molecule(elements=["O", "H", "H"], coordinates=[[0, 0, 0], [0.757, 0.586, 0], [-0.757, 0.586, 0]])
>>> nx.moments(water, hydrogens=True).top
'asymmetric'
"""

from ._core import NxError, NxWarning
from .adapters import from_gemmi, from_mdanalysis, from_rdkit
from .energy import Energy, Refinement, coulomb, refine
from .formula import evaluate
from .geometry import Frame, Superposition, eigh, moments, orient, rmsd, superpose
from .io import Record, iter_records, read, read_all, read_bytes, write, write_bytes
from .memory import memory_report
from .molecule import Molecule
from .optimize import OptimizeResult, minimize, scipy_method

__all__ = [
    "Energy", "Frame", "Molecule", "NxError", "NxWarning", "OptimizeResult", "Record", "Refinement", "Superposition",
    "coulomb", "eigh", "evaluate", "from_gemmi", "from_mdanalysis", "from_rdkit", "iter_records", "memory_report",
    "minimize", "moments", "orient", "read", "read_all", "read_bytes", "refine", "rmsd", "scipy_method", "superpose",
    "write", "write_bytes",
]


def __getattr__(name):
    # Dask takes half a second to import, which is for those who screen.
    if name == "screen":
        from .screening import screen
        return screen
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
