"""Molecules, their energies and geometry, and minimisation: libnxbriochem and the libraries beside it, for numpy.

>>> import nxbriochem as nx
>>> water = nx.Molecule(elements=["O", "H", "H"], coordinates=[[0, 0, 0], [0.757, 0.586, 0], [-0.757, 0.586, 0]])
>>> len(water)
3
"""

from ._core import NxError, NxWarning
from .energy import Energy, Refinement, coulomb, refine
from .io import Record, iter_records, read, read_all, read_bytes, write, write_bytes
from .molecule import Molecule

__all__ = [
    "Energy", "Molecule", "NxError", "NxWarning", "Record", "Refinement", "coulomb", "iter_records", "read",
    "read_all", "read_bytes", "refine", "write", "write_bytes",
]
