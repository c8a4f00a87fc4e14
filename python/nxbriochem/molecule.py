"""Molecules."""

import numpy as np

from . import _core
from ._arrays import AtomArray


def _array_property(name, doc):
    get = "_get_" + name
    set = "_set_" + name

    def getter(self):
        core = self._core
        core.handle  # a closed molecule has no arrays
        return AtomArray(getattr(core, get), getattr(core, set))

    def setter(self, values):
        getattr(self._core, set)(values)

    return property(getter, setter, doc=doc)


class Fields:
    """Data fields of a molecule, as SD files have them: a mapping from names to texts that writes through."""

    def __init__(self, core):
        self._core = core

    def __getitem__(self, name):
        return _core.fields(self._core)[name]

    def __setitem__(self, name, text):
        _core.set_field(self._core, name, str(text))

    def __delitem__(self, name):
        if not _core.delete_field(self._core, name):
            raise KeyError(name)

    def __iter__(self):
        return iter(_core.fields(self._core))

    def __len__(self):
        return len(_core.fields(self._core))

    def __contains__(self, name):
        return name in _core.fields(self._core)

    def get(self, name, default=None):
        """The text of the field, or `default`."""
        return _core.fields(self._core).get(name, default)

    def keys(self):
        """The names."""
        return _core.fields(self._core).keys()

    def values(self):
        """The texts."""
        return _core.fields(self._core).values()

    def items(self):
        """Names and texts."""
        return _core.fields(self._core).items()

    def __repr__(self):
        return f"Fields({_core.fields(self._core)!r})"


class Molecule:
    """A molecule: atoms with coordinates, charges, radii, names and residues, and bonds.

    The number of atoms is that of `elements` and never changes. The molecule frees itself; `close`, or a ``with``
    block, frees it at once.

    Parameters
    ----------
    elements : (n,) array_like of str or int
        Element symbols, or atomic numbers; "X" or 0 for an unknown one.
    coordinates : (n, 3) array_like of float, optional
        Angstrom. Without them all atoms stand at the origin.
    names : (n,) array_like of str, optional
        Atom names. Without them atoms are called by their elements.
    charges : (n,) array_like of float, optional
        Partial charges, elementary charges.
    radii : (n,) array_like of float, optional
        Angstrom. See `assign_radii`.
    residue_names, residue_numbers, chains : (n,) array_like of str, int, str, optional
        Chains are single characters.
    bonds : (m, 2) or (m, 3) array_like of int, optional
        Two atoms, counted from 0, and the order: 1 single, 2 double, 3 triple. Without it, 1.
    name : str, optional
        What the molecule is called.

    Raises
    ------
    ValueError
        For arrays of a wrong shape or dtype and for values that are not finite. Nothing is changed then.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> water = nx.Molecule(elements=["O", "H", "H"], coordinates=[[0, 0, 0], [0.757, 0.586, 0], [-0.757, 0.586, 0]],
    ...                     charges=[-0.834, 0.417, 0.417], bonds=[[0, 1], [0, 2]], name="water")
    >>> len(water)
    3
    >>> water.coordinates[1] += [0, 0, 1]
    >>> water.coordinates[1]
    array([0.757, 0.586, 1.   ], dtype=float32)
    >>> water
    <Molecule 'water': 3 atoms, 2 bonds>
    """

    __slots__ = ("_core", "__weakref__")

    def __init__(self, elements=(), coordinates=None, names=None, charges=None, radii=None, residue_names=None,
                 residue_numbers=None, chains=None, bonds=None, name=""):
        elements = np.asarray(elements if not isinstance(elements, str) else [elements])
        if elements.ndim != 1:
            raise ValueError(f"elements: expected shape (n,), not {elements.shape}")
        core = _core.Molecule(len(elements))
        self._core = core
        if len(elements):
            core._set_elements(elements)
            if names is None:
                core._set_names(core._get_elements())
        if coordinates is not None:
            core.coordinates = coordinates
        for key, values in (("names", names), ("residue_names", residue_names), ("residue_numbers", residue_numbers),
                            ("chains", chains), ("bonds", bonds)):
            if values is not None:
                getattr(core, "_set_" + key)(values)
        if charges is not None:
            core.charges = charges
        if radii is not None:
            core.radii = radii
        if name:
            core.name = name

    @classmethod
    def _of(cls, core):
        molecule = cls.__new__(cls)
        molecule._core = core
        return molecule

    # ---- Arrays

    @property
    def coordinates(self):
        """(n, 3) float32, angstrom: a view of the active conformer, which writes through and keeps the molecule."""
        return self._core.coordinates

    @coordinates.setter
    def coordinates(self, values):
        self._core.coordinates = values

    @property
    def charges(self):
        """(n,) float32, elementary charges: a view that writes through."""
        return self._core.charges

    @charges.setter
    def charges(self, values):
        self._core.charges = values

    @property
    def radii(self):
        """(n,) float32, angstrom: a view that writes through."""
        return self._core.radii

    @radii.setter
    def radii(self, values):
        self._core.radii = values

    elements = _array_property("elements", "(n,) str: element symbols; \"X\" is an unknown element.")
    names = _array_property("names", "(n,) str: atom names.")
    residue_names = _array_property("residue_names", "(n,) str: the residue's name of each atom.")
    residue_numbers = _array_property("residue_numbers", "(n,) int32: the residue's number of each atom.")
    insertion_codes = _array_property("insertion_codes", "(n,) str: the residue's insertion code, \"\" for none.")
    chains = _array_property("chains", "(n,) str: the chain of each atom, one character, \"\" for none.")
    formal_charges = _array_property("formal_charges", "(n,) int32: formal charges, elementary charges.")
    bonds = _array_property("bonds", "(m, 3) int32: the two atoms of each bond, counted from 0, and its order.")

    @property
    def atomic_numbers(self):
        """(n,) int32, read-only: atomic numbers; 0 is an unknown element. Set `elements` to change them."""
        values = self._core._get_atomic_numbers()
        values.flags.writeable = False
        return values

    @property
    def fields(self):
        """Data fields of an SD file, as a mapping from names to texts that writes through."""
        self._core.handle
        return Fields(self._core)

    # ---- The whole

    def __len__(self):
        return len(self._core)

    @property
    def name(self):
        """str: what the molecule is called."""
        return self._core.name

    @name.setter
    def name(self, text):
        self._core.name = text

    @property
    def handle(self):
        """int: the molecule's handle in libnxbriochem, for programs that call the library by other ways too.

        It is good until the molecule is closed or freed. Do not delete it, and do not change the number of atoms.
        """
        return self._core.handle

    @property
    def closed(self):
        """bool: whether the molecule was closed."""
        return self._core.closed

    def close(self):
        """Frees the molecule. All further use of it raises `NxError`; views of its arrays stay good."""
        self._core.close()

    def __enter__(self):
        self._core.handle
        return self

    def __exit__(self, *_):
        self.close()

    @property
    def notes(self):
        """list of str: what reading the file had to decide, and what is missing."""
        return _core.notes(self._core)

    @property
    def title(self):
        """str: the title in the file that the molecule was read from."""
        return _core.title(self._core)

    @property
    def charge_source(self):
        """str: "file", "formal" or "none", of a molecule that was read; else ""."""
        return _core.charge_source(self._core)

    @property
    def radius_source(self):
        """str: "file" or "Bondi", of a molecule that was read; else ""."""
        return _core.radius_source(self._core)

    def copy(self):
        """A molecule of its own that equals this one, with its conformers.

        Examples
        --------
        >>> import nxbriochem as nx
        >>> m = nx.Molecule(elements=["O", "H", "H"])
        >>> c = m.copy()
        >>> c.charges[0] = -1
        >>> float(m.charges[0])
        0.0
        """
        return Molecule._of(self._core._copy())

    __copy__ = copy

    def __deepcopy__(self, memo):
        return self.copy()

    def select(self, selection):
        """A new molecule of chosen atoms, in their order, with the bonds between them.

        Parameters
        ----------
        selection : str or (n,) array_like of bool
            A text in gemmi's language ("A/10-20", "CA[C]", "(ALA,GLY)") with the words ``protein``, ``nucleic``,
            ``water``, ``hetero``, ``all`` joined by ``and``, ``or``, ``not`` and brackets; or a mask.

        Examples
        --------
        >>> import nxbriochem as nx
        >>> m = nx.Molecule(elements=["O", "H", "H"], bonds=[[0, 1], [0, 2]])
        >>> len(m.select(m.elements == "H")), len(m.select("[O]"))
        (2, 1)
        """
        if isinstance(selection, str):
            return Molecule._of(self._core._part(_core.select(self._core, selection)))
        mask = np.asarray(selection)
        if mask.dtype != bool:
            raise ValueError(f"selection: expected a string or booleans, not dtype {mask.dtype}")
        return Molecule._of(self._core._part(mask))

    # ---- Conformers

    @property
    def n_conformers(self):
        """int: the number of conformers. New ones have the active one's coordinates; the last ones are taken away."""
        return self._core.n_conformers

    @n_conformers.setter
    def n_conformers(self, n):
        self._core.n_conformers = n

    @property
    def active_conformer(self):
        """int: the conformer, from 0, that `coordinates` and every function sees."""
        return self._core.active_conformer

    @active_conformer.setter
    def active_conformer(self, conformer):
        self._core.active_conformer = conformer

    # ---- Changes

    def transform(self, rotation=None, translation=None):
        """Moves every conformer: x becomes ``rotation @ x + translation``.

        Parameters
        ----------
        rotation : (3, 3) array_like of float, optional
            A proper rotation.
        translation : (3,) array_like of float, optional
            Angstrom.

        Examples
        --------
        >>> import nxbriochem as nx
        >>> m = nx.Molecule(elements=["C"], coordinates=[[1, 0, 0]])
        >>> m.transform([[0, -1, 0], [1, 0, 0], [0, 0, 1]], [0, 0, 2])
        >>> m.coordinates.round(3).tolist()
        [[0.0, 1.0, 2.0]]
        """
        self._core.transform(rotation, translation)

    def assign_radii(self):
        """Gives each atom a van der Waals radius in the manner of Bondi, by its name; without names by its element."""
        self._core.assign_radii()

    def assign_charges(self):
        """Charges the side chains that are ionised at neutral pH, by atom and residue names; other atoms keep theirs.

        +1 on LYS NZ, +1/2 on ARG NH1 and NH2, -1/2 on ASP OD1 and OD2 and on GLU OE1 and OE2. In a molecule named
        "full" all other charges become 0.
        """
        self._core.assign_charges()

    def perceive_bonds(self):
        """Makes bonds from distances, and bond orders and formal charges from geometry. Bonds that are there stay."""
        self._core.perceive_bonds()

    # ---- Python's protocols

    def __reduce__(self):
        return _restore, (self._core._state(),)

    def __repr__(self):
        if self.closed:
            return "<Molecule: closed>"
        name = f" '{self.name}'" if self.name else ""
        n, m = len(self), len(self._core._get_bonds())
        return f"<Molecule{name}: {n} atom{'s' * (n != 1)}, {m} bond{'s' * (m != 1)}>"

    def to_gemmi(self):
        """The molecule as a ``gemmi.Structure``; see `from_gemmi` for what is kept."""
        from . import adapters
        return adapters.to_gemmi(self)

    def to_rdkit(self):
        """The molecule as an ``rdkit.Chem.Mol``; see `from_rdkit` for what is kept."""
        from . import adapters
        return adapters.to_rdkit(self)

    def to_mdanalysis(self):
        """The molecule as an ``MDAnalysis.Universe``; see `from_mdanalysis` for what is kept."""
        from . import adapters
        return adapters.to_mdanalysis(self)


def _restore(state):
    return Molecule._of(_core.Molecule._from_state(state))


def core_of(molecule, argument):
    """What the extension knows of a molecule; TypeError for anything else."""
    if not isinstance(molecule, Molecule):
        raise TypeError(f"{argument}: expected a Molecule, not {type(molecule).__name__}")
    return molecule._core
