"""Principal frames, superposition, eigenvalues."""

import numpy as np

from . import _core
from .molecule import Molecule, core_of


class Superposition:
    """What `superpose` gives.

    Attributes
    ----------
    rmsd : float
        The least root mean square deviation, angstrom.
    rotation, translation : (3, 3) and (3,) ndarray of float
        The motion: an atom of `moving` at x went to ``rotation @ x + translation``.
    count : int
        How many atoms were compared.
    """

    def __init__(self, rmsd, rotation, translation, count):
        self.rmsd = rmsd
        self.rotation = rotation
        self.translation = translation
        self.count = count

    def __repr__(self):
        return f"<Superposition: rmsd {self.rmsd:.4f} A over {self.count} atoms>"


class Frame:
    """What `orient` and `moments` give.

    Attributes
    ----------
    moments : (3,) ndarray of float
        Root mean square extents along the principal axes, descending, angstrom; weighted, angstrom to 2.5.
    rotation, translation : (3, 3) and (3,) ndarray of float
        The motion into the principal frame: an atom at x goes to ``rotation @ x + translation``. Row i of the rotation
        is the new axis i.
    top : str
        "point", "linear", "spherical", "symmetric, oblate", "symmetric, prolate" or "asymmetric".
    """

    def __init__(self, moments, rotation, translation, top):
        self.moments = moments
        self.rotation = rotation
        self.translation = translation
        self.top = top

    def __repr__(self):
        return "<Frame: {}, moments {:.4f} {:.4f} {:.4f} A>".format(self.top, *self.moments)


def rmsd(a, b, fit=True, hydrogens=False):
    """The root mean square deviation of two molecules, or of two sets of points, with as many atoms in the same order.

    Parameters
    ----------
    a, b : Molecule or (n, 3) array_like of float
        Angstrom.
    fit : bool, optional
        Whether to find the least deviation over all proper rotations and translations. Nothing is moved.
    hydrogens : bool, optional
        Whether atoms of `a` whose names begin with H take part. Of arrays, all points do.

    Returns
    -------
    float
        Angstrom.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> a = nx.Molecule(elements=["O", "C", "N"], coordinates=[[0, 0, 0], [1, 0, 0], [0, 2, 0]])
    >>> b = a.copy()
    >>> b.coordinates += [1, 0, 0]
    >>> nx.rmsd(a, b, fit=False), round(nx.rmsd(a, b), 6)
    (1.0, 0.0)
    """
    if isinstance(a, Molecule) or isinstance(b, Molecule):
        return _core.rmsd(core_of(a, "a"), core_of(b, "b"), bool(fit), bool(hydrogens))
    return _core.rmsd_of_points(a, b, bool(fit))


def superpose(reference, moving, hydrogens=False):
    """Moves a molecule onto another one with as many atoms in the same order, for the least deviation.

    The active conformer of `moving` is moved, with its hydrogens, whatever takes part in the fit.

    Parameters
    ----------
    reference, moving : Molecule
        Active conformers are compared.
    hydrogens : bool, optional
        Whether atoms of `reference` whose names begin with H take part.

    Returns
    -------
    Superposition

    Examples
    --------
    >>> import nxbriochem as nx
    >>> a = nx.Molecule(elements=["O", "C", "N"], coordinates=[[0, 0, 0], [1, 0, 0], [0, 2, 0]])
    >>> b = a.copy()
    >>> b.transform([[0, -1, 0], [1, 0, 0], [0, 0, 1]], [3, 4, 5])
    >>> nx.superpose(a, b)
    <Superposition: rmsd 0.0000 A over 3 atoms>
    >>> abs(b.coordinates - a.coordinates).max() < 1e-5
    True
    """
    return Superposition(*_core.superpose(core_of(reference, "reference"), core_of(moving, "moving"), bool(hydrogens)))


def _tolerance(value):
    value = float(value)
    if not 0.0 < value < float("inf"):
        raise ValueError(f"tolerance: expected a finite number above 0, not {value}")
    return value


def orient(m, hydrogens=False, weighted=False, tolerance=0.01):
    """Turns and moves a molecule into its principal frame: centre at the origin, the largest extent along x.

    Parameters
    ----------
    m : Molecule
        Its active conformer is moved.
    hydrogens : bool, optional
        Whether atoms whose names begin with H take part. All atoms are moved.
    weighted : bool, optional
        Whether atoms are weighted by the cube of their radius.
    tolerance : float, optional
        The fraction within which moments count as equal.

    Returns
    -------
    Frame

    Raises
    ------
    ValueError
        For a molecule without atoms.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> m = nx.Molecule(elements=["C", "C", "C"], coordinates=[[0, 0, 0], [0, 0, 1], [0, 0, 2]])
    >>> nx.orient(m).top
    'linear'
    >>> abs(m.coordinates[0].round(3)).tolist()
    [1.0, 0.0, 0.0]
    """
    return Frame(*_core.orient(core_of(m, "m"), bool(hydrogens), bool(weighted), _tolerance(tolerance)))


def moments(m, hydrogens=False, weighted=False, tolerance=0.01):
    """As `orient`, without moving the molecule.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> m = nx.Molecule(elements=["C", "C"], coordinates=[[0, 0, 0], [0, 3, 4]])
    >>> nx.moments(m).moments.round(3).tolist(), m.coordinates[1].tolist()
    ([2.5, 0.0, 0.0], [0.0, 3.0, 4.0])
    """
    return Frame(*_core.orient(core_of(m, "m")._copy(), bool(hydrogens), bool(weighted), _tolerance(tolerance)))


def eigh(a):
    """Eigenvalues and eigenvectors of a symmetric matrix, by Jacobi's rotations, in double.

    Small elements keep their relative accuracy where the matrix allows it; for matrices beyond some hundred rows
    `scipy.linalg.eigh` is faster.

    Parameters
    ----------
    a : (n, n) array_like of float
        Symmetric, to rounding.

    Returns
    -------
    values : (n,) ndarray of float
        Ascending, as `numpy.linalg.eigh` has them.
    vectors : (n, n) ndarray of float
        Column k belongs to value k; columns are orthonormal.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> values, vectors = nx.eigh([[2.0, 1.0], [1.0, 2.0]])
    >>> values.round(6).tolist()
    [1.0, 3.0]
    """
    matrix = np.asarray(a)
    if matrix.ndim != 2 or matrix.shape[0] != matrix.shape[1]:
        raise ValueError(f"a: expected shape (n, n), not {matrix.shape}")
    if matrix.size and matrix.dtype.kind not in "fiu":
        raise ValueError(f"a: expected real numbers, not dtype {matrix.dtype}")
    matrix = np.ascontiguousarray(matrix, float)
    if not np.isfinite(matrix).all():
        raise ValueError("a: expected finite numbers, not NaN or infinity")
    scale = abs(matrix).max(initial=0.0)
    if (abs(matrix - matrix.T) > 1e-8 * scale).any():
        raise ValueError("a: expected a symmetric matrix")
    values, vectors = _core.eigh(matrix)
    return values[::-1].copy(), vectors[:, ::-1].copy()
