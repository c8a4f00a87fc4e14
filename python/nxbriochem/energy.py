"""Energies of two molecules, and refinement of a rigid ligand's pose."""

import math

import numpy as np

from . import _core
from .molecule import Molecule, core_of

# Two elementary charges 1 angstrom apart, kcal/mol (CODATA 2018).
_COULOMB_KCAL = 332.063713
_KILOJOULE = 4.184


def _factor(unit):
    if unit == "kT":
        return 1.0
    kcal = _COULOMB_KCAL / _core.coulomb_factor()
    if unit == "kcal/mol":
        return kcal
    if unit == "kJ/mol":
        return kcal * _KILOJOULE
    raise ValueError(f"unit: expected 'kT', 'kcal/mol' or 'kJ/mol', not {unit!r}")


def _positive(value, argument):
    value = float(value)
    if not (math.isfinite(value) and value > 0.0):
        raise ValueError(f"{argument}: expected a finite number above 0, not {value}")
    return value


def coulomb(target, ligand, dielectric=1.0, unit="kT", per_residue=False):
    """The Coulombic energy between two molecules in a uniform dielectric.

    Parameters
    ----------
    target, ligand : Molecule
        With partial charges.
    dielectric : float, optional
        The relative permittivity.
    unit : {"kT", "kcal/mol", "kJ/mol"}, optional
        kT is that of 298 K, the library's own unit.
    per_residue : bool, optional
        Whether to tell what each residue of the target contributes.

    Returns
    -------
    float or structured array
        The energy; with `per_residue` an array with the fields ``chain``, ``number``, ``insertion``, ``name`` and
        ``energy``, a row for each run of the target's atoms in one residue. Its energies add up to the whole, to
        rounding.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> sodium = nx.Molecule(elements=["Na"], charges=[1])
    >>> chloride = nx.Molecule(elements=["Cl"], coordinates=[[4, 0, 0]], charges=[-1])
    >>> round(nx.coulomb(sodium, chloride, dielectric=78.54, unit="kcal/mol"), 3)
    -1.057
    """
    factor = _factor(unit)
    first = core_of(target, "target")
    second = core_of(ligand, "ligand")
    dielectric = _positive(dielectric, "dielectric")
    if not per_residue:
        return _core.coulomb(first, second, dielectric) * factor
    names, numbers, chains, codes = (np.asarray(array) for array in (
        target.residue_names, target.residue_numbers, target.chains, target.insertion_codes))
    begins = np.flatnonzero(np.r_[len(target) > 0, (names[1:] != names[:-1]) | (numbers[1:] != numbers[:-1]) |
                                  (chains[1:] != chains[:-1]) | (codes[1:] != codes[:-1])]).astype(np.int32)
    table = np.zeros(len(begins), [("chain", "U1"), ("number", "i4"), ("insertion", "U1"), ("name", names.dtype),
                                   ("energy", "f8")])
    for field, values in (("chain", chains), ("number", numbers), ("insertion", codes), ("name", names)):
        table[field] = values[begins]
    table["energy"] = _core.coulomb_of_runs(first, second, dielectric, begins) * factor
    return table


class Refinement:
    """What `refine` gives.

    Attributes
    ----------
    energy, coulomb, twelve_six : float
        At the pose, kcal/mol: the sum, and its two terms.
    start_energy : float
        As `energy`, of the ligand as it stood.
    pose : (7,) ndarray of float
        A quaternion, scalar first, and a translation in angstrom, as ``nxd_refine_pose`` has them.
    rotation, translation : (3, 3) and (3,) ndarray of float
        The same motion: an atom at x goes to ``rotation @ x + translation``.
    rmsd : float
        From the start, in place, angstrom.
    reason : str
        How the run ended: "converged", "jammed", "flat", "let go", "no progress" or "out of iterations".
    iterations : int
        How many were made.
    started_inside, overlaps : bool
        Whether the ligand stood inside the target, and whether atoms overlap at the end.
    molecule : Molecule
        A copy of the ligand at the pose.
    """

    def __init__(self, found):
        self.coulomb = found["coulomb"]
        self.twelve_six = found["twelve_six"]
        self.energy = self.coulomb + self.twelve_six
        self.start_energy = found["start_coulomb"] + found["start_twelve_six"]
        self.pose = found["pose"]
        self.rotation = found["rotation"]
        self.translation = found["translation"]
        self.rmsd = found["rmsd"]
        self.reason = found["reason"]
        self.iterations = found["iterations"]
        self.started_inside = found["started_inside"]
        self.overlaps = found["overlaps"]
        self.molecule = Molecule._of(found["molecule"])

    @property
    def success(self):
        """bool: whether the pose is a minimum that holds."""
        return self.reason == "converged"

    def __repr__(self):
        return f"<Refinement: {self.energy:.3f} kcal/mol, {self.rmsd:.3f} A from the start, {self.reason}>"


class Energy:
    """A target prepared once, for the energies and refinement of any number of ligands.

    Coulomb in a uniform dielectric and a 12-6 term with parameters of the Universal Force Field, over all pairs of
    atoms. Several threads may use one object at the same time.

    Parameters
    ----------
    target : Molecule
        It is copied: what becomes of it later does not matter.
    dielectric : float, optional
        The relative permittivity.
    maxiter : int, optional
        The most iterations of a refinement.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> target = nx.Molecule(elements=["Na"], charges=[1])
    >>> ligand = nx.Molecule(elements=["Cl"], coordinates=[[4, 0, 0]], charges=[-1])
    >>> energy = nx.Energy(target)
    >>> round(energy.at(ligand), 2)
    -20.81
    >>> energy.refine(ligand).reason
    'converged'
    """

    def __init__(self, target, dielectric=4.0, maxiter=500):
        maxiter = int(maxiter)
        if not 0 <= maxiter < 2**31:
            raise ValueError(f"maxiter: expected 0 or more, not {maxiter}")
        # The library's single precision, in which the program has it too.
        dielectric = float(np.float32(_positive(dielectric, "dielectric")))
        self._energy = _core.Energy(core_of(target, "target"), dielectric, maxiter)

    def at(self, ligand):
        """float: the energy of the ligand as it stands, kcal/mol."""
        return sum(self._energy.at(core_of(ligand, "ligand")))

    def refine(self, ligand, threads=1):
        """Moves the ligand to the nearest minimum, as `nxbriochem.refine`.

        Returns
        -------
        Refinement
        """
        threads = int(threads)
        if not 0 <= threads <= 1024:
            raise ValueError(f"threads: expected 0 to 1024, not {threads}")
        return Refinement(self._energy.refine(core_of(ligand, "ligand"), threads))


def refine(target, ligand, dielectric=4.0, maxiter=500, threads=1):
    """Moves a rigid ligand to the nearest minimum of its energy with the target.

    Newton's method with exact second derivatives; a ligand that starts inside the target is pushed out first. Neither
    molecule is changed.

    Parameters
    ----------
    target, ligand : Molecule
        With partial charges and, for the 12-6 term, hydrogens.
    dielectric : float, optional
        The relative permittivity of Coulomb's term.
    maxiter : int, optional
        The most iterations.
    threads : int, optional
        How many threads to use, 0 for as many as there are processors. Results do not depend on it.

    Returns
    -------
    Refinement

    Examples
    --------
    >>> import nxbriochem as nx
    >>> target = nx.Molecule(elements=["Na"], charges=[1])
    >>> ligand = nx.Molecule(elements=["Cl"], coordinates=[[4, 0, 0]], charges=[-1])
    >>> found = nx.refine(target, ligand)
    >>> found.energy < found.start_energy
    True
    """
    return Energy(target, dielectric, maxiter).refine(ligand, threads)
