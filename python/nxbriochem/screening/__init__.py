"""Many ligands at one target or an ensemble, on many processes and machines.

`nxbriochem.screen` and the command ``nxbrio-screen`` rank ligands by their energy with targets. Dask's distributed
scheduler does the work; results go into an SQLite file, from which an interrupted screen goes on.
"""

from .protocol import Protocol
from .results import CannotStore
from .api import Results, screen

__all__ = ["CannotStore", "Protocol", "Results", "screen"]
